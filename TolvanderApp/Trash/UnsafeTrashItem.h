#pragma once

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// This isn't provably the file that was meant. Never shown to the user: the file is counted as failed.
class UnsafeTrashItem final : public Error {
 public:
  UnsafeTrashItem() : Error("this is not provably the file that was recorded") {}
  std::string_view domain() const override { return "TolvanderApp.UnsafeTrashItem"; }
  std::int64_t code() const override { return 0; }
};

}  // namespace tolvander::app
