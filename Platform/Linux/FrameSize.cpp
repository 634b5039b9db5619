#include "Platform/Linux/FrameSize.h"

#include <memory>

namespace tolvander::platform::linux_ {

namespace {

constexpr int startOfImage = 0xD8;
constexpr int endOfImage = 0xD9;
constexpr int startOfScan = 0xDA;

bool isFrameHeader(int marker) {
  constexpr int huffmanTables = 0xC4;
  constexpr int reservedExtension = 0xC8;
  constexpr int arithmeticConditioning = 0xCC;
  return marker >= 0xC0 && marker <= 0xCF && marker != huffmanTables && marker != reservedExtension &&
         marker != arithmeticConditioning;
}

int byteAt(std::span<const std::byte> bytes, std::size_t offset) {
  return std::to_integer<int>(bytes[offset]);
}

int bigEndian16(std::span<const std::byte> bytes, std::size_t offset) {
  return byteAt(bytes, offset) << 8 | byteAt(bytes, offset + 1);
}

struct ParserDeleter {
  void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};

}  // namespace

std::optional<FrameSize> jpegFrameSize(std::span<const std::byte> bytes) {
  constexpr std::size_t sizeEnd = 9;  // of a frame header, from its marker
  if (bytes.size() < 2 || bigEndian16(bytes, 0) != (0xFF00 | startOfImage)) {
    return std::nullopt;
  }
  std::size_t offset = 2;
  while (bytes.size() >= sizeEnd && offset <= bytes.size() - sizeEnd && byteAt(bytes, offset) == 0xFF) {
    const int marker = byteAt(bytes, offset + 1);
    if (marker == 0xFF) {  // a fill byte
      ++offset;
      continue;
    }
    if (isFrameHeader(marker)) {
      const FrameSize size{.width = bigEndian16(bytes, offset + 7), .height = bigEndian16(bytes, offset + 5)};
      return size.width > 0 && size.height > 0 ? std::optional(size) : std::nullopt;
    }
    if (marker == startOfScan || marker == endOfImage) {
      break;
    }
    offset += 2 + static_cast<std::size_t>(bigEndian16(bytes, offset + 2));
  }
  return std::nullopt;
}

std::optional<FrameSize> parsedFrameSize(const AVCodecParameters& parameters, const AVPacket& packet) {
  const std::unique_ptr<AVCodecParserContext, ParserDeleter> parser(av_parser_init(parameters.codec_id));
  const std::unique_ptr<AVCodecContext, ParserDeleter> context(avcodec_alloc_context3(nullptr));
  if (!parser || !context || avcodec_parameters_to_context(context.get(), &parameters) < 0) {
    return std::nullopt;
  }
  parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  std::uint8_t* output = nullptr;
  int outputSize = 0;
  av_parser_parse2(parser.get(), context.get(), &output, &outputSize, packet.data, packet.size, packet.pts,
                   packet.dts, packet.pos);
  const FrameSize size = parser->width > 0 ? FrameSize{parser->width, parser->height}
                                           : FrameSize{context->width, context->height};
  return size.width > 0 && size.height > 0 ? std::optional(size) : std::nullopt;
}

}  // namespace tolvander::platform::linux_
