#include "Shells/CommandLine/Session/TerminalDialogs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <string>

#include "Tests/Support/Application/TaskResult.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Presentation/LibraryQuestion.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::shell {
namespace {

// A terminal with a user who types.
class TerminalDialogsTest : public testing::Test {
 protected:
  TerminalDialogsTest() {
    int user = -1;
    int program = -1;
    termios quiet{};
    quiet.c_lflag = ICANON;  // what is typed isn't shown again
    quiet.c_cc[VEOF] = 4;
    if (openpty(&user, &program, nullptr, &quiet, nullptr) != 0) {
      throw std::runtime_error("no terminal");
    }
    user_ = OwnedDescriptor(user);
    program_ = OwnedDescriptor(program);
    fcntl(user, F_SETFL, O_NONBLOCK);
  }

  void type(const std::string& text) const {
    ASSERT_EQ(write(user_.number(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  std::string shown() const {
    std::array<char, 4096> buffer{};
    const ssize_t size = read(user_.number(), buffer.data(), buffer.size());
    return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
  }

  TerminalDialogs dialogs(TerminalDialogs::Answers answers = {.optionForAlerts = "--yes"}) const {
    return {std::move(answers), stop.token(), {.input = program_.number(), .output = program_.number()}};
  }

  CancellationSource stop;
  tests::VirtualMainThread mainThread;
  const app::Alert alert{.style = app::Alert::Style::warning,
                         .message = "Forget CARD?",
                         .informativeText = "Its files stay.",
                         .buttons = {"Forget Camera", "Cancel"}};
  const app::DirectoryPanel panel{.title = "Choose Charmera Drive",
                                  .message = "Select your Charmera’s drive.",
                                  .prompt = "Use This Drive",
                                  .directory = FileURL("/Volumes")};
  const app::DirectoryPanel proposing{.title = panel.title,
                                      .message = panel.message,
                                      .prompt = panel.prompt,
                                      .directory = panel.directory,
                                      .proposed = FileURL("/media/CARD")};

 private:
  OwnedDescriptor user_;
  OwnedDescriptor program_;
};

TEST_F(TerminalDialogsTest, asksInTheWordsOfTheAlert) {
  auto asked = dialogs();
  type("1\n");
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 0U);
  EXPECT_EQ(shown(), "Forget CARD?\nIts files stay.\n1  Forget Camera\n2  Cancel\nAnswer [2]: ");
}

TEST_F(TerminalDialogsTest, takesTheWordsOfAButtonToo) {
  auto asked = dialogs();
  type(" forget camera \n");
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 0U);
}

TEST_F(TerminalDialogsTest, takesAnEmptyLineForTheLastButton) {
  auto asked = dialogs();
  type("\n");
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 1U);
}

TEST_F(TerminalDialogsTest, takesTheEndOfTheInputForTheLastButton) {
  auto asked = dialogs();
  type("\x04");
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 1U);
}

TEST_F(TerminalDialogsTest, asksAgainAfterAnAnswerThatIsNone) {
  auto asked = dialogs();
  type("yes\n3\n0\n1\n");
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 0U);
}

TEST_F(TerminalDialogsTest, takesCtrlCForTheLastButton) {
  auto asked = dialogs();
  stop.cancel();
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 1U);
}

TEST_F(TerminalDialogsTest, stopsWaitingAtCtrlC) {
  tests::VirtualMainThread threads(tests::VirtualMainThread::Jobs::onThreads);
  auto asked = dialogs();
  app::TaskScope scope(threads);
  const auto answer = scope.start(asked.ask(alert));
  threads.runUntil([&] { return !shown().empty(); });
  stop.cancel();
  threads.runUntilIdle();
  EXPECT_EQ(tests::resultOf(threads, answer.value()), 1U);
}

TEST_F(TerminalDialogsTest, asksNobodyWhereTheOptionAnswers) {
  auto asked = dialogs({.agreesToAlerts = true, .optionForAlerts = "--yes"});
  EXPECT_EQ(tests::resultOf(mainThread, asked.ask(alert)), 0U);
  EXPECT_EQ(shown(), "");
}

