#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What a rebuild of the photo library's catalogue would do, or has done.
struct RebuildReport {
  FileURL folder{"/"};            // the library's
  bool isNeeded = false;          // the catalogue would become another one
  std::int64_t items = 0;         // that the new catalogue names
  std::int64_t known = 0;         // of them: whose identity the history or an earlier catalogue knows
  std::int64_t added = 0;         // of them: known to neither
  std::int64_t moved = 0;         // of the known ones: found in another place than before
  std::int64_t dropped = 0;       // entries of the earlier catalogue whose file is gone
  std::int64_t leftOut = 0;       // pictures whose path differs from another's in case alone
  std::int64_t waiting = 0;       // files of an interrupted import, which the next sync completes
  std::optional<FileURL> source;  // the earlier catalogue from which albums and dates are taken
  bool hasCatalogue = false;      // there is one now, which would be kept under another name
  bool isDone = false;
  std::optional<FileURL> formerCatalogue;  // where the one that was there is now

  // For people, with line ends.
  std::string text() const;
  // For programs: one object whose keys are the fields. What is absent is null.
  std::string json() const;
};

// Whether it may be done.
Alert rebuildQuestion(const RebuildReport& report);

}  // namespace tolvander::app
