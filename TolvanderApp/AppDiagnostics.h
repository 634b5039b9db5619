#pragma once

#include <exception>

#include "TolvanderApp/Platform/ApplicationVersion.h"
#include "TolvanderApp/Platform/OperatingSystemVersion.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/SyncPhase.h"

// The integers that the diagnostic log records of an event. Errors are recorded by their kind, never by their
// text. Pure functions, safe on every thread.
namespace tolvander::app::AppDiagnostics {

// For `appLaunched`: "app_major", "app_minor", "app_patch", "app_build", "os_major", "os_minor", "os_patch".
// A part of the version that is missing or no decimal integer counts as 0.
DiagnosticLog::Metrics launchMetrics(const ApplicationVersion& application,
                                     const OperatingSystemVersion& system);

// For `syncPhaseChanged`: "imported" and "total" while files are imported, and otherwise one key with the
// value 1 that names the phase.
DiagnosticLog::Metrics phaseMetrics(const SyncPhase& phase);

// For `operationFailed`: "error_code"; one of "cocoa", "posix", "photokit" and "other_domain" with the value
// 1; and for some of the system's own errors one more key that names the case.
DiagnosticLog::Metrics errorMetrics(const std::exception& error);

// The same of a failure that was kept. It must not be null.
DiagnosticLog::Metrics errorMetrics(const std::exception_ptr& failure);

}  // namespace tolvander::app::AppDiagnostics
