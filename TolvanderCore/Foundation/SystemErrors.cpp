#include "TolvanderCore/Foundation/SystemErrors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace tolvander {

namespace {

struct NamedErrno {
  int value;
  std::string_view name;
};

// The errors of the calls that open, read, write, rename and remove files (POSIX.1-2017).
constexpr auto errnoNames = std::to_array<NamedErrno>({
    {EACCES, "EACCES"},
    {EAGAIN, "EAGAIN"},
    {EBADF, "EBADF"},
    {EBUSY, "EBUSY"},
    {EDQUOT, "EDQUOT"},
    {EEXIST, "EEXIST"},
    {EFAULT, "EFAULT"},
    {EFBIG, "EFBIG"},
    {EINTR, "EINTR"},
    {EINVAL, "EINVAL"},
    {EIO, "EIO"},
    {EISDIR, "EISDIR"},
    {ELOOP, "ELOOP"},
    {EMFILE, "EMFILE"},
    {EMLINK, "EMLINK"},
    {ENAMETOOLONG, "ENAMETOOLONG"},
    {ENFILE, "ENFILE"},
    {ENODEV, "ENODEV"},
    {ENOENT, "ENOENT"},
    {ENOLCK, "ENOLCK"},
    {ENOMEM, "ENOMEM"},
    {ENOSPC, "ENOSPC"},
    {ENOSYS, "ENOSYS"},
    {ENOTCONN, "ENOTCONN"},
    {ENOTDIR, "ENOTDIR"},
    {ENOTEMPTY, "ENOTEMPTY"},
    {ENOTSUP, "ENOTSUP"},
    {ENXIO, "ENXIO"},
    {EOVERFLOW, "EOVERFLOW"},
    {EPERM, "EPERM"},
    {EPIPE, "EPIPE"},
    {EROFS, "EROFS"},
    {ESPIPE, "ESPIPE"},
    {ESTALE, "ESTALE"},
    {ETIMEDOUT, "ETIMEDOUT"},
    {ETXTBSY, "ETXTBSY"},
    {EXDEV, "EXDEV"},
});

}  // namespace

PosixError::PosixError(int errnoValue, std::string_view operation, const FileURL& url)
    : Error("cannot " + std::string(operation) + " " + url.path() + ": " +
            std::generic_category().message(errnoValue)),
      errno_(errnoValue) {}

std::string_view PosixError::caseName() const {
  const auto* const named = std::ranges::find(errnoNames, errno_, &NamedErrno::value);
  return named != errnoNames.end() ? named->name : "unknown";
}

CocoaError::CocoaError(Code code)
    : Error("file error " + std::to_string(static_cast<std::int64_t>(code))), code_(code) {}

}  // namespace tolvander
