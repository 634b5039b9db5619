#include "Platform/Linux/PhotoLibrary/LibraryErrors.h"

#include <sqlite3.h>

#include <cerrno>
#include <string>

#include "Platform/Linux/PhotoLibrary/Database.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;
using Case = PhotosPlatformError::Case;

namespace {

PhotosPlatformError ofDatabase(const DatabaseError& error) {
  if (error.isOutOfSpace()) {
    return {Case::notEnoughSpace, "the catalogue of the photo library can't be written"};
  }
  const std::string reason = error.what();
  switch (error.primaryCode()) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Case::internalError, "another program is changing the photo library"};
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return {Case::internalError, "the catalogue of the photo library is damaged: " + reason};
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return {Case::accessRestricted, "the catalogue of the photo library can't be changed: " + reason};
    default:
      return {Case::internalError, "the catalogue of the photo library: " + reason};
  }
}

Case caseOfSystem(std::int64_t number) {
  switch (number) {
    case ENOSPC:
    case EDQUOT:
      return Case::notEnoughSpace;
    case EACCES:
    case EPERM:
    case EROFS:
      return Case::accessRestricted;
    default:
      return Case::internalError;
  }
}

Case caseOfOriginal(std::int64_t number) {
  switch (number) {
    case ENOENT:
    case ENOTDIR:
    case ENODEV:
    case ENXIO:
    case ESTALE:
      return Case::networkAccessRequired;
    case EINVAL:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
      return Case::invalidResource;
    default:
      return caseOfSystem(number);
  }
}

template <typename CaseOf>
std::exception_ptr translated(const std::exception_ptr& error, CaseOf caseOf) {
  if (!error) {
    return nullptr;
  }
  try {
    std::rethrow_exception(error);
  } catch (const DatabaseError& failure) {
    return std::make_exception_ptr(ofDatabase(failure));
  } catch (const PosixError& failure) {
    return std::make_exception_ptr(PhotosPlatformError(caseOf(failure.code()), failure.what()));
  } catch (...) {
    return error;
  }
}

}  // namespace

std::exception_ptr libraryError(const std::exception_ptr& error) { return translated(error, caseOfSystem); }

std::exception_ptr originalError(const std::exception_ptr& error) {
  return translated(error, caseOfOriginal);
}

}  // namespace tolvander::platform::linux_
