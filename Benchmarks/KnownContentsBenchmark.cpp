#include <benchmark/benchmark.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Concurrency/TimerQueue.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::benchmarks {

namespace {

using app::PhotoLibraryService;
using platform::linux_::EmbeddedPhotoLibrary;
using tests::TemporaryFolder;

constexpr std::uint32_t knownCount = 800;         // more than the 750 that a search looks at
constexpr std::size_t bytesOfAPicture = 100'000;  // a ninth of what the camera makes

std::vector<std::byte> picture(std::uint32_t number) {
  return tests::JPEGBuilder()
      .quantisationTable()
      .huffmanTable()
      .frame(640, 480)
      .scan(tests::entropyCodedData(bytesOfAPicture, number))
      .endOfImage()
      .build();
}

// A library with 800 pictures of one moment, a history that knows them all, and a new picture on a card.
class KnownLibrary {
 public:
  KnownLibrary() {
    std::vector<FileURL> files;
    std::map<std::string, ImportRecord> records;
    for (std::uint32_t number = 1; number <= knownCount; ++number) {
      const FingerprintedMediaFile file = write(number);
      files.push_back(file.file.url);
      ImportRecord record =
          ImportRecord::make(file.sourceFingerprint, file.file.filename, file.file.relativePath,
                             file.file.byteCount, tests::day(0), std::nullopt, false);
      record.processedFingerprint = file.sourceFingerprint;
      record.mediaPayloadFingerprint = file.mediaPayloadFingerprint;
      records.emplace(file.file.filename, std::move(record));
    }
    EmbeddedPhotoLibrary library(root);
    tests::requestAndWait(library);
    if (!tests::importPictures(library, files).success) {
      throw std::runtime_error("the pictures were not imported");
    }
    for (const app::PhotosAsset& asset : library.fetchAssets(app::PhotosFetchOptions{})) {
      records.at(library.assetResources(asset).at(0).originalFilename).photosAssetIdentifier =
          asset.localIdentifier;
    }
    std::vector<ImportRecord> list;
    for (auto& [name, record] : records) {
      list.push_back(std::move(record));
    }
    history = ImportRecords(std::move(list));
  }

  TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  const FingerprintedMediaFile newFile = write(knownCount + 1);
  ImportRecords history;

 private:
  FingerprintedMediaFile write(std::uint32_t number) const {
    const std::string name = "PICT" + std::to_string(1000 + number) + ".JPG";
    const FileURL url = folder / ("Card/" + name);
    const std::vector<std::byte> bytes = picture(number);
    tests::writeFile(url, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return {.file = {.url = url,
                     .volumeURL = folder / "Card",
                     .relativePath = name,
                     .filename = name,
                     .byteCount = static_cast<std::int64_t>(bytes.size()),
                     .modifiedAt = tests::day(0)},
            .sourceFingerprint = FileFingerprinter::sha256(bytes),
            .mediaPayloadFingerprint = CharmeraMediaProcessor::jpegMediaPayloadFingerprint(bytes),
            .captureDate = tests::day(0),
            .metadata = MediaMetadata{.pixelWidth = 640, .pixelHeight = 480, .duration = {}},
            .pendingProcessedFingerprint = {}};
  }
};

// The broader search, with what the history knows and beside it without.
void searchBeside800KnownPictures(benchmark::State& state) {
  const KnownLibrary known;
  EmbeddedPhotoLibrary library(known.root);
  app::TimerQueue timer;
  PhotoLibraryService photos(library, timer, [](auto&&...) {});
  LibraryReconciliation with;
  LibraryReconciliation without;
  double withKnown = 0;
  double withoutKnown = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    withoutKnown += seconds([&] { without = photos.reconcileExisting({known.newFile}, true); });
    const double time =
        seconds([&] { with = photos.reconcileExisting({known.newFile}, true, {}, known.history); });
    withKnown += time;
    state.SetIterationTime(time);
  }
  using benchmark::Counter;
  state.counters["unchecked"] = static_cast<double>(with.unchecked.size());
  state.counters["unchecked_without"] = static_cast<double>(without.unchecked.size());
  state.counters["without_ms"] = Counter(withoutKnown * 1000, Counter::kAvgIterations);
  state.counters["times_without"] = withKnown / withoutKnown;
}
BENCHMARK(searchBeside800KnownPictures)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
