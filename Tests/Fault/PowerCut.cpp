#include "Tests/Fault/PowerCut.h"

#include <dlfcn.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>
#include <span>
#include <utility>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander::tests {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t root = 0;
constexpr std::size_t mostUndecidedInFull = 8;
constexpr std::size_t sampleSize = 64;  // for one moment; the moments before it have had their own

// Empty where there is none.
std::string& folderOnFAT() {
  static std::string path;
  return path;
}

bool isBelowFAT(int descriptor) {
  std::error_code failure;
  const FileURL file(fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), failure).string());
  return !folderOnFAT().empty() && !failure &&
         (file.path() == folderOnFAT() || file.isBelow(FileURL(folderOnFAT())));
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    throw fs::filesystem_error("look at", path, std::error_code(errno, std::system_category()));
  }
  return status;
}

// Which of `count` changes a state has, one choice after the other: every choice where there are few of
// them, otherwise the likely ones and a sample.
std::vector<std::vector<bool>> choicesAmong(std::size_t count, std::mt19937_64& random) {
  std::vector<std::vector<bool>> choices;
  if (count <= mostUndecidedInFull) {
    for (std::size_t bits = 0; bits < (std::size_t{1} << count); ++bits) {
      std::vector<bool> choice;
      for (std::size_t index = 0; index < count; ++index) {
        choice.push_back(((bits >> index) & 1U) != 0);
      }
      choices.push_back(std::move(choice));
    }
    return choices;
  }
  for (std::size_t index = 0; index <= count; ++index) {
    std::vector<bool> firstOnes(count, false);
    std::fill_n(firstOnes.begin(), index, true);
    choices.push_back(std::move(firstOnes));
  }
  for (std::size_t index = 0; index < count; ++index) {
    for (const bool isThere : {false, true}) {
      std::vector<bool> choice(count, !isThere);
      choice[index] = isThere;
      choices.push_back(std::move(choice));
    }
  }
  while (choices.size() < sampleSize) {
    std::vector<bool> choice;
    for (std::size_t index = 0; index < count; ++index) {
      choice.push_back((random() & 1U) != 0);
    }
    choices.push_back(std::move(choice));
  }
  return choices;
}

}  // namespace

PretendedFAT::PretendedFAT(const FileURL& folder) { folderOnFAT() = folder.path(); }

PretendedFAT::~PretendedFAT() { folderOnFAT().clear(); }

PowerCut::PowerCut(FileURL folder, Options options)
    : folder_(std::move(folder)), options_(std::move(options)) {
  now_ = lookAtFolder();
  durable_ = now_;
}

void PowerCut::record(const std::function<void()>& operation,
                      const std::function<int(const FileCall& call)>& failure) {
  std::optional<PretendedFAT> fat;
  if (options_.fat) {
    fat.emplace(folder_.appending(*options_.fat));
  }
  const auto before = [&](const FileCall& call) {
    follow();
    if (const int error = failure ? failure(call) : 0) {
      return error;
    }
    struct stat status {};
    if ((call.name == "fsync" || call.name == "fdatasync") && fstat(call.descriptor, &status) == 0) {
      if (const auto known = numbers_.find(status.st_ino); known != numbers_.end()) {
        syncing_ = {known->second};
      }
    }
    if (call.name == "syncfs") {
      std::ranges::transform(now_, std::inserter(syncing_, syncing_.end()),
                             [](const auto& node) { return node.first; });
    }
    return 0;
  };
  runWatched(before, operation);
  follow();
}

// Takes in what the last call did.
void PowerCut::follow() {
  const Tree after = lookAtFolder();
  addChanges(now_, after);
  now_ = after;
  for (const Number number : std::exchange(syncing_, {})) {
    makeDurable(number);
  }
  moments_.push_back({.durable = durable_, .undecided = undecided_, .promises = promises_});
}

