#include "clipchain/manual/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "clipchain/manual/command_words.h"

namespace clipchain {

namespace {

enum class Kind { kNothing, kFile, kFolder, kChoice };

// What a value is, by the word that stands for it.
Kind KindOf(const OptionWords& option) {
  static constexpr const char* kFiles[] = {"FILE", "OUT", "IN", "PATH"};
  if (!Choices(option).empty()) return Kind::kChoice;
  if (option.value == "DIR" || option.value == "CARD") return Kind::kFolder;
  // Of "FILE N" the file is what can be completed.
  const std::string word = option.value.substr(0, option.value.find(' '));
  const bool file = std::find(std::begin(kFiles), std::end(kFiles), word) != std::end(kFiles);
  return file ? Kind::kFile : Kind::kNothing;
}

std::string Join(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::vector<std::string> NamesOf(const std::vector<CommandWords>& commands) {
  std::vector<std::string> names;
  for (const CommandWords& command : commands) names.push_back(command.name);
  return names;
}

std::vector<std::string> OptionNames(const CommandWords& command) {
  std::vector<std::string> names;
  for (const OptionWords& option : command.options)
    names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

// Text in single quotes, for all three shells: fish knows \' in them, the others do not.
std::string InQuotes(const std::string& text, const char* quote) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string(quote) : std::string(1, c);
  return quoted + '\'';
}

std::string BashValues(const CommandWords& command) {
  std::string text;
  for (const OptionWords& option : command.options) {
    // Behind a flag comes another option or an operand.
    if (option.value.empty()) continue;
    const char* const action = KindOf(option) == Kind::kFolder ? "_clipchain_words -d"
                               : KindOf(option) == Kind::kFile ? "_clipchain_words -f"
                                                               : "";
    const std::string words =
        KindOf(option) == Kind::kChoice
            ? fmt::format("_clipchain_words -W '{}'", Join(Choices(option), " "))
            : action;
    for (const std::string& name : option.names) {
      text += fmt::format("    '{} {}') {}; return ;;\n", command.name, name,
                          words.empty() ? ":" : words);
    }
  }
  return text;
}

// An entry of zsh's _arguments for each option.
std::string ZshOption(const OptionWords& option) {
  std::string text = option.text;
  // In an entry of _arguments brackets hold the description.
  std::replace(text.begin(), text.end(), '[', '(');
  std::replace(text.begin(), text.end(), ']', ')');
  std::string value;
  if (!option.value.empty()) {
    const std::string action = KindOf(option) == Kind::kFolder ? "_files -/"
                               : KindOf(option) == Kind::kFile ? "_files"
                               : KindOf(option) == Kind::kChoice
                                   ? '(' + Join(Choices(option), " ") + ')'
                                   : " ";
    value = fmt::format(":{}:{}", Choices(option).empty() ? option.value : "choice", action);
  }
  std::string lines;
  for (const std::string& name : option.names) {
    // "--option=value", but "-o value".
    const bool isLong = name.starts_with("--");
    lines += fmt::format("    {} \\\n",
                         InQuotes(fmt::format("({}){}{}[{}]{}", Join(option.names, " "), name,
                                              option.value.empty() ? ""
                                              : isLong             ? "="
                                                                   : "",
                                              text, value),
                                  "'\\''"));
  }
  return lines;
}

std::string ZshOptions(const CommandWords& command) {
  std::string lines;
  for (const OptionWords& option : command.options) lines += ZshOption(option);
  return lines;
}

std::string FishOption(const std::string& condition, const OptionWords& option) {
  std::string line = fmt::format("complete -c clipchain -n {}", InQuotes(condition, "\\'"));
  for (const std::string& name : option.names) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  // A value follows (-r), with files (-F) or without (-x): fish offers files everywhere by itself.
  if (KindOf(option) == Kind::kChoice) {
    line += fmt::format(" -x -a {}", InQuotes(Join(Choices(option), " "), "\\'"));
  } else if (KindOf(option) == Kind::kFolder) {
    line += " -x -a '(__fish_complete_directories)'";
  } else if (KindOf(option) == Kind::kFile) {
    line += " -r -F";
  } else if (!option.value.empty()) {
    line += " -x";
  }
  return line + fmt::format(" -d {}\n", InQuotes(option.text, "\\'"));
}

}  // namespace

std::string BashCompletion(const CLI::App& tool) {
  const std::vector<CommandWords> commands = DescribeCommands(tool);
  std::string options;
  std::string values;
  for (const CommandWords& command : commands) {
    options +=
        fmt::format("    {}) options='{}' ;;\n", command.name, Join(OptionNames(command), " "));
    values += BashValues(command);
  }
  return fmt::format(R"bash(# Completion of clipchain for bash.
_clipchain_words() {{
  mapfile -t COMPREPLY < <(compgen "$@" -- "$cur")
  case $1 in -f | -d) compopt -o filenames 2>/dev/null ;; esac
}}

_clipchain() {{
  local cur=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}} command='' options word
  COMPREPLY=()
  for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
    case $word in {0}) command=$word; break ;; esac
  done
  # --option=value comes in three words.
  if [ "$cur" = = ]; then
    cur=''
  elif [ "$before" = = ]; then
    before=${{COMP_WORDS[COMP_CWORD - 2]}}
  fi
  case "$command $before" in
{1}  esac
  case $command in
{2}    *) options='{3}' ;;
  esac
  if [ "${{cur:0:1}}" = - ]; then
    _clipchain_words -W "$options"
  elif [ -z "$command" ]; then
    _clipchain_words -W '{4}'
  else
    _clipchain_words -f
  fi
}}
complete -F _clipchain clipchain
)bash",
                     Join(NamesOf(commands), " | "), values, options,
                     Join(OptionNames(DescribeCommand(tool)), " "), Join(NamesOf(commands), " "));
}

