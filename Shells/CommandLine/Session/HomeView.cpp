#include "Shells/CommandLine/Session/HomeView.h"

#include "Platform/Linux/System/EventLoop.h"

namespace tolvander::shell {

using namespace platform::linux_;

HomeView::HomeView(const Context& context) : files_(HomeFiles::of(context)), stored_(files_.settings) {
  if (stored_.failure()) {
    throw app::UserDefaultsError(*stored_.failure());
  }
}

app::CamerasReport HomeView::cameras() {
  EventLoop loop;  // never runs: nothing is observed
  const LinuxVolumes volumes(loop);
  VolumeBookmarks bookmarks(volumes);
  return app::CamerasReport::of(settings_, bookmarks);
}

}  // namespace tolvander::shell
