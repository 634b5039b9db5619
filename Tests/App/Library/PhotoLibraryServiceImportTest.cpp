#include <future>
#include <stdexcept>

#include "Tests/App/Library/PhotoLibraryServiceTest.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaImportError.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;
using Batch = MediaImportTransaction::Batch;
using Creation = ScriptedPhotoLibrary::Creation;
using Steps = std::vector<std::string>;

constexpr Date captured{std::chrono::hours(1000)};

class PhotoLibraryServiceImport : public PhotoLibraryServiceTest {
 protected:
  // A staged file, whose fingerprint is its name.
  PreparedMediaFile prepared(const std::string& stagedName, const std::string& sourceName,
                             std::optional<Date> captureDate = captured) const {
    const FileURL staged = folder.url().appending(sourceName).appending(stagedName);
    writeFile(staged, "content of " + stagedName);
    const FileURL volume = folder / "CARD";
    return {.sourceFile = {.url = volume.appending(sourceName),
                           .volumeURL = volume,
                           .relativePath = sourceName,
                           .filename = sourceName,
                           .byteCount = 1,
                           .modifiedAt = std::nullopt},
            .importURL = staged,
            .sourceFingerprint = stagedName,
            .mediaPayloadFingerprint = std::nullopt,
            .processedFingerprint = stagedName + "-processed",
            .processingVersion = std::nullopt,
            .isStagedCopy = true,
            .captureDate = captureDate};
  }

  PreparedMediaFile picture(const std::string& name) const { return prepared(name, name); }

  std::vector<PreparedMediaFile> pictures(int count) const {
    std::vector<PreparedMediaFile> files;
    for (int number = 1; number <= count; ++number) {
      files.push_back(picture("PICT" + std::to_string(number) + ".JPG"));
    }
    return files;
  }

  static std::string namesOf(const Batch& batch) {
    std::string names;
    for (const PreparedMediaFile& file : batch) {
      names += " " + file.sourceFingerprint;
    }
    return names;
  }

  PhotoImportOutcome import(const std::vector<PreparedMediaFile>& files,
                            const std::optional<std::string>& album = std::nullopt,
                            const CancellationToken& token = {}) {
    library.beforeEachChange([this] { steps.push_back("change"); });
    return service.importFiles(
        files, album,
        [this](const Batch& batch) {
          steps.push_back("begin" + namesOf(batch));
          if (whenBegun) {
            whenBegun();
          }
        },
        [this](const Batch& batch) { steps.push_back("rollback" + namesOf(batch)); },
        [this](const Batch& batch, const MediaImportTransaction::AssetIdentifiers& assets) {
          steps.push_back("record" + namesOf(batch));
          recorded.insert(assets.begin(), assets.end());
          if (whenRecorded) {
            whenRecorded();
          }
        },
        [this](std::int64_t completed, std::int64_t total) {
          steps.push_back(std::to_string(completed) + "/" + std::to_string(total));
          return completed < stopAt;
        },
        token);
  }

  std::vector<std::string> namesInLibrary() {
    std::vector<std::string> names;
    for (const PhotosAsset& asset : library.fetchAssets(PhotosFetchOptions())) {
      names.push_back(library.assetResources(asset).front().originalFilename);
    }
    return names;
  }

  TemporaryFolder folder;
  Steps steps;
  std::map<std::string, std::string> recorded;
  std::function<void()> whenBegun;
  std::function<void()> whenRecorded;
  std::int64_t stopAt = 1000;
};

TEST_F(PhotoLibraryServiceImport, asksNothingWithoutFiles) {
  library.answerAuthorization({PhotosAuthorizationStatus::denied});
  EXPECT_EQ(import({}, "Camera"), PhotoImportOutcome());
  EXPECT_EQ(library.authorizationQuestions(), 0U);
  EXPECT_EQ(steps, Steps());
}

