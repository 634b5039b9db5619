#include "Shells/CommandLine/Reports/RebuildReport.h"

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

namespace {

std::string sentence(std::int64_t count, std::string_view one, std::string_view many, std::string_view rest) {
  return count > 0 ? " " + counted(count, one, many) + std::string(rest) : "";
}

// What the new catalogue has, in one paragraph without a line end.
std::string contentText(const RebuildReport& report) {
  return counted(report.items, "item", "items") + ": " + counted(report.known, "known", "known") + ", " +
         counted(report.added, "new", "new") + "." +
         sentence(report.moved, "item was", "items were", " found in another place.") +
         sentence(report.dropped, "item is", "items are", " gone: no file has that content any more.") +
         sentence(report.leftOut, "picture is", "pictures are",
                  " left out, because another has the same name in upper or lower case.") +
         sentence(report.waiting, "file waits", "files wait", " for the next sync.") +
         (report.source ? " Dates and albums are those of " + printable(report.source->path()) : "");
}

void writeOptional(JSONWriter& writer, std::string_view key, const std::optional<FileURL>& file) {
  writer.key(key);
  if (file) {
    writer.string(file->path());
  } else {
    writer.null();
  }
}

}  // namespace

std::string RebuildReport::text() const {
  if (!isDone) {
    return contentText(*this) + "\nThe catalogue already says this: nothing was changed.\n";
  }
  return contentText(*this) + "\nThe catalogue was made anew.\n" +
         (formerCatalogue ? "The one that was there is now " + printable(formerCatalogue->path()) + "\n"
                          : "");
}

std::string RebuildReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.string("folder", folder.path());
    writer.boolean("isNeeded", isNeeded);
    writer.integer("items", items);
    writer.integer("known", known);
    writer.integer("added", added);
    writer.integer("moved", moved);
    writer.integer("dropped", dropped);
    writer.integer("leftOut", leftOut);
    writer.integer("waiting", waiting);
    writeOptional(writer, "source", source);
    writer.boolean("hasCatalogue", hasCatalogue);
    writer.boolean("isDone", isDone);
    writeOptional(writer, "formerCatalogue", formerCatalogue);
    writer.endObject();
  });
}

Alert rebuildQuestion(const RebuildReport& report) {
  return {.style = Alert::Style::warning,
          .message = "Make the catalogue of the photo library in “" + report.folder.path() + "” anew?",
          .informativeText =
              contentText(report) + "\n" +
              (report.hasCatalogue ? "The catalogue that is there is kept under another name. " : "") +
              "Pictures are not changed.",
          .buttons = {"Make Catalogue Anew", "Cancel"}};
}

}  // namespace tolvander::app