void PowerCut::addChanges(const Tree& before, const Tree& after) {
  Change names;
  for (const auto& [number, node] : after) {
    const auto earlier = before.find(number);
    const Node old = earlier != before.end() ? earlier->second : Node{.mode = node.mode};
    durable_.try_emplace(number, Node{.mode = node.mode, .isOnFAT = node.isOnFAT});
    durable_[number].mode = node.mode;  // permissions are no matter here
    if (node.content != old.content) {
      addContentChanges(number, old.content, node.content);
    }
    for (const auto& [name, child] : node.names) {
      if (const auto known = old.names.find(name); known == old.names.end() || known->second != child) {
        names.names[number][name] = child;
      }
      if (node.isOnFAT && S_ISDIR(after.at(child).mode) && !before.contains(child)) {
        keptAbove_[child] = number;
      }
    }
    for (const auto& [name, child] : old.names) {
      if (!node.names.contains(name)) {
        names.names[number][name] = std::nullopt;
      }
    }
  }
  addNameChanges(std::move(names), after);
}

void PowerCut::addContentChanges(Number number, const std::string& before, const std::string& after) {
  if (after.size() < before.size()) {
    undecided_.push_back(
        {.contents = {{number, {.offset = 0, .bytes = after, .size = after.size(), .isCut = true}}}});
    return;
  }
  constexpr std::size_t page = 4096;
  const auto [newByte, oldByte] = std::mismatch(after.begin(), after.end(), before.begin(), before.end());
  const auto begin = static_cast<std::size_t>(newByte - after.begin());
  std::size_t end = after.size();
  while (end > begin && end <= before.size() && after[end - 1] == before[end - 1]) {
    --end;
  }
  const std::size_t middle = end - begin > page ? begin + (end - begin) / 2 : end;
  for (const auto& [from, to] : {std::pair(begin, middle), std::pair(middle, end)}) {
    if (from < to) {
      undecided_.push_back(
          {.contents = {{number, {.offset = from, .bytes = after.substr(from, to - from), .size = to}}}});
    }
  }
}

void PowerCut::addNameChanges(Change names, const Tree& after) {
  Change together;
  for (const auto& [folder, changed] : names.names) {
    if (!after.at(folder).isOnFAT) {
      together.names.emplace(folder, changed);
      continue;
    }
    for (const auto& [name, child] : changed) {
      undecided_.push_back({.names = {{folder, {{name, child}}}}});
    }
  }
  if (!together.names.empty()) {
    undecided_.push_back(std::move(together));
  }
}

void PowerCut::makeDurable(Number number) {
  const bool isKeptAbove = keptAbove_.contains(number);
  std::erase_if(undecided_, [&](const Change& change) {
    const bool isOfIt = change.contents.contains(number) || (change.names.contains(number) && !isKeptAbove);
    if (isOfIt) {
      apply(change, durable_);
    }
    return isOfIt;
  });
  // What was kept here of a new folder is now durable as well.
  for (const auto& [folder, above] : std::map(keptAbove_)) {
    if (above == number) {
      keptAbove_.erase(folder);
      std::erase_if(undecided_, [&, &kept = folder](const Change& change) {
        const bool isOfIt = change.names.contains(kept);
        if (isOfIt) {
          apply(change, durable_);
        }
        return isOfIt;
      });
    }
  }
}

PowerCut::Tree PowerCut::lookAtFolder() {
  Tree tree;
  std::map<ino_t, Number> seen;
  seen[statusOf(folder_.path()).st_ino] = root;
  addToTree(folder_.path(), root, tree, seen);
  numbers_ = std::move(seen);
  return tree;
}

// An inode that was gone for a moment is another file.
PowerCut::Number PowerCut::numberOf(ino_t inode, const std::map<ino_t, Number>& known) {
  const auto earlier = known.find(inode);
  return earlier != known.end() ? earlier->second : nextNumber_++;
}

void PowerCut::addToTree(const std::string& path, Number number, Tree& tree, std::map<ino_t, Number>& seen) {
  Node node{.mode = statusOf(path).st_mode};
  if (options_.fat) {
    node.isOnFAT = FileURL(path).path() == folder_.appending(*options_.fat).path() ||
                   FileURL(path).isBelow(folder_.appending(*options_.fat));
  }
  if (S_ISREG(node.mode)) {
    node.content = readFile(FileURL(path));
  }
  if (S_ISDIR(node.mode)) {
    for (const auto& entry : fs::directory_iterator(path)) {
      if (options_.leftOut.contains(entry.path().filename().string())) {
        continue;
      }
      const ino_t inode = statusOf(entry.path().string()).st_ino;
      const Number child = numberOf(inode, numbers_);
      seen[inode] = child;
      node.names[entry.path().filename().string()] = child;
      addToTree(entry.path().string(), child, tree, seen);
    }
  }
  tree[number] = std::move(node);
}

