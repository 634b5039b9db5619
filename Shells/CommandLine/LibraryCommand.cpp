#include <CLI/CLI.hpp>
#include <iostream>
#include <set>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/HomeFiles.h"
#include "TolvanderApp/Presentation/LibraryReport.h"

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
    verify_ = command->add_subcommand("verify", "Look at every file, and list missing and altered ones");
    command->require_subcommand(0, 1);
    return command;
  }

  ExitStatus run(const Context& context) override {
    const FileURL folder = HomeFiles::of(context).library;
    EmbeddedPhotoLibrary library(folder);
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

  static ExitStatus verify(EmbeddedPhotoLibrary& library, const Context& context) {
    app::LibraryVerificationReport report;
    if (isMade(library)) {
      LibraryVerification found = library.verify(context.cancellation);
      report = {.assets = found.assets,
                .originals = found.originals,
                .catalogueProblems = std::move(found.catalogueProblems),
                .missing = std::move(found.missing),
                .changed = std::move(found.changed),
                .unknown = std::move(found.unknown)};
    }
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return report.isSound() ? ExitStatus::done : ExitStatus::incomplete;
  }

  CLI::App* assets_ = nullptr;
  CLI::App* albums_ = nullptr;
  CLI::App* verify_ = nullptr;
  std::optional<std::string> from_;
  std::optional<std::string> to_;
  std::optional<std::string> album_;
  std::optional<std::int64_t> limit_;
};

}  // namespace

std::unique_ptr<Command> makeLibraryCommand() { return std::make_unique<LibraryCommand>(); }

}  // namespace tolvander::shell
