#pragma once

#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::app {

// Whether the program may read and change the photo library, as the user is shown it. Only `authorized` lets
// it work: a file can be called new only by looking at the whole library, which `limited` doesn't show.
enum class PhotosPermissionStatus { authorized, limited, notDetermined, denied, restricted };

// Also of a value that this version doesn't know, which counts as restricted.
constexpr PhotosPermissionStatus photosPermissionStatus(PhotosAuthorizationStatus status) {
  switch (status) {
    case PhotosAuthorizationStatus::notDetermined:
      return PhotosPermissionStatus::notDetermined;
    case PhotosAuthorizationStatus::denied:
      return PhotosPermissionStatus::denied;
    case PhotosAuthorizationStatus::authorized:
      return PhotosPermissionStatus::authorized;
    case PhotosAuthorizationStatus::limited:
      return PhotosPermissionStatus::limited;
    case PhotosAuthorizationStatus::restricted:
      break;
  }
  return PhotosPermissionStatus::restricted;
}

}  // namespace tolvander::app
