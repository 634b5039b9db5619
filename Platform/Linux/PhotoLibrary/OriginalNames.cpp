#include "Platform/Linux/PhotoLibrary/OriginalNames.h"

#include <algorithm>
#include <array>

#include "TolvanderCore/Foundation/UTF8.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t longestName = 255;
constexpr std::size_t longestExtension = 32;
constexpr char replacement = '_';

bool isAllowed(char character) {
  constexpr std::string_view forbidden = "\\/:*?\"<>|\x7F";
  return static_cast<unsigned char>(character) >= 0x20 && forbidden.find(character) == std::string_view::npos;
}

std::string allowedCharacters(std::string_view text) {
  std::string allowed;
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    if (sequence.isWellFormed && isAllowed(text.front())) {
      allowed += text.substr(0, sequence.length);
    } else {
      allowed += replacement;
    }
    text.remove_prefix(sequence.length);
  }
  return allowed;
}

// The position of the extension's dot; the length of the name if it has none.
std::size_t startOfExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  const bool isExtension = dot != std::string_view::npos && dot > 0 && name.size() - dot <= longestExtension;
  return isExtension ? dot : name.size();
}

// At most the first `size` bytes, ending at the end of a code point. The text must be well-formed.
std::string_view beginning(std::string_view text, std::size_t size) {
  if (text.size() <= size) {
    return text;
  }
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) {
    --size;
  }
  return text.substr(0, size);
}

std::string_view withoutTrailing(std::string_view text, std::string_view characters) {
  return text.substr(0, text.find_last_not_of(characters) + 1);
}

bool isDevice(std::string_view name) {
  const std::string stem = lowercased(withoutTrailing(name.substr(0, name.find('.')), " "));
  constexpr std::array<std::string_view, 4> devices = {"con", "prn", "aux", "nul"};
  if (std::find(devices.begin(), devices.end(), stem) != devices.end()) {
    return true;
  }
  return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) && stem[3] >= '0' &&
         stem[3] <= '9';
}

// The stem, shortened if necessary, then `addition` and the extension.
std::string assembled(std::string_view name, std::string_view addition) {
  const std::size_t start = startOfExtension(name);
  const std::string_view extension = name.substr(start);
  const std::string_view stem =
      beginning(name.substr(0, start), longestName - addition.size() - extension.size());
  return std::string(stem).append(addition).append(extension);
}

}  // namespace

std::string originalName(std::string_view filename) {
  std::string name(withoutTrailing(allowedCharacters(filename), ". "));
  if (name.empty()) {
    return "Original";
  }
  if (name.front() == '.') {
    name.front() = replacement;
  }
  if (isDevice(name)) {
    name.insert(name.find_first_of(". ") != std::string::npos ? name.find_first_of(". ") : name.size(), 1,
                replacement);
  }
  return std::string(withoutTrailing(assembled(name, ""), ". "));
}

std::string originalName(std::string_view name, int choice) {
  return choice == 1 ? std::string(name) : assembled(name, " " + std::to_string(choice));
}

std::string originalNameKey(std::string_view path) { return lowercased(path); }

}  // namespace tolvander::platform::linux_
