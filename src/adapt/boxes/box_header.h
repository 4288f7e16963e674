// Reads the header of a box, wherever it stands.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>

namespace clipchain {

// ISO/IEC 14496-12, clause 4.2.
struct BoxHeader {
  static constexpr unsigned int kShort = 8;
  // With a size of 64 bits.
  static constexpr unsigned int kLarge = 16;

  unsigned int type = 0;
  unsigned int headerSize = kShort;
  // Of the whole box, as it is stated: 0 for one that goes to the end of the file; perhaps less
  // than its header, or more than there is.
  std::uint64_t size = 0;

  // The size, with what is left from the start of the box on for one that goes to the end.
  std::uint64_t SizeWithin(std::uint64_t left) const { return size != 0 ? size : left; }
  bool FitsIn(std::uint64_t left) const {
    return SizeWithin(left) >= headerSize && SizeWithin(left) <= left;
  }
};

// Takes the header at the start of `bytes`, which need not hold more of the file than kLarge bytes;
// nothing where they end within it.
std::optional<BoxHeader> TakeBoxHeader(std::span<const unsigned char> bytes);

// The four characters of a type in quotation marks, for people.
std::string Quoted(unsigned int type);
// Several, with commas between them.
std::string Quoted(const std::set<unsigned int>& types);

}  // namespace clipchain
