#include "Tests/Fault/PowerCut.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>
#include <utility>

#include "Tests/Support/FaultInjection.h"
#include "Tests/Support/TemporaryFolder.h"

namespace tolvander::tests {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t root = 0;
constexpr std::size_t mostUndecidedInFull = 8;

struct stat statusOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    throw fs::filesystem_error("look at", path, std::error_code(errno, std::system_category()));
  }
  return status;
}

// Which of `count` changes a state has, one choice after the other: every choice where there are few of
// them, otherwise all, none and a sample.
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
  constexpr std::size_t sampleSize = 1U << mostUndecidedInFull;
  choices = {std::vector<bool>(count, false), std::vector<bool>(count, true)};
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

PowerCut::PowerCut(FileURL folder) : folder_(std::move(folder)) {
  now_ = lookAtFolder();
  durable_ = now_;
}

void PowerCut::record(const std::function<void()>& operation) {
  const auto before = [this](const FileCall& call) {
    follow();
    struct stat status {};
    if ((call.name == "fsync" || call.name == "fdatasync") && fstat(call.descriptor, &status) == 0) {
      const auto known = numbers_.find(status.st_ino);
      syncing_ = known != numbers_.end() ? std::optional(known->second) : std::nullopt;
    }
  };
  runWatched(before, operation);
  follow();
}

// Takes in what the last call did.
void PowerCut::follow() {
  const Tree after = lookAtFolder();
  addChanges(now_, after);
  now_ = after;
  if (syncing_) {
    makeDurable(*syncing_);
    syncing_.reset();
  }
  moments_.push_back({.durable = durable_, .undecided = undecided_, .promises = promises_});
}

void PowerCut::addChanges(const Tree& before, const Tree& after) {
  Change names;
  for (const auto& [number, node] : after) {
    const auto earlier = before.find(number);
    const Node old = earlier != before.end() ? earlier->second : Node{.mode = node.mode};
    durable_.try_emplace(number, Node{.mode = node.mode});
    durable_[number].mode = node.mode;  // permissions are no matter here
    if (node.content != old.content) {
      undecided_.push_back({.contents = {{number, node.content}}});
    }
    for (const auto& [name, child] : node.names) {
      if (const auto known = old.names.find(name); known == old.names.end() || known->second != child) {
        names.names[number][name] = child;
      }
    }
    for (const auto& [name, child] : old.names) {
      if (!node.names.contains(name)) {
        names.names[number][name] = std::nullopt;
      }
    }
  }
  if (!names.names.empty()) {
    undecided_.push_back(std::move(names));
  }
}

void PowerCut::makeDurable(Number number) {
  std::erase_if(undecided_, [&](const Change& change) {
    const bool isOfIt = change.contents.contains(number) || change.names.contains(number);
    if (isOfIt) {
      apply(change, durable_);
    }
    return isOfIt;
  });
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
  if (S_ISREG(node.mode)) {
    node.content = readFile(FileURL(path));
  }
  if (S_ISDIR(node.mode)) {
    for (const auto& entry : fs::directory_iterator(path)) {
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
  for (const auto& [number, content] : change.contents) {
    tree[number].content = content;
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

void PowerCut::rebuild(const std::string& path, Number number, const Tree& tree) {
  const Node& node = tree.at(number);
  if (S_ISREG(node.mode)) {
    writeFile(FileURL(path), node.content);
  } else {
    fs::create_directories(path);
    for (const auto& [name, child] : node.names) {
      rebuild(path + "/" + name, child, tree);
    }
  }
  fs::permissions(path, static_cast<fs::perms>(node.mode & 07777U));
}

PowerCut::Count PowerCut::forEachState(const std::function<void(std::size_t promises)>& open) const {
  std::mt19937_64 random(20261122);
  Count count{.moments = moments_.size()};
  std::set<std::pair<std::string, std::size_t>> opened;
  for (const Moment& moment : moments_) {
    count.longestWindow = std::max(count.longestWindow, moment.undecided.size());
    count.sampledMoments += moment.undecided.size() > mostUndecidedInFull ? 1 : 0;
    for (const auto& choice : choicesAmong(moment.undecided.size(), random)) {
      Tree tree = moment.durable;
      for (std::size_t index = 0; index < choice.size(); ++index) {
        if (choice[index]) {
          apply(moment.undecided[index], tree);
        }
      }
      fs::remove_all(folder_.path());
      rebuild(folder_.path(), root, tree);
      std::string key;
      for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
        key += entry.path().string() + '\0' +
               (entry.is_regular_file() ? readFile(FileURL(entry.path().string())) : "") + '\0';
      }
      if (opened.emplace(std::move(key), moment.promises).second) {
        ++count.states;
        open(moment.promises);
      }
    }
  }
  return count;
}

}  // namespace tolvander::tests
