// Finds where the media of a clip begins and ends whose boxes can't be trusted.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "workflow/system/file_bytes.h"

namespace clipchain::rescue {

struct BrokenMedia {
  // Where the first sample may lie, the likeliest place first.
  std::vector<std::uint64_t> begins;
  // The first of them is behind a head, as far as in the reference.
  bool beginIsSure = false;
  // Behind the last byte that may belong to a sample.
  std::uint64_t end = 0;
  // The media box says so: a sample that ends there ends truly.
  bool ends = false;
  // It ends inside of the file, and what is behind it is none of a clip's.
  bool overrun = false;
  // From there to its end the file is zeros.
  std::uint64_t content = 0;
  // The media runs past the end of the file.
  bool cutOff = false;
  // A movie box is there, whole.
  bool hasMovie = false;
  bool fragmented = false;
};

// `content` is EndOfContent() of the file; `firstChunk` where the reference's first sample lies in
// its file, `lead` how far behind the head of its media box; `endsInZeros` whether its samples may.
BrokenMedia ExamineBroken(FileBytes& file, std::uint64_t content, std::uint64_t firstChunk,
                          std::uint64_t lead, bool endsInZeros);

// Whether an intact movie box begins with these 16 bytes.
bool BeginsMovie(const unsigned char* bytes);

}  // namespace clipchain::rescue
