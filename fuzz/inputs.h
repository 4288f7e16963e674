// What targets need to know of their bytes without asking the engine.
#pragma once

#include <vector>

#include "support/bytes.h"

namespace fuzz {

// Bytes [begin, end) of a file.
struct Range {
  std::size_t begin;
  std::size_t end;
};

// Cuts the bytes in front of whatever looks like the first box of an MP4 file, "ftyp". Bytes ahead
// of the first one are dropped; there are at most four parts.
std::vector<support::Bytes> SplitInputs(const unsigned char* data, std::size_t size);

// The contents of a file's last top-level "mdat"; nothing if there is none.
Range MediaRange(const support::Bytes& file);

// Whether a "stsz" claims one size for so many samples that spelling them out in a merge would take
// more memory than the limits of a target allow. The engine spells out up to 2^28 of them, which is
// 1 GiB, so that genuine recordings of any length merge; that bound has a test of its own.
bool ClaimsManyCommonSizes(const support::Bytes& file);

// Whether there may be several movie boxes. One reader takes the first of them, another the last.
bool MayHaveSeveralMovies(const support::Bytes& file);

// Whether a "stz2" has a field size that the format does not know. Where it has no entries, it
// parses, a merge appends to it under that field size, and the output does not parse.
bool HasOddCompactSizes(const std::vector<support::Bytes>& files);

}  // namespace fuzz
