#include "Platform/Linux/PhotoLibrary/FileSignature.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "TolvanderCore/Files/FileReader.h"

namespace tolvander::platform::linux_ {

std::string extensionByContent(const FileURL& file) {
  std::array<char, 12> bytes{};
  FileReader(file).read(std::as_writable_bytes(std::span(bytes)));
  const std::string_view start(bytes.data(), bytes.size());
  if (start.starts_with("\x89PNG")) {
    return "png";
  }
  if (start.starts_with("RIFF") && start.ends_with("AVI ")) {
    return "avi";
  }
  // ISO/IEC 14496-12, 4.3: a box "ftyp", which begins with the major brand.
  if (start.substr(4, 4) != "ftyp") {
    return "jpg";
  }
  const std::string_view brand = start.substr(8, 4);
  if (brand == "heic" || brand == "heix" || brand == "mif1") {
    return "heic";
  }
  return brand == "qt  " ? "mov" : "mp4";
}

}  // namespace tolvander::platform::linux_
