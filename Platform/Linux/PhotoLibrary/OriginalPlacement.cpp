#include "Platform/Linux/PhotoLibrary/OriginalPlacement.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <set>
#include <span>
#include <utility>

#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "Platform/Linux/PhotoLibrary/OriginalNames.h"
#include "Platform/Linux/PhotoLibrary/OriginalProperties.h"
#include "Platform/Linux/PhotoLibrary/PlacedFile.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosMediaType;
using app::PhotosResourceType;

// One of the files. The order of the fields is that of its life.
struct OriginalPlacement::File {
  std::string temporaryName;
  std::string temporaryFolder{LibraryFolder::incoming};
  Descriptor copy{};  // open until the copy is durable
  PlacedOriginal original{};
  std::string folder{};  // where its name is to be
  std::string name{};    // that it would like to have
  Placement placement{};
  bool isNamed = false;
};

namespace {

// Files that are open at once. The system allows a process some hundreds.
constexpr std::size_t mostOpenCopies = 128;

Descriptor openSource(const FileURL& source) {
  Descriptor file(uninterrupted(
      [&] { return open(source.path().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "open", source);
  }
  if (!S_ISREG(status.st_mode)) {
    throw PosixError(EINVAL, "open", source);
  }
  return file;
}

Descriptor newFile(const Descriptor& folder, const std::string& name, const FileURL& url) {
  Descriptor file(uninterrupted(
      [&] { return openat(folder.number(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
  if (!file) {
    throw PosixError(errno, "create", url);
  }
  return file;
}

void writeAll(const Descriptor& file, std::span<const std::byte> bytes, const FileURL& url) {
  while (!bytes.empty()) {
    const ssize_t count = uninterrupted([&] { return write(file.number(), bytes.data(), bytes.size()); });
    if (count < 0) {
      throw PosixError(errno, "write", url);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

// Shares the source's blocks where the file system can do that, or else copies them. Returns the SHA-256 of
// the copy: of the bytes that are written, or, where none are, of those that the copy shares.
std::string copyContent(const Descriptor& source, const Descriptor& copy, const FileURL& url) {
  const bool isShared = ioctl(copy.number(), FICLONE, source.number()) == 0;
  const auto write = [&](std::span<const std::byte> chunk) {
    if (!isShared) {
      writeAll(copy, chunk, url);
    }
  };
  std::string sha256 = sha256Of(isShared ? copy : source, url, {}, write);
  // Lets the device begin with it while the next file is copied. A hint; fsync alone counts.
  sync_file_range(copy.number(), 0, 0, SYNC_FILE_RANGE_WRITE);
  return sha256;
}

// The copy is as old as its source.
Date takeOverDate(const Descriptor& source, const Descriptor& copy, const FileURL& url) {
  struct stat status {};
  if (fstat(source.number(), &status) != 0) {
    throw PosixError(errno, "look at", url);
  }
  const std::array<timespec, 2> times = {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, status.st_mtim};
  if (futimens(copy.number(), times.data()) != 0) {
    throw PosixError(errno, "set the date of", url);
  }
  return dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec).value_or(Date());
}

std::string folderOfDay(Date date, const TimeZone& zone) {
  constexpr std::size_t lengthOfDay = 10;
  std::string day = exifDateText(date, zone).substr(0, lengthOfDay);
  std::replace(day.begin(), day.end(), ':', '-');
  return std::string(LibraryFolder::originals) + "/" + day.substr(0, 4) + "/" + day;
}

}  // namespace

OriginalPlacement::OriginalPlacement(const LibraryFolder& folder, Catalogue& catalogue)
    : folder_(&folder), catalogue_(&catalogue), zone_(TimeZone::current()) {}

OriginalPlacement::~OriginalPlacement() {
  if (isKept_) {
    return;
  }
  try {
    takeBack();
  } catch (const std::exception&) {
    return;
  }
}

std::vector<PlacedOriginal> OriginalPlacement::place(const std::vector<NewOriginal>& originals) {
  if (originals.empty()) {
    return {};
  }
  const Descriptor incoming = folder_->makeFolder(LibraryFolder::incoming, madeFolders_);
  files_.reserve(originals.size());  // none may be lost between its making and its being remembered
  for (std::size_t index = 0; index < originals.size(); ++index) {
    if (index > 0 && index % mostOpenCopies == 0) {
      makeCopiesDurable();
    }
    files_.push_back({.temporaryName = newIncomingName()});
    files_.back() = copy(originals[index], incoming);
  }
  announce();
  // Named first and written through then, so that the file system's journal is written once for all of it.
  const std::map<std::string, Descriptor> folders = nameFiles(incoming);
  makeCopiesDurable();
  for (const auto& [path, folder] : folders) {
    makeDurable(folder, folder_->url().appending(path));
  }
  std::vector<PlacedOriginal> placed;
  for (File& file : files_) {
    file.original.resource.path = file.placement.path;
    placed.push_back(file.original);
  }
  return placed;
}

OriginalPlacement::File OriginalPlacement::copy(const NewOriginal& original, const Descriptor& incoming) {
  File file{.temporaryName = files_.back().temporaryName};
  const Descriptor source = openSource(original.source);
  const FileURL url = folder_->url().appending(LibraryFolder::incoming).appending(file.temporaryName);
  file.copy = newFile(incoming, file.temporaryName, url);
  std::string sha256 = copyContent(source, file.copy, url);
  const Date fileDate = takeOverDate(source, file.copy, url);

  const OriginalProperties properties = originalProperties(url, original.type, zone_);
  const Date created = original.creationDate.value_or(properties.creationDate.value_or(fileDate));
  file.placement = placementOf(file.copy, "");
  const std::string filename(original.source.lastPathComponent());
  const bool isFilm = original.type == PhotosMediaType::video;
  file.original = {.asset = {.localIdentifier = original.identifier,
                             .creationDate = created,
                             .mediaType = original.type,
                             .pixelWidth = properties.pixelWidth,
                             .pixelHeight = properties.pixelHeight,
                             .duration = properties.duration},
                   .resource = {.type = isFilm ? PhotosResourceType::video : PhotosResourceType::photo,
                                .originalFilename = filename,
                                .path = {},
                                .byteCount = file.placement.byteCount,
                                .content = CataloguedContent{.sha256 = std::move(sha256),
                                                             .modified = file.placement.modified}}};
  file.folder = folderOfDay(created, zone_);
  file.name = originalName(filename);
  return file;
}

void OriginalPlacement::makeCopiesDurable() {
  for (File& file : files_) {
    if (file.copy) {
      makeDurable(file.copy, folder_->url().appending(LibraryFolder::incoming));
      file.copy = Descriptor();
    }
  }
}

bool OriginalPlacement::isTaken(const std::string& path) const {
  struct stat status {};
  return chosenKeys_.contains(originalNameKey(path)) || catalogue_->hasPath(path) ||
         lstat(folder_->url().appending(path).path().c_str(), &status) == 0;
}

// Finds a choice that is free and comes right behind one that is taken, in a few steps also where a camera
// gives thousands of files one name.
std::string OriginalPlacement::chooseFreePath(const File& file) {
  const auto path = [&](int choice) { return file.folder + "/" + originalName(file.name, choice); };
  int taken = 0;
  int free = 1;
  while (isTaken(path(free))) {
    taken = free;
    free *= 2;
  }
  while (free - taken > 1) {
    const int middle = taken + (free - taken) / 2;
    (isTaken(path(middle)) ? taken : free) = middle;
  }
  chosenKeys_.insert(originalNameKey(path(free)));
  return path(free);
}

void OriginalPlacement::announce() {
  for (File& file : files_) {
    file.placement.path = chooseFreePath(file);
  }
  isAnnounced_ = true;
  Transaction transaction = catalogue_->change();
  for (const File& file : files_) {
    catalogue_->insertPlacement(file.placement);
  }
  transaction.commit();
}

std::map<std::string, Descriptor> OriginalPlacement::nameFiles(const Descriptor& incoming) {
  std::map<std::string, Descriptor> folders;
  for (File& file : files_) {
    if (!folders.contains(file.folder)) {
      folders.emplace(file.folder, folder_->makeFolder(file.folder, madeFolders_));
    }
    const Descriptor& folder = folders.at(file.folder);
    try {
      giveName(file, incoming, folder);
    } catch (const PosixError& error) {
      if (error.code() != EXDEV) {
        throw;
      }
      carryOver(file, incoming, folder);
      giveName(file, folder, folder);
    }
    file.isNamed = true;
  }
  return folders;
}

void OriginalPlacement::giveName(File& file, const Descriptor& from, const Descriptor& folder) {
  while (!renameWithoutReplacing(from, file.temporaryName, folder, std::string(nameIn(file.placement.path)),
                                 folder_->url().appending(file.folder))) {
    announceAnotherName(file);
  }
}

// People move a year to another disk, and leave a link in its place. A file gets its name there from a copy
// that is on that disk already, so that it is never seen in part.
void OriginalPlacement::carryOver(File& file, const Descriptor& incoming, const Descriptor& folder) {
  const std::string name = "." + file.temporaryName;
  const FileURL url = folder_->url().appending(file.folder).appending(name);
  const Descriptor source(uninterrupted([&] {
    return openat(incoming.number(), file.temporaryName.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  }));
  if (!source) {
    throw PosixError(errno, "open", url);
  }
  const Descriptor copy = newFile(folder, name, url);
  try {
    copyContent(source, copy, url);
    takeOverDate(source, copy, url);
    makeDurable(copy, url);
  } catch (const PosixError&) {
    unlinkat(folder.number(), name.c_str(), 0);
    throw;
  }
  unlinkat(incoming.number(), file.temporaryName.c_str(), 0);  // or else it is swept
  file.copy = Descriptor();
  file.temporaryName = name;
  file.temporaryFolder = file.folder;
  file.placement = placementOf(copy, file.placement.path);
  file.original.resource.content->modified = file.placement.modified;
  Transaction transaction = catalogue_->change();
  catalogue_->insertPlacement(file.placement);
  transaction.commit();
}

// Somebody has put a file of this name there just now.
void OriginalPlacement::announceAnotherName(File& file) {
  const std::string taken = std::exchange(file.placement.path, chooseFreePath(file));
  Transaction transaction = catalogue_->change();
  catalogue_->removePlacement(taken);
  catalogue_->insertPlacement(file.placement);
  transaction.commit();
}

void OriginalPlacement::forgetPlacements() {
  for (const File& file : files_) {
    catalogue_->removePlacement(file.placement.path);
  }
}

void OriginalPlacement::takeBack() {
  bool isDone = true;
  std::set<std::string> changedFolders;
  for (const File& file : files_) {
    isDone = remove(file) && isDone;
    if (file.isNamed) {
      changedFolders.insert(file.folder);
    }
  }
  for (const std::string& folder : changedFolders) {
    makeDurable(folder_->openFolder(folder), folder_->url().appending(folder));
  }
  const Descriptor library = folder_->open();
  for (auto made = madeFolders_.rbegin(); made != madeFolders_.rend(); ++made) {
    unlinkat(library.number(), made->c_str(), AT_REMOVEDIR);  // unless somebody uses it by now
  }
  if (isAnnounced_ && isDone) {
    Transaction transaction = catalogue_->change();
    forgetPlacements();
    transaction.commit();
  }
}

bool OriginalPlacement::remove(const File& file) {
  const Descriptor folder = folder_->openFolder(file.isNamed ? file.folder : file.temporaryFolder);
  const std::string name = file.isNamed ? std::string(nameIn(file.placement.path)) : file.temporaryName;
  if (file.isNamed && !isFileOf(file.placement, folder, name)) {
    return true;  // somebody has moved it away, or put another one in its place
  }
  return unlinkat(folder.number(), name.c_str(), 0) == 0 || errno == ENOENT;
}

}  // namespace tolvander::platform::linux_
