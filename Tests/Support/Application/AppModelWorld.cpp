#include "Tests/Support/Application/AppModelWorld.h"

#include <filesystem>
#include <sstream>
#include <utility>

#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {

namespace {

constexpr std::string_view mediaFolder = "DCIM/100CHRM/";

// A picture that was taken `number` minutes after noon, and looks like no other one.
std::string photoBytes(int number) {
  const std::string minutes = (number % 60 < 10 ? "0" : "") + std::to_string(number % 60);
  const auto bytes = JPEGBuilder()
                         .exif(TIFFBuilder().originalDate("2026:11:20 12:" + minutes + ":00"))
                         .quantisationTable()
                         .huffmanTable()
                         .frame(640, 480)
                         .scan(entropyCodedData(200, static_cast<std::uint32_t>(number + 1)))
                         .endOfImage()
                         .build();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

AppModelWorld::AppModelWorld() { launch(); }

AppModelWorld::~AppModelWorld() { quit(); }

// MARK: Cameras

AppModelWorld::Camera AppModelWorld::makeCharmera(const std::string& name) {
  Camera camera = makeCard(name);
  std::filesystem::create_directories(camera.file("SPIDCIM").path());
  return camera;
}

AppModelWorld::Camera AppModelWorld::makeCard(const std::string& name) {
  Camera camera{.url = folder.url().appending("Volumes").appending(name), .name = name};
  std::filesystem::create_directories(camera.file(mediaFolder).path());
  return camera;
}

void AppModelWorld::addPhoto(const Camera& camera, const std::string& name, int content) {
  addFile(camera, name, photoBytes(content));
}

void AppModelWorld::addFile(const Camera& camera, const std::string& name, std::string_view content) {
  writeFile(camera.file(std::string(mediaFolder) + name), content);
}

void AppModelWorld::remember(const Camera& camera) {
  const auto bookmark = bookmarks.bookmarkData(camera.url, {.withSecurityScope = true});
  if (std::filesystem::exists(camera.file("SPIDCIM").path())) {
    settings().authorizeBuiltInProfile(DeviceProfile::charmeraProfileID, camera.url, bookmark);
    return;
  }
  DeviceProfile profile = MountedVolumeMediaSource::customProfile(camera.url, {"DCIM"});
  profile.securityScopedBookmark = bookmark;
  settings().addProfile(profile);
}

void AppModelWorld::mount(const Camera& camera) {
  const auto values = volumeResourceValues(camera.url);
  volumes.mount(camera.url, FakeVolumes::card(camera.name, values.uuid));
}

void AppModelWorld::unmount(const Camera& camera) { volumes.unmount(camera.url); }

// MARK: The model

app::Platform AppModelWorld::platform() {
  return {.mainThread = mainThread,
          .timer = timer,
          .photoLibrary = photoLibrary,
          .volumes = volumes,
          .bookmarks = bookmarks,
          .notifications = notifications,
          .trash = trash,
          .ejector = ejector,
          .dialogs = dialogs,
          .loginItem = loginItem,
          .systemSettings = systemSettings,
          .application = application,
          .applicationVersion = {.shortVersion = "1.2.3", .build = "45"},
          .systemVersion = {},
          .systemNames = macOS};
}

void AppModelWorld::launch(std::optional<app::PhotosPermissionStatus> status) {
  quit();
  services_ = {.settings = std::make_shared<app::AppSettings>(defaults, mainThread),
               .history = std::make_shared<SyncHistoryStore>(historyFile()),
               .mediaStaging = std::make_shared<MediaStagingService>(stagingFolder()),
               .diagnosticLog = std::make_shared<DiagnosticLog>(folder.url().appending("logs"))};
  model_ = app::AppModel::make(platform(), services_, status);
  statusObserver_ = model_->statusMessage.observe([this](const std::string& message) {
    if (statuses_.empty() || statuses_.back() != message) {
      statuses_.push_back(message);
    }
  });
  testTasks_ = std::make_unique<app::TaskScope>(mainThread);
}

void AppModelWorld::quit() {
  testTasks_.reset();
  statusObserver_.end();
  model_.reset();
  services_ = {};
}

void AppModelWorld::completeSetup() { settings().setOnboardingCompleted(true); }

void AppModelWorld::start(app::AppModel::FirstSync firstSync) {
  model().start(firstSync);
  runUntilIdle();
}

void AppModelWorld::launchAfterSetup() {
  completeSetup();
  launch();
  start();
}

std::vector<std::string> AppModelWorld::takeStatuses() { return std::exchange(statuses_, {}); }

std::string AppModelWorld::logText() const {
  std::string text;
  for (const FileURL& file : services_.diagnosticLog->files()) {
    text.insert(0, readFile(file));  // the files come newest first
  }
  return text;
}

std::vector<std::string> AppModelWorld::logLines(std::string_view event) const {
  const std::string beginning = event.empty() ? "{" : "{\"event\":\"" + std::string(event) + "\"";
  std::istringstream text(logText());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with(beginning)) {
      lines.push_back(line.substr(0, line.rfind(",\"time\"")) + "}");
    }
  }
  return lines;
}

}  // namespace tolvander::tests
