#include "TolvanderApp/Library/ResourceIdentityAccumulator.h"

#include <string>

#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::app {

namespace {

std::optional<std::string> payloadFingerprint(const std::optional<std::vector<std::byte>>& data,
                                              const CancellationToken& token) {
  if (!data) {
    return std::nullopt;
  }
  return unlessMalformed(
      [&] { return std::optional(CharmeraMediaProcessor::jpegMediaPayloadFingerprint(*data, token)); });
}

}  // namespace

bool ResourceIdentityAccumulator::isJPEG(std::string_view filename) {
  return fileTypeOfExtension(pathExtension(filename)) == FileType::jpeg;
}

bool ResourceIdentityAccumulator::hasPayload(std::string_view filename, std::int64_t byteCount) {
  return isJPEG(filename) && byteCount <= static_cast<std::int64_t>(maximumPayloadBytes);
}

ResourceIdentityAccumulator::ResourceIdentityAccumulator(bool isJPEG) {
  if (isJPEG) {
    payloadData_.emplace();
  }
}

void ResourceIdentityAccumulator::append(std::span<const std::byte> chunk) {
  const std::lock_guard lock(lock_);
  value_.update(chunk);
  if (!payloadData_) {
    return;
  }
  if (chunk.size() > maximumPayloadBytes - payloadData_->size()) {
    payloadData_.reset();
  } else {
    payloadData_->insert(payloadData_->end(), chunk.begin(), chunk.end());
  }
}

OfflinePhotoRecognizer::Identity ResourceIdentityAccumulator::finalize(const CancellationToken& token) {
  const std::lock_guard lock(lock_);
  return {.sourceFingerprint = FileFingerprinter::text(value_.finish()),
          .mediaPayloadFingerprint = payloadFingerprint(payloadData_, token)};
}

}  // namespace tolvander::app
