#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <type_traits>

#include "Platform/Linux/DBus/BusMessage.h"
#include "Platform/Linux/DBus/BusType.h"

struct sd_bus;

namespace tolvander::platform::linux_ {

// What is called, and how long its reply is waited for: more than nothing.
struct BusCall {
  std::string service;
  ObjectPath path;
  std::string interface;
  std::string method;
  std::chrono::milliseconds timeout{};
};

// A connection to a message bus, through libsystemd's sd-bus. All operations block and throw BusError. Any
// thread may use a connection, one at a time; what was made with it (messages, objects, dispatchers) counts
// as the connection. A process that was forked makes connections of its own.
//
// A connection that was lost fails from then on: a new one is made instead. At its end, replies that the bus
// hasn't taken yet are lost.
class BusConnection {
 public:
  // Connects, and waits until the bus has accepted the connection, for no longer than `timeout`. The system
  // bus is at $DBUS_SYSTEM_BUS_ADDRESS or its standard place, the session's at $DBUS_SESSION_BUS_ADDRESS or
  // $XDG_RUNTIME_DIR/bus. An address is such as in these variables, "unix:path=/run/user/1000/bus".
  static BusConnection toSystemBus(std::chrono::milliseconds timeout);
  static BusConnection toSessionBus(std::chrono::milliseconds timeout);
  static BusConnection toBusAt(const std::string& address, std::chrono::milliseconds timeout);

  // Calls a method and returns its result; the service is started where the bus can. `Result` is void, which
  // ignores what is answered, or the one type that the method returns. Besides the errors of services there
  // are "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.Timeout", and
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

  // Makes this connection the owner of a well-known name. Throws "org.freedesktop.DBus.Error.FileExists"
  // where another connection is its owner.
  void requestName(const std::string& name);

  sd_bus* handle() const { return bus_.get(); }

 private:
  struct Deleter {
    void operator()(sd_bus* bus) const;
  };

  // Takes the reference over.
  BusConnection(sd_bus* bus, std::chrono::milliseconds timeout);

  BusMessage makeMessage(const BusCall& call) const;
  BusMessage send(const BusMessage& message, std::chrono::milliseconds timeout);

  std::unique_ptr<sd_bus, Deleter> bus_;
};

}  // namespace tolvander::platform::linux_
