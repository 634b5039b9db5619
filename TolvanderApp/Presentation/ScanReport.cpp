#include "TolvanderApp/Presentation/ScanReport.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/FileFingerprinter.h"
#include "TolvanderCore/ISO8601.h"
#include "TolvanderCore/JSONWriter.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/FileSystem.h"

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
  return text + printable(file.relativePath) + "\n";
}

void write(JSONWriter& writer, const ScanReport::File& entry) {
  writer.beginObject();
  writer.string("relativePath", entry.file.relativePath);
  writer.integer("byteCount", entry.file.byteCount);
  if (entry.file.modifiedAt) {
    writer.string("modifiedAt", iso8601Text(*entry.file.modifiedAt));
  }
  if (entry.sourceFingerprint) {
    writer.string("sourceFingerprint", *entry.sourceFingerprint);
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

}  // namespace

ScanReport ScanReport::of(const FileURL& volumeURL, bool withFingerprints, const CancellationToken& token,
                          std::vector<DeviceProfile> savedProfiles) {
  // Detection takes a volume that isn't there for one that just left; a person who typed its path wants to
  // know.
  static_cast<void>(fileResourceValues(volumeURL.resolvingSymlinks()));
  ScanReport report{.volumeURL = volumeURL,
                    .displayName = MountedVolumeMediaSource::displayName(volumeURL),
                    .profile = std::nullopt,
                    .files = {}};
  std::vector<DeviceProfile> profiles = std::move(savedProfiles);
  std::ranges::copy(DeviceProfile::builtIns(), std::back_inserter(profiles));
  auto device = MountedVolumeMediaSource().detect(volumeURL, profiles, token);
  if (!device) {
    return report;
  }
  report.profile = std::move(device->profile);
  for (CameraMediaFile& file : device->files) {
    std::optional<std::string> fingerprint;
    if (withFingerprints) {
      fingerprint = FileFingerprinter::sha256(file.url, token);
    }
    report.files.push_back({.file = std::move(file), .sourceFingerprint = std::move(fingerprint)});
  }
  return report;
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
      write(writer, entry);
    }
    writer.endArray();
    writer.endObject();
  });
}

}  // namespace tolvander::app
