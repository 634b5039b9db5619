#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "TolvanderApp/Platform/Bookmarks.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// Resolves the bookmarks of the saved cameras and keeps the access to their volumes open. Only this class
// starts and stops access. Main thread only.
class SecurityScopedAccessStore {
 public:
  struct Entry {
    FileURL url;                      // what the bookmark resolved to
    std::vector<std::byte> bookmark;  // the profile's, or the renewed one
    bool didStartAccessing = false;   // so that access has to be stopped later

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  // A bookmark that takes the place of the profile's own.
  struct RenewedBookmark {
    UUID profileID;
    std::vector<std::byte> bookmark;

    friend bool operator==(const RenewedBookmark&, const RenewedBookmark&) = default;
  };

  explicit SecurityScopedAccessStore(Bookmarks& bookmarks) : bookmarks_(bookmarks) {}
  ~SecurityScopedAccessStore() { stopAll(); }
  SecurityScopedAccessStore(const SecurityScopedAccessStore&) = delete;
  SecurityScopedAccessStore& operator=(const SecurityScopedAccessStore&) = delete;

  // Makes the entries match the profiles that have a bookmark. Stops access to a volume when no profile has
  // its bookmark any more or the volume has moved, and resolves the bookmarks that have no entry. A bookmark
  // that can't be resolved is no error: its camera is not connected, and the next refresh tries again.
  // Returns the bookmarks that were renewed, in the order of the profiles; the caller stores them.
  std::vector<RenewedBookmark> refresh(const std::vector<DeviceProfile>& profiles);

  // The profiles whose present bookmark gives access to this volume, in the given order.
  std::vector<DeviceProfile> authorizedProfiles(const FileURL& volume,
                                                const std::vector<DeviceProfile>& profiles) const;

  void stopAll();

  const std::map<UUID, Entry>& entries() const { return entries_; }

 private:
  void stopAccessing(const Entry& entry);

  Bookmarks& bookmarks_;
  std::map<UUID, Entry> entries_;
};

}  // namespace tolvander::app
