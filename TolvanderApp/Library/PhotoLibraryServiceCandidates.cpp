#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Library/CandidateAssets.h"
#include "TolvanderApp/Library/KnownContents.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Library/ResourceIdentityAccumulator.h"
#include "TolvanderApp/Library/ResourceRequest.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

using Candidate = OfflinePhotoRecognizer::Candidate;
using ReadResult = OfflinePhotoRecognizer::ReadResult;
using Event = DiagnosticLog::Event;
using Files = std::vector<FingerprintedMediaFile>;

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

// An asset as the recognizer compares it, and the resource to read for it.
struct Candidates {
  std::vector<Candidate> list;
  std::unordered_map<std::string, PhotosAssetResource> resources;  // by candidate
};

Candidates candidatesAmong(const std::vector<PhotosAsset>& assets, PhotoLibrary& library,
                           const CancellationToken& token) {
  Candidates candidates;
  for (const PhotosAsset& asset : assets) {
    token.throwIfCancelled();
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

// Files of cards other than a Charmera have no payload.
bool comparesPayloads(const Files& files) {
  return std::ranges::any_of(
      files, [](const FingerprintedMediaFile& file) { return file.mediaPayloadFingerprint.has_value(); });
}

// How a request ended, from the error with which the library completed it; null for none.
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

// One search. It goes through the candidates once or twice.
class PhotoLibraryService::Search {
 public:
  // All must outlive it.
  Search(PhotoLibraryService& service, const Files& files, const RecognitionPolicy& policy, bool broader,
         const ImportRecords& records, const CancellationToken& token)
      : service_(service),
        files_(files),
        policy_(policy),
        broader_(broader),
        token_(token),
        known_(service.library_, records, comparesPayloads(files)) {}

  LibraryReconciliation run() {
    if (files_.empty()) {
      return {};
    }
    const CandidateAssets found =
        CandidateAssets::fetch(service_.library_, files_, policy_, service_.limits_);
    known_.learn(found.assets, token_);
    const Candidates candidates = candidatesAmong(found.assets, service_.library_, token_);
    candidateCount_ = std::ssize(candidates.list);
    LibraryReconciliation reconciliation = reconcile(files_, candidates, found.truncatedSources);
    // Only in a broader search: an automatic one that met a limit is followed by a broader one anyway.
    if (broader_ && !reconciliation.limited.empty() && known_.canBeKnown()) {
      lookAgain(found, reconciliation);
    }
    return reconciliation;
  }

  // Of the first look.
  std::int64_t candidateCount() const { return candidateCount_; }

 private:
  // Searches again for the files that a limit left unchecked. Assets of known content don't count towards the
  // limits this time.
  void lookAgain(const CandidateAssets& fetched, LibraryReconciliation& reconciliation) {
    const std::set<std::string> limited = std::exchange(reconciliation.limited, {});
    Files again;
    std::ranges::copy_if(files_, std::back_inserter(again), [&](const FingerprintedMediaFile& file) {
      return limited.contains(file.sourceFingerprint);
    });
    const CandidateAssets found = CandidateAssets::fetchBesideKnown(
        service_.library_, again, policy_, service_.limits_, fetched, known_, token_);
    Candidates candidates = candidatesAmong(found.assets, service_.library_, token_);
    for (Candidate& candidate : candidates.list) {
      if (const KnownContents::Content* content = knownContent(candidates.resources.at(candidate.id))) {
        candidate.identity = content->identity;
      }
    }
    LibraryReconciliation second = reconcile(again, candidates, found.truncatedSources);
    reconciliation.matches.merge(second.matches);
    reconciliation.metadataMatches.merge(second.metadataMatches);
    std::erase_if(reconciliation.unchecked,
                  [&](const std::string& source) { return limited.contains(source); });
    reconciliation.unchecked.merge(second.unchecked);
    reconciliation.limited = std::move(second.limited);
    reconciliation.budgetExceeded = second.budgetExceeded;
  }

  LibraryReconciliation reconcile(const Files& files, const Candidates& candidates,
                                  const std::set<std::string>& truncatedSources) {
    const auto read = [&](const std::string& id, std::int64_t maximumBytes,
                          std::chrono::nanoseconds timeout) {
      const auto resource = candidates.resources.find(id);
      return resource == candidates.resources.end() ? ReadResult::unavailable(0)
                                                    : this->read(id, resource->second, maximumBytes, timeout);
    };
    return OfflinePhotoRecognizer::reconcile(
        files, candidates.list, policy_, broader_, truncatedSources, [this] { return service_.timer_.now(); },
        read, token_);
  }

  // Answers that need no read are charged to the budget as if they had been read. The first look then has the
  // same verdicts as a search that reads everything. Otherwise it could call a file new that a broader
  // search, which follows when a limit is met, would find.
  ReadResult read(const std::string& id, const PhotosAssetResource& resource, std::int64_t maximumBytes,
                  std::chrono::nanoseconds timeout) {
    if (const KnownContents::Content* content = knownContent(resource)) {
      return resultOf(*content, maximumBytes);
    }
    if (const auto earlier = contentsRead_.find(id); earlier != contentsRead_.end()) {
      return resultOf(earlier->second, maximumBytes);
    }
    ReadResult result = service_.resourceIdentity(resource, timeout, maximumBytes, token_);
    if (result.kind == ReadResult::Case::available) {
      contentsRead_.emplace(id, KnownContents::Content{result.identity, result.bytes});
    }
    return result;
  }

  static ReadResult resultOf(const KnownContents::Content& content, std::int64_t maximumBytes) {
    return content.byteCount <= maximumBytes ? ReadResult::available(content.identity, content.byteCount)
                                             : ReadResult::budgetExceeded(content.byteCount);
  }

  const KnownContents::Content* knownContent(const PhotosAssetResource& resource) const {
    return known_.find(resource.assetLocalIdentifier, resource.index);
  }

  PhotoLibraryService& service_;
  const Files& files_;
  const RecognitionPolicy& policy_;
  const bool broader_;
  const CancellationToken& token_;
  KnownContents known_;
  std::unordered_map<std::string, KnownContents::Content> contentsRead_;  // by candidate
  std::int64_t candidateCount_ = 0;
};

LibraryReconciliation PhotoLibraryService::reconcileExisting(const Files& files, bool broader,
                                                             const CancellationToken& token,
                                                             const ImportRecords& records) {
  if (files.empty()) {
    return {};
  }
  const std::lock_guard lock(mutex_);
  requireAccess();
  const RecognitionPolicy policy = (broader ? limits_.broader : limits_.automatic).scaled(std::ssize(files));
  const MonotonicTimer::Instant start = timer_.now();
  recorder_(Event::recognitionStarted, {{"camera_files", std::ssize(files)},
                                        {"broader", broader ? 1 : 0},
                                        {"resource_limit", policy.maximumResources},
                                        {"byte_limit", policy.maximumBytes}});

  std::map<std::string, LibraryMatch> held = heldMatches(files, token);
  Files others;
  std::ranges::copy_if(files, std::back_inserter(others), [&](const FingerprintedMediaFile& file) {
    return !held.contains(file.sourceFingerprint);
  });
  Search search(*this, others, policy, broader, records, token);
  LibraryReconciliation reconciliation = search.run();
  reconciliation.matches.merge(held);

  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(timer_.now() - start);
  recorder_(Event::recognitionFinished, {{"matched", std::ssize(reconciliation.matches)},
                                         {"metadata_matched", std::ssize(reconciliation.metadataMatches)},
                                         {"unchecked", std::ssize(reconciliation.unchecked)},
                                         {"limit_reached", reconciliation.budgetExceeded ? 1 : 0},
                                         {"candidates", search.candidateCount()},
                                         {"elapsed_ms", elapsed.count()}});
  return reconciliation;
}

// The files of interrupted imports that the library says it holds, kept only where reading an asset confirms
// it.
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

// The first of the named assets that holds these bytes; each is read to confirm it.
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
  const Candidates candidates = candidatesAmong(library_.fetchAssets(identifiers), library_, token);
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
  const std::lock_guard lock(mutex_);
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
  const std::lock_guard lock(mutex_);
  requireAccess();
  return library_.proveOriginal(identifier, sha256, token);
}

// Hashes one resource while it streams. Failures are returned as results; only CancellationError is thrown.
ReadResult PhotoLibraryService::resourceIdentity(const PhotosAssetResource& resource,
                                                 std::chrono::nanoseconds timeout, std::int64_t maximumBytes,
                                                 const CancellationToken& token) {
  using Result = ResourceRequest::Result;
  const auto accumulator = std::make_shared<ResourceIdentityAccumulator>(
      ResourceIdentityAccumulator::isJPEG(resource.originalFilename));
  const auto request = std::make_shared<ResourceRequest>(library_, maximumBytes);
  auto alarm = timer_.after(timeout, [request, record = recorder_] {
    record(Event::operationFailed, {{"resource_timeout", 1}});
    request->finish(Result::unavailable, true);
  });
  const CancellationCallback cancelled(token, [request] { request->finish(Result::cancelled, true); });
  token.throwIfCancelled();

  const auto continuation = std::make_shared<Continuation<Result>>();
  request->attach(continuation);
  // The handlers may be called after this read has ended and the service is destroyed.
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
