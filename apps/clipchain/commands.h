// Adds the commands to the command line. One function per command: it adds the command with its
// options to the command line. When the command line names the command, it runs and leaves its exit
// code.
#pragma once

namespace CLI {
class App;
}

namespace clipchain {

void AddCheckCommand(CLI::App& tool, int& exitCode);
void AddJoinCommand(CLI::App& tool, int& exitCode);
void AddMergeCommand(CLI::App& tool, int& exitCode);
void AddRescueCommand(CLI::App& tool, int& exitCode);
void AddSequencesCommand(CLI::App& tool, int& exitCode);
void AddInfoCommand(CLI::App& tool, int& exitCode);
void AddVerifyCommand(CLI::App& tool, int& exitCode);
void AddSplitCommand(CLI::App& tool, int& exitCode);
void AddExplainCommand(CLI::App& tool, int& exitCode);

// What the tool does, a phrase without a full stop.
inline constexpr const char* kToolText =
    "Puts the clips of one recording together, without re-encoding";
// All of them, and the help.
void AddCommands(CLI::App& tool, int& exitCode);

}  // namespace clipchain
