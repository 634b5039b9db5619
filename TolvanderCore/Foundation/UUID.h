#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander {

// A universally unique identifier (RFC 9562).
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  // A new version 4 UUID from the system's random source.
  static UUID random();

  // Reads the 8-4-4-4-12 form in either case; absent for anything else.
  static std::optional<UUID> fromText(std::string_view text);

  // The 8-4-4-4-12 form in upper case.
  std::string text() const;

  friend auto operator<=>(const UUID&, const UUID&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::UUID> {
  std::size_t operator()(const tolvander::UUID& uuid) const noexcept;
};
