#include <exception>
#include <optional>

#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

namespace {

class NotProvenInLibrary final : public std::exception {};

void requireProof(const TrashService::LibraryProof& isInLibrary, const ManagedTrashRecord& record,
                  const CancellationToken& token) {
  bool isProven = false;
  try {
    isProven = isInLibrary(record, token);
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception&) {
    isProven = false;
  }
  if (!isProven) {
    throw NotProvenInLibrary();
  }
}

}  // namespace

TrashDeleteResult TrashService::permanentlyDelete(const std::vector<ManagedTrashRecord>& records,
                                                  const LibraryProof& isInLibrary,
                                                  const CancellationToken& token) const {
  return permanentlyDelete(records, TrashDeletionOperations::of(platform_), isInLibrary, token);
}

TrashDeleteResult TrashService::permanentlyDelete(const std::vector<ManagedTrashRecord>& records,
                                                  const TrashDeletionOperations& operations,
                                                  const LibraryProof& isInLibrary,
                                                  const CancellationToken& token) const {
  TrashDeleteResult result;
  for (const ManagedTrashRecord& record : records) {
    try {
      token.throwIfCancelled();
      deleteOne(record, operations, isInLibrary, result.relocated, token);
      result.deleted.insert(record.id);
    } catch (const CancellationError&) {
      result.cancelled = true;
      break;
    } catch (const NotProvenInLibrary&) {
      result.unproven.push_back(record.originalFilename);
    } catch (const std::exception&) {
      result.failures.push_back(record.originalFilename);
    }
  }
  return result;
}

void TrashService::deleteOne(const ManagedTrashRecord& record, const TrashDeletionOperations& operations,
                             const LibraryProof& isInLibrary, std::vector<ManagedTrashRecord>& relocated,
                             const CancellationToken& token) const {
  const OpenFile file = openRecord(record);
  file.verifyHash(record.fingerprint, token);
  file.verifyName();
  token.throwIfCancelled();
  // From here on the file has a random name. A file that appears under the old name isn't touched.
  const std::string claimed = "Tolvander-" + UUID::random().text() + ".trash-item";
  operations.claim(file.parent().descriptor(), file.name(), claimed);
  const ManagedTrashRecord relocatedRecord =
      record.relocatedTo(file.parent().url().appending(claimed).path());
  try {
    const OpenFile again = openRecord(relocatedRecord);
    again.verifyHash(record.fingerprint, token);
    requireProof(isInLibrary, record, token);
    again.verifyName();
    token.throwIfCancelled();
    operations.remove(again.parent().descriptor(), again.name());
  } catch (...) {
    if (!renameBack(record, claimed)) {
      relocated.push_back(relocatedRecord);
    }
    throw;
  }
}

bool TrashService::renameBack(const ManagedTrashRecord& record, const std::string& claimed) const {
  try {
    const OpenDirectory trash = openDirectory(FileURL(record.trashDirectoryPath.value()));
    const std::string name(FileURL(record.trashedPath).lastPathComponent());
    platform_.renameExclusively(trash.descriptor(), claimed, trash.descriptor(), name);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace tolvander::app
