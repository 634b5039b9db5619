#include "TolvanderCore/MountedVolumeMediaSource.h"

#include <errno.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander {

namespace {

// The volume's name and UUID. If they can't be read, they are absent; the volume can still be a camera.
VolumeResourceValues resourceValuesIfAny(const FileURL& volumeURL) {
  try {
    return volumeResourceValues(volumeURL);
  } catch (const Error&) {
    return {};
  }
}

std::string nameOf(const FileURL& volumeURL, const VolumeResourceValues& values) {
  return values.name.value_or(std::string(volumeURL.lastPathComponent()));
}

// The properties of a volume that the rules use; read once for each detection.
struct Volume {
  explicit Volume(const FileURL& volumeURL)
      : url(volumeURL), values(resourceValuesIfAny(volumeURL)), name(nameOf(volumeURL, values)) {}

  bool hasUUID(const std::string& uuid) const { return values.uuid == uuid; }

  bool hasOneOfNames(const std::vector<std::string>& names) const {
    return std::ranges::any_of(
        names, [this](const std::string& candidate) { return equalIgnoringCase(candidate, name); });
  }

  bool holds(std::string_view path) const { return fileExists(url.appending(path)); }

  FileURL url;
  VolumeResourceValues values;
  std::string name;
};

bool isBoundTo(const Volume& volume, const DeviceProfile::MatchRules& rules) {
  return rules.volumeUUID ? volume.hasUUID(*rules.volumeUUID) : volume.hasOneOfNames(rules.volumeNames);
}

bool isEligible(const DeviceProfile& profile, const Volume& volume) {
  return profile.isEnabled && (!profile.securityScopedBookmark || isBoundTo(volume, profile.matchRules));
}

std::vector<DeviceProfile> eligibleByPriority(const std::vector<DeviceProfile>& profiles,
                                              const Volume& volume) {
  std::vector<DeviceProfile> eligible;
  std::ranges::copy_if(profiles, std::back_inserter(eligible),
                       [&](const DeviceProfile& profile) { return isEligible(profile, volume); });
  std::ranges::stable_sort(eligible, std::ranges::greater(), &DeviceProfile::priority);
  return eligible;
}

void verifyAccess(const Volume& volume) {
  try {
    contentsOfDirectory(volume.url);
  } catch (const Error& error) {
    if (MountedVolumeMediaSource::isAccessDeniedError(error)) {
      throw MediaSourceError::volumeAccessDenied(volume.name);
    }
    throw;
  }
}

bool fileContainsGeneralplusMarker(const FileURL& url) {
  constexpr std::string_view marker = "GPEncoder";
  std::array<std::byte, 512> head{};
  try {
    const std::size_t count = FileReader(url).read(head);
    const std::string_view text(reinterpret_cast<const char*>(head.data()), count);
    return text.find(marker) != std::string_view::npos;
  } catch (const Error&) {
    return false;
  }
}

// The first entry in the media root whose name matches the pattern and that `accept` accepts. An invalid
// pattern matches nothing.
bool anyEntry(const FileURL& root, const std::string& pattern,
              const std::function<bool(const FileURL&)>& accept) {
  try {
    RegularExpression expression(pattern);
    auto enumerator = DirectoryEnumerator::at(root);
    if (!enumerator) {
      return false;
    }
    while (const auto entry = enumerator->next()) {
      if (expression.hasMatch(entry->lastPathComponent()) && accept(*entry)) {
        return true;
      }
    }
  } catch (const Error&) {
    return false;
  }
  return false;
}

bool matchesCharmera(const Volume& volume, const DeviceProfile& profile) {
  if (!volume.holds("DCIM")) {
    return false;
  }
  // Only this camera has this folder, so no file has to be read.
  if (volume.holds("SPIDCIM")) {
    return true;
  }
  const auto& pattern = profile.matchRules.filenamePattern;
  return pattern && anyEntry(volume.url.appending("DCIM"), *pattern, fileContainsGeneralplusMarker);
}

// A volume that the user has granted access to is recognised by its UUID or name only.
bool matchesGrantedCharmera(const Volume& volume, const DeviceProfile& profile) {
  const auto& rules = profile.matchRules;
  if (!rules.volumeUUID && rules.volumeNames.empty()) {
    return matchesCharmera(volume, profile);
  }
  return isBoundTo(volume, rules);
}

// One of the rules is sufficient: a volume whose UUID has changed is still recognised by its name.
bool matchesByRules(const Volume& volume, const DeviceProfile& profile) {
  const auto& rules = profile.matchRules;
  if (!std::ranges::all_of(rules.requiredPaths,
                           [&](const std::string& path) { return volume.holds(path); })) {
    return false;
  }
  const bool hasEvidence = rules.volumeUUID || !rules.volumeNames.empty() || rules.filenamePattern;
  if (!hasEvidence) {
    return true;
  }
  const auto holdsNamedFile = [&](const std::string& root) {
    return anyEntry(volume.url.appending(root), *rules.filenamePattern, [](const FileURL&) { return true; });
  };
  return (rules.volumeUUID && volume.hasUUID(*rules.volumeUUID)) || volume.hasOneOfNames(rules.volumeNames) ||
         (rules.filenamePattern && std::ranges::any_of(profile.mediaRoots, holdsNamedFile));
}

bool matchesProfile(const Volume& volume, const DeviceProfile& profile) {
  if (profile.kind != DeviceProfile::Kind::charmera) {
    return matchesByRules(volume, profile);
  }
  return profile.securityScopedBookmark ? matchesGrantedCharmera(volume, profile)
                                        : matchesCharmera(volume, profile);
}

// Collects the media files of one volume without repetition.
class MediaListing {
 public:
  MediaListing(const FileURL& volumeURL, const DeviceProfile& profile, const CancellationToken& token)
      : volumeURL_(volumeURL), volumePath_(volumeURL.resolvingSymlinks()), profile_(profile), token_(token) {}

