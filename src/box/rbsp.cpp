#include "box/rbsp.h"

#include <algorithm>
#include <bit>

namespace H264 {

RbspReader::RbspReader(const unsigned char* data, long long size, char startBitIndex)
    : QvBitReader(data, size, startBitIndex) {}

HRESULT RbspReader::GetExponentialGolombNumber(unsigned int* value) {
  RETURN_IF(value == nullptr, E_POINTER);
  RETURN_IF(data_ == nullptr, E_INVALIDARG);
  *value = 0;
  unsigned char zeros = 0;
  unsigned int bits = 0;
  RETURN_IF_NEGATIVE(GetBitValue(1, &bits));
  for (; bits == 0; ++zeros) RETURN_IF_NEGATIVE(GetBitValue(1, &bits));
  // One request takes up to 127 bits; only the last 32 count.
  unsigned int left = zeros;
  constexpr unsigned int kPiece = 64;
  for (; left > 2 * kPiece - 1; left -= kPiece) RETURN_IF_NEGATIVE(GetBitValue(kPiece, &bits));
  RETURN_IF_NEGATIVE(GetBitValue(static_cast<char>(left), &bits));
  *value = (zeros < 32 ? 1u << zeros : 0u) + bits - 1;
  return S_OK;
}

HRESULT RbspReader::GetUnsignedExpGolombValue(unsigned int* value) {
  RETURN_IF(value == nullptr, E_POINTER);
  *value = 0;
  return GetExponentialGolombNumber(value);
}

HRESULT RbspReader::GetSignedExpGolombValue(int* value) {
  RETURN_IF(value == nullptr, E_POINTER);
  *value = 0;
  unsigned int number = 0;
  RETURN_IF_NEGATIVE(GetExponentialGolombNumber(&number));
  const int magnitude = static_cast<int>((number + 1) / 2);
  *value = number % 2 == 1 ? magnitude : -magnitude;
  return S_OK;
}

bool RbspReader::more_rbsp_data() const {
  const long long left = GetStartBitIndex() + 8 * GetBuffSize() - 7 - GetReadBits();
  if (left < 1 || left > 8) return true;
  QvBitReader lookAhead(*this);
  unsigned int bits = 0;
  const HRESULT result = lookAhead.GetBitValue(static_cast<char>(left), &bits);
  return result != S_OK || bits != 1u << (left - 1);
}

HRESULT RbspReader::rbsp_trailing_bits() {
  unsigned int bit = 0;
  RETURN_IF_NEGATIVE(GetBitValue(1, &bit));
  RETURN_IF(bit != 1, E_UNEXPECTED);
  while (!IsByteAligned()) {
    RETURN_IF_NEGATIVE(GetBitValue(1, &bit));
    RETURN_IF(bit == 1, E_UNEXPECTED);
  }
  return S_OK;
}

RbspWriter::RbspWriter(QUIRVA::QvMemBuffer* buffer, long long startBytePos, char startBitIndex)
    : QvBitWriter(buffer, startBytePos, startBitIndex) {}

HRESULT RbspWriter::SetExponentialGolombNumber(unsigned int value) {
  const unsigned int number = value + 1;
  const int bits = std::max(static_cast<int>(std::bit_width(number)), 1);
  RETURN_IF_NEGATIVE(SetBitValue(static_cast<char>(bits - 1), 0));
  return SetBitValue(static_cast<char>(bits), number);
}

HRESULT RbspWriter::SetUnsignedExpGolombValue(unsigned int value) {
  return SetExponentialGolombNumber(value);
}

HRESULT RbspWriter::SetSignedExpGolombValue(int value) {
  const auto twice = 2 * static_cast<unsigned int>(value);
  return SetUnsignedExpGolombValue(value > 0 ? twice - 1 : 0 - twice);
}

HRESULT RbspWriter::rbsp_trailing_bits() {
  RETURN_IF_NEGATIVE(SetBitValue(1, 1));
  if (IsByteAligned()) return S_OK;
  return SetBitValue(static_cast<char>(GetCurrentBitIndex() + 1), 0);
}

}  // namespace H264
