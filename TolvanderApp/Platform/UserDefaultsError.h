#pragma once

#include <string>

#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// Stored preferences that can't be changed, because what is stored can't be understood.
class UserDefaultsError final : public Error {
 public:
  enum class Case { unreadableStore };

  // `store` holds what can't be read; `reason` is for developers.
  static UserDefaultsError unreadableStore(const FileURL& store, std::string reason) {
    return UserDefaultsError(store, std::move(reason));
  }

  Case kind() const { return Case::unreadableStore; }
  const FileURL& store() const { return store_; }

  std::string_view domain() const override { return "TolvanderApp.UserDefaultsError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind()); }
  std::optional<std::string> description() const override {
    return "Settings could not be read, and nothing was changed. To start with new settings, move “" +
           store_.path() + "” to another place.";
  }

 private:
  UserDefaultsError(FileURL store, std::string reason) : Error(std::move(reason)), store_(std::move(store)) {}

  FileURL store_;
};

}  // namespace tolvander::app
