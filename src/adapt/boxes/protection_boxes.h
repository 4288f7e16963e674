// Reads what is told of protected samples beside their bytes, where a sample table or a fragment
// says that it is (ISO/IEC 14496-12, 8.7.8 and 8.7.9; ISO/IEC 23001-7, 7).
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/sample_protection.h"
#include "adapt/reason.h"

namespace clipchain {

// Bytes of the file; none if not all of them can be read.
using BytesAt = std::function<Bytes(std::uint64_t position, std::uint64_t size)>;

// A part of a track's samples.
struct ProtectedPart {
  // "stbl" or "traf".
  const RawBox& parent;
  // Of a "stbl", which may have the box "senc" in it; null for a fragment.
  const RawBox* track = nullptr;
  std::uint64_t samples = 0;
  // What offsets count from.
  std::uint64_t base = 0;
  // How many samples each chunk or run has.
  std::vector<std::uint32_t> groups{};
};

// For what is in memory already.
inline constexpr std::uint64_t kAnyBytes = ~std::uint64_t{0};

// Whether a box of a user's type (ISO/IEC 14496-12, 11.1) says what "senc" says: so did the
// programs that were there before that box.
bool IsUsersProtection(const RawBox& box);

// Whether there is anything of that kind.
bool IsProtectionTold(const ProtectedPart& part);

// Appends what is told of the samples of the part. Why it can't: the rest of a sentence that begins
// with the boxes of the protection. No more than `most` bytes are taken. Without `bytesAt` the
// boxes are those that `SampleProtection` has written.
[[nodiscard]] Reason AppendProtection(const ProtectedPart& part, const ProtectionScheme& scheme,
                                      const BytesAt& bytesAt, std::uint64_t most,
                                      SampleProtection& protection);

}  // namespace clipchain
