#include "clipchain/manual/command_words.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

namespace clipchain {

OptionWords DescribeOption(const CLI::Option& option) {
  OptionWords words;
  for (const std::string& name : option.get_snames()) words.names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) words.names.push_back("--" + name);
  if (option.get_type_size() != 0) {
    words.value =
        option.get_option_text().empty() ? option.get_type_name() : option.get_option_text();
    // Behind a colon stands what is tested of it.
    words.value = words.value.substr(0, words.value.find(':'));
    words.standard = option.get_default_str();
  }
  words.text = option.get_description();
  words.required = option.get_required();
  words.repeated = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  return words;
}

CommandWords DescribeCommand(const CLI::App& command) {
  CommandWords words{command.get_name(), command.get_description(), {}, {}};
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_group().empty()) continue;
    (option->nonpositional() ? words.options : words.operands).push_back(DescribeOption(*option));
  }
  return words;
}

std::vector<CommandWords> DescribeCommands(const CLI::App& tool) {
  std::vector<CommandWords> commands;
  for (const CLI::App* command : tool.get_subcommands([](const CLI::App*) { return true; })) {
    commands.push_back(DescribeCommand(*command));
  }
  return commands;
}

std::string OptionUsage(const OptionWords& option) {
  const std::string& name = option.names.front();
  return option.value.empty() ? name : name + ' ' + option.value;
}

std::string OperandUsage(const OptionWords& operand) {
  const std::string usage = operand.value + (operand.repeated ? "..." : "");
  return operand.required ? usage : '[' + usage + ']';
}

std::string OptionText(const OptionWords& option) {
  if (option.required && !option.names.empty()) return option.text + " (required)";
  if (!option.standard.empty())
    return fmt::format("{} (default: {})", option.text, option.standard);
  return option.text;
}

std::vector<std::string> Choices(const OptionWords& option) {
  std::vector<std::string> choices;
  if (option.value.find('|') == std::string::npos) return choices;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = option.value.find('|', start);
    choices.push_back(option.value.substr(start, end - start));
  }
  return choices;
}

}  // namespace clipchain
