#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderApp/Trash/TrashDeleteResult.h"
#include "TolvanderApp/Trash/TrashDeletionOperations.h"
#include "TolvanderApp/Trash/TrashIntentLog.h"
#include "TolvanderApp/Trash/TrashMoveResult.h"
#include "TolvanderApp/Trash/TrashRestoreResult.h"
#include "TolvanderApp/Trash/UnsafeTrashItem.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/ManagedTrashRecord.h"
#include "TolvanderCore/TrashIntent.h"
#include "TolvanderCore/TrashSettlement.h"

namespace tolvander::app {

// Moves camera files that are safely in the library into the Trash of their volume, puts them back, and
// deletes them for good. On a removable drive a path may lead to something else at any moment, so nothing is
// touched by path alone: every file is reached through descriptors opened from the root directory without
// following a link, and it counts as the one that was fingerprinted only after its bytes have been hashed
// again.
//
// Holds nothing but a name and the reference to the platform, which has to outlive it; safe on every thread.
// The operations block, one file at a time, in memory of one chunk whatever the size of the files. Moving,
// restoring and deleting never throw: their results say what became of each file, and every file that isn't
// in them as done is where it was, or named as being somewhere else.
class TrashService {
 public:
  // `trashTitle`: what recovery paths call the Trash where a file's place in it isn't known.
  TrashService(TrashOperations& platform, std::string trashTitle)
      : platform_(platform), trashTitle_(std::move(trashTitle)) {}

  class OpenDirectory {
   public:
    OpenDirectory(std::unique_ptr<DirectoryDescriptor> descriptor, FileURL url)
        : descriptor_(std::move(descriptor)), url_(std::move(url)) {}

    const DirectoryDescriptor& descriptor() const { return *descriptor_; }
    const FileURL& url() const { return url_; }  // normalized

   private:
    std::unique_ptr<DirectoryDescriptor> descriptor_;
    FileURL url_;
  };

  // One regular file with one name, held open together with the directory that it was opened through.
  class OpenFile {
   public:
    const OpenDirectory& parent() const { return parent_; }
    const std::string& name() const { return name_; }
    const FileStatus& info() const { return info_; }  // when it was opened
    const ManagedTrashIdentity& identity() const { return identity_; }

    // Proves that the name still leads to this very file. Throws UnsafeTrashItem, or PosixError where the
    // name can't be looked at.
    void verifyName() const { verifyNameIn(parent_, name_); }

    // The same for another name in a directory that the file may have been moved to.
    void verifyNameIn(const OpenDirectory& directory, const std::string& name) const;

    // Proves that the file's SHA-256 is `expected` (64 lower-case hexadecimal digits), that it didn't change
    // while it was read, and its name. Looks for cancellation before the first read and after each of 1 MiB.
    // Throws UnsafeTrashItem, PosixError and CancellationError.
    void verifyHash(const std::string& expected, const CancellationToken& token) const;

   private:
    friend class TrashService;
    OpenFile(TrashOperations& platform, OpenDirectory parent, std::string name);

    TrashOperations& platform_;
    OpenDirectory parent_;
    std::string name_;
    std::unique_ptr<FileDescriptor> descriptor_;
    FileStatus info_;
    ManagedTrashIdentity identity_;
  };

  // Moves the files that `assetIdentifiers` (from source fingerprint to the asset's identifier) says are in
  // the library. Looks for cancellation before each file, before its move, and during each hash; a file whose
  // proof after the move is cut short is put back.
  //
  // Each move is written to `intents` before it happens, and withdrawn when the file is back on the camera;
  // where it can't be written, the file isn't moved. The record of the move has the intent's identity.
  TrashMoveResult moveToTrash(const std::vector<FingerprintedMediaFile>& files, const FileURL& volumeURL,
                              const std::string& deviceIdentifier, const std::string& volumeName,
                              const std::map<std::string, std::string>& assetIdentifiers,
                              const TrashIntentLog& intents, const CancellationToken& token) const;