TEST_F(PhotoLibraryServiceImport, needsFullAccess) {
  const auto files = pictures(1);
  expectFullAccessNeeded([&] { import(files, "Camera"); });
  EXPECT_EQ(steps, Steps());
}

TEST_F(PhotoLibraryServiceImport, goesInTransactionsOfFour) {
  const PhotoImportOutcome outcome = import(pictures(9));
  EXPECT_EQ(steps, (Steps{"0/9", "begin PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG", "change",
                          "record PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG", "4/9",
                          "begin PICT5.JPG PICT6.JPG PICT7.JPG PICT8.JPG", "change",
                          "record PICT5.JPG PICT6.JPG PICT7.JPG PICT8.JPG", "8/9", "begin PICT9.JPG",
                          "change", "record PICT9.JPG", "9/9"}));
  EXPECT_EQ(outcome.assetIdentifiers.size(), 9U);
  EXPECT_EQ(outcome.assetIdentifiers, recorded);
  EXPECT_EQ(namesInLibrary().size(), 9U);
}

TEST_F(PhotoLibraryServiceImport, tellsWhichAssetEachFileHasBecome) {
  const PhotoImportOutcome outcome = import(pictures(3));
  for (const auto& [fingerprint, identifier] : outcome.assetIdentifiers) {
    const auto assets = library.fetchAssets(std::vector{identifier});
    ASSERT_EQ(assets.size(), 1U);
    EXPECT_EQ(library.assetResources(assets.front()).front().originalFilename, fingerprint);
  }
}

TEST_F(PhotoLibraryServiceImport, stopsWhereProgressSaysSo) {
  stopAt = 4;
  EXPECT_EQ(import(pictures(9)).assetIdentifiers.size(), 4U);
  EXPECT_EQ(library.changeCount(), 1U);
}

// Which road a file takes, and its date.

TEST_F(PhotoLibraryServiceImport, takesAMovieByTheVideoRoadWhateverItsSource) {
  const std::vector files{prepared("A.MOV", "A.JPG"),
                          prepared("B.mp4", "B.mp4"),
                          prepared("C.Mov", "C.MOV"),
                          prepared("D.JPG", "D.MOV"),
                          prepared("E.avi", "E.heic", captured),
                          prepared("F", "F")};
  import(files);
  const auto creations = library.creations();
  ASSERT_EQ(creations.size(), files.size());
  using enum PhotosMediaType;
  const std::vector expected{video, video, video, image, image, image};
  for (std::size_t index = 0; index < files.size(); ++index) {
    EXPECT_EQ(creations[index],
              (Creation{.mediaType = expected[index], .file = files[index].importURL, .creationDate = {}}));
  }
}

TEST_F(PhotoLibraryServiceImport, givesAnMP4MadeFromAnAVIItsCaptureDate) {
  import({prepared("A.mp4", "A.AVI"), prepared("B.mov", "B.avi")});
  EXPECT_EQ(library.creations().at(0).creationDate, captured);
  EXPECT_EQ(library.creations().at(1).creationDate, captured);
}

TEST_F(PhotoLibraryServiceImport, givesNoDateToAnMP4ThatCameAsOneNorToAPicture) {
  import({prepared("A.mp4", "A.mp4"), picture("B.JPG")});
  EXPECT_EQ(library.creations().at(0).creationDate, std::nullopt);
  EXPECT_EQ(library.creations().at(1).creationDate, std::nullopt);
}

TEST_F(PhotoLibraryServiceImport, givesNoDateWhereNoneIsKnown) {
  import({prepared("A.mp4", "A.AVI", std::nullopt)});
  EXPECT_EQ(library.creations().at(0).creationDate, std::nullopt);
}

// Albums.

TEST_F(PhotoLibraryServiceImport, addsNothingToAnyAlbumWithoutOne) {
  const PhotosAlbum album = library.addAlbum("Camera");
  import(pictures(2));
  import(pictures(2), "");
  import(pictures(2), " \n ");
  EXPECT_TRUE(library.albumAdditions().empty());
  EXPECT_EQ(library.albumAssetFetches(), 0U);
  EXPECT_TRUE(library.members(album.localIdentifier).empty());
  EXPECT_EQ(namesInLibrary().size(), 6U);
}

