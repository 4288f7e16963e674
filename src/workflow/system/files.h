// Asks the file system about paths, and spells them for people. Paths are bytes, as they came on
// the command line.
#pragma once

#include <string>
#include <system_error>

#include "adapt/reason.h"

namespace clipchain {

// Spells a path so that it can be printed: the bytes of control characters appear as \xNN, be they
// written as UTF-8 or not, characters that would turn the direction of what stands around them or
// show nothing as \u{NNNN}, and others as they are.
std::string PrintablePath(const std::string& path);

// The path as the engine takes it.
std::wstring Wide(const std::string& path);

// Whether something has that name, be it a link that leads nowhere.
bool Exists(const std::string& path);

// Whether both names lead to one file, through links of either kind too.
bool IsSameFile(const std::string& a, const std::string& b);

// Bytes in the file; 0 for what is no readable file.
long long FileSize(const std::string& path);

// What an error of the system means, in its words.
std::string ErrorText(const std::error_code& error);

// Why a file can't be read, or can't be created or written, as the end of a sentence: "there is no
// such file".
[[nodiscard]] Reason WhyUnreadable(const std::string& path);
[[nodiscard]] Reason WhyUnwritable(const std::string& path);

// The same of a file that could not be read a moment ago, which may have changed since.
std::string UnreadableWords(const std::string& path);

}  // namespace clipchain
