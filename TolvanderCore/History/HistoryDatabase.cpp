#include "TolvanderCore/HistoryDatabase.h"

#include <optional>
#include <utility>

#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander {

namespace {

// Reading

std::optional<ImportEvidence> decodeEvidence(const JSONObject& object) {
  const auto text = object.optionalString("evidence");
  if (!text) {
    return std::nullopt;
  }
  const auto evidence = importEvidence(*text);
  if (!evidence) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "evidence", "unknown evidence");
  }
  return evidence;
}

std::string decodeSourceFingerprint(const JSONObject& object) {
  if (auto fingerprint = object.optionalString("sourceFingerprint")) {
    return *std::move(fingerprint);
  }
  return object.required("fingerprint").string();  // the key's earlier name
}

ImportRecord decodeImportRecord(const JSONObject& object) {
  ImportRecord record;
  record.evidence = decodeEvidence(object);
  record.sourceFingerprint = decodeSourceFingerprint(object);
  // A record on metadata only doesn't have these three keys; they are not read, so that they can't make
  // reading fail.
  if (record.isContentConfirmed()) {
    record.mediaPayloadFingerprint = object.optionalString("mediaPayloadFingerprint");
    record.processedFingerprint = object.optionalString("processedFingerprint");
    record.processingVersion = object.optionalInteger("processingVersion");
  }
  record.filename = object.required("filename").string();
  record.relativePath = object.required("relativePath").string();
  record.byteCount = object.required("byteCount").integer();
  record.importedAt = object.required("importedAt").iso8601Date();
  record.photosAssetIdentifier = object.optionalString("photosAssetIdentifier");
  record.wasReconciled = object.required("wasReconciled").boolean();
  return record;
}

ManagedTrashIdentity decodeTrashIdentity(const JSONObject& object) {
  return {
      .volumeIdentifier = object.required("volumeIdentifier").string(),
      .fileNumber = object.required("fileNumber").unsignedInteger(),
      .birthSeconds = object.required("birthSeconds").integer(),
      .birthNanoseconds = object.required("birthNanoseconds").integer(),
  };
}

ManagedTrashRecord decodeTrashRecord(const JSONObject& object) {
  ManagedTrashRecord record;
  record.id = object.required("id").uuid();
  record.deviceIdentifier = object.optionalString("deviceIdentifier");
  record.volumeName = object.required("volumeName").string();
  record.trashedPath = object.required("trashedPath").string();
  record.originalFilename = object.required("originalFilename").string();
  record.fingerprint = object.required("fingerprint").string();
  record.trashedAt = object.required("trashedAt").iso8601Date();
  record.originalPath = object.optionalString("originalPath");
  record.trashDirectoryPath = object.optionalString("trashDirectoryPath");
  if (const auto identity = object.optional("identity")) {
    record.identity = decodeTrashIdentity(identity->object());
  }
  record.photosAssetIdentifier = object.optionalString("photosAssetIdentifier");
  return record;
}

void checkVersion(const JSONObject& object) {
  const auto version = object.optionalInteger("version");
  if (version && (*version < 1 || *version > HistoryDatabase::currentVersion)) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "version", "Unsupported history version");
  }
}

ImportRecords decodeImports(const JSONObject& object) {
  std::vector<ImportRecord> records;
  if (const auto imports = object.optional("imports")) {
    imports->object().forEach([&](std::string_view, const JSONValue& value) {
      records.push_back(decodeImportRecord(value.object()));
    });
  }
  return ImportRecords(std::move(records));
}

std::vector<ManagedTrashRecord> decodeTrash(const JSONObject& object) {
  std::vector<ManagedTrashRecord> records;
  if (const auto trash = object.optional("trash")) {
    for (const JSONValue& value : trash->array()) {
      records.push_back(decodeTrashRecord(value.object()));
    }
  }
  return records;
}

std::set<std::string> decodePendingImports(const JSONObject& object) {
  std::set<std::string> sources;
  if (const auto pending = object.optional("pendingImports")) {
    for (const JSONValue& value : pending->array()) {
      sources.insert(value.string());
    }
  }
  return sources;
}

std::map<std::string, std::string> decodePendingProcessedFingerprints(
    const JSONObject& object, const std::set<std::string>& pendingImports) {
  std::map<std::string, std::string> fingerprints;
  const auto pending = object.optional("pendingProcessedFingerprints");
  if (!pending) {
    return fingerprints;
  }
  pending->object().forEach([&](std::string_view source, const JSONValue& processed) {
    if (!fingerprints.emplace(source, processed.string()).second) {
      throw DecodingError(DecodingError::Case::dataCorrupted, source, "the object has the key twice");
    }
  });
  std::erase_if(fingerprints, [&](const auto& entry) { return !pendingImports.contains(entry.first); });
  return fingerprints;
}