std::string ZshCompletion(const CLI::App& tool) {
  std::string list;
  std::string cases;
  for (const CommandWords& command : DescribeCommands(tool)) {
    std::string operands;
    for (const OptionWords& operand : command.operands) {
      operands +=
          fmt::format("    '{}:{}:_files' \\\n", operand.repeated ? "*" : "", operand.value);
    }
    list += "    " + InQuotes(command.name + ':' + command.text, "'\\''") + '\n';
    cases += fmt::format("  {})\n    _arguments -s \\\n{}{}      && return ;;\n", command.name,
                         ZshOptions(command), operands);
  }
  // "*::" makes the command the first word, as the description of its own options takes it.
  return fmt::format(R"zsh(#compdef clipchain
# Completion of clipchain for zsh.
local curcontext=$curcontext state line
local -a commands=(
{0})
_arguments -C \
{1}    '1:command:->command' \
    '*::argument:->argument' && return
case $state in
command)
  _describe command commands && return ;;
argument)
  case $words[1] in
{2}  esac ;;
esac
return 1
)zsh",
                     list, ZshOptions(DescribeCommand(tool)), cases);
}

std::string FishCompletion(const CLI::App& tool) {
  const std::vector<CommandWords> commands = DescribeCommands(tool);
  const std::string none = "not __fish_seen_subcommand_from " + Join(NamesOf(commands), " ");
  std::string text = "# Completion of clipchain for fish.\n";
  text += fmt::format("complete -c clipchain -n {} -f\n", InQuotes(none, "\\'"));
  for (const CommandWords& command : commands) {
    text += fmt::format("complete -c clipchain -n {} -a {} -d {}\n", InQuotes(none, "\\'"),
                        command.name, InQuotes(command.text, "\\'"));
  }
  for (const OptionWords& option : DescribeCommand(tool).options) text += FishOption(none, option);
  for (const CommandWords& command : commands) {
    for (const OptionWords& option : command.options)
      text += FishOption("__fish_seen_subcommand_from " + command.name, option);
  }
  return text;
}

}  // namespace clipchain
