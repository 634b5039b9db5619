#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Shells/CommandLine/Reports/CheckReport.h"
#include "Shells/CommandLine/Reports/HistoryReport.h"
#include "Shells/CommandLine/Reports/TrashReport.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/TrashScene.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/JSON/DecodingError.h"

using namespace tolvander;
using tests::AppModelWorld;
using tests::readFile;

namespace {

constexpr std::string_view mediaFolder = "DCIM/100CHRM/";

// Every occurrence of a name that the corpus has in place of what differs from run to run.
std::string replaced(std::string text, std::string_view name, std::string_view value) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
    text.replace(at, name.size(), value);
  }
  return text;
}

// The input up to the next byte 0, which no JSON text has.
std::string takePart(std::string_view& input) {
  const std::size_t end = std::min(input.find('\0'), input.size());
  std::string part(input.substr(0, end));
  input.remove_prefix(std::min(end + 1, input.size()));
  return part;
}

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

bool isOnCamera(const AppModelWorld::Camera& camera, const std::string& content) {
  return std::ranges::any_of(std::filesystem::recursive_directory_iterator(camera.url.path()),
                             [&](const std::filesystem::directory_entry& entry) {
                               return entry.is_regular_file() &&
                                      readFile(FileURL(entry.path().string())) == content;
                             });
}

std::optional<HistoryDatabase> decoded(const std::string& history) {
  try {
    return readHistory(bytesOf(history));
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

// Everything that is told of the Trash and the history, as the command line does it.
void tellReports(AppModelWorld& world) {
  const app::TrashService trash(world.trash, "Trash");
  const auto report =
      app::TrashReport::of(world.history().trashRecords(), world.history().unsettledTrashIntents(), trash);
  static_cast<void>(report.text() + report.json());
  const auto history = app::HistoryReport::of(world.history());
  static_cast<void>(history.text() + history.json());
  const auto check = app::CheckReport::of(world.model().libraryReviews.value());
  static_cast<void>(check.text());
  static_cast<void>(world.model().collectedPhotosLabel());
  static_cast<void>(world.model().settingsStatusDetail());
}

}  // namespace

// Starts the program with arbitrary content in the files that it keeps: the history, the journal of moves to
// the Trash, the last sync's receipt and the cameras' rules. The input holds them in this order, separated by
// a byte 0. There is one camera, with one picture on it and one in its Trash. The run must end normally, both
// pictures must stay on the camera's volume, and a history that can't be read must stay unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  AppModelWorld world;
  world.trash.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  const auto camera = world.makeCharmera("CARD");
  world.addPhoto(camera, "PICT0001.JPG", 1);
  world.addPhoto(camera, "PICT0002.JPG", 2);
  const FileURL first = camera.file(std::string(mediaFolder) + "PICT0001.JPG");
  const std::vector pictures{readFile(first),
                             readFile(camera.file(std::string(mediaFolder) + "PICT0002.JPG"))};
  tests::TrashScene(camera.url).moveAsAnotherProgramDoes("PICT0002.JPG");
  world.remember(camera);
  world.mount(camera);

  std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto nextPart = [&] { return replaced(takePart(input), "@CARD@", camera.url.path()); };
  const std::string history = nextPart();
  tests::writeFile(world.historyFile(), history);
  tests::writeFile(world.folder / "trash-intents.jsonl", nextPart());
  world.defaults.setData("lastSyncReceipt", bytesOf(nextPart()));
  if (const std::string profiles = nextPart(); !profiles.empty()) {
    world.defaults.setData("deviceProfiles", bytesOf(profiles));
  }

  world.launchAfterSetup();
  world.run(world.model().syncAllConnected(false));
  world.model().verifyCameraInPhotos();
  world.runUntilIdle();
  if (decoded(history)) {
    tellReports(world);
  } else {
    precondition(readFile(world.historyFile()) == history, "an unreadable history stays as it is");
  }
  const auto devices = world.model().deviceTrashSummaries.value();
  for (const auto& device : devices) {
    world.model().restoreManagedTrash(device, std::nullopt);
    world.runUntilIdle();
  }
  for (const std::string& picture : pictures) {
    precondition(isOnCamera(camera, picture), "no picture leaves the camera");
  }
  return 0;
}
