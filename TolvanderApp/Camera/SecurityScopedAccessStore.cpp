#include "TolvanderApp/Camera/SecurityScopedAccessStore.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace tolvander::app {

namespace {

constexpr BookmarkResolutionOptions quietly{.withoutUI = true, .withoutMounting = true};
constexpr BookmarkResolutionOptions quietlyWithScope{
    .withSecurityScope = true, .withoutUI = true, .withoutMounting = true};

std::optional<ResolvedBookmark> resolved(Bookmarks& bookmarks, const std::vector<std::byte>& bookmark,
                                         BookmarkResolutionOptions options) {
  try {
    return bookmarks.resolve(bookmark, options);
  } catch (const Error&) {
    return std::nullopt;
  }
}

std::optional<std::vector<std::byte>> madeBookmark(Bookmarks& bookmarks, const FileURL& url,
                                                   BookmarkCreationOptions options) {
  try {
    return bookmarks.bookmarkData(url, options);
  } catch (const Error&) {
    return std::nullopt;
  }
}

std::optional<std::vector<std::byte>> renewedBookmark(Bookmarks& bookmarks, const FileURL& url) {
  auto bookmark = madeBookmark(bookmarks, url, {.withSecurityScope = true});
  return bookmark ? std::move(bookmark) : madeBookmark(bookmarks, url, {});
}

}  // namespace

std::vector<SecurityScopedAccessStore::RenewedBookmark> SecurityScopedAccessStore::refresh(
    const std::vector<DeviceProfile>& profiles) {
  std::vector<const DeviceProfile*> wanted;
  for (const DeviceProfile& profile : profiles) {
    if (profile.securityScopedBookmark) {
      wanted.push_back(&profile);
    }
  }

  for (auto entry = entries_.begin(); entry != entries_.end();) {
    const auto profile = std::ranges::find(wanted, entry->first, &DeviceProfile::id);
    const bool isGood = profile != wanted.end() &&
                        bookmarks_.isStillThere(entry->second.bookmark, entry->second.url) &&
                        entry->second.bookmark == (*profile)->securityScopedBookmark;
    if (isGood) {
      ++entry;
    } else {
      stopAccessing(entry->second);
      entry = entries_.erase(entry);
    }
  }

  std::vector<RenewedBookmark> renewed;
  for (const DeviceProfile* const profile : wanted) {
    if (entries_.contains(profile->id)) {
      continue;
    }
    const std::vector<std::byte>& bookmark = *profile->securityScopedBookmark;
    auto place = resolved(bookmarks_, bookmark, quietlyWithScope);
    const bool didStartAccessing = place && bookmarks_.startAccessing(place->url);
    if (!place) {
      place = resolved(bookmarks_, bookmark, quietly);  // it may have been made without a security scope
    }
    if (!place) {
      continue;
    }
    Entry entry{.url = place->url, .bookmark = bookmark, .didStartAccessing = didStartAccessing};
    if (place->isStale) {
      if (auto fresh = renewedBookmark(bookmarks_, place->url)) {
        // The profile carries the new one from now on, and must still find its access open.
        entry.bookmark = *fresh;
        renewed.push_back({profile->id, *std::move(fresh)});
      }
    }
    entries_.emplace(profile->id, std::move(entry));
  }
  return renewed;
}

std::vector<DeviceProfile> SecurityScopedAccessStore::authorizedProfiles(
    const FileURL& volume, const std::vector<DeviceProfile>& profiles) const {
  std::vector<DeviceProfile> authorized;
  std::ranges::copy_if(profiles, std::back_inserter(authorized),
                       [this, place = volume.standardized()](const DeviceProfile& profile) {
                         const auto entry = entries_.find(profile.id);
                         return entry != entries_.end() &&
                                entry->second.bookmark == profile.securityScopedBookmark &&
                                entry->second.url.standardized() == place;
                       });
  return authorized;
}

void SecurityScopedAccessStore::stopAll() {
  for (const auto& [profileID, entry] : entries_) {
    stopAccessing(entry);
  }
  entries_.clear();
}

void SecurityScopedAccessStore::stopAccessing(const Entry& entry) {
  if (entry.didStartAccessing) {
    bookmarks_.stopAccessing(entry.url);
  }
}

}  // namespace tolvander::app
