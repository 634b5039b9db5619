#include "Platform/Linux/PhotoLibrary/RebuiltContents.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/Linux/PhotoLibrary/FileSignature.h"
#include "Platform/Linux/PhotoLibrary/OriginalNames.h"
#include "Platform/Linux/PhotoLibrary/OriginalProperties.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::platform::linux_ {

using app::PhotosMediaType;
using app::PhotosPlatformError;
using app::PhotosResourceType;

namespace {

// All values of one key.
template <typename Value>
std::vector<Value> valuesOf(const std::multimap<std::string, Value>& map, const std::string& key) {
  const auto [first, last] = map.equal_range(key);
  std::vector<Value> values;
  for (auto entry = first; entry != last; ++entry) {
    values.push_back(entry->second);
  }
  return values;
}

bool hasContent(const CataloguedResource& original, const std::string& sha256) {
  return original.content && original.content->sha256 == sha256;
}

void addOnce(std::vector<std::string>& identifiers, const std::string& identifier) {
  if (std::ranges::find(identifiers, identifier) == identifiers.end()) {
    identifiers.push_back(identifier);
  }
}

// The keys of the paths. Throws unless they are all different, as a catalogue requires.
std::set<std::string> requireDifferentKeys(const std::map<std::string, std::string>& identifiersByPath) {
  std::map<std::string, std::string> paths;
  std::set<std::string> keys;
  for (const auto& [path, identifier] : identifiersByPath) {
    const auto [other, isNew] = paths.emplace(originalNameKey(path), path);
    if (!isNew) {
      throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                                "the names of “" + other->second + "” and “" + path +
                                    "” differ in upper and lower case alone: rename one of them");
    }
    keys.insert(other->first);
  }
  return keys;
}

PhotosResourceType resourceType(PhotosMediaType type) {
  return type == PhotosMediaType::video ? PhotosResourceType::video : PhotosResourceType::photo;
}

}  // namespace

RebuiltContents::RebuiltContents(const LibraryFolder& folder, const CatalogueContents& former,
                                 const KnownImports& imports)
    : folder_(&folder), former_(&former), imports_(&imports) {
  for (const Item& item : former.items) {
    formerByPath_.emplace(item.original.path, &item);
    if (item.original.content) {
      formerByContent_.emplace(item.original.content->sha256, &item);
    }
  }
  for (const Intent& intent : former.intents) {
    if (intent.original.content) {
      intentsByContent_.emplace(intent.original.content->sha256, &intent);
    }
  }
}

CatalogueContents RebuiltContents::make(const std::vector<FoundOriginal>& originals,
                                        const std::vector<FoundOriginal>& incoming) {
  CatalogueContents contents;
  contents.intents = formerIntents(incoming);
  assignKnownIdentifiers(originals);
  assignNewIdentifiers(originals, contents.intents);
  for (const FoundOriginal& file : originals) {
    const auto identifier = identifiers_.find(file.path);
    if (identifier != identifiers_.end()) {
      contents.items.push_back(itemFor(file, identifier->second));
    }
  }
  contents.albums = albums();
  std::ranges::move(intentsOfMarked(incoming), std::back_inserter(contents.intents));
  std::ranges::sort(
      contents.intents, {}, [](const Intent& intent) -> const auto& { return intent.asset.localIdentifier; });
  counts_.waiting = static_cast<std::int64_t>(contents.intents.size());
  count(originals);
  return contents;
}

void RebuiltContents::assign(const FoundOriginal& file, const std::string& identifier) {
  const bool isFree = !identifiers_.contains(file.path) && used_.insert(identifier).second;
  if (isFree) {
    identifiers_.emplace(file.path, identifier);
  }
}

void RebuiltContents::assignKnownIdentifiers(const std::vector<FoundOriginal>& originals) {
  for (const FoundOriginal& file : originals) {
    const Item* former = formerAtPathOf(file);
    if (former != nullptr && isOfHistory(file, former->asset.localIdentifier)) {
      assign(file, former->asset.localIdentifier);
    }
  }
  for (const FoundOriginal& file : originals) {
    for (const KnownImports::Import& import : valuesOf(imports_->imports, file.sha256)) {
      assign(file, import.assetIdentifier);
    }
  }
  for (const FoundOriginal& file : originals) {
    if (const Item* former = formerAtPathOf(file)) {
      assign(file, former->asset.localIdentifier);
    }
  }
  for (const FoundOriginal& file : originals) {
    for (const Item* former : valuesOf(formerByContent_, file.sha256)) {
      assign(file, former->asset.localIdentifier);
    }
    for (const Intent* intent : valuesOf(intentsByContent_, file.sha256)) {
      assign(file, intent->asset.localIdentifier);
    }
  }
  counts_.known = static_cast<std::int64_t>(identifiers_.size());
}

