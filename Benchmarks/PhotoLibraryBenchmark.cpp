#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Benchmarks/Measuring.h"
#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"

namespace tolvander::benchmarks {

namespace {

using platform::linux_::Database;
using platform::linux_::EmbeddedPhotoLibrary;
using platform::linux_::Rows;
using tests::TemporaryFolder;

constexpr std::int64_t assetCount = 1'000'000;
constexpr std::int64_t albumCount = 2'000;
constexpr std::int64_t nanosecondsApart = 691'200'000'000;  // so that six days have 750 assets, and one more

// A catalogue of a million assets, made once for all measurements.
class GreatLibrary {
 public:
  GreatLibrary() {
    std::filesystem::create_directories(root.path());
    Database database(file, Database::OpenMode::existingOrNew, std::chrono::milliseconds(0));
    platform::linux_::upgradeCatalogue(database);
    database.run("PRAGMA synchronous=OFF; PRAGMA foreign_keys=OFF");
    platform::linux_::Transaction transaction(database, platform::linux_::Transaction::Kind::writing);
    const std::string numbers =
        "WITH RECURSIVE numbers (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM numbers WHERE n + 1 < ";
    // Identifiers in no order that the dates have.
    database.run(numbers + std::to_string(assetCount) +
                 ") INSERT INTO assets SELECT n + 1, printf('%08X-0000-4000-8000-%012X', n * 2654435761 & "
                 "4294967295, n), "
                 "1, n * " +
                 std::to_string(nanosecondsApart) + ", 1440, 1080, 0.0 FROM numbers");
    database.run(
        "INSERT INTO resources (asset, position, type, original_filename, path, path_key, byte_count)"
        " SELECT id, 0, 0, printf('PICT%04d.JPG', id % 10000),"
        " strftime('Originals/%Y/%Y-%m-%d/PICT', creation_date / 1000000000, 'unixepoch') || id || '.JPG',"
        " printf('%d.jpg', id), 900000 FROM assets");
    database.run(
        numbers + std::to_string(albumCount) +
        ") INSERT INTO albums SELECT n + 1, printf('album-%d', n), printf('Album %d', n) FROM numbers");
    database.run("INSERT INTO memberships (album, asset) SELECT 1, id FROM assets WHERE " +
                 std::string(inSixDays));
    transaction.commit();
    writeOriginals(database);
    database.checkpointOnClose();
  }

  // Six days in the middle have 751 assets.
  static constexpr std::string_view inSixDays = "id BETWEEN 500001 AND 500751";

  TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  const FileURL file = root.appending("Library.sqlite");

