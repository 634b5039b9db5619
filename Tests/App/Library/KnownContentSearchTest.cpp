#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/App/Library/PhotoLibraryServiceTest.h"
#include "TolvanderApp/Library/CandidateAssets.h"
#include "TolvanderApp/Library/KnownContents.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

// The search with what the history knows, against the search that reads everything.

namespace tolvander::tests {
namespace {

using namespace tolvander::app;
using namespace std::chrono_literals;
using Resource = ScriptedPhotoLibrary::Resource;
using Identity = OfflinePhotoRecognizer::Identity;
using Files = std::vector<FingerprintedMediaFile>;

constexpr Date day{std::chrono::hours(24 * 20'000)};

// What a camera file or an original may hold. Two contents of one picture differ in their headers alone.
struct Content {
  std::vector<std::byte> bytes;
  std::string fingerprint;
  std::optional<std::string> payload;
};

constexpr int pictureCount = 8;
constexpr int headerCount = 3;

std::vector<Content> makeContents() {
  std::vector<Content> contents;
  for (int picture = 0; picture < pictureCount; ++picture) {
    for (int header = 0; header < headerCount; ++header) {
      Content content;
      content.bytes = JPEGBuilder()
                          .exif(TIFFBuilder().originalDate("2026:11:20 12:00:0" + std::to_string(header)))
                          .quantisationTable()
                          .huffmanTable()
                          .frame(640, 480)
                          .scan(entropyCodedData(20, static_cast<std::uint32_t>(picture + 1)))
                          .endOfImage()
                          .build();
      content.fingerprint = FileFingerprinter::sha256(content.bytes);
      content.payload = CharmeraMediaProcessor::jpegMediaPayloadFingerprint(content.bytes);
      contents.push_back(std::move(content));
    }
  }
  return contents;
}

const Content& content(int picture, int header) {
  static const std::vector<Content> contents = makeContents();
  return contents[static_cast<std::size_t>(picture * headerCount + header)];
}

struct LibraryItem {
  PhotosAsset asset;
  std::vector<Resource> resources;
};

// A card, a library, a history and limits, made of few values so that all sorts of agreement come about.
class World {
 public:
  explicit World(std::uint64_t seed) : random_(seed) {
    limits.automatic = policy(3, 4);
    limits.broader = policy(6, 8);
    limits.assetsPerWindow = number(1, 10);
    limits.assetsPerWindowWithKnown = chance(4) ? number(1, 12) : 1'000;
    knowsAll = chance(4);
    const int fileCount = number(1, 4);
    for (int index = 0; index < fileCount; ++index) {
      addFile();
    }
    const int itemCount = number(0, 20);
    for (int index = 0; index < itemCount; ++index) {
      addItem(index);
    }
  }

  void fill(ScriptedPhotoLibrary& library) const {
    for (const LibraryItem& item : items) {
      library.addAsset(item.asset, item.resources);
    }
  }

  // Whether an original of the asset has the file's content.
  bool holds(const std::string& asset, const FingerprintedMediaFile& file) const {
    const auto item =
        std::ranges::find(items, asset, [](const LibraryItem& it) { return it.asset.localIdentifier; });
    return item != items.end() && std::ranges::any_of(item->resources, [&](const Resource& resource) {
             const std::string fingerprint = FileFingerprinter::sha256(resource.content);
             const auto payload = payloadOf(resource);
             return fingerprint == file.sourceFingerprint ||
                    fingerprint == file.pendingProcessedFingerprint ||
                    (payload && payload == file.mediaPayloadFingerprint);
           });
  }

  Files files;
  std::vector<LibraryItem> items;
  std::vector<ImportRecord> records;
  LibrarySearchLimits limits;
  bool knowsAll = false;  // each item has one original, and a record of its content

 private:
  int number(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }
  bool chance(int outOf) { return number(1, outOf) == 1; }
  const Content& anyContent() { return content(number(0, pictureCount - 1), number(0, headerCount - 1)); }

  RecognitionPolicy policy(int fewestRecent, int mostRecent) {
    RecognitionPolicy policy;
    policy.maximumResources = number(0, 8);
    policy.maximumBytes = chance(2) ? 1'000'000 : number(0, 2'000);
    policy.recentCandidateLimit = number(fewestRecent, mostRecent);
    policy.maximumCandidates = policy.recentCandidateLimit + number(0, 8);
    policy.nearbyCandidatesPerFile = number(0, 6);
    policy.resourceTimeout = 1s;
    policy.passTimeout = 1s;
    return policy;
  }

  // Some within the span of a search of one another, some not.
  std::optional<Date> date() {
    return chance(12) ? std::nullopt : std::optional(day + number(0, 3) * 60h + number(0, 4) * 1s);
  }

  std::string filename(bool isFilm) {
    return (chance(2) ? "PICT000" : "pict000") + std::to_string(number(1, 6)) + (isFilm ? ".mov" : ".JPG");
  }

  static MediaMetadata metadata(bool isFilm) {
    using Kind = MediaMetadata::Kind;
    return {.kind = isFilm ? Kind::video : Kind::image,
            .pixelWidth = 640,
            .pixelHeight = 480,
            .duration = isFilm ? std::optional(2.0) : std::nullopt};
  }

  void addFile() {
    const Content& source = anyContent();
    const bool isFilm = chance(4);
    FingerprintedMediaFile file{
        .file = {.url = FileURL("/card/x"),
                 .volumeURL = FileURL("/card"),
                 .relativePath = "x",
                 .filename = filename(isFilm),
                 .byteCount = std::ssize(source.bytes),
                 .modifiedAt = std::nullopt},
        .sourceFingerprint = source.fingerprint,
        .mediaPayloadFingerprint = isFilm || chance(4) ? std::nullopt : source.payload,
        .captureDate = date(),
        .metadata = metadata(isFilm),
        .pendingProcessedFingerprint = std::nullopt,
        .requiresExactReconciliation = chance(4)};
    if (file.requiresExactReconciliation && !chance(4)) {
      file.pendingProcessedFingerprint = anyContent().fingerprint;
    }
    if (std::ranges::none_of(files, [&](const FingerprintedMediaFile& other) {
          return other.sourceFingerprint == file.sourceFingerprint;
        })) {
      files.push_back(std::move(file));
    }
  }

  void addItem(int index) {
    const bool isFilm = chance(4);
    const Content& imported = anyContent();
    LibraryItem item;
    item.asset.localIdentifier = std::to_string(number(0, 9)) + "-" + std::to_string(index);
    item.asset.creationDate = date();
    item.asset.mediaType = isFilm ? PhotosMediaType::video : PhotosMediaType::image;
    item.asset.pixelWidth = 640;
    item.asset.pixelHeight = 480;
    item.asset.duration = isFilm ? 2 : 0;
    item.resources.push_back({.type = isFilm ? PhotosResourceType::video : PhotosResourceType::photo,
                              .originalFilename = filename(isFilm),
                              .content = imported.bytes});
    if (!knowsAll && chance(6)) {
      item.resources.push_back(item.resources.front());
      item.resources.back().content = anyContent().bytes;
    }
    if (!knowsAll && chance(8)) {
      item.resources.front().isLocal = false;
    }
    if (!knowsAll && chance(8)) {
      item.resources.front().content = anyContent().bytes;
      item.resources.front().isUnchanged = false;
    }
    if (knowsAll || !chance(3)) {
      addRecord(item, imported);
    }
    items.push_back(std::move(item));
  }

  void addRecord(const LibraryItem& item, const Content& imported) {
    ImportRecord record;
    record.sourceFingerprint = "source of " + std::to_string(records.size());
    record.photosAssetIdentifier = item.asset.localIdentifier;
    record.processedFingerprint = imported.fingerprint;
    record.mediaPayloadFingerprint = imported.payload;
    if (!knowsAll) {
      switch (number(0, 9)) {
        case 0:
          record.evidence = ImportEvidence::metadataOnly;
          break;
        case 1:
          record.processedFingerprint = std::nullopt;
          break;
        case 2:
          record.processedFingerprint = anyContent().fingerprint;  // of other bytes than the library has
          record.mediaPayloadFingerprint = std::nullopt;
          break;
        case 3:
          record.mediaPayloadFingerprint = std::nullopt;
          break;
        case 4:
          record.mediaPayloadFingerprint = "jpeg-v1:" + imported.fingerprint;
          break;
        case 5:
          record.evidence = ImportEvidence::contentConfirmed;
          break;
        default:
          break;
      }
    }
    records.push_back(ImportRecord::make(std::move(record)));
  }

  static std::optional<std::string> payloadOf(const Resource& resource) {
    if (!resource.originalFilename.ends_with(".JPG")) {
      return std::nullopt;
    }
    return CharmeraMediaProcessor::jpegMediaPayloadFingerprint(resource.content);
  }

  std::mt19937_64 random_;
};

// A library, and a service that searches it.
struct Searched {
  explicit Searched(const World& world, const LibrarySearchLimits& limits)
      : service(
            library, timer, [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {}, limits) {
    world.fill(library);
  }

  // As a sync does it: a file that an automatic search leaves unchecked at a limit is searched for more
  // broadly.
  LibraryReconciliation sync(const Files& files, const ImportRecords& records) {
    LibraryReconciliation found = service.reconcileExisting(files, false, {}, records);
    Files retry;
    std::ranges::copy_if(files, std::back_inserter(retry), [&](const FingerprintedMediaFile& file) {
      return found.unchecked.contains(file.sourceFingerprint);
    });
    if (!found.budgetExceeded || retry.empty()) {
      return found;
    }
    LibraryReconciliation broader = service.reconcileExisting(retry, true, {}, records);
    broader.matches.merge(found.matches);
    broader.metadataMatches.merge(found.metadataMatches);
    return broader;
  }

  ManualTimer timer;
  ScriptedPhotoLibrary library;
  PhotoLibraryService service;
};

bool isSettled(const LibraryReconciliation& found, const FingerprintedMediaFile& file) {
  return !found.unchecked.contains(file.sourceFingerprint);
}

bool isFound(const LibraryReconciliation& found, const FingerprintedMediaFile& file) {
  return found.matches.contains(file.sourceFingerprint) ||
         found.metadataMatches.contains(file.sourceFingerprint);
}

template <typename Value>
std::optional<Value> entry(const std::map<std::string, Value>& map, const FingerprintedMediaFile& file) {
  const auto found = map.find(file.sourceFingerprint);
  return found == map.end() ? std::nullopt : std::optional(found->second);
}

// The match that is expected. Where none of the files of a search has a payload, a match with a known picture
// may lack the picture's.
std::optional<LibraryMatch> expectedMatch(const LibraryReconciliation& expected,
                                          const std::optional<LibraryMatch>& found,
                                          const FingerprintedMediaFile& file) {
  auto match = entry(expected.matches, file);
  if (match && found && !file.mediaPayloadFingerprint && !found->mediaPayloadFingerprint) {
    match->mediaPayloadFingerprint = std::nullopt;
  }
  return match;
}

// Everything that the policy of the broader search leaves out is looked at, but for assets that are neither
// recent nor within the file's windows.
LibrarySearchLimits withoutLimits(LibrarySearchLimits limits) {
  constexpr std::int64_t many = 1'000'000;
  limits.broader.maximumResources = many;
  limits.broader.maximumBytes = many;
  limits.broader.maximumCandidates = many;
  limits.broader.nearbyCandidatesPerFile = many;
  limits.assetsPerWindow = many;
  return limits;
}

// By a search that has room for all assets of known content.
bool allAreSeen(const World& world, const FingerprintedMediaFile& file) {
  const std::int64_t limit = RecognitionPolicy::searchDates(file).empty()
                                 ? world.limits.broader.recentCandidateLimit - 1
                                 : world.limits.assetsPerWindowWithKnown;
  return std::ssize(world.items) <= limit;
}

struct Tally {
  int settledBeyondTheParts = 0;
  int foundBeyondTheParts = 0;
  int leftUnchecked = 0;
};

void expectEquivalence(const World& world, std::uint64_t seed, Tally& tally) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  const ImportRecords records(world.records);
  Searched plain(world, world.limits);
  Searched knowing(world, world.limits);
  knowing.library.keepHashes();
  Searched unlimited(world, withoutLimits(world.limits));
  const LibraryReconciliation expected = plain.sync(world.files, records);
  const LibraryReconciliation found = knowing.sync(world.files, records);

  for (const FingerprintedMediaFile& file : world.files) {
    if (isSettled(expected, file)) {
      EXPECT_TRUE(isSettled(found, file));
      const auto match = entry(found.matches, file);
      EXPECT_EQ(match, expectedMatch(expected, match, file));
      EXPECT_EQ(entry(found.metadataMatches, file), entry(expected.metadataMatches, file));
      continue;
    }
    if (!isSettled(found, file)) {
      ++tally.leftUnchecked;
      EXPECT_FALSE(world.knowsAll && allAreSeen(world, file));
      continue;
    }
    ++tally.settledBeyondTheParts;
    if (const auto match = entry(found.matches, file)) {
      ++tally.foundBeyondTheParts;
      EXPECT_TRUE(world.holds(match->assetIdentifier, file));
    } else if (!isFound(found, file)) {
      const LibraryReconciliation all = unlimited.service.reconcileExisting({file}, true);
      EXPECT_TRUE(isSettled(all, file) && !isFound(all, file)) << "a search without limits has other words";
    }
    EXPECT_FALSE(file.requiresExactReconciliation && found.metadataMatches.contains(file.sourceFingerprint));
  }
  EXPECT_EQ(found.budgetExceeded, !found.limited.empty());
}

}  // namespace

TEST(KnownContentSearch, settlesWhatASearchThatReadsAllSettlesAndLeavesLessUnchecked) {
  Tally tally;
  for (std::uint64_t seed = 1; seed <= 2'000 && !testing::Test::HasFailure(); ++seed) {
    expectEquivalence(World(seed), seed, tally);
  }
  EXPECT_GT(tally.settledBeyondTheParts, 250);
  EXPECT_GT(tally.foundBeyondTheParts, 25);
  EXPECT_GT(tally.leftUnchecked, 50);
}

// Photos is such a library.
TEST(KnownContentSearch, isThePlainSearchInALibraryThatKeepsNoHashes) {
  for (std::uint64_t seed = 1; seed <= 500 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const World world(seed);
    Searched plain(world, world.limits);
    Searched recorded(world, world.limits);
    for (const bool broader : {false, true}) {
      EXPECT_EQ(recorded.service.reconcileExisting(world.files, broader, {}, ImportRecords(world.records)),
                plain.service.reconcileExisting(world.files, broader));
    }
    EXPECT_EQ(recorded.library.dataRequests(), plain.library.dataRequests());
    EXPECT_EQ(recorded.library.fetches().size(), plain.library.fetches().size());
  }
}

class KnownContentSearchTest : public PhotoLibraryServiceTest {
 protected:
  KnownContentSearchTest() { library.keepHashes(); }

  static FingerprintedMediaFile newFile(const std::string& name = "NEW.JPG") {
    const FileURL volume("/Volumes/CARD");
    return {.file = {.url = volume.appending(name),
                     .volumeURL = volume,
                     .relativePath = name,
                     .filename = name,
                     .byteCount = 1,
                     .modifiedAt = std::nullopt},
            .sourceFingerprint = "new",
            .mediaPayloadFingerprint = std::nullopt,
            .captureDate = day + 24h,
            .metadata = std::nullopt,
            .pendingProcessedFingerprint = std::nullopt};
  }

  // Adds what was imported on one day, and records it.
  void addImports(int count, const std::string& extension, std::size_t byteCount = 10) {
    for (int index = 0; index < count; ++index) {
      std::vector<std::byte> bytes(byteCount);
      const std::string text = std::to_string(index);
      std::ranges::copy(bytesOf(text), bytes.begin());
      PhotosAsset asset;
      asset.creationDate = day + index * 1s;
      asset.mediaType = extension == ".mov" ? PhotosMediaType::video : PhotosMediaType::image;
      ImportRecord record;
      record.sourceFingerprint = "source" + text;
      record.processedFingerprint = FileFingerprinter::sha256(bytes);
      record.mediaPayloadFingerprint = "jpeg-v2:" + text;
      record.photosAssetIdentifier = library
                                         .addAsset(asset, {{.type = PhotosResourceType::photo,
                                                            .originalFilename = "PICT" + text + extension,
                                                            .content = std::move(bytes)}})
                                         .localIdentifier;
      records.push_back(ImportRecord::make(std::move(record)));
    }
  }

  LibraryReconciliation search() {
    return service.reconcileExisting({newFile()}, true, {}, ImportRecords(records));
  }

  std::vector<ImportRecord> records;
};

TEST_F(KnownContentSearchTest, findsThatAFileIsNewBesideMoreImportsThanAWindowHolds) {
  addImports(1'200, ".JPG");
  EXPECT_EQ(service.reconcileExisting({newFile()}, true).limited, std::set<std::string>{"new"});
  const std::size_t reads = library.dataRequests().size();
  EXPECT_EQ(search(), LibraryReconciliation());
  EXPECT_EQ(library.dataRequests().size(), reads);
}

TEST_F(KnownContentSearchTest, findsThatAFileIsNewBesideMoreBytesThanAreRead) {
  addImports(30, ".mov", 100);
  LibrarySearchLimits limits;
  limits.automatic.maximumBytes = 500;
  limits.broader.maximumBytes = 2'500;
  PhotoLibraryService bounded(
      library, timer, [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {}, limits);
  const auto find = [&](bool broader) {
    return bounded.reconcileExisting({newFile("NEW.MOV")}, broader, {}, ImportRecords(records));
  };
  EXPECT_EQ(find(false).limited, std::set<std::string>{"new"});
  EXPECT_EQ(find(true), LibraryReconciliation());
  EXPECT_TRUE(library.dataRequests().empty());
}

TEST_F(KnownContentSearchTest, findsAnImportThatAWindowHasNoRoomFor) {
  addImports(800, ".JPG");
  records.back().mediaPayloadFingerprint = "jpeg-v2:same";
  FingerprintedMediaFile file = newFile();
  file.mediaPayloadFingerprint = "jpeg-v2:same";
  const auto found = service.reconcileExisting({file}, true, {}, ImportRecords(records));
  ASSERT_TRUE(found.matches.contains("new"));
  EXPECT_EQ(found.matches.at("new").assetIdentifier, records.back().photosAssetIdentifier);
}

// As those of a camera that isn't a Charmera.
TEST_F(KnownContentSearchTest, needsThePayloadsOfImportsOnlyForAFileThatHasOne) {
  addImports(800, ".JPG");
  for (ImportRecord& record : records) {
    record.mediaPayloadFingerprint = std::nullopt;
  }
  EXPECT_EQ(search(), LibraryReconciliation());
  EXPECT_TRUE(library.dataRequests().empty());
  FingerprintedMediaFile file = newFile();
  file.mediaPayloadFingerprint = "jpeg-v2:new";
  const auto found = service.reconcileExisting({file}, true, {}, ImportRecords(records));
  EXPECT_EQ(found.limited, std::set<std::string>{"new"});
}

TEST_F(KnownContentSearchTest, doesNotTakeAFileWithoutDatesForNewWhereOlderAssetsAreLeftOut) {
  addImports(30, ".JPG");
  FingerprintedMediaFile file = newFile();
  file.captureDate = std::nullopt;
  const auto find = [&](std::int64_t recentLimit) {
    LibrarySearchLimits limits;
    limits.automatic.recentCandidateLimit = 5;
    limits.broader.recentCandidateLimit = recentLimit;
    limits.broader.maximumResources = 2;
    PhotoLibraryService bounded(
        library, timer, [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {}, limits);
    return bounded.reconcileExisting({file}, true, {}, ImportRecords(records));
  };
  EXPECT_EQ(find(31), LibraryReconciliation());
  EXPECT_EQ(find(30).limited, std::set<std::string>{"new"});
}

TEST_F(KnownContentSearchTest, readsOnceWhatIsNotKnown) {
  addImports(760, ".JPG");
  PhotosAsset own;
  own.localIdentifier = "own";
  own.creationDate = day;
  library.addAsset(own, {{.originalFilename = "OWN.JPG", .content = bytesOf("own")}});
  EXPECT_EQ(search(), LibraryReconciliation());
  ASSERT_EQ(library.dataRequests().size(), 1U);
  EXPECT_EQ(library.dataRequests().front().assetLocalIdentifier, "own");
}

TEST_F(KnownContentSearchTest, leavesAFileUncheckedBesideMoreUnknownAssetsThanAWindowHolds) {
  addImports(760, ".JPG");
  for (int index = 0; index < 751; ++index) {
    PhotosAsset own;
    own.creationDate = day + index * 1s;
    library.addAsset(own);
  }
  const auto found = search();
  EXPECT_EQ(found.limited, std::set<std::string>{"new"});
  EXPECT_TRUE(found.budgetExceeded);
}

TEST_F(KnownContentSearchTest, aKnownContentIsThatOfTheOriginalInItsPlace) {
  addImports(1, ".JPG");
  const std::string asset = *records.front().photosAssetIdentifier;
  KnownContents known(library, ImportRecords(records), true);
  EXPECT_EQ(known.find(asset, 0), nullptr);
  known.learn(library.fetchAssets(std::vector{asset}), {});
  ASSERT_NE(known.find(asset, 0), nullptr);
  EXPECT_EQ(known.find(asset, 0)->identity.sourceFingerprint, records.front().processedFingerprint);
  EXPECT_EQ(known.find(asset, 1), nullptr);
}

TEST_F(KnownContentSearchTest, isStoppedWhileItFetches) {
  addImports(1, ".JPG");
  CancellationSource source;
  source.cancel();
  KnownContents known(library, ImportRecords(records), true);
  const auto assets = library.fetchAssets(std::vector{*records.front().photosAssetIdentifier});
  EXPECT_THROW(known.learn(assets, source.token()), CancellationError);
  EXPECT_FALSE(known.canBeKnown());
  EXPECT_THROW(CandidateAssets::fetchBesideKnown(library, {newFile()}, RecognitionPolicy::broader, {}, {},
                                                 known, source.token()),
               CancellationError);
  EXPECT_TRUE(library.fetches().empty());
}

// What a record says of an original.

PhotosUnchangedOriginal original(const std::string& filename, std::int64_t byteCount = 100) {
  return {.resource = {.assetLocalIdentifier = "asset",
                       .index = 0,
                       .type = PhotosResourceType::photo,
                       .originalFilename = filename},
          .byteCount = byteCount,
          .sha256 = "processed"};
}

ImportRecord importRecord(std::optional<std::string> payload = "jpeg-v2:picture") {
  ImportRecord record;
  record.processedFingerprint = "processed";
  record.mediaPayloadFingerprint = std::move(payload);
  return record;
}

std::optional<Identity> identityOf(const ImportRecord& record, const PhotosUnchangedOriginal& original) {
  return KnownContents::identity(record, original, true);
}

TEST(KnownContents, areWhatWasHandedToTheLibrary) {
  EXPECT_EQ(identityOf(importRecord(), original("A.JPG")), (Identity{"processed", "jpeg-v2:picture"}));
  EXPECT_EQ(identityOf(importRecord(), original("A.MOV")), (Identity{"processed", std::nullopt}));
  EXPECT_EQ(identityOf(importRecord(std::nullopt), original("A.MOV")), (Identity{"processed", std::nullopt}));
}

TEST(KnownContents, areNotKnownFromMetadata) {
  ImportRecord record = importRecord();
  record.evidence = ImportEvidence::metadataOnly;
  EXPECT_EQ(identityOf(record, original("A.JPG")), std::nullopt);
  record.evidence = ImportEvidence::contentConfirmed;
  EXPECT_NE(identityOf(record, original("A.JPG")), std::nullopt);
}

TEST(KnownContents, areNotKnownWhereTheLibraryHasOtherBytes) {
  ImportRecord record = importRecord();
  record.processedFingerprint = "other";
  EXPECT_EQ(identityOf(record, original("A.MOV")), std::nullopt);
  record.processedFingerprint = std::nullopt;
  EXPECT_EQ(identityOf(record, original("A.MOV")), std::nullopt);
}

TEST(KnownContents, ofAJPEGNeedAPayloadThatCanBeCompared) {
  for (const std::string name : {"A.JPG", "a.jpeg"}) {
    EXPECT_EQ(identityOf(importRecord(std::nullopt), original(name)), std::nullopt);
    EXPECT_EQ(identityOf(importRecord("jpeg-v1:picture"), original(name)), std::nullopt);
  }
}

TEST(KnownContents, ofAJPEGNeedNoPayloadWhereNoneIsCompared) {
  const auto known = [](std::optional<std::string> payload) {
    return KnownContents::identity(importRecord(std::move(payload)), original("A.JPG"), false);
  };
  EXPECT_EQ(known(std::nullopt), (Identity{"processed", std::nullopt}));
  EXPECT_EQ(known("jpeg-v1:picture"), (Identity{"processed", std::nullopt}));
  EXPECT_EQ(known("jpeg-v2:picture"), (Identity{"processed", "jpeg-v2:picture"}));
}

TEST(KnownContents, ofAJPEGThatIsTooLargeForAPayloadHaveNone) {
  constexpr std::int64_t most = 33'554'432;
  EXPECT_EQ(identityOf(importRecord(), original("A.JPG", most)), (Identity{"processed", "jpeg-v2:picture"}));
  EXPECT_EQ(identityOf(importRecord(), original("A.JPG", most + 1)), (Identity{"processed", std::nullopt}));
}

}  // namespace tolvander::tests
