#include "Shells/CommandLine/Reports/LibraryRemedies.h"

#include <gtest/gtest.h>

namespace tolvander::app {
namespace {

ImportRecord imported(const std::string& asset) {
  ImportRecord record;
  record.sourceFingerprint = "source of " + asset;
  record.filename = "PICT0001.JPG";
  record.photosAssetIdentifier = asset;
  return record;
}

TEST(LibraryRemedies, sendToTheTrashWhereTheFileLiesThere) {
  ManagedTrashRecord trashed;
  trashed.originalFilename = "PICT0001.JPG";
  trashed.volumeName = "CHARMERA";
  trashed.photosAssetIdentifier = "a";
  const LibraryRemedies remedies(ImportRecords({imported("a")}), {trashed});
  EXPECT_EQ(
      remedies.of("a"),
      "“PICT0001.JPG” is in the Trash of “CHARMERA”: tolvanderctl trash restore, then tolvanderctl restore "
      "with that camera.");
}

TEST(LibraryRemedies, sendToTheCameraThatTheFileCameFrom) {
  const LibraryRemedies remedies(ImportRecords({imported("a")}), {});
  EXPECT_EQ(
      remedies.of("a"),
      "“PICT0001.JPG” brings it back if it is still on the camera: tolvanderctl restore with that camera.");
}

TEST(LibraryRemedies, sayWhereNothingIsKnown) {
  const LibraryRemedies remedies(ImportRecords({imported("a")}), {});
  EXPECT_EQ(remedies.of("b"), "Nothing that Tolvander knows of can bring it back; a backup of your own may.");
}

TEST(LibraryRemedies, knowTheContentOfWhatWasConfirmedByItsContent) {
  ImportRecord altered = imported("a");
  altered.processedFingerprint = "content";
  ImportRecord guessed = imported("b");
  guessed.processedFingerprint = "content";
  guessed.evidence = ImportEvidence::metadataOnly;
  const LibraryRemedies remedies(ImportRecords({altered, guessed, imported("c")}), {});
  EXPECT_EQ(remedies.contents(), (std::map<std::string, std::string>{{"a", "content"}}));
}

}  // namespace
}  // namespace tolvander::app
