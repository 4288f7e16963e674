// Sets the text of --help: what each command takes, in lines that fit a terminal, and examples.
#pragma once

namespace CLI {
class App;
}

namespace clipchain {

struct Example {
  const char* command;  // that it shows
  const char* line;     // as it is typed
  const char* words;    // what that does
};

// All examples, each command's one behind the other.
extern const Example kExamples[];
extern const unsigned int kExampleCount;

// Gives the tool and its commands, which must be there already, their help.
void AddHelp(CLI::App& tool);

}  // namespace clipchain
