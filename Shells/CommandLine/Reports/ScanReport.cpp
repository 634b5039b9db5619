#include "Shells/CommandLine/Reports/ScanReport.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "TolvanderApp/Import/MediaFingerprintStage.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::app {

namespace {

std::string line(const ScanReport::File& entry) {
  const CameraMediaFile& file = entry.file;
  std::string text;
  if (entry.sourceFingerprint) {
    text += *entry.sourceFingerprint + "  ";
  }
  const std::string size = byteCountText(file.byteCount);
  constexpr std::size_t sizeWidth = 9;
  text +=
      (file.modifiedAt ? iso8601Text(*file.modifiedAt) : std::string(iso8601Text(Date()).size(), ' ')) + "  ";
  text += std::string(sizeWidth - std::min(sizeWidth, size.size()), ' ') + size + "  ";
  text += printable(file.relativePath) + (entry.isSetAside ? "  (set aside)" : "") + "\n";
  return entry.failure ? text + "  " + printable(file.filename) + ": " + *entry.failure + "\n" : text;
}

void write(JSONWriter& writer, const ScanReport::File& entry, bool isVerified) {
  writer.beginObject();
  writer.string("relativePath", entry.file.relativePath);
  writer.integer("byteCount", entry.file.byteCount);
  if (entry.file.modifiedAt) {
    writer.string("modifiedAt", iso8601Text(*entry.file.modifiedAt));
  }
  if (entry.sourceFingerprint) {
    writer.string("sourceFingerprint", *entry.sourceFingerprint);
  }
  if (entry.isSetAside) {
    writer.boolean("isSetAside", true);
  }
  if (entry.failure) {
    writer.string("failure", *entry.failure);
  } else if (isVerified) {
    writer.key("failure");
    writer.null();
  }
  writer.endObject();
}

void write(JSONWriter& writer, const std::optional<DeviceProfile>& profile) {
  if (!profile) {
    writer.null();
    return;
  }
  writer.beginObject();
  writer.string("id", profile->id.text());
  writer.string("kind", rawText(profile->kind));
  writer.string("name", profile->name);
  writer.endObject();
}

std::string uuidOf(const FileURL& volume) {
  try {
    return volumeResourceValues(volume).uuid.value_or("");
  } catch (const Error&) {
    return "";
  }
}

// Absent where the file can be fingerprinted and prepared as an import does it.
std::optional<std::string> failureOfImport(const CameraMediaFile& file, bool isCharmera,
                                           const ScanReport::Verification& verification,
                                           const CancellationToken& token) {
  try {
    MediaFingerprintStage::fingerprint({file}, isCharmera, token);
    MediaStagingService(verification.stagingFolder)
        .withPreparedBatch(
            {file}, isCharmera, TimeZone::current(), [](const PreparedMediaBatch&) { return true; }, token);
    return std::nullopt;
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    return failureText(error, verification.systemNames);
  }
}

}  // namespace

ScanReport ScanReport::of(const FileURL& volumeURL, const Options& options, const CancellationToken& token) {
  // Detection takes a volume that isn't there for one that just left; a person who typed its path wants to
  // know.
  static_cast<void>(fileResourceValues(volumeURL.resolvingSymlinks()));
  ScanReport report{.volumeURL = volumeURL,
                    .displayName = MountedVolumeMediaSource::displayName(volumeURL),
                    .profile = std::nullopt,
                    .files = {},
                    .isVerified = options.verification.has_value()};
  std::vector<DeviceProfile> profiles = options.savedProfiles;
  std::ranges::copy(DeviceProfile::builtIns(), std::back_inserter(profiles));
  auto device = MountedVolumeMediaSource().detect(volumeURL, profiles, token);
  if (!device) {
    return report;
  }
  const bool isCharmera = device->profile.kind == DeviceProfile::Kind::charmera;
  const std::string uuid = options.setAside.empty() ? "" : uuidOf(volumeURL);
  report.profile = std::move(device->profile);
  for (CameraMediaFile& file : device->files) {
    File entry{.file = std::move(file), .sourceFingerprint = std::nullopt};
    entry.isSetAside = std::ranges::any_of(options.setAside, [&](const SetAsideFile& setAside) {
      return setAside.isSameAs(entry.file, uuid, token);
    });
    if (options.withFingerprints) {
      entry.sourceFingerprint = FileFingerprinter::sha256(entry.file.url, token);
    }
    if (options.verification) {
      entry.failure = failureOfImport(entry.file, isCharmera, *options.verification, token);
    }
    report.files.push_back(std::move(entry));
  }
  return report;
}

std::int64_t ScanReport::failureCount() const {
  return std::ranges::count_if(files, [](const File& entry) { return entry.failure && !entry.isSetAside; });
}

std::string ScanReport::text() const {
  if (!profile) {
    return "“" + printable(displayName) + "” is no camera that Tolvander knows.\n";
  }
  const std::int64_t bytes =
      std::accumulate(files.begin(), files.end(), std::int64_t{0},
                      [](std::int64_t sum, const File& entry) { return sum + entry.file.byteCount; });
  std::string text = profile->name + " “" + printable(displayName) +
                     "”: " + counted(static_cast<std::int64_t>(files.size()), "media file", "media files") +
                     ", " + byteCountText(bytes) + "\n";
  for (const File& entry : files) {
    text += line(entry);
  }
  if (isVerified) {
    text += failureCount() == 0 ? "All of them can be imported.\n"
                                : counted(failureCount(), "file", "files") + " cannot be imported.\n";
  }
  return text;
}

std::string ScanReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.string("volume", volumeURL.path());
    writer.string("displayName", displayName);
    writer.key("profile");
    write(writer, profile);
    writer.key("files");
    writer.beginArray();
    for (const File& entry : files) {
      write(writer, entry, isVerified);
    }
    writer.endArray();
    writer.endObject();
  });
}

}  // namespace tolvander::app
