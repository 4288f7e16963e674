// Reads and writes OUT.xxh, which "xxhsum -c" reads: lines of 32 digits, two spaces and a name
// beside it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workflow/companion.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

struct Checksum {
  // XXH128.
  std::string hash;
  std::string name;
  bool operator==(const Checksum&) const = default;
};

std::string ChecksumText(const std::vector<Checksum>& sums);
// False for a text that is anything else.
bool ReadChecksums(std::string_view text, std::vector<Checksum>& sums);

// Hashes a whole file; `progress` is told how many bytes of it are done, and false ends it. Empty
// if the file can't be read to its end, or it was ended.
std::optional<std::string> HashFile(FileBytes& file,
                                    const std::function<bool(unsigned long long done)>& progress);

}  // namespace clipchain
