#include "Platform/Linux/DBus/BusMessage.h"

#include <systemd/sd-bus.h>

#include <type_traits>

#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr const char* writing = "write a message";
constexpr const char* reading = "read a message";

bool isTextForBus(std::string_view text) {
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    if (!sequence.isWellFormed || text.front() == '\0') {
      return false;
    }
    text.remove_prefix(sequence.length);
  }
  return true;
}

const char* checkedText(const std::string& text) {
  if (!isTextForBus(text)) {
    throw BusError(busInvalidArguments, "a text is not UTF-8, or contains a zero");
  }
  return text.c_str();
}

}  // namespace

void BusMessage::Deleter::operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }

void BusMessage::expectSignature(const std::string& signature) const {
  const char* actual = sd_bus_message_get_signature(handle(), 1);
  if (actual != signature) {
    throw BusError(busInvalidSignature,
                   "the arguments are \"" + std::string(actual) + "\" instead of \"" + signature + "\"");
  }
}

void BusMessage::write(bool value) {
  const int number = value ? 1 : 0;
  writeBasic('b', &number);
}
void BusMessage::write(std::uint8_t value) { writeBasic('y', &value); }
void BusMessage::write(std::int32_t value) { writeBasic('i', &value); }
void BusMessage::write(std::uint32_t value) { writeBasic('u', &value); }
void BusMessage::write(const std::string& text) { writeBasic('s', checkedText(text)); }
void BusMessage::write(const ObjectPath& path) { writeBasic('o', checkedText(path.text)); }

void BusMessage::write(const BusVariant& variant) {
  std::visit(
      [this]<typename T>(const T& value) {
        if constexpr (std::is_same_v<T, std::monostate>) {
          throw BusError(busInvalidArguments, "a value is missing");
        } else {
          openContainer('v', BusType<T>::signature());
          write(value);
          closeContainer();
        }
      },
      variant.value());
}

void BusMessage::openContainer(char type, const std::string& contents) {
  checkedBusResult(sd_bus_message_open_container(handle(), type, contents.c_str()), writing);
}

void BusMessage::closeContainer() { checkedBusResult(sd_bus_message_close_container(handle()), writing); }

void BusMessage::writeBasic(char type, const void* value) {
  checkedBusResult(sd_bus_message_append_basic(handle(), type, value), writing);
}

void BusMessage::read(bool& value) {
  int number = 0;
  readBasic('b', &number);
  value = number != 0;
}

void BusMessage::read(std::uint8_t& value) { readBasic('y', &value); }
void BusMessage::read(std::int32_t& value) { readBasic('i', &value); }
void BusMessage::read(std::uint32_t& value) { readBasic('u', &value); }

void BusMessage::read(std::string& text) {
  const char* bytes = nullptr;
  readBasic('s', &bytes);
  text = bytes;
}

void BusMessage::read(ObjectPath& path) {
  const char* bytes = nullptr;
  readBasic('o', &bytes);
  path.text = bytes;
}

template <typename T>
bool BusMessage::readIfOfType(std::string_view signature, BusVariant& variant) {
  const bool isOfType = signature == BusType<T>::signature();
  if (isOfType) {
    variant = BusVariant(take<T>());
  }
  return isOfType;
}

void BusMessage::read(BusVariant& variant) {
  char type = 0;
  const char* contents = nullptr;
  checkedBusResult(sd_bus_message_peek_type(handle(), &type, &contents), reading);
  const std::string signature = type == 'v' && contents != nullptr ? contents : "";
  enterContainer('v', signature);
  const bool isRead = readIfOfType<bool>(signature, variant) ||
                      readIfOfType<std::string>(signature, variant) ||
                      readIfOfType<ObjectPath>(signature, variant) ||
                      readIfOfType<std::vector<std::vector<std::uint8_t>>>(signature, variant);
  if (!isRead) {
    checkedBusResult(sd_bus_message_skip(handle(), signature.c_str()), reading);
  }
  leaveContainer();
}

void BusMessage::enterContainer(char type, const std::string& contents) {
  if (checkedBusResult(sd_bus_message_enter_container(handle(), type, contents.c_str()), reading) == 0) {
    throw BusError(busInvalidSignature, "an argument is missing");
  }
}

void BusMessage::leaveContainer() { checkedBusResult(sd_bus_message_exit_container(handle()), reading); }

bool BusMessage::isAtEnd() const {
  constexpr int withinContainer = 0;
  return checkedBusResult(sd_bus_message_at_end(handle(), withinContainer), reading) != 0;
}

void BusMessage::readBasic(char type, void* value) {
  if (checkedBusResult(sd_bus_message_read_basic(handle(), type, value), reading) == 0) {
    throw BusError(busInvalidSignature, "an argument is missing");
  }
}

}  // namespace tolvander::platform::linux_