  std::vector<CameraMediaFile> files() && {
    for (const std::string& mediaRoot : profile_.mediaRoots) {
      token_.throwIfCancelled();
      addRoot(volumeURL_.appending(mediaRoot));
    }
    sortAsAFileManager();
    return std::move(files_);
  }

 private:
  // Sorts by keys that are made once for each file. Comparing the paths themselves would take most of the
  // time for a large card.
  void sortAsAFileManager() {
    std::vector<std::pair<std::string, CameraMediaFile>> keyed;
    keyed.reserve(files_.size());
    for (CameraMediaFile& file : files_) {
      keyed.emplace_back(standardSortKey(file.relativePath), std::move(file));
    }
    std::ranges::stable_sort(keyed, std::less(),
                             [](const auto& entry) -> const std::string& { return entry.first; });
    std::ranges::transform(keyed, files_.begin(), [](auto& entry) { return std::move(entry.second); });
  }

  void addRoot(const FileURL& mediaRoot) {
    if (!fileExists(mediaRoot)) {
      return;
    }
    // The resolved root is used from here on, so that the folder that was checked is the one that is read.
    const FileURL root = mediaRoot.resolvingSymlinks();
    if (root != volumePath_ && !root.isBelow(volumePath_)) {
      return;
    }
    std::optional<PosixError> failure;
    auto enumerator = DirectoryEnumerator::at(
        root,
        [&failure](const FileURL&, const PosixError& error) {
          failure = error;
          return false;
        },
        root == volumePath_ ? DirectoryEnumerator::Root::volume : DirectoryEnumerator::Root::folder);
    if (!enumerator) {
      throw CocoaError(CocoaError::Code::fileReadUnknown);
    }
    while (const auto entry = enumerator->next()) {
      token_.throwIfCancelled();
      addEntry(*entry);
    }
    if (failure) {
      throw *failure;
    }
  }

  void addEntry(const FileURL& url) {
    const FileResourceValues values = cameraFileResourceValues(url, zone_);
    if (!values.isRegularFile || values.isSymbolicLink ||
        !profile_.supportedExtensions.contains(lowercased(url.pathExtension()))) {
      return;
    }
    const FileURL resolved =
        resolvedFolder(url.deletingLastPathComponent()).appending(url.lastPathComponent());
    if (!resolved.isBelow(volumePath_) || !seen_.insert(resolved.path()).second) {
      return;
    }
    const std::string relativePath = pathOnVolume(resolved);
    files_.push_back({
        .url = volumeURL_.appending(relativePath),
        .volumeURL = volumeURL_,
        .relativePath = relativePath,
        .filename = std::string(url.lastPathComponent()),
        .byteCount = values.fileSize.value_or(0),
        .modifiedAt = values.contentModificationDate,
    });
  }

