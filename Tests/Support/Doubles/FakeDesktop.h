#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tolvander::tests {

// What a desktop was told to show.
struct ShownNotification {
  std::string applicationName;
  std::uint32_t replacedIdentifier = 0;
  std::string icon;
  std::string title;
  std::string body;
  std::vector<std::string> actions;
  std::map<std::string, std::string> hints;
  std::int32_t expiration = 0;  // milliseconds
};

// A desktop's service for notifications on a bus, on a separate thread.
class FakeDesktop {
 public:
  enum class Behaviour { answers, staysSilent, refuses };

  FakeDesktop(const std::string& busAddress, Behaviour behaviour, std::vector<std::string> capabilities = {});
  ~FakeDesktop();
  FakeDesktop(const FakeDesktop&) = delete;
  FakeDesktop& operator=(const FakeDesktop&) = delete;

  // Ends a silence, and answers the requests that came during it.
  void beginToAnswer();

  std::vector<ShownNotification> shown() const;

 private:
  class Service;
  std::unique_ptr<Service> service_;
};

}  // namespace tolvander::tests
