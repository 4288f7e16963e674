// Names the hidden file in which an output comes into being:
// ".OUT.clipchain-PID-RANDOM.part", the output's name cut where the file system's limit demands it.
#pragma once

#include <string>
#include <string_view>

namespace clipchain {

// The folder that a path names a file in, and the name; the folder is "." where the path has none.
std::string FolderOf(const std::string& path);
std::string NameOf(const std::string& path);

// A path beside the output for a hidden file of its own, which nobody is likely to have.
std::string NewPartPath(const std::string& output);

// What the names of all hidden files of that output begin with, and whether a name is one of them.
std::string PartPrefix(const std::string& output);
bool IsPartName(std::string_view name, std::string_view prefix);

// Whether a name is that of a hidden file of any output.
bool IsAnyPartName(std::string_view name);

// The path of a file beside another one.
std::string BesideOf(const std::string& path, const std::string& name);

}  // namespace clipchain
