#include "Shells/CommandLine/Session/ProgressLine.h"

#include <unistd.h>

#include <iostream>

namespace tolvander::shell {

ProgressLine::ProgressLine(bool isWanted) : isShown_(isWanted && isatty(STDOUT_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
  if (shown_) {
    std::cout << "\r\x1b[K" << std::flush;
  }
}

void ProgressLine::show(std::string_view text) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds pause(100);
  const Clock::time_point now = Clock::now();
  if (!isShown_ || (shown_ && now - *shown_ < pause)) {
    return;
  }
  shown_ = now;
  std::cout << "\r\x1b[K" << text << std::flush;
}

}  // namespace tolvander::shell
