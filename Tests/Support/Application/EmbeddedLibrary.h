#pragma once

#include <future>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Tests/Support/Application/PhotoLibraryCalls.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

using platform::linux_::EmbeddedPhotoLibrary;

inline app::PhotosAuthorizationStatus requestAndWait(app::PhotoLibrary& library) {
  std::promise<app::PhotosAuthorizationStatus> answer;
  library.requestAuthorization([&](app::PhotosAuthorizationStatus status) { answer.set_value(status); });
  return answer.get_future().get();
}

// Asks for pictures of these files, and puts them into the album where there is one.
inline ChangeResult importPictures(app::PhotoLibrary& library, const std::vector<FileURL>& files,
                                   const std::optional<app::PhotosAlbum>& album = std::nullopt) {
  return changeAndWait(library, [&](app::PhotosChanges& changes) {
    std::vector<std::string> placeholders;
    for (const FileURL& file : files) {
      app::PhotosAssetCreationRequest* request = changes.creationRequestForAssetFromImage(file);
      if (request != nullptr) {
        request->setCreationDate(day(0));
        placeholders.push_back(request->placeholderForCreatedAsset().value_or(""));
      }
    }
    if (album) {
      app::PhotosAlbumChangeRequest* request = changes.changeRequest(*album, {});
      if (request != nullptr) {
        request->addAssets(placeholders);
      }
    }
  });
}

// Every original that the library lists, by its path.
inline std::vector<std::string> listedFiles(EmbeddedPhotoLibrary& library) {
  std::vector<std::string> files;
  library.forEachAsset([&](const platform::linux_::ListedAsset& asset) {
    for (const auto& original : asset.originals) {
      files.push_back(original.file.path());
    }
    return true;
  });
  return files;
}

}  // namespace tolvander::tests
