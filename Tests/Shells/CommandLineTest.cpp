#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "Samples/Bytes.h"
#include "Tests/Shells/CommandLine.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class CommandLineTest : public CommandLine {
 protected:
  void makeCharmera() const {
    writeFile(volume.appending("DCIM/100/PICT0010.JPG"), "ten");
    writeFile(volume.appending("DCIM/100/PICT0009.JPG"), "nine");
    fs::create_directory(volume.appending("SPIDCIM").path());
  }

  const FileURL volume = folder / "CARD";
};

TEST_F(CommandLineTest, explainsItself) {
  const ToolResult help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* word : {"sync", "watch", "cameras", "library", "status", "history", "log", "scan", "plan",
                           "rewrap", "--home", "--json", "--version"}) {
    EXPECT_TRUE(contains(help.output, word)) << word;
  }
  const ToolResult scanHelp = run({"scan", "--help"});
  EXPECT_EQ(scanHelp.status, 0);
  EXPECT_TRUE(contains(scanHelp.output, "--fingerprints"));
}

TEST_F(CommandLineTest, tellsItsVersion) {
  EXPECT_EQ(run({"--version"}).output, "tolvanderctl " TOLVANDER_VERSION "\n");
}

TEST_F(CommandLineTest, answersWrongUsageWithStatusTwoAndAMessage) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"scan"},
                                             {"unknown"},
                                             {"scan", "--unknown", "/"},
                                             {"scan", "a", "b"},
                                             {"history", "extra"},
                                             {"--home"}}) {
    expectWrongUsage(arguments);
  }
}

TEST_F(CommandLineTest, scansACamera) {
  makeCharmera();
  const ToolResult result = run({"scan", volume.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.output.starts_with("KODAK Charmera “CARD”: 2 media files, 7 bytes\n")) << result.output;
  EXPECT_LT(result.output.find("PICT0009.JPG"), result.output.find("PICT0010.JPG"));
}

TEST_F(CommandLineTest, scansACameraForPrograms) {
  makeCharmera();
  for (const auto& arguments :
       {std::vector<std::string>{"--json", "scan", volume.path(), "--fingerprints"},
        std::vector<std::string>{"scan", "--fingerprints", volume.path() + "/", "--json"}}) {
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    const JSONDocument document(bytesOf(result.output));
    const JSONObject report = document.root().object();
    EXPECT_EQ(report.required("displayName").string(), "CARD");
    EXPECT_EQ(report.required("profile").object().required("kind").string(), "charmera");
    const auto files = report.required("files").array();
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].object().required("relativePath").string(), "DCIM/100/PICT0009.JPG");
    EXPECT_EQ(files[0].object().required("byteCount").integer(), 4);
    EXPECT_EQ(files[0].object().required("sourceFingerprint").string(),
              FileFingerprinter::sha256(bytesOf("nine")));
    EXPECT_NO_THROW(static_cast<void>(files[0].object().required("modifiedAt").iso8601Date()));
  }
}

TEST_F(CommandLineTest, saysThatAPlainCardIsNoCamera) {
  writeFile(volume.appending("DCIM/IMG_0001.JPG"), "x");
  const ToolResult result = run({"scan", volume.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "“CARD” is no camera that Tolvander knows.\n");
}

TEST_F(CommandLineTest, failsForAVolumeThatIsNotThere) {
  const ToolResult result = run({"scan", volume.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.output.empty());
  EXPECT_TRUE(contains(result.errors, "No such file or directory")) << result.errors;
}

TEST_F(CommandLineTest, failsForAFile) {
  writeFile(volume, "x");
  const ToolResult result = run({"scan", volume.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "Not a directory")) << result.errors;
}

TEST_F(CommandLineTest, failsForAnEmptyName) { EXPECT_NE(run({"scan", ""}).status, 0); }

TEST_F(CommandLineTest, failsWhereItsOutputCannotBeWritten) {
  makeCharmera();
  const std::string command = std::string(TOLVANDERCTL) + " scan '" + volume.path() + "' >/dev/full";
  const ToolResult result = runTool({"sh", "-c", command});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "could not be written"));
}

