#include "Shells/CommandLine/Reports/LogReport.h"

#include <fstream>
#include <span>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {

namespace {

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

// One event for people. Throws DecodingError for what is none.
std::string textOf(const std::string& line) {
  const JSONDocument document(bytesOf(line));
  const JSONObject event = document.root().object();
  std::string text = event.required("time").string() + "  " + event.required("event").string();
  if (const auto metrics = event.optional("metrics")) {
    metrics->object().forEach([&text](std::string_view key, const JSONValue& value) {
      text += "  " + std::string(key) + "=" + std::to_string(value.integer());
    });
  }
  return printable(text) + "\n";
}

bool isEvent(const std::string& line) {
  try {
    textOf(line);
    return true;
  } catch (const DecodingError&) {
    return false;
  }
}

}  // namespace

LogReport LogReport::of(const DiagnosticLog& log) {
  LogReport report;
  static_cast<void>(log.storageFailure());  // waits for what was recorded before
  if (!fileExists(log.directory())) {
    return report;  // asked for its files, the log would make one
  }
  for (const FileURL& file : log.files()) {
    if (fileExists(file)) {
      report.files.push_back(file);
    }
  }
  for (auto file = report.files.rbegin(); file != report.files.rend(); ++file) {
    std::ifstream stream(file->path());
    for (std::string line; std::getline(stream, line);) {
      if (isEvent(line)) {
        report.lines.push_back(line);
      }
    }
  }
  return report;
}

std::string LogReport::text() const {
  std::string text;
  for (const std::string& line : lines) {
    text += textOf(line);
  }
  return text.empty() ? "Nothing has been logged.\n" : text;
}

std::string LogReport::textOfFiles() const {
  std::string text;
  for (const FileURL& file : files) {
    text += printable(file.path()) + "\n";
  }
  return text.empty() ? "There is no log file yet.\n" : text;
}

std::string LogReport::json() const {
  std::string text = "[";
  for (const std::string& line : lines) {
    text += (text.size() > 1 ? ",\n " : "\n ") + line;
  }
  return text + "\n]";
}

std::string LogReport::jsonOfFiles() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.key("files");
    writer.beginArray();
    for (const FileURL& file : files) {
      writer.string(file.path());
    }
    writer.endArray();
    writer.endObject();
  });
}

}  // namespace tolvander::app
