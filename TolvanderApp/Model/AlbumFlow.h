#pragma once

#include <optional>
#include <string>

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Chooses, makes and fills albums.
class AlbumFlow {
 public:
  explicit AlbumFlow(ModelContext& context)
      : context_(context), model_(context.model), fields_(context.fields) {}

  Started<AlbumResult> selectAlbum(std::string name);
  Started<AlbumResult> presentCreateAlbum();
  Started<AlbumResult> addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum);
  std::string suggestedAlbumName() const;

 private:
  Started<AlbumResult> startAlbumUpdate(std::string message, Task<AlbumResult> update);
  Task<AlbumResult> runAlbumUpdate(Task<AlbumResult> update);
  void showAlbumReceipt(std::string message);
  Task<bool> askToBackfill(std::string albumName);
  Task<AlbumResult> linkAlbum(std::string album, std::string before);
  Task<AlbumResult> updateAlbumUnlessStopped(std::optional<std::string> fromAlbum, std::string toAlbum);
  Task<AlbumResult> performRecordedAlbumUpdate(std::optional<std::string> fromAlbum, std::string toAlbum);
  Task<AlbumResult> askForAlbum();
  Task<AlbumResult> createAlbum(std::string name);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
};

}  // namespace tolvander::app
