#include "Platform/Linux/DBus/BusError.h"

#include <systemd/sd-bus.h>

namespace tolvander::platform::linux_ {

BusError BusError::ofResult(int result, std::string_view step) {
  sd_bus_error error{};
  sd_bus_error_set_errno(&error, result);
  BusError copy(error.name, std::string(step) + ": " + error.message);
  sd_bus_error_free(&error);
  return copy;
}

int checkedBusResult(int result, std::string_view step) {
  if (result < 0) {
    throw BusError::ofResult(result, step);
  }
  return result;
}

}  // namespace tolvander::platform::linux_
