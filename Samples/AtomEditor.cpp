#include "Samples/AtomEditor.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::tests {

namespace {

bool holdsAtoms(std::string_view type) {
  constexpr std::array<std::string_view, 6> types = {"moov", "trak", "mdia", "minf", "dinf", "stbl"};
  return std::ranges::find(types, type) != types.end();
}

}  // namespace

std::string atom(std::string_view type, std::string_view content) {
  std::string bytes;
  appendBigEndian(bytes, static_cast<std::uint32_t>(content.size() + 8));
  return bytes.append(type).append(content);
}

std::string replacingAtoms(std::string_view file, std::string_view type,
                           const std::function<std::string(std::string_view content)>& replacement) {
  std::string result;
  while (file.size() >= 8) {
    const std::size_t size = std::clamp<std::size_t>(bigEndian32(file, 0), 8, file.size());
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
