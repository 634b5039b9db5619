#include "Shells/CommandLine/Session/RebuildFlow.h"

#include <chrono>
#include <iostream>
#include <memory>

#include "Platform/Linux/PhotoLibrary/LibraryErrors.h"
#include "Platform/Linux/PhotoLibrary/LibraryRebuild.h"
#include "Shells/CommandLine/Reports/LibraryReport.h"
#include "Shells/CommandLine/Reports/RebuildReport.h"
#include "Shells/CommandLine/Session/ProgressLine.h"
#include "TolvanderApp/Concurrency/Background.h"

namespace tolvander::shell {

using app::RebuildReport;
using app::Task;
using namespace platform::linux_;

namespace {

KnownImports knownImports(SyncHistoryStore& history) {
  KnownImports known;
  for (const ImportRecord& record : history.records()) {
    if (record.photosAssetIdentifier && record.isContentConfirmed()) {
      known.imports.emplace(record.processedFingerprint.value_or(record.sourceFingerprint),
                            KnownImports::Import{.assetIdentifier = *record.photosAssetIdentifier,
                                                 .filename = record.filename});
    }
  }
  for (const auto& [source, processed] : history.pendingProcessedFingerprints()) {
    known.pendingFingerprints.insert(processed);
  }
  if (!known.pendingFingerprints.empty()) {
    known.history = history.identity();
  }
  return known;
}

RebuildReport reported(const RebuildPlan& plan, const FileURL& folder) {
  return {.folder = folder,
          .isNeeded = plan.isNeeded,
          .items = plan.items,
          .known = plan.counts.known,
          .added = plan.counts.added,
          .moved = plan.counts.moved,
          .dropped = plan.counts.dropped,
          .leftOut = plan.counts.leftOut,
          .waiting = plan.counts.waiting,
          .source = plan.source,
          .hasCatalogue = fileExists(LibraryFolder(folder).catalogueFile()),
          .isDone = false,
          .formerCatalogue = std::nullopt};
}

// Reads the whole library, on a worker.
Task<RebuildPlan> planInBackground(std::shared_ptr<LibraryRebuild> rebuild, bool json,
                                   CancellationToken stop) {
  return app::background([rebuild = std::move(rebuild), json, stop = std::move(stop)] {
    ProgressLine line(!json);
    return withLibraryErrors([&] {
      return rebuild->plan(stop, [&line](const VerificationProgress& progress) {
        line.show(app::verificationProgressText(progress.originals, progress.bytes, progress.bytesInAll));
      });
    });
  });
}

}  // namespace

Task<ExitStatus> rebuildLibrary(Session* session, bool json, CancellationToken stop) {
  const FileURL folder = session->files().library;
  const auto rebuild = withLibraryErrors([&] {
    return std::make_shared<LibraryRebuild>(folder, knownImports(session->history()),
                                            EmbeddedPhotoLibrary::defaultBusyTimeout);
  });
  auto planning = planInBackground(rebuild, json, std::move(stop));
  const RebuildPlan plan = co_await planning;
  RebuildReport report = reported(plan, folder);
  if (report.isNeeded) {
    auto asking = session->dialogs().ask(app::rebuildQuestion(report));
    const std::size_t answer = co_await asking;
    if (session->isInterrupted()) {
      co_return ExitStatus::stopped;
    }
    if (answer != 0) {
      co_return ExitStatus::failed;
    }
    report.formerCatalogue =
        withLibraryErrors([&] { return rebuild->carryOut(std::chrono::system_clock::now()); });
    report.isDone = true;
  }
  std::cout << (json ? report.json() + "\n" : report.text());
  co_return ExitStatus::done;
}

}  // namespace tolvander::shell
