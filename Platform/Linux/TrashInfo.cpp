#include "Platform/Linux/TrashInfo.h"

#include <array>
#include <climits>
#include <cstddef>

#include "TolvanderCore/FileURL.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::string_view header = "[Trash Info]\n";

// What a URL's path may show as it is (RFC 2396, section 2.3), and the slash.
bool isPlain(char character) {
  constexpr std::string_view marks = "-_.!~*'()/";
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || marks.find(character) != std::string_view::npos;
}

std::string percentEncoded(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const char byte : bytes) {
    if (isPlain(byte)) {
      text += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      text += '%';
      text += digits[value >> 4U];
      text += digits[value & 0x0FU];
    }
  }
  return text;
}

std::string localTimeText(std::time_t time) {
  std::tm fields{};
  localtime_r(&time, &fields);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &fields);
  return {text.data(), length};
}

// Without the part of a character of several bytes that a cut left at the end.
std::string_view beginningOfUTF8(std::string_view text, std::size_t size) {
  constexpr auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
  if (size >= text.size()) {
    return text;
  }
  while (size > 0 && continues(text[size])) {
    --size;
  }
  return text.substr(0, size);
}

}  // namespace

std::string trashInfoText(std::string_view path, std::time_t deletedAt) {
  return std::string(header) + "Path=" + percentEncoded(path) + "\nDeletionDate=" + localTimeText(deletedAt) +
         "\n";
}

bool isTrashInfo(std::string_view beginning) { return beginning.starts_with(header); }

std::string nameInTrash(std::string_view name, unsigned attempt) {
  constexpr std::size_t longest = NAME_MAX - trashInfoExtension.size();
  const FileURL url = FileURL("/").appending(name);
  const std::string number = attempt > 1 ? "." + std::to_string(attempt) : "";
  std::string_view stem = url.stem();
  std::string ending = number;
  if (!url.pathExtension().empty()) {
    ending += "." + std::string(url.pathExtension());
  }
  if (ending.size() >= longest) {  // no extension, but a long name with a dot near its beginning
    stem = name;
    ending = number;
  }
  return std::string(beginningOfUTF8(stem, longest - ending.size())) + ending;
}

}  // namespace tolvander::platform::linux_
