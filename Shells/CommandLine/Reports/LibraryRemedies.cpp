#include "Shells/CommandLine/Reports/LibraryRemedies.h"

#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::app {

LibraryRemedies::LibraryRemedies(const ImportRecords& records,
                                 const std::vector<ManagedTrashRecord>& trashed) {
  for (const ImportRecord& record : records) {
    if (!record.photosAssetIdentifier) {
      continue;
    }
    sources_.emplace(*record.photosAssetIdentifier, record.filename);
    if (record.isContentConfirmed() && record.processedFingerprint) {
      contents_.emplace(*record.photosAssetIdentifier, *record.processedFingerprint);
    }
  }
  for (const ManagedTrashRecord& record : trashed) {
    if (record.photosAssetIdentifier) {
      trashed_.emplace(*record.photosAssetIdentifier, record);
    }
  }
}

std::string LibraryRemedies::of(const std::string& assetIdentifier) const {
  const auto trashed = trashed_.find(assetIdentifier);
  if (trashed != trashed_.end()) {
    const std::string name = printable(trashed->second.originalFilename);
    return "“" + name + "” is in the Trash of “" + printable(trashed->second.volumeName) +
           "”: tolvanderctl trash restore, then tolvanderctl restore with that camera.";
  }
  const auto source = sources_.find(assetIdentifier);
  if (source != sources_.end()) {
    return "“" + printable(source->second) +
           "” brings it back if it is still on the camera: tolvanderctl restore with that camera.";
  }
  return "Nothing that Tolvander knows of can bring it back; a backup of your own may.";
}

}  // namespace tolvander::app
