#include "Shells/CommandLine/Reports/CamerasReport.h"

#include <algorithm>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

namespace {

std::optional<FileURL> placeNow(const CameraAccessGrant& grant, Bookmarks& bookmarks) {
  try {
    return bookmarks
        .resolve(grant.bookmark, {.withSecurityScope = true, .withoutUI = true, .withoutMounting = true})
        .url;
  } catch (const Error&) {
    return std::nullopt;
  }
}

}  // namespace

CamerasReport CamerasReport::of(const StoredSettings& settings, Bookmarks& bookmarks) {
  CamerasReport report;
  for (const CameraAccessGrant& grant : settings.cameraGrants()) {
    report.cameras.push_back({.grant = grant, .volume = placeNow(grant, bookmarks)});
  }
  report.problem = settings.savedCameraAccessError();
  return report;
}

std::optional<UUID> CamerasReport::named(const std::string& nameOrID) const {
  std::optional<UUID> found;
  for (const Camera& camera : cameras) {
    if (camera.grant.id.text() == nameOrID) {
      return camera.grant.id;
    }
    if (camera.grant.name == nameOrID) {
      if (found) {
        return std::nullopt;
      }
      found = camera.grant.id;
    }
  }
  return found;
}

std::string CamerasReport::text() const {
  std::string text = problem ? *problem + "\n" : "";
  if (cameras.empty()) {
    return text + "No camera is saved.\n";
  }
  for (const Camera& camera : cameras) {
    text += camera.grant.id.text() + "  “" + printable(camera.grant.name) + "”  " +
            (camera.volume ? printable(camera.volume->path()) : std::string("not connected")) + "\n";
  }
  return text;
}

std::string CamerasReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.key("cameras");
    writer.beginArray();
    for (const Camera& camera : cameras) {
      writer.beginObject();
      writer.string("id", camera.grant.id.text());
      writer.string("name", camera.grant.name);
      writer.boolean("isEnabled", camera.grant.isEnabled);
      writer.key("volume");
      if (camera.volume) {
        writer.string(camera.volume->path());
      } else {
        writer.null();
      }
      writer.endObject();
    }
    writer.endArray();
    writer.key("problem");
    if (problem) {
      writer.string(*problem);
    } else {
      writer.null();
    }
    writer.endObject();
  });
}

std::string noSuchCameraText(const std::string& nameOrID) {
  return "“" + printable(nameOrID) +
         "” means no saved camera, or more than one. tolvanderctl cameras list shows them with their "
         "identities.";
}

std::string cameraSavedText(const FileURL& volume) {
  return "“" + printable(volume.path()) + "” is remembered as a camera.\n";
}

std::string cameraForgottenText(const std::string& name) {
  return "“" + printable(name) + "” is forgotten.\n";
}

}  // namespace tolvander::app