TEST_F(PhotoLibraryServiceImport, addsToTheAlbumInTheOrderOfTheFiles) {
  const PhotosAlbum album = library.addAlbum("Camera");
  const std::vector files{picture("C.JPG"), picture("A.JPG"), picture("E.JPG"), picture("B.JPG"),
                          picture("D.JPG")};
  const auto assets = import(files, " Camera").assetIdentifiers;
  EXPECT_EQ(library.members(album.localIdentifier),
            (std::vector{assets.at("C.JPG"), assets.at("A.JPG"), assets.at("E.JPG"), assets.at("B.JPG"),
                         assets.at("D.JPG")}));
  EXPECT_EQ(library.albumAdditions().size(), 2U);
  EXPECT_EQ(library.albumAssetFetches(), 2U);  // afresh for each transaction
}

TEST_F(PhotoLibraryServiceImport, makesTheAlbumBeforeAnythingIsImported) {
  import(pictures(1), "Camera");
  EXPECT_EQ(steps, (Steps{"change", "0/1", "begin PICT1.JPG", "change", "record PICT1.JPG", "1/1"}));
  EXPECT_EQ(service.assetIdentifiers("Camera").size(), 1U);
}

TEST_F(PhotoLibraryServiceImport, importsNothingWhereTheAlbumCannotBeMade) {
  library.refuseAlbumCreation();
  expectFailure(Case::albumCouldNotBeCreated, [&] { import(pictures(1), "Camera"); });
  EXPECT_EQ(steps, Steps{"change"});
  EXPECT_TRUE(library.creations().empty());
}

TEST_F(PhotoLibraryServiceImport, importsAlthoughTheLibraryRefusesToChangeTheAlbum) {
  library.addAlbum("Camera");
  library.refuseAlbumChanges();
  EXPECT_EQ(import(pictures(2), "Camera").assetIdentifiers.size(), 2U);
  EXPECT_TRUE(library.albumAdditions().empty());
}

TEST_F(PhotoLibraryServiceImport, asksForNoAlbumChangeWithoutAPlaceholder) {
  library.addAlbum("Camera");
  library.refuseFile("PICT1.JPG");
  EXPECT_THROW(import(pictures(1), "Camera"), MediaImportError);
  EXPECT_TRUE(library.albumAdditions().empty());
}

// Files that the library doesn't take.

TEST_F(PhotoLibraryServiceImport, recordsTheRestWhereTheLibraryRefusesAFile) {
  const PhotosAlbum album = library.addAlbum("Camera");
  library.refuseFile("PICT2.JPG");
  EXPECT_THROW(import(pictures(5), "Camera"), MediaImportError);
  EXPECT_EQ(steps, (Steps{"0/5", "begin PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG", "change",
                          "record PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG"}));
  EXPECT_EQ(recorded.size(), 3U);
  EXPECT_FALSE(recorded.contains("PICT2.JPG"));
  EXPECT_EQ(library.members(album.localIdentifier).size(), 3U);
}

TEST_F(PhotoLibraryServiceImport, doesNotCountAFileWithoutAPlaceholder) {
  library.withholdPlaceholder("PICT1.JPG");
  EXPECT_THROW(import(pictures(2)), MediaImportError);
  EXPECT_FALSE(recorded.contains("PICT1.JPG"));
  EXPECT_EQ(recorded.size(), 1U);
}

// Failures of a change.

TEST_F(PhotoLibraryServiceImport, takesTheMarksBackAfterADefiniteFailure) {
  library.endNextChange({.success = false,
                         .error = std::make_exception_ptr(PhotosPlatformError(
                             PhotosPlatformError::Case::notEnoughSpace, "no space is left")),
                         .isApplied = false});
  EXPECT_THROW(import(pictures(5)), PhotosPlatformError);
  EXPECT_EQ(steps, (Steps{"0/5", "begin PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG", "change",
                          "rollback PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG"}));
}

