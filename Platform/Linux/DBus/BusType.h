#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "Platform/Linux/DBus/BusError.h"

namespace tolvander::platform::linux_ {

// The address of an object within its service, such as "/org/freedesktop/UDisks2/Manager".
struct ObjectPath {
  std::string text;

  friend auto operator<=>(const ObjectPath&, const ObjectPath&) = default;
};

class BusVariant;

// Maps a C++ type to its signature on the bus (D-Bus Specification, "Type System"). Other types don't
// compile.
template <typename T>
struct BusType;

template <>
struct BusType<bool> {
  static std::string signature() { return "b"; }
};
template <>
struct BusType<std::uint8_t> {
  static std::string signature() { return "y"; }
};
template <>
struct BusType<std::int32_t> {
  static std::string signature() { return "i"; }
};
template <>
struct BusType<std::uint32_t> {
  static std::string signature() { return "u"; }
};
template <>
struct BusType<std::string> {
  static std::string signature() { return "s"; }
};
template <>
struct BusType<ObjectPath> {
  static std::string signature() { return "o"; }
};
template <>
struct BusType<BusVariant> {
  static std::string signature() { return "v"; }
};
template <typename T>
struct BusType<std::vector<T>> {
  static std::string signature() { return "a" + BusType<T>::signature(); }
};
template <typename Key, typename Value>
struct BusType<std::map<Key, Value>> {
  static std::string signature() {
    return "a{" + BusType<Key>::signature() + BusType<Value>::signature() + "}";
  }
};

// A variant. Values of types that aren't among the alternatives are dropped: services have many properties
// that are not needed here.
class BusVariant {
 public:
  using Value =
      std::variant<std::monostate, bool, std::string, ObjectPath, std::vector<std::vector<std::uint8_t>>>;

  BusVariant() = default;
  template <typename T>
  explicit BusVariant(T value) : value_(std::move(value)) {}

  const Value& value() const { return value_; }

  // Throws BusError ("org.freedesktop.DBus.Error.InvalidSignature") if it has another type.
  template <typename T>
  const T& get() const {
    const T* value = std::get_if<T>(&value_);
    if (value == nullptr) {
      throw BusError(busInvalidSignature, "a value is not of type " + BusType<T>::signature());
    }
    return *value;
  }

 private:
  Value value_;
};

}  // namespace tolvander::platform::linux_
