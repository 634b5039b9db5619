#pragma once

#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"

namespace tolvander::app {

// The files in the order in which they are imported: by capture date, else by the date of the file, undated
// ones last; files of one date as a file manager sorts their paths.
std::vector<FingerprintedMediaFile> inImportOrder(std::vector<FingerprintedMediaFile> files);

// The files, in their order, cut into the batches that are staged together: at most 16 files and 64 MiB, so
// that little of the disk is taken at any time. A larger file goes alone.
std::vector<std::vector<FingerprintedMediaFile>> stagingBatches(
    const std::vector<FingerprintedMediaFile>& files);

}  // namespace tolvander::app
