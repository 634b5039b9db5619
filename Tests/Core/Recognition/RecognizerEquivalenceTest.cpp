#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/Platform/Text.h"

// The recognizer against a search that does plainly what it is to do: every candidate looked at for every
// file, sorted anew each time, judged one by one.

namespace tolvander::tests {

namespace {

using namespace std::chrono_literals;
using Candidate = OfflinePhotoRecognizer::Candidate;
using Identity = OfflinePhotoRecognizer::Identity;
using Instant = OfflinePhotoRecognizer::Instant;
using ReadResult = OfflinePhotoRecognizer::ReadResult;
using Kind = MediaMetadata::Kind;

class PlainSearch {
 public:
  PlainSearch(const std::vector<FingerprintedMediaFile>& files, const std::vector<Candidate>& candidates,
              const RecognitionPolicy& policy, bool broader, const std::set<std::string>& truncatedSources,
              OfflinePhotoRecognizer::Now now, OfflinePhotoRecognizer::Read read,
              const CancellationToken& token)
      : files_(files),
        candidates_(candidates),
        policy_(policy),
        broader_(broader),
        now_(std::move(now)),
        read_(std::move(read)),
        token_(token),
        remainingBytes_(policy.maximumBytes),
        deadline_(now_() + policy.passTimeout) {
    for (const Candidate& candidate : candidates) {
      if (candidate.identity) {
        results_.emplace(candidate.id, ReadResult::available(*candidate.identity, 0));
      }
    }
    for (const auto& file : files) {
      if (truncatedSources.contains(file.sourceFingerprint)) {
        block(file);
      }
    }
  }

  LibraryReconciliation run() {
    for (const bool isNearby : {false, true}) {
      for (const auto& file : files_) {
        if (found_.matches.contains(file.sourceFingerprint) ||
            found_.metadataMatches.contains(file.sourceFingerprint)) {
          continue;
        }
        token_.throwIfCancelled();
        std::vector<Candidate> chosen = isNearby ? nearby(file) : namesakes(file);
        if (const auto known = knownContent(file)) {
          chosen.insert(chosen.begin(), *known);
        }
        for (const Candidate& candidate : chosen) {
          if (isSettledBy(candidate, file)) {
            found_.unchecked.erase(file.sourceFingerprint);
            budgetBlocked_.erase(file.sourceFingerprint);
            break;
          }
        }
      }
    }
    for (const std::string& source : found_.unchecked) {
      if (budgetBlocked_.contains(source)) {
        found_.limited.insert(source);
        found_.budgetExceeded = true;
      }
    }
    return found_;
  }

 private:
  static std::string nameKey(const std::string& filename, std::optional<Kind> kind) {
    const std::string name = lowercased(filename);
    const std::size_t dot = name.rfind('.');
    if (kind == Kind::video && dot != std::string::npos && dot > 0) {
      const std::string extension = name.substr(dot + 1);
      if (extension == "avi" || extension == "mp4" || extension == "mov") {
        return "video:" + name.substr(0, dot);
      }
    }
    return name;
  }
  static std::string keyOf(const Candidate& candidate) {
    return nameKey(candidate.filename,
                   candidate.metadata ? std::optional(candidate.metadata->kind) : std::nullopt);
  }
  static std::string keyOf(const FingerprintedMediaFile& file) {
    return nameKey(file.file.filename, file.metadata ? std::optional(file.metadata->kind) : std::nullopt);
  }

  // The first one of known identity that has the file's content.
  std::optional<Candidate> knownContent(const FingerprintedMediaFile& file) const {
    const auto first = [&](const auto& isWanted) {
      const auto found = std::ranges::find_if(candidates_, [&](const Candidate& candidate) {
        return candidate.identity && isWanted(*candidate.identity);
      });
      return found == candidates_.end() ? std::nullopt : std::optional(*found);
    };
    for (const auto& source : {file.pendingProcessedFingerprint, std::optional(file.sourceFingerprint)}) {
      if (const auto found =
              first([&](const Identity& identity) { return source == identity.sourceFingerprint; })) {
        return found;
      }
    }
    return first([&](const Identity& identity) {
      return file.mediaPayloadFingerprint && file.mediaPayloadFingerprint == identity.mediaPayloadFingerprint;
    });
  }

