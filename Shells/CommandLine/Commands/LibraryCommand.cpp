#include <CLI/CLI.hpp>
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
  CLI::App* declare(CLI::App& application) override {
    CLI::App* command = application.add_subcommand("library", "Show what is in the photo library");
    assets_ = command->add_subcommand("assets", "List its photos and videos, the newest first");
    assets_->add_option("--from", from_, "Taken then or later")->type_name("DATE")->check(dateProblem);
    assets_->add_option("--to", to_, "Taken then or earlier")->type_name("DATE")->check(dateProblem);
    assets_->add_option("--album", album_, "Only those in this album")->type_name("NAME");
    assets_->add_option("--limit", limit_, "At most so many")->type_name("N")->check(CLI::PositiveNumber);
    albums_ = command->add_subcommand("albums", "List its albums");
    verify_ =
        command->add_subcommand("verify", "Read every file, and say what is wrong and what can mend it");
    verify_->add_flag("--quick", isQuick_, "Compare sizes only, and read nothing");
    rebuild_ = command->add_subcommand(
        "rebuild", "Make its catalogue anew from the pictures and the import history; changes no picture");
    rebuild_->add_flag("--yes", agrees_, "Without asking");
    command->require_subcommand(0, 1);
    return command;
  }

  ExitStatus run(const Context& context) override {
    if (rebuild_->parsed()) {
      return rebuild(context);
    }
    const FileURL folder = HomeFiles::of(context).library;
    EmbeddedPhotoLibrary library(folder);
    library.requireCatalogue();
    if (verify_->parsed()) {
      return verify(library, context);
    }
    LibraryReport report = reportOf(library, folder, context.cancellation);
    if (assets_->parsed()) {
      return showAssets(library, report, context);
    }
    if (albums_->parsed()) {
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
          .progress = [&line](const VerificationProgress& progress) { line.show(progress); }};
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
    Session session(context, {.volumes = {}, .settings = {}, .answers = {}, .notified = {}});
    return session.run([&](Session& running) {
      return rebuildLibrary(&running, agrees_, context.json, context.cancellation);
    });
  }

  CLI::App* assets_ = nullptr;
  CLI::App* albums_ = nullptr;
  CLI::App* verify_ = nullptr;
  CLI::App* rebuild_ = nullptr;
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
