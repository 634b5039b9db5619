#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {

// Runs the program with a separate home.
class CommandLine : public testing::Test {
 protected:
  // The desktop of the user who runs the tests shows no notification.
  CommandLine() { setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1); }

  std::vector<std::string> commandLine(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {TOLVANDERCTL, "--home", home.path()});
    return arguments;
  }

  ToolResult run(std::vector<std::string> arguments) const {
    return runTool(commandLine(std::move(arguments)));
  }

  void expectWrongUsage(const std::vector<std::string>& arguments) const {
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_TRUE(result.output.empty());
    EXPECT_FALSE(result.errors.empty());
  }

  void expectFailure(const std::vector<std::string>& arguments, std::string_view words) const {
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.output.empty());
    EXPECT_TRUE(result.errors.starts_with("tolvanderctl: ")) << result.errors;
    EXPECT_TRUE(result.errors.find(words) != std::string::npos) << result.errors;
  }

  // The failure that a program is told with --json, beside the words for people.
  void expectFailureForPrograms(std::vector<std::string> arguments, const std::string& caseName) const {
    arguments.insert(arguments.begin(), "--json");
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 1);
    const JSONDocument document(bytesOf(result.output));
    EXPECT_EQ(document.root().object().size(), 1U) << result.output;
    const JSONObject error = document.root().object().required("error").object();
    EXPECT_EQ(error.required("case").string(), caseName);
    EXPECT_EQ("tolvanderctl: " + error.required("message").string() + "\n", result.errors);
  }

  TemporaryFolder folder;
  const FileURL home = folder / "home";
};

inline bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

}  // namespace tolvander::tests
