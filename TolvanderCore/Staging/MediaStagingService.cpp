#include "TolvanderCore/MediaStagingService.h"

#include <algorithm>
#include <compare>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Files/FileWriter.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/PictureHead.h"
#include "TolvanderCore/Platform/AtomicFile.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/ImageProperties.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

// The arguments and the results so far of one call of prepare.
struct MediaStagingService::Batch {
  bool confidentlyRecognizedAsCharmera;
  const TimeZone& timeZone;
  const CancellationToken& token;
  std::unique_lock<FairMutex>& lock;
  PreparedMediaBatch prepared;
};

namespace {

constexpr std::size_t chunkSize = 1'048'576;

void writeAtomically(const FileURL& url, std::span<const std::byte> bytes) {
  AtomicFile file(url, Durability::survivesProcess);
  file.write(bytes);
  file.commit();
}

std::optional<Date> plannedCaptureDate(const MediaProcessingPlan& plan, const TimeZone& timeZone) {
  return plan.captureDate ? dateFromExifText(*plan.captureDate, timeZone) : std::nullopt;
}

std::optional<Date> orElse(std::optional<Date> date, std::optional<Date> fallback) {
  return date ? date : fallback;
}

std::string fingerprintOfOutput(const MediaProcessingPlan& plan) {
  return plan.processedFingerprint ? *plan.processedFingerprint : FileFingerprinter::sha256(*plan.outputData);
}

// Creates the folder for one staged file in its batch.
FileURL makeFolder(const PreparedMediaBatch& batch, const std::string& name) {
  FileURL folder = batch.directoryURL.appending(name);
  createPrivateDirectory(folder);
  return folder;
}

PreparedMediaFile preparedFile(const CameraMediaFile& file, const MediaProcessingPlan& plan,
                               FileURL importURL, std::optional<Date> captureDate) {
  return {.sourceFile = file,
          .importURL = std::move(importURL),
          .sourceFingerprint = plan.sourceFingerprint,
          .mediaPayloadFingerprint = plan.mediaPayloadFingerprint,
          .processedFingerprint = fingerprintOfOutput(plan),
          .processingVersion = plan.processorVersion,
          .isStagedCopy = true,
          .captureDate = captureDate};
}

PreparedMediaFile stageRepaired(const PreparedMediaBatch& batch, const CameraMediaFile& file,
                                const MediaProcessingPlan& plan, const TimeZone& timeZone) {
  if (!plan.outputData) {
    throw MediaProcessingError(MediaProcessingError::Case::malformedJPEG);
  }
  // Two camera files with the same output may share the folder, because the file in it is right for both.
  const FileURL folder = batch.directoryURL.appending(fingerprintOfOutput(plan) + "-p" +
                                                      std::to_string(plan.processorVersion.value_or(0)));
  createDirectories(folder, Durability::survivesProcess);
  const FileURL copy = folder.appending(file.filename);
  writeAtomically(copy, *plan.outputData);
  return preparedFile(file, plan, copy, orElse(plannedCaptureDate(plan, timeZone), file.modifiedAt));
}

// What was found out about a file while it was copied.
struct Copied {
  std::string fingerprint;
  PictureHead head;
};

// Copies a file atomically, reading it once. The beginning of a video is not kept, because it has no Exif
// block.
Copied copyAtomically(const CameraMediaFile& file, const FileURL& copy, const CancellationToken& token) {
  WholeFile source(file.url);
  requireFreeSpace(copy.deletingLastPathComponent(), source.byteCount());
  Copied copied{.fingerprint = {}, .head = PictureHead(file.isVideo() ? 0 : source.byteCount())};
  AtomicFile output(copy, Durability::survivesProcess);
  SHA256 hash;
  const auto take = [&](std::span<const std::byte> part) {
    hash.update(part);
    copied.head.append(part);
    output.write(part);
  };
  source.forEachPart(take, token);
  output.commit();
  copied.fingerprint = FileFingerprinter::text(hash.finish());
  return copied;
}

[[noreturn]] void refuseVideo() {
  throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::invalidVideo);
}

// The properties of a video before it is copied. A video without a date is not imported.
struct VideoSource {
  std::int64_t byteCount;
  Date captureDate;
};

VideoSource examineVideo(const CameraMediaFile& file, std::int64_t maximumBytes, const TimeZone& zone) {
  const FileResourceValues values = cameraFileResourceValues(file.url, zone);
  const std::int64_t byteCount = values.fileSize.value_or(0);
  const auto captureDate = orElse(file.modifiedAt, values.contentModificationDate);
  if (!values.isRegularFile || byteCount < 1 || byteCount > maximumBytes || !captureDate) {
    refuseVideo();
  }
  return {.byteCount = byteCount, .captureDate = *captureDate};
}

FileWriter createVideoCopy(const FileURL& copy) try { return FileWriter(copy); } catch (const PosixError&) {
  throw MediaStagingError::invalidStagingLocation();
}

