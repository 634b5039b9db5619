#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/DBus/BusMessage.h"

struct sd_bus_slot;

namespace tolvander::platform::linux_ {

// A method that other connections can call.
struct BusMethod {
  std::string name;
  std::string arguments;  // signature
  std::string result;     // signature; empty for none
  std::function<void(BusMessage& call, BusMessage& reply)> answer;
};

template <typename Result, typename... Arguments>
BusMethod busMethodOf(std::string name, std::function<Result(Arguments...)> function) {
  BusMethod method{.name = std::move(name), .arguments = {}, .result = {}, .answer = {}};
  (method.arguments.append(BusType<std::decay_t<Arguments>>::signature()), ...);
  if constexpr (!std::is_void_v<Result>) {
    method.result = BusType<Result>::signature();
  }
  method.answer = [function = std::move(function)](BusMessage& call, BusMessage& reply) {
    std::tuple<std::decay_t<Arguments>...> arguments{call.take<std::decay_t<Arguments>>()...};
    if constexpr (std::is_void_v<Result>) {
      std::apply(function, std::move(arguments));
    } else {
      reply.append(std::apply(function, std::move(arguments)));
    }
  };
  return method;
}

// Makes a method of a function, usually a lambda: its parameters and result become those of the method.
// Exceptions are sent to the caller: a BusError with its name, others as
// "org.freedesktop.DBus.Error.Failed".
template <typename Function>
BusMethod busMethod(std::string name, Function function) {
  return busMethodOf(std::move(name), std::function(std::move(function)));
}

// One interface of an object that this process offers on a bus. Its methods run where the connection is
// dispatched (BusDispatcher). Calls with other argument types are refused before.
class BusObject {
 public:
  // The connection must outlive this object. Throws BusError, also for malformed names.
  BusObject(const BusConnection& connection, const ObjectPath& path, const std::string& interface,
            std::vector<BusMethod> methods);
  ~BusObject();
  BusObject(const BusObject&) = delete;
  BusObject& operator=(const BusObject&) = delete;

 private:
  struct Table;

  std::unique_ptr<Table> table_;
};

}  // namespace tolvander::platform::linux_
