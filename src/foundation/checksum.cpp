#include "foundation/checksum.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "foundation/big_endian.h"

namespace QUIRVA {

namespace {

// What the register becomes when a byte leaves its top, for each byte.
template <class Register>
using Table = std::array<Register, 256>;

template <class Register>
constexpr int kTopByte = 8 * (sizeof(Register) - 1);

template <class Register>
constexpr Table<Register> MakeTable(Register polynomial) {
  constexpr Register kTopBit = static_cast<Register>(Register{1} << (kTopByte<Register> + 7));
  Table<Register> table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    auto value = static_cast<Register>(byte << kTopByte<Register>);
    for (int bit = 0; bit < 8; ++bit) {
      const bool out = (value & kTopBit) != 0;
      value = static_cast<Register>(value << 1 ^ (out ? polynomial : 0));
    }
    table[byte] = value;
  }
  return table;
}

constexpr Table<std::uint16_t> kTable16 = MakeTable<std::uint16_t>(0x1021);
constexpr Table<std::uint32_t> kTable32 = MakeTable<std::uint32_t>(0x04C11DB7);

template <class Register>
Register Run(const Table<Register>& table, Register value, const unsigned char* data,
             unsigned int size) {
  for (unsigned int i = 0; i < size; ++i) {
    const auto out = static_cast<unsigned char>(value >> kTopByte<Register> ^ data[i]);
    value = static_cast<Register>(value << 8 ^ table[out]);
  }
  return value;
}

template <class Register>
void StoreBigEndian(Register value, Register& target) {
  BigEndian<Register> bytes;
  bytes = value;
  std::memcpy(&target, &bytes, sizeof target);
}

}  // namespace

HRESULT CRC16::DecodeCRC16Data(const unsigned char* data, unsigned int size, unsigned short* crc) {
  RETURN_IF(data == nullptr || crc == nullptr || size < 2, E_INVALIDARG);
  StoreBigEndian(Run<std::uint16_t>(kTable16, 0, data, size), *crc);
  return *crc == 0 ? S_OK : S_FALSE;
}

HRESULT CRC32::CRC32Decode(const unsigned char* data, unsigned int size, unsigned int& crc) {
  RETURN_IF(data == nullptr, E_INVALIDARG);
  RETURN_IF(size < 4, S_FALSE);
  StoreBigEndian(Run<std::uint32_t>(kTable32, 0xFFFFFFFF, data, size), crc);
  return S_OK;
}

bool CRC32::CRC32Check(const unsigned char* data, unsigned int size) {
  unsigned int crc = 0;
  return CRC32Decode(data, size, crc) == S_OK && crc == 0;
}

HRESULT CRC32::CalculateCRC32Value(const unsigned char* data, unsigned int size,
                                   unsigned int& crc) {
  return CRC32Decode(data, size, crc);
}

HRESULT CRC32::CalculateCRC32Value(const unsigned char* data, unsigned int size,
                                   stCRC32Struct& crc) {
  unsigned int value = 0;
  RETURN_IF_NOT_OK(CRC32Decode(data, size, value));
  crc.value = value;
  return S_OK;
}

}  // namespace QUIRVA
