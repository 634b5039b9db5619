#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"

#include <algorithm>
#include <utility>

namespace tolvander::platform::linux_ {

CatalogueContents contentsOf(Catalogue& catalogue) {
  CatalogueContents contents;
  catalogue.forEachAsset(
      [&](const app::PhotosAsset& asset, const std::vector<CataloguedResource>& originals) {
        for (const CataloguedResource& original : originals) {
          contents.items.push_back({asset, original});
        }
        return true;
      });
  std::ranges::sort(
      contents.items, {}, [](const auto& item) -> const auto& { return item.original.path; });
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