  std::vector<Candidate> namesakes(const FingerprintedMediaFile& file) const {
    std::vector<Candidate> chosen;
    for (const Candidate& candidate : candidates_) {
      if (keyOf(candidate) == keyOf(file)) {
        chosen.push_back(candidate);
      }
    }
    return chosen;
  }

  std::vector<Candidate> nearby(const FingerprintedMediaFile& file) {
    std::vector<Candidate> chosen;
    const bool takesAll = broader_ && RecognitionPolicy::searchDates(file).empty();
    for (const Candidate& candidate : candidates_) {
      const bool isNear = candidate.creationDate &&
                          RecognitionPolicy::distance(*candidate.creationDate, file).value_or(1e9) <= 259200;
      if (!candidate.identity && keyOf(candidate) != keyOf(file) && (takesAll || isNear)) {
        chosen.push_back(candidate);
      }
    }
    if (!takesAll) {
      const auto order = [&](const Candidate& candidate) {
        return std::pair(*RecognitionPolicy::distance(*candidate.creationDate, file), candidate.id);
      };
      std::stable_sort(chosen.begin(), chosen.end(), [&](const Candidate& left, const Candidate& right) {
        return order(left) < order(right);
      });
    }
    if (static_cast<std::int64_t>(chosen.size()) > policy_.nearbyCandidatesPerFile) {
      block(file);
      chosen.erase(chosen.begin() + policy_.nearbyCandidatesPerFile, chosen.end());
    }
    return chosen;
  }

  const ReadResult* result(const Candidate& candidate) {
    if (const auto known = results_.find(candidate.id); known != results_.end()) {
      return &known->second;
    }
    const auto timeLeft = deadline_ - now_();
    if (resourcesRead_ >= policy_.maximumResources || remainingBytes_ < 1 || timeLeft <= 0s) {
      return nullptr;
    }
    ReadResult result = read_(candidate.id, remainingBytes_,
                              std::min<std::chrono::nanoseconds>(timeLeft, policy_.resourceTimeout));
    if (result.kind == ReadResult::Case::unavailable && now_() >= deadline_) {
      result.kind = ReadResult::Case::budgetExceeded;
    }
    remainingBytes_ -= std::min(std::max<std::int64_t>(result.bytes, 0), remainingBytes_);
    ++resourcesRead_;
    return &(results_[candidate.id] = result);
  }

  static bool areWithinTwoSeconds(const FingerprintedMediaFile& file, const Candidate& candidate) {
    const std::optional<Date> date = file.captureDate ? file.captureDate : file.file.modifiedAt;
    return date && candidate.creationDate && *date - *candidate.creationDate <= 2s &&
           *candidate.creationDate - *date <= 2s;
  }

  static bool metadataAgrees(const FingerprintedMediaFile& file, const Candidate& candidate) {
    return !file.requiresExactReconciliation && file.metadata && file.metadata->kind == Kind::video &&
           candidate.metadata && candidate.metadata->kind == Kind::video &&
           nameKey(file.file.filename, Kind::video) == nameKey(candidate.filename, Kind::video) &&
           areWithinTwoSeconds(file, candidate) && file.metadata->matches(*candidate.metadata);
  }

  static bool identityAgrees(const FingerprintedMediaFile& file, const Identity& identity) {
    if (file.pendingProcessedFingerprint && *file.pendingProcessedFingerprint == identity.sourceFingerprint) {
      return true;
    }
    if (file.sourceFingerprint == identity.sourceFingerprint) {
      return true;
    }
    return file.mediaPayloadFingerprint && identity.mediaPayloadFingerprint &&
           *file.mediaPayloadFingerprint == *identity.mediaPayloadFingerprint;
  }

