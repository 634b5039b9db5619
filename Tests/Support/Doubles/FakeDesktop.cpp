#include "Tests/Support/Doubles/FakeDesktop.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <utility>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/DBus/BusError.h"
#include "Platform/Linux/DBus/BusObject.h"
#include "Tests/Support/Doubles/BusThread.h"

namespace tolvander::tests {

namespace {

using platform::linux_::BusConnection;
using platform::linux_::BusError;
using platform::linux_::busMethod;
using platform::linux_::BusObject;
using platform::linux_::BusVariant;

constexpr const char* interface = "org.freedesktop.Notifications";

}  // namespace

class FakeDesktop::Service {
 public:
  Service(const std::string& busAddress, Behaviour behaviour, std::vector<std::string> capabilities)
      : behaviour_(behaviour),
        capabilities_(std::move(capabilities)),
        connection_(BusConnection::toBusAt(busAddress, std::chrono::minutes(1))),
        object_(connection_, {"/org/freedesktop/Notifications"}, interface,
                {busMethod("GetCapabilities", [this] { return capabilities_; }),
                 busMethod("Notify",
                           [this](const std::string& applicationName, std::uint32_t replacedIdentifier,
                                  const std::string& icon, const std::string& title, const std::string& body,
                                  const std::vector<std::string>& actions,
                                  const std::map<std::string, BusVariant>& hints, std::int32_t expiration) {
                             return show({applicationName, replacedIdentifier, icon, title, body, actions,
                                          textsOf(hints), expiration});
                           })}) {
    connection_.requestName(interface);
    if (behaviour_ != Behaviour::staysSilent) {
      beginToAnswer();
    }
  }

  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  void beginToAnswer() { thread_.emplace(connection_); }

  std::vector<ShownNotification> shown() const {
    const std::lock_guard lock(mutex_);
    return shown_;
  }

 private:
  static std::map<std::string, std::string> textsOf(const std::map<std::string, BusVariant>& hints) {
    std::map<std::string, std::string> texts;
    for (const auto& [name, value] : hints) {
      texts.emplace(name, value.get<std::string>());
    }
    return texts;
  }

  std::uint32_t show(ShownNotification notification) {
    const std::lock_guard lock(mutex_);
    if (behaviour_ == Behaviour::refuses) {
      throw BusError("org.freedesktop.Notifications.Error.ExcessNotificationGeneration", "too many");
    }
    shown_.push_back(std::move(notification));
    return static_cast<std::uint32_t>(shown_.size());
  }

  const Behaviour behaviour_;
  const std::vector<std::string> capabilities_;
  mutable std::mutex mutex_;
  std::vector<ShownNotification> shown_;
  BusConnection connection_;
  BusObject object_;
  std::optional<BusThread> thread_;  // last: ends before what it uses
};

FakeDesktop::FakeDesktop(const std::string& busAddress, Behaviour behaviour,
                         std::vector<std::string> capabilities)
    : service_(std::make_unique<Service>(busAddress, behaviour, std::move(capabilities))) {}

FakeDesktop::~FakeDesktop() = default;

void FakeDesktop::beginToAnswer() { service_->beginToAnswer(); }

std::vector<ShownNotification> FakeDesktop::shown() const { return service_->shown(); }

}  // namespace tolvander::tests
