#include "TolvanderApp/Library/CandidateAssets.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace tolvander::app {

namespace {

// An interval of time, both ends included.
using Window = PhotosFetchOptions::CreationDates;

// The interval that a search for `date` covers, cut off at the limits of Date.
Window spanAround(Date date) {
  const Date::duration span = RecognitionPolicy::searchSpan;
  return {.from = date < Date::min() + span ? Date::min() : date - span,
          .to = date > Date::max() - span ? Date::max() : date + span};
}

// The intervals of all dates (sorted), merged where they touch.
std::vector<Window> windowsAround(const std::vector<Date>& dates) {
  std::vector<Window> windows;
  for (const Date date : dates) {
    const Window span = spanAround(date);
    if (!windows.empty() && span.from <= windows.back().to) {
      windows.back().to = std::max(windows.back().to, span.to);
    } else {
      windows.push_back(span);
    }
  }
  return windows;
}

// Whether one of the windows contains `date`. The windows are sorted and don't overlap.
bool liesInOneOf(const std::vector<Window>& windows, Date date) {
  const auto window = std::ranges::lower_bound(windows, date, {}, &Window::to);
  return window != windows.end() && window->from <= date;
}

// The files with a search date in one of the windows.
std::set<std::string> sourcesWithin(const std::vector<Window>& windows,
                                    const std::vector<FingerprintedMediaFile>& files) {
  std::set<std::string> sources;
  for (const FingerprintedMediaFile& file : files) {
    const std::vector<Date> dates = RecognitionPolicy::searchDates(file);
    if (std::ranges::any_of(dates, [&](Date date) { return liesInOneOf(windows, date); })) {
      sources.insert(file.sourceFingerprint);
    }
  }
  return sources;
}

// Assets by identifier. Those of known content don't count towards `limit`.
class DistinctAssets {
 public:
  explicit DistinctAssets(std::int64_t limit) : limit_(static_cast<std::size_t>(limit)) {}

  bool isFull() const { return limited_.size() >= limit_; }

  // Adds the assets in order and stops when the limit is reached. Returns whether all were added. An asset
  // that was added before is replaced.
  bool add(std::vector<PhotosAsset> assets) {
    for (PhotosAsset& asset : assets) {
      if (isFull() && !limited_.contains(asset.localIdentifier)) {
        return false;
      }
      insert(std::move(asset), limited_);
    }
    return true;
  }

  void addKnown(PhotosAsset asset) { insert(std::move(asset), known_); }

  // Assets without a date come last; equal dates are ordered by identifier.
  std::vector<PhotosAsset> newestFirst() const {
    std::vector<PhotosAsset> assets;
    assets.reserve(limited_.size() + known_.size());
    for (const auto* map : {&limited_, &known_}) {
      for (const auto& [identifier, asset] : *map) {
        assets.push_back(asset);
      }
    }
    std::ranges::sort(assets, [](const PhotosAsset& left, const PhotosAsset& right) {
      return left.creationDate != right.creationDate ? left.creationDate > right.creationDate
                                                     : left.localIdentifier < right.localIdentifier;
    });
    return assets;
  }

 private:
  using Map = std::map<std::string, PhotosAsset>;

  static void insert(PhotosAsset asset, Map& map) {
    const std::string identifier = asset.localIdentifier;
    map.insert_or_assign(identifier, std::move(asset));
  }

  std::size_t limit_;
  Map limited_;
  Map known_;
};

// The windows around the files' dates.
std::vector<Window> windowsAround(const std::vector<FingerprintedMediaFile>& files) {
  std::vector<Date> dates;
  for (const FingerprintedMediaFile& file : files) {
    const std::vector<Date> datesOfFile = RecognitionPolicy::searchDates(file);
    dates.insert(dates.end(), datesOfFile.begin(), datesOfFile.end());
  }
  std::ranges::sort(dates);
  return windowsAround(dates);
}

bool hasNoSearchDate(const FingerprintedMediaFile& file) {
  return RecognitionPolicy::searchDates(file).empty();
}

std::int64_t recentLimit(const RecognitionPolicy& policy) {
  return std::min(policy.maximumCandidates, policy.recentCandidateLimit);
}

std::vector<PhotosAsset> recentAssets(PhotoLibrary& library, const RecognitionPolicy& policy) {
  return library.fetchAssets({.creationDates = {},
                              .order = PhotosFetchOptions::Order::creationDateDescending,
                              .fetchLimit = recentLimit(policy)});
}

// The first assets of a window, and whether the window has no others.
struct WindowAssets {
  std::vector<PhotosAsset> assets;
  bool isWhole = true;

