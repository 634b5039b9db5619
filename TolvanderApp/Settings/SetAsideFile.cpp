#include "TolvanderApp/SetAsideFile.h"

#include <algorithm>
#include <chrono>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

namespace {

// Absent where the file can't be read.
std::optional<std::string> hashOf(const CameraMediaFile& file, const CancellationToken& token) {
  try {
    return FileFingerprinter::sha256(file.url, token);
  } catch (const CancellationError&) {
    throw;
  } catch (const Error&) {
    return std::nullopt;
  }
}

SetAsideFile::Place placeOf(const CameraMediaFile& file, const std::string& volumeUUID) {
  SetAsideFile::Place place{.volumeUUID = volumeUUID, .modifiedAt = std::nullopt};
  if (file.modifiedAt) {
    place.modifiedAt = std::chrono::floor<std::chrono::seconds>(*file.modifiedAt);
  }
  return place;
}

void write(JSONWriter& writer, const SetAsideFile& file) {
  writer.beginObject();
  writer.string("relativePath", file.relativePath);
  writer.integer("byteCount", file.byteCount);
  if (file.sha256) {
    writer.string("sha256", *file.sha256);
  }
  if (file.place) {
    writer.string("volumeUUID", file.place->volumeUUID);
    if (file.place->modifiedAt) {
      writer.string("modifiedAt", iso8601Text(*file.place->modifiedAt));
    }
  }
  writer.endObject();
}

SetAsideFile read(const JSONObject& object) {
  SetAsideFile file{.relativePath = object.required("relativePath").string(),
                    .byteCount = object.required("byteCount").integer(),
                    .sha256 = object.optionalString("sha256"),
                    .place = std::nullopt};
  if (!file.sha256) {
    file.place =
        SetAsideFile::Place{.volumeUUID = object.required("volumeUUID").string(), .modifiedAt = std::nullopt};
    if (const auto date = object.optional("modifiedAt")) {
      file.place->modifiedAt = date->iso8601Date();
    }
  }
  return file;
}

}  // namespace

SetAsideFile SetAsideFile::of(const CameraMediaFile& file, const std::string& volumeUUID,
                              const CancellationToken& token) {
  SetAsideFile result{.relativePath = file.relativePath,
                      .byteCount = file.byteCount,
                      .sha256 = hashOf(file, token),
                      .place = std::nullopt};
  if (!result.sha256) {
    result.place = placeOf(file, volumeUUID);
  }
  return result;
}

bool SetAsideFile::isSameAs(const CameraMediaFile& file, const std::string& volumeUUID,
                            const CancellationToken& token) const {
  if (file.byteCount != byteCount) {
    return false;
  }
  if (place) {
    return file.relativePath == relativePath && placeOf(file, volumeUUID) == *place;
  }
  return hashOf(file, token) == sha256;
}

std::vector<std::string> takeSetAside(std::vector<CameraMediaFile>& files, const SetAsideFiles& setAside,
                                      const std::string& volumeUUID, const CancellationToken& token) {
  std::vector<std::string> taken;
  std::erase_if(files, [&](const CameraMediaFile& file) {
    const bool isSetAside = std::ranges::any_of(
        setAside, [&](const SetAsideFile& entry) { return entry.isSameAs(file, volumeUUID, token); });
    if (isSetAside) {
      taken.push_back(file.relativePath);
    }
    return isSetAside;
  });
  return taken;
}

std::string encodeSetAsideFiles(const SetAsideFiles& files) {
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginArray();
    for (const SetAsideFile& file : files) {
      write(writer, file);
    }
    writer.endArray();
  });
}

SetAsideFiles decodeSetAsideFiles(std::span<const std::byte> json) {
  const JSONDocument document(json);
  SetAsideFiles files;
  for (const JSONValue& value : document.root().array()) {
    files.push_back(read(value.object()));
  }
  return files;
}

}  // namespace tolvander::app