 private:
  // Files, without blocks, of the assets that the fetches below return.
  void writeOriginals(Database& database) const {
    Rows rows = database.query(
        "SELECT path FROM resources WHERE asset BETWEEN 500001 AND 500751 OR asset > 997000"
        " OR asset % 200 = 1");
    while (rows.next()) {
      const FileURL original = root.appending(rows.text(0));
      std::filesystem::create_directories(original.deletingLastPathComponent().path());
      std::ofstream(original.path()).close();
      std::filesystem::resize_file(original.path(), 900'000);
    }
  }
};

const GreatLibrary& greatLibrary() {
  static const GreatLibrary library;
  return library;
}

// Runs the fetch and the plain statements in turn, and compares their times.
void compare(benchmark::State& state, const std::function<std::size_t(EmbeddedPhotoLibrary&)>& fetch,
             const std::function<std::size_t(Database&)>& plain) {
  EmbeddedPhotoLibrary library(greatLibrary().root);
  Database database(greatLibrary().file, Database::OpenMode::existing, std::chrono::milliseconds(0));
  if (fetch(library) != plain(database)) {
    state.SkipWithError("the two found different things");
    return;
  }
  double own = 0;
  double theirs = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    const double time = seconds([&] { benchmark::DoNotOptimize(fetch(library)); });
    theirs += seconds([&] { benchmark::DoNotOptimize(plain(database)); });
    own += time;
    state.SetIterationTime(time);
  }
  using benchmark::Counter;
  state.counters["rows"] = static_cast<double>(fetch(library));
  state.counters["plain_us"] = Counter(theirs * 1e6, Counter::kAvgIterations);
  state.counters["times_plain"] = own / theirs;
}

// Reads every column of every row, as whoever asks has to.
std::size_t readAll(Rows&& rows, int columns) {
  std::size_t count = 0;
  while (rows.next()) {
    for (int column = 0; column < columns; ++column) {
      benchmark::DoNotOptimize(column == 0 ? static_cast<std::int64_t>(rows.text(0).size())
                                           : rows.integer(column));
    }
    ++count;
  }
  return count;
}

constexpr std::int64_t windowStart = 500'000 * nanosecondsApart;
constexpr std::int64_t windowEnd = windowStart + 750 * nanosecondsApart;

void fetchSixDaysOfAMillion(benchmark::State& state) {
  compare(
      state,
      [](EmbeddedPhotoLibrary& library) {
        return library
            .fetchAssets({.creationDates = {{.from = Date(std::chrono::nanoseconds(windowStart)),
                                             .to = Date(std::chrono::nanoseconds(windowEnd))}},
                          .order = app::PhotosFetchOptions::Order::creationDateAscending,
                          .fetchLimit = 751})
            .size();
      },
      [](Database& database) {
        return readAll(
            database.query("SELECT identifier, creation_date, media_type, pixel_width, pixel_height, duration"
                           " FROM assets WHERE creation_date >= ? AND creation_date <= ?"
                           " ORDER BY creation_date LIMIT 751",
                           windowStart, windowEnd),
            6);
      });
}
BENCHMARK(fetchSixDaysOfAMillion)->UseManualTime()->Unit(benchmark::kMicrosecond);

void fetchNewest3000OfAMillion(benchmark::State& state) {
  compare(
      state,
      [](EmbeddedPhotoLibrary& library) {
        return library
            .fetchAssets({.creationDates = {},
                          .order = app::PhotosFetchOptions::Order::creationDateDescending,
                          .fetchLimit = 3000})
            .size();
      },
      [](Database& database) {
        return readAll(
            database.query("SELECT identifier, creation_date, media_type, pixel_width, pixel_height, duration"
                           " FROM assets ORDER BY creation_date DESC LIMIT 3000"),
            6);
      });
}
BENCHMARK(fetchNewest3000OfAMillion)->UseManualTime()->Unit(benchmark::kMicrosecond);

std::vector<std::string> fiveThousandIdentifiers() {
  Database database(greatLibrary().file, Database::OpenMode::existing, std::chrono::milliseconds(0));
  std::vector<std::string> identifiers;
  Rows rows = database.query("SELECT identifier FROM assets WHERE id % 200 = 1");
  while (rows.next()) {
    identifiers.push_back(rows.text(0));
  }
  return identifiers;
}

// As the program asks: in runs of 500.
void fetch5000IdentifiersOfAMillion(benchmark::State& state) {
  constexpr std::ptrdiff_t run = 500;
  const std::vector<std::string> identifiers = fiveThousandIdentifiers();
  std::vector<std::string> lists;
  for (std::size_t start = 0; start < identifiers.size(); start += static_cast<std::size_t>(run)) {
    std::string list;
    for (std::size_t index = start; index < start + static_cast<std::size_t>(run); ++index) {
      list += (index == start ? "[\"" : ",\"") + identifiers.at(index) + "\"";
    }
    lists.push_back(list + "]");
  }
  compare(
      state,
      [&](EmbeddedPhotoLibrary& library) {
        std::size_t found = 0;
        for (auto begin = identifiers.begin(); begin < identifiers.end(); begin += run) {
          found += library.fetchAssets(std::vector<std::string>(begin, begin + run)).size();
        }
        return found;
      },
      [&](Database& database) {
        std::size_t found = 0;
        for (const std::string& list : lists) {
          found +=
              readAll(database.query(
                          "SELECT identifier, creation_date, media_type, pixel_width, pixel_height, duration"
                          " FROM assets WHERE identifier IN (SELECT value FROM json_each(?))",
                          std::string_view(list)),
                      6);
        }
        return found;
      });
}
BENCHMARK(fetch5000IdentifiersOfAMillion)->UseManualTime()->Unit(benchmark::kMicrosecond);

void fetchAnAlbumOf751(benchmark::State& state) {
  compare(
      state,
      [](EmbeddedPhotoLibrary& library) {
        return library.fetchAssets(library.fetchAlbums("Album 0").at(0)).size();
      },
      [](Database& database) {
        return readAll(
            database.query("SELECT identifier, creation_date, media_type, pixel_width, pixel_height, duration"
                           " FROM memberships JOIN assets ON assets.id = memberships.asset"
                           " WHERE memberships.album = (SELECT id FROM albums WHERE title = 'Album 0')"
                           " ORDER BY memberships.id"),
            6);
      });
}
BENCHMARK(fetchAnAlbumOf751)->UseManualTime()->Unit(benchmark::kMicrosecond);

void fetchTwoThousandAlbumNames(benchmark::State& state) {
  compare(
      state, [](EmbeddedPhotoLibrary& library) { return library.fetchAlbums(std::nullopt).size(); },
      [](Database& database) {
        std::size_t count = 0;
        Rows rows = database.query("SELECT identifier, title FROM albums ORDER BY id");
        while (rows.next()) {
          benchmark::DoNotOptimize(rows.text(0).size() + rows.text(1).size());
          ++count;
        }
        return count;
      });
}
BENCHMARK(fetchTwoThousandAlbumNames)->UseManualTime()->Unit(benchmark::kMicrosecond);

void openAMillion(benchmark::State& state) {
  greatLibrary();
  for (auto unused : state) {
    static_cast<void>(unused);
    EmbeddedPhotoLibrary library(greatLibrary().root);
    benchmark::DoNotOptimize(library.fetchAlbums("Album 7").size());
  }
  state.counters["peak_MiB"] = peakMebibytes([] {
    EmbeddedPhotoLibrary library(greatLibrary().root);
    benchmark::DoNotOptimize(
        library
            .fetchAssets({.creationDates = {},
                          .order = app::PhotosFetchOptions::Order::creationDateDescending,
                          .fetchLimit = 3000})
            .size());
  });
}
BENCHMARK(openAMillion)->Unit(benchmark::kMicrosecond);

constexpr std::size_t photoCount = 500;
constexpr std::size_t photoSize = 900'000;

std::vector<FileURL> writePhotos(const FileURL& folder) {
  std::filesystem::create_directories(folder.path());
  std::vector<FileURL> files;
  std::string bytes(photoSize, '\0');
  std::uint64_t state = 1;
  for (std::size_t number = 0; number < photoCount; ++number) {
    for (std::size_t index = 0; index + 8 <= bytes.size(); index += 8) {
      state = state * 6364136223846793005U + 1442695040888963407U;
      std::memcpy(bytes.data() + index, &state, 8);
    }
    files.push_back(folder.appending("PICT" + std::to_string(1000 + number) + ".JPG"));
    std::ofstream(files.back().path(), std::ios::binary) << bytes;
  }
  return files;
}

void importInBatches(EmbeddedPhotoLibrary& library, const std::vector<FileURL>& files) {
  constexpr std::size_t batch = 4;
  const auto album = library.fetchAlbums("Album").at(0);
  for (std::size_t start = 0; start < files.size(); start += batch) {
    const auto begin = files.begin() + static_cast<std::ptrdiff_t>(start);
    const auto end = files.begin() + static_cast<std::ptrdiff_t>(std::min(start + batch, files.size()));
    if (!tests::importPictures(library, {begin, end}, album).success) {
      throw std::runtime_error("the import failed");
    }
  }
}

// Every batch is durable; `cp -r` is followed by one sync.
void importFiveHundredPhotos(benchmark::State& state) {
  const TemporaryFolder folder;
  const auto files = writePhotos(folder / "card");
  sync();
  double copying = 0;
  double importing = 0;
  const auto import = [&] {
    EmbeddedPhotoLibrary library(folder / "Tolvander");
    tests::requestAndWait(library);
    tests::changeAndWait(library,
                         [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Album"); });
    importInBatches(library, files);
  };
  for (auto unused : state) {
    static_cast<void>(unused);
    copying += seconds([&] {
      if (tests::runTool({"cp", "-r", (folder / "card").path(), (folder / "copy").path()}).status != 0) {
        throw std::runtime_error("cp failed");
      }
      sync();
    });
    std::filesystem::remove_all((folder / "copy").path());
    sync();
    const double own = seconds(import);
    std::filesystem::remove_all((folder / "Tolvander").path());
    sync();
    importing += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["cp_r_sync_ms"] = Counter(copying * 1000, Counter::kAvgIterations);
  state.counters["times_cp_r_sync"] = importing / copying;
  state.counters["peak_MiB"] = peakMebibytes(import);
}
BENCHMARK(importFiveHundredPhotos)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
