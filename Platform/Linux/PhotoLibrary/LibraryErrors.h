#pragma once

#include <exception>

#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::platform::linux_ {

// What a failure inside of the library is called outside. An error that is neither the database's nor the
// system's stays as it is; so does none.
std::exception_ptr libraryError(const std::exception_ptr& error);

// The same for a failure to open or read an original: one that isn't there is not on this machine.
std::exception_ptr originalError(const std::exception_ptr& error);

// Runs an operation of the library, whose failures leave it as libraryError calls them.
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
