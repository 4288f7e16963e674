#include "clipchain/manual/usage.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

#include "clipchain/manual/command_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// "merge, check or join", with that word in front of the last one.
std::string CommandList(const CLI::App& tool, std::string_view last) {
  const std::vector<CommandWords> commands = DescribeCommands(tool);
  std::string text;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i != 0) text += i + 1 == commands.size() ? fmt::format(" {} ", last) : ", ";
    text += commands[i].name;
  }
  return text;
}

// With that in place of the first `what`.
std::string With(std::string text, std::string_view what, std::string_view with) {
  const std::size_t place = text.find(what);
  return place == std::string::npos ? text : text.replace(place, what.size(), with);
}

// What is wrong with the arguments of a command, in words that need no knowledge of the parser.
std::string CommandFault(const CLI::App& command, const CLI::ParseError& error) {
  const std::string what = error.what();
  const std::string name = error.get_name();
  // The name of that one is the command's.
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    const std::string rest = what.substr(std::min(what.size(), what.find(": ") + 2));
    return fmt::format("{} {} {}", command.get_name(),
                       rest.starts_with("-") ? "has no option" : "does not take", rest);
  }
  if (name == "ArgumentMismatch") {
    const std::string option = what.substr(0, what.find(':'));
    const CLI::Option* const known = command.get_option_no_throw(option);
    if (known != nullptr) return fmt::format("{} needs {}", option, known->get_type_name());
  }
  if (name == "ExcludesError") return With(what, " excludes ", " does not go with ");
  if (name == "RequiresError") return With(what, " requires ", " needs ");
  return what;
}

}  // namespace

CLI::Option* MustBeGiven(CLI::Option* option) {
  return option->check(
      [](const std::string& value) { return value.empty() ? "an empty name is none" : ""; });
}

std::string UsageText(const CLI::App& tool, const CLI::ParseError& error, int count,
                      const char* const* arguments) {
  std::string text;
  const std::string_view first = count > 1 ? arguments[1] : "";
  // Whatever the parser makes of what stands there.
  if (first.starts_with('-')) {
    text = fmt::format("there is no option {} in front of a command; those of a command follow it",
                       first);
  } else if (const auto commands = tool.get_subcommands(); !commands.empty()) {
    text = CommandFault(*commands.front(), error);
  } else {
    if (first.empty()) {
      text = "a command is missing: " + CommandList(tool, "or");
    } else {
      text = fmt::format("there is no command {}; there are {}", first, CommandList(tool, "and"));
    }
  }
  return fmt::format("clipchain: {}\nRun with --help for more information.\n", PrintablePath(text));
}

}  // namespace clipchain