void RebuiltContents::assignNewIdentifiers(const std::vector<FoundOriginal>& originals,
                                           const std::vector<Intent>& intents) {
  std::set<std::string> taken = requireDifferentKeys(identifiers_);
  std::set<std::string> meant;
  for (const Intent& intent : intents) {
    meant.insert(originalNameKey(intent.original.path));
  }
  for (const FoundOriginal& file : originals) {
    const std::string key = originalNameKey(file.path);
    const bool isNew = !identifiers_.contains(file.path) && !meant.contains(key) &&
                       mediaTypeByExtension(folder_->url().appending(file.path));
    if (isNew && taken.insert(key).second) {
      assign(file, UUID::random().text());
      ++counts_.added;
    } else if (isNew) {
      ++counts_.leftOut;
    }
  }
}

bool RebuiltContents::isOfHistory(const FoundOriginal& file, const std::string& identifier) const {
  return std::ranges::any_of(
      valuesOf(imports_->imports, file.sha256),
      [&](const KnownImports::Import& import) { return import.assetIdentifier == identifier; });
}

// If it was never hashed, only its size is compared.
const RebuiltContents::Item* RebuiltContents::formerAtPathOf(const FoundOriginal& file) const {
  const auto former = formerByPath_.find(file.path);
  if (former == formerByPath_.end()) {
    return nullptr;
  }
  const CataloguedResource& original = former->second->original;
  const bool isSame =
      original.content ? hasContent(original, file.sha256) : original.byteCount == file.byteCount;
  return isSame ? former->second : nullptr;
}

// The former catalogue's entry for this asset with this content.
const RebuiltContents::Item* RebuiltContents::formerItem(const FoundOriginal& file,
                                                         const std::string& identifier) const {
  const Item* atPath = formerAtPathOf(file);
  if (atPath != nullptr && atPath->asset.localIdentifier == identifier) {
    return atPath;
  }
  for (const Item* former : valuesOf(formerByContent_, file.sha256)) {
    if (former->asset.localIdentifier == identifier) {
      return former;
    }
  }
  return nullptr;
}

RebuiltContents::Item RebuiltContents::itemFor(const FoundOriginal& file,
                                               const std::string& identifier) const {
  const CataloguedContent content{.sha256 = file.sha256, .modified = file.modified};
  if (const Item* former = formerItem(file, identifier)) {
    return {.asset = former->asset,
            .original = {.type = former->original.type,
                         .originalFilename = former->original.originalFilename,
                         .path = file.path,
                         .byteCount = file.byteCount,
                         .content = content}};
  }
  Item item = itemFromFile(file, identifier);
  item.original.content = content;
  for (const Intent* intent : valuesOf(intentsByContent_, file.sha256)) {
    if (intent->asset.localIdentifier == identifier) {
      item.asset = intent->asset;
      item.original.originalFilename = intent->original.originalFilename;
    }
  }
  return item;
}

RebuiltContents::Item RebuiltContents::itemFromFile(const FoundOriginal& file,
                                                    const std::string& identifier) const {
  const FileURL url = folder_->url().appending(file.path);
  const PhotosMediaType type = mediaTypeByExtension(url).value_or(PhotosMediaType::image);
  const OriginalProperties properties = originalProperties(url, type, TimeZone::current());
  return {.asset = {.localIdentifier = identifier,
                    .creationDate = properties.creationDate.value_or(file.modified),
                    .mediaType = type,
                    .pixelWidth = properties.pixelWidth,
                    .pixelHeight = properties.pixelHeight,
                    .duration = properties.duration},
          .original = {.type = resourceType(type),
                       .originalFilename = filenameOf(file, identifier),
                       .path = file.path,
                       .byteCount = file.byteCount}};
}

