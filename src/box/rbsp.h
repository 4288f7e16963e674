// Exp-Golomb numbers and trailing bits over a stream of bits (ISO/IEC 14496-10, clauses 7.2 and
// 9.1). Nothing here knows the syntax of a parameter set or of emulation prevention bytes.
#pragma once

#include "foundation/bits.h"
#include "foundation/export.h"

namespace H264 {

// The codes are those of QvBitReader::GetBitValue, and E_POINTER for a null result.
class CLIPCHAIN_API RbspReader : public QUIRVA::QvBitReader {
 public:
  RbspReader(const unsigned char* data, long long size, char startBitIndex);

  // ue(v). The result is 0 after a failure. A prefix of more than 31 zeros, which is no number of
  // the standard, gives the low 32 bits of what it spells.
  [[nodiscard]] HRESULT GetExponentialGolombNumber(unsigned int* value);
  [[nodiscard]] HRESULT GetUnsignedExpGolombValue(unsigned int* value);
  // se(v).
  [[nodiscard]] HRESULT GetSignedExpGolombValue(int* value);

  bool byte_aligned() const { return IsByteAligned(); }
  bool more_rbsp_trailing_data() const { return IsMoreData(); }
  // Whether anything but the trailing bits is left. Looks no further than the last 8 bits: zero
  // bytes behind the stop bit count as data, and so does the end of the stream.
  bool more_rbsp_data() const;
  // Reads the stop bit and the zeros that fill its byte. E_UNEXPECTED: something else stands there.
  [[nodiscard]] HRESULT rbsp_trailing_bits();
};

// The codes are those of QvBitWriter::SetBitValue.
class CLIPCHAIN_API RbspWriter : public QUIRVA::QvBitWriter {
 public:
  RbspWriter(QUIRVA::QvMemBuffer* buffer, long long startBytePos, char startBitIndex);

  // ue(v). The largest 32-bit number has no code and gives a single zero bit.
  [[nodiscard]] HRESULT SetExponentialGolombNumber(unsigned int value);
  [[nodiscard]] HRESULT SetUnsignedExpGolombValue(unsigned int value);
  // se(v).
  [[nodiscard]] HRESULT SetSignedExpGolombValue(int value);

  bool byte_aligned() const { return IsByteAligned(); }
  // Writes the stop bit and the zeros that fill its byte.
  [[nodiscard]] HRESULT rbsp_trailing_bits();
};

}  // namespace H264