  bool isSettledBy(const Candidate& candidate, const FingerprintedMediaFile& file) {
    token_.throwIfCancelled();
    const ReadResult* const read = result(candidate);
    if (read == nullptr) {
      if (metadataAgrees(file, candidate)) {
        return recordMetadata(file, candidate);
      }
      block(file);
      return false;
    }
    const bool isContent = read->kind == ReadResult::Case::available && identityAgrees(file, read->identity);
    if (metadataAgrees(file, candidate)) {
      return isContent ? recordContent(file, candidate, read->identity) : recordMetadata(file, candidate);
    }
    switch (read->kind) {
      case ReadResult::Case::available:
        return isContent && recordContent(file, candidate, read->identity);
      case ReadResult::Case::unavailable:
        found_.unchecked.insert(file.sourceFingerprint);
        return false;
      case ReadResult::Case::budgetExceeded:
        block(file);
        return false;
      case ReadResult::Case::notLocal:
        break;
    }
    if (file.requiresExactReconciliation) {
      found_.unchecked.insert(file.sourceFingerprint);
      return false;
    }
    if (!equalIgnoringCase(file.file.filename, candidate.filename) || !areWithinTwoSeconds(file, candidate)) {
      return false;
    }
    if (!file.metadata || !candidate.metadata) {
      found_.unchecked.insert(file.sourceFingerprint);
      return false;
    }
    return file.metadata->matches(*candidate.metadata) && recordMetadata(file, candidate);
  }

  bool recordContent(const FingerprintedMediaFile& file, const Candidate& candidate,
                     const Identity& identity) {
    found_.matches[file.sourceFingerprint] = {candidate.assetIdentifier, identity.sourceFingerprint,
                                              identity.mediaPayloadFingerprint};
    return true;
  }
  bool recordMetadata(const FingerprintedMediaFile& file, const Candidate& candidate) {
    found_.metadataMatches[file.sourceFingerprint] = candidate.assetIdentifier;
    return true;
  }
  void block(const FingerprintedMediaFile& file) {
    found_.unchecked.insert(file.sourceFingerprint);
    budgetBlocked_.insert(file.sourceFingerprint);
  }

  const std::vector<FingerprintedMediaFile>& files_;
  const std::vector<Candidate>& candidates_;
  const RecognitionPolicy& policy_;
  const bool broader_;
  const OfflinePhotoRecognizer::Now now_;
  const OfflinePhotoRecognizer::Read read_;
  const CancellationToken& token_;
  std::int64_t remainingBytes_;
  const Instant deadline_;
  std::int64_t resourcesRead_ = 0;
  std::map<std::string, ReadResult> results_;
  LibraryReconciliation found_;
  std::set<std::string> budgetBlocked_;
};

struct ReadCall {
  std::string id;
  std::int64_t maximumBytes;
  std::chrono::nanoseconds timeout;

