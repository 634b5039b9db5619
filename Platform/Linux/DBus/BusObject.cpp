#include "Platform/Linux/DBus/BusObject.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <exception>
#include <string_view>

#include "Platform/Linux/DBus/BusError.h"

namespace tolvander::platform::linux_ {

namespace {

void answer(const std::vector<BusMethod>& methods, sd_bus_message* message) {
  const std::string_view name = sd_bus_message_get_member(message);
  BusMessage call(sd_bus_message_ref(message));
  sd_bus_message* made = nullptr;
  checkedBusResult(sd_bus_message_new_method_return(message, &made), "make a reply");
  BusMessage reply(made);
  std::ranges::find(methods, name, &BusMethod::name)->answer(call, reply);
  checkedBusResult(sd_bus_send(nullptr, reply.handle(), nullptr), "send a reply");
}

// Called by sd-bus; exceptions must not pass through its C functions.
int answerCall(sd_bus_message* message, void* methods, sd_bus_error* error) noexcept {
  constexpr int isAnswered = 1;
  try {
    answer(*static_cast<const std::vector<BusMethod>*>(methods), message);
    return isAnswered;
  } catch (const BusError& failure) {
    return sd_bus_error_set(error, failure.name().c_str(), failure.text().c_str());
  } catch (const std::exception& failure) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
  } catch (...) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "an unknown exception");
  }
}

// The entries point to the texts of `methods`, which must outlive them.
std::vector<sd_bus_vtable> entriesOf(const std::vector<BusMethod>& methods) {
  std::vector<sd_bus_vtable> entries{SD_BUS_VTABLE_START(0)};
  for (const BusMethod& method : methods) {
    entries.push_back(SD_BUS_METHOD(method.name.c_str(), method.arguments.c_str(), method.result.c_str(),
                                    &answerCall, SD_BUS_VTABLE_UNPRIVILEGED));
  }
  entries.push_back(SD_BUS_VTABLE_END);
  return entries;
}

}  // namespace

// Not movable, because sd-bus keeps pointers into it.
struct BusObject::Table {
  explicit Table(std::vector<BusMethod> ofMethods)
      : methods(std::move(ofMethods)), entries(entriesOf(methods)) {}
  ~Table() { sd_bus_slot_unref(slot); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  std::vector<BusMethod> methods;
  std::vector<sd_bus_vtable> entries;
  sd_bus_slot* slot = nullptr;
};

BusObject::BusObject(const BusConnection& connection, const ObjectPath& path, const std::string& interface,
                     std::vector<BusMethod> methods)
    : table_(std::make_unique<Table>(std::move(methods))) {
  checkedBusResult(sd_bus_add_object_vtable(connection.handle(), &table_->slot, path.text.c_str(),
                                            interface.c_str(), table_->entries.data(), &table_->methods),
                   "offer " + interface + " at " + path.text);
}

BusObject::~BusObject() = default;

}  // namespace tolvander::platform::linux_
