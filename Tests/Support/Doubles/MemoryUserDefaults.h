#pragma once

#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <variant>

#include "TolvanderApp/Platform/UserDefaults.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

// Preferences that last as long as this object.
class MemoryUserDefaults final : public app::UserDefaults {
 public:
  std::optional<bool> boolean(std::string_view key) const override { return value<bool>(key); }
  std::optional<std::string> string(std::string_view key) const override { return value<std::string>(key); }
  std::optional<Data> data(std::string_view key) const override { return value<Data>(key); }

  void setBoolean(std::string_view key, bool value) override { set(key, value); }
  void setString(std::string_view key, std::string_view text) override { set(key, std::string(text)); }
  void setData(std::string_view key, std::span<const std::byte> bytes) override {
    set(key, Data(bytes.begin(), bytes.end()));
  }
  void remove(std::string_view key) override {
    refuseIfFull();
    values_.erase(std::string(key));
  }

  bool contains(std::string_view key) const { return values_.contains(key); }

  // From now on every change fails, with ENOSPC, or works again.
  void setFull(bool isFull) { isFull_ = isFull; }

 private:
  using Value = std::variant<bool, std::string, Data>;

  void set(std::string_view key, Value value) {
    refuseIfFull();
    values_.insert_or_assign(std::string(key), std::move(value));
  }

  void refuseIfFull() const {
    if (isFull_) {
      throw PosixError(ENOSPC, "store", FileURL("/memory"));
    }
  }

  template <typename T>
  std::optional<T> value(std::string_view key) const {
    const auto found = values_.find(key);
    const T* const value = found != values_.end() ? std::get_if<T>(&found->second) : nullptr;
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  std::map<std::string, Value, std::less<>> values_;
  bool isFull_ = false;
};

}  // namespace tolvander::tests
