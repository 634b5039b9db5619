#pragma once

#include <string>

#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

enum class UserDefaultsErrorCase { unreadableStore };

// Stored preferences that can't be changed, because what is stored can't be understood.
class UserDefaultsError final : public CaseError<UserDefaultsErrorCase> {
 public:
  // `store` holds what can't be read; `reason` is for developers.
  static UserDefaultsError unreadableStore(const FileURL& store, std::string reason) {
    return UserDefaultsError(store, std::move(reason));
  }

  const FileURL& store() const { return store_; }

  std::string_view domain() const override { return "TolvanderApp.UserDefaultsError"; }
  std::optional<std::string> description() const override {
    return "Settings could not be read, and nothing was changed. To start with new settings, move “" +
           store_.path() + "” to another place.";
  }

 private:
  UserDefaultsError(FileURL store, std::string reason)
      : CaseError(Case::unreadableStore, std::move(reason)), store_(std::move(store)) {}

  FileURL store_;
};

}  // namespace tolvander::app
