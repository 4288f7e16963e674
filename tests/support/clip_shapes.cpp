#include "support/clip_shapes.h"

#include "support/exif.h"
#include "support/movie_builder.h"
#include "support/table_bytes.h"
#include "support/vendor_box.h"

namespace support {

namespace {

Bytes Esds() {
  return FullBox("esds", 0, 0,
                 {Hex("03 80808025 0002 00 04 80808017 40 15 000000 0001F400 0001F285"
                      "05 80808005 1190 56E500 06 80808001 02")});
}

// An "mp4a" entry with descriptors.
Bytes DescribedAudioEntry() {
  return Box("mp4a",
             {Zeros(6), U16(1), Zeros(8), U16(2), U16(16), Zeros(4), U32(48000u << 16), Esds()});
}

Bytes Plain() { return Clip(6).Build(); }

Bytes MovieFirst() {
  MovieBuilder movie;
  movie.movieFirst = true;
  movie.Add(VideoTrack(9));
  return movie.Build();
}

Bytes UniformSound() {
  Track sound = AudioTrack(12, 1);
  sound.sampleEntry = DescribedAudioEntry();
  sound.uniformSize = 32;
  sound.sampleSizes.assign(12, 32);
  return MovieBuilder().Add(sound).Build();
}

Bytes Wide() {
  Track video = VideoTrack(8);
  video.wideHeaders = true;
  video.co64 = true;
  MovieBuilder movie;
  movie.wideMovieHeader = true;
  movie.largeMediaHeader = true;
  return movie.Add(video).Build();
}

Bytes Reordered() {
  Track video = VideoTrack(8);
  video.ctts = {{1, 2000}, {2, 0}, {5, 1000}};
  video.stss = {1, 5};
  video.sdtp = Hex("2010101020101010");
  video.edits = {{160, 2000}};
  return MovieBuilder().Add(video).Build();
}

Bytes OfACamera() {
  MovieBuilder movie = Clip(5);
  movie.Add(TimecodeTrack({U32(0x0A000000), U32(0x0A000001), U32(0x0A000002)}));
  VendorBox box;
  box.unique = Id(2);
  box.next = Id(3);
  box.pre = Id(1);
  box.tiff = ExifWithDate("2024:06:01 10:00:04");
  return WithVendorBox(movie.Build(), box);
}

Bytes MediaToTheEnd() {
  MovieBuilder movie;
  movie.movieFirst = true;
  movie.mediaToEnd = true;
  return movie.Add(VideoTrack(4)).Add(AudioTrack(6)).Build();
}

Bytes WithStrangers() {
  MovieBuilder movie = Clip(4);
  movie.between = Box("free", {Zeros(12)}) + Box("skip", {Text("padding")});
  movie.extraMovieBoxes = Box("udta", {Box("name", {Text("clip")}), Zeros(4)});
  movie.tail = FullBox("meta", 0, 0, {Text("anything")});
  return movie.Build();
}

Bytes CompactSizes() {
  Track sound = AudioTrack(6, 1);
  sound.extraTableBoxes = Stz2({32, 32, 32, 32, 32, 32});
  return MovieBuilder().Add(sound).Build();
}

Bytes Fragmented() {
  MovieBuilder movie = Clip(3);
  movie.extraMovieBoxes =
      Box("mvex", {FullBox("mehd", 0, 0, {U32(9000)}),
                   FullBox("trex", 0, 0, {U32(1), U32(1), U32(1000), U32(0), U32(0)})});
  movie.tail = Box("moof", {FullBox("mfhd", 0, 0, {U32(1)})}) +
               Box("mfra", {FullBox("mfro", 0, 0, {U32(16)})});
  return movie.Build();
}

Bytes TwoDescriptions() {
  Track video = VideoTrack(4);
  video.sampleEntry =
      AvcEntry(Hex("01640028FFE1000467640028 01000468EE3CB0 FDF8F800")) + AvcEntry();
  video.extraTrackBoxes = Box("tref", {Box("cdsc", {U32(3)})});
  return MovieBuilder().Add(video).Build();
}

Bytes ManyTracks() {
  MovieBuilder movie;
  for (std::uint32_t id = 1; id <= 8; ++id)
    movie.Add(id % 2 == 0 ? AudioTrack(2, id) : VideoTrack(2, id));
  return movie.Build();
}

}  // namespace

std::vector<ClipShape> ClipShapes() {
  return {{"plain", Plain()},
          {"movie_first", MovieFirst()},
          {"uniform_sound", UniformSound()},
          {"wide", Wide()},
          {"reordered", Reordered()},
          {"of_a_camera", OfACamera()},
          {"media_to_the_end", MediaToTheEnd()},
          {"with_strangers", WithStrangers()},
          {"compact_sizes", CompactSizes()},
          {"fragmented", Fragmented()},
          {"two_descriptions", TwoDescriptions()},
          {"many_tracks", ManyTracks()}};
}

}  // namespace support
