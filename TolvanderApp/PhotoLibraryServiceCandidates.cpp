#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/PhotoLibraryService.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderApp/ResourceIdentityAccumulator.h"
#include "TolvanderApp/ResourceRequest.h"
#include "TolvanderCore/FileURL.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

using Candidate = OfflinePhotoRecognizer::Candidate;
using ReadResult = OfflinePhotoRecognizer::ReadResult;
using Event = DiagnosticLog::Event;

constexpr std::size_t maximumWindowAssets = 750;
constexpr std::size_t identifiersPerFetch = 500;

bool isCandidate(PhotosResourceType type) {
  return type == PhotosResourceType::photo || type == PhotosResourceType::fullSizePhoto ||
         type == PhotosResourceType::video || type == PhotosResourceType::fullSizeVideo;
}

std::optional<MediaMetadata> metadataOf(const PhotosAsset& asset) {
  using Kind = MediaMetadata::Kind;
  if (asset.mediaType != PhotosMediaType::image && asset.mediaType != PhotosMediaType::video) {
    return std::nullopt;
  }
  const bool isVideo = asset.mediaType == PhotosMediaType::video;
  return MediaMetadata{.kind = isVideo ? Kind::video : Kind::image,
                       .pixelWidth = asset.pixelWidth,
                       .pixelHeight = asset.pixelHeight,
                       .duration = isVideo ? std::optional(asset.duration) : std::nullopt};
}

// A stretch of time, both ends included.
using Window = PhotosFetchOptions::CreationDates;

// The dates that lie within the search span of `date`, as far as a Date can reach.
Window spanAround(Date date) {
  const Date::duration span = RecognitionPolicy::searchSpan;
  return {.from = date < Date::min() + span ? Date::min() : date - span,
          .to = date > Date::max() - span ? Date::max() : date + span};
}

// The spans of all dates, which are sorted, with those that touch as one.
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

// Whether `date` lies in one of the windows, which are sorted and don't overlap.
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

// Assets by identifier, and no more of them than the limit.
class DistinctAssets {
 public:
  explicit DistinctAssets(std::int64_t limit) : limit_(static_cast<std::size_t>(limit)) {}

  bool isFull() const { return assets_.size() >= limit_; }

  // One after the other until one finds no room; whether all did. An asset that is there already is replaced.
  bool add(std::vector<PhotosAsset> assets) {
    for (PhotosAsset& asset : assets) {
      if (isFull() && !assets_.contains(asset.localIdentifier)) {
        return false;
      }
      const std::string identifier = asset.localIdentifier;
      assets_.insert_or_assign(identifier, std::move(asset));
    }
    return true;
  }

  // By identifier where dates are equal. No date is the oldest.
  std::vector<PhotosAsset> newestFirst() const {
    std::vector<PhotosAsset> assets;
    assets.reserve(assets_.size());
    for (const auto& [identifier, asset] : assets_) {
      assets.push_back(asset);
    }
    std::ranges::stable_sort(assets, std::ranges::greater(), &PhotosAsset::creationDate);
    return assets;
  }

 private:
  std::size_t limit_;
  std::map<std::string, PhotosAsset> assets_;
};

// Adds the first assets of the window, and returns whether these are all of them and found room.
bool addAssetsWithin(const Window& window, PhotoLibrary& library, DistinctAssets& assets) {
  std::vector<PhotosAsset> fetched =
      library.fetchAssets({.creationDates = window,
                           .order = PhotosFetchOptions::Order::creationDateAscending,
                           .fetchLimit = maximumWindowAssets + 1});  // one more tells that more exist
  const bool isWhole = fetched.size() <= maximumWindowAssets;
  fetched.resize(std::min(fetched.size(), maximumWindowAssets));
  return assets.add(std::move(fetched)) && isWhole;
}

// What the recognizer compares, and where it is to be read.
struct Candidates {
  std::vector<Candidate> list;
  std::unordered_map<std::string, PhotosAssetResource> resources;  // by candidate
};

Candidates candidatesAmong(const std::vector<PhotosAsset>& assets, PhotoLibrary& library) {
  Candidates candidates;
  for (const PhotosAsset& asset : assets) {
    for (PhotosAssetResource& resource : library.assetResources(asset)) {
      if (!isCandidate(resource.type)) {
        continue;
      }
      const std::string id = asset.localIdentifier + "|" + std::to_string(resource.index);
      candidates.list.push_back({.id = id,
                                 .assetIdentifier = asset.localIdentifier,
                                 .filename = resource.originalFilename,
                                 .creationDate = asset.creationDate,
                                 .metadata = metadataOf(asset)});
      candidates.resources.emplace(id, std::move(resource));
    }
  }
  return candidates;
}

bool isJPEG(const std::string& filename) {
  const std::string extension = lowercased(pathExtension(filename));
  return extension == "jpg" || extension == "jpeg";
}

