#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tolvander::tests {

inline std::vector<std::byte> bytesOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

}  // namespace tolvander::tests
