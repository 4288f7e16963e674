// Options that all commands that merge have.
#pragma once

#include "workflow/keep_originals.h"
#include "workflow/safe_merge.h"

namespace CLI {
class App;
}

namespace clipchain {

// --force, --verify, --memory-limit and how clips are adapted. The options must live as long as the
// command.
void AddMergeSettings(CLI::App& command, SafeMergeOptions& options);

// --originals, --hash and --checksums. The options must live as long as the command.
void AddKeepSettings(CLI::App& command, KeepOptions& options);

// "seams" or "full", as --verify takes it.
const char* VerificationName(Verification verification);

// --exact, --common-tracks and --seams. The settings must live as long as the command.
void AddFitting(CLI::App& command, Fitting& fitting);

// -q alone.
void AddQuiet(CLI::App& command, bool& quiet);

// --memory-limit alone.
void AddMemoryLimit(CLI::App& command, long long& limit);

}  // namespace clipchain
