#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <type_traits>

#include "Platform/Linux/DBus/BusMessage.h"
#include "Platform/Linux/DBus/BusType.h"

struct sd_bus;

namespace tolvander::platform::linux_ {

// A method call, and how long to wait for its reply; `timeout` must be greater than 0.
struct BusCall {
  std::string service;
  ObjectPath path;
  std::string interface;
  std::string method;
  std::chrono::milliseconds timeout{};
};

// A connection to a message bus, through sd-bus of libsystemd. All operations block and throw BusError. Only
// one thread at a time may use a connection or an object that was created with it (messages, objects,
// dispatchers). A forked process must create its own connections.
//
// After the bus closed the connection, all operations fail; create a new one. Closing it discards replies
// that are not sent yet.
class BusConnection {
 public:
  // Connects, and waits at most `timeout` until the bus has accepted the connection. The system bus is at
  // $DBUS_SYSTEM_BUS_ADDRESS or its standard path, the session bus at $DBUS_SESSION_BUS_ADDRESS or
  // $XDG_RUNTIME_DIR/bus. An address has the format of these variables, "unix:path=/run/user/1000/bus".
  static BusConnection toSystemBus(std::chrono::milliseconds timeout);
  static BusConnection toSessionBus(std::chrono::milliseconds timeout);
  static BusConnection toBusAt(const std::string& address, std::chrono::milliseconds timeout);

  // Calls a method and returns its result; the bus starts the service if it can. `Result` is the type that
  // the method returns, or void to ignore the reply. Besides the service's errors it throws
  // "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.Timeout", and
  // "org.freedesktop.DBus.Error.InvalidSignature" for a result of another type.
  template <typename Result = void, typename... Arguments>
  Result call(const BusCall& call, const Arguments&... arguments) {
    BusMessage message = makeMessage(call);
    message.append(arguments...);
    BusMessage reply = send(message, call.timeout);
    if constexpr (!std::is_void_v<Result>) {
      reply.expectSignature(BusType<Result>::signature());
      return reply.take<Result>();
    }
  }

  // Acquires a well-known name. Throws "org.freedesktop.DBus.Error.FileExists" if another connection owns
  // it.
  void requestName(const std::string& name);

  sd_bus* handle() const { return bus_.get(); }

 private:
  struct Deleter {
    void operator()(sd_bus* bus) const;
  };

  // Takes ownership of the reference.
  BusConnection(sd_bus* bus, std::chrono::milliseconds timeout);

  BusMessage makeMessage(const BusCall& call) const;
  BusMessage send(const BusMessage& message, std::chrono::milliseconds timeout);

  std::unique_ptr<sd_bus, Deleter> bus_;
};

}  // namespace tolvander::platform::linux_
