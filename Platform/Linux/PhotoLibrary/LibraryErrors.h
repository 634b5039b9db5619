#pragma once

#include <exception>

#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::platform::linux_ {

// Converts errors of the database and of system calls to PhotosPlatformError. Other errors, and null, are
// returned unchanged.
std::exception_ptr libraryError(const std::exception_ptr& error);

// The same for errors of opening or reading an original: a missing file becomes networkAccessRequired.
std::exception_ptr originalError(const std::exception_ptr& error);

// Calls the operation, and rethrows its errors as libraryError converts them.
template <typename Operation>
auto withLibraryErrors(Operation operation) {
  std::exception_ptr error;
  try {
    return operation();
  } catch (const std::exception&) {
    error = std::current_exception();
  }
  std::rethrow_exception(libraryError(error));
}

}  // namespace tolvander::platform::linux_
