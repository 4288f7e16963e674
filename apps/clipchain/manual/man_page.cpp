#include "clipchain/manual/man_page.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "clipchain/manual/command_words.h"
#include "clipchain/manual/exit_status.h"
#include "clipchain/manual/help_text.h"

namespace clipchain {

namespace {

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      // A plain one may be shown as a dash, and a command that is copied from the page fails.
      escaped += "\\-";
    } else if (c == '\'') {
      // A plain one is shown as a closing quote, with which no shell does anything.
      escaped += "\\(aq";
    } else {
      escaped += c;
    }
  }
  // A line that begins with a dot would be a request.
  return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Escaped(text) + "\\fR"; }

// Values in italics, choices among words in bold.
std::string Value(const OptionWords& option) {
  const std::vector<std::string> choices = Choices(option);
  if (choices.empty()) return Italic(option.value);
  std::string text;
  for (const std::string& choice : choices) text += (text.empty() ? "" : "|") + Bold(choice);
  return text;
}

std::string Entry(const OptionWords& option) {
  std::string heads;
  for (const std::string& name : option.names) heads += (heads.empty() ? "" : ", ") + Bold(name);
  if (!option.value.empty()) heads += (heads.empty() ? "" : " ") + Value(option);
  if (option.names.empty() && option.repeated) heads += "...";
  return fmt::format(".TP\n{}\n{}.\n", heads, Escaped(OptionText(option)));
}

bool IsTool(const CLI::App& command) { return command.get_parent() == nullptr; }

std::string Synopsis(const CLI::App& command, const CommandWords& words) {
  std::string text = Bold("clipchain");
  if (!IsTool(command)) text += ' ' + Bold(words.name);
  for (const OptionWords& option : words.options) {
    if (option.required) text += fmt::format(" {} {}", Bold(option.names.front()), Value(option));
  }
  text += " [" + Italic("option") + "]...";
  if (IsTool(command)) text += ' ' + Italic("command");
  for (const OptionWords& operand : words.operands) {
    const std::string usage = Italic(operand.value) + (operand.repeated ? "..." : "");
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
    text += fmt::format(".TP\n\\fB{}\\fR(1)\n{}.\n", Escaped("clipchain-" + command.name),
                        Escaped(command.text));
  }
  return text;
}

std::string Examples(const CommandWords& words) {
  std::string text;
  for (unsigned int i = 0; i < kExampleCount; ++i) {
    if (words.name != kExamples[i].command) continue;
    text += fmt::format(".PP\n{}\n.PP\n.RS 4\n.nf\n{}\n.fi\n.RE\n", Escaped(kExamples[i].words),
                        Escaped(kExamples[i].line));
  }
  return text;
}

std::string Statuses(const CLI::App& command) {
  std::string text;
  for (const ExitStatus& status : ExitStatuses()) {
    if (status.command == (IsTool(command) ? "" : command.get_name()))
      text += fmt::format(".TP\n.B {}\n{}\n", status.code, Escaped(std::string(status.text)));
  }
  return text;
}

// The other pages.
std::string SeeAlso(const CLI::App& command) {
  const CLI::App* tool = IsTool(command) ? &command : command.get_parent();
  std::string text = IsTool(command) ? "" : "\\fBclipchain\\fR(1)";
  for (const CommandWords& other : DescribeCommands(*tool)) {
    if (other.name == command.get_name()) continue;
    text += fmt::format("{}\\fB{}\\fR(1)", text.empty() ? "" : ",\n",
                        Escaped("clipchain-" + other.name));
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
      fmt::format(".TH {} 1 \"\" \"clipchain {}\" \"clipchain\"\n.SH NAME\n{} \\- {}\n",
                  Escaped(name), CLIPCHAIN_VERSION, Escaped(name), Escaped(words.text));
  const std::pair<const char*, std::string> parts[] = {
      {"@SYNOPSIS@\n", Synopsis(command, words)}, {"@OPTIONS@\n", Options(words)},
      {"@COMMANDS@\n", Commands(command)},        {"@EXIT_STATUS@\n", Statuses(command)},
      {"@EXAMPLES@\n", Examples(words)},          {"@SEE_ALSO@\n", SeeAlso(command)}};
  std::string text = written;
  for (const auto& [mark, part] : parts) {
    const std::string line = mark;
    if (const std::size_t at = text.find(line); at != std::string::npos)
      text.replace(at, line.size(), part);
  }
  return page + text;
}

}  // namespace clipchain
