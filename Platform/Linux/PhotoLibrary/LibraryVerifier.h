#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryListing.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Compares the catalogue with the files, and checks the catalogue itself. Reads every original, unless only
// sizes are requested, and then stores what it found in the catalogue: hashes of originals that had none,
// and new modification dates of unchanged originals. Stores nothing while another process is changing the
// library. One object for one verification.
class LibraryVerifier {
 public:
  LibraryVerifier(const LibraryFolder& folder, CataloguePool& catalogues, const VerificationOptions& options,
                  const CancellationToken& token);

  // Throws DatabaseError, PosixError, PhotosPlatformError, and CancellationError, checked for each file and
  // each mebibyte.
  LibraryVerification run();

 private:
  void examine(const CataloguedOriginal& original);
  void examineContent(const CataloguedOriginal& original, const FaultyOriginal& fault);
  void compare(const CataloguedOriginal& original, CataloguedContent content, const FaultyOriginal& fault);
  void keepWhatWasLearnt();
  void findUnfinishedFiles();
  void findFilesBeside();

  const LibraryFolder* folder_;
  CataloguePool* catalogues_;
  const VerificationOptions* options_;
  CancellationToken token_;
  OriginalPresence presence_;
  LibraryVerification found_;
  VerificationProgress progress_;
  std::unordered_set<std::string> known_;   // paths of originals
  std::vector<CataloguedOriginal> learnt_;  // with the content to be stored
};

}  // namespace tolvander::platform::linux_
