#include "Tests/Support/Application/SyncedHome.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {

using platform::linux_::EmbeddedPhotoLibrary;
using platform::linux_::ListedAsset;

HistoryDatabase SyncedHome::history() const {
  return std::filesystem::exists(historyFile().path()) ? readHistory(historyFile()) : HistoryDatabase();
}

std::multiset<std::string> SyncedHome::pictures() const {
  EmbeddedPhotoLibrary library(libraryFolder());
  std::multiset<std::string> found;
  library.forEachAsset([&](const ListedAsset& asset) {
    for (const auto& original : asset.originals) {
      found.insert(FileFingerprinter::sha256(original.file));
    }
    return true;
  });
  return found;
}

void SyncedHome::expectToBeTrue() const {
  EmbeddedPhotoLibrary library(libraryFolder());
  const auto verification = library.verify();
  EXPECT_TRUE(verification.isSound());
  EXPECT_EQ(verification.unknown, std::vector<FileURL>());
  EXPECT_EQ(verification.unfinished, std::vector<FileURL>());

  const HistoryDatabase database = history();
  std::set<std::string> assets;
  for (const ImportRecord& record : database.imports) {
    EXPECT_FALSE(database.pendingImports.contains(record.sourceFingerprint)) << record.relativePath;
    ASSERT_TRUE(record.photosAssetIdentifier.has_value()) << record.relativePath;
    EXPECT_TRUE(assets.insert(*record.photosAssetIdentifier).second)
        << record.relativePath << " has the item of another file";
  }
  EXPECT_EQ(library.fetchAssets(std::vector(assets.begin(), assets.end())).size(), assets.size())
      << "a record names what isn't there";
}

void SyncedHome::expectEachOnce(const std::vector<FileURL>& cameraFiles) const {
  expectToBeTrue();
  const HistoryDatabase database = history();
  EXPECT_TRUE(database.pendingImports.empty());
  std::set<std::string> sources;
  for (const FileURL& file : cameraFiles) {
    sources.insert(FileFingerprinter::sha256(file));
  }
  std::set<std::string> recordedSources;
  std::multiset<std::string> recordedPictures;
  for (const ImportRecord& record : database.imports) {
    recordedSources.insert(record.sourceFingerprint);
    recordedPictures.insert(record.processedFingerprint.value_or("none"));
  }
  EXPECT_EQ(recordedSources, sources);
  EXPECT_EQ(pictures(), recordedPictures);
}

}  // namespace tolvander::tests
