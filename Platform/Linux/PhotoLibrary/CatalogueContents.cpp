#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace tolvander::platform::linux_ {

namespace {

using Item = CatalogueContents::Item;
using Album = CatalogueContents::Album;

// What tells it from others: none of these can be the identifier, the path or the hash of another item.
std::vector<std::string> namesOf(const Item& item) {
  std::vector<std::string> names = {item.asset.localIdentifier, item.original.path};
  if (item.original.content) {
    names.push_back(item.original.content->sha256);
  }
  return names;
}

void sortByPath(std::vector<Item>& items) {
  std::ranges::sort(
      items, {}, [](const Item& item) -> const auto& { return item.original.path; });
}

}  // namespace

void addMissing(CatalogueContents& contents, const CatalogueContents& other) {
  std::set<std::string> known;
  for (const Item& item : contents.items) {
    std::ranges::copy(namesOf(item), std::inserter(known, known.end()));
  }
  std::ranges::copy_if(other.items, std::back_inserter(contents.items), [&](const Item& item) {
    return std::ranges::none_of(namesOf(item), [&](const std::string& name) { return known.contains(name); });
  });
  sortByPath(contents.items);
  std::set<std::string> albums;
  for (const Album& album : contents.albums) {
    albums.insert(album.album.localIdentifier);
  }
  std::ranges::copy_if(other.albums, std::back_inserter(contents.albums),
                       [&](const Album& album) { return !albums.contains(album.album.localIdentifier); });
}

CatalogueContents contentsOf(Catalogue& catalogue) {
  CatalogueContents contents;
  catalogue.forEachAsset(
      [&](const app::PhotosAsset& asset, const std::vector<CataloguedResource>& originals) {
        for (const CataloguedResource& original : originals) {
          contents.items.push_back({asset, original});
        }
        return true;
      });
  sortByPath(contents.items);
  const auto isThere = [](const std::string&, std::int64_t) { return true; };
  for (app::PhotosAlbum& album : catalogue.albums(std::nullopt)) {
    std::vector<std::string> assets;
    for (app::PhotosAsset& asset : catalogue.assetsOfAlbum(album.localIdentifier, isThere)) {
      assets.push_back(std::move(asset.localIdentifier));
    }
    contents.albums.push_back({std::move(album), std::move(assets)});
  }
  contents.intents = catalogue.intents();
  return contents;
}

void fill(Catalogue& catalogue, const CatalogueContents& contents) {
  Transaction transaction = catalogue.change();
  for (const CatalogueContents::Item& item : contents.items) {
    catalogue.insertAsset(item.asset, item.original);
  }
  for (const CatalogueContents::Album& album : contents.albums) {
    catalogue.insertAlbum(album.album);
    catalogue.addToAlbum(album.album.localIdentifier, album.assets);
  }
  for (const Intent& intent : contents.intents) {
    catalogue.insertIntent(intent);
  }
  transaction.commit();
}

}  // namespace tolvander::platform::linux_
