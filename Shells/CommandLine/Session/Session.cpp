#include "Shells/CommandLine/Session/Session.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include "Platform/Linux/Notifications/DesktopNotifications.h"
#include "Platform/Linux/Text/LinuxNames.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Concurrency/TaskScope.h"

namespace tolvander::shell {

using app::Task;
using namespace platform::linux_;

// Shows notifications on the desktop, and also at the terminal.
class Session::Notifications final : public app::NotificationDelivery {
 public:
  explicit Notifications(std::function<void(const app::NotificationRequest&)> notified)
      : notified_(std::move(notified)) {}

  Task<app::NotificationAuthorizationStatus> authorizationStatus() override {
    return notified_ ? told() : desktop_.authorizationStatus();
  }

  Task<> requestAuthorization() override { return desktop_.requestAuthorization(); }

  Task<> add(app::NotificationRequest request) override {
    if (notified_) {
      notified_(request);
    }
    return desktop_.add(std::move(request));
  }

 private:
  static Task<app::NotificationAuthorizationStatus> told() {
    co_return app::NotificationAuthorizationStatus::authorized;
  }

  std::function<void(const app::NotificationRequest&)> notified_;
  DesktopNotifications desktop_;
};

namespace {

// The folders that saved cameras are, as opposed to volumes that come and go by themselves.
std::vector<FileURL> savedFolders(const app::AppSettings& settings, DescriptorWatcher& watcher) {
  const LinuxVolumes volumes(watcher);
  VolumeBookmarks bookmarks(volumes);
  std::vector<FileURL> folders;
  for (const auto& grant : settings.cameraGrants()) {
    try {
      const FileURL url = bookmarks.resolve(grant.bookmark, {.withSecurityScope = true}).url;
      if (!app::CameraVolumeDiscovery::isStillMounted(url, volumes)) {
        folders.push_back(url);
      }
    } catch (const Error&) {
      // It isn't here now.
    }
  }
  return folders;
}

std::vector<FileURL> foldersThatCount(const std::vector<FileURL>& chosen, const app::AppSettings& settings,
                                      DescriptorWatcher& watcher) {
  return chosen.empty() ? savedFolders(settings, watcher) : chosen;
}

}  // namespace

Session::Session(const Context& context, Options options)
    : interruption_(context.cancellation),
      files_(HomeFiles::of(context)),
      lock_(files_.lock),
      storedDefaults_(files_.settings),
      settings_(std::make_shared<app::AppSettings>(storedDefaults_, loop_, options.settings)),
      history_(std::make_shared<SyncHistoryStore>(files_.history, [this] { lock_.require(); })),
      log_(std::make_shared<DiagnosticLog>(files_.log)),
      backups_(files_, *log_),
      library_(files_.library),
      volumes_(loop_, foldersThatCount(options.volumes, *settings_, loop_)),
      chosenVolumes_(volumes_, options.volumes),
      bookmarks_(volumes_),
      notifications_(std::make_unique<Notifications>(std::move(options.notified))),
      ejector_(volumes_),
      dialogs_(std::move(options.answers), context.cancellation),
      application_([this] { stop(); }),
      model_(app::AppModel::make(platform(),
                                 {.settings = settings_,
                                  .history = history_,
                                  .mediaStaging = std::make_shared<MediaStagingService>(files_.staging),
                                  .diagnosticLog = log_})) {}

Session::~Session() = default;

app::Platform Session::platform() {
  return {.mainThread = loop_,
          .timer = timer_,
          .photoLibrary = library_,
          .volumes = chosenVolumes_,
          .bookmarks = bookmarks_,
          .notifications = *notifications_,
          .trash = trash_,
          .ejector = ejector_,
          .dialogs = dialogs_,
          .loginItem = loginItem_,
          .systemSettings = systemSettings_,
          .application = application_,
          .applicationVersion = {.shortVersion = TOLVANDER_VERSION, .build = std::nullopt},
          .systemVersion = app::OperatingSystemVersion::current(),
          .systemNames = systemNames()};
}

ExitStatus Session::run(const Flow& flow) {
  // A reader that goes away, with its terminal say, doesn't end the work half-way: writing fails instead.
  std::signal(SIGPIPE, SIG_IGN);
  backups_.makeAtStart();
  {
    const app::Subscription changes = model_->changes.observe([this] {
      if (model_->isIdle()) {
        backups_.makeOnNewDay();
      }
    });
    app::TaskScope tasks(loop_);
    const CancellationCallback stopping(interruption_, [this] { loop_.post([this] { stop(); }); });
    tasks.start(runFlow(this, flow));
    loop_.run();
  }
  backups_.makeAtEnd();
  log_->record(DiagnosticLog::Event::appTerminated);
  if (failure_) {
    std::rethrow_exception(std::exchange(failure_, nullptr));
  }
  return status_;
}

Task<> Session::runFlow(Session* self, Flow flow) {
  try {
    auto running = flow(*self);
    self->status_ = co_await running;
  } catch (const std::exception&) {
    self->failure_ = std::current_exception();
  }
  self->loop_.stop();
}

void Session::stop() {
  if (!model_->isIdle()) {
    model_->stopCheck();
  }
}

Task<> Session::untilInterrupted() {
  std::optional<CancellationCallback> interruption;
  auto waiting = app::callback<void>([this, &interruption](app::Callback<> interrupted) {
    interruption.emplace(interruption_, [interrupted] { interrupted(); });
  });
  co_await waiting;
}

}  // namespace tolvander::shell
