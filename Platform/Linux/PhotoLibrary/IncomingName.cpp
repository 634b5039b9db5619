#include "Platform/Linux/PhotoLibrary/IncomingName.h"

#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::string_view incomingExtension = ".part";

}  // namespace

std::string newIncomingName() { return UUID::random().text() + std::string(incomingExtension); }

bool isIncomingName(std::string_view name) {
  return name.ends_with(incomingExtension) &&
         UUID::fromText(name.substr(0, name.size() - incomingExtension.size()));
}

std::string carriedName(std::string_view incomingName) { return "." + std::string(incomingName); }

}  // namespace tolvander::platform::linux_
