#pragma once

#include <string>
#include <utility>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An SQLite file as a file, with the files that SQLite keeps beside it: "-wal", "-shm" and "-journal"
// (sqlite.org/fileformat2.html). A log is taken into whatever database has the name that goes with it, so
// that it must go wherever the database goes. Nothing may have the file open for writing.
class DatabaseFile {
 public:
  explicit DatabaseFile(FileURL url) : url_(std::move(url)) {}

  const FileURL& url() const { return url_; }

  // Removes all of them. What can't be removed stays.
  void remove() const noexcept;

  // Makes it durable as a file that needs no log. It must have been closed. Throws PosixError, EBUSY where it
  // has a log all the same.
  void finish() const;

  // Finishes it, and gives it another name in the same folder, durably: in place of a file of that name, but
  // not of that one's log. Throws PosixError.
  void moveTo(const FileURL& url) const;

  // Gives it and what lies beside it another name in the same folder, durably. Does nothing where none of
  // them is there. Throws PosixError.
  void setAside(const FileURL& url) const;

 private:
  FileURL url_;
};

}  // namespace tolvander::platform::linux_