TEST_F(TerminalDialogsTest, asksWhetherTheProposedFolderMayBeUsed) {
  auto asked = dialogs();
  type("1\n2\n");
  EXPECT_EQ(tests::resultOf(mainThread, asked.chooseDirectory(proposing)), FileURL("/media/CARD"));
  EXPECT_EQ(shown(),
            "Use “/media/CARD” as a camera?\nSelect your Charmera’s drive.\n1  Use This Drive\n2  Cancel\n"
            "Answer [2]: ");
  EXPECT_EQ(tests::resultOf(mainThread, asked.chooseDirectory(proposing)), std::nullopt);
}

TEST_F(TerminalDialogsTest, usesTheProposedFolderWithoutAskingWhereTheOptionSaysSo) {
  auto asked = dialogs({.agreesToFolder = true});
  EXPECT_EQ(tests::resultOf(mainThread, asked.chooseDirectory(proposing)), FileURL("/media/CARD"));
  EXPECT_EQ(shown(), "");
}

TEST_F(TerminalDialogsTest, agreesToANewLibraryAsToAFolder) {
  const app::Alert question = app::newLibraryQuestion(FileURL("/p/Tolvander"));
  auto agreed = dialogs({.agreesToFolder = true});
  EXPECT_EQ(tests::resultOf(mainThread, agreed.ask(question)), 0U);
  EXPECT_EQ(shown(), "");
  auto agreedToAlerts = dialogs({.agreesToAlerts = true});
  type("2\n");
  EXPECT_EQ(tests::resultOf(mainThread, agreedToAlerts.ask(question)), 1U);
}

TEST_F(TerminalDialogsTest, asksAPersonWhetherAMissingLibraryIsReplaced) {
  auto agreed = dialogs({.agreesToAlerts = true, .agreesToFolder = true});
  type("2\n");
  EXPECT_EQ(tests::resultOf(mainThread, agreed.ask(app::replacedLibraryQuestion(FileURL("/p/Tolvander")))),
            1U);
}

TEST_F(TerminalDialogsTest, cancelsAPanelThatProposesNoFolder) {
  auto asked = dialogs({.agreesToFolder = true});
  EXPECT_EQ(tests::resultOf(mainThread, asked.chooseDirectory(panel)), std::nullopt);
}

TEST_F(TerminalDialogsTest, takesTheProposedText) {
  auto asked = dialogs();
  type("1\n2\n");
  const app::TextPrompt prompt{.alert = alert, .placeholder = "", .text = "Camera 2026"};
  EXPECT_EQ(tests::resultOf(mainThread, asked.askForText(prompt)), "Camera 2026");
  EXPECT_EQ(tests::resultOf(mainThread, asked.askForText(prompt)), std::nullopt);
}

TEST(TerminalDialogs, changeNothingWithoutATerminalAndSayWhichOptionWould) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const OwnedDescriptor output(ends[0]);
  const OwnedDescriptor input(ends[1]);
  tests::VirtualMainThread mainThread;
  TerminalDialogs dialogs({.optionForAlerts = "--trash yes"}, {},
                          {.input = output.number(), .output = input.number()});
  const app::Alert alert{.style = app::Alert::Style::critical,
                         .message = "Move 2 files?",
                         .informativeText = "",
                         .buttons = {"Move to Trash", "Keep on Camera"}};
  EXPECT_EQ(tests::resultOf(mainThread, dialogs.ask(alert)), 1U);
  std::array<char, 500> buffer{};
  const ssize_t size = read(output.number(), buffer.data(), buffer.size());
  EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(size)),
            "Move 2 files? Nobody can be asked here, so the answer is “Keep on Camera”. Pass --trash yes for "
            "“Move to Trash”.\n");
}

}  // namespace
}  // namespace tolvander::shell
