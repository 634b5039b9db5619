#include "Platform/Linux/Settings/FileUserDefaults.h"

#include <cerrno>
#include <cstddef>
#include <span>
#include <utility>

#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/DecodingError.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t largestFile = 16 * 1024 * 1024;  // bytes; enough for thousands of cameras

UserDefaultsValues valuesIn(const FileURL& file) {
  FileReader reader(file);
  if (reader.size() > largestFile) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "larger than any file of preferences");
  }
  return decodeUserDefaults(reader.readToEnd());
}

}  // namespace

std::optional<FileURL> FileUserDefaults::standardFile(const StandardDirectories& directories) {
  return directories.configuration
             ? std::optional(directories.configuration->appending("com.tolvander.app/defaults.json"))
             : std::nullopt;
}

FileUserDefaults::FileUserDefaults(FileURL file) : file_(std::move(file)) {
  AtomicFile::removeLeftovers(file_);
  load();
}

void FileUserDefaults::load() {
  try {
    values_ = valuesIn(file_);
  } catch (const PosixError& error) {
    if (error.code() != ENOENT) {
      failure_ = app::UserDefaultsError::unreadableStore(file_, error.what());
    }
  } catch (const DecodingError& error) {
    failure_ = app::UserDefaultsError::unreadableStore(file_, error.what());
  }
}

void FileUserDefaults::requireReadable() const {
  if (failure_) {
    throw app::UserDefaultsError(*failure_);
  }
}

template <typename Value>
std::optional<Value> FileUserDefaults::value(std::string_view key) const {
  const auto found = values_.find(key);
  const Value* const value = found != values_.end() ? std::get_if<Value>(&found->second) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

std::optional<bool> FileUserDefaults::boolean(std::string_view key) const { return value<bool>(key); }

std::optional<std::string> FileUserDefaults::string(std::string_view key) const {
  return value<std::string>(key);
}

std::optional<app::UserDefaults::Data> FileUserDefaults::data(std::string_view key) const {
  return value<Data>(key);
}

void FileUserDefaults::setBoolean(std::string_view key, bool value) { set(key, value); }

void FileUserDefaults::setString(std::string_view key, std::string_view text) { set(key, std::string(text)); }

void FileUserDefaults::setData(std::string_view key, std::span<const std::byte> bytes) {
  set(key, Data(bytes.begin(), bytes.end()));
}

void FileUserDefaults::set(std::string_view key, UserDefaultsValue value) {
  requireReadable();
  const auto found = values_.find(key);
  if (found != values_.end() && found->second == value) {
    return;
  }
  UserDefaultsValues changed = values_;
  changed.insert_or_assign(std::string(key), std::move(value));
  replace(std::move(changed));
}

void FileUserDefaults::remove(std::string_view key) {
  requireReadable();
  if (!values_.contains(key)) {
    return;
  }
  UserDefaultsValues changed = values_;
  changed.erase(std::string(key));
  replace(std::move(changed));
}

// Writes the file before updating memory, so that both are unchanged if it fails.
void FileUserDefaults::replace(UserDefaultsValues values) {
  const std::string text = encodeUserDefaults(values) + "\n";
  createDirectories(file_.deletingLastPathComponent(), Durability::survivesPowerLoss);
  AtomicFile file(file_, Durability::survivesPowerLoss);
  file.write(std::as_bytes(std::span(text)));
  file.commit();
  values_ = std::move(values);
}

}  // namespace tolvander::platform::linux_
