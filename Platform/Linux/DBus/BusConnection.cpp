#include "Platform/Linux/DBus/BusConnection.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>

namespace tolvander::platform::linux_ {

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t microseconds(Clock::duration duration) {
  return static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(duration).count());
}

// sd-bus itself would wait for minutes if the bus doesn't accept the connection.
void waitUntilAccepted(sd_bus* bus, std::chrono::milliseconds timeout) {
  constexpr const char* step = "connect to the bus";
  const auto deadline = Clock::now() + timeout;
  while (checkedBusResult(sd_bus_is_ready(bus), step) == 0) {
    const bool hasAdvanced = checkedBusResult(sd_bus_process(bus, nullptr), step) > 0;
    const auto left = deadline - Clock::now();
    if (left <= Clock::duration::zero()) {
      throw BusError::ofResult(-ETIMEDOUT, step);
    }
    if (!hasAdvanced) {
      checkedBusResult(sd_bus_wait(bus, microseconds(left)), step);
    }
  }
}

class ErrorReply {
 public:
  ErrorReply() = default;
  ~ErrorReply() { sd_bus_error_free(&error_); }
  ErrorReply(const ErrorReply&) = delete;
  ErrorReply& operator=(const ErrorReply&) = delete;

  sd_bus_error* get() { return &error_; }
  bool isSet() const { return sd_bus_error_is_set(&error_) != 0; }
  BusError toThrow() const { return {error_.name, error_.message != nullptr ? error_.message : ""}; }

 private:
  sd_bus_error error_{};
};

}  // namespace

void BusConnection::Deleter::operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

BusConnection::BusConnection(sd_bus* bus, std::chrono::milliseconds timeout) : bus_(bus) {
  waitUntilAccepted(bus, timeout);
}

BusConnection BusConnection::toSystemBus(std::chrono::milliseconds timeout) {
  sd_bus* bus = nullptr;
  checkedBusResult(sd_bus_open_system(&bus), "open the system bus");
  return {bus, timeout};
}

BusConnection BusConnection::toSessionBus(std::chrono::milliseconds timeout) {
  sd_bus* bus = nullptr;
  checkedBusResult(sd_bus_open_user(&bus), "open the session bus");
  return {bus, timeout};
}

BusConnection BusConnection::toBusAt(const std::string& address, std::chrono::milliseconds timeout) {
  const std::string step = "open the bus at " + address;
  sd_bus* made = nullptr;
  checkedBusResult(sd_bus_new(&made), step);
  std::unique_ptr<sd_bus, Deleter> bus(made);
  checkedBusResult(sd_bus_set_address(bus.get(), address.c_str()), step);
  checkedBusResult(sd_bus_set_bus_client(bus.get(), 1), step);
  checkedBusResult(sd_bus_start(bus.get()), step);
  return {bus.release(), timeout};
}

BusMessage BusConnection::makeMessage(const BusCall& call) const {
  sd_bus_message* message = nullptr;
  checkedBusResult(
      sd_bus_message_new_method_call(handle(), &message, call.service.c_str(), call.path.text.c_str(),
                                     call.interface.c_str(), call.method.c_str()),
      "make a call");
  return BusMessage(message);
}

BusMessage BusConnection::send(const BusMessage& message, std::chrono::milliseconds timeout) {
  ErrorReply error;
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call(handle(), message.handle(), microseconds(timeout), error.get(), &reply);
  if (result < 0) {
    throw error.isSet() ? error.toThrow() : BusError::ofResult(result, "call a method");
  }
  return BusMessage(reply);
}

void BusConnection::requestName(const std::string& name) {
  constexpr std::uint64_t noFlags = 0;
  checkedBusResult(sd_bus_request_name(handle(), name.c_str(), noFlags), "own the name " + name);
}

}  // namespace tolvander::platform::linux_