HistoryDatabase decodeHistory(const JSONDocument& document) {
  const JSONObject object = document.root().object();
  checkVersion(object);
  HistoryDatabase database;
  database.imports = decodeImports(object);
  database.trash = decodeTrash(object);
  database.pendingImports = decodePendingImports(object);
  database.pendingProcessedFingerprints = decodePendingProcessedFingerprints(object, database.pendingImports);
  return database;
}

// Writing. Each function writes its keys in ascending order.

void writeOptional(JSONWriter& writer, std::string_view key, const std::optional<std::string>& text) {
  if (text) {
    writer.string(key, *text);
  }
}

void write(JSONWriter& writer, const ImportRecord& record) {
  writer.beginObject();
  writer.integer("byteCount", record.byteCount);
  if (record.evidence) {
    writer.string("evidence", rawText(*record.evidence));
  }
  writer.string("filename", record.filename);
  writer.string("importedAt", iso8601Text(record.importedAt));
  writeOptional(writer, "mediaPayloadFingerprint", record.mediaPayloadFingerprint);
  writeOptional(writer, "photosAssetIdentifier", record.photosAssetIdentifier);
  writeOptional(writer, "processedFingerprint", record.processedFingerprint);
  if (record.processingVersion) {
    writer.integer("processingVersion", *record.processingVersion);
  }
  writer.string("relativePath", record.relativePath);
  writer.string("sourceFingerprint", record.sourceFingerprint);
  writer.boolean("wasReconciled", record.wasReconciled);
  writer.endObject();
}

void write(JSONWriter& writer, const ManagedTrashIdentity& identity) {
  writer.beginObject();
  writer.integer("birthNanoseconds", identity.birthNanoseconds);
  writer.integer("birthSeconds", identity.birthSeconds);
  writer.key("fileNumber");
  writer.unsignedInteger(identity.fileNumber);
  writer.string("volumeIdentifier", identity.volumeIdentifier);
  writer.endObject();
}

void write(JSONWriter& writer, const ManagedTrashRecord& record) {
  writer.beginObject();
  writeOptional(writer, "deviceIdentifier", record.deviceIdentifier);
  writer.string("fingerprint", record.fingerprint);
  writer.string("id", record.id.text());
  if (record.identity) {
    writer.key("identity");
    write(writer, *record.identity);
  }
  writer.string("originalFilename", record.originalFilename);
  writeOptional(writer, "originalPath", record.originalPath);
  writeOptional(writer, "photosAssetIdentifier", record.photosAssetIdentifier);
  writeOptional(writer, "trashDirectoryPath", record.trashDirectoryPath);
  writer.string("trashedAt", iso8601Text(record.trashedAt));
  writer.string("trashedPath", record.trashedPath);
  writer.string("volumeName", record.volumeName);
  writer.endObject();
}

}  // namespace

HistoryDatabase readHistory(const FileURL& file) { return decodeHistory(JSONDocument(file)); }

HistoryDatabase readHistory(std::span<const std::byte> bytes) { return decodeHistory(JSONDocument(bytes)); }

void writeHistory(const HistoryDatabase& database, JSONWriter::Sink sink) {
  JSONWriter writer(JSONWriter::Style::prettyPrinted, std::move(sink));
  writer.beginObject();
  writer.key("imports");
  writer.beginObject();
  for (const ImportRecord& record : database.imports) {
    writer.key(record.sourceFingerprint);
    write(writer, record);
  }
  writer.endObject();
  writer.key("pendingImports");
  writer.beginArray();
  for (const std::string& source : database.pendingImports) {
    writer.string(source);
  }
  writer.endArray();
  writer.key("pendingProcessedFingerprints");
  writer.beginObject();
  for (const auto& [source, processed] : database.pendingProcessedFingerprints) {
    writer.string(source, processed);
  }
  writer.endObject();
  writer.key("trash");
  writer.beginArray();
  for (const ManagedTrashRecord& record : database.trash) {
    write(writer, record);
  }
  writer.endArray();
  writer.integer("version", HistoryDatabase::currentVersion);
  writer.endObject();
  writer.finish();
}

}  // namespace tolvander
