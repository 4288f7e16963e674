#include "support/movie_bytes.h"

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

Bytes RunBytes(const Run& run) { return U32(run.count) + U32(run.value); }

Bytes UnityMatrix() {
  return U32(0x10000) + Zeros(12) + U32(0x10000) + Zeros(12) + U32(0x40000000);
}

Bytes MovieHeader(std::uint32_t timeScale, std::uint64_t duration) {
  return FullBox("mvhd", 1, 0,
                 {U64(1), U64(2), U32(timeScale), U64(duration), U32(0x10000), U16(0x100),
                  Zeros(10), UnityMatrix(), Zeros(24), U32(100)});
}

Bytes TrackHeader(const TrackOf& track) {
  return FullBox("tkhd", 1, 7,
                 {U64(1), U64(2), U32(track.id), U32(0), U64(track.duration), Zeros(16),
                  UnityMatrix(), U32(0), U32(0)});
}

Bytes EditBox(const TrackOf& track) {
  if (!track.edits) return {};
  Bytes body = U32(static_cast<std::uint32_t>(track.edits->size()));
  for (const Edit& edit : *track.edits) {
    body = body + U64(edit.segmentDuration) + U64(static_cast<std::uint64_t>(edit.mediaTime)) +
           U16(1) + U16(0);
  }
  return Box("edts", {FullBox("elst", 1, 0, {body})});
}

Bytes MediaTypeHeader(const std::string& handler) {
  if (handler == "vide") return FullBox("vmhd", 0, 1, {Zeros(8)});
  if (handler == "soun") return FullBox("smhd", 0, 0, {Zeros(4)});
  return FullBox("nmhd", 0, 0);
}

Bytes SampleDescription(const TrackOf& track) {
  const std::size_t fixedFields = track.handler == "vide" ? 70 : track.handler == "soun" ? 20 : 0;
  return FullBox("stsd", 0, 0,
                 {U32(1), Box(track.entryType, {Zeros(6), U16(1), Zeros(fixedFields)})});
}

}  // namespace

Bytes Stts(const std::vector<Run>& runs) { return Table("stts", runs, RunBytes); }
Bytes Ctts(const std::vector<Run>& runs) { return Table("ctts", runs, RunBytes); }

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

Bytes Track(const TrackOf& track) {
  return Box(
      "trak",
      {TrackHeader(track), EditBox(track),
       Box("mdia",
           {FullBox("mdhd", 1, 0,
                    {U64(1), U64(2), U32(track.timeScale), U64(track.mediaDuration), U32(0)}),
            FullBox("hdlr", 0, 0, {U32(0), Text(track.handler), Zeros(12)}),
            Box("minf", {MediaTypeHeader(track.handler),
                         Box("stbl", {SampleDescription(track), track.tables})})})});
}

Bytes Movie(std::uint32_t timeScale, std::uint64_t duration, const std::vector<TrackOf>& tracks) {
  Bytes body = MovieHeader(timeScale, duration);
  for (const TrackOf& track : tracks) body = body + Track(track);
  return Box("moov", {body});
}

}  // namespace support
