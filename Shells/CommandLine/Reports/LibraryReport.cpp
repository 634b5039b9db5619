#include "Shells/CommandLine/Reports/LibraryReport.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

using Asset = LibraryReport::Asset;

MediaCounts countsOf(const std::vector<Asset>& assets) {
  return MediaCounts::ofTotal(static_cast<std::int64_t>(assets.size()),
                              std::ranges::count_if(assets, &Asset::isVideo));
}

std::int64_t bytesOf(const std::vector<Asset>& assets) {
  return std::accumulate(assets.begin(), assets.end(), std::int64_t{0},
                         [](std::int64_t sum, const Asset& asset) { return sum + asset.byteCount; });
}

std::string line(const Asset& asset) {
  constexpr std::size_t sizeWidth = 9;
  const std::string size = byteCountText(asset.byteCount);
  const std::string date = asset.creationDate ? iso8601Text(*asset.creationDate) : "without a date      ";
  return date + "  " + std::string(sizeWidth - std::min(sizeWidth, size.size()), ' ') + size + "  " +
         printable(asset.filename) + "  " + printable(asset.file.path()) + "\n";
}

bool isWithin(const Asset& asset, const LibraryReport::Selection& selection) {
  if (!selection.from && !selection.to) {
    return true;
  }
  return asset.creationDate && (!selection.from || *asset.creationDate >= *selection.from) &&
         (!selection.to || *asset.creationDate <= *selection.to);
}

std::string document(const std::function<void(JSONWriter&)>& write) {
  return jsonText(JSONWriter::Style::prettyPrinted, [&](JSONWriter& writer) {
    writer.beginObject();
    write(writer);
    writer.endObject();
  });
}

using Fault = LibraryVerificationReport::Fault;

const FileURL& fileOf(const FileURL& file) { return file; }
const FileURL& fileOf(const Fault& fault) { return fault.file; }

template <typename Entry>
void writeFiles(JSONWriter& writer, std::string_view key, const std::vector<Entry>& entries) {
  writer.key(key);
  writer.beginArray();
  for (const Entry& entry : entries) {
    writer.string(fileOf(entry).path());
  }
  writer.endArray();
}

// What is wrong with a file, and below it what can bring it back.
std::string lines(std::string_view word, const std::vector<Fault>& faults, std::string_view firstStep = {}) {
  std::string text;
  for (const Fault& fault : faults) {
    text += std::string(word) + "  " + printable(fault.file.path()) +
            (fault.reason.empty() ? "" : ": " + printable(fault.reason)) + "\n           " +
            std::string(firstStep) + fault.remedy + "\n";
  }
  return text;
}

// The file is in the way: what lies there counts as the picture until it is moved out.
constexpr std::string_view moveAway = "Move it out of the library first. ";

}  // namespace

void LibraryReport::select(const Selection& selection) {
  std::erase_if(assets, [&](const Asset& asset) { return !isWithin(asset, selection); });
  std::ranges::stable_sort(assets, std::ranges::greater(), &Asset::creationDate);
  if (selection.limit && static_cast<std::int64_t>(assets.size()) > *selection.limit) {
    assets.erase(assets.begin() + static_cast<std::ptrdiff_t>(*selection.limit), assets.end());
  }
}

std::string LibraryReport::text() const {
  const std::string name = "Photo library: " + printable(folder.path()) + "\n";
  if (!exists) {
    return name + "It has not been made yet. The first sync makes it.\n";
  }
  return name + countsOf(assets).description() + ", " + byteCountText(bytesOf(assets)) + ", " +
         counted(static_cast<std::int64_t>(albums.size()), "album", "albums") + "\n";
}

std::string LibraryReport::textOfAssets() const {
  std::string text;
  for (const Asset& asset : assets) {
    text += line(asset);
  }
  return text;
}

std::string LibraryReport::textOfAlbums() const {
  std::string text;
  for (const Album& album : albums) {
    text += "“" + printable(album.title) + "”  " + counted(album.assetCount, "item", "items") + "\n";
  }
  return text;
}

