#include <iostream>
#include <set>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Reports/LibraryRemedies.h"
#include "Shells/CommandLine/Reports/LibraryReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Session/ProgressLine.h"
#include "Shells/CommandLine/Session/RebuildFlow.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::shell {

using app::LibraryReport;
using namespace platform::linux_;

namespace {

bool isMade(EmbeddedPhotoLibrary& library) {
  return library.authorizationStatus() != app::PhotosAuthorizationStatus::notDetermined;
}

LibraryReport::Asset reported(const ListedAsset& listed, const ListedOriginal& original) {
  return {.identifier = listed.asset.localIdentifier,
          .creationDate = listed.asset.creationDate,
          .isVideo = listed.asset.mediaType == app::PhotosMediaType::video,
          .byteCount = original.byteCount,
          .filename = original.originalFilename,
          .file = original.file};
}

LibraryReport reportOf(EmbeddedPhotoLibrary& library, const FileURL& folder, const CancellationToken& stop) {
  LibraryReport report{.folder = folder, .exists = isMade(library), .assets = {}, .albums = {}};
  if (!report.exists) {
    return report;
  }
  library.forEachAsset([&](const ListedAsset& listed) {
    if (!listed.originals.empty()) {
      report.assets.push_back(reported(listed, listed.originals.front()));
    }
    return !stop.isCancelled();
  });
  stop.throwIfCancelled();
  for (const ListedAlbum& listed : library.albumsWithCounts()) {
    report.albums.push_back(
        {.title = listed.album.localizedTitle.value_or(""), .assetCount = listed.assetCount});
  }
  return report;
}

// Absent where there is no such album.
std::optional<std::set<std::string>> identifiersIn(EmbeddedPhotoLibrary& library, const std::string& title) {
  if (!isMade(library)) {
    return std::nullopt;
  }
  const auto albums = library.fetchAlbums(title);
  if (albums.empty()) {
    return std::nullopt;
  }
  std::set<std::string> identifiers;
  for (const auto& album : albums) {
    for (const auto& asset : library.fetchAssets(album)) {
      identifiers.insert(asset.localIdentifier);
    }
  }
  return identifiers;
}

// What the history knows; nothing where it can't be read.
app::LibraryRemedies remediesOf(const FileURL& history) {
  try {
    SyncHistoryStore store(history);
    return {store.records(), store.trashRecords()};
  } catch (const Error&) {
    return {};
  }
}

std::vector<app::LibraryVerificationReport::Fault> reported(const std::vector<FaultyOriginal>& originals,
                                                            const app::LibraryRemedies& remedies) {
  std::vector<app::LibraryVerificationReport::Fault> faults;
  for (const FaultyOriginal& original : originals) {
    faults.push_back(
        {.file = original.file, .reason = original.reason, .remedy = remedies.of(original.assetIdentifier)});
  }
  return faults;
}

std::string dateProblem(const std::string& text) {
  return dateFromArgument(text) ? "" : "no date such as 2026-11-15T19:13:17Z or …+01:00";
}

class LibraryCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command("library", "Show what is in the photo library");
    assets_ = command.command("assets", "List its photos and videos, the newest first");
    assets_.value("--from", from_, "Taken then or later").typeName("DATE").check(dateProblem);
    assets_.value("--to", to_, "Taken then or earlier").typeName("DATE").check(dateProblem);
    assets_.value("--album", album_, "Only those in this album").typeName("NAME");
    assets_.value("--limit", limit_, "At most so many").typeName("N").positive();
    albums_ = command.command("albums", "List its albums");
    verify_ = command.command("verify", "Read every file, and say what is wrong and what can mend it");
    verify_.flag("--quick", isQuick_, "Compare sizes only, and read nothing");
    rebuild_ = command.command(
        "rebuild", "Make its catalogue anew from the pictures and the import history; changes no picture");
    rebuild_.flag("--yes", agrees_, "Without asking");
    command.allowCommand();
    return command;
  }

  ExitStatus run(const Context& context) override {
    if (rebuild_.wasGiven()) {
      return rebuild(context);
    }
    const FileURL folder = HomeFiles::of(context).library;
    EmbeddedPhotoLibrary library(folder);
    library.requireCatalogue();
    if (verify_.wasGiven()) {
      return verify(library, context);
    }
    LibraryReport report = reportOf(library, folder, context.cancellation);
    if (assets_.wasGiven()) {
      return showAssets(library, report, context);
    }
    if (albums_.wasGiven()) {
      std::cout << (context.json ? report.jsonOfAlbums() + "\n" : report.textOfAlbums());
    } else {
      std::cout << (context.json ? report.json() + "\n" : report.text());
    }
    return ExitStatus::done;
  }

 private:
  ExitStatus showAssets(EmbeddedPhotoLibrary& library, LibraryReport& report, const Context& context) const {
    if (album_) {
      const auto members = identifiersIn(library, *album_);
      if (!members) {
        showFailure(app::noSuchAlbumText(*album_));
        return ExitStatus::failed;
      }
      std::erase_if(report.assets,
                    [&](const LibraryReport::Asset& asset) { return !members->contains(asset.identifier); });
    }
    report.select({.from = from_ ? dateFromArgument(*from_) : std::nullopt,
                   .to = to_ ? dateFromArgument(*to_) : std::nullopt,
                   .limit = limit_});
    std::cout << (context.json ? report.jsonOfAssets() + "\n" : report.textOfAssets());
    return ExitStatus::done;
  }

  ExitStatus verify(EmbeddedPhotoLibrary& library, const Context& context) const {
    app::LibraryVerificationReport report;
    report.comparesSizesOnly = isQuick_;
    if (isMade(library)) {
      const app::LibraryRemedies remedies = remediesOf(HomeFiles::of(context).history);
      ProgressLine line(!context.json);
      const VerificationOptions options{
          .readsContent = !isQuick_,
          .knownContents = remedies.contents(),
          .progress = [&line](const VerificationProgress& progress) {
            line.show(app::verificationProgressText(progress.originals, progress.bytes, progress.bytesInAll));
          }};
      LibraryVerification found = library.verify(context.cancellation, options);
      report.assets = found.assets;
      report.originals = found.originals;
      report.hashedForTheFirstTime = found.hashedForTheFirstTime;
      report.catalogueProblems = std::move(found.catalogueProblems);
      report.missing = reported(found.missing, remedies);
      report.changed = reported(found.changed, remedies);
      report.damaged = reported(found.damaged, remedies);
      report.unreadable = reported(found.unreadable, remedies);
      report.unknown = std::move(found.unknown);
      report.unfinished = std::move(found.unfinished);
    }
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return report.isSound() ? ExitStatus::done : ExitStatus::incomplete;
  }

  ExitStatus rebuild(const Context& context) const {
    Session session(context, {.volumes = {},
                              .settings = {},
                              .answers = {.agreesToAlerts = agrees_, .optionForAlerts = "--yes"},
                              .notified = {}});
    return session.run(
        [&](Session& running) { return rebuildLibrary(&running, context.json, context.cancellation); });
  }

  CommandSyntax assets_;
  CommandSyntax albums_;
  CommandSyntax verify_;
  CommandSyntax rebuild_;
  bool agrees_ = false;
  bool isQuick_ = false;
  std::optional<std::string> from_;
  std::optional<std::string> to_;
  std::optional<std::string> album_;
  std::optional<std::int64_t> limit_;
};

}  // namespace

std::unique_ptr<Command> makeLibraryCommand() { return std::make_unique<LibraryCommand>(); }

}  // namespace tolvander::shell
