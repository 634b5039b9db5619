#include "Shells/CommandLine/Session/HomeView.h"

namespace tolvander::shell {

using namespace platform::linux_;

HomeView::HomeView(const Context& context) : files_(HomeFiles::of(context)), stored_(files_.settings) {
  if (stored_.failure()) {
    throw app::UserDefaultsError(*stored_.failure());
  }
}

app::CamerasReport HomeView::cameras() {
  const LinuxVolumes volumes(loop_);
  VolumeBookmarks bookmarks(volumes);
  return app::CamerasReport::of(settings_, bookmarks);
}

}  // namespace tolvander::shell
