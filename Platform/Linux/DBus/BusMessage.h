#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/DBus/BusType.h"

struct sd_bus_message;

namespace tolvander::platform::linux_ {

// The arguments of a call or a reply, appended or taken in their order. All operations throw BusError. For
// one thread at a time, which must be the one that uses the connection.
class BusMessage {
 public:
  // Takes ownership of one reference.
  explicit BusMessage(sd_bus_message* message) : message_(message) {}

  sd_bus_message* handle() const { return message_.get(); }

  // Throws BusError ("org.freedesktop.DBus.Error.InvalidArgs") for a text that isn't UTF-8 or contains NUL,
  // because the bus would close the connection, and for a malformed object path.
  template <typename... T>
  void append(const T&... values) {
    (write(values), ...);
  }

  // Takes the next argument.
  template <typename T>
  T take() {
    T value{};
    read(value);
    return value;
  }

  // Throws BusError ("org.freedesktop.DBus.Error.InvalidSignature") unless the arguments have this
  // signature.
  void expectSignature(const std::string& signature) const;

 private:
  struct Deleter {
    void operator()(sd_bus_message* message) const;
  };

  void write(bool value);
  void write(std::uint8_t value);
  void write(std::int32_t value);
  void write(std::uint32_t value);
  void write(const std::string& text);
  void write(const ObjectPath& path);
  void write(const BusVariant& variant);
  template <typename T>
  void write(const std::vector<T>& values) {
    openContainer('a', BusType<T>::signature());
    for (const T& value : values) {
      write(value);
    }
    closeContainer();
  }
  template <typename Key, typename Value>
  void write(const std::map<Key, Value>& values) {
    const std::string entry = BusType<Key>::signature() + BusType<Value>::signature();
    openContainer('a', "{" + entry + "}");
    for (const auto& [key, value] : values) {
      openContainer('e', entry);
      write(key);
      write(value);
      closeContainer();
    }
    closeContainer();
  }
  void openContainer(char type, const std::string& contents);
  void closeContainer();

  void read(bool& value);
  void read(std::uint8_t& value);
  void read(std::int32_t& value);
  void read(std::uint32_t& value);
  void read(std::string& text);
  void read(ObjectPath& path);
  void read(BusVariant& variant);
  template <typename T>
  void read(std::vector<T>& values) {
    enterContainer('a', BusType<T>::signature());
    while (!isAtEnd()) {
      values.push_back(take<T>());
    }
    leaveContainer();
  }
  template <typename Key, typename Value>
  void read(std::map<Key, Value>& values) {
    const std::string entry = BusType<Key>::signature() + BusType<Value>::signature();
    enterContainer('a', "{" + entry + "}");
    while (!isAtEnd()) {
      enterContainer('e', entry);
      auto key = take<Key>();
      values.insert_or_assign(std::move(key), take<Value>());
      leaveContainer();
    }
    leaveContainer();
  }
  void enterContainer(char type, const std::string& contents);
  void leaveContainer();
  bool isAtEnd() const;  // of the container

  void writeBasic(char type, const void* value);
  void readBasic(char type, void* value);
  template <typename T>
  bool readIfOfType(std::string_view signature, BusVariant& variant);

  std::unique_ptr<sd_bus_message, Deleter> message_;
};

}  // namespace tolvander::platform::linux_
