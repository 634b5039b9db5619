#include "Tests/Support/Media/TrippedBytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <utility>

namespace tolvander::tests {

namespace {

// The page that can't be read until the handler has been there. One for the process, as the handler is.
struct Trap {
  std::byte* page = nullptr;
  std::size_t pageSize = 0;
  std::function<void()> action;
  struct sigaction before = {};
};

Trap trap;

// The signal is the thread's own and comes in the middle of a read, where it holds no lock that the action
// could want.
void onFault(int /*signal*/, siginfo_t* info, void* /*context*/) {
  const auto* const address = static_cast<const std::byte*>(info->si_addr);
  if (address < trap.page || address >= trap.page + trap.pageSize) {
    sigaction(SIGSEGV, &trap.before, nullptr);  // the read is tried again, and ends as it would without us
    return;
  }
  mprotect(trap.page, trap.pageSize, PROT_READ);
  trap.action();
}

}  // namespace

TrippedBytes::TrippedBytes(const Bytes& content, std::function<void()> atHalf) : size_(content.size()) {
  void* const memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::runtime_error("no memory");
  }
  memory_ = static_cast<std::byte*>(memory);
  std::ranges::copy(content, memory_);
  trap.pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  trap.page = memory_ + size_ / 2 / trap.pageSize * trap.pageSize;
  trap.action = std::move(atHalf);
  struct sigaction action = {};
  action.sa_sigaction = onFault;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, &trap.before);
  mprotect(trap.page, trap.pageSize, PROT_NONE);
}

TrippedBytes::~TrippedBytes() {
  sigaction(SIGSEGV, &trap.before, nullptr);
  munmap(memory_, size_);
  trap = {};
}

}  // namespace tolvander::tests
