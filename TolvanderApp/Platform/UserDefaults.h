#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander::app {

// The user's preferences: typed values under keys, kept from one run to the next. Belongs to the main thread.
//
// Reading never fails: a key that isn't there, or whose value is of another type, gives absent. A change is
// stored before the operation returns; when it throws, the old value stays, also in memory. It throws
// UserDefaultsError while what is stored can't be understood, which is then left as it is and reads as
// empty; other errors are the system's.
class UserDefaults {
 public:
  using Data = std::vector<std::byte>;

  virtual ~UserDefaults() = default;

  virtual std::optional<bool> boolean(std::string_view key) const = 0;
  virtual std::optional<std::string> string(std::string_view key) const = 0;
  virtual std::optional<Data> data(std::string_view key) const = 0;

  virtual void setBoolean(std::string_view key, bool value) = 0;
  virtual void setString(std::string_view key, std::string_view text) = 0;  // UTF-8
  virtual void setData(std::string_view key, std::span<const std::byte> bytes) = 0;

  // Whatever the type of its value. A key that isn't there is no error.
  virtual void remove(std::string_view key) = 0;
};

}  // namespace tolvander::app