  // What became of the files of records, and of moves that were begun by a process which then died. Looks
  // only.
  //
  // A file in the Trash is found to be the one of an intent when it isn't on the camera any more, the
  // platform says that it came from there and was moved no earlier than the intent, its content has the
  // intent's hash, and it is no record's. A record's file has left the Trash when that can be read and the
  // file is neither under its name nor, with the same identity and content, under another. What can't be
  // looked at is left out, as is a volume that isn't here. Looks for cancellation during each hash; throws
  // CancellationError and nothing else.
  TrashSettlement settlement(const std::vector<ManagedTrashRecord>& records,
                             const std::vector<TrashIntent>& intents, const CancellationToken& token) const;

  // The records whose file is still at its place with the recorded identity, in order. Its content is not
  // read.
  std::vector<ManagedTrashRecord> availableRecords(const std::vector<ManagedTrashRecord>& records) const;

  // Puts the files back where they were. Not cancelled: it is also how a move is undone. A name that changes
  // hands between its last proof and the rename lets another file come to lie there; that is a failure.
  TrashRestoreResult restoreToOriginalLocations(const std::vector<ManagedTrashRecord>& records) const;

  // Whether the copy in the library, on which the deletion of the record's file rests, is there at this
  // moment. Anything that it throws but CancellationError counts as no.
  using LibraryProof = std::function<bool(const ManagedTrashRecord& record, const CancellationToken& token)>;

  // Deletes the files of the records for good, each directly after the proof of its copy in the library.
  // Looks for cancellation before each record, during each hash, and before each of the two steps.
  TrashDeleteResult permanentlyDelete(const std::vector<ManagedTrashRecord>& records,
                                      const TrashDeletionOperations& operations,
                                      const LibraryProof& isInLibrary, const CancellationToken& token) const;
  TrashDeleteResult permanentlyDelete(const std::vector<ManagedTrashRecord>& records,
                                      const LibraryProof& isInLibrary, const CancellationToken& token) const;

  // Building blocks of the above; public for tests.

  // Standardized, and through the links that the system itself has at the top of its disk.
  FileURL normalized(const FileURL& url) const;

  // The UUID of the volume of a directory. Throws UnsafeTrashItem where it has none: such a volume is never
  // managed.
  std::string volumeIdentifier(const FileURL& url) const;

  // Throws PosixError, also where any component of the path is a link.
  OpenDirectory openDirectory(const FileURL& url) const;

  // Throws UnsafeTrashItem for what isn't a regular file with one name, lies outside `root`, or on another
  // volume than it.
  OpenFile openFile(const FileURL& url, const FileURL& root) const;

  // The Trash directory that a record or an intent names. Throws UnsafeTrashItem where that is none now.
  FileURL trashOfRecord(const std::string& recordedPath) const;

  // The record's file, when it is provably the one that was moved there. Throws.
  OpenFile openRecord(const ManagedTrashRecord& record) const;

  // Takes an entry out of the Trash, back to where it was, when nothing else is there. True only when it is
  // back. Never throws.
  bool restoreMovedEntry(const FileURL& moved, const FileURL& original) const;

 private:
  struct Move;
  class Settling;
  ManagedTrashRecord moveOne(const FingerprintedMediaFile& file, const Move& move,
                             std::vector<std::string>& recoveryPaths) const;
  std::optional<FileURL> moveEntry(const OpenFile& source, const OpenDirectory& trash,
                                   const TrashIntent& intent, const Move& move) const;
  bool putBack(const OpenFile& source, const OpenDirectory& trash, const FileURL& resulting) const;
  void restoreOne(const ManagedTrashRecord& record) const;
  void deleteOne(const ManagedTrashRecord& record, const TrashDeletionOperations& operations,
                 const LibraryProof& isInLibrary, std::vector<ManagedTrashRecord>& relocated,
                 const CancellationToken& token) const;
  bool renameBack(const ManagedTrashRecord& record, const std::string& claimed) const;

  TrashOperations& platform_;
  std::string trashTitle_;
};

}  // namespace tolvander::app