// How a request ended that the library ended with this error, if any.
ResourceRequest::Result resultOf(const std::exception_ptr& error) {
  if (!error) {
    return ResourceRequest::Result::success;
  }
  try {
    std::rethrow_exception(error);
  } catch (const CancellationError&) {
    return ResourceRequest::Result::cancelled;
  } catch (const PhotosPlatformError& failure) {
    return failure.kind() == PhotosPlatformError::Case::networkAccessRequired
               ? ResourceRequest::Result::networkAccessRequired
               : ResourceRequest::Result::unavailable;
  } catch (const std::exception&) {
    return ResourceRequest::Result::unavailable;
  }
}

}  // namespace

LibraryReconciliation PhotoLibraryService::reconcileExisting(const std::vector<FingerprintedMediaFile>& files,
                                                             bool broader, const CancellationToken& token) {
  if (files.empty()) {
    return {};
  }
  const Turn::Holder turn(turn_);
  requireAccess();
  const RecognitionPolicy policy =
      (broader ? RecognitionPolicy::broader : RecognitionPolicy::automatic).scaled(std::ssize(files));
  const MonotonicTimer::Instant start = timer_.now();
  recorder_(Event::recognitionStarted, {{"camera_files", std::ssize(files)},
                                        {"broader", broader ? 1 : 0},
                                        {"resource_limit", policy.maximumResources},
                                        {"byte_limit", policy.maximumBytes}});

  std::map<std::string, LibraryMatch> held = heldMatches(files, token);
  std::vector<FingerprintedMediaFile> others;
  std::ranges::copy_if(files, std::back_inserter(others), [&](const FingerprintedMediaFile& file) {
    return !held.contains(file.sourceFingerprint);
  });

  const CandidateAssets found = others.empty() ? CandidateAssets() : candidateAssets(others, policy);
  const Candidates candidates = candidatesAmong(found.assets, library_);
  const auto read = [&](const std::string& id, std::int64_t maximumBytes, std::chrono::nanoseconds timeout) {
    const auto resource = candidates.resources.find(id);
    return resource == candidates.resources.end()
               ? ReadResult::unavailable(0)
               : resourceIdentity(resource->second, timeout, maximumBytes, token);
  };
  LibraryReconciliation reconciliation = OfflinePhotoRecognizer::reconcile(
      others, candidates.list, policy, broader, found.truncatedSources, [this] { return timer_.now(); }, read,
      token);
  reconciliation.matches.merge(held);

  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(timer_.now() - start);
  recorder_(Event::recognitionFinished, {{"matched", std::ssize(reconciliation.matches)},
                                         {"metadata_matched", std::ssize(reconciliation.metadataMatches)},
                                         {"unchecked", std::ssize(reconciliation.unchecked)},
                                         {"limit_reached", reconciliation.budgetExceeded ? 1 : 0},
                                         {"candidates", std::ssize(candidates.list)},
                                         {"elapsed_ms", elapsed.count()}});
  return reconciliation;
}

// The files of interrupted imports that the library has said it holds, as far as that is so.
std::map<std::string, LibraryMatch> PhotoLibraryService::heldMatches(
    const std::vector<FingerprintedMediaFile>& files, const CancellationToken& token) {
  std::map<std::string, LibraryMatch> matches;
  for (const FingerprintedMediaFile& file : files) {
    if (!file.pendingProcessedFingerprint) {
      continue;
    }
    if (auto match = matchAmong(*file.pendingProcessedFingerprint, token)) {
      matches.emplace(file.sourceFingerprint, std::move(*match));
    }
  }
  return matches;
}

// The first asset said to hold these bytes of which that is true.
std::optional<LibraryMatch> PhotoLibraryService::matchAmong(const std::string& fingerprint,
                                                            const CancellationToken& token) {
  constexpr std::chrono::hours patience(24);  // no limit: what is looked at is one known file
  std::vector<std::string> identifiers;
  for (const PhotosHeldContent& content : held_) {
    if (content.fingerprint == fingerprint) {
      identifiers.push_back(content.assetLocalIdentifier);
    }
  }
  if (identifiers.empty()) {
    return std::nullopt;
  }
  const Candidates candidates = candidatesAmong(library_.fetchAssets(identifiers), library_);
  for (const Candidate& candidate : candidates.list) {
    const ReadResult result = resourceIdentity(candidates.resources.at(candidate.id), patience,
                                               std::numeric_limits<std::int64_t>::max(), token);
    if (result.kind == ReadResult::Case::available && result.identity.sourceFingerprint == fingerprint) {
      return LibraryMatch{.assetIdentifier = candidate.assetIdentifier,
                          .resourceFingerprint = result.identity.sourceFingerprint,
                          .mediaPayloadFingerprint = result.identity.mediaPayloadFingerprint};
    }
  }
  return std::nullopt;
}

