// Runs every fuzz target over the inputs of its corpus. The targets all define the same function, so the
// build compiles each with the target's own name in its place and lists the names in FuzzTargets.inc.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#define FUZZ_TARGET(name) extern "C" int name(const std::uint8_t* data, std::size_t size);
#include "FuzzTargets.inc"
#undef FUZZ_TARGET

namespace {

struct FuzzTarget {
  std::string name;
  int (*run)(const std::uint8_t* data, std::size_t size);
};

std::vector<FuzzTarget> fuzzTargets() {
  return {
#define FUZZ_TARGET(name) {#name, name},
#include "FuzzTargets.inc"
#undef FUZZ_TARGET
  };
}

// The folders of a target's inputs: the one with its name, and those that it shares with other targets.
std::vector<std::string> foldersOf(const FuzzTarget& target) {
  std::vector<std::string> folders{target.name};
  std::ifstream stream(std::filesystem::path(TOLVANDER_FUZZ_FOLDER) / "SharedCorpora.txt");
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(target.name + " ")) {
      folders.push_back(line.substr(target.name.size() + 1));
    }
  }
  return folders;
}

std::vector<std::filesystem::path> corpusOf(const FuzzTarget& target) {
  std::vector<std::filesystem::path> files;
  for (const std::string& name : foldersOf(target)) {
    const std::filesystem::path folder = std::filesystem::path(TOLVANDER_FUZZ_FOLDER) / "Corpus" / name;
    if (std::filesystem::is_directory(folder)) {
      for (const auto& file : std::filesystem::directory_iterator(folder)) {
        files.push_back(file.path());
      }
    }
  }
  std::ranges::sort(files);
  return files;
}

std::vector<std::uint8_t> contentOf(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class FuzzReplay : public testing::TestWithParam<FuzzTarget> {};

std::string nameOf(const testing::TestParamInfo<FuzzTarget>& info) { return info.param.name; }

}  // namespace

// A property that doesn't hold ends the program, and the trace tells the input.
TEST_P(FuzzReplay, holdsItsPropertiesForTheWholeCorpus) {
  const auto files = corpusOf(GetParam());
  EXPECT_FALSE(files.empty()) << "no corpus";
  for (const auto& file : files) {
    SCOPED_TRACE(file);
    const auto content = contentOf(file);
    EXPECT_EQ(GetParam().run(content.data(), content.size()), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(fuzzTargets()), nameOf);
