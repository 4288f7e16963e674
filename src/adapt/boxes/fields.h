// Takes big-endian fields, records and tables off bytes, and appends them.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "foundation/big_endian.h"

namespace clipchain {

// Copies a field or a wire record and moves behind it. False: too few bytes, and nothing is moved.
template <typename Record>
[[nodiscard]] bool TakeField(std::span<const unsigned char>& bytes, Record& record) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  if (bytes.size() < sizeof record) return false;
  std::memcpy(&record, bytes.data(), sizeof record);
  bytes = bytes.subspan(sizeof record);
  return true;
}

// Copies a table of `count` records, each through `decode`, and moves behind it. False: it has
// fewer than that, and nothing is allocated.
template <typename Record, typename Entry, typename Decode>
[[nodiscard]] bool TakeTable(std::span<const unsigned char>& bytes, std::uint64_t count,
                             std::vector<Entry>& table, Decode decode) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  if (count > bytes.size() / sizeof(Record)) return false;
  table.resize(static_cast<std::size_t>(count));
  auto in = bytes;
  for (Entry& entry : table) {
    Record record;
    std::memcpy(&record, in.data(), sizeof record);
    entry = decode(record);
    in = in.subspan(sizeof record);
  }
  bytes = in;
  return true;
}

template <typename Record>
void PutRecord(Bytes& out, const Record& record) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  const std::size_t before = out.size();
  out.resize(before + sizeof record);
  std::memcpy(&out[before], &record, sizeof record);
}

template <typename Field>
void PutField(Bytes& out, typename Field::Value value) {
  Field field;
  field = value;
  PutRecord(out, field);
}

// Appends a table, each entry through `encode`, which gives its record.
template <typename Entry, typename Encode>
void PutTable(Bytes& out, const std::vector<Entry>& table, Encode encode) {
  using Record = decltype(encode(table.front()));
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  std::size_t at = out.size();
  out.resize(at + table.size() * sizeof(Record));
  for (const Entry& entry : table) {
    const Record record = encode(entry);
    std::memcpy(&out[at], &record, sizeof record);
    at += sizeof record;
  }
}

}  // namespace clipchain