void copyVideo(const FileURL& source, const FileURL& copy, std::int64_t byteCount, std::int64_t maximumBytes,
               const CancellationToken& token) {
  FileWriter writer = createVideoCopy(copy);
  FileReader reader(source);
  std::vector<std::byte> chunk(chunkSize);
  std::int64_t copied = 0;
  while (const std::size_t count = reader.read(chunk)) {
    token.throwIfCancelled();
    copied += static_cast<std::int64_t>(count);
    if (copied > maximumBytes) {
      refuseVideo();
    }
    writer.write(std::span(chunk).first(count));
  }
  writer.close();
  // The file changed while it was read, or the volume reported a wrong size.
  if (copied != byteCount) {
    throw MediaStagingError::sourceChanged();
  }
}

bool comesBefore(const PreparedMediaFile& left, const PreparedMediaFile& right) {
  const Date undated = Date::max();
  const auto byDate = left.captureDate.value_or(undated) <=> right.captureDate.value_or(undated);
  return byDate != 0 ? byDate < 0
                     : standardCompare(left.sourceFile.relativePath, right.sourceFile.relativePath) < 0;
}

bool isFolderAndNoLink(const FileURL& url) {
  const FileResourceValues values = fileResourceValues(url);
  return values.isDirectory && !values.isSymbolicLink;
}

bool isThere(const FileURL& url) {
  try {
    static_cast<void>(fileResourceValues(url));
    return true;
  } catch (const PosixError&) {
    return false;
  }
}

}  // namespace

FileURL MediaStagingService::defaultRootDirectory(const StandardDirectories& directories) {
  return directories.applicationSupport.value_or(directories.temporary)
      .appending("com.tolvander.app")
      .appending("Media Staging");
}

MediaStagingService::MediaStagingService(FileURL rootDirectory,
                                         std::shared_ptr<const CharmeraVideoProcessing> videoProcessor,
                                         std::int64_t maximumVideoBytes)
    : rootDirectory_(rootDirectory.standardized()),
      videoProcessor_(std::move(videoProcessor)),
      maximumVideoBytes_(maximumVideoBytes) {}

PreparedMediaBatch MediaStagingService::prepare(const std::vector<CameraMediaFile>& files,
                                                bool confidentlyRecognizedAsCharmera,
                                                const TimeZone& timeZone, const CancellationToken& token,
                                                const FailedFile& failedFile) {
  std::unique_lock lock(mutex_);
  token.throwIfCancelled();
  ensureRootDirectory();
  const UUID id = UUID::random();
  Batch batch{.confidentlyRecognizedAsCharmera = confidentlyRecognizedAsCharmera,
              .timeZone = timeZone,
              .token = token,
              .lock = lock,
              .prepared = {.id = id, .files = {}, .directoryURL = rootDirectory_.appending(id.text())}};
  createPrivateDirectory(batch.prepared.directoryURL);
  try {
    prepareFiles(batch, files, failedFile);
  } catch (...) {
    removeItemIgnoringErrors(
        batch.prepared.directoryURL);  // a folder that remains is removed as abandoned after a day
    throw;
  }
  return std::move(batch.prepared);
}

void MediaStagingService::cleanup(const PreparedMediaBatch& batch) {
  const std::lock_guard lock(mutex_);
  const FileURL directory = batch.directoryURL.standardized();
  if (!directory.isBelow(rootDirectory_)) {
    throw MediaStagingError::invalidStagingLocation();
  }
  removeItem(directory);
}

int MediaStagingService::cleanupAbandoned(std::chrono::seconds age, Date now) {
  const std::lock_guard lock(mutex_);
  if (!isThere(rootDirectory_)) {
    return 0;
  }
  if (!isFolderAndNoLink(rootDirectory_)) {
    throw MediaStagingError::invalidStagingLocation();
  }
  int removed = 0;
  for (const FileURL& entry : contentsOfDirectory(rootDirectory_)) {
    const FileResourceValues values = fileResourceValues(entry);
    if (values.isDirectory && values.contentModificationDate &&
        *values.contentModificationDate <= now - age) {
      removeItem(entry);
      ++removed;
    }
  }
  return removed;
}

void MediaStagingService::validateSourceIdentities(const PreparedMediaBatch& batch,
                                                   const std::vector<FingerprintedMediaFile>& files) {
  std::unordered_map<FileURL, std::string_view> examined;
  for (const FingerprintedMediaFile& file : files) {
    examined.emplace(file.file.url, file.sourceFingerprint);
  }
  const auto isAsExamined = [&](const PreparedMediaFile& file) {
    const auto entry = examined.find(file.sourceFile.url);
    return entry != examined.end() && entry->second == file.sourceFingerprint;
  };
  if (batch.files.size() != files.size() || !std::ranges::all_of(batch.files, isAsExamined)) {
    throw MediaStagingError::sourceChanged();
  }
}

