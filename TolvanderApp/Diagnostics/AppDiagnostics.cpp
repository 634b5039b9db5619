#include "TolvanderApp/AppDiagnostics.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app::AppDiagnostics {

namespace {

constexpr std::string_view photosDomain = "PHPhotosErrorDomain";

// 0 unless the whole text is one decimal integer.
std::int64_t integerOrZero(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? number : 0;
}

// The part between the dots, from 0; empty where there are fewer.
std::string_view partOf(std::string_view version, int index) {
  for (; index > 0; --index) {
    const std::size_t dot = version.find('.');
    version = dot == std::string_view::npos ? std::string_view() : version.substr(dot + 1);
  }
  return version.substr(0, version.find('.'));
}

// An error as the platform would number it.
struct NumberedError {
  std::string_view domain;
  std::int64_t code = 0;
};

NumberedError numbered(const std::exception& error) {
  if (const auto* own = dynamic_cast<const Error*>(&error)) {
    return {own->domain(), own->code()};
  }
  const auto* system = dynamic_cast<const std::system_error*>(&error);
  if (system != nullptr && system->code().default_error_condition().category() == std::generic_category()) {
    return {PosixError::errorDomain, system->code().default_error_condition().value()};
  }
  return {};
}

std::string_view keyOfDomain(std::string_view domain) {
  if (domain == CocoaError::errorDomain) {
    return "cocoa";
  }
  if (domain == PosixError::errorDomain) {
    return "posix";
  }
  return domain == photosDomain ? "photokit" : "other_domain";
}

// Empty for an error that has none of its own.
std::string_view keyOfKind(const std::exception& error) {
  if (const auto* recognition = dynamic_cast<const RecognitionError*>(&error)) {
    return recognition->kind() == RecognitionError::Case::resourceUnavailable ? "original_unavailable"
                                                                              : "recognition_limit";
  }
  if (const auto* history = dynamic_cast<const SyncHistoryError*>(&error)) {
    return history->kind() == SyncHistoryError::Case::unreadableHistory ? "history_unreadable"
                                                                        : "import_unresolved";
  }
  if (dynamic_cast<const PhotoLibraryError*>(&error) != nullptr) {
    return "photos_operation";
  }
  return dynamic_cast<const MediaSourceError*>(&error) != nullptr ? "camera_access" : "";
}

}  // namespace

DiagnosticLog::Metrics launchMetrics(const ApplicationVersion& application,
                                     const OperatingSystemVersion& system) {
  const std::string_view version =
      application.shortVersion ? std::string_view(*application.shortVersion) : "";
  const std::string_view build = application.build ? std::string_view(*application.build) : "";
  return {{"app_major", integerOrZero(partOf(version, 0))},
          {"app_minor", integerOrZero(partOf(version, 1))},
          {"app_patch", integerOrZero(partOf(version, 2))},
          {"app_build", integerOrZero(build)},
          {"os_major", system.major},
          {"os_minor", system.minor},
          {"os_patch", system.patch}};
}

DiagnosticLog::Metrics phaseMetrics(const SyncPhase& phase) {
  switch (phase.kind) {
    case SyncPhase::Kind::checkingAccess:
      return {{"access", 1}};
    case SyncPhase::Kind::fingerprinting:
      return {{"fingerprinting", 1}};
    case SyncPhase::Kind::recognizing:
      return {{"recognition", 1}};
    case SyncPhase::Kind::preparing:
      return {{"preparing", 1}};
    case SyncPhase::Kind::importing:
      return {{"imported", phase.completed}, {"total", phase.total}};
    case SyncPhase::Kind::album:
      return {{"album", 1}};
    case SyncPhase::Kind::finished:
      break;
  }
  return {{"finished", 1}};
}

DiagnosticLog::Metrics errorMetrics(const std::exception& error) {
  const NumberedError number = numbered(error);
  DiagnosticLog::Metrics metrics = {{"error_code", number.code}};
  metrics.emplace(keyOfDomain(number.domain), 1);
  if (const std::string_view kind = keyOfKind(error); !kind.empty()) {
    metrics.emplace(kind, 1);
  }
  return metrics;
}

DiagnosticLog::Metrics errorMetrics(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return errorMetrics(error);
  } catch (...) {
    return {{"error_code", 0}, {"other_domain", 1}};
  }
}

}  // namespace tolvander::app::AppDiagnostics