std::set<std::string> PhotoLibraryService::existingAssetIdentifiers(
    const std::vector<std::string>& identifiers, const CancellationToken& token) {
  const Turn::Holder turn(turn_);
  requireAccess();
  std::set<std::string> existing;
  for (auto run = identifiers.begin(); run != identifiers.end();) {
    token.throwIfCancelled();
    const auto count = std::min<std::ptrdiff_t>(identifiersPerFetch, identifiers.end() - run);
    const std::vector<std::string> wanted(run, run + count);
    for (PhotosAsset& asset : library_.fetchAssets(wanted)) {
      existing.insert(std::move(asset.localIdentifier));
    }
    run += count;
  }
  return existing;
}

bool PhotoLibraryService::proveOriginal(const std::string& identifier, const std::string& sha256,
                                        const CancellationToken& token) {
  const Turn::Holder turn(turn_);
  requireAccess();
  return library_.proveOriginal(identifier, sha256, token);
}

// The assets among which the files could be: those created near the files' dates, and the newest where a date
// is missing or the search is a broader one. No more than the policy allows, however large the library.
PhotoLibraryService::CandidateAssets PhotoLibraryService::candidateAssets(
    const std::vector<FingerprintedMediaFile>& files, const RecognitionPolicy& policy) {
  std::vector<Date> dates;
  bool needsRecentAssets = policy.recentCandidateLimit > RecognitionPolicy::automatic.recentCandidateLimit;
  for (const FingerprintedMediaFile& file : files) {
    const std::vector<Date> datesOfFile = RecognitionPolicy::searchDates(file);
    needsRecentAssets = needsRecentAssets || datesOfFile.empty();
    dates.insert(dates.end(), datesOfFile.begin(), datesOfFile.end());
  }
  if (dates.empty()) {
    return {.assets = recentAssets(policy), .truncatedSources = {}};
  }
  std::ranges::sort(dates);
  DistinctAssets assets(policy.maximumCandidates);
  if (needsRecentAssets) {
    assets.add(recentAssets(policy));
  }
  std::vector<Window> truncatedWindows;
  for (const Window& window : windowsAround(dates)) {
    if (assets.isFull() || !addAssetsWithin(window, library_, assets)) {
      truncatedWindows.push_back(window);
    }
  }
  return {.assets = assets.newestFirst(), .truncatedSources = sourcesWithin(truncatedWindows, files)};
}

std::vector<PhotosAsset> PhotoLibraryService::recentAssets(const RecognitionPolicy& policy) {
  return library_.fetchAssets(
      {.creationDates = {},
       .order = PhotosFetchOptions::Order::creationDateDescending,
       .fetchLimit = std::min(policy.maximumCandidates, policy.recentCandidateLimit)});
}

// Hashes one resource while it streams. Every failure is a result; CancellationError alone is thrown.
ReadResult PhotoLibraryService::resourceIdentity(const PhotosAssetResource& resource,
                                                 std::chrono::nanoseconds timeout, std::int64_t maximumBytes,
                                                 const CancellationToken& token) {
  using Result = ResourceRequest::Result;
  const auto accumulator = std::make_shared<ResourceIdentityAccumulator>(isJPEG(resource.originalFilename));
  const auto request = std::make_shared<ResourceRequest>(library_, maximumBytes);
  auto alarm = timer_.after(timeout, [request, record = recorder_] {
    record(Event::operationFailed, {{"resource_timeout", 1}});
    request->finish(Result::unavailable, true);
  });
  const CancellationCallback cancelled(token, [request] { request->finish(Result::cancelled, true); });
  token.throwIfCancelled();

  const auto continuation = std::make_shared<Continuation<Result>>();
  request->attach(continuation);
  // The handlers may be called after this read has ended, and this service.
  request->began(library_.requestData(
      resource,
      [request, accumulator](std::span<const std::byte> chunk) {
        if (request->accept(std::ssize(chunk))) {
          accumulator->append(chunk);
        }
      },
      [request, record = recorder_](std::exception_ptr error) {
        if (error) {
          record(Event::operationFailed, AppDiagnostics::errorMetrics(error));
        }
        request->finish(resultOf(error), false);
      }));

  const Result result = continuation->wait();
  alarm.reset();  // or it could still say that the time is up while the bytes are made an identity of
  const std::int64_t bytes = request->bytes();
  switch (result) {
    case Result::success:
      return ReadResult::available(accumulator->finalize(token), bytes);
    case Result::cancelled:
      throw CancellationError();
    case Result::budgetExceeded:
      return ReadResult::budgetExceeded(bytes);
    case Result::networkAccessRequired:
      return ReadResult::notLocal(bytes);
    case Result::unavailable:
      break;
  }
  return ReadResult::unavailable(bytes);
}

}  // namespace tolvander::app