// Without them its files would get their numbers, and what it prints.
TEST_F(CommandLineTest, worksWhereItWasStartedWithoutStandardDescriptors) {
  makeCharmera();
  for (const char* const closed : {">&-", "<&- >&- 2>&-"}) {
    const std::string command = std::string(TOLVANDERCTL) + " scan '" + volume.path() + "' " + closed;
    EXPECT_EQ(runTool({"sh", "-c", command}).status, 0) << closed;
  }
}

TEST_F(CommandLineTest, scansASavedCameraAsOne) {
  writeFile(volume.appending("DCIM/IMG_0001.JPG"), "x");
  ASSERT_EQ(run({"cameras", "add", volume.path()}).status, 0);
  const ToolResult result = run({"scan", volume.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.output.starts_with("CARD “CARD”: 1 media file, 1 byte\n")) << result.output;
}

// Whether the process is tolvanderctl and has the signal blocked, which is how it begins to handle Ctrl-C
// itself. The program is looked at too, since fork() blocks every signal for a moment in the child.
bool listensForInterrupts(pid_t process) {
  const fs::path folder = "/proc/" + std::to_string(process);
  std::error_code failure;
  if (fs::read_symlink(folder / "exe", failure) != fs::canonical(TOLVANDERCTL)) {
    return false;
  }
  std::ifstream status(folder / "status");
  std::string word;
  while (status >> word) {
    if (word == "SigBlk:") {
      std::uint64_t mask = 0;
      status >> std::hex >> mask;
      return (mask >> (SIGINT - 1U) & 1U) != 0;
    }
  }
  return false;
}

TEST_F(CommandLineTest, stopsAtCtrlC) {
  makeCharmera();
  const FileURL endless = volume.appending("DCIM/100/PICT0009.JPG");
  fs::resize_file(endless.path(), std::uintmax_t{1} << 40U);  // a hole; hours of work
  const FileURL errors = folder / "errors";
  const pid_t child = fork();
  if (child == 0) {
    static_cast<void>(freopen(errors.path().c_str(), "w", stderr));
    execl(TOLVANDERCTL, TOLVANDERCTL, "scan", "--fingerprints", volume.path().c_str(), nullptr);
    _exit(127);
  }
  while (!listensForInterrupts(child)) {
    ASSERT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "it ended by itself";
    std::this_thread::yield();
  }
  ASSERT_EQ(kill(child, SIGUSR1), 0);  // changes nothing
  ASSERT_EQ(kill(child, SIGINT), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_TRUE(contains(readFile(errors), "Stopping at the next safe point"));
}

TEST_F(CommandLineTest, refusesAnEmptyHomeInsteadOfUsingTheUsersOwn) {
  const ToolResult result = runTool({TOLVANDERCTL, "--home", "", "history"});
  EXPECT_EQ(result.status, 2);
  EXPECT_FALSE(result.errors.empty());
}

TEST_F(CommandLineTest, failsInWordsInAFolderThatIsGone) {
  const ToolResult result =
      runTool({"sh", "-c",
               "cd '" + folder.url().path() +
                   "' && mkdir gone && cd gone && rmdir ../gone && exec " TOLVANDERCTL " --home x history"});
  EXPECT_EQ(result.status, 1) << result.errors;
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: ")) << result.errors;
}

TEST_F(CommandLineTest, takesAPathThatGoesUpBehindALinkAsTheSystemDoes) {
  fs::create_directories((folder / "there/inside").path());
  fs::create_directories((folder / "there/CAMERA/DCIM").path());
  fs::create_directories((folder / "there/CAMERA/SPIDCIM").path());
  fs::create_directory_symlink((folder / "there/inside").path(), (folder / "link").path());
  EXPECT_TRUE(run({"scan", (folder / "link/../CAMERA").path()}).output.starts_with("KODAK Charmera"));
}

TEST_F(CommandLineTest, showsAnEmptyHistoryWithoutMakingAFile) {
  const ToolResult result = run({"history"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output,
            "Import history: " + home.path() +
                "/data/Tolvander/history.json\n"
                "0 photos and 0 videos in the library, 0 unresolved imports, 0 files in the Trash\n");
  EXPECT_FALSE(fs::exists(home.path()));
}

TEST_F(CommandLineTest, showsTheHistoryForPrograms) {
  const FileURL file = home.appending("data/Tolvander/history.json");
  writeFile(file, R"({"pendingImports":["b","a"]})");
  const ToolResult result = run({"--json", "history"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(JSONDocument(bytesOf(result.output)).root().object().required("pendingImports").array().size(),
            2U);
}

TEST_F(CommandLineTest, failsOnAnUnreadableHistoryInTheUsersWords) {
  const FileURL file = home.appending("data/Tolvander/history.json");
  writeFile(file, "broken");
  const ToolResult result = run({"history"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "tolvanderctl: Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. "
            "Contact "
            "support@tolvander.example for help.\n");
  EXPECT_EQ(readFile(file), "broken");
}

ToolResult completionsOf(const std::string& line) {
  const std::string script =
      "source '" TOLVANDER_COMPLETION "'; COMP_WORDS=(" + line +
      "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tolvanderctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
  return runTool({"bash", "-c", script});
}

TEST_F(CommandLineTest, completesCommandsAndOptionsInBash) {
  EXPECT_EQ(completionsOf("tolvanderctl sc").output, "scan\n");
  EXPECT_EQ(completionsOf("tolvanderctl --home /tmp h").output, "history\n");
  EXPECT_EQ(completionsOf("tolvanderctl scan --f").output, "--fingerprints\n");
  EXPECT_EQ(completionsOf("tolvanderctl plan --n").output, "--not-charmera\n");
  EXPECT_EQ(completionsOf("tolvanderctl plan --z").output, "--zone\n");
  EXPECT_EQ(completionsOf("tolvanderctl plan --m").output, "--modified\n");
  EXPECT_EQ(completionsOf("tolvanderctl plan --o").output, "--output\n");
  EXPECT_EQ(completionsOf("tolvanderctl --v").output, "--version\n");
  EXPECT_EQ(completionsOf("tolvanderctl sync --a").output, "--album\n");
  EXPECT_EQ(completionsOf("tolvanderctl sync --trash a").output, "ask\n");
  EXPECT_EQ(completionsOf("tolvanderctl cameras f").output, "forget\n");
  EXPECT_EQ(completionsOf("tolvanderctl library v").output, "verify\n");
  EXPECT_EQ(completionsOf("tolvanderctl log --f").output, "--files\n");
  fs::create_directory(volume.path());
  EXPECT_EQ(completionsOf("tolvanderctl sync " + folder.url().path() + "/CA").output, volume.path() + "\n");
  EXPECT_EQ(completionsOf("tolvanderctl scan " + folder.url().path() + "/CA").output, volume.path() + "\n");
}

TEST_F(CommandLineTest, completesFilesInBash) {
  const FileURL photo = folder / "PICT0001.JPG";
  writeFile(photo, "x");
  const std::string start = folder.url().path() + "/PI";
  for (const char* words : {"plan", "plan --output", "rewrap", "rewrap a.avi"}) {
    EXPECT_EQ(completionsOf("tolvanderctl " + std::string(words) + " " + start).output, photo.path() + "\n");
  }
  for (const char* words : {"history", "scan", "plan --zone", "plan --modified"}) {
    EXPECT_EQ(completionsOf("tolvanderctl " + std::string(words) + " " + start).output, "\n") << words;
  }
}

TEST_F(CommandLineTest, completesEveryCommandThatTheHelpNames) {
  const std::string help = run({"--help"}).output;
  std::istringstream lines(help.substr(help.find("Subcommands:")));
  std::string line;
  std::getline(lines, line);
  std::size_t commands = 0;
  while (std::getline(lines, line) && line.starts_with("  ")) {
    const std::string command = line.substr(2, line.find(' ', 2) - 2);
    EXPECT_EQ(completionsOf("tolvanderctl " + command).output, command + "\n");
    ++commands;
  }
  EXPECT_GE(commands, 10U);
}

}  // namespace
}  // namespace tolvander::tests
