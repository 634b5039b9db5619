#include <algorithm>
#include <cerrno>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/AbsolutePath.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::app {

namespace {

bool meansNothingThere(const PosixError& error) { return error.code() == ENOENT || error.code() == ENOTDIR; }

}  // namespace

// Reads the Trash directories that records and intents name. Each is opened and listed once.
class TrashService::Settling {
 public:
  Settling(const TrashService& service, const CancellationToken& token) : service_(service), token_(token) {}

  TrashSettlement of(const std::vector<ManagedTrashRecord>& records,
                     const std::vector<TrashIntent>& intents) && {
    for (const ManagedTrashRecord& record : records) {
      claimed_.insert(record.trashedPath);
    }
    for (const ManagedTrashRecord& record : records) {
      unlessItFails([&] { settle(record); });
    }
    for (const TrashIntent& intent : intents) {
      unlessItFails([&] { settle(intent); });
    }
    return std::move(settlement_);
  }

 private:
  struct Trash {
    OpenDirectory directory;
    std::string volumeIdentifier;
    std::vector<TrashedItem> items;
  };

  struct Item {
    std::string path;
    ManagedTrashIdentity identity;
  };

  using Acceptance = std::function<bool(const TrashedItem& item, const OpenFile& file)>;

  // A record or an intent that can't be checked is left as it is, and checked again next time.
  static void unlessItFails(const std::function<void()>& look) {
    try {
      look();
    } catch (const CancellationError&) {
      throw;
    } catch (const std::exception&) {
      return;
    }
  }

  void settle(const ManagedTrashRecord& record) {
    const auto file = urlOfAbsolutePath(record.trashedPath);
    if (!record.trashDirectoryPath || !record.identity || !file) {
      return;  // it proves nothing
    }
    const Trash& trash = trashAt(*record.trashDirectoryPath);
    const FileURL item = service_.normalized(*file);
    if (trash.volumeIdentifier != record.identity->volumeIdentifier ||
        item.deletingLastPathComponent() != trash.directory.url() ||
        isThere(trash, std::string(item.lastPathComponent()))) {
      return;
    }
    const auto hasSameIdentity = [&](const TrashedItem&, const OpenFile& opened) {
      return opened.identity() == *record.identity;
    };
    const auto renamed =
        itemFrom(trash, record.originalPath.value_or(""), record.fingerprint, hasSameIdentity);
    if (renamed) {
      settlement_.relocated.push_back(record.relocatedTo(renamed->path));
    } else {
      settlement_.emptied.insert(record.id);
    }
  }

  void settle(const TrashIntent& intent) {
    const Trash& trash = trashAt(intent.trashDirectoryPath);
    if (trash.volumeIdentifier != intent.volumeIdentifier) {
      return;
    }
    if (!isStillOnCamera(intent)) {
      const auto isNoOlder = [&](const TrashedItem& item, const OpenFile&) {
        return item.trashedAt >= intent.intendedAt;
      };
      if (auto item = itemFrom(trash, intent.originalPath, intent.fingerprint, isNoOlder)) {
        settlement_.found.push_back(
            intent.recordOf(std::move(item->path), std::move(item->identity), intent.intendedAt));
      }
    }
    settlement_.settledIntents.insert(intent.id);
  }

  // Throws if the directory can't be reached, is not a Trash directory, or can't be read completely.
  const Trash& trashAt(const std::string& path) {
    auto known = trashes_.find(path);
    if (known == trashes_.end()) {
      OpenDirectory directory = service_.openDirectory(service_.trashOfRecord(path));
      auto items = service_.platform_.trashedItems(directory.descriptor());
      std::string volume = service_.volumeIdentifier(directory.url());
      known = trashes_.emplace(path, Trash{std::move(directory), std::move(volume), std::move(items)}).first;
    }
    return known->second;
  }

  bool isThere(const Trash& trash, const std::string& name) const {
    try {
      service_.platform_.status(trash.directory.descriptor(), name);
      return true;
    } catch (const PosixError& error) {
      if (meansNothingThere(error)) {
        return false;
      }
      throw;
    }
  }

  bool isStillOnCamera(const TrashIntent& intent) const {
    const auto original = urlOfAbsolutePath(intent.originalPath);
    const auto isOnItsVolume = [&](const OpenFile& file) {
      return file.identity().volumeIdentifier == intent.volumeIdentifier;
    };
    return original && provenIdentity(*original, original->deletingLastPathComponent(), intent.fingerprint,
                                      isOnItsVolume);
  }

  // The item that came from this place according to the platform, has this content, and is in no record.
  std::optional<Item> itemFrom(const Trash& trash, const std::string& originalPath,
                               const std::string& fingerprint, const Acceptance& accepts) {
    const auto original = urlOfAbsolutePath(originalPath);
    for (const TrashedItem& item : trash.items) {
      const FileURL url = trash.directory.url().appending(item.name);
      if (!original || service_.normalized(item.original) != service_.normalized(*original) ||
          claimed_.contains(url.path())) {
        continue;
      }
      const auto identity = provenIdentity(url, trash.directory.url(), fingerprint,
                                           [&](const OpenFile& file) { return accepts(item, file); });
      if (identity) {
        claimed_.insert(url.path());
        return Item{url.path(), *identity};
      }
    }
    return std::nullopt;
  }

  // The identity of the file; absent if it is missing or another file.
  std::optional<ManagedTrashIdentity> provenIdentity(
      const FileURL& url, const FileURL& root, const std::string& fingerprint,
      const std::function<bool(const OpenFile&)>& accepts) const {
    try {
      const OpenFile file = service_.openFile(url, root);
      if (!accepts(file)) {
        return std::nullopt;
      }
      file.verifyHash(fingerprint, token_);
      return file.identity();
    } catch (const UnsafeTrashItem&) {
      return std::nullopt;
    } catch (const PosixError& error) {
      if (meansNothingThere(error)) {
        return std::nullopt;
      }
      throw;
    }
  }

  const TrashService& service_;
  const CancellationToken& token_;
  std::map<std::string, Trash> trashes_;  // by the path as recorded
  std::set<std::string> claimed_;         // paths of items that are some record's
  TrashSettlement settlement_;
};

TrashSettlement TrashService::settlement(const std::vector<ManagedTrashRecord>& records,
                                         const std::vector<TrashIntent>& intents,
                                         const CancellationToken& token) const {
  return Settling(*this, token).of(records, intents);
}

}  // namespace tolvander::app
