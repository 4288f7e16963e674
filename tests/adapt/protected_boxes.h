// Boxes of tracks whose samples are protected, for tests.
#pragma once

#include <vector>

#include "adapt/boxes/track_headers.h"
#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {

// An entry of a "stsd" that is protected by that scheme, with vectors of so many bytes.
inline support::Bytes ProtectedEntry(unsigned char vectorSize, const char* scheme = "cenc") {
  using support::Box;
  using support::FullBox;
  const support::Bytes keys = FullBox(
      "tenc", 0, 0, {support::Bytes{0, 0, 1, vectorSize}, support::Text("sixteen bytes id")});
  const support::Bytes information =
      Box("sinf", {Box("frma", {support::Text("avc1")}),
                   FullBox("schm", 0, 0, {support::Text(scheme), support::U32(0x10000)}),
                   Box("schi", {keys})});
  return Box("encv", {support::Zeros(78), information});
}

inline support::Bytes ClearEntry() { return support::Box("avc1", {support::Zeros(78)}); }

// A movie of one track with these descriptions and tables, and boxes behind the others of its
// "trak".
inline RawBox ProtectedMovie(const std::vector<support::Bytes>& entries,
                             const support::Bytes& tables, const support::Bytes& inTrack = {}) {
  AnnouncedTrack track;
  track.tables = tables;
  RawBox movie = RawBoxOf(AnnouncingMovie({track}));
  RawBox& trak = *movie.Child(FourCc("trak"));
  RawBox& descriptions = *SampleTable(trak)->Child(FourCc("stsd"));
  descriptions.data = support::U32(0) + support::U32(static_cast<std::uint32_t>(entries.size()));
  for (const support::Bytes& entry : entries) descriptions.data = descriptions.data + entry;
  std::span<const unsigned char> in = inTrack;
  RawBox box;
  while (box.Take(in)) trak.children.push_back(box);
  return movie;
}

// "saiz" and "senc" of so many samples with these bytes each.
inline support::Bytes ToldSizes(const support::Bytes& sizes) {
  return support::FullBox(
      "saiz", 0, 0,
      {support::U8(0), support::U32(static_cast<std::uint32_t>(sizes.size())), sizes});
}
inline support::Bytes ToldBytes(std::uint32_t samples, const support::Bytes& bytes,
                                unsigned char flags = 0) {
  return support::FullBox("senc", 0, flags, {support::U32(samples), bytes});
}

}  // namespace clipchain
