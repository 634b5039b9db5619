#include "TolvanderCore/Files/FileFingerprinter.h"

#include <string_view>

namespace tolvander {

std::string FileFingerprinter::sha256(std::span<const std::byte> bytes, const CancellationToken& token) {
  SHA256 hash;
  hash.update(bytes, token);
  return text(hash.finish());
}

std::string FileFingerprinter::sha256(const FileURL& url, const CancellationToken& token) {
  WholeFile file(url);
  return sha256(file, token);
}

std::string FileFingerprinter::sha256(WholeFile& file, const CancellationToken& token) {
  SHA256 hash;
  file.forEachPart([&](std::span<const std::byte> part) { hash.update(part); }, token);
  return text(hash.finish());
}

std::string FileFingerprinter::text(const SHA256::Digest& digest) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(digest.size() * 2);
  for (const std::byte byte : digest) {
    text += digits[std::to_integer<std::size_t>(byte >> 4U)];
    text += digits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
  }
  return text;
}

}  // namespace tolvander
