#include "Platform/Linux/DesktopNotifications.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/DesktopNotificationError.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/UTF8.h"

namespace tolvander::platform::linux_ {

using app::NotificationAuthorizationStatus;
using app::NotificationRequest;
using app::Task;

namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* objectPath = "/org/freedesktop/Notifications";

// The bus ends the connection over a text that is no UTF-8, or that has a zero in it.
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

// Plain text for a desktop that reads markup in a body.
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

// The conversation with the desktop. Blocks; safe on every thread.
class DesktopNotifications::Service {
 public:
  explicit Service(std::chrono::milliseconds patience) : patience_(patience) {}

  bool answers() {
    try {
      converse([this](sdbus::IProxy& desktop) { capabilitiesOf(desktop); });
      return true;
    } catch (const DesktopNotificationError&) {
      return false;
    }
  }

  void notify(const NotificationRequest& request) {
    converse([&](sdbus::IProxy& desktop) { notify(desktop, request); });
  }

 private:
  // A connection that failed is given up, so that the next attempt finds a bus that was started anew.
  template <typename Talk>
  void converse(Talk talk) {
    const std::lock_guard lock(mutex_);
    try {
      if (!connection_) {
        connection_ = sdbus::createSessionBusConnection();
      }
      const auto desktop = sdbus::createProxy(*connection_, serviceName, objectPath);
      talk(*desktop);
    } catch (const sdbus::Error& error) {
      connection_.reset();
      throw DesktopNotificationError::serviceUnavailable(error.what());
    }
  }

  std::vector<std::string> capabilitiesOf(sdbus::IProxy& desktop) const {
    std::vector<std::string> capabilities;
    desktop.callMethod("GetCapabilities")
        .onInterface(serviceName)
        .withTimeout(patience_)
        .storeResultsTo(capabilities);
    return capabilities;
  }

  void notify(sdbus::IProxy& desktop, const NotificationRequest& request) const {
    constexpr std::uint32_t replacesNone = 0;
    constexpr std::int32_t standardTime = -1;  // on the screen, as the desktop has it
    const auto capabilities = capabilitiesOf(desktop);
    const bool readsMarkup = std::ranges::find(capabilities, "body-markup") != capabilities.end();
    const std::string body = textForBus(request.body);
    const std::map<std::string, sdbus::Variant> hints = {
        {"desktop-entry", sdbus::Variant("com.tolvander.app")},
        {"sound-name", sdbus::Variant("message-new-instant")}};
    std::uint32_t identifier = 0;
    desktop.callMethod("Notify")
        .onInterface(serviceName)
        .withTimeout(patience_)
        .withArguments(std::string("Tolvander"), replacesNone, std::string("com.tolvander.app"),
                       textForBus(request.title), readsMarkup ? escapingMarkup(body) : body,
                       std::vector<std::string>(), hints, standardTime)
        .storeResultsTo(identifier);
  }

  const std::chrono::milliseconds patience_;
  std::mutex mutex_;
  std::unique_ptr<sdbus::IConnection> connection_;
};

DesktopNotifications::DesktopNotifications(std::chrono::milliseconds patience)
    : service_(std::make_shared<Service>(patience)) {}

DesktopNotifications::~DesktopNotifications() = default;

Task<NotificationAuthorizationStatus> DesktopNotifications::authorizationStatus() {
  auto question = [service = service_] { return service->answers(); };
  auto answer = app::background(std::move(question));
  const bool answers = co_await answer;
  co_return answers ? NotificationAuthorizationStatus::authorized : NotificationAuthorizationStatus::denied;
}

// There is nobody to ask.
Task<> DesktopNotifications::requestAuthorization() { co_return; }

Task<> DesktopNotifications::add(NotificationRequest request) {
  auto job = [service = service_, request = std::move(request)] { service->notify(request); };
  auto notified = app::background(std::move(job));
  co_await notified;
}

}  // namespace tolvander::platform::linux_
