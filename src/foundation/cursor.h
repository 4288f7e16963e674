// The cursor of all parsing and serialising: a pointer and the bytes that are left, both moved by
// what was taken or written. Each operation answers S_FALSE when there is too little room. Nothing
// else does pointer arithmetic.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

#include "foundation/result.h"

namespace QUIRVA {

// Copies `size` bytes to `target`. Takes nothing if fewer are left.
[[nodiscard]] inline HRESULT TakeBytes(const unsigned char*& in, unsigned int& rest, void* target,
                                       unsigned int size) {
  RETURN_IF(rest < size, S_FALSE);
  if (size != 0) std::memcpy(target, in, size);
  in += size;
  rest -= size;
  return S_OK;
}

// Copies one wire record or big-endian field.
template <class Record>
[[nodiscard]] HRESULT Take(const unsigned char*& in, unsigned int& rest, Record& record) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  return TakeBytes(in, rest, &record, sizeof record);
}

// Passes over `size` bytes. Moves nowhere if fewer are left.
[[nodiscard]] inline HRESULT Skip(const unsigned char*& in, unsigned int& rest, unsigned int size) {
  RETURN_IF(rest < size, S_FALSE);
  in += size;
  rest -= size;
  return S_OK;
}

// Appends `count` entries of the form `Wire` to a vector, converted to its element type. Entries
// that are not there are not allocated for: of a short table the whole entries are kept, and the
// answer is S_FALSE.
template <class Wire, class Table>
[[nodiscard]] HRESULT TakeArray(const unsigned char*& in, unsigned int& rest, Table& table,
                                unsigned int count) {
  using Value = typename Table::value_type;
  static_assert(std::is_trivially_copyable_v<Wire> && alignof(Wire) == 1);
  const unsigned int there =
      std::min<unsigned int>(count, rest / static_cast<unsigned int>(sizeof(Wire)));
  const std::size_t before = table.size();
  table.resize(before + there);
  if constexpr (std::is_same_v<Wire, Value>) {
    if (there != 0) std::memcpy(&table[before], in, there * sizeof(Wire));
  } else {
    Value* target = table.data() + before;
    for (unsigned int i = 0; i < there; ++i) {
      Wire wire;
      std::memcpy(&wire, in + i * sizeof(Wire), sizeof wire);
      target[i] = wire;
    }
  }
  in += there * sizeof(Wire);
  rest -= static_cast<unsigned int>(there * sizeof(Wire));
  return there == count ? S_OK : S_FALSE;
}

// Writes `size` bytes, or nothing if they do not fit.
[[nodiscard]] inline HRESULT PutBytes(unsigned char*& out, unsigned int& rest, const void* source,
                                      std::size_t size) {
  RETURN_IF(rest < size, S_FALSE);
  if (size != 0) std::memcpy(out, source, size);
  out += size;
  rest -= static_cast<unsigned int>(size);
  return S_OK;
}

// Writes one wire record or big-endian field.
template <class Record>
[[nodiscard]] HRESULT Put(unsigned char*& out, unsigned int& rest, const Record& record) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  return PutBytes(out, rest, &record, sizeof record);
}

// Writes a number in the form `Wire`.
template <class Wire>
[[nodiscard]] HRESULT PutNumber(unsigned char*& out, unsigned int& rest,
                                typename Wire::Value value) {
  Wire wire;
  wire = value;
  return Put(out, rest, wire);
}

// Writes the table's entries in the form `Wire`, as many as fit; S_FALSE if that is not all of
// them.
template <class Wire, class Table>
[[nodiscard]] HRESULT PutArray(unsigned char*& out, unsigned int& rest, const Table& table) {
  using Value = typename Table::value_type;
  static_assert(std::is_trivially_copyable_v<Wire> && alignof(Wire) == 1);
  const std::size_t fit = std::min<std::size_t>(table.size(), rest / sizeof(Wire));
  if constexpr (std::is_same_v<Wire, Value>) {
    if (fit != 0) std::memcpy(out, table.data(), fit * sizeof(Wire));
  } else {
    const Value* source = table.data();
    for (std::size_t i = 0; i < fit; ++i) {
      Wire wire;
      wire = source[i];
      std::memcpy(out + i * sizeof(Wire), &wire, sizeof wire);
    }
  }
  out += fit * sizeof(Wire);
  rest -= static_cast<unsigned int>(fit * sizeof(Wire));
  return fit == table.size() ? S_OK : S_FALSE;
}

// Writes `size` zero bytes, or nothing if they do not fit.
[[nodiscard]] inline HRESULT PutZeros(unsigned char*& out, unsigned int& rest, unsigned int size) {
  RETURN_IF(rest < size, S_FALSE);
  if (size != 0) std::memset(out, 0, size);
  out += size;
  rest -= size;
  return S_OK;
}

}  // namespace QUIRVA
