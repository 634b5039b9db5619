#include "TolvanderCore/Files/FileWriter.h"

#include <errno.h>
#include <fcntl.h>

#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

FileWriter::FileWriter(const FileURL& url)
    : url_(url), file_(retryOnEINTR([&] {
        return open(url.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      })) {
  if (!file_) {
    throw PosixError(errno, "create", url_);
  }
}

void FileWriter::write(std::span<const std::byte> bytes) { writeAll(file_, bytes, url_); }

void FileWriter::close() {
  if (const int failure = file_.close(); failure != 0) {
    throw PosixError(failure, "finish writing", url_);
  }
}

}  // namespace tolvander
