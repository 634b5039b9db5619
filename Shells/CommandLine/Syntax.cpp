#include "Shells/CommandLine/Syntax.h"

#include <CLI/CLI.hpp>

namespace tolvander::shell {

Option& Option::required() {
  option_->required();
  return *this;
}

Option& Option::typeName(const std::string& name) {
  option_->type_name(name);
  return *this;
}

Option& Option::check(const std::function<std::string(const std::string& value)>& problem) {
  option_->check(problem);
  return *this;
}

Option& Option::oneOf(const std::vector<std::string>& values) {
  option_->check(CLI::IsMember(values));
  return *this;
}

Option& Option::positive() {
  option_->check(CLI::PositiveNumber);
  return *this;
}

Option& Option::excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

bool Option::wasGiven() const { return option_->count() > 0; }

CommandSyntax CommandSyntax::command(const std::string& name, const std::string& description) const {
  return CommandSyntax(*command_->add_subcommand(name, description));
}

void CommandSyntax::requireCommand() const { command_->require_subcommand(1); }

void CommandSyntax::allowCommand() const { command_->require_subcommand(0, 1); }

Option CommandSyntax::value(const std::string& name, std::string& value,
                            const std::string& description) const {
  return Option(*command_->add_option(name, value, description));
}

Option CommandSyntax::value(const std::string& name, std::optional<std::string>& value,
                            const std::string& description) const {
  return Option(*command_->add_option(name, value, description));
}

Option CommandSyntax::value(const std::string& name, std::optional<std::int64_t>& value,
                            const std::string& description) const {
  return Option(*command_->add_option(name, value, description));
}

Option CommandSyntax::values(const std::string& name, std::vector<std::string>& values,
                             const std::string& description) const {
  return Option(*command_->add_option(name, values, description));
}

Option CommandSyntax::flag(const std::string& name, bool& value, const std::string& description) const {
  return Option(*command_->add_flag(name, value, description));
}

Option CommandSyntax::flag(const std::string& name, const std::string& description) const {
  return Option(*command_->add_flag(name)->description(description));
}

void CommandSyntax::check(const std::function<std::optional<std::string>()>& problem) const {
  command_->final_callback([command = command_, problem] {
    if (const auto text = problem()) {
      throw CLI::ValidationError(command->get_name(), *text);
    }
  });
}

bool CommandSyntax::wasGiven() const { return command_->parsed(); }

ProgramSyntax::ProgramSyntax(const std::string& name, const std::string& description,
                             const std::string& version)
    : application_(std::make_unique<CLI::App>(description, name)) {
  application_->set_version_flag("--version", version);
  application_->require_subcommand(1);
  application_->fallthrough();
}

ProgramSyntax::~ProgramSyntax() = default;

CommandSyntax ProgramSyntax::program() const { return CommandSyntax(*application_); }

ProgramSyntax::Parsed ProgramSyntax::parse(int argumentCount, const char* const* arguments) {
  try {
    application_->parse(argumentCount, arguments);
    return Parsed::command;
  } catch (const CLI::ParseError& error) {
    return application_->exit(error) == 0 ? Parsed::help : Parsed::wrongUsage;
  }
}

}  // namespace tolvander::shell