// The name of the camera file, with the extension of the imported file.
std::string RebuiltContents::filenameOf(const FoundOriginal& file, const std::string& identifier) const {
  const FileURL url = folder_->url().appending(file.path);
  for (const KnownImports::Import& import : valuesOf(imports_->imports, file.sha256)) {
    if (import.assetIdentifier == identifier && !import.filename.empty()) {
      const FileURL camera = FileURL("/").appending(import.filename);
      return lowercased(camera.pathExtension()) == lowercased(url.pathExtension())
                 ? import.filename
                 : std::string(camera.stem()) + "." + std::string(url.pathExtension());
    }
  }
  return std::string(url.lastPathComponent());
}

std::vector<CatalogueContents::Album> RebuiltContents::albums() const {
  std::vector<CatalogueContents::Album> albums = former_->albums;
  for (CatalogueContents::Album& album : albums) {
    std::erase_if(album.assets, [this](const std::string& asset) { return !used_.contains(asset); });
    for (const Intent& intent : former_->intents) {
      if (intent.album == album.album.localIdentifier && used_.contains(intent.asset.localIdentifier)) {
        addOnce(album.assets, intent.asset.localIdentifier);
      }
    }
  }
  return albums;
}

std::vector<Intent> RebuiltContents::formerIntents(const std::vector<FoundOriginal>& incoming) const {
  std::set<std::string_view> names;
  for (const FoundOriginal& file : incoming) {
    names.insert(nameIn(file.path));
  }
  std::vector<Intent> intents = former_->intents;
  std::erase_if(intents, [&](const Intent& intent) { return !names.contains(intent.temporaryName); });
  return intents;
}

// Intents for marked incoming files that no former intent names. If an original has the content, completing
// removes the incoming file.
std::vector<Intent> RebuiltContents::intentsOfMarked(const std::vector<FoundOriginal>& incoming) const {
  std::map<std::string_view, const FoundOriginal*> unnamed;
  for (const FoundOriginal& file : incoming) {
    unnamed.emplace(nameIn(file.path), &file);
  }
  for (const Intent& intent : former_->intents) {
    unnamed.erase(intent.temporaryName);
  }
  std::vector<Intent> intents;
  std::set<std::string_view> held;
  for (const auto& [name, file] : unnamed) {
    if (imports_->pendingFingerprints.contains(file->sha256) && held.insert(file->sha256).second) {
      intents.push_back(intentFor(*file));
    }
  }
  return intents;
}

// The history has no names of files that are only marked.
Intent RebuiltContents::intentFor(const FoundOriginal& incoming) const {
  const FileURL url = folder_->url().appending(incoming.path);
  const std::string filename = "Recovered." + extensionByContent(url);
  const bool isFilm = isVideoExtension(FileURL("/").appending(filename).pathExtension());
  const PhotosMediaType type = isFilm ? PhotosMediaType::video : PhotosMediaType::image;
  const TimeZone zone = TimeZone::current();
  const OriginalProperties properties = originalProperties(url, type, zone);
  const Date created = properties.creationDate.value_or(incoming.modified);
  return {
      .history = imports_->history.text(),
      .temporaryName = std::string(nameIn(incoming.path)),
      .isMarked = true,
      .album = std::nullopt,
      .asset = {.localIdentifier = UUID::random().text(),
                .creationDate = created,
                .mediaType = type,
                .pixelWidth = properties.pixelWidth,
                .pixelHeight = properties.pixelHeight,
                .duration = properties.duration},
      .original = {.type = resourceType(type),
                   .originalFilename = filename,
                   .path = folderOfDay(created, zone) + "/" + filename,
                   .byteCount = incoming.byteCount,
                   .content = CataloguedContent{.sha256 = incoming.sha256, .modified = incoming.modified}}};
}

void RebuiltContents::count(const std::vector<FoundOriginal>& originals) {
  for (const FoundOriginal& file : originals) {
    const auto identifier = identifiers_.find(file.path);
    const Item* former = identifier != identifiers_.end() ? formerItem(file, identifier->second) : nullptr;
    counts_.moved += former != nullptr && former->original.path != file.path ? 1 : 0;
  }
  counts_.dropped = std::ranges::count_if(
      former_->items, [this](const Item& item) { return !used_.contains(item.asset.localIdentifier); });
}

}  // namespace tolvander::platform::linux_
