#include "clipchain/manual/man_page.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "clipchain/manual/command_words.h"
#include "clipchain/manual/exit_status.h"
#include "clipchain/manual/help_text.h"
#include "clipchain/manual/roff.h"

namespace clipchain {

namespace {

// Values in italics, choices among words in bold.
std::string Value(const OptionWords& option) {
  const std::vector<std::string> choices = Choices(option);
  if (choices.empty()) return RoffItalic(option.value);
  std::string text;
  for (const std::string& choice : choices) text += (text.empty() ? "" : "|") + RoffBold(choice);
  return text;
}

std::string Entry(const OptionWords& option) {
  std::string heads;
  for (const std::string& name : option.names)
    heads += (heads.empty() ? "" : ", ") + RoffBold(name);
  if (!option.value.empty()) heads += (heads.empty() ? "" : " ") + Value(option);
  if (option.names.empty() && option.repeated) heads += "...";
  return fmt::format(".TP\n{}\n{}.\n", heads, RoffLine(Roff(OptionText(option))));
}

bool IsTool(const CLI::App& command) { return command.get_parent() == nullptr; }

std::string Synopsis(const CLI::App& command, const CommandWords& words) {
  std::string text = RoffBold("clipchain");
  if (!IsTool(command)) text += ' ' + RoffBold(words.name);
  for (const OptionWords& option : words.options) {
    if (option.required)
      text += fmt::format(" {} {}", RoffBold(option.names.front()), Value(option));
  }
  text += " [" + RoffItalic("option") + "]...";
  if (IsTool(command)) text += ' ' + RoffItalic("command");
  for (const OptionWords& operand : words.operands) {
    const std::string usage = RoffItalic(operand.value) + (operand.repeated ? "..." : "");
    text += operand.required ? ' ' + usage : " [" + usage + ']';
  }
  return text + '\n';
}

std::string Options(const CommandWords& words) {
  std::string text;
  for (const OptionWords& operand : words.operands) text += Entry(operand);
  for (const OptionWords& option : words.options) text += Entry(option);
  return text;
}

std::string Commands(const CLI::App& tool) {
  std::string text;
  for (const CommandWords& command : DescribeCommands(tool)) {
    text += fmt::format(".TP\n\\fB{}\\fR(1)\n{}.\n", Roff("clipchain-" + command.name),
                        RoffLine(Roff(command.text)));
  }
  return text;
}

std::string Examples(const CommandWords& words) {
  std::string text;
  for (unsigned int i = 0; i < kExampleCount; ++i) {
    if (words.name != kExamples[i].command) continue;
    text += fmt::format(".PP\n{}\n.PP\n.RS 4\n.nf\n{}\n.fi\n.RE\n",
                        RoffLine(Roff(kExamples[i].words)), RoffLine(Roff(kExamples[i].line)));
  }
  return text;
}

std::string Statuses(const CLI::App& command) {
  std::string text;
  for (const ExitStatus& status : ExitStatuses()) {
    if (status.command == (IsTool(command) ? "" : command.get_name()))
      text += fmt::format(".TP\n.B {}\n{}\n", status.code, RoffLine(Roff(status.text)));
  }
  return text;
}

// The other pages.
std::string SeeAlso(const CLI::App& command) {
  const CLI::App* tool = IsTool(command) ? &command : command.get_parent();
  std::string text = IsTool(command) ? "" : "\\fBclipchain\\fR(1)";
  for (const CommandWords& other : DescribeCommands(*tool)) {
    if (other.name == command.get_name()) continue;
    text +=
        fmt::format("{}\\fB{}\\fR(1)", text.empty() ? "" : ",\n", Roff("clipchain-" + other.name));
  }
  return text + '\n';
}

}  // namespace

std::string ManPageName(const CLI::App& command) {
  return IsTool(command) ? "clipchain" : "clipchain-" + command.get_name();
}

std::string ManPage(const CLI::App& command, const std::string& written) {
  const CommandWords words = DescribeCommand(command);
  const std::string name = ManPageName(command);
  std::string page =
      fmt::format(".TH {} 1 \"\" \"clipchain {}\" \"clipchain\"\n.SH NAME\n{} \\- {}\n", Roff(name),
                  CLIPCHAIN_VERSION, Roff(name), Roff(words.text));
  const std::pair<const char*, std::string> parts[] = {
      {"@SYNOPSIS@\n", Synopsis(command, words)}, {"@OPTIONS@\n", Options(words)},
      {"@COMMANDS@\n", Commands(command)},        {"@EXIT_STATUS@\n", Statuses(command)},
      {"@EXAMPLES@\n", Examples(words)},          {"@SEE_ALSO@\n", SeeAlso(command)}};
  // What is written by hand says what the table of options can't: it stands around the marks.
  std::string text = written;
  for (const auto& [mark, part] : parts) {
    const std::string line = mark;
    if (const std::size_t at = text.find(line); at != std::string::npos)
      text.replace(at, line.size(), part);
  }
  return page + text;
}

}  // namespace clipchain
