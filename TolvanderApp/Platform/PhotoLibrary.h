#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// What the user lets the program do with the library, reading and writing.
enum class PhotosAuthorizationStatus { notDetermined, restricted, denied, authorized, limited };

enum class PhotosMediaType { unknown, image, video, audio };

enum class PhotosResourceType {
  photo,
  video,
  audio,
  alternatePhoto,
  fullSizePhoto,
  fullSizeVideo,
  pairedVideo,
  adjustmentData,
  other
};

// One picture or film of the library.
struct PhotosAsset {
  std::string localIdentifier;
  std::optional<Date> creationDate;
  PhotosMediaType mediaType = PhotosMediaType::unknown;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  double duration = 0;  // seconds; 0 for what isn't a film

  friend bool operator==(const PhotosAsset&, const PhotosAsset&) = default;
};

// One file of an asset.
struct PhotosAssetResource {
  std::string assetLocalIdentifier;
  std::int64_t index = 0;  // its place in the order of the asset's resources
  PhotosResourceType type = PhotosResourceType::other;
  std::string originalFilename;

  friend bool operator==(const PhotosAssetResource&, const PhotosAssetResource&) = default;
};

struct PhotosAlbum {
  std::string localIdentifier;
  std::optional<std::string> localizedTitle;

  friend bool operator==(const PhotosAlbum&, const PhotosAlbum&) = default;
};

// Which assets to fetch, in which order, and how many at most.
struct PhotosFetchOptions {
  // Both ends included. An asset without a date lies in no window.
  struct CreationDates {
    Date from;
    Date to;
  };
  enum class Order { creationDateAscending, creationDateDescending };

  std::optional<CreationDates> creationDates;  // absent: all assets
  // Assets without a date count as older than all others; equal dates are in no promised order.
  Order order = Order::creationDateAscending;
  std::int64_t fetchLimit = 0;  // 0: no limit
};

// A file that a change block is about to ask for, with what the block will say of it.
struct PhotosImportFile {
  FileURL file;
  PhotosMediaType mediaType = PhotosMediaType::image;  // or video
  std::optional<Date> creationDate;                    // instead of the one in the file
  std::string fingerprint;  // SHA-256 of its bytes, in lower-case hexadecimal digits
};

// The files of one change block, and the history that is about to mark them.
struct PhotosImportPreparation {
  UUID history;
  std::vector<PhotosImportFile> files;
  std::optional<std::string> albumIdentifier;  // of the album that the block will put all of them into
};

// What a history says of imports that were begun. Only for a history that was read whole.
struct PhotosInterruptedImports {
  UUID history;
  std::set<std::string> pendingFingerprints;  // of files that are marked, as PhotosImportFile has them
  // Whether the history has a record of these bytes.
  std::function<bool(const std::string& fingerprint)> isRecorded;
};

// An asset that holds these bytes, as far as the library knows without reading it.
struct PhotosHeldContent {
  std::string fingerprint;
  std::string assetLocalIdentifier;

  friend bool operator==(const PhotosHeldContent&, const PhotosHeldContent&) = default;
};

// The only file of an asset, of which the library knows the content without reading it.
struct PhotosUnchangedOriginal {
  PhotosAssetResource resource;
  std::int64_t byteCount = 0;
  std::string sha256;  // of its bytes, in lower-case hexadecimal digits

  friend bool operator==(const PhotosUnchangedOriginal&, const PhotosUnchangedOriginal&) = default;
};

// The creation of one asset within a change block.
class PhotosAssetCreationRequest {
 public:
  virtual ~PhotosAssetCreationRequest() = default;
  // The date that the library is to show, instead of the one that it reads from the file.
  virtual void setCreationDate(Date date) = 0;
  // The identifier that the asset will have, if the library can tell.
  virtual std::optional<std::string> placeholderForCreatedAsset() = 0;
};

// The creation of one album within a change block.
class PhotosAlbumCreationRequest {
 public:
  virtual ~PhotosAlbumCreationRequest() = default;
  virtual std::optional<std::string> placeholderForCreatedAlbum() = 0;
};

// A change of one album within a change block.
class PhotosAlbumChangeRequest {
 public:
  virtual ~PhotosAlbumChangeRequest() = default;
  // Appends assets, placeholders of the same change block included. One that is a member already, or that
  // isn't in the library, is passed over.
  virtual void addAssets(const std::vector<std::string>& localIdentifiers) = 0;
};

// What a change block may ask for. Each answer is null where the library refuses the request; it lives as
// long as the block runs, and so does this object.
class PhotosChanges {
 public:
  virtual ~PhotosChanges() = default;
  virtual PhotosAssetCreationRequest* creationRequestForAssetFromImage(const FileURL& file) = 0;
  virtual PhotosAssetCreationRequest* creationRequestForAssetFromVideo(const FileURL& file) = 0;
  virtual PhotosAlbumCreationRequest* creationRequestForAlbum(const std::string& title) = 0;
  // `assets` are the album's assets as they were fetched before.
  virtual PhotosAlbumChangeRequest* changeRequest(const PhotosAlbum& album,
                                                  const std::vector<PhotosAsset>& assets) = 0;
};

