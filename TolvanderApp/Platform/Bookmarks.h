#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "TolvanderApp/Platform/BookmarkError.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

struct BookmarkCreationOptions {
  bool withSecurityScope = false;  // it lets the program in again, and doesn't only tell where the folder is

  friend bool operator==(const BookmarkCreationOptions&, const BookmarkCreationOptions&) = default;
};

struct BookmarkResolutionOptions {
  bool withSecurityScope = false;
  bool withoutUI = false;        // asks the user nothing
  bool withoutMounting = false;  // mounts nothing

  friend bool operator==(const BookmarkResolutionOptions&, const BookmarkResolutionOptions&) = default;
};

struct ResolvedBookmark {
  FileURL url;
  bool isStale = false;  // a new bookmark should be made of `url` and kept in the place of this one

  friend bool operator==(const ResolvedBookmark&, const ResolvedBookmark&) = default;
};

// Lasting references to volumes, kept as bytes that mean nothing to anybody else. Belongs to the main thread.
class Bookmarks {
 public:
  virtual ~Bookmarks() = default;

  // Throws BookmarkError (cannotBeMade).
  virtual std::vector<std::byte> bookmarkData(const FileURL& url, BookmarkCreationOptions options) = 0;

  // Where the bookmark leads now. Throws BookmarkError, and PosixError when the system can't tell.
  virtual ResolvedBookmark resolve(std::span<const std::byte> bookmark,
                                   BookmarkResolutionOptions options) = 0;

  // Whether what this bookmark was resolved to before is still there, at that place. A mount point whose
  // volume has left is not it, also where the system keeps the empty folder.
  virtual bool isStillThere(std::span<const std::byte> bookmark, const FileURL& url) = 0;

  // Lets the program into what a bookmark with a security scope was resolved to. When it answers true, access
  // lasts until stopAccessing, to be called as many times.
  virtual bool startAccessing(const FileURL& url) = 0;
  virtual void stopAccessing(const FileURL& url) = 0;
};

}  // namespace tolvander::app