  friend bool operator==(const ReadCall&, const ReadCall&) = default;
};

std::ostream& operator<<(std::ostream& stream, const ReadCall& call) {
  return stream << call.id << " " << call.maximumBytes << " B " << call.timeout.count() << " ns";
}

// A card, a library and a budget, made of few values so that all sorts of agreement and of ties come about.
class World {
 public:
  World(std::uint64_t seed, std::size_t mostFiles, std::size_t mostCandidates) : random_(seed) {
    broader = chance(2);
    policy.maximumResources = chance(3) ? 1'000'000 : number(0, 2 * static_cast<int>(mostFiles));
    policy.maximumBytes = chance(2) ? 1'000'000 : number(0, 60);
    policy.nearbyCandidatesPerFile = chance(2) ? 1'000'000 : number(0, static_cast<int>(mostCandidates) / 2);
    policy.resourceTimeout = std::chrono::nanoseconds(number(1, 40));
    policy.passTimeout = std::chrono::nanoseconds(chance(3) ? number(0, 200) : 1'000'000'000);
    cancellingRead = chance(8) ? number(1, 20) : 0;
    isCloudLibrary = chance(4);
    knowsContents = chance(2);
    varietyOfContents = chance(2) ? 6 : 60;
    const auto fileCount = number(0, static_cast<int>(mostFiles));
    for (int index = 0; index < fileCount; ++index) {
      files.push_back(randomFile(index));
    }
    const auto candidateCount = number(0, static_cast<int>(mostCandidates));
    for (int index = 0; index < candidateCount; ++index) {
      candidates.push_back(randomCandidate(index));
    }
    for (int count = number(0, 3); count > 0; --count) {
      truncatedSources.insert("source" + std::to_string(number(0, varietyOfContents)));
    }
  }

  struct Outcome {
    std::optional<LibraryReconciliation> found;  // absent when it was cancelled
    std::vector<ReadCall> calls;
  };

  template <typename SearchFunction>
  Outcome run(const SearchFunction& search) const {
    Outcome outcome;
    CancellationSource source;
    Instant time;
    const auto now = [&] { return time; };
    const auto read = [&](const std::string& id, std::int64_t maximumBytes,
                          std::chrono::nanoseconds timeout) {
      outcome.calls.push_back({id, maximumBytes, timeout});
      if (static_cast<int>(outcome.calls.size()) == cancellingRead) {
        source.cancel();
      }
      const auto& [result, duration] = reads.at(id);
      time += duration;
      return result;
    };
    try {
      outcome.found = search(*this, now, read, source.token());
    } catch (const CancellationError&) {
      outcome.found.reset();
    }
    return outcome;
  }

  std::vector<FingerprintedMediaFile> files;
  std::vector<Candidate> candidates;
  RecognitionPolicy policy;
  bool broader = false;
  std::set<std::string> truncatedSources;
  std::map<std::string, std::pair<ReadResult, std::chrono::nanoseconds>> reads;
  int cancellingRead = 0;  // the read during which the search is cancelled, from 1; 0 for none

 private:
  int number(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }
  bool chance(int outOf) { return number(1, outOf) == 1; }

  template <typename Value>
  const Value& oneOf(const std::vector<Value>& values) {
    return values[static_cast<std::size_t>(number(0, static_cast<int>(values.size()) - 1))];
  }

  std::string filename() {
    static const std::vector<std::string> names{"PICT0001.AVI",
                                                "pict0001.mov",
                                                "Pict0001.MP4",
                                                "PICT0001.JPG",
                                                "pict0001.jpg",
                                                "PICT0002.JPG",
                                                "PICT0003.JPG",
                                                "IMG_1.HEIC",
                                                "IMG_2.HEIC",
                                                "STRASSE.AVI",
                                                "straße.avi",
                                                "É.mov",
                                                "e\u0301.MOV",
                                                ".avi",
                                                "video:pict0001",
                                                "avi",
                                                ""};
    return oneOf(names);
  }

  std::optional<MediaMetadata> metadata() {
    static const std::vector<std::optional<MediaMetadata>> all{
        std::nullopt,
        MediaMetadata{.kind = Kind::image, .pixelWidth = 640, .pixelHeight = 480, .duration = {}},
        MediaMetadata{.kind = Kind::image, .pixelWidth = 480, .pixelHeight = 640, .duration = {}},
        MediaMetadata{.kind = Kind::image, .pixelWidth = 100, .pixelHeight = 100, .duration = {}},
        MediaMetadata{.kind = Kind::video, .pixelWidth = 640, .pixelHeight = 480, .duration = 5.0},
        MediaMetadata{.kind = Kind::video, .pixelWidth = 480, .pixelHeight = 640, .duration = 5.05},
        MediaMetadata{.kind = Kind::video, .pixelWidth = 640, .pixelHeight = 480, .duration = 9.0}};
    return oneOf(all);
  }

  std::optional<Date> date() {
    static const std::vector<std::chrono::nanoseconds> offsets{
        0s,      1ns,           1s,       2s,  2s + 1ns,  -2s,     -2s - 1ns, 10s,
        3 * 24h, 3 * 24h + 1ns, -3 * 24h, 36h, 36h + 1ns, 6 * 24h, 9 * 24h};
    if (chance(6)) {
      return std::nullopt;
    }
    const auto offset = chance(2) ? oneOf(offsets) : std::chrono::minutes(number(-5'000, 5'000));
    return Date(1'750'000'000s + offset);
  }

  FingerprintedMediaFile randomFile(int index) {
    const std::string content = std::to_string(chance(6) ? number(0, varietyOfContents) : index);
    const auto captured = date();
    return {.file = {.url = FileURL("/card/x"),
                     .volumeURL = FileURL("/card"),
                     .relativePath = "x",
                     .filename = filename(),
                     .modifiedAt = chance(3) ? captured : date()},
            .sourceFingerprint = "source" + content,
            .mediaPayloadFingerprint = chance(2) ? std::nullopt : std::optional("payload" + content),
            .captureDate = captured,
            .metadata = metadata(),
            .pendingProcessedFingerprint = chance(5) ? std::optional("processed" + content) : std::nullopt,
            .requiresExactReconciliation = chance(4)};
  }

  Candidate randomCandidate(int index) {
    std::string id = std::to_string(number(0, 99)) + "|" + std::to_string(index);
    if (!candidates.empty() && chance(40)) {
      id = oneOf(candidates).id;  // one resource that was listed twice
    }
    reads.try_emplace(id, randomRead(), std::chrono::nanoseconds(number(0, 20)));
    Candidate candidate{.id = id,
                        .assetIdentifier = "asset" + std::to_string(index),
                        .filename = filename(),
                        .creationDate = date(),
                        .metadata = metadata()};
    if (knowsContents && chance(2) && id.ends_with("|" + std::to_string(index))) {
      candidate.identity = randomIdentity();
    }
    return candidate;
  }

  Identity randomIdentity() {
    const std::string content = std::to_string(number(0, varietyOfContents));
    return {.sourceFingerprint = (chance(3) ? "processed" : "source") + content,
            .mediaPayloadFingerprint = chance(2) ? std::nullopt : std::optional("payload" + content)};
  }

  ReadResult randomRead() {
    const std::int64_t bytes = number(-3, 9);
    switch (isCloudLibrary ? number(5, 7) : number(0, 7)) {
      case 5:
        return ReadResult::unavailable(bytes);
      case 6:
        return ReadResult::notLocal(bytes);
      case 7:
        return isCloudLibrary ? ReadResult::notLocal(bytes) : ReadResult::budgetExceeded(bytes);
      default:
        return ReadResult::available(randomIdentity(), bytes);
    }
  }

  std::mt19937_64 random_;
  bool isCloudLibrary = false;
  bool knowsContents = false;
  int varietyOfContents = 0;
};

World::Outcome plainOutcome(const World& world) {
  return world.run([](const World& it, const auto& now, const auto& read, const CancellationToken& token) {
    return PlainSearch(it.files, it.candidates, it.policy, it.broader, it.truncatedSources, now, read, token)
        .run();
  });
}

World::Outcome ownOutcome(const World& world) {
  return world.run([](const World& it, const auto& now, const auto& read, const CancellationToken& token) {
    return OfflinePhotoRecognizer::reconcile(it.files, it.candidates, it.policy, it.broader,
                                             it.truncatedSources, now, read, token);
  });
}

void expectSameOutcome(const World& world, std::uint64_t seed) {
  const World::Outcome plain = plainOutcome(world);
  const World::Outcome own = ownOutcome(world);
  ASSERT_EQ(own.calls, plain.calls) << "seed " << seed;
  if (!plain.found && own.found) {
    // Cancelled during the last read of all, which leaves candidates behind it that can change nothing.
    ASSERT_EQ(own.calls.size(), static_cast<std::size_t>(world.cancellingRead)) << "seed " << seed;
    return;
  }
  ASSERT_EQ(own.found.has_value(), plain.found.has_value()) << "seed " << seed;
  if (!plain.found) {
    return;
  }
  ASSERT_EQ(own.found->unchecked, plain.found->unchecked) << "seed " << seed;
  ASSERT_EQ(own.found->metadataMatches, plain.found->metadataMatches) << "seed " << seed;
  ASSERT_EQ(own.found->budgetExceeded, plain.found->budgetExceeded) << "seed " << seed;
  ASSERT_EQ(*own.found, *plain.found) << "seed " << seed;
}

}  // namespace

TEST(OfflinePhotoRecognizer, findsWhatAPlainSearchFindsWithTheSameReads) {
  for (std::uint64_t seed = 1; seed <= 8'000; ++seed) {
    ASSERT_NO_FATAL_FAILURE(expectSameOutcome(World(seed, 8, 16), seed));
  }
}

TEST(OfflinePhotoRecognizer, findsWhatAPlainSearchFindsInLargerLibraries) {
  for (std::uint64_t seed = 1'000'001; seed <= 1'000'080; ++seed) {
    ASSERT_NO_FATAL_FAILURE(expectSameOutcome(World(seed, 40, 150), seed));
  }
}

}  // namespace tolvander::tests
