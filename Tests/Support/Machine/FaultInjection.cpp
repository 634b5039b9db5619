#include "Tests/Support/Machine/FaultInjection.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <mutex>
#include <new>
#include <string_view>

namespace tolvander::tests {

namespace {

constexpr std::size_t mostCalls = 1 << 14;

// What is to happen and what has happened. In memory that is shared with the child process which a fault
// kills, so that its calls are known afterwards.
struct Plan {
  std::atomic<bool> isInForce = false;
  Fault fault{Fault::Kind::error};
  std::size_t point = 0;                                         // 0: no call fails
  const std::function<void()>* interruption = nullptr;           // of this process; done in place of a fault
  const std::function<int(const FileCall&)>* watcher = nullptr;  // likewise, before every call
  std::atomic<std::size_t> callsMade = 0;
  std::array<const char*, mostCalls> names{};  // string literals, at the same place in a child

  void begin(const Fault& newFault, std::size_t newPoint) {
    fault = newFault;
    point = newPoint;
    callsMade = 0;
    isInForce = true;
  }
};

Plan& plan() {
  static Plan* const shared = [] {
    void* memory = mmap(nullptr, sizeof(Plan), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory != MAP_FAILED ? new (memory) Plan : nullptr;
  }();
  return *shared;
}

// Counts calls only while it lives.
class PlanInForce {
 public:
  PlanInForce(const Fault& fault, std::size_t point) { plan().begin(fault, point); }
  ~PlanInForce() {
    plan().isInForce = false;
    plan().interruption = nullptr;
    plan().watcher = nullptr;
  }
  PlanInForce(const PlanInForce&) = delete;
  PlanInForce& operator=(const PlanInForce&) = delete;
};

FaultOutcome runHere(const Fault& fault, std::size_t point, const std::function<void()>& operation) {
  FaultOutcome outcome{point};
  const PlanInForce inForce(fault, point);
  try {
    operation();
  } catch (const std::exception& error) {
    outcome.threw = true;
    outcome.message = error.what();
  }
  return outcome;
}

FaultOutcome runInChild(const Fault& fault, std::size_t point, const std::function<void()>& operation) {
  constexpr int threwStatus = 3;
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    _exit(runHere(fault, point, operation).threw ? threwStatus : 0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  FaultOutcome outcome{point};
  outcome.wasKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  outcome.threw = WIFEXITED(status) && WEXITSTATUS(status) == threwStatus;
  EXPECT_TRUE(outcome.wasKilled || outcome.threw || status == 0) << "the child process ended by itself";
  return outcome;
}

}  // namespace

std::vector<std::string> mutatingCalls(const std::function<void()>& operation) {
  {
    const PlanInForce inForce(Fault::failing(0), 0);
    operation();
  }
  const std::size_t count = std::min<std::size_t>(plan().callsMade, mostCalls);
  return {plan().names.begin(), plan().names.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::size_t countMutatingCalls(const std::function<void()>& operation) {
  return mutatingCalls(operation).size();
}

void runWithInterruption(std::size_t point, const std::function<void()>& interruption,
                         const std::function<void()>& operation) {
  const PlanInForce inForce(Fault::failing(0), point);
  plan().interruption = &interruption;
  operation();
}

void runWatched(const std::function<int(const FileCall& call)>& before,
                const std::function<void()>& operation) {
  const PlanInForce inForce(Fault::failing(0), 0);
  plan().watcher = &before;
  operation();
}

FaultOutcome runWithFault(const Fault& fault, std::size_t point, const std::function<void()>& operation) {
  FaultOutcome outcome = fault.kind == Fault::Kind::kill ? runInChild(fault, point, operation)
                                                         : runHere(fault, point, operation);
  if (plan().callsMade >= point) {
    outcome.call = plan().names.at(point - 1);
  }
  return outcome;
}

std::size_t forEachFaultPoint(const Fault& fault, const std::function<void()>& setUp,
                              const std::function<void()>& operation,
                              const std::function<void(const FaultOutcome&)>& verify, std::size_t step) {
  std::size_t hits = 0;
  for (std::size_t point = 1; point <= mostCalls; point += step, ++hits) {
    setUp();
    const FaultOutcome outcome = runWithFault(fault, point, operation);
    const testing::ScopedTrace trace(__FILE__, __LINE__,
                                     "fault at call " + std::to_string(point) + " (" + outcome.call + ")");
    verify(outcome);
    if (!outcome.wasHit()) {
      return hits;
    }
  }
  ADD_FAILURE() << "the operation makes more calls each time";
  return mostCalls;
}

namespace {

enum class Verdict { proceed, fail, half, halfAndDie };

// The descriptor that the present call was asked about last.
thread_local int concernedDescriptor = -1;

thread_local bool isWatching = false;

Verdict watch(const std::function<int(const FileCall&)>& watcher, const char* name) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  isWatching = true;
  const int error = watcher({.name = name, .descriptor = concernedDescriptor});
  isWatching = false;
  errno = error;
  return error == 0 ? Verdict::proceed : Verdict::fail;
}

// Counts a call and says what is to become of it. For a failure errno is set.
Verdict judge(const char* name) {
  Plan& current = plan();
  const std::size_t number = ++current.callsMade;
  if (number <= mostCalls) {
    current.names.at(number - 1) = name;
  }
  if (current.watcher != nullptr) {
    return watch(*current.watcher, name);
  }
  const bool isHit = number == current.point || (current.fault.kind == Fault::Kind::lastingError &&
                                                 current.point != 0 && number > current.point);
  if (!isHit) {
    return Verdict::proceed;
  }
  if (current.interruption != nullptr) {
    current.isInForce = false;
    (*current.interruption)();
    current.isInForce = true;
    return Verdict::proceed;
  }
  switch (current.fault.kind) {
    case Fault::Kind::error:
    case Fault::Kind::lastingError:
      errno = current.fault.errorNumber;
      return Verdict::fail;
    case Fault::Kind::shortWrite:
      return Verdict::half;
    case Fault::Kind::kill:
      return Verdict::halfAndDie;
  }
  return Verdict::proceed;
}

[[noreturn]] void die() {
  ::kill(getpid(), SIGKILL);
  while (true) {
    pause();
  }
}

bool isInForce() {
  concernedDescriptor = -1;
  return plan().isInForce && !isWatching;
}

// Whether a plan is in force and the descriptor is one of a file on a disk; the standard streams never are.
bool concerns(int descriptor) {
  if (!isInForce() || descriptor <= STDERR_FILENO) {
    return false;
  }
  const int kept = errno;
  struct stat status {};
  const bool isOnDisk =
      fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
  errno = kept;
  concernedDescriptor = descriptor;
  return isOnDisk;
}

bool isOpenForWriting(int descriptor) {
  const int kept = errno;
  const int flags = fcntl(descriptor, F_GETFL);
  errno = kept;
  return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

// Whether open(2) has a third argument.
bool creates(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

bool createsOrTruncates(int flags) { return creates(flags) || (flags & O_TRUNC) != 0; }

// A call that is made or not made: a short one is made whole.
template <typename Call>
auto whole(bool counts, const char* name, Call call) -> decltype(call()) {
  if (counts) {
    const Verdict verdict = judge(name);
    if (verdict == Verdict::fail) {
      return -1;
    }
    if (verdict == Verdict::halfAndDie) {
      die();
    }
  }
  return call();
}

// A call that moves up to `size` bytes and can move fewer.
template <typename Call>
ssize_t partial(bool counts, const char* name, std::size_t size, Call call) {
  const Verdict verdict = counts ? judge(name) : Verdict::proceed;
  if (verdict == Verdict::fail) {
    return -1;
  }
  if (verdict == Verdict::proceed) {
    return call(size);
  }
  const ssize_t count = call(size > 1 ? size / 2 : size);
  if (verdict == Verdict::halfAndDie) {
    die();
  }
  return count;
}

}  // namespace

}  // namespace tolvander::tests

// What follows takes the place of the C library's functions of the same names, for the program and for every
// shared library in it, and hands over to them. The 64-bit names are what older interfaces and some libraries
// call. Linked into one program by itself, because it would take their place in every program.

namespace faults = tolvander::tests;

// NOLINTBEGIN(bugprone-macro-parentheses)
#define NEXT(function) \
  static const auto next = reinterpret_cast<decltype(&::function)>(dlsym(RTLD_NEXT, #function))

#define WHOLE(function, specifier, counts, parameters, arguments)            \
  extern "C" int function parameters specifier {                             \
    NEXT(function);                                                          \
    return faults::whole(counts, #function, [&] { return next arguments; }); \
  }

#define PARTIAL(function, specifier, descriptor, size, parameters, arguments) \
  extern "C" ssize_t function parameters specifier {                          \
    NEXT(function);                                                           \
    return faults::partial(faults::concerns(descriptor), #function, size,     \
                           [&](size_t count) { return next arguments; });     \
  }

#define OPENING(function, parameters, arguments)                                              \
  extern "C" int function parameters {                                                        \
    NEXT(function);                                                                           \
    mode_t mode = 0;                                                                          \
    if (faults::creates(flags)) {                                                             \
      va_list list;                                                                           \
      va_start(list, flags);                                                                  \
      mode = va_arg(list, mode_t);                                                            \
      va_end(list);                                                                           \
    }                                                                                         \
    return faults::whole(faults::isInForce() && faults::createsOrTruncates(flags), #function, \
                         [&] { return next arguments; });                                     \
  }

#define STREAM(function)                                               \
  extern "C" FILE* function(const char* path, const char* how) {       \
    NEXT(function);                                                    \
    FILE* stream = nullptr;                                            \
    faults::whole(faults::isInForce() && *how != 'r', #function, [&] { \
      stream = next(path, how);                                        \
      return 0;                                                        \
    });                                                                \
    return stream;                                                     \
  }

OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
STREAM(fopen)
STREAM(fopen64)

PARTIAL(write, , file, size, (int file, const void* bytes, size_t size), (file, bytes, count))
PARTIAL(pwrite, , file, size, (int file, const void* bytes, size_t size, off_t offset),
        (file, bytes, count, offset))
PARTIAL(pwrite64, , file, size, (int file, const void* bytes, size_t size, off64_t offset),
        (file, bytes, count, offset))
PARTIAL(sendfile, noexcept, to, size, (int to, int from, off_t* offset, size_t size),
        (to, from, offset, count))
PARTIAL(copy_file_range, , to, size,
        (int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t size, unsigned flags),
        (from, fromOffset, to, toOffset, count, flags))

// In whole buffers: half of them, rounded up.
extern "C" ssize_t writev(int file, const iovec* buffers, int size) {
  NEXT(writev);
  return faults::partial(faults::concerns(file), "writev", static_cast<size_t>(size),
                         [&](size_t count) { return next(file, buffers, static_cast<int>(count)); });
}

WHOLE(fsync, , faults::concerns(file), (int file), (file))
WHOLE(fdatasync, , faults::concerns(file), (int file), (file))
WHOLE(syncfs, noexcept, faults::concerns(file), (int file), (file))
WHOLE(ftruncate, noexcept, faults::concerns(file), (int file, off_t size), (file, size))
WHOLE(ftruncate64, noexcept, faults::concerns(file), (int file, off64_t size), (file, size))
WHOLE(truncate, noexcept, faults::isInForce(), (const char* path, off_t size), (path, size))
WHOLE(fallocate, , faults::concerns(file), (int file, int how, off_t offset, off_t size),
      (file, how, offset, size))
WHOLE(fallocate64, , faults::concerns(file), (int file, int how, off64_t offset, off64_t size),
      (file, how, offset, size))
WHOLE(fchmod, noexcept, faults::concerns(file), (int file, mode_t mode), (file, mode))
WHOLE(chmod, noexcept, faults::isInForce(), (const char* path, mode_t mode), (path, mode))
WHOLE(fchmodat, noexcept, faults::isInForce(), (int folder, const char* path, mode_t mode, int flags),
      (folder, path, mode, flags))
WHOLE(futimens, noexcept, faults::concerns(file), (int file, const timespec times[2]), (file, times))
WHOLE(utimensat, noexcept, faults::isInForce(),
      (int folder, const char* path, const timespec times[2], int flags), (folder, path, times, flags))

WHOLE(rename, noexcept, faults::isInForce(), (const char* from, const char* to), (from, to))
WHOLE(renameat, noexcept, faults::isInForce(),
      (int fromFolder, const char* from, int toFolder, const char* to), (fromFolder, from, toFolder, to))
WHOLE(renameat2, noexcept, faults::isInForce(),
      (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags),
      (fromFolder, from, toFolder, to, flags))
WHOLE(unlink, noexcept, faults::isInForce(), (const char* path), (path))
WHOLE(unlinkat, noexcept, faults::isInForce(), (int folder, const char* path, int flags),
      (folder, path, flags))
WHOLE(remove, noexcept, faults::isInForce(), (const char* path), (path))
WHOLE(rmdir, noexcept, faults::isInForce(), (const char* path), (path))
WHOLE(mkdir, noexcept, faults::isInForce(), (const char* path, mode_t mode), (path, mode))
WHOLE(mkdirat, noexcept, faults::isInForce(), (int folder, const char* path, mode_t mode),
      (folder, path, mode))
WHOLE(link, noexcept, faults::isInForce(), (const char* from, const char* to), (from, to))
WHOLE(linkat, noexcept, faults::isInForce(),
      (int fromFolder, const char* from, int toFolder, const char* to, int flags),
      (fromFolder, from, toFolder, to, flags))
WHOLE(symlink, noexcept, faults::isInForce(), (const char* text, const char* link), (text, link))
WHOLE(symlinkat, noexcept, faults::isInForce(), (const char* text, int folder, const char* link),
      (text, folder, link))

extern "C" int ioctl(int file, unsigned long request, ...) noexcept {
  NEXT(ioctl);
  va_list list;
  va_start(list, request);
  void* argument = va_arg(list, void*);
  va_end(list);
  const bool clones = request == FICLONE || request == FICLONERANGE;
  return faults::whole(clones && faults::concerns(file), "ioctl",
                       [&] { return next(file, request, argument); });
}

// Failing or not, a close leaves nothing open.
extern "C" int close(int file) {
  NEXT(close);
  const bool counts = faults::concerns(file) && faults::isOpenForWriting(file);
  const int failed = faults::whole(counts, "close", [] { return 0; });
  const int failure = errno;
  const int result = next(file);
  if (failed != 0) {
    errno = failure;
  }
  return failed != 0 ? failed : result;
}
// NOLINTEND(bugprone-macro-parentheses)
