#pragma once

#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"

namespace tolvander::platform::linux_ {

// All that a catalogue says, as a value. For assets of one original each, which is what this program makes.
struct CatalogueContents {
  struct Item {
    app::PhotosAsset asset;
    CataloguedResource original;

    friend bool operator==(const Item&, const Item&) = default;
  };
  struct Album {
    app::PhotosAlbum album;
    std::vector<std::string> assets;  // identifiers, in the order in which they were added

    friend bool operator==(const Album&, const Album&) = default;
  };

  std::vector<Item> items;      // by path
  std::vector<Album> albums;    // the oldest first
  std::vector<Intent> intents;  // by the identifiers of their assets

  bool isEmpty() const { return items.empty() && albums.empty() && intents.empty(); }

  friend bool operator==(const CatalogueContents&, const CatalogueContents&) = default;
};

// Adds the items and albums of another catalogue that this one doesn't have. An item is the same by the
// identifier of its asset, its path or its content, an album by its identifier.
void addMissing(CatalogueContents& contents, const CatalogueContents& other);

// Throws DatabaseError. An asset of several originals becomes an item for each.
CatalogueContents contentsOf(Catalogue& catalogue);

// Fills a catalogue in which nothing is yet, in one transaction. Throws DatabaseError.
void fill(Catalogue& catalogue, const CatalogueContents& contents);

}  // namespace tolvander::platform::linux_
