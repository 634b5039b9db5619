#pragma once

#include <string>
#include <utility>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An SQLite database as files: the database and its "-wal", "-shm" and "-journal"
// (sqlite.org/fileformat2.html, sections 3 and 4). SQLite applies a log to any database of the matching
// name, so that the log must be moved or removed together with its database. No connection may have the
// database open for writing.
class DatabaseFile {
 public:
  explicit DatabaseFile(FileURL url) : url_(std::move(url)) {}

  const FileURL& url() const { return url_; }

  // Removes all of these files. Ignores failures.
  void remove() const noexcept;

  // Makes the closed database durable, without a log, and renames it within its folder, durably. Replaces a
  // database of that name, but doesn't remove that one's log. Throws PosixError; EBUSY if the log still has
  // content.
  void moveTo(const FileURL& url) const;

  // Renames the database and the files beside it within their folder, durably. Does nothing if none of them
  // exists. Throws PosixError.
  void setAside(const FileURL& url) const;

 private:
  void finish() const;

  FileURL url_;
};

}  // namespace tolvander::platform::linux_
