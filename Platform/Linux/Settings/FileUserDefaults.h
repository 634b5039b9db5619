#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Linux/Settings/UserDefaultsStore.h"
#include "TolvanderApp/Platform/UserDefaults.h"
#include "TolvanderApp/Platform/UserDefaultsError.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander::platform::linux_ {

// Preferences in one JSON file, of the form that UserDefaultsStore.h tells.
//
// Read once, at creation. Each change replaces the file as a whole, and is on the disk when the operation
// returns; a change to the value that is there already writes nothing. The file is this object's alone while
// it lives: one process at a time owns a home.
//
// A file that can't be read (damaged, cut off, of another version, not a file, without permission, larger
// than 16 MiB) is never written to: reading gives nothing, every change throws UserDefaultsError. It has to
// be mended or moved away by somebody who can tell what it is worth; what was in it must not be replaced by
// the few values of a fresh start. Only a file that isn't there is an empty one.
class FileUserDefaults final : public app::UserDefaults {
 public:
  // Where the preferences of a home belong; absent where the user has no home.
  static std::optional<FileURL> standardFile(const StandardDirectories& directories);

  // Throws nothing because of the file. The folder is made with the first change.
  explicit FileUserDefaults(FileURL file);

  // Why nothing can be changed; absent where it can.
  const std::optional<app::UserDefaultsError>& failure() const { return failure_; }

  std::optional<bool> boolean(std::string_view key) const override;
  std::optional<std::string> string(std::string_view key) const override;
  std::optional<Data> data(std::string_view key) const override;
  void setBoolean(std::string_view key, bool value) override;
  void setString(std::string_view key, std::string_view text) override;
  void setData(std::string_view key, std::span<const std::byte> bytes) override;
  void remove(std::string_view key) override;

 private:
  void load();
  void requireReadable() const;
  void set(std::string_view key, UserDefaultsValue value);
  void replace(UserDefaultsValues values);

  template <typename Value>
  std::optional<Value> value(std::string_view key) const;

  FileURL file_;
  UserDefaultsValues values_;
  std::optional<app::UserDefaultsError> failure_;
};

}  // namespace tolvander::platform::linux_
