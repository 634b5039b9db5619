#pragma once

#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::app {

enum class BookmarkErrorCase {
  cannotBeMade,      // there is no such folder, or it has a name that can't be kept
  unreadable,        // the bytes are no bookmark
  noSecurityScope,   // asked for a security scope that the bookmark was made without
  volumeNotMounted,  // what it leads to isn't there now
};

// A bookmark that can't be made or that leads nowhere.
class BookmarkError final : public CaseError<BookmarkErrorCase> {
 public:
  // `what` is for developers and for people at a terminal.
  BookmarkError(Case kind, std::string what) : CaseError(kind, std::move(what)) {}

  std::string_view domain() const override { return "TolvanderApp.BookmarkError"; }
};

}  // namespace tolvander::app
