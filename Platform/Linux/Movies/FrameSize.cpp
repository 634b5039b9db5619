#include "Platform/Linux/Movies/FrameSize.h"

#include <memory>

#include "TolvanderCore/JPEGSegmentReader.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::platform::linux_ {

namespace {

struct ParserDeleter {
  void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};

}  // namespace

std::optional<FrameSize> jpegFrameSize(std::span<const std::byte> bytes) {
  return unlessMalformed([&]() -> std::optional<FrameSize> {
    JPEGSegmentReader reader(bytes);
    while (reader.next()) {
      if (const auto size = reader.frameSize()) {
        return size->width > 0 && size->height > 0 ? std::optional(FrameSize{size->width, size->height})
                                                   : std::nullopt;
      }
    }
    return std::nullopt;
  });
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
