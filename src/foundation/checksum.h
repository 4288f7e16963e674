// Cyclic redundancy checks: most significant bit first, no reflection, no final inversion, so that
// data followed by its checksum leaves 0.
#pragma once

#include "foundation/export.h"
#include "foundation/result.h"

namespace QUIRVA {

// Polynomial 0x1021, initial value 0.
class CLIPCHAIN_API CRC16 {
 public:
  // The checksum of all `size` bytes, their own checksum included: S_OK if it is 0, S_FALSE if not.
  // The bytes of `*crc` hold it most significant first. E_INVALIDARG for null or fewer than 2
  // bytes.
  [[nodiscard]] static HRESULT DecodeCRC16Data(const unsigned char* data, unsigned int size,
                                               unsigned short* crc);
};

struct stCRC32Struct {
  unsigned int value;  // its bytes hold the checksum most significant first
};

// Polynomial 0x04C11DB7, initial value 0xFFFFFFFF.
class CLIPCHAIN_API CRC32 {
 public:
  // The bytes of `crc` receive the checksum of all `size` bytes most significant first.
  // E_INVALIDARG for null, S_FALSE for fewer than 4 bytes, which leave `crc` as it is.
  [[nodiscard]] static HRESULT CRC32Decode(const unsigned char* data, unsigned int size,
                                           unsigned int& crc);
  // Whether the data end with their own checksum.
  static bool CRC32Check(const unsigned char* data, unsigned int size);
  // Both are CRC32Decode.
  [[nodiscard]] static HRESULT CalculateCRC32Value(const unsigned char* data, unsigned int size,
                                                   unsigned int& crc);
  [[nodiscard]] static HRESULT CalculateCRC32Value(const unsigned char* data, unsigned int size,
                                                   stCRC32Struct& crc);
};

}  // namespace QUIRVA
