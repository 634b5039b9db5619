#include "Platform/Linux/Trash/TrashInfo.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/LocalDateTime.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::string_view header = "[Trash Info]\n";
constexpr std::string_view dateForm = "0000-00-00T00:00:00";

// Characters that aren't percent-encoded: unreserved characters (RFC 2396, section 2.3) and the slash.
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

std::optional<unsigned> valueOfDigit(char digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<unsigned>(digit - '0');
  }
  const char upper = static_cast<char>(digit & ~0x20);
  return upper >= 'A' && upper <= 'F' ? std::optional(static_cast<unsigned>(upper - 'A') + 10U)
                                      : std::nullopt;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    if (text.front() != '%') {
      bytes += text.front();
      text.remove_prefix(1);
      continue;
    }
    const auto high = text.size() >= 3 ? valueOfDigit(text[1]) : std::nullopt;
    const auto low = text.size() >= 3 ? valueOfDigit(text[2]) : std::nullopt;
    if (!high || !low) {
      return std::nullopt;
    }
    bytes += static_cast<char>(*high * 16U + *low);
    text.remove_prefix(3);
  }
  return bytes;
}

std::string localTimeText(std::time_t time) {
  std::tm fields{};
  localtime_r(&time, &fields);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &fields);
  return {text.data(), length};
}

// The latest instant with this local time.
std::optional<Date> latestInstantAt(std::string_view text) {
  const auto reading = localDateTimeFromText(text, dateForm);
  if (!reading) {
    return std::nullopt;
  }
  const std::time_t asThoughUTC = reading->time_since_epoch().count();
  std::tm fields{};
  gmtime_r(&asThoughUTC, &fields);
  std::optional<std::time_t> latest;
  for (const int summerTime : {0, 1, -1}) {
    std::tm attempt = fields;
    attempt.tm_isdst = summerTime;
    const std::time_t time = std::mktime(&attempt);
    const bool isShownThen = localTimeText(time) == text;
    // For a local time that doesn't exist (start of summer time) the instant that mktime returns is used.
    if (isShownThen || (!latest && summerTime == -1)) {
      latest = std::max(latest.value_or(time), time);
    }
  }
  return latest ? dateSince1970(*latest) : std::nullopt;
}

// The value of the first line with this key (Desktop Entry Specification, "Basic format of the file").
std::optional<std::string_view> valueOf(std::string_view key, std::string_view lines) {
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(std::min(end + 1, lines.size()));
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      return line.substr(key.size() + 1);
    }
  }
  return std::nullopt;
}

// At most the first `size` bytes, without an incomplete UTF-8 sequence at the end.
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

std::optional<TrashInfo> trashInfoFromText(std::string_view text) {
  if (!isTrashInfo(text)) {
    return std::nullopt;
  }
  text.remove_prefix(header.size());
  auto path = percentDecoded(valueOf("Path", text).value_or(""));
  const auto deletedAt = latestInstantAt(valueOf("DeletionDate", text).value_or(""));
  if (!path || path->empty() || path->find('\0') != std::string::npos || !deletedAt) {
    return std::nullopt;
  }
  return TrashInfo{.path = *std::move(path), .deletedAt = *deletedAt};
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
  if (ending.size() >= longest) {  // a long name with a dot near its beginning has no extension
    stem = name;
    ending = number;
  }
  return std::string(beginningOfUTF8(stem, longest - ending.size())) + ending;
}

}  // namespace tolvander::platform::linux_
