#include "workflow/rescue/syntax_reader.h"

#include <algorithm>

namespace clipchain::rescue {

namespace {

// Longer than any parameter set; of slices only the head is read.
constexpr std::size_t kMost = 4096;

std::vector<unsigned char> WithoutPrevention(std::span<const unsigned char> payload) {
  std::vector<unsigned char> bytes;
  const std::size_t count = std::min(payload.size(), kMost);
  bytes.reserve(count);
  unsigned int zeros = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned char byte = payload[i];
    // emulation_prevention_three_byte, which is none of the syntax (ISO/IEC 14496-10, 7.4.1).
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    bytes.push_back(byte);
  }
  return bytes;
}

}  // namespace

SyntaxReader::SyntaxReader(std::span<const unsigned char> payload)
    : bytes_(WithoutPrevention(payload)),
      reader_(bytes_.data(), static_cast<long long>(bytes_.size()), QUIRVA::kFirstBit) {}

unsigned int SyntaxReader::Bits(unsigned int count) {
  if (count == 0) return 0;
  unsigned int value = 0;
  Note(reader_.GetBitValue(static_cast<char>(count), &value));
  return good_ ? value : 0;
}

unsigned int SyntaxReader::Unsigned() {
  unsigned int value = 0;
  Note(reader_.GetUnsignedExpGolombValue(&value));
  return good_ ? value : 0;
}

int SyntaxReader::Signed() {
  int value = 0;
  Note(reader_.GetSignedExpGolombValue(&value));
  return good_ ? value : 0;
}

void SyntaxReader::Skip(unsigned int count) {
  for (; count > 32; count -= 32) Bits(32);
  Bits(count);
}

}  // namespace clipchain::rescue
