#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Trash/FreedesktopTrash.h"
#include "Tests/Support/Doubles/WatchedTrash.h"
#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A volume with camera files that are all in the library, and the service that moves them to its Trash.
struct TrashScene {
  // `top` is the volume's top folder; it is made where it is missing.
  explicit TrashScene(FileURL top);

  // Writes a camera file and fingerprints it.
  FingerprintedMediaFile addPhoto(const std::string& name, std::string_view content);

  app::TrashMoveResult move(const std::vector<FingerprintedMediaFile>& files,
                            const CancellationToken& token = {}) const;

  // The record of a file that is moved without trouble.
  ManagedTrashRecord moved(const FingerprintedMediaFile& file) const;

  // Moves a photo to the Trash as a file manager does, which is the user's own doing.
  void moveAsAnotherProgramDoes(const std::string& name);

  FileURL inTrash(std::string_view name) const { return trash.appending(name); }
  FileURL infoOf(const std::string& name) const;

  FileURL volume;
  FileURL camera;  // the folder of the photos
  FileURL trash;   // where the items in the Trash lie
  platform::linux_::FreedesktopTrash platform;
  WatchedTrash watched{platform};
  app::TrashService service{watched, macOS.trashTitle};
  std::map<std::string, std::string> assets;  // from source fingerprint
  std::vector<TrashIntent> intents;           // of moves, those withdrawn left out
  app::TrashIntentLog intentLog{
      .begin = [this](const TrashIntent& intent) { intents.push_back(intent); },
      .withdraw =
          [this](const UUID& id) {
            std::erase_if(intents, [&](const TrashIntent& intent) { return intent.id == id; });
          }};
};

// For files whose copy in the library is beyond doubt.
inline bool isProven(const ManagedTrashRecord&, const CancellationToken&) { return true; }

bool exists(const FileURL& url);  // anything of that name, a broken link among it
void renameFile(const FileURL& from, const FileURL& to);
std::uint64_t inodeOf(const FileURL& url);
std::vector<std::string> namesIn(const FileURL& folder);  // sorted; none where there is no folder

}  // namespace tolvander::tests
