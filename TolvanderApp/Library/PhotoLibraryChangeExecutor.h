#pragma once

#include <functional>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::app {

// Submits changes of the photo library and distinguishes how they ended: done, certainly not done, or not to
// be known. Importing a file exactly once rests on that difference.
class PhotoLibraryChangeExecutor {
 public:
  PhotoLibraryChangeExecutor() = delete;

  using AuthorizationStatus = std::function<PhotosAuthorizationStatus()>;
  using Submit = std::function<void(PhotoLibrary::ChangeBlock, PhotoLibrary::ChangeCompletion)>;

  // Blocks until the change is complete, which a cancellation doesn't shorten: `token` is looked at before
  // anything is submitted, and never again. `change` runs on a thread of the library; what it wrote can be
  // read when this returns. On any thread.
  //
  // Throws MediaImportCommitFailure where nothing has been done, around CancellationError, PhotoLibraryError
  // accessDenied or changeFailed, or the library's error; and PhotoLibraryError inconsistentChangeResult,
  // unwrapped, where it can't be known. Anything that `submit` throws passes through: it is not known either.
  static void perform(PhotoLibrary::ChangeBlock change, const AuthorizationStatus& authorizationStatus,
                      const Submit& submit, const CancellationToken& token);

  static void perform(PhotoLibrary::ChangeBlock change, PhotoLibrary& library,
                      const CancellationToken& token);

 private:
  struct Result;
  class Completion;
};

}  // namespace tolvander::app