  // A file that is not a link is where its folder is, so each folder is resolved once for all its files.
  const FileURL& resolvedFolder(const FileURL& folder) {
    if (!lastFolder_ || lastFolder_->first != folder) {
      lastFolder_ = {folder, folder.resolvingSymlinks()};
    }
    return lastFolder_->second;
  }

  std::string pathOnVolume(const FileURL& resolved) const {
    const std::string_view below = std::string_view(resolved.path()).substr(volumePath_.path().size());
    return std::string(below.starts_with('/') ? below.substr(1) : below);
  }

  const FileURL& volumeURL_;
  const FileURL volumePath_;
  const DeviceProfile& profile_;
  const CancellationToken& token_;
  const TimeZone zone_ = TimeZone::current();
  std::unordered_set<std::string> seen_;
  std::optional<std::pair<FileURL, FileURL>> lastFolder_;
  std::vector<CameraMediaFile> files_;
};

}  // namespace

std::optional<DetectedDevice> MountedVolumeMediaSource::detect(const FileURL& volumeURL,
                                                               const std::vector<DeviceProfile>& profiles,
                                                               const CancellationToken& token) const {
  token.throwIfCancelled();
  // The start-up volume is never a camera.
  if (volumeURL.standardized().path() == "/") {
    return std::nullopt;
  }
  const Volume volume(volumeURL);
  const std::vector<DeviceProfile> eligible = eligibleByPriority(profiles, volume);
  if (eligible.empty()) {
    return std::nullopt;
  }
  try {
    verifyAccess(volume);
  } catch (const Error& error) {
    // The volume was unmounted before this call.
    if (isMissingVolumeError(error)) {
      return std::nullopt;
    }
    throw;
  }
  const auto profile = std::ranges::find_if(
      eligible, [&](const DeviceProfile& candidate) { return matchesProfile(volume, candidate); });
  if (profile == eligible.end()) {
    return std::nullopt;
  }
  return DetectedDevice{.volumeURL = volumeURL,
                        .displayName = volume.name,
                        .profile = *profile,
                        .files = mediaFiles(volumeURL, *profile, token)};
}

std::string MountedVolumeMediaSource::displayName(const FileURL& volumeURL) {
  return nameOf(volumeURL, resourceValuesIfAny(volumeURL));
}

bool MountedVolumeMediaSource::matches(const FileURL& volumeURL, const DeviceProfile& profile) {
  return matchesProfile(Volume(volumeURL), profile);
}

std::vector<CameraMediaFile> MountedVolumeMediaSource::mediaFiles(const FileURL& volumeURL,
                                                                  const DeviceProfile& profile,
                                                                  const CancellationToken& token) {
  return MediaListing(volumeURL, profile, token).files();
}

bool MountedVolumeMediaSource::isAccessDeniedError(const Error& error) {
  return (error.domain() == PosixError::errorDomain && (error.code() == EACCES || error.code() == EPERM)) ||
         (error.domain() == CocoaError::errorDomain &&
          error.code() == static_cast<std::int64_t>(CocoaError::Code::fileReadNoPermission));
}

bool MountedVolumeMediaSource::isMissingVolumeError(const Error& error) {
  return (error.domain() == PosixError::errorDomain && error.code() == ENOENT) ||
         (error.domain() == CocoaError::errorDomain &&
          (error.code() == static_cast<std::int64_t>(CocoaError::Code::fileNoSuchFile) ||
           error.code() == static_cast<std::int64_t>(CocoaError::Code::fileReadNoSuchFile)));
}

DeviceProfile MountedVolumeMediaSource::customProfile(const FileURL& volumeURL,
                                                      std::vector<std::string> mediaRoots) {
  const VolumeResourceValues values = resourceValuesIfAny(volumeURL);
  const std::string name = nameOf(volumeURL, values);
  DeviceProfile profile;
  profile.id = UUID::random();
  profile.name = name;
  profile.kind = DeviceProfile::Kind::customMountedVolume;
  profile.isEnabled = true;
  profile.mediaRoots = mediaRoots;
  profile.supportedExtensions = DeviceProfile::standardCameraCard().supportedExtensions;
  if (!values.uuid) {
    profile.matchRules.volumeNames = {name};
  }
  profile.matchRules.volumeUUID = values.uuid;
  profile.matchRules.requiredPaths = std::move(mediaRoots);
  profile.priority = 80;
  return profile;
}

}  // namespace tolvander
