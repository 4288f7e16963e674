// Tells what the command line says about itself, read from its own table of options: for its help,
// the manual pages and the completions of shells, which so can't say anything else than what it
// takes.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace clipchain {

struct OptionWords {
  // "-o", "--output"; none for an operand.
  std::vector<std::string> names;
  // "OUT", "seams|full"; empty for a flag.
  std::string value;
  // A phrase without a full stop.
  std::string text;
  // The value that counts where the option is not given, if told.
  std::string standard;
  bool required = false;
  // Takes any number of values.
  bool repeated = false;
};

struct CommandWords {
  // "merge"; "clipchain" for the tool itself.
  std::string name;
  // What it does, a phrase without a full stop.
  std::string text;
  // In the order of the table, help first.
  std::vector<OptionWords> options;
  std::vector<OptionWords> operands;
};

CommandWords DescribeCommand(const CLI::App& command);
// The commands in the order in which they were added.
std::vector<CommandWords> DescribeCommands(const CLI::App& tool);
OptionWords DescribeOption(const CLI::Option& option);

// "-o OUT", and what it takes as operands: "IN...".
std::string OptionUsage(const OptionWords& option);
std::string OperandUsage(const OptionWords& operand);
// The text as a sentence, with what is required or standard: "The file to write (required)".
std::string OptionText(const OptionWords& option);
// What can be chosen among, where the value is spelled so: "seams" and "full".
std::vector<std::string> Choices(const OptionWords& option);

}  // namespace clipchain