void PowerCut::apply(const Change& change, Tree& tree) {
  for (const auto& [number, patch] : change.contents) {
    std::string& content = tree[number].content;
    content.resize(patch.isCut ? patch.size : std::max(content.size(), patch.size));
    content.replace(patch.offset, patch.bytes.size(), patch.bytes);
  }
  for (const auto& [folder, names] : change.names) {
    for (const auto& [name, child] : names) {
      if (child) {
        tree[folder].names[name] = *child;
      } else {
        tree[folder].names.erase(name);
      }
    }
  }
}

// The same for trees that give the same folder.
std::string PowerCut::keyOf(const Tree& tree) {
  SHA256 hash;
  const std::function<void(Number)> add = [&](Number number) {
    const Node& node = tree.at(number);
    const std::string head = std::to_string(number) + " " + std::to_string(node.content.size()) + " " +
                             std::to_string(node.names.size()) + "\n";
    hash.update(std::as_bytes(std::span(head)));
    hash.update(std::as_bytes(std::span(node.content)));
    for (const auto& [name, child] : node.names) {
      hash.update(std::as_bytes(std::span(name)));
      add(child);
    }
  };
  add(root);
  return FileFingerprinter::text(hash.finish());
}

void PowerCut::rebuild(const std::string& path, Number number, const Tree& tree,
                       std::map<Number, std::string>& built) {
  const Node& node = tree.at(number);
  if (const auto other = built.find(number); other != built.end() && S_ISREG(node.mode)) {
    fs::create_hard_link(other->second, path);
    return;
  }
  built[number] = path;
  if (S_ISREG(node.mode)) {
    writeFile(FileURL(path), node.content);
  } else {
    fs::create_directories(path);
    for (const auto& [name, child] : node.names) {
      rebuild(path + "/" + name, child, tree, built);
    }
  }
  fs::permissions(path, static_cast<fs::perms>(node.mode & 07777U));
}

PowerCut::Count PowerCut::forEachState(const std::function<void(std::size_t promises)>& open,
                                       std::size_t fewest) const {
  std::optional<PretendedFAT> fat;
  if (options_.fat) {
    fat.emplace(folder_.appending(*options_.fat));
  }
  std::mt19937_64 random(20261122);
  Count count;
  std::set<std::pair<std::string, std::size_t>> seen;
  for (const Moment& moment : moments_) {
    if (moment.promises < fewest) {
      continue;
    }
    ++count.moments;
    count.longestWindow = std::max(count.longestWindow, moment.undecided.size());
    count.sampledMoments += moment.undecided.size() > mostUndecidedInFull ? 1 : 0;
    for (const auto& choice : choicesAmong(moment.undecided.size(), random)) {
      Tree tree = moment.durable;
      for (std::size_t index = 0; index < choice.size(); ++index) {
        if (choice[index]) {
          apply(moment.undecided[index], tree);
        }
      }
      if (!seen.emplace(keyOf(tree), moment.promises).second || ++count.states % options_.opensEvery != 0) {
        continue;
      }
      fs::remove_all(folder_.path());
      std::map<Number, std::string> built;
      rebuild(folder_.path(), root, tree, built);
      open(moment.promises);
    }
  }
  return count;
}

}  // namespace tolvander::tests

// In place of the C library's, for this program.
extern "C" int fstatfs(int descriptor, struct statfs* status) noexcept {
  static const auto next = reinterpret_cast<decltype(&::fstatfs)>(dlsym(RTLD_NEXT, "fstatfs"));
  const int result = next(descriptor, status);
  if (result == 0 && tolvander::tests::isBelowFAT(descriptor)) {
    status->f_type = MSDOS_SUPER_MAGIC;
  }
  return result;
}
