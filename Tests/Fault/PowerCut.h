#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tests/Support/Machine/FaultInjection.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Lets fstatfs say, for as long as this lives, that what lies in this folder is on a FAT. One at a time.
class PretendedFAT {
 public:
  explicit PretendedFAT(const FileURL& folder);
  ~PretendedFAT();
  PretendedFAT(const PretendedFAT&) = delete;
  PretendedFAT& operator=(const PretendedFAT&) = delete;
};

// What a power cut can leave of a folder that a program was changing.
//
// The program runs once, and every call of it that changes files is followed. From then on the folder is
// rebuilt as a disk may have it that lost its power at any moment: with everything that was made durable, and
// with any choice of what wasn't. By POSIX, fsync of a file makes its bytes durable and not its name, and
// fsync of a folder makes the names in it durable. What isn't durable yet, each write to a file and each
// change of names, is there or not there, independently of the others; a rename is one change, which becomes
// durable with either of its folders. Of a write of more than a page, the first or the second half can be
// missing.
class PowerCut {
 public:
  struct Options {
    // Names of files and folders that aren't followed: they are in no state.
    std::set<std::string> leftOut{};
    // A folder, relative to the one that is followed, that lies on a FAT. A rename is two changes there, the
    // new name and the loss of the old one, each of which becomes durable with its own folder: a file may
    // have both names afterwards, or neither. And names in a new folder become durable by an fsync of that
    // folder only after an fsync of the folder above it: the Linux driver keeps the new folder's first block
    // among those of the folder above until that one is synced.
    std::optional<std::string> fat{};
    // Of the different states, every one of this distance is opened: 3 opens the third, the sixth, …
    std::size_t opensEvery = 1;
  };

  // Everything that is in the folder now is durable.
  explicit PowerCut(FileURL folder) : PowerCut(std::move(folder), Options{}) {}
  PowerCut(FileURL folder, Options options);

  // Runs the operation and follows its calls. `failure` can let calls fail, as in runWatched.
  void record(const std::function<void()>& operation,
              const std::function<int(const FileCall& call)>& failure = {});

  // For the operation: what it has done so far has to last from now on.
  void promise() { ++promises_; }

  struct Count {
    std::size_t moments = 0;         // between two calls
    std::size_t states = 0;          // different ones
    std::size_t sampledMoments = 0;  // with so much undecided that not every choice was tried
    std::size_t longestWindow = 0;   // most changes that weren't durable at one moment
  };

  // Rebuilds the folder in each state and hands it to `open`, with the number of promises made before. A file
  // with two names has them as hard links.
  //
  // Choices among more than 8 changes are sampled: the first n, all but one, one alone, and others by a fixed
  // seed. Moments with fewer promises than `fewest` are passed over. The folder's content is gone afterwards.
  Count forEachState(const std::function<void(std::size_t promises)>& open, std::size_t fewest = 0) const;

 private:
  using Number = std::uint64_t;  // of a file or folder; never used again

  struct Node {
    mode_t mode = 0;
    bool isOnFAT = false;
    std::string content{};                  // of a file
    std::map<std::string, Number> names{};  // of a folder
    friend bool operator==(const Node&, const Node&) = default;
  };
  using Tree = std::map<Number, Node>;

  // New bytes within a file, which has this size then at least; or at most, where it was cut.
  struct Patch {
    std::size_t offset = 0;
    std::string bytes{};
    std::size_t size = 0;
    bool isCut = false;
  };

  // One change that a power cut undoes or doesn't: new bytes of one file, or new names in folders.
  struct Change {
    std::map<Number, Patch> contents{};
    std::map<Number, std::map<std::string, std::optional<Number>>> names{};
  };

  struct Moment {
    Tree durable;
    std::vector<Change> undecided;
    std::size_t promises = 0;
  };

  void follow();
  void addChanges(const Tree& before, const Tree& after);
  void addContentChanges(Number number, const std::string& before, const std::string& after);
  void addNameChanges(Change names, const Tree& after);
  void makeDurable(Number number);
  Tree lookAtFolder();
  Number numberOf(ino_t inode, const std::map<ino_t, Number>& known);
  void addToTree(const std::string& path, Number number, Tree& tree, std::map<ino_t, Number>& seen);
  static void apply(const Change& change, Tree& tree);
  static std::string keyOf(const Tree& tree);
  static void rebuild(const std::string& path, Number number, const Tree& tree,
                      std::map<Number, std::string>& built);

  const FileURL folder_;
  const Options options_;
  std::map<ino_t, Number> numbers_;  // of what was there at the last look
  Number nextNumber_ = 1;
  Tree now_;
  Tree durable_;
  std::vector<Change> undecided_;
  std::map<Number, Number> keptAbove_;  // new folders on a FAT, with the folder above
  std::set<Number> syncing_;            // the files and folders of a sync that is under way
  std::vector<Moment> moments_;
  std::size_t promises_ = 0;
};

}  // namespace tolvander::tests
