#include "TolvanderCore/DeviceProfileCoding.h"

#include <utility>

#include "TolvanderCore/Foundation/Base64.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander {

namespace {

void write(JSONWriter& writer, std::string_view key, const std::optional<std::string>& text) {
  if (text) {
    writer.string(key, *text);
  }
}

template <typename Texts>
void writeTexts(JSONWriter& writer, std::string_view key, const Texts& texts) {
  writer.key(key);
  writer.beginArray();
  for (const std::string& text : texts) {
    writer.string(text);
  }
  writer.endArray();
}

void write(JSONWriter& writer, const DeviceProfile::MatchRules& rules) {
  writer.beginObject();
  writeTexts(writer, "volumeNames", rules.volumeNames);
  write(writer, "volumeUUID", rules.volumeUUID);
  writeTexts(writer, "requiredPaths", rules.requiredPaths);
  write(writer, "filenamePattern", rules.filenamePattern);
  writer.endObject();
}

void write(JSONWriter& writer, const DeviceProfile& profile) {
  writer.beginObject();
  writer.string("id", profile.id.text());
  writer.string("name", profile.name);
  writer.string("kind", rawText(profile.kind));
  writer.boolean("isEnabled", profile.isEnabled);
  writeTexts(writer, "mediaRoots", profile.mediaRoots);
  writeTexts(writer, "supportedExtensions", profile.supportedExtensions);
  writer.key("matchRules");
  write(writer, profile.matchRules);
  writer.integer("priority", profile.priority);
  if (profile.securityScopedBookmark) {
    writer.string("securityScopedBookmark", base64Text(*profile.securityScopedBookmark));
  }
  writer.endObject();
}

void write(JSONWriter& writer, const CameraAccessGrant& grant) {
  writer.beginObject();
  writer.string("id", grant.id.text());
  writer.string("profileID", grant.profileID.text());
  writer.string("name", grant.name);
  write(writer, "volumeUUID", grant.volumeUUID);
  writeTexts(writer, "volumeNames", grant.volumeNames);
  writer.string("bookmark", base64Text(grant.bookmark));
  writer.boolean("isEnabled", grant.isEnabled);
  writer.endObject();
}

template <typename Value>
std::string encodeList(const std::vector<Value>& values) {
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginArray();
    for (const Value& value : values) {
      write(writer, value);
    }
    writer.endArray();
  });
}

std::vector<std::string> decodeTexts(const JSONValue& value) {
  std::vector<std::string> texts;
  for (const JSONValue& element : value.array()) {
    texts.push_back(element.string());
  }
  return texts;
}

DeviceProfile::Kind decodeKind(const JSONObject& object) {
  const auto kind = deviceProfileKind(object.required("kind").string());
  if (!kind) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "kind", "unknown kind of camera");
  }
  return *kind;
}

void decode(const JSONObject& object, DeviceProfile::MatchRules& rules) {
  rules.volumeNames = decodeTexts(object.required("volumeNames"));
  rules.volumeUUID = object.optionalString("volumeUUID");
  rules.requiredPaths = decodeTexts(object.required("requiredPaths"));
  rules.filenamePattern = object.optionalString("filenamePattern");
}

void decode(const JSONObject& object, DeviceProfile& profile) {
  profile.id = object.required("id").uuid();
  profile.name = object.required("name").string();
  profile.kind = decodeKind(object);
  profile.isEnabled = object.required("isEnabled").boolean();
  profile.mediaRoots = decodeTexts(object.required("mediaRoots"));
  for (std::string& extension : decodeTexts(object.required("supportedExtensions"))) {
    profile.supportedExtensions.insert(std::move(extension));
  }
  decode(object.required("matchRules").object(), profile.matchRules);
  profile.priority = object.required("priority").integer();
  if (const auto bookmark = object.optional("securityScopedBookmark")) {
    profile.securityScopedBookmark = bookmark->base64Bytes();
  }
}

void decode(const JSONObject& object, CameraAccessGrant& grant) {
  grant.id = object.required("id").uuid();
  grant.profileID = object.required("profileID").uuid();
  grant.name = object.required("name").string();
  grant.volumeUUID = object.optionalString("volumeUUID");
  grant.volumeNames = decodeTexts(object.required("volumeNames"));
  grant.bookmark = object.required("bookmark").base64Bytes();
  grant.isEnabled = object.required("isEnabled").boolean();
}

template <typename Value>
std::vector<Value> decodeList(std::span<const std::byte> json) {
  const JSONDocument document(json);
  std::vector<Value> values;
  for (const JSONValue& element : document.root().array()) {
    decode(element.object(), values.emplace_back());
  }
  return values;
}

}  // namespace

std::string encodeDeviceProfiles(const std::vector<DeviceProfile>& profiles) { return encodeList(profiles); }

std::vector<DeviceProfile> decodeDeviceProfiles(std::span<const std::byte> json) {
  return decodeList<DeviceProfile>(json);
}

std::string encodeCameraAccessGrants(const std::vector<CameraAccessGrant>& grants) {
  return encodeList(grants);
}

std::vector<CameraAccessGrant> decodeCameraAccessGrants(std::span<const std::byte> json) {
  return decodeList<CameraAccessGrant>(json);
}

}  // namespace tolvander
