#include "Platform/Linux/Notifications/DesktopNotifications.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/DBus/BusError.h"
#include "Platform/Linux/Notifications/DesktopNotificationError.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander::platform::linux_ {

using app::NotificationAuthorizationStatus;
using app::NotificationRequest;
using app::Task;

namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* objectPath = "/org/freedesktop/Notifications";

// The bus closes the connection for a text that isn't UTF-8 or contains NUL.
std::string textForBus(std::string_view text) {
  constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";
  std::string allowed;
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    const bool isAllowed = sequence.isWellFormed && text.front() != '\0';
    allowed += isAllowed ? text.substr(0, sequence.length) : replacementCharacter;
    text.remove_prefix(sequence.length);
  }
  return allowed;
}

// Escapes plain text for a service that interprets markup in the body (section "Markup").
std::string escapingMarkup(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

}  // namespace

// Calls to the notification service. Blocks; safe on every thread.
class DesktopNotifications::Service {
 public:
  explicit Service(std::chrono::milliseconds timeout) : timeout_(timeout) {}

  bool answers() {
    try {
      converse([this] { capabilities(); });
      return true;
    } catch (const DesktopNotificationError&) {
      return false;
    }
  }

  void notify(const NotificationRequest& request) {
    converse([&] { show(request); });
  }

 private:
  // After an error, drops the connection, so that the next attempt connects to a restarted bus.
  template <typename Talk>
  void converse(Talk talk) {
    const std::lock_guard lock(mutex_);
    try {
      if (!connection_) {
        connection_ = BusConnection::toSessionBus(timeout_);
      }
      talk();
    } catch (const BusError& error) {
      connection_.reset();
      throw DesktopNotificationError::serviceUnavailable(error.what());
    }
  }

  template <typename Result, typename... Arguments>
  Result call(const char* method, const Arguments&... arguments) {
    return connection_->call<Result>({.service = serviceName,
                                      .path = {objectPath},
                                      .interface = serviceName,
                                      .method = method,
                                      .timeout = timeout_},
                                     arguments...);
  }

  std::vector<std::string> capabilities() { return call<std::vector<std::string>>("GetCapabilities"); }

  void show(const NotificationRequest& request) {
    constexpr std::uint32_t replacesNone = 0;
    constexpr std::int32_t standardTime = -1;  // expire_timeout: chosen by the server
    const auto known = capabilities();
    const bool readsMarkup = std::ranges::find(known, "body-markup") != known.end();
    const std::string body = textForBus(request.body);
    const std::map<std::string, BusVariant> hints = {
        {"desktop-entry", BusVariant(std::string("com.tolvander.app"))},
        {"sound-name", BusVariant(std::string("message-new-instant"))}};
    call<std::uint32_t>("Notify", std::string("Tolvander"), replacesNone, std::string("com.tolvander.app"),
                        textForBus(request.title), readsMarkup ? escapingMarkup(body) : body,
                        std::vector<std::string>(), hints, standardTime);
  }

  const std::chrono::milliseconds timeout_;
  std::mutex mutex_;
  std::optional<BusConnection> connection_;
};

DesktopNotifications::DesktopNotifications(std::chrono::milliseconds timeout)
    : service_(std::make_shared<Service>(timeout)) {}

DesktopNotifications::~DesktopNotifications() = default;

Task<NotificationAuthorizationStatus> DesktopNotifications::authorizationStatus() {
  auto question = [service = service_] { return service->answers(); };
  auto answer = app::background(std::move(question));
  const bool answers = co_await answer;
  co_return answers ? NotificationAuthorizationStatus::authorized : NotificationAuthorizationStatus::denied;
}

// The service has no permission to request.
Task<> DesktopNotifications::requestAuthorization() { co_return; }

Task<> DesktopNotifications::add(NotificationRequest request) {
  auto job = [service = service_, request = std::move(request)] { service->notify(request); };
  auto notified = app::background(std::move(job));
  co_await notified;
}

}  // namespace tolvander::platform::linux_