// If the root were a symbolic link, later removals could delete files elsewhere.
void MediaStagingService::ensureRootDirectory() const {
  if (!isThere(rootDirectory_)) {
    createDirectories(rootDirectory_, Durability::survivesProcess);
  }
  if (!isFolderAndNoLink(rootDirectory_)) {
    throw MediaStagingError::invalidStagingLocation();
  }
}

void MediaStagingService::prepareFiles(Batch& batch, const std::vector<CameraMediaFile>& files,
                                       const FailedFile& failedFile) {
  for (const CameraMediaFile& file : files) {
    batch.token.throwIfCancelled();
    try {
      batch.prepared.files.push_back(prepareFile(batch, file));
    } catch (...) {
      if (failedFile) {
        failedFile(file);
      }
      throw;
    }
  }
  std::ranges::stable_sort(batch.prepared.files, comesBefore);
}

PreparedMediaFile MediaStagingService::prepareFile(Batch& batch, const CameraMediaFile& file) const {
  switch (CharmeraMediaProcessor::action(file.url.pathExtension(), batch.confidentlyRecognizedAsCharmera)) {
    case MediaProcessingPlan::Action::repairJPEG:
      return prepareRepaired(batch, file);
    case MediaProcessingPlan::Action::passthrough:
      return prepareUnaltered(batch, file);
    case MediaProcessingPlan::Action::transcodeCharmeraVideo:
      return prepareVideo(batch, file);
    case MediaProcessingPlan::Action::unsupportedCharmeraVideo:
      break;
  }
  throw MediaStagingError::unsupportedCharmeraVideo(file.filename);
}

PreparedMediaFile MediaStagingService::prepareRepaired(const Batch& batch,
                                                       const CameraMediaFile& file) const {
  WholeFile source(file.url);
  CharmeraMediaProcessor::requireRepairableSize(source.byteCount());
  const MediaProcessingPlan plan = CharmeraMediaProcessor::plan(
      source.contents(batch.token), file.url.pathExtension(), batch.confidentlyRecognizedAsCharmera,
      file.modifiedAt, batch.timeZone, batch.token);
  return stageRepaired(batch.prepared, file, plan, batch.timeZone);
}

PreparedMediaFile MediaStagingService::prepareUnaltered(const Batch& batch,
                                                        const CameraMediaFile& file) const {
  const FileURL copy = makeFolder(batch.prepared, UUID::random().text()).appending(file.filename);
  Copied copied = copyAtomically(file, copy, batch.token);
  if (file.modifiedAt) {
    setContentModificationDate(copy, *file.modifiedAt);
  }
  const auto pictureDate = captureDate(copied.head.bytes(), batch.timeZone, batch.token);
  const auto plan = CharmeraMediaProcessor::planWithoutData(
      std::move(copied.fingerprint), file.url.pathExtension(), batch.confidentlyRecognizedAsCharmera,
      file.modifiedAt, batch.timeZone);
  return preparedFile(file, plan, copy, orElse(pictureDate, file.modifiedAt));
}

PreparedMediaFile MediaStagingService::prepareVideo(Batch& batch, const CameraMediaFile& file) const {
  const VideoSource source = examineVideo(file, maximumVideoBytes_, batch.timeZone);
  const FileURL folder = makeFolder(batch.prepared, UUID::random().text());
  const FileURL copy = folder.appending("source.avi");
  copyVideo(file.url, copy, source.byteCount, maximumVideoBytes_, batch.token);
  // The processor takes the movie's creation date from the modification date of its source.
  setContentModificationDate(copy, source.captureDate);
  batch.token.throwIfCancelled();
  std::string sourceFingerprint = FileFingerprinter::sha256(copy, batch.token);

  const FileURL movie = folder.appending(std::string(file.url.stem()) + ".mov");
  {
    const ReverseLock unlocked(batch.lock);
    videoProcessor_->transcode(copy, movie, batch.token);
  }
  batch.token.throwIfCancelled();
  std::string processedFingerprint = FileFingerprinter::sha256(movie, batch.token);
  removeItem(copy);
  return {.sourceFile = file,
          .importURL = movie,
          .sourceFingerprint = std::move(sourceFingerprint),
          .mediaPayloadFingerprint = std::nullopt,
          .processedFingerprint = std::move(processedFingerprint),
          .processingVersion = NativeCharmeraVideoProcessor::version,
          .isStagedCopy = true,
          .captureDate = source.captureDate};
}

void MediaStagingService::cleanupIgnoringErrors(const PreparedMediaBatch& batch) noexcept {
  try {
    cleanup(batch);
  } catch (const std::exception&) {
    return;  // a folder that remains is removed as abandoned after a day
  }
}

std::optional<Date> MediaStagingService::captureDate(std::span<const std::byte> bytes,
                                                     const TimeZone& timeZone,
                                                     const CancellationToken& token) {
  const auto properties = imageProperties(bytes, token);
  const auto text = CharmeraMediaProcessor::normalizedExifDate(properties ? properties->exifDateTimeOriginal
                                                                          : std::nullopt);
  return text ? dateFromExifText(*text, timeZone) : std::nullopt;
}

}  // namespace tolvander
