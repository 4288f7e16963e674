#include "clipchain/manual/usage.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
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

}  // namespace

CLI::Option* MustBeGiven(CLI::Option* option) {
  return option->check(
      [](const std::string& value) { return value.empty() ? "an empty name is none" : ""; });
}

std::string UsageText(const CLI::App& tool, const CLI::ParseError& error, int count,
                      const char* const* arguments) {
  std::string text = error.what();
  if (tool.get_subcommands().empty()) {
    const std::string_view first = count > 1 ? arguments[1] : "";
    if (first.empty()) {
      text = "a command is missing: " + CommandList(tool, "or");
    } else if (first[0] == '-') {
      text = fmt::format("there is no option {} in front of a command", first);
    } else {
      text = fmt::format("there is no command {}; there are {}", first, CommandList(tool, "and"));
    }
  }
  return fmt::format("clipchain: {}\nRun with --help for more information.\n", PrintablePath(text));
}

}  // namespace clipchain
