#include "support/table_bytes.h"

namespace support {

namespace {

template <class Entry, class ToBytes>
Bytes Table(std::string_view type, const std::vector<Entry>& entries, ToBytes toBytes) {
  Bytes body = U32(static_cast<std::uint32_t>(entries.size()));
  for (const Entry& entry : entries) {
    const Bytes bytes = toBytes(entry);
    body.insert(body.end(), bytes.begin(), bytes.end());
  }
  return FullBox(type, 0, 0, {body});
}

Bytes RunBytes(const SampleRun& run) { return U32(run.count) + U32(run.value); }

}  // namespace

Bytes Stts(const std::vector<SampleRun>& runs) { return Table("stts", runs, RunBytes); }
Bytes Ctts(const std::vector<SampleRun>& runs) { return Table("ctts", runs, RunBytes); }

Bytes Stsc(const std::vector<ChunkGroup>& groups) {
  return Table("stsc", groups, [](const ChunkGroup& group) {
    return U32(group.firstChunk) + U32(group.samplesPerChunk) + U32(group.description);
  });
}

Bytes UniformStsz(std::uint32_t size, std::uint32_t count) {
  return FullBox("stsz", 0, 0, {U32(size), U32(count)});
}

Bytes Stsz(const std::vector<std::uint32_t>& sizes) {
  Bytes body = U32(0) + U32(static_cast<std::uint32_t>(sizes.size()));
  for (const std::uint32_t size : sizes) body = body + U32(size);
  return FullBox("stsz", 0, 0, {body});
}

Bytes Stz2(const std::vector<std::uint16_t>& sizes) {
  Bytes body = U32(16) + U32(static_cast<std::uint32_t>(sizes.size()));
  for (const std::uint16_t size : sizes) body = body + U16(size);
  return FullBox("stz2", 0, 0, {body});
}

Bytes Stco(const std::vector<std::uint32_t>& offsets) { return Table("stco", offsets, U32); }
Bytes Co64(const std::vector<std::uint64_t>& offsets) { return Table("co64", offsets, U64); }
Bytes Stss(const std::vector<std::uint32_t>& numbers) { return Table("stss", numbers, U32); }

}  // namespace support
