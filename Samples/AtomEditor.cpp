#include "Samples/AtomEditor.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tolvander::tests {

namespace {

bool holdsAtoms(std::string_view type) {
  constexpr std::array<std::string_view, 6> types = {"moov", "trak", "mdia", "minf", "dinf", "stbl"};
  return std::ranges::find(types, type) != types.end();
}

std::uint32_t bigEndian32(std::string_view bytes) {
  std::uint32_t value = 0;
  for (const char byte : bytes.substr(0, 4)) {
    value = value << 8U | static_cast<unsigned char>(byte);
  }
  return value;
}

}  // namespace

std::string atom(std::string_view type, std::string_view content) {
  const std::size_t size = content.size() + 8;
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    bytes += static_cast<char>(size >> shift & 0xFFU);
  }
  return bytes.append(type).append(content);
}

std::string replacingAtoms(std::string_view file, std::string_view type,
                           const std::function<std::string(std::string_view content)>& replacement) {
  std::string result;
  while (file.size() >= 8) {
    const std::size_t size = std::clamp<std::size_t>(bigEndian32(file), 8, file.size());
    const std::string_view found = file.substr(4, 4);
    const std::string_view content = file.substr(8, size - 8);
    if (found == type) {
      result += atom(found, replacement(content));
    } else if (holdsAtoms(found)) {
      result += atom(found, replacingAtoms(content, type, replacement));
    } else {
      result += file.substr(0, size);
    }
    file.remove_prefix(size);
  }
  return result;
}

}  // namespace tolvander::tests
