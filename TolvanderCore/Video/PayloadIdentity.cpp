#include "TolvanderCore/PayloadIdentity.h"

#include "TolvanderCore/CharmeraVideoProcessingError.h"

namespace tolvander {

PayloadIdentity PayloadIdentity::of(const Movie& movie, MediaType type, std::size_t index,
                                    const CancellationToken& token, const Movie::SampleReceiver& receive) {
  constexpr auto invalidVideo = CharmeraVideoProcessingError::Case::invalidVideo;
  PayloadIdentity identity;
  identity.codec = movie.tracks(type).at(index).codecs;
  if (identity.codec.empty()) {
    throw CharmeraVideoProcessingError(invalidVideo);
  }
  SHA256 hash;
  const auto add = [&](const MovieSampleBuffer& buffer) {
    token.throwIfCancelled();
    identity.sampleCount += buffer.sampleCount;
    identity.byteCount += static_cast<std::int64_t>(buffer.bytes.size());
    hash.update(buffer.bytes);
    if (receive) {
      receive(buffer);
    }
  };
  try {
    movie.readSamples(type, index, add, token);
  } catch (const MovieError&) {
    throw CharmeraVideoProcessingError(invalidVideo);
  }
  identity.digest = hash.finish();
  return identity;
}

}  // namespace tolvander
