#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The syntax of the command line: declared first, then asked for what was given. CLI11 does the work behind
// it. Its header takes seconds to compile, so only Syntax.cpp includes it.
namespace tolvander::shell {

// An option or an argument of a command.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option& required();
  // What help shows for the value, such as "NAME".
  Option& typeName(const std::string& name);
  // `problem` is given a value and says what is wrong with it; an empty text is nothing.
  Option& check(const std::function<std::string(const std::string& value)>& problem);
  Option& oneOf(const std::vector<std::string>& values);
  Option& positive();
  Option& excludes(const Option& other);

  // After parsing.
  bool wasGiven() const;

 private:
  CLI::Option* option_;
};

// A command, or a command of a command. A copy is the same command. Values are stored in the variables given,
// which have to live until the arguments are parsed.
class CommandSyntax {
 public:
  CommandSyntax() = default;  // none; to be assigned before use
  explicit CommandSyntax(CLI::App& command) : command_(&command) {}

  CommandSyntax command(const std::string& name, const std::string& description) const;
  // The arguments must name exactly one of the commands that were declared in this one.
  void requireCommand() const;
  // They may name one, or none.
  void allowCommand() const;

  // A name without dashes is an argument's.
  Option value(const std::string& name, std::string& value, const std::string& description) const;
  Option value(const std::string& name, std::optional<std::string>& value,
               const std::string& description) const;
  Option value(const std::string& name, std::optional<std::int64_t>& value,
               const std::string& description) const;
  // All that are given.
  Option values(const std::string& name, std::vector<std::string>& values,
                const std::string& description) const;
  Option flag(const std::string& name, bool& value, const std::string& description) const;
  // For Option::wasGiven.
  Option flag(const std::string& name, const std::string& description) const;

  // Calls `problem` when the arguments of the command have been parsed. What it returns is shown as wrong
  // usage.
  void check(const std::function<std::optional<std::string>()>& problem) const;

  // After parsing.
  bool wasGiven() const;

 private:
  CLI::App* command_ = nullptr;
};

// The program and its arguments.
class ProgramSyntax {
 public:
  ProgramSyntax(const std::string& name, const std::string& description, const std::string& version);
  ~ProgramSyntax();
  ProgramSyntax(const ProgramSyntax&) = delete;
  ProgramSyntax& operator=(const ProgramSyntax&) = delete;

  // Options that are declared here may also be given behind a command. One command is required.
  CommandSyntax program() const;

  enum class Parsed { command, help, wrongUsage };

  // Sets the variables of what was declared. Help, the version, and what is wrong with the arguments are
  // printed.
  Parsed parse(int argumentCount, const char* const* arguments);

 private:
  std::unique_ptr<CLI::App> application_;
};

}  // namespace tolvander::shell