TEST_F(PhotoLibraryServiceImport, takesTheMarksBackAfterAFailureWithoutAnError) {
  library.endNextChange({.success = false, .isApplied = false});
  expectFailure(Case::changeFailed, [&] { import(pictures(1)); });
  EXPECT_EQ(steps.back(), "rollback PICT1.JPG");
}

TEST_F(PhotoLibraryServiceImport, takesTheMarksBackWhereTheAlbumCannotBeRead) {
  library.addAlbum("Camera");
  library.failAlbumAssetFetches();
  EXPECT_THROW(import(pictures(1), "Camera"), PhotosPlatformError);
  EXPECT_EQ(steps, (Steps{"0/1", "begin PICT1.JPG", "rollback PICT1.JPG"}));
  EXPECT_EQ(library.changeCount(), 0U);
}

TEST_F(PhotoLibraryServiceImport, keepsTheMarksWhenTheResultIsUncertain) {
  library.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  expectFailure(Case::inconsistentChangeResult, [&] { import(pictures(1)); });
  EXPECT_EQ(steps, (Steps{"0/1", "begin PICT1.JPG", "change"}));
}

TEST_F(PhotoLibraryServiceImport, believesTheFirstCompletion) {
  library.endNextChange({.extraCompletions = 3});
  EXPECT_EQ(import(pictures(1)).assetIdentifiers.size(), 1U);
  library.endNextChange({.success = false, .isApplied = false, .extraCompletions = 1});
  expectFailure(Case::changeFailed, [&] { import(pictures(1)); });
}

TEST_F(PhotoLibraryServiceImport, takesTheMarksBackWhenCancelledBeforeTheChange) {
  CancellationSource source;
  whenBegun = [&] { source.cancel(); };
  EXPECT_THROW(import(pictures(5), std::nullopt, source.token()), CancellationError);
  EXPECT_EQ(steps, (Steps{"0/5", "begin PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG",
                          "rollback PICT1.JPG PICT2.JPG PICT3.JPG PICT4.JPG"}));
  EXPECT_EQ(library.changeCount(), 0U);
}

TEST_F(PhotoLibraryServiceImport, finishesABatchThatIsCancelledDuringItsChange) {
  CancellationSource source;
  whenRecorded = [&] { source.cancel(); };
  EXPECT_THROW(import(pictures(5), std::nullopt, source.token()), CancellationError);
  EXPECT_EQ(recorded.size(), 4U);
  EXPECT_EQ(steps.back(), "4/5");
}

TEST_F(PhotoLibraryServiceImport, takesTheMarksBackWhenAccessEndsMidway) {
  whenBegun = [&] { library.answerAuthorization({PhotosAuthorizationStatus::limited}); };
  expectFailure(Case::accessDenied, [&] { import(pictures(1)); });
  EXPECT_EQ(steps.back(), "rollback PICT1.JPG");
  EXPECT_EQ(library.changeCount(), 0U);
}

TEST_F(PhotoLibraryServiceImport, keepsItsTurnUntilItsEnd) {
  library.addAlbum("Camera");
  std::promise<void> started;
  std::future<std::vector<std::string>> names;
  bool cameBetween = false;
  whenBegun = [&] {
    if (!names.valid()) {
      names = std::async(std::launch::async, [&] {
        started.set_value();
        return service.albumNames();
      });
      started.get_future().wait();
    }
  };
  whenRecorded = [&] {
    cameBetween = cameBetween || names.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  import(pictures(12), "Camera");
  EXPECT_FALSE(cameBetween);
  EXPECT_EQ(names.get(), std::vector<std::string>{"Camera"});
}

}  // namespace
}  // namespace tolvander::tests
