#include "Tests/Support/FakeDesktop.h"

#include <sdbus-c++/sdbus-c++.h>

#include <mutex>
#include <utility>

namespace tolvander::tests {

class FakeDesktop::Service {
 public:
  Service(const std::string& busAddress, Behaviour behaviour, std::vector<std::string> capabilities)
      : behaviour_(behaviour),
        capabilities_(std::move(capabilities)),
        connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
        object_(sdbus::createObject(*connection_, "/org/freedesktop/Notifications")) {
    const std::string interface = "org.freedesktop.Notifications";
    object_->registerMethod("GetCapabilities").onInterface(interface).implementedAs([this] {
      return capabilities_;
    });
    object_->registerMethod("Notify").onInterface(interface).implementedAs(
        [this](const std::string& applicationName, std::uint32_t replacedIdentifier, const std::string& icon,
               const std::string& title, const std::string& body, const std::vector<std::string>& actions,
               const std::map<std::string, sdbus::Variant>& hints, std::int32_t expiration) {
          return show(
              {applicationName, replacedIdentifier, icon, title, body, actions, textsOf(hints), expiration});
        });
    object_->finishRegistration();
    connection_->requestName(interface);
    if (behaviour_ != Behaviour::staysSilent) {
      beginToAnswer();
    }
  }

  ~Service() { connection_->leaveEventLoop(); }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  void beginToAnswer() { connection_->enterEventLoopAsync(); }

  std::vector<ShownNotification> shown() const {
    const std::lock_guard lock(mutex_);
    return shown_;
  }

 private:
  static std::map<std::string, std::string> textsOf(const std::map<std::string, sdbus::Variant>& hints) {
    std::map<std::string, std::string> texts;
    for (const auto& [name, value] : hints) {
      texts.emplace(name, value.get<std::string>());
    }
    return texts;
  }

  std::uint32_t show(ShownNotification notification) {
    const std::lock_guard lock(mutex_);
    if (behaviour_ == Behaviour::refuses) {
      throw sdbus::Error("org.freedesktop.Notifications.Error.ExcessNotificationGeneration", "too many");
    }
    shown_.push_back(std::move(notification));
    return static_cast<std::uint32_t>(shown_.size());
  }

  const Behaviour behaviour_;
  const std::vector<std::string> capabilities_;
  mutable std::mutex mutex_;
  std::vector<ShownNotification> shown_;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IObject> object_;
};

FakeDesktop::FakeDesktop(const std::string& busAddress, Behaviour behaviour,
                         std::vector<std::string> capabilities)
    : service_(std::make_unique<Service>(busAddress, behaviour, std::move(capabilities))) {}

FakeDesktop::~FakeDesktop() = default;

void FakeDesktop::beginToAnswer() { service_->beginToAnswer(); }

std::vector<ShownNotification> FakeDesktop::shown() const { return service_->shown(); }

}  // namespace tolvander::tests
