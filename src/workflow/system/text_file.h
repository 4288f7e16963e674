// Writes the files that lie beside merged clips: reports, plans.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include "adapt/reason.h"

namespace clipchain {

// Writes a whole file: hidden beside its place, flushed, and then renamed, so that the name has all
// of it or what it had before. What exists is replaced only with `overwrite`, and only if it is a
// file. Says why it failed, as the end of a sentence that begins with the path.
[[nodiscard]] Reason WriteTextFile(const std::string& path, std::string_view text, bool overwrite);

// Writes all of it behind what was written to the file so far. Answers the error of the
// system.
[[nodiscard]] std::error_code WriteText(int file, std::string_view text);

// The same words if a file can't be written there, as far as that can be told beforehand.
[[nodiscard]] Reason WhyNoTextFile(const std::string& path, bool overwrite);

}  // namespace clipchain