  // Keeps at most `count` assets.
  void limit(std::int64_t count) {
    isWhole = isWhole && std::ssize(assets) <= count;
    assets.resize(std::min(assets.size(), static_cast<std::size_t>(count)));
  }
};

WindowAssets assetsWithin(const Window& window, PhotoLibrary& library, std::int64_t limit) {
  WindowAssets found{
      .assets = library.fetchAssets({.creationDates = window,
                                     .order = PhotosFetchOptions::Order::creationDateAscending,
                                     .fetchLimit = limit + 1})};  // one more shows whether more exist
  found.limit(limit);
  return found;
}

// Adds those of known content to `distinct`, and returns the others.
std::vector<PhotosAsset> takeKnown(std::vector<PhotosAsset> assets, KnownContents& known,
                                   DistinctAssets& distinct, const CancellationToken& token) {
  known.learn(assets, token);
  std::vector<PhotosAsset> others;
  for (PhotosAsset& asset : assets) {
    if (known.isKnown(asset.localIdentifier)) {
      distinct.addKnown(std::move(asset));
    } else {
      others.push_back(std::move(asset));
    }
  }
  return others;
}

}  // namespace

CandidateAssets CandidateAssets::fetch(PhotoLibrary& library,
                                       const std::vector<FingerprintedMediaFile>& files,
                                       const RecognitionPolicy& policy, const LibrarySearchLimits& limits) {
  const std::vector<Window> windows = windowsAround(files);
  const bool isBroader = policy.recentCandidateLimit > limits.automatic.recentCandidateLimit;
  std::vector<PhotosAsset> recents;
  if (isBroader || windows.empty() || std::ranges::any_of(files, hasNoSearchDate)) {
    recents = recentAssets(library, policy);
  }
  const bool recentsAreFull = std::ssize(recents) >= recentLimit(policy);
  if (windows.empty()) {
    return {.assets = std::move(recents), .truncatedSources = {}, .recentsAreFull = recentsAreFull};
  }
  DistinctAssets assets(policy.maximumCandidates);
  assets.add(std::move(recents));
  std::vector<Window> truncatedWindows;
  for (const Window& window : windows) {
    bool isWhole = false;
    if (!assets.isFull()) {
      WindowAssets found = assetsWithin(window, library, limits.assetsPerWindow);
      isWhole = assets.add(std::move(found.assets)) && found.isWhole;
    }
    if (!isWhole) {
      truncatedWindows.push_back(window);
    }
  }
  return {.assets = assets.newestFirst(),
          .truncatedSources = sourcesWithin(truncatedWindows, files),
          .recentsAreFull = recentsAreFull};
}

CandidateAssets CandidateAssets::fetchBesideKnown(PhotoLibrary& library,
                                                  const std::vector<FingerprintedMediaFile>& files,
                                                  const RecognitionPolicy& policy,
                                                  const LibrarySearchLimits& limits,
                                                  const CandidateAssets& fetched, KnownContents& known,
                                                  const CancellationToken& token) {
  DistinctAssets assets(policy.maximumCandidates);
  assets.add(takeKnown(fetched.assets, known, assets, token));
  std::vector<Window> truncatedWindows;
  for (const Window& window : windowsAround(files)) {
    token.throwIfCancelled();
    // Also when the limit is reached: assets of known content don't count towards it.
    WindowAssets found = assetsWithin(window, library, limits.assetsPerWindowWithKnown);
    found.assets = takeKnown(std::move(found.assets), known, assets, token);
    found.limit(limits.assetsPerWindow);
    if (!assets.add(std::move(found.assets)) || !found.isWhole) {
      truncatedWindows.push_back(window);
    }
  }
  std::set<std::string> truncatedSources = sourcesWithin(truncatedWindows, files);
  if (fetched.recentsAreFull) {
    for (const FingerprintedMediaFile& file : files) {
      if (hasNoSearchDate(file)) {
        truncatedSources.insert(file.sourceFingerprint);
      }
    }
  }
  return {.assets = assets.newestFirst(),
          .truncatedSources = std::move(truncatedSources),
          .recentsAreFull = fetched.recentsAreFull};
}

}  // namespace tolvander::app
