#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "TolvanderApp/Platform/Bookmarks.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// Keeps the bookmarks of the saved cameras resolved and the access to them open. The one place that starts
// and stops access. Belongs to the main thread.
class SecurityScopedAccessStore {
 public:
  struct Entry {
    FileURL url;                      // where the bookmark resolved to
    std::vector<std::byte> bookmark;  // the profile's, a renewed one where it had to be renewed
    bool didStartAccessing = false;   // and access has to be stopped

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

  // Makes the entries those of the profiles that carry a bookmark: what is no longer wanted, is gone from its
  // place, or was made from another bookmark is let go, and what is missing is resolved. A bookmark that
  // can't be resolved is no error; its camera isn't there, and the next refresh tries again. Returns the
  // bookmarks that were renewed, in the profiles' order, for the caller to keep.
  std::vector<RenewedBookmark> refresh(const std::vector<DeviceProfile>& profiles);

  // The profiles, in order, by whose present bookmark there is access to this volume.
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
