#include "Platform/Linux/Volumes/VolumeBookmarks.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "TolvanderCore/Foundation/AbsolutePath.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UTF8.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::platform::linux_ {

using app::BookmarkError;
using app::MountedVolume;
using app::ResolvedBookmark;

namespace {

constexpr std::int64_t currentVersion = 1;

struct VolumeIdentity {
  std::optional<std::string> uuid;
  std::string name;
  std::string device;

  bool isSameVolumeAs(const VolumeIdentity& other) const {
    return uuid || other.uuid ? uuid == other.uuid : name == other.name && device == other.device;
  }
};

struct Bookmark {
  VolumeIdentity volume;
  FileURL mountPoint;
  bool isSecurityScoped = false;
};

bool isWellFormed(std::string_view text) {
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    if (!sequence.isWellFormed) {
      return false;
    }
    text.remove_prefix(sequence.length);
  }
  return true;
}

std::vector<std::byte> encoded(const Bookmark& bookmark) {
  const std::string text = jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.integer("version", currentVersion);
    if (bookmark.volume.uuid) {
      writer.string("volumeUUID", *bookmark.volume.uuid);
    }
    writer.string("volumeName", bookmark.volume.name);
    writer.string("device", bookmark.volume.device);
    writer.string("mountPoint", bookmark.mountPoint.path());
    writer.boolean("isSecurityScoped", bookmark.isSecurityScoped);
    writer.endObject();
  });
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

// Throws DecodingError.
Bookmark decoded(std::span<const std::byte> bytes) {
  const JSONDocument document(bytes);
  const JSONObject object = document.root().object();
  if (object.required("version").integer() != currentVersion) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "version", "an unknown version");
  }
  auto mountPoint = urlOfAbsolutePath(object.required("mountPoint").string());
  if (!mountPoint) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "mountPoint", "no absolute path");
  }
  return {.volume = {.uuid = object.optionalString("volumeUUID"),
                     .name = object.required("volumeName").string(),
                     .device = object.required("device").string()},
          .mountPoint = *std::move(mountPoint),
          .isSecurityScoped = object.required("isSecurityScoped").boolean()};
}

std::string nameOr(std::optional<std::string> name, const FileURL& url) {
  return std::move(name).value_or(std::string(url.lastPathComponent()));
}

VolumeIdentity identityOf(const MountedVolume& volume, const LinuxVolumes& volumes) {
  app::VolumeValues values = volume.values.value_or(app::VolumeValues());
  return {.uuid = values.uuid,
          .name = nameOr(std::move(values.name), volume.url),
          .device = values.uuid ? "" : volumes.source(volume.url)};
}

// The identity of a folder that isn't a listed volume. Throws PosixError.
VolumeIdentity identityOfFolder(const FileURL& folder) {
  VolumeResourceValues values = volumeResourceValues(folder);
  return {.uuid = std::move(values.uuid), .name = nameOr(std::move(values.name), folder), .device = ""};
}

Bookmark unwrapped(std::span<const std::byte> bytes) {
  try {
    return decoded(bytes);
  } catch (const DecodingError& error) {
    throw BookmarkError(BookmarkError::Case::unreadable, error.what());
  }
}

bool isStillTheFolder(const Bookmark& bookmark) {
  try {
    return bookmark.volume.isSameVolumeAs(identityOfFolder(bookmark.mountPoint));
  } catch (const PosixError&) {
    return false;
  }
}

// The current path of the bookmark's volume; its former path if it is mounted there, too.
std::optional<FileURL> placeOf(const Bookmark& bookmark, const LinuxVolumes& volumes) {
  std::optional<FileURL> place;
  for (const MountedVolume& volume : volumes.mountedVolumes()) {
    if (bookmark.volume.isSameVolumeAs(identityOf(volume, volumes))) {
      const FileURL url = volume.url.standardized();
      if (!place || url == bookmark.mountPoint) {
        place = url;
      }
    }
  }
  if (!place && isStillTheFolder(bookmark)) {
    place = bookmark.mountPoint;
  }
  return place;
}

}  // namespace

std::vector<std::byte> VolumeBookmarks::bookmarkData(const FileURL& url,
                                                     app::BookmarkCreationOptions options) {
  const FileURL place = url.standardized();
  if (!isWellFormed(place.path())) {
    throw BookmarkError(BookmarkError::Case::cannotBeMade, "the folder's path is no UTF-8 text");
  }
  try {
    const std::vector<MountedVolume> mounted = volumes_.mountedVolumes();
    const auto volume = std::ranges::find(
        mounted, place, [](const MountedVolume& candidate) { return candidate.url.standardized(); });
    return encoded(
        {.volume = volume != mounted.end() ? identityOf(*volume, volumes_) : identityOfFolder(place),
         .mountPoint = place,
         .isSecurityScoped = options.withSecurityScope});
  } catch (const PosixError& error) {
    throw BookmarkError(BookmarkError::Case::cannotBeMade, error.what());
  }
}

ResolvedBookmark VolumeBookmarks::resolve(std::span<const std::byte> bookmark,
                                          app::BookmarkResolutionOptions options) {
  const Bookmark made = unwrapped(bookmark);
  if (options.withSecurityScope && !made.isSecurityScoped) {
    throw BookmarkError(BookmarkError::Case::noSecurityScope, "the bookmark has no security scope");
  }
  const auto place = placeOf(made, volumes_);
  if (!place) {
    throw BookmarkError(BookmarkError::Case::volumeNotMounted, "the bookmark's volume is not mounted");
  }
  return {.url = *place, .isStale = *place != made.mountPoint};
}

bool VolumeBookmarks::isStillThere(std::span<const std::byte> bookmark, const FileURL& url) {
  try {
    return placeOf(unwrapped(bookmark), volumes_) == url.standardized();
  } catch (const Error&) {
    return false;
  }
}

}  // namespace tolvander::platform::linux_
