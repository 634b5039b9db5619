#include "TolvanderCore/TrashIntentJournal.h"

#include <errno.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/Platform/AtomicFile.h"
#include "TolvanderCore/Platform/DurableWrite.h"

namespace tolvander {

namespace {

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

// The line of an intent, with its line end.
std::string lineOf(const TrashIntent& intent) {
  const auto write = [&](JSONWriter& writer) {
    writer.beginObject();
    writer.string("deviceIdentifier", intent.deviceIdentifier);
    writer.string("fingerprint", intent.fingerprint);
    writer.string("id", intent.id.text());
    writer.string("intendedAt", iso8601Text(intent.intendedAt));
    writer.string("originalFilename", intent.originalFilename);
    writer.string("originalPath", intent.originalPath);
    writer.string("photosAssetIdentifier", intent.photosAssetIdentifier);
    writer.string("trashDirectoryPath", intent.trashDirectoryPath);
    writer.string("volumeIdentifier", intent.volumeIdentifier);
    writer.string("volumeName", intent.volumeName);
    writer.endObject();
  };
  return jsonText(JSONWriter::Style::compact, write) + "\n";
}

// Throws DecodingError.
TrashIntent intentFromLine(std::string_view line) {
  const JSONDocument document(bytesOf(line));
  const JSONObject object = document.root().object();
  return {.id = object.required("id").uuid(),
          .deviceIdentifier = object.required("deviceIdentifier").string(),
          .volumeName = object.required("volumeName").string(),
          .originalFilename = object.required("originalFilename").string(),
          .originalPath = object.required("originalPath").string(),
          .trashDirectoryPath = object.required("trashDirectoryPath").string(),
          .volumeIdentifier = object.required("volumeIdentifier").string(),
          .fingerprint = object.required("fingerprint").string(),
          .photosAssetIdentifier = object.required("photosAssetIdentifier").string(),
          .intendedAt = object.required("intendedAt").iso8601Date()};
}

std::vector<TrashIntent> intentsFromLines(std::string_view lines) {
  std::vector<TrashIntent> intents;
  for (std::size_t end = lines.find('\n'); end != std::string_view::npos; end = lines.find('\n')) {
    try {
      intents.push_back(intentFromLine(lines.substr(0, end)));
    } catch (const DecodingError&) {
      // The file that an unreadable line describes can't be distinguished from the user's own files.
    }
    lines.remove_prefix(end + 1);
  }
  return intents;
}

}  // namespace

TrashIntentJournal::TrashIntentJournal(FileURL file) : file_(std::move(file)) {
  try {
    const std::vector<std::byte> bytes = FileReader(file_).readToEnd();
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    size_ = text.rfind('\n') + 1;  // 0 without a line end
    intents_ = intentsFromLines(text.substr(0, size_));
  } catch (const PosixError& error) {
    if (error.code() != ENOENT) {
      failure_ = error;
    }
  }
}

void TrashIntentJournal::add(const TrashIntent& intent) {
  if (failure_) {
    throw PosixError(*failure_);
  }
  const std::string line = lineOf(intent);
  createDirectories(file_.deletingLastPathComponent(), Durability::survivesPowerLoss);
  writeDurably(file_, size_, bytesOf(line));
  intents_.push_back(intent);
  size_ += line.size();
}

void TrashIntentJournal::remove(const std::set<UUID>& ids) {
  std::vector<TrashIntent> left = intents_;
  std::erase_if(left, [&](const TrashIntent& intent) { return ids.contains(intent.id); });
  if (left.size() == intents_.size()) {
    return;
  }
  std::string lines;
  for (const TrashIntent& intent : left) {
    lines += lineOf(intent);
  }
  if (left.empty()) {
    removeItem(file_);
  } else {
    AtomicFile file(file_, Durability::survivesPowerLoss);
    file.write(bytesOf(lines));
    file.commit();
  }
  intents_ = std::move(left);
  size_ = lines.size();
}

}  // namespace tolvander
