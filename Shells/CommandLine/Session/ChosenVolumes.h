#pragma once

#include <vector>

#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::shell {

// Of the machine's volumes only those that the user named, and those that hold a folder that was named, so
// that it can be refused as part of a drive. All where none was named.
class ChosenVolumes final : public app::Volumes {
 public:
  // `all` lists the chosen ones too, and outlives this object.
  ChosenVolumes(app::Volumes& all, const std::vector<FileURL>& chosen);

  std::vector<app::MountedVolume> mountedVolumes() const override;
  app::Subscription observeMounts(Observer onMount, Observer onUnmount) override;

 private:
  bool isChosen(const FileURL& volume) const;

  app::Volumes& all_;
  std::vector<FileURL> chosen_;  // links resolved
};

}  // namespace tolvander::shell