// The user's photo library, in the platform's own vocabulary. Every operation is safe on every thread.
//
// Fetches answer from the local disk and never wait for a network. They throw PhotosPlatformError when the
// library can't be read.
class PhotoLibrary {
 public:
  // Runs exactly once, on a thread of the library's own, before the completion.
  using ChangeBlock = std::function<void(PhotosChanges&)>;
  // Runs once, on a thread of the library's own, holding no lock of the library. Success without an error:
  // everything that the block asked for is in the library, durably. No success: nothing of it is. Success
  // with an error: it can't be known.
  using ChangeCompletion = std::function<void(bool success, std::exception_ptr error)>;
  using DataHandler = std::function<void(std::span<const std::byte> chunk)>;
  // Without an error all chunks have been delivered.
  using DataCompletion = std::function<void(std::exception_ptr error)>;
  using RequestID = std::int32_t;

  virtual ~PhotoLibrary() = default;

  // Cheap; never prompts the user.
  virtual PhotosAuthorizationStatus authorizationStatus() = 0;
  // Optional: the folder in which requestAuthorization would make a new library. The user must have agreed to
  // that before. Absent where it makes none: there is a library, the request would fail, or it asks the user
  // itself. Blocks.
  virtual std::optional<FileURL> folderOfNewLibrary() { return std::nullopt; }
  // Asks the user if that was never done. The handler runs once, on any thread.
  virtual void requestAuthorization(std::function<void(PhotosAuthorizationStatus)> handler) = 0;
  // The error that made the last request fail, such as a full disk; null where the request succeeded or the
  // user denied it. Set before the handler runs.
  virtual std::exception_ptr requestFailure() { return nullptr; }

  // Optional: takes in the files of a change block that is to follow, before the history marks them, so that
  // the import can be completed if the process ends before the change was carried out. The block then asks
  // for the same files. A change that fails leaves them prepared. Blocks; when it returns, everything is
  // durable. Throws PhotosPlatformError, and has prepared nothing then. A library that can't prepare does
  // nothing.
  virtual void prepareImport(const PhotosImportPreparation& /*preparation*/) {}

  // Optional: completes the prepared files of this history whose fingerprints it has marked or recorded, and
  // drops those that it never marked. Leaves the files of other histories alone, and those that a later state
  // of this history has marked. Returns the assets that hold what is marked, also those that were there
  // before. Blocks. Throws PhotosPlatformError. A library that can't prepare knows of none.
  virtual std::vector<PhotosHeldContent> completeImports(const PhotosInterruptedImports& /*imports*/) {
    return {};
  }

  // Optional: those of the marked fingerprints whose prepared files completeImports would complete, or that
  // an asset holds already, as far as can be seen now. Changes nothing. Blocks. Throws PhotosPlatformError. A
  // library that can't prepare knows of none.
  virtual std::set<std::string> preparedFingerprints(const PhotosInterruptedImports& /*imports*/) {
    return {};
  }

  // Returns at once. A block that throws ends the change with nothing done, and the completion gets what it
  // threw.
  virtual void performChanges(ChangeBlock block, ChangeCompletion completion) = 0;

  virtual std::vector<PhotosAsset> fetchAssets(const PhotosFetchOptions& options) = 0;
  // Identifiers that aren't in the library give no asset. Each asset once, in no promised order.
  virtual std::vector<PhotosAsset> fetchAssets(const std::vector<std::string>& localIdentifiers) = 0;
  // In the order in which they were added. An album that is gone has none.
  virtual std::vector<PhotosAsset> fetchAssets(const PhotosAlbum& album) = 0;
  // The user's albums, oldest first; with a title only those that bear it, byte for byte.
  virtual std::vector<PhotosAlbum> fetchAlbums(const std::optional<std::string>& title) = 0;
  virtual std::vector<PhotosAlbum> fetchAlbumsWithLocalIdentifiers(
      const std::vector<std::string>& localIdentifiers) = 0;

  // Whether the content with this SHA-256 (64 lower-case hexadecimal digits; of the bytes that the asset was
  // made of) is in the library at this moment, as the original of the asset. The only copy elsewhere is
  // deleted on the strength of this. A library that keeps originals as ordinary files reads and hashes it;
  // one that looks after them itself, as this answers by default, has it for as long as the asset can be
  // fetched. Blocks; throws PhotosPlatformError when the library can't be read, and CancellationError.
  virtual bool proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                             const CancellationToken& token) {
    static_cast<void>(sha256);
    token.throwIfCancelled();
    return !fetchAssets(std::vector{localIdentifier}).empty();
  }

  // In the library's own order; the order of an asset's resources doesn't change while it isn't edited.
  virtual std::vector<PhotosAssetResource> assetResources(const PhotosAsset& asset) = 0;

  // Optional: the files of those of the assets that consist of one file only, where this file's size and
  // modification date are what they were when the library computed its hash. Each once, in no promised order.
  // Reads no original. Absent where the library keeps no hashes. Throws PhotosPlatformError.
  virtual std::optional<std::vector<PhotosUnchangedOriginal>> unchangedOriginals(
      const std::vector<std::string>& /*localIdentifiers*/) {
    return std::nullopt;
  }

  // Streams the bytes of a resource. The handlers run on a thread of the library's own, one at a time:
  // chunks in order, then the completion once. They may run before this call has returned. Nothing is
  // fetched from a network: an original that is not on this machine ends with the error of domain
  // "PHPhotosErrorDomain" and code 3164.
  virtual RequestID requestData(const PhotosAssetResource& resource, DataHandler dataReceived,
                                DataCompletion completion) = 0;
  // Ends a request early; its completion then gets an error, unless it ran already. An identifier that is
  // unknown or finished is passed over. Doesn't wait for a handler that runs.
  virtual void cancelDataRequest(RequestID request) = 0;
};

}  // namespace tolvander::app
