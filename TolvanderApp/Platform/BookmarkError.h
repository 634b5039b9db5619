#pragma once

#include <string>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// A bookmark that can't be made or that leads nowhere.
class BookmarkError final : public Error {
 public:
  enum class Case {
    cannotBeMade,      // there is no such folder, or it has a name that can't be kept
    unreadable,        // the bytes are no bookmark
    noSecurityScope,   // asked for a security scope that the bookmark was made without
    volumeNotMounted,  // what it leads to isn't there now
  };

  // `what` is for developers and for people at a terminal.
  BookmarkError(Case kind, std::string what) : Error(std::move(what)), kind_(kind) {}

  Case kind() const { return kind_; }
  std::string_view domain() const override { return "TolvanderApp.BookmarkError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }

 private:
  Case kind_;
};

}  // namespace tolvander::app
