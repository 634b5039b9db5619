#include "TolvanderCore/FileFingerprinter.h"

#include <string_view>
#include <vector>

#include "TolvanderCore/FileReader.h"

namespace tolvander {

namespace {

constexpr std::size_t chunkSize = 1'048'576;

}  // namespace

std::string FileFingerprinter::sha256(std::span<const std::byte> bytes) { return text(SHA256::hash(bytes)); }

std::string FileFingerprinter::sha256(const FileURL& url, const CancellationToken& token) {
  FileReader reader(url);
  SHA256 hash;
  std::vector<std::byte> chunk(chunkSize);
  while (const std::size_t count = reader.read(chunk)) {
    token.throwIfCancelled();
    hash.update(std::span(chunk).first(count));
  }
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
