#include "foundation/bits.h"

#include <limits>

namespace QUIRVA {

namespace {

// Behind the first 4 GiB there is no buffer, nor a sum of positions that could leave 64 bits.
constexpr long long kFarthest = std::numeric_limits<unsigned int>::max();

bool IsBitIndex(signed char index) { return index >= 0 && index <= kFirstBit; }

// The bits of `value` from bit `shift` up; beyond its 32 bits there are none.
unsigned int BitsFrom(unsigned int value, int shift) { return shift < 32 ? value >> shift : 0; }

}  // namespace

QvBitReader::QvBitReader(const unsigned char* data, long long size, char startBitIndex)
    : data_(data),
      size_(size),
      startBitIndex_(static_cast<signed char>(startBitIndex)),
      currentBitIndex_(startBitIndex_) {}

HRESULT QvBitReader::GetBitValue(char bits, unsigned int* value) {
  RETURN_IF(value == nullptr, E_POINTER);
  RETURN_IF(data_ == nullptr, E_INVALIDARG);
  *value = 0;
  int left = static_cast<signed char>(bits);
  RETURN_IF(left == 0, S_OK);
  RETURN_IF(left < 0 || !IsBitIndex(currentBitIndex_), E_INVALIDARG);
  RETURN_IF(!HasBits(left), E_NO_MORE_ITEMS);
  if (!IsByteAligned()) TakeBits(left, *value);
  TakeBytes(left, *value);
  TakeBits(left, *value);
  return S_OK;
}

// Counted from the current bit, so that a block entered in the middle of a byte is not left.
bool QvBitReader::HasBits(int bits) const {
  const int fromByteStart = kFirstBit - currentBitIndex_ + bits;
  return (fromByteStart + 7) / 8 <= size_ - readBytes_;
}

void QvBitReader::TakeBits(int& bits, unsigned int& value) {
  for (; bits > 0; --bits) {
    value = value << 1 | (data_[readBytes_] >> currentBitIndex_ & 1u);
    ++readBits_;
    if (--currentBitIndex_ >= 0) continue;
    currentBitIndex_ = kFirstBit;
    ++readBytes_;
    --bits;
    return;
  }
}

void QvBitReader::TakeBytes(int& bits, unsigned int& value) {
  for (; bits >= 8; bits -= 8) {
    value = value << 8 | data_[readBytes_];
    readBits_ += 8;
    ++readBytes_;
  }
}

QvBitWriter::QvBitWriter(QvMemBuffer* buffer, long long startBytePos, char startBitIndex)
    : buffer_(buffer),
      startBytePos_(startBytePos),
      startBitIndex_(static_cast<signed char>(startBitIndex)),
      currentBytePos_(startBytePos),
      currentBitIndex_(startBitIndex_) {}

HRESULT QvBitWriter::SetBitValue(char bits, unsigned int value) {
  RETURN_IF(buffer_ == nullptr, E_INVALIDARG);
  int left = static_cast<signed char>(bits);
  RETURN_IF(left == 0, S_OK);
  RETURN_IF(left < 0 || currentBytePos_ < 0 || !IsBitIndex(currentBitIndex_), E_INVALIDARG);
  RETURN_IF(currentBytePos_ >= kFarthest, E_OUTOFMEMORY);
  if (!IsByteAligned()) {
    RETURN_IF_NOT_OK(GrowBeyond(currentBytePos_));
    PutBits(left, value);
  }
  if (left >= 8) {
    // One byte more than is written now: it takes the bits that come next.
    RETURN_IF_NOT_OK(GrowBeyond(currentBytePos_ + left / 8));
    PutBytes(left, value);
  }
  if (left > 0) {
    RETURN_IF_NOT_OK(GrowBeyond(currentBytePos_));
    PutBits(left, value);
  }
  return S_OK;
}

HRESULT QvBitWriter::GrowBeyond(long long position) {
  static constexpr unsigned char kZero = 0;
  RETURN_IF(position >= kFarthest, E_OUTOFMEMORY);
  while (buffer_->GetDataSize() <= position) RETURN_IF_NOT_OK(buffer_->Push(&kZero, 1));
  return S_OK;
}

void QvBitWriter::PutBits(int& bits, unsigned int value) {
  unsigned char& byte = buffer_->GetData()[currentBytePos_];
  while (bits > 0) {
    --bits;
    byte = static_cast<unsigned char>(byte * 2u | (BitsFrom(value, bits) & 1));
    ++writeBits_;
    if (--currentBitIndex_ >= 0) continue;
    currentBitIndex_ = kFirstBit;
    ++currentBytePos_;
    ++writeBytes_;
    return;
  }
}

void QvBitWriter::PutBytes(int& bits, unsigned int value) {
  for (; bits >= 8; bits -= 8) {
    buffer_->GetData()[currentBytePos_] = static_cast<unsigned char>(BitsFrom(value, bits - 8));
    ++currentBytePos_;
    writeBits_ += 8;
    ++writeBytes_;
  }
}

}  // namespace QUIRVA
