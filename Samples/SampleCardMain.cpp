#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "Samples/SampleCard.h"

// Makes a folder that looks like the card of a Charmera. Exits with 0 when it is there, 1 when it couldn't be
// made, and 2 for wrong usage.
int main(int argumentCount, char** arguments) {
  using namespace tolvander;
  CLI::App application("Makes a folder that looks like the card of a KODAK Charmera camera.",
                       "tolvander-samplecard");
  std::string directory;
  tests::SampleCardOptions options;
  const CLI::Range fileCount(0U, tests::SampleCardOptions::mostFiles);
  application.add_option("DIR", directory, "The folder; new, or empty")->required();
  application.add_option("--photos", options.photos, "How many photos")
      ->check(fileCount)
      ->capture_default_str();
  application.add_option("--videos", options.videos, "How many videos")
      ->check(fileCount)
      ->capture_default_str();
  application.add_option("--seed", options.seed, "Another number makes another card")->capture_default_str();
  try {
    application.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return application.exit(error) == 0 ? 0 : 2;
  }
  try {
    const FileURL url = FileURL(std::filesystem::absolute(directory).string()).standardized();
    tests::writeSampleCard(url, options);
  } catch (const std::exception& error) {
    std::cerr << "tolvander-samplecard: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
