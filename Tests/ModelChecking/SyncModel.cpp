#include "Tests/ModelChecking/SyncModel.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaImportCommitFailure.h"
#include "TolvanderCore/MediaImportError.h"
#include "TolvanderCore/RecognitionError.h"

namespace tolvander::tests {

namespace {

bool holdsContentOf(const Item& item, const FingerprintedMediaFile& file) {
  return item.fingerprint == file.sourceFingerprint || item.fingerprint == file.pendingProcessedFingerprint ||
         (file.mediaPayloadFingerprint && file.mediaPayloadFingerprint == payloadOf(item.source));
}

std::string assetOfTheUser(const Bytes& bytes) { return "user " + bytes; }

// All pictures have the same date and metadata, so that the recognizer distinguishes them by name and content
// only.
constexpr Date whenAllWasTaken(std::chrono::seconds(1'700'000'000));

MediaMetadata appearanceOf(const Bytes& bytes) {
  const bool isVideo = !payloadOf(bytes);
  return {.kind = isVideo ? MediaMetadata::Kind::video : MediaMetadata::Kind::image,
          .pixelWidth = 640,
          .pixelHeight = 480,
          .duration = isVideo ? std::optional(5.0) : std::nullopt};
}

HistoryDatabase readIfThere(const FileURL& file) {
  return std::filesystem::exists(file.path()) ? readHistory(file) : HistoryDatabase();
}

}  // namespace

// In memory, because the history is written 100,000 times.
SyncModel::SyncModel(Configuration configuration)
    : configuration_(std::move(configuration)), folder_(TemporaryFolder::inMemory()) {
  std::filesystem::create_directory(historyFolder_.path());
  for (std::size_t card = 0; card < configuration_.cards.size(); ++card) {
    for (std::size_t index = 0; index < configuration_.cards[card].size(); ++index) {
      camera_.push_back(configuration_.cards[card][index]);
      writeFile(fileOnCard(card, index), camera_.back());
    }
  }
}

FileURL SyncModel::fileOnCard(std::size_t card, std::size_t index) const {
  return (folder_ / ("card" + std::to_string(card))).appending("PICT" + std::to_string(index) + ".JPG");
}

State SyncModel::start() const {
  State state;
  for (const Bytes& source : configuration_.itemsOfTheUser) {
    state.library[assetOfTheUser(source)] = {.source = source, .fingerprint = source, .isOurs = false};
  }
  state.history.imports = ImportRecords(configuration_.records);
  return normalized(std::move(state));
}

std::optional<Transition> SyncModel::step(const State& from, Nondeterminism& choices) {
  choices_ = &choices;
  placeHistory(from.history);
  history_ = std::make_shared<SyncHistoryStore>(historyFile_);
  library_ = from.library;
  review_ = from.review;
  trace_ = {};
  didBreakHistory_ = false;
  canStillFailToSave_ = true;
  lastRecords_ = from.history.imports;
  lastMarks_ = from.history.pendingImports;
  now_ = Date(std::chrono::seconds(1'800'000'000));
  try {
    trace_.outcome = outcomeOf([this] { command(); });
  } catch (const Impossible&) {
    mendHistory();
    return std::nullopt;
  }
  const bool wasNothingToSave = historyIsBroken_ && trace_.outcome != Outcome::notSaved;
  mendHistory();
  if (wasNothingToSave) {
    return std::nullopt;
  }
  if (trace_.outcome == Outcome::stopped) {
    review_.reset();
  }
  trace_.cameraAfter = readCamera();
  return Transition{.after = leftBehind(), .trace = trace_};
}

void SyncModel::placeHistory(const HistoryDatabase& history) {
  std::ofstream stream(historyFile_.path(), std::ios::binary);
  writeHistory(history, [&stream](std::span<const std::byte> bytes) {
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  });
}

State SyncModel::leftBehind() const {
  return normalized({.history = readIfThere(historyFile_), .library = library_, .review = review_});
}

std::vector<Bytes> SyncModel::readCamera() const {
  std::vector<Bytes> bytes;
  for (std::size_t card = 0; card < configuration_.cards.size(); ++card) {
    for (std::size_t index = 0; index < configuration_.cards[card].size(); ++index) {
      const std::string path = fileOnCard(card, index).path();
      std::ifstream stream(path, std::ios::binary);
      bytes.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
  }
  return bytes;
}

// The user

void SyncModel::command() {
  std::vector<std::function<void()>> commands = {[this] { review_ ? answerReview() : runOrReview(); }};
  if (!library_.empty()) {
    commands.emplace_back([this] { deleteItem(); });
  }
  for (const Bytes& bytes : configuration_.itemsAddedLater) {
    if (!library_.contains(assetOfTheUser(bytes))) {
      commands.emplace_back([this, &bytes] { addItem(bytes); });
    }
  }
  commands[choices_->choose(commands.size())]();
}

void SyncModel::runOrReview() {
  trace_.isRun = choices_->choose(2) == 0;
  card_ = choices_->choose(configuration_.cards.size());
  isCharmera_ = configuration_.isCharmera[choices_->choose(configuration_.isCharmera.size())];
  const std::string place = "card " + std::to_string(card_) + (isCharmera_ ? "" : " as of another camera");
  if (trace_.isRun) {
    log("run " + place);
    const auto run = [this] {
      noteResult(coordinator().run(cameraFiles(), isCharmera_, "Trip", cancellation_.token()));
    };
    return configuration_.fault.run ? configuration_.fault.run(*this, run) : run();
  }
  log("review " + place);
  const bool broader = choices_->choose(2) == 1;
  review_ = {.card = card_,
             .isCharmera = isCharmera_,
             .review = coordinator().review(cameraFiles(), isCharmera_, broader, cancellation_.token())};
}

void SyncModel::answerReview() {
  const OpenReview open = *review_;
  review_.reset();
  card_ = open.card;
  isCharmera_ = open.isCharmera;
  for (const auto& [source, match] : open.review.recognized) {
    trace_.foundByContent.insert(source);
  }
  for (const auto& [source, asset] : open.review.metadataRecognized) {
    trace_.foundByMetadata.insert(source);
  }
  if (choices_->choose(2) == 0) {
    log("remember");
    coordinator().rememberRecognizedImports(open.review, cancellation_.token());
  } else {
    log("restore");
    trace_.isRestoration = true;
    noteResult(coordinator().restore(open.review, isCharmera_, "Trip", cancellation_.token()));
  }
}

void SyncModel::noteResult(const SyncResult& result) {
  for (const CameraMediaFile& skipped : result.metadataMatchedFiles) {
    const auto file = std::ranges::find(trace_.scanned, skipped, &FingerprintedMediaFile::file);
    trace_.skipped.insert(file->sourceFingerprint);
  }
}

void SyncModel::deleteItem() {
  const auto item =
      std::next(library_.begin(), static_cast<std::ptrdiff_t>(choices_->choose(library_.size())));
  log("the user deletes " + item->first);
  library_.erase(item);
}

void SyncModel::addItem(const Bytes& bytes) {
  log("the user adds " + bytes);
  library_[assetOfTheUser(bytes)] = {.source = bytes, .fingerprint = bytes, .isOurs = false};
}

Outcome SyncModel::outcomeOf(const std::function<void()>& work) {
  try {
    work();
    return Outcome::completed;
  } catch (const Stop&) {
    return Outcome::stopped;
  } catch (const PosixError&) {
    if (!didBreakHistory_) {
      throw;
    }
    return Outcome::notSaved;
  } catch (const SyncHistoryError& error) {
    if (error.kind() != SyncHistoryError::Case::unresolvedImport) {
      throw;
    }
    return Outcome::interrupted;
  } catch (const RecognitionError&) {
    return Outcome::unchecked;
  } catch (const MediaImportError&) {
    return Outcome::incomplete;
  } catch (const Refusal&) {
    return Outcome::refused;
  } catch (const UnknownOutcome&) {
    return Outcome::unknown;
  }
}

// The program

SyncCoordinator SyncModel::coordinator() {
  SyncCoordinator::Dependencies bound = dependencies();
  if (configuration_.fault.dependencies) {
    configuration_.fault.dependencies(*this, bound);
  }
  return {history_, std::move(bound), [this] { return now(); }};
}

SyncCoordinator::Dependencies SyncModel::dependencies() {
  SyncCoordinator::Dependencies bound;
  bound.checkAccess = [this] { betweenSteps(); };
  bound.fingerprint = [this](const std::vector<CameraMediaFile>& files, bool isCharmera) {
    betweenSteps();
    trace_.scanned = fingerprint(files, isCharmera);
    if (trace_.isRun) {
      canFailToSave();  // the next step updates old records
    }
    return trace_.scanned;
  };
  bound.reconcile = [this](const Files& files, bool broader) { return search(files, broader); };
  bound.existingIdentifiers = [this](const std::vector<std::string>& assets) {
    betweenSteps();
    std::set<std::string> existing(assets.begin(), assets.end());
    std::erase_if(existing, [this](const std::string& asset) { return !library_.contains(asset); });
    return existing;
  };
  bound.importFiles = [this](const Files& files, bool) {
    import(files);
    return files;
  };
  bound.addToAlbum = [this](const std::vector<std::string>&, const std::string&) { betweenSteps(); };
  bound.phase = [](const SyncPhase&) {};
  return bound;
}

std::vector<CameraMediaFile> SyncModel::cameraFiles() const {
  std::vector<CameraMediaFile> files;
  for (std::size_t index = 0; index < configuration_.cards[card_].size(); ++index) {
    const FileURL url = fileOnCard(card_, index);
    const std::string name(url.lastPathComponent());
    files.push_back({.url = url,
                     .volumeURL = url.deletingLastPathComponent(),
                     .relativePath = name,
                     .filename = name,
                     .byteCount = static_cast<std::int64_t>(configuration_.cards[card_][index].size()),
                     .modifiedAt = {}});
  }
  return files;
}

SyncModel::Files SyncModel::fingerprint(const std::vector<CameraMediaFile>& files, bool isCharmera) const {
  Files fingerprinted;
  for (const CameraMediaFile& file : files) {
    const Bytes bytes = readFile(file.url);
    fingerprinted.push_back({.file = file,
                             .sourceFingerprint = bytes,
                             .mediaPayloadFingerprint = isCharmera ? payloadOf(bytes) : std::nullopt,
                             .captureDate = {},
                             .metadata = {},
                             .pendingProcessedFingerprint = {}});
    if (configuration_.usesRecognizer) {
      fingerprinted.back().captureDate = whenAllWasTaken;
      fingerprinted.back().metadata = appearanceOf(bytes);
    }
  }
  return fingerprinted;
}

PreparedMediaFile SyncModel::prepared(const FingerprintedMediaFile& file) const {
  const std::string& source = file.sourceFingerprint;
  return {.sourceFile = file.file,
          .importURL = file.file.url,
          .sourceFingerprint = source,
          .mediaPayloadFingerprint = file.mediaPayloadFingerprint,
          .processedFingerprint = isCharmera_ ? processedFingerprintOf(source) : source,
          .processingVersion = isCharmera_ ? std::optional<std::int64_t>(1) : std::nullopt,
          .isStagedCopy = true,
          .captureDate = {}};
}

void SyncModel::import(const Files& files) {
  betweenSteps();
  Batch batch;
  std::ranges::transform(files, std::back_inserter(batch),
                         [this](const FingerprintedMediaFile& file) { return prepared(file); });
  MediaImportTransaction::Steps bound = steps();
  if (configuration_.fault.steps) {
    configuration_.fault.steps(*this, bound);
  }
  MediaImportTransaction::run(batch, configuration_.batchSize, bound, cancellation_.token());
}

MediaImportTransaction::Steps SyncModel::steps() {
  MediaImportTransaction::Steps bound;
  bound.begin = [this](const Batch& batch) {
    save([&] { history_->beginPreparedImport(batch); });
    std::ranges::transform(batch, std::inserter(trace_.marked, trace_.marked.end()),
                           &PreparedMediaFile::sourceFingerprint);
    canStop();
  };
  bound.rollback = [this](const Batch& batch) {
    std::vector<std::string> sources;
    std::ranges::transform(batch, std::back_inserter(sources), &PreparedMediaFile::sourceFingerprint);
    save([&] { history_->abandonFailedImport(sources); });
  };
  bound.commit = [this](const Batch& batch) { return commit(batch); };
  bound.record = [this](const Batch& batch, const AssetIdentifiers& assets) { record(batch, assets); };
  bound.progress = [this](std::int64_t completed, std::int64_t total) {
    // The user can stop the import between two batches.
    trace_.wasCutShort = completed != 0 && completed != total && choices_->chooseOutcome(2) != 0;
    return !trace_.wasCutShort;
  };
  return bound;
}

// The library

LibraryReconciliation SyncModel::search(const Files& files, bool broader) {
  betweenSteps();
  if (configuration_.usesRecognizer) {
    return searchByRecognizer(files, broader);
  }
  LibraryReconciliation found;
  for (const FingerprintedMediaFile& file : files) {
    searchFor(file, broader, found);
  }
  found.budgetExceeded = !found.unchecked.empty() && choices_->choose(2) == 1;
  return found;
}

void SyncModel::searchFor(const FingerprintedMediaFile& file, bool broader, LibraryReconciliation& found) {
  const std::string& source = file.sourceFingerprint;
  std::vector<std::function<void()>> verdicts;
  std::optional<std::string> similar;  // the item that is most similar to the file
  bool isThere = false;
  for (const auto& [asset, item] : library_) {
    if (holdsContentOf(item, file)) {
      verdicts.emplace_back([&, &match = asset, &matched = item] {
        log(source + " is found as " + match);
        found.matches[source] = {.assetIdentifier = match,
                                 .resourceFingerprint = matched.fingerprint,
                                 .mediaPayloadFingerprint = payloadOf(matched.source)};
        trace_.foundByContent.insert(source);
      });
    }
    if (!similar || pictureOf(item.source) == pictureOf(source)) {
      similar = asset;
    }
    isThere = isThere || item.source == source || holdsContentOf(item, file);
  }
  const bool canOverlook = configuration_.search == Search::overlooks ||
                           (configuration_.search == Search::overlooksUnlessBroader && !broader);
  if (!isThere || canOverlook) {
    verdicts.emplace_back([&] { log(source + " is not found"); });
  }
  if (similar) {
    verdicts.emplace_back([&] {
      log(source + " looks like " + *similar);
      found.metadataMatches[source] = *similar;
      trace_.foundByMetadata.insert(source);
    });
  }
  verdicts.emplace_back([&] {
    log(source + " is unchecked");
    found.unchecked.insert(source);
    trace_.unchecked.insert(source);
  });
  trace_.unchecked.erase(source);
  verdicts[choices_->chooseOutcome(verdicts.size())]();
}

LibraryReconciliation SyncModel::searchByRecognizer(const Files& files, bool broader) {
  std::vector<OfflinePhotoRecognizer::Candidate> candidates;
  for (const auto& [asset, item] : library_) {
    candidates.push_back({.id = asset,
                          .assetIdentifier = asset,
                          .filename = nameInLibrary(item),
                          .creationDate = whenAllWasTaken,
                          .metadata = appearanceOf(item.source)});
  }
  const RecognitionPolicy policy = broader ? RecognitionPolicy::broader : RecognitionPolicy::automatic;
  const auto now = [] { return OfflinePhotoRecognizer::Instant(); };
  const auto read = [this](const std::string& asset, std::int64_t, std::chrono::nanoseconds) {
    return readItem(asset);
  };
  LibraryReconciliation found = OfflinePhotoRecognizer::reconcile(
      files, candidates, policy.scaled(std::ssize(files)), broader, {}, now, read, cancellation_.token());
  for (const FingerprintedMediaFile& file : files) {
    trace_.unchecked.erase(file.sourceFingerprint);
  }
  trace_.unchecked.insert(found.unchecked.begin(), found.unchecked.end());
  for (const auto& [source, match] : found.matches) {
    log(source + " is found as " + match.assetIdentifier);
    trace_.foundByContent.insert(source);
  }
  for (const auto& [source, asset] : found.metadataMatches) {
    log(source + " looks like " + asset);
    trace_.foundByMetadata.insert(source);
  }
  return found;
}

OfflinePhotoRecognizer::ReadResult SyncModel::readItem(const std::string& asset) {
  using ReadResult = OfflinePhotoRecognizer::ReadResult;
  const Item& item = library_.at(asset);
  switch (choices_->chooseOutcome(4)) {
    case 1:
      log(asset + " is in the cloud");
      return ReadResult::notLocal(0);
    case 2:
      log(asset + " can't be read");
      return ReadResult::unavailable(0);
    case 3:
      log(asset + " is too large to be read");
      return ReadResult::budgetExceeded(1);
    default:
      return ReadResult::available(
          {.sourceFingerprint = item.fingerprint, .mediaPayloadFingerprint = payloadOf(item.source)}, 1);
  }
}

// The name of the camera file. An item that is on no card has the name of the first file.
std::string SyncModel::nameInLibrary(const Item& item) const {
  for (std::size_t card = 0; card < configuration_.cards.size(); ++card) {
    const auto file = std::ranges::find(configuration_.cards[card], item.source);
    if (file != configuration_.cards[card].end()) {
      const auto index = static_cast<std::size_t>(file - configuration_.cards[card].begin());
      return std::string(fileOnCard(card, index).lastPathComponent());
    }
  }
  return std::string(fileOnCard(0, 0).lastPathComponent());
}

SyncModel::AssetIdentifiers SyncModel::commit(const Batch& batch) {
  enum { answers, failsUnknown, refuses };
  const std::size_t outcome = choices_->chooseOutcome(3);
  for (const PreparedMediaFile& file : batch) {
    trace_.handed.insert(file.sourceFingerprint);
  }
  if (outcome == refuses) {
    log("the library refuses");
    for (const PreparedMediaFile& file : batch) {
      trace_.refused.insert(file.sourceFingerprint);
    }
    throw MediaImportCommitFailure::definiteFailure(std::make_exception_ptr(Refusal()));
  }
  AssetIdentifiers assets;
  for (const PreparedMediaFile& file : batch) {
    if (choices_->chooseOutcome(2) == 0) {
      assets[file.sourceFingerprint] = take(file);
    }
  }
  if (outcome == failsUnknown) {
    log("the library doesn't know");
    throw UnknownOutcome();
  }
  canStop();
  for (const auto& [source, asset] : assets) {
    trace_.answered.insert(source);
  }
  return assets;
}

std::string SyncModel::take(const PreparedMediaFile& file) {
  std::string asset = file.sourceFingerprint;
  while (library_.contains(asset)) {
    asset += "'";
  }
  log("the library takes " + asset);
  library_[asset] = {
      .source = file.sourceFingerprint, .fingerprint = file.processedFingerprint, .isOurs = true};
  return asset;
}

void SyncModel::record(const Batch& batch, const AssetIdentifiers& assets) {
  std::vector<ImportRecord> records;
  for (const PreparedMediaFile& file : batch) {
    const auto asset = assets.find(file.sourceFingerprint);
    if (asset == assets.end()) {
      continue;
    }
    ImportRecord record;
    record.sourceFingerprint = file.sourceFingerprint;
    record.mediaPayloadFingerprint = file.mediaPayloadFingerprint;
    record.processedFingerprint = file.processedFingerprint;
    record.processingVersion = file.processingVersion;
    record.filename = file.sourceFile.filename;
    record.relativePath = file.sourceFile.relativePath;
    record.byteCount = file.sourceFile.byteCount;
    record.importedAt = now_;
    record.photosAssetIdentifier = asset->second;
    records.push_back(std::move(record));
  }
  save([&] { history_->record(records); });
  canStop();
}

// Events between two steps

void SyncModel::betweenSteps() {
  if (historyIsBroken_) {
    throw Impossible();  // nothing was saved while it was broken
  }
  const ImportRecords records = history_->records();
  const std::set<std::string> marks = history_->pendingImportSources();
  if (records != lastRecords_ || marks != lastMarks_) {
    lastRecords_ = records;
    lastMarks_ = marks;
    canStillFailToSave_ = true;
    canStop();
  }
}

void SyncModel::canStop() {
  if (choices_->chooseOutcome(2) == 1) {
    log("the process stops");
    throw Stop();
  }
}

void SyncModel::canFailToSave() {
  if (choices_->chooseOutcome(2) == 1) {
    breakHistory();
  }
}

void SyncModel::save(const std::function<void()>& change) {
  canFailToSave();
  try {
    change();
  } catch (const PosixError&) {
    mendHistory();
    throw;
  }
  lastRecords_ = history_->records();
  lastMarks_ = history_->pendingImportSources();
}

void SyncModel::breakHistory() {
  log("the history can't be written");
  std::filesystem::rename(historyFolder_.path(), historyFolder_.path() + " elsewhere");
  std::ofstream(historyFolder_.path()).flush();
  historyIsBroken_ = true;
  didBreakHistory_ = true;
}

void SyncModel::mendHistory() {
  if (historyIsBroken_) {
    std::filesystem::remove(historyFolder_.path());
    std::filesystem::rename(historyFolder_.path() + " elsewhere", historyFolder_.path());
    historyIsBroken_ = false;
  }
}

// Called once for each record, before all of them are saved.
Date SyncModel::now() {
  if (!historyIsBroken_) {
    betweenSteps();
    if (canStillFailToSave_) {
      canStillFailToSave_ = false;
      canFailToSave();
    }
  }
  return now_ += std::chrono::seconds(1);
}

}  // namespace tolvander::tests
