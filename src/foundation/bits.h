// Streams of bits over memory, the most significant bit of a byte first.
#pragma once

#include "foundation/buffers.h"
#include "foundation/export.h"
#include "foundation/result.h"

namespace QUIRVA {

// A bit of a byte is named by its index, 7 for the most significant to 0 for the least; a position
// at index 7 is at the start of a byte.
inline constexpr signed char kFirstBit = 7;

// Reads bits out of a block that it does not own.
class CLIPCHAIN_API QvBitReader {
 public:
  QvBitReader(const unsigned char* data, long long size, char startBitIndex);
  virtual ~QvBitReader() = default;

  // Takes the next `bits` bits, at most 127, into the low end of `*value`; of more than 32 the last
  // 32 remain. E_NO_MORE_ITEMS, with nothing taken and a value of 0, if fewer are left. E_POINTER
  // for a null `value`; E_INVALIDARG without a block, for a bit index that is none and for a
  // negative count.
  [[nodiscard]] HRESULT GetBitValue(char bits, unsigned int* value);

  bool IsByteAligned() const { return currentBitIndex_ == kFirstBit; }
  bool IsMoreData() const { return readBytes_ < size_; }
  long long GetBuffSize() const { return size_; }
  signed char GetStartBitIndex() const { return startBitIndex_; }
  signed char GetCurrentBitIndex() const { return currentBitIndex_; }
  long long GetReadBits() const { return readBits_; }
  long long GetReadBytes() const { return readBytes_; }  // bytes wholly passed

 protected:
  const unsigned char* data_;
  long long size_;
  signed char startBitIndex_;
  signed char currentBitIndex_;
  long long readBits_ = 0;
  long long readBytes_ = 0;

 private:
  bool HasBits(int bits) const;
  void TakeBits(int& bits, unsigned int& value);  // to the end of the byte or of the request
  void TakeBytes(int& bits, unsigned int& value);
};

// Writes bits into a buffer that it does not own, which grows as needed. A byte has its final form
// only when all its bits are written: each new bit shifts the byte left and enters at its low end,
// so a stream must end aligned, and what a byte held before is shifted out.
class CLIPCHAIN_API QvBitWriter {
 public:
  QvBitWriter(QvMemBuffer* buffer, long long startBytePos, char startBitIndex);
  virtual ~QvBitWriter() = default;

  // Writes the low `bits` bits, at most 127, of `value`, the highest first; beyond 32 they are 0.
  // When it writes a whole byte at an aligned position, the buffer ends up one zero byte longer
  // than what was written. E_INVALIDARG without a buffer, for a negative position, a bit index that
  // is none and a negative count; E_OUTOFMEMORY if the buffer cannot grow, with the bits before
  // that written.
  [[nodiscard]] HRESULT SetBitValue(char bits, unsigned int value);

  bool IsByteAligned() const { return currentBitIndex_ == kFirstBit; }
  long long GetStartBytePos() const { return startBytePos_; }
  signed char GetStartBitIndex() const { return startBitIndex_; }
  long long GetCurrentBytePos() const { return currentBytePos_; }
  signed char GetCurrentBitIndex() const { return currentBitIndex_; }
  long long GetWriteBits() const { return writeBits_; }
  long long GetWriteBytes() const { return writeBytes_; }  // bytes completed

 private:
  [[nodiscard]] HRESULT GrowBeyond(long long position);  // until it is inside the buffer
  void PutBits(int& bits, unsigned int value);           // to the end of the byte or of the request
  void PutBytes(int& bits, unsigned int value);

  QvMemBuffer* buffer_;
  long long startBytePos_;
  signed char startBitIndex_;
  long long currentBytePos_;
  signed char currentBitIndex_;
  long long writeBits_ = 0;
  long long writeBytes_ = 0;
};

}  // namespace QUIRVA
