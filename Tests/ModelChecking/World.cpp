#include "Tests/ModelChecking/World.h"

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

// What the recognizer looks at beside the bytes is the same of all pictures, so that only names tell them
// apart.
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

// The history is written a hundred thousand times, which no disk needs to bear.
World::World(Setting setting) : setting_(std::move(setting)), folder_(TemporaryFolder::inMemory()) {
  std::filesystem::create_directory(historyFolder_.path());
  for (std::size_t card = 0; card < setting_.cards.size(); ++card) {
    for (std::size_t index = 0; index < setting_.cards[card].size(); ++index) {
      camera_.push_back(setting_.cards[card][index]);
      writeFile(fileOnCard(card, index), camera_.back());
    }
  }
}

FileURL World::fileOnCard(std::size_t card, std::size_t index) const {
  return (folder_ / ("card" + std::to_string(card))).appending("PICT" + std::to_string(index) + ".JPG");
}

State World::start() const {
  State state;
  for (const Bytes& source : setting_.itemsOfTheUser) {
    state.library[assetOfTheUser(source)] = {.source = source, .fingerprint = source, .isOurs = false};
  }
  state.history.imports = ImportRecords(setting_.records);
  return normalized(std::move(state));
}

std::optional<Transition> World::step(const State& from, Choices& choices) {
  choices_ = &choices;
  placeHistory(from.history);
  history_ = std::make_shared<SyncHistoryStore>(historyFile_);
  library_ = from.library;
  review_ = from.review;
  conduct_ = {};
  didBreakHistory_ = false;
  canStillFailToSave_ = true;
  lastRecords_ = from.history.imports;
  lastMarks_ = from.history.pendingImports;
  now_ = Date(std::chrono::seconds(1'800'000'000));
  try {
    conduct_.ending = endingOf([this] { command(); });
  } catch (const Impossible&) {
    mendHistory();
    return std::nullopt;
  }
  const bool wasNothingToSave = historyIsBroken_ && conduct_.ending != Ending::notSaved;
  mendHistory();
  if (wasNothingToSave) {
    return std::nullopt;
  }
  if (conduct_.ending == Ending::stopped) {
    review_.reset();
  }
  conduct_.cameraAfter = readCamera();
  return Transition{.after = leftBehind(), .conduct = conduct_};
}

void World::placeHistory(const HistoryDatabase& history) {
  std::ofstream stream(historyFile_.path(), std::ios::binary);
  writeHistory(history, [&stream](std::span<const std::byte> bytes) {
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  });
}

State World::leftBehind() const {
  return normalized({.history = readIfThere(historyFile_), .library = library_, .review = review_});
}

std::vector<Bytes> World::readCamera() const {
  std::vector<Bytes> bytes;
  for (std::size_t card = 0; card < setting_.cards.size(); ++card) {
    for (std::size_t index = 0; index < setting_.cards[card].size(); ++index) {
      const std::string path = fileOnCard(card, index).path();
      std::ifstream stream(path, std::ios::binary);
      bytes.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
  }
  return bytes;
}

// What the user does

void World::command() {
  std::vector<std::function<void()>> commands = {[this] { review_ ? answerReview() : runOrReview(); }};
  if (!library_.empty()) {
    commands.emplace_back([this] { deleteItem(); });
  }
  for (const Bytes& bytes : setting_.itemsToCome) {
    if (!library_.contains(assetOfTheUser(bytes))) {
      commands.emplace_back([this, &bytes] { addItem(bytes); });
    }
  }
  commands[choices_->oneOf(commands.size())]();
}

void World::runOrReview() {
  conduct_.isRun = choices_->oneOf(2) == 0;
  card_ = choices_->oneOf(setting_.cards.size());
  isCharmera_ = setting_.isCharmera[choices_->oneOf(setting_.isCharmera.size())];
  const std::string place = "card " + std::to_string(card_) + (isCharmera_ ? "" : " as of another camera");
  if (conduct_.isRun) {
    say("run " + place);
    const auto run = [this] {
      noteResult(coordinator().run(cameraFiles(), isCharmera_, "Trip", cancellation_.token()));
    };
    return setting_.fault.run ? setting_.fault.run(*this, run) : run();
  }
  say("review " + place);
  const bool broader = choices_->oneOf(2) == 1;
  review_ = {.card = card_,
             .isCharmera = isCharmera_,
             .review = coordinator().review(cameraFiles(), isCharmera_, broader, cancellation_.token())};
}

void World::answerReview() {
  const OpenReview open = *review_;
  review_.reset();
  card_ = open.card;
  isCharmera_ = open.isCharmera;
  for (const auto& [source, match] : open.review.recognized) {
    conduct_.foundByContent.insert(source);
  }
  for (const auto& [source, asset] : open.review.metadataRecognized) {
    conduct_.foundByMetadata.insert(source);
  }
  if (choices_->oneOf(2) == 0) {
    say("remember");
    coordinator().rememberRecognizedImports(open.review, cancellation_.token());
  } else {
    say("restore");
    conduct_.isRestoration = true;
    noteResult(coordinator().restore(open.review, isCharmera_, "Trip", cancellation_.token()));
  }
}

void World::noteResult(const SyncResult& result) {
  for (const CameraMediaFile& skipped : result.metadataMatchedFiles) {
    const auto file = std::ranges::find(conduct_.scanned, skipped, &FingerprintedMediaFile::file);
    conduct_.skipped.insert(file->sourceFingerprint);
  }
}

void World::deleteItem() {
  const auto item =
      std::next(library_.begin(), static_cast<std::ptrdiff_t>(choices_->oneOf(library_.size())));
  say("the user deletes " + item->first);
  library_.erase(item);
}

void World::addItem(const Bytes& bytes) {
  say("the user adds " + bytes);
  library_[assetOfTheUser(bytes)] = {.source = bytes, .fingerprint = bytes, .isOurs = false};
}

Ending World::endingOf(const std::function<void()>& work) {
  try {
    work();
    return Ending::completed;
  } catch (const Stop&) {
    return Ending::stopped;
  } catch (const PosixError&) {
    if (!didBreakHistory_) {
      throw;
    }
    return Ending::notSaved;
  } catch (const SyncHistoryError& error) {
    if (error.kind() != SyncHistoryError::Case::unresolvedImport) {
      throw;
    }
    return Ending::interrupted;
  } catch (const RecognitionError&) {
    return Ending::unchecked;
  } catch (const MediaImportError&) {
    return Ending::incomplete;
  } catch (const Refusal&) {
    return Ending::refused;
  } catch (const UnknownOutcome&) {
    return Ending::unknown;
  }
}

// What the program is made of

SyncCoordinator World::coordinator() {
  SyncCoordinator::Dependencies bound = dependencies();
  if (setting_.fault.dependencies) {
    setting_.fault.dependencies(*this, bound);
  }
  return {history_, std::move(bound), [this] { return now(); }};
}

SyncCoordinator::Dependencies World::dependencies() {
  SyncCoordinator::Dependencies bound;
  bound.checkAccess = [this] { betweenSteps(); };
  bound.fingerprint = [this](const std::vector<CameraMediaFile>& files, bool isCharmera) {
    betweenSteps();
    conduct_.scanned = fingerprint(files, isCharmera);
    if (conduct_.isRun) {
      canFailToSave();  // old records are brought up to date next
    }
    return conduct_.scanned;
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

std::vector<CameraMediaFile> World::cameraFiles() const {
  std::vector<CameraMediaFile> files;
  for (std::size_t index = 0; index < setting_.cards[card_].size(); ++index) {
    const FileURL url = fileOnCard(card_, index);
    const std::string name(url.lastPathComponent());
    files.push_back({.url = url,
                     .volumeURL = url.deletingLastPathComponent(),
                     .relativePath = name,
                     .filename = name,
                     .byteCount = static_cast<std::int64_t>(setting_.cards[card_][index].size()),
                     .modifiedAt = {}});
  }
  return files;
}

World::Files World::fingerprint(const std::vector<CameraMediaFile>& files, bool isCharmera) const {
  Files fingerprinted;
  for (const CameraMediaFile& file : files) {
    const Bytes bytes = readFile(file.url);
    fingerprinted.push_back({.file = file,
                             .sourceFingerprint = bytes,
                             .mediaPayloadFingerprint = isCharmera ? payloadOf(bytes) : std::nullopt,
                             .captureDate = {},
                             .metadata = {},
                             .pendingProcessedFingerprint = {}});
    if (setting_.usesRecognizer) {
      fingerprinted.back().captureDate = whenAllWasTaken;
      fingerprinted.back().metadata = appearanceOf(bytes);
    }
  }
  return fingerprinted;
}

PreparedMediaFile World::prepared(const FingerprintedMediaFile& file) const {
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

void World::import(const Files& files) {
  betweenSteps();
  Batch batch;
  std::ranges::transform(files, std::back_inserter(batch),
                         [this](const FingerprintedMediaFile& file) { return prepared(file); });
  MediaImportTransaction::Steps bound = steps();
  if (setting_.fault.steps) {
    setting_.fault.steps(*this, bound);
  }
  MediaImportTransaction::run(batch, setting_.batchSize, bound, cancellation_.token());
}

MediaImportTransaction::Steps World::steps() {
  MediaImportTransaction::Steps bound;
  bound.begin = [this](const Batch& batch) {
    save([&] { history_->beginPreparedImport(batch); });
    std::ranges::transform(batch, std::inserter(conduct_.marked, conduct_.marked.end()),
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
    conduct_.wasCutShort = completed != 0 && completed != total && choices_->course(2) != 0;
    return !conduct_.wasCutShort;
  };
  return bound;
}

// What the library does

LibraryReconciliation World::search(const Files& files, bool broader) {
  betweenSteps();
  if (setting_.usesRecognizer) {
    return searchByRecognizer(files, broader);
  }
  LibraryReconciliation found;
  for (const FingerprintedMediaFile& file : files) {
    searchFor(file, broader, found);
  }
  found.budgetExceeded = !found.unchecked.empty() && choices_->oneOf(2) == 1;
  return found;
}

void World::searchFor(const FingerprintedMediaFile& file, bool broader, LibraryReconciliation& found) {
  const std::string& source = file.sourceFingerprint;
  std::vector<std::function<void()>> verdicts;
  std::optional<std::string> similar;  // the item that looks most like the file's
  bool isThere = false;
  for (const auto& [asset, item] : library_) {
    if (holdsContentOf(item, file)) {
      verdicts.emplace_back([&, &asset = asset, &item = item] {
        say(source + " is found as " + asset);
        found.matches[source] = {.assetIdentifier = asset,
                                 .resourceFingerprint = item.fingerprint,
                                 .mediaPayloadFingerprint = payloadOf(item.source)};
        conduct_.foundByContent.insert(source);
      });
    }
    if (!similar || pictureOf(item.source) == pictureOf(source)) {
      similar = asset;
    }
    isThere = isThere || item.source == source || holdsContentOf(item, file);
  }
  const bool canOverlook =
      setting_.search == Search::overlooks || (setting_.search == Search::overlooksUnlessBroader && !broader);
  if (!isThere || canOverlook) {
    verdicts.emplace_back([&] { say(source + " is not found"); });
  }
  if (similar) {
    verdicts.emplace_back([&] {
      say(source + " looks like " + *similar);
      found.metadataMatches[source] = *similar;
      conduct_.foundByMetadata.insert(source);
    });
  }
  verdicts.emplace_back([&] {
    say(source + " is unchecked");
    found.unchecked.insert(source);
    conduct_.unchecked.insert(source);
  });
  conduct_.unchecked.erase(source);
  verdicts[choices_->course(verdicts.size())]();
}

LibraryReconciliation World::searchByRecognizer(const Files& files, bool broader) {
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
    conduct_.unchecked.erase(file.sourceFingerprint);
  }
  conduct_.unchecked.insert(found.unchecked.begin(), found.unchecked.end());
  for (const auto& [source, match] : found.matches) {
    say(source + " is found as " + match.assetIdentifier);
    conduct_.foundByContent.insert(source);
  }
  for (const auto& [source, asset] : found.metadataMatches) {
    say(source + " looks like " + asset);
    conduct_.foundByMetadata.insert(source);
  }
  return found;
}

OfflinePhotoRecognizer::ReadResult World::readItem(const std::string& asset) {
  using ReadResult = OfflinePhotoRecognizer::ReadResult;
  const Item& item = library_.at(asset);
  switch (choices_->course(4)) {
    case 1:
      say(asset + " is in the cloud");
      return ReadResult::notLocal(0);
    case 2:
      say(asset + " can't be read");
      return ReadResult::unavailable(0);
    case 3:
      say(asset + " is too large to be read");
      return ReadResult::budgetExceeded(1);
    default:
      return ReadResult::available(
          {.sourceFingerprint = item.fingerprint, .mediaPayloadFingerprint = payloadOf(item.source)}, 1);
  }
}

// That of the camera's file. An item that the user has from elsewhere has the name of the first one.
std::string World::nameInLibrary(const Item& item) const {
  for (std::size_t card = 0; card < setting_.cards.size(); ++card) {
    const auto file = std::ranges::find(setting_.cards[card], item.source);
    if (file != setting_.cards[card].end()) {
      const auto index = static_cast<std::size_t>(file - setting_.cards[card].begin());
      return std::string(fileOnCard(card, index).lastPathComponent());
    }
  }
  return std::string(fileOnCard(0, 0).lastPathComponent());
}

World::AssetIdentifiers World::commit(const Batch& batch) {
  enum { answers, failsUnknown, refuses };
  const std::size_t outcome = choices_->course(3);
  for (const PreparedMediaFile& file : batch) {
    conduct_.handed.insert(file.sourceFingerprint);
  }
  if (outcome == refuses) {
    say("the library refuses");
    for (const PreparedMediaFile& file : batch) {
      conduct_.refused.insert(file.sourceFingerprint);
    }
    throw MediaImportCommitFailure::definiteFailure(std::make_exception_ptr(Refusal()));
  }
  AssetIdentifiers assets;
  for (const PreparedMediaFile& file : batch) {
    if (choices_->course(2) == 0) {
      assets[file.sourceFingerprint] = take(file);
    }
  }
  if (outcome == failsUnknown) {
    say("the library doesn't know");
    throw UnknownOutcome();
  }
  canStop();
  for (const auto& [source, asset] : assets) {
    conduct_.answered.insert(source);
  }
  return assets;
}

std::string World::take(const PreparedMediaFile& file) {
  std::string asset = file.sourceFingerprint;
  while (library_.contains(asset)) {
    asset += "'";
  }
  say("the library takes " + asset);
  library_[asset] = {
      .source = file.sourceFingerprint, .fingerprint = file.processedFingerprint, .isOurs = true};
  return asset;
}

void World::record(const Batch& batch, const AssetIdentifiers& assets) {
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

// What can happen between two steps

void World::betweenSteps() {
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

void World::canStop() {
  if (choices_->course(2) == 1) {
    say("the process stops");
    throw Stop();
  }
}

void World::canFailToSave() {
  if (choices_->course(2) == 1) {
    breakHistory();
  }
}

void World::save(const std::function<void()>& change) {
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

void World::breakHistory() {
  say("the history can't be written");
  std::filesystem::rename(historyFolder_.path(), historyFolder_.path() + " elsewhere");
  std::ofstream(historyFolder_.path()).flush();
  historyIsBroken_ = true;
  didBreakHistory_ = true;
}

void World::mendHistory() {
  if (historyIsBroken_) {
    std::filesystem::remove(historyFolder_.path());
    std::filesystem::rename(historyFolder_.path() + " elsewhere", historyFolder_.path());
    historyIsBroken_ = false;
  }
}

// The time is asked for once for each record, before all of them are saved.
Date World::now() {
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
