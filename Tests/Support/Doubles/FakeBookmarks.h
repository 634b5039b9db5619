#pragma once

#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Samples/Bytes.h"
#include "TolvanderApp/Platform/Bookmarks.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {

// Bookmarks that lead where the test says, and a count of what is open.
class FakeBookmarks final : public app::Bookmarks {
 public:
  struct Bookmark {
    FileURL url;
    bool isStale = false;
    bool hasSecurityScope = true;
  };

  // Which bookmarks there are, by their bytes.
  std::map<std::string, Bookmark> known;

  // What can't be done.
  bool failsToMakeScoped = false;
  bool failsToMakePlain = false;
  bool refusesAccess = false;

  // How often access to each place is open now. Below 0 it was stopped too often.
  std::map<FileURL, int> open;
  std::vector<app::BookmarkResolutionOptions> resolutions;

  // A bookmark with these bytes.
  std::vector<std::byte> add(const std::string& text, Bookmark bookmark) {
    known.insert_or_assign(text, std::move(bookmark));
    return bytesOf(text);
  }

  std::vector<std::byte> bookmarkData(const FileURL& url, app::BookmarkCreationOptions options) override {
    if (options.withSecurityScope ? failsToMakeScoped : failsToMakePlain) {
      throw app::BookmarkError(app::BookmarkError::Case::cannotBeMade, "as the test wants it");
    }
    return add((options.withSecurityScope ? "scoped " : "plain ") + url.path(),
               {.url = url, .isStale = false, .hasSecurityScope = options.withSecurityScope});
  }

  app::ResolvedBookmark resolve(std::span<const std::byte> bookmark,
                                app::BookmarkResolutionOptions options) override {
    resolutions.push_back(options);
    const auto found = known.find({reinterpret_cast<const char*>(bookmark.data()), bookmark.size()});
    if (found == known.end()) {
      throw app::BookmarkError(app::BookmarkError::Case::volumeNotMounted, "as the test wants it");
    }
    if (options.withSecurityScope && !found->second.hasSecurityScope) {
      throw app::BookmarkError(app::BookmarkError::Case::noSecurityScope, "as the test wants it");
    }
    return {.url = found->second.url, .isStale = found->second.isStale};
  }

  // As on a system whose mount points go with their volumes.
  bool isStillThere(std::span<const std::byte>, const FileURL& url) override { return fileExists(url); }

  bool startAccessing(const FileURL& url) override {
    open[url] += refusesAccess ? 0 : 1;
    return !refusesAccess;
  }
  void stopAccessing(const FileURL& url) override { --open[url]; }
};

}  // namespace tolvander::tests
