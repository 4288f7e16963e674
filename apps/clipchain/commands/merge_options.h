// Adds the options that several commands have.
#pragma once

#include <string>

#include "workflow/keep_originals.h"
#include "workflow/safe_merge.h"

namespace CLI {
class App;
}

namespace clipchain {

// Adds --force, --verify, --memory-limit and how clips are adapted. The options must live as long
// as the command.
void AddMergeSettings(CLI::App& command, SafeMergeOptions& options);

// Adds --verify alone; `text` says what is compared with what.
void AddVerify(CLI::App& command, Verification& verification, const std::string& text);

// Adds --originals, --hash and --checksums. The options must live as long as the command.
void AddKeepSettings(CLI::App& command, KeepOptions& options);

// Spells "seams" or "full", as --verify takes it.
const char* VerificationName(Verification verification);

// Adds --exact, --common-tracks, --seams and --chapters. The settings must live as long as the
// command.
void AddFitting(CLI::App& command, Fitting& fitting);

// Adds -q alone.
void AddQuiet(CLI::App& command, bool& quiet);
// Adds -q to commands whose answer is what is printed.
void AddQuietAnswer(CLI::App& command, bool& quiet);

// Adds --memory-limit alone.
void AddMemoryLimit(CLI::App& command, long long& limit);

}  // namespace clipchain
