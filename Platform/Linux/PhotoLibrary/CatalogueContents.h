#pragma once

#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"

namespace tolvander::platform::linux_ {

// The contents of a catalogue as a value. For assets with one original each, which is all that this program
// creates.
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
  std::vector<Album> albums;    // oldest first
  std::vector<Intent> intents;  // by the identifiers of their assets

  bool isEmpty() const { return items.empty() && albums.empty() && intents.empty(); }

  friend bool operator==(const CatalogueContents&, const CatalogueContents&) = default;
};

// Adds the items and albums of another catalogue that this one doesn't have. Items are the same if they have
// the same asset identifier, path or content; albums, if they have the same identifier.
void addMissing(CatalogueContents& contents, const CatalogueContents& other);

// Reads the contents of a catalogue. An asset with several originals becomes an item for each. Throws
// DatabaseError.
CatalogueContents contentsOf(Catalogue& catalogue);

// Inserts the contents into an empty catalogue, in one transaction. Throws DatabaseError.
void fill(Catalogue& catalogue, const CatalogueContents& contents);

}  // namespace tolvander::platform::linux_
