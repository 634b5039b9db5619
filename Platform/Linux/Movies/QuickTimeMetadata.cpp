#include "Platform/Linux/Movies/QuickTimeMetadata.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>
#include <system_error>

#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

std::string bigEndian32(std::size_t value) {
  std::string bytes(4, '\0');
  AV_WB32(bytes.data(), static_cast<std::uint32_t>(value));
  return bytes;
}

std::string atom(std::string_view type, const std::string& content) {
  return bigEndian32(content.size() + 8) + std::string(type) + content;
}

// The metadata atom: handler, keys, and values by the index of their key, from 1 (QuickTime File Format,
// "Metadata").
std::string metadataAtom(const std::vector<MetadataItem>& items) {
  constexpr std::size_t utf8 = 1;
  const std::string versionAndFlags(4, '\0');
  const std::string handler = versionAndFlags + std::string(4, '\0') + "mdta" + std::string(13, '\0');
  std::string keys = versionAndFlags + bigEndian32(items.size());
  std::string values;
  for (std::size_t index = 0; index < items.size(); ++index) {
    keys += atom("mdta", items[index].key);
    const std::string value =
        atom("data", bigEndian32(utf8) + std::string(4, '\0') + std::string(items[index].text));
    values += bigEndian32(value.size() + 8) + bigEndian32(index + 1) + value;
  }
  return atom("meta", atom("hdlr", handler) + atom("keys", keys) + atom("ilst", values));
}

std::optional<int> positiveNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number > 0 ? std::optional(number)
                                                                                : std::nullopt;
}

class Patch {
 public:
  Patch(const MovieFile& movie, const CancellationToken& token, std::int64_t lengthLimit)
      : movie_(movie), token_(token), input_(movie, token), output_(movie, token, lengthLimit) {}

  // The offset of the last atom, which must be of type "moov" and end at the end of the file.
  std::int64_t lastAtom() const {
    std::int64_t offset = 0;
    const std::int64_t end = avio_size(input_.context());
    while (true) {
      avio_seek(input_.context(), offset, SEEK_SET);
      std::int64_t size = avio_rb32(input_.context());
      const std::uint32_t type = avio_rb32(input_.context());
      if (size == 1) {
        size = static_cast<std::int64_t>(avio_rb64(input_.context()));
      }
      require(input_.context());
      if (size < 8 || size > end - offset) {
        fail("its atoms are not as they should be");
      }
      if (offset + size == end) {
        if (type != MKBETAG('m', 'o', 'o', 'v') || size > std::numeric_limits<std::uint32_t>::max()) {
          fail("its last atom is not the movie's");
        }
        return offset;
      }
      offset += size;
    }
  }

  void extendLastAtom(std::int64_t offset, const std::string& addition) const {
    AVIOContext* io = output_.context();
    const std::int64_t end = avio_size(io);
    avio_seek(io, end, SEEK_SET);
    avio_write(io, reinterpret_cast<const unsigned char*>(addition.data()),
               static_cast<int>(addition.size()));
    avio_seek(io, offset, SEEK_SET);
    avio_wb32(io, static_cast<unsigned>(end - offset + static_cast<std::int64_t>(addition.size())));
    avio_flush(io);
    require(io);
  }

 private:
  [[noreturn]] void fail(std::string_view reason) const {
    throw MovieError(MovieError::Case::exportFailed, movie_.url(), reason);
  }

  void require(const AVIOContext* io) const {
    token_.throwIfCancelled();
    if (io->error < 0) {
      fail(libAVErrorText(io->error));
    }
  }

  const MovieFile& movie_;
  const CancellationToken& token_;
  MovieFileIO input_;
  MovieFileIO output_;
};

}  // namespace

std::string textOfFrameRates(const std::vector<AVRational>& rates) {
  std::string text;
  for (const AVRational rate : rates) {
    text += (text.empty() ? "" : " ") + std::to_string(rate.num) + "/" + std::to_string(rate.den);
  }
  return text;
}

std::vector<AVRational> frameRatesFromText(std::string_view text) {
  std::vector<AVRational> rates;
  while (!text.empty()) {
    const std::string_view rate = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(rate.size() + 1, text.size()));
    const std::size_t slash = std::min(rate.find('/'), rate.size());
    const auto number = positiveNumber(rate.substr(0, slash));
    const auto divisor = positiveNumber(rate.substr(std::min(slash + 1, rate.size())));
    if (!number || !divisor) {
      return {};
    }
    rates.push_back({*number, *divisor});
  }
  return rates;
}

void appendMetadata(const MovieFile& movie, const std::vector<MetadataItem>& items, std::int64_t lengthLimit,
                    const CancellationToken& token) {
  if (items.empty()) {
    return;
  }
  const Patch patch(movie, token, lengthLimit);
  patch.extendLastAtom(patch.lastAtom(), metadataAtom(items));
}

}  // namespace tolvander::platform::linux_
