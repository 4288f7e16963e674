#include "workflow/evidence/digest.h"

#include "adapt/boxes/fields.h"

namespace clipchain {

// Two sums that share nothing but their form, eight bytes at a time.
Digest DigestOf(std::span<const unsigned char> bytes) {
  std::uint64_t first = 0xCBF29CE484222325;
  std::uint64_t second = 0x9E3779B97F4A7C15;
  const auto mix = [&](std::uint64_t word) {
    first = (first ^ word) * 0x100000001B3;
    first ^= first >> 29;
    second = (second ^ word) * 0xD6E8FEB86659FD93;
    second ^= second >> 32;
  };
  QUIRVA::be64 word;
  while (TakeField(bytes, word)) mix(word);
  for (const unsigned char byte : bytes) mix(byte);
  return {first, second};
}

}  // namespace clipchain
