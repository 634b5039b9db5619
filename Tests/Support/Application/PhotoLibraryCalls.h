#pragma once

#include <chrono>
#include <exception>
#include <future>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::tests {

struct ChangeResult {
  bool success = false;
  std::exception_ptr error;
};

// Asks for a change and waits for its completion.
inline ChangeResult changeAndWait(app::PhotoLibrary& library, app::PhotoLibrary::ChangeBlock block) {
  std::promise<ChangeResult> promise;
  library.performChanges(std::move(block), [&](bool success, std::exception_ptr error) {
    promise.set_value({success, std::move(error)});
  });
  return promise.get_future().get();
}

struct DataResult {
  std::string bytes;
  std::size_t chunks = 0;
  std::exception_ptr error;
};

// Reads a resource and waits for the end.
inline DataResult readAndWait(app::PhotoLibrary& library, const app::PhotosAssetResource& resource) {
  DataResult result;
  std::promise<void> ended;
  library.requestData(
      resource,
      [&](std::span<const std::byte> chunk) {
        result.bytes.append(reinterpret_cast<const char*>(chunk.data()), chunk.size());
        ++result.chunks;
      },
      [&](std::exception_ptr error) {
        result.error = std::move(error);
        ended.set_value();
      });
  ended.get_future().get();
  return result;
}

// The case of a failure of the library; absent for none and for a failure of another kind.
inline std::optional<app::PhotosPlatformError::Case> caseOf(const std::exception_ptr& error) {
  if (!error) {
    return std::nullopt;
  }
  try {
    std::rethrow_exception(error);
  } catch (const app::PhotosPlatformError& failure) {
    return failure.kind();
  } catch (...) {
    return std::nullopt;
  }
}

inline Date day(int number) { return Date(std::chrono::hours(24 * (20'000 + number))); }

}  // namespace tolvander::tests