std::string LibraryReport::json() const {
  return document([this](JSONWriter& writer) {
    const MediaCounts counts = countsOf(assets);
    writer.string("folder", folder.path());
    writer.boolean("exists", exists);
    writer.integer("photos", counts.photos);
    writer.integer("videos", counts.videos);
    writer.integer("bytes", bytesOf(assets));
    writer.integer("albums", static_cast<std::int64_t>(albums.size()));
  });
}

std::string LibraryReport::jsonOfAssets() const {
  return document([this](JSONWriter& writer) {
    writer.key("assets");
    writer.beginArray();
    for (const Asset& asset : assets) {
      writer.beginObject();
      writer.string("identifier", asset.identifier);
      writer.key("creationDate");
      if (asset.creationDate) {
        writer.string(iso8601Text(*asset.creationDate));
      } else {
        writer.null();
      }
      writer.string("kind", asset.isVideo ? "video" : "photo");
      writer.integer("byteCount", asset.byteCount);
      writer.string("filename", asset.filename);
      writer.string("file", asset.file.path());
      writer.endObject();
    }
    writer.endArray();
  });
}

std::string LibraryReport::jsonOfAlbums() const {
  return document([this](JSONWriter& writer) {
    writer.key("albums");
    writer.beginArray();
    for (const Album& album : albums) {
      writer.beginObject();
      writer.string("title", album.title);
      writer.integer("assetCount", album.assetCount);
      writer.endObject();
    }
    writer.endArray();
  });
}

std::string LibraryVerificationReport::text() const {
  std::string text = counted(assets, "item", "items") + ", " + counted(originals, "file", "files") + ": " +
                     (isSound() ? "everything is there.\n" : "something is wrong.\n");
  if (comparesSizesOnly) {
    text += "Only sizes were compared.\n";
  }
  if (hashedForTheFirstTime > 0) {
    text += counted(hashedForTheFirstTime, "file was", "files were") +
            " read for the first time: whether it changed before can’t be told.\n";
  }
  for (const std::string& problem : catalogueProblems) {
    text += "catalogue  " + printable(problem) + "\n";
  }
  text += lines("missing  ", missing) + lines("altered  ", changed) + lines("damaged  ", damaged, moveAway) +
          lines("unread   ", unreadable, moveAway);
  for (const FileURL& file : unknown) {
    text += "not ours   " + printable(file.path()) + "\n";
  }
  for (const FileURL& file : unfinished) {
    text += "waiting    " + printable(file.path()) + "\n";
  }
  return text;
}

std::string LibraryVerificationReport::json() const {
  return document([this](JSONWriter& writer) {
    writer.boolean("isSound", isSound());
    writer.integer("assets", assets);
    writer.integer("originals", originals);
    writer.boolean("comparesSizesOnly", comparesSizesOnly);
    writer.integer("hashedForTheFirstTime", hashedForTheFirstTime);
    writer.key("catalogueProblems");
    writer.beginArray();
    for (const std::string& problem : catalogueProblems) {
      writer.string(problem);
    }
    writer.endArray();
    writeFiles(writer, "missing", missing);
    writeFiles(writer, "changed", changed);
    writeFiles(writer, "damaged", damaged);
    writeFiles(writer, "unreadable", unreadable);
    writeFiles(writer, "unfinished", unfinished);
    writeFiles(writer, "unknown", unknown);
    writer.key("faults");
    writer.beginArray();
    for (const std::vector<Fault>* faults : {&missing, &changed, &damaged, &unreadable}) {
      for (const Fault& fault : *faults) {
        writer.beginObject();
        writer.string("file", fault.file.path());
        writer.string("reason", fault.reason);
        writer.string("remedy", fault.remedy);
        writer.endObject();
      }
    }
    writer.endArray();
  });
}

std::string verificationProgressText(std::int64_t originals, std::int64_t bytes, std::int64_t bytesInAll) {
  return "Checking photo library: " + counted(originals, "file", "files") + ", " + byteCountText(bytes) +
         " of " + byteCountText(bytesInAll);
}

std::string noSuchAlbumText(const std::string& title) {
  return "There is no album “" + printable(title) + "”.";
}

}  // namespace tolvander::app
