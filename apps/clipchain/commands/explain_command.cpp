// clipchain explain NAME…: tells what messages mean.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/manual/message_page.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/tool.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

int Run(const std::vector<std::string>& names) {
  int exitCode = kDone;
  bool first = true;
  for (const std::string& name : names) {
    const std::optional<std::string> text = MessageText(MessagePage(), name);
    if (!text) {
      std::fputs(fmt::format("clipchain: there is no message {}; its name stands in parentheses "
                             "behind it\n",
                             PrintablePath(name))
                     .c_str(),
                 stderr);
      // The others are explained all the same: each name is a question of its own.
      exitCode = kFailed;
      continue;
    }
    Print((first ? "" : "\n") + *text);
    first = false;
  }
  return exitCode;
}

}  // namespace

void AddExplainCommand(CLI::App& tool, int& exitCode) {
  const auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* command = tool.add_subcommand("explain", "Tell what a message means, and what to do");
  command->add_option("NAME", *names, "Names of messages, which stand in parentheses behind them")
      ->required()
      ->type_name("NAME");
  command->callback([names, &exitCode] { exitCode = Run(*names); });
}

}  // namespace clipchain
