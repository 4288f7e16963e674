#include "clipchain/manual/help_text.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "clipchain/manual/command_words.h"

namespace clipchain {

namespace {

// Terminals have as many columns or more, and break wider lines inside of words.
constexpr std::size_t kLineWidth = 80;
constexpr std::size_t kColumn = 24;

// The words in lines, the first of which begins at `column` already.
std::string Wrapped(const std::string& text, std::size_t indent, std::size_t column) {
  std::string lines;
  std::size_t at = column;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    const std::string word = text.substr(start, end - start);
    if (at > indent && at + 1 + word.size() > kLineWidth) {
      lines += '\n' + std::string(indent, ' ');
      at = indent;
    } else if (at > indent) {
      lines += ' ';
      ++at;
    }
    lines += word;
    at += word.size();
    start = end + 1;
  }
  return lines + '\n';
}

// "  name        what it is", with the text behind the column or on a line of its own.
std::string Entry(const std::string& name, const std::string& text) {
  std::string entry = "  " + name;
  // Two blanks set name and text apart.
  if (entry.size() + 2 > kColumn)
    entry += '\n' + std::string(kColumn, ' ');
  else
    entry.resize(kColumn, ' ');
  return entry + Wrapped(text, kColumn, kColumn);
}

std::string Heads(const OptionWords& option) {
  if (option.names.empty()) return option.value + (option.repeated ? "..." : "");
  std::string names;
  for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + name;
  return option.value.empty() ? names : names + ' ' + option.value;
}

class Help : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool) const override {
    const OptionWords words = DescribeOption(*option);
    return Entry(Heads(words), OptionText(words));
  }

  std::string make_subcommand(const CLI::App* command) const override {
    return Entry(command->get_name(), command->get_description());
  }

  std::string make_description(const CLI::App* command) const override {
    return Wrapped(command->get_description() + '.', 0, 0);
  }

  std::string make_usage(const CLI::App* command, std::string name) const override {
    std::string usage = fmt::format("\nUsage: {}", name.empty() ? command->get_name() : name);
    const CommandWords words = DescribeCommand(*command);
    for (const OptionWords& option : words.options) {
      // What may be left out would fill lines, and stands below.
      if (option.required) usage += ' ' + OptionUsage(option);
    }
    usage += " [OPTION]...";
    if (!command->get_subcommands({}).empty()) usage += " COMMAND";
    for (const OptionWords& operand : words.operands) usage += ' ' + OperandUsage(operand);
    return usage + '\n';
  }

  std::string make_footer(const CLI::App* command) const override {
    return command->get_footer().empty() ? "" : command->get_footer() + '\n';
  }
};

std::string ExamplesOf(const std::string& command) {
  std::string text;
  for (unsigned int i = 0; i < kExampleCount; ++i) {
    if (command != kExamples[i].command) continue;
    text += fmt::format("{}\n  {}\n      {}", text.empty() ? "Examples:" : "", kExamples[i].line,
                        kExamples[i].words);
  }
  return text;
}

}  // namespace

void AddHelp(CLI::App& tool) {
  const auto help = std::make_shared<Help>();
  help->label("Positionals", "Arguments");
  tool.formatter(help);
  tool.footer(
      "'clipchain help COMMAND' tells what a command takes, with examples.\n\n"
      "The exit code is 0 if all is done; 1 if it was refused or failed, and what is\n"
      "printed says why; 2 if the command line makes no sense; 3 if it is done but for\n"
      "a part that the output names.");
  for (CLI::App* command : tool.get_subcommands([](CLI::App*) { return true; })) {
    command->group("Commands");
    command->formatter(help);
    command->footer(ExamplesOf(command->get_name()));
  }
}

}  // namespace clipchain
