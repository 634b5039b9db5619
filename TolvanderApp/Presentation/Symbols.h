#pragma once

// Names of system symbols that several values show.
namespace tolvander::app::symbols {

inline constexpr auto attention = "exclamationmark.circle.fill";
inline constexpr auto done = "checkmark.circle.fill";

}  // namespace tolvander::app::symbols
