#include "Shells/CommandLine/Session/ChosenVolumes.h"

#include <algorithm>
#include <utility>

namespace tolvander::shell {

ChosenVolumes::ChosenVolumes(app::Volumes& all, const std::vector<FileURL>& chosen) : all_(all) {
  for (const FileURL& volume : chosen) {
    chosen_.push_back(volume.resolvingSymlinks());
  }
}

bool ChosenVolumes::isChosen(const FileURL& volume) const {
  const FileURL place = volume.resolvingSymlinks();
  return chosen_.empty() || std::ranges::any_of(chosen_, [&](const FileURL& chosen) {
           return chosen == place || chosen.isBelow(place);
         });
}

std::vector<app::MountedVolume> ChosenVolumes::mountedVolumes() const {
  std::vector<app::MountedVolume> volumes = all_.mountedVolumes();
  std::erase_if(volumes, [this](const app::MountedVolume& volume) { return !isChosen(volume.url); });
  return volumes;
}

// The model itself asks the list above whether a volume that came is one.
app::Subscription ChosenVolumes::observeMounts(Observer onMount, Observer onUnmount) {
  return all_.observeMounts(std::move(onMount), std::move(onUnmount));
}

}  // namespace tolvander::shell
