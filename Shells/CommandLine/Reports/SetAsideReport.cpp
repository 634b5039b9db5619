#include "Shells/CommandLine/Reports/SetAsideReport.h"

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

std::string setAsideText(const SetAsideFiles& files) {
  if (files.empty()) {
    return "No file is set aside.\n";
  }
  std::string text;
  for (const SetAsideFile& file : files) {
    text += printable(file.relativePath) + "  (" + byteCountText(file.byteCount) +
            (file.sha256 ? "" : ", cannot be read") + ")\n";
  }
  return text;
}

std::string setAsideJSON(const SetAsideFiles& files) {
  return jsonText(JSONWriter::Style::prettyPrinted, [&](JSONWriter& writer) {
    writer.beginArray();
    for (const SetAsideFile& file : files) {
      writer.beginObject();
      writer.string("relativePath", file.relativePath);
      writer.integer("byteCount", file.byteCount);
      writer.key("sha256");
      if (file.sha256) {
        writer.string(*file.sha256);
      } else {
        writer.null();
      }
      writer.endObject();
    }
    writer.endArray();
  });
}

std::string noSuchMediaFileText(const std::string& name) {
  return "“" + printable(name) + "” is no media file of this volume. tolvanderctl scan VOLUME lists them.";
}

std::string notSetAsideText(const std::string& name) {
  return "“" + printable(name) + "” is not set aside. tolvanderctl set-aside --list shows what is.";
}

std::string setAsideAdvice() {
  return "To import the card’s other files, set such a file aside: tolvanderctl set-aside VOLUME FILE";
}

}  // namespace tolvander::app
