// Sets the text of --help: what each command takes, in lines that fit a terminal, and examples.
#pragma once

namespace CLI {
class App;
}

namespace clipchain {

struct Example {
  // That it shows.
  const char* command;
  // As it is typed.
  const char* line;
  // What that does.
  const char* words;
};

// All examples, each command's one behind the other.
extern const Example kExamples[];
extern const unsigned int kExampleCount;

// Gives the tool and its commands, which must be there already, their help.
void AddHelp(CLI::App& tool);

}  // namespace clipchain
