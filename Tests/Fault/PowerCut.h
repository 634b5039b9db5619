#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/FileURL.h"

namespace tolvander::tests {

// What a power cut can leave of a folder that a program was changing.
//
// The program runs once, and every call of it that changes files is followed. From then on the folder is
// rebuilt as a disk may have it that lost its power at any moment: with everything that was made durable, and
// with any choice of what wasn't. By POSIX, fsync of a file makes its bytes durable and not its name, and
// fsync of a folder makes the names in it durable. What isn't durable yet, each write to a file and each
// change of names, is there or not there, independently of the others; a rename is one change, which becomes
// durable with either of its folders.
class PowerCut {
 public:
  // Everything that is in the folder now is durable.
  explicit PowerCut(FileURL folder);

  // Runs the operation and follows its calls.
  void record(const std::function<void()>& operation);

  // For the operation: what it has done so far has to last from now on.
  void promise() { ++promises_; }

  struct Count {
    std::size_t moments = 0;         // between two calls
    std::size_t states = 0;          // different ones, which were opened
    std::size_t sampledMoments = 0;  // with so much undecided that not every choice was tried
    std::size_t longestWindow = 0;   // most changes that weren't durable at one moment
  };

  // Rebuilds the folder in each state and hands it to `open`, with the number of promises made before.
  // Choices among more than 8 changes are sampled, by a fixed seed. The folder's content is gone afterwards.
  Count forEachState(const std::function<void(std::size_t promises)>& open) const;

 private:
  using Number = std::uint64_t;  // of a file or folder; never used again

  struct Node {
    mode_t mode = 0;
    std::string content{};                  // of a file
    std::map<std::string, Number> names{};  // of a folder
    friend bool operator==(const Node&, const Node&) = default;
  };
  using Tree = std::map<Number, Node>;

  // One change that a power cut undoes or doesn't: new bytes of one file, or new names in folders.
  struct Change {
    std::map<Number, std::string> contents{};
    std::map<Number, std::map<std::string, std::optional<Number>>> names{};
  };

  struct Moment {
    Tree durable;
    std::vector<Change> undecided;
    std::size_t promises = 0;
  };

  void follow();
  void addChanges(const Tree& before, const Tree& after);
  void makeDurable(Number number);
  Tree lookAtFolder();
  Number numberOf(ino_t inode, const std::map<ino_t, Number>& known);
  void addToTree(const std::string& path, Number number, Tree& tree, std::map<ino_t, Number>& seen);
  static void apply(const Change& change, Tree& tree);
  static void rebuild(const std::string& path, Number number, const Tree& tree);

  const FileURL folder_;
  std::map<ino_t, Number> numbers_;  // of what was there at the last look
  Number nextNumber_ = 1;
  Tree now_;
  Tree durable_;
  std::vector<Change> undecided_;
  std::optional<Number> syncing_;  // the file or folder of an fsync that is under way
  std::vector<Moment> moments_;
  std::size_t promises_ = 0;
};

}  // namespace tolvander::tests
