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

// Preferences in one JSON file, whose format UserDefaultsStore.h describes.
//
// The file is read once, by the constructor. Each change replaces the whole file, and is durable when the
// operation returns; setting a value that is already set writes nothing. Only one process at a time may use
// the file: the one that has the lock of the home (HomeLock).
//
// A file that can't be read (damaged, truncated, of another version, not a regular file, without permission,
// larger than 16 MiB) is never written to: reading returns no values, and every change throws
// UserDefaultsError. Otherwise the few values of a fresh start would replace its content. A user has to
// repair it or move it away. Only a missing file counts as empty.
class FileUserDefaults final : public app::UserDefaults {
 public:
  // The file of preferences in the user's home; absent if the user has no home.
  static std::optional<FileURL> standardFile(const StandardDirectories& directories);

  // Doesn't throw if the file can't be read. The folder is created by the first change.
  explicit FileUserDefaults(FileURL file);

  // Why changes fail; absent if they don't.
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
