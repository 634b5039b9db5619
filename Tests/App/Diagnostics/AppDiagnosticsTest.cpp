#include "TolvanderApp/AppDiagnostics.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::tests {

namespace AppDiagnostics = app::AppDiagnostics;
using app::ApplicationVersion;
using Metrics = DiagnosticLog::Metrics;

namespace {

Metrics launchMetricsOf(const ApplicationVersion& version) {
  return AppDiagnostics::launchMetrics(version, {.major = 6, .minor = 1, .patch = 3});
}

Metrics expectedOf(std::int64_t major, std::int64_t minor, std::int64_t patch, std::int64_t build) {
  return {{"app_major", major}, {"app_minor", minor}, {"app_patch", patch}, {"app_build", build},
          {"os_major", 6},      {"os_minor", 1},      {"os_patch", 3}};
}

}  // namespace

TEST(LaunchMetrics, tellVersionBuildAndSystem) {
  EXPECT_EQ(launchMetricsOf({"1.4.2", "118"}), expectedOf(1, 4, 2, 118));
}

TEST(LaunchMetrics, areZeroForPartsThatAreMissing) {
  EXPECT_EQ(launchMetricsOf({"1.2", "118"}), expectedOf(1, 2, 0, 118));
  EXPECT_EQ(launchMetricsOf({"7", std::nullopt}), expectedOf(7, 0, 0, 0));
  EXPECT_EQ(launchMetricsOf({std::nullopt, std::nullopt}), expectedOf(0, 0, 0, 0));
  EXPECT_EQ(launchMetricsOf({"", ""}), expectedOf(0, 0, 0, 0));
  EXPECT_EQ(launchMetricsOf({"1..3", "5"}), expectedOf(1, 0, 3, 5));
}

TEST(LaunchMetrics, areZeroForPartsThatAreNoDecimalInteger) {
  EXPECT_EQ(launchMetricsOf({"1.x.3", "1.5"}), expectedOf(1, 0, 3, 0));
  EXPECT_EQ(launchMetricsOf({"1b.2 .0x3", "build 5"}), expectedOf(0, 0, 0, 0));
  EXPECT_EQ(launchMetricsOf({"99999999999999999999.2.3", "+-5"}), expectedOf(0, 2, 3, 0));
}

TEST(LaunchMetrics, ignoreFurtherParts) {
  EXPECT_EQ(launchMetricsOf({"1.2.3.4", "5"}), expectedOf(1, 2, 3, 5));
}

TEST(OperatingSystemVersion, isThatOfTheKernel) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const auto version = app::OperatingSystemVersion::current();
  EXPECT_GT(version.major, 0);
  EXPECT_TRUE(std::string_view(names.release)
                  .starts_with(std::to_string(version.major) + "." + std::to_string(version.minor)))
      << names.release;
}

TEST(PhaseMetrics, nameThePhase) {
  using Kind = SyncPhase::Kind;
  const std::pair<Kind, const char*> keys[] = {{Kind::checkingAccess, "access"},
                                               {Kind::fingerprinting, "fingerprinting"},
                                               {Kind::recognizing, "recognition"},
                                               {Kind::preparing, "preparing"},
                                               {Kind::album, "album"},
                                               {Kind::finished, "finished"}};
  for (const auto& [kind, key] : keys) {
    EXPECT_EQ(AppDiagnostics::phaseMetrics({.kind = kind}), (Metrics{{key, 1}}));
  }
}

TEST(PhaseMetrics, countWhileFilesAreImported) {
  EXPECT_EQ(AppDiagnostics::phaseMetrics(SyncPhase::importing(4, 12)),
            (Metrics{{"imported", 4}, {"total", 12}}));
}

TEST(ErrorMetrics, tellDomainAndCode) {
  EXPECT_EQ(AppDiagnostics::errorMetrics(CocoaError(CocoaError::Code::fileReadNoPermission)),
            (Metrics{{"error_code", 257}, {"cocoa", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(PosixError(ENOSPC, "write", FileURL("/secret/PICT0001.JPG"))),
            (Metrics{{"error_code", ENOSPC}, {"posix", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(
                app::PhotosPlatformError(app::PhotosPlatformError::Case::networkAccessRequired, "far away")),
            (Metrics{{"error_code", 3164}, {"photokit", 1}}));
}

TEST(ErrorMetrics, tellTheSystemsOwnKindsOfError) {
  EXPECT_EQ(AppDiagnostics::errorMetrics(RecognitionError(RecognitionError::Case::budgetExceeded)),
            (Metrics{{"error_code", 0}, {"other_domain", 1}, {"recognition_limit", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(RecognitionError(RecognitionError::Case::resourceUnavailable)),
            (Metrics{{"error_code", 1}, {"other_domain", 1}, {"original_unavailable", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(SyncHistoryError(SyncHistoryError::Case::unreadableHistory)),
            (Metrics{{"error_code", 0}, {"other_domain", 1}, {"history_unreadable", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(SyncHistoryError(SyncHistoryError::Case::unresolvedImport)),
            (Metrics{{"error_code", 1}, {"other_domain", 1}, {"import_unresolved", 1}}));
  using Photos = app::PhotoLibraryError;
  for (const Photos::Case kind : {Photos::Case::accessDenied, Photos::Case::albumCouldNotBeCreated,
                                  Photos::Case::changeFailed, Photos::Case::inconsistentChangeResult}) {
    EXPECT_EQ(
        AppDiagnostics::errorMetrics(Photos(kind)),
        (Metrics{
            {"error_code", static_cast<std::int64_t>(kind)}, {"other_domain", 1}, {"photos_operation", 1}}));
  }
  EXPECT_EQ(AppDiagnostics::errorMetrics(MediaSourceError::volumeAccessDenied("My card")),
            (Metrics{{"error_code", 0}, {"other_domain", 1}, {"camera_access", 1}}));
}

TEST(ErrorMetrics, haveOnlyDomainAndCodeForAnErrorOfAnUnknownType) {
  EXPECT_EQ(AppDiagnostics::errorMetrics(CancellationError()),
            (Metrics{{"error_code", 0}, {"other_domain", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(std::runtime_error("PICT0001.JPG")),
            (Metrics{{"error_code", 0}, {"other_domain", 1}}));
}

TEST(ErrorMetrics, takeTheStandardLibrarysSystemErrorsForWhatTheyAre) {
  EXPECT_EQ(AppDiagnostics::errorMetrics(std::system_error(EIO, std::system_category())),
            (Metrics{{"error_code", EIO}, {"posix", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(std::filesystem::filesystem_error(
                "remove", std::make_error_code(std::errc::permission_denied))),
            (Metrics{{"error_code", EACCES}, {"posix", 1}}));
}

TEST(ErrorMetrics, areTheSameOfAKeptFailure) {
  EXPECT_EQ(AppDiagnostics::errorMetrics(
                std::make_exception_ptr(RecognitionError(RecognitionError::Case::budgetExceeded))),
            (Metrics{{"error_code", 0}, {"other_domain", 1}, {"recognition_limit", 1}}));
  EXPECT_EQ(AppDiagnostics::errorMetrics(std::make_exception_ptr(5)),
            (Metrics{{"error_code", 0}, {"other_domain", 1}}));
}

}  // namespace tolvander::tests
