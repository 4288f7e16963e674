// Boxes of movies whose samples stand in fragments, for tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "support/bytes.h"

namespace clipchain {

using support::operator+;

struct AnnouncedTrack {
  std::uint32_t id = 1;
  std::uint32_t scale = 1000;
  // Defaults of "trex".
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
  std::uint32_t descriptions = 1;
  std::optional<support::Bytes> edits;   // one whole "elst"
  std::optional<support::Bytes> tables;  // those of the samples that the movie box speaks of
  bool isExtended = true;
};

inline support::Bytes NoTables() {
  using support::FullBox;
  using support::U32;
  return FullBox("stts", 0, 0, {U32(0)}) + FullBox("stsc", 0, 0, {U32(0)}) +
         FullBox("stsz", 0, 0, {U32(0), U32(0)}) + FullBox("stco", 0, 0, {U32(0)});
}

inline support::Bytes AnnouncedTrackBox(const AnnouncedTrack& track) {
  using support::Box;
  using support::Bytes;
  using support::FullBox;
  using support::U32;
  using support::Zeros;
  Bytes entries;
  for (std::uint32_t i = 0; i < track.descriptions; ++i) {
    entries = entries + Box("avc1", {Zeros(78), U32(8), support::Text("test")});
  }
  const Bytes table = Box("stbl", {FullBox("stsd", 0, 0, {U32(track.descriptions), entries}),
                                   track.tables ? *track.tables : NoTables()});
  const Bytes edits = track.edits ? Box("edts", {*track.edits}) : Bytes();
  return Box(
      "trak",
      {FullBox("tkhd", 0, 3, {U32(0), U32(0), U32(track.id), U32(0), U32(0), Zeros(60)}), edits,
       Box("mdia", {FullBox("mdhd", 0, 0, {U32(0), U32(0), U32(track.scale), U32(0), U32(0)}),
                    FullBox("hdlr", 0, 0, {U32(0), support::Text("vide"), Zeros(13)}),
                    Box("minf", {table})})});
}

inline support::Bytes AnnouncingMovie(const std::vector<AnnouncedTrack>& tracks,
                                      std::uint32_t movieScale = 1000) {
  using support::Box;
  using support::FullBox;
  using support::U32;
  support::Bytes boxes;
  support::Bytes extends;
  for (const AnnouncedTrack& track : tracks) {
    boxes = boxes + AnnouncedTrackBox(track);
    if (!track.isExtended) continue;
    extends = extends + FullBox("trex", 0, 0,
                                {U32(track.id), U32(1), U32(track.duration), U32(track.size),
                                 U32(track.flags)});
  }
  return Box(
      "moov",
      {FullBox("mvhd", 0, 0, {U32(0), U32(0), U32(movieScale), U32(0), support::Zeros(76), U32(9)}),
       boxes, Box("mvex", {extends})});
}

inline RawBox RawBoxOf(const support::Bytes& bytes) {
  std::span<const unsigned char> in = bytes;
  RawBox box;
  EXPECT_TRUE(box.Take(in));
  return box;
}

inline support::Bytes FragmentTime(std::uint32_t time) {
  return support::FullBox("tfdt", 0, 0, {support::U32(time)});
}

// A fragment with these boxes of tracks.
inline RawBox Fragment(std::initializer_list<support::Bytes> trackFragments) {
  support::Bytes boxes = support::FullBox("mfhd", 0, 0, {support::U32(1)});
  for (const support::Bytes& one : trackFragments) boxes = boxes + support::Box("traf", {one});
  return RawBoxOf(support::Box("moof", {boxes}));
}

}  // namespace clipchain
