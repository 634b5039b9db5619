#include "Shells/CommandLine/Reports/QuestionText.h"

#include <gtest/gtest.h>

namespace tolvander::app {
namespace {

const Alert alert{.style = Alert::Style::warning,
                  .message = "Forget CARD?",
                  .informativeText = "Its files stay.",
                  .buttons = {"Forget Camera", "Cancel"}};

TEST(QuestionText, numbersTheButtonsAndProposesTheLast) {
  EXPECT_EQ(questionText(alert), "Forget CARD?\nIts files stay.\n1  Forget Camera\n2  Cancel\nAnswer [2]: ");
}

TEST(QuestionText, letsNoNameMoveTheCursor) {
  Alert hostile = alert;
  hostile.message = "Forget \x1b[2J?";
  EXPECT_EQ(questionText(hostile).find('\x1b'), std::string::npos);
  EXPECT_EQ(unansweredText(hostile, "--yes").find('\x1b'), std::string::npos);
}

TEST(QuestionText, takesNumbersAndWordsForButtons) {
  EXPECT_EQ(chosenButton(alert, "1"), 0U);
  EXPECT_EQ(chosenButton(alert, " 2\r"), 1U);
  EXPECT_EQ(chosenButton(alert, "FORGET camera"), 0U);
  EXPECT_EQ(chosenButton(alert, ""), 1U);
  for (const char* other : {"0", "3", "y", "yes", "1 2", "-1", "Forget"}) {
    EXPECT_EQ(chosenButton(alert, other), std::nullopt) << other;
  }
}

TEST(QuestionText, saysWhatAnswersAQuestionThatNobodyCanBeAsked) {
  EXPECT_EQ(unansweredText(alert, "--yes"),
            "Forget CARD? Nobody can be asked here, so the answer is “Cancel”. Pass --yes for “Forget "
            "Camera”.\n");
}

TEST(QuestionText, asksAboutOneFolderInTheWordsOfThePanel) {
  const Alert asked = questionAbout({.title = "Choose Charmera Drive",
                                     .message = "Select your Charmera’s drive.",
                                     .prompt = "Use This Drive",
                                     .directory = FileURL("/Volumes")},
                                    FileURL("/media/CARD"));
  EXPECT_EQ(asked.message, "Use “/media/CARD” as a camera?");
  EXPECT_EQ(asked.informativeText, "Select your Charmera’s drive.");
  EXPECT_EQ(asked.buttons, (std::vector<std::string>{"Use This Drive", "Cancel"}));
}

TEST(QuestionText, namesNoOptionWhereNoneAnswers) {
  const Alert question{.style = Alert::Style::warning,
                       .message = "Go on?",
                       .informativeText = "",
                       .buttons = {"Go", "Cancel"}};
  EXPECT_EQ(unansweredText(question, ""),
            "Go on? Nobody can be asked here, so the answer is “Cancel”. No option answers it; run the "
            "command at a terminal.\n");
}

}  // namespace
}  // namespace tolvander::app
