#include "support/movie_builder.h"

#include <algorithm>
#include <numeric>

namespace support {

namespace {

Bytes Matrix() { return Join({U32(0x10000), Zeros(12), U32(0x10000), Zeros(12), U32(0x40000000)}); }

Bytes Times(bool wide, std::uint64_t creation, std::uint32_t middle, bool hasReserved,
            std::uint64_t duration) {
  const Bytes reserved = hasReserved ? Zeros(4) : Bytes();
  if (wide) return Join({U64(creation), U64(creation), U32(middle), reserved, U64(duration)});
  return Join({U32(static_cast<std::uint32_t>(creation)), U32(static_cast<std::uint32_t>(creation)),
               U32(middle), reserved, U32(static_cast<std::uint32_t>(duration))});
}

Bytes Pairs(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& pairs) {
  Bytes bytes = U32(static_cast<std::uint32_t>(pairs.size()));
  for (const auto& [count, value] : pairs) bytes = bytes + U32(count) + U32(value);
  return bytes;
}

Bytes Numbers(const std::vector<std::uint32_t>& numbers) {
  Bytes bytes;
  for (const std::uint32_t number : numbers) {
    for (const unsigned char byte : U32(number)) bytes.push_back(byte);
  }
  return bytes;
}

std::uint32_t Count(std::size_t n) { return static_cast<std::uint32_t>(n); }

// Bytes of sample number `index`: no two samples of a test are alike by accident.
Bytes SampleBytes(const Track& track, std::size_t index) {
  if (!track.samples.empty()) return track.samples[index];
  Bytes bytes(track.sampleSizes[index]);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(track.mediaSeed * 37 + track.id * 101 + index * 7 + i);
  }
  return bytes;
}

std::size_t ChunkCount(const Track& track) {
  return (track.SampleCount() + track.samplesPerChunk - 1) / track.samplesPerChunk;
}

// The chunks of all tracks in turn, as an interleaving muxer lays them. Calls use(track index,
// chunk, bytes).
template <class Use>
void ForEachChunk(const std::vector<Track>& tracks, Use use) {
  std::size_t most = 0;
  for (const Track& track : tracks) most = std::max(most, ChunkCount(track));
  for (std::size_t chunk = 0; chunk < most; ++chunk) {
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      const Track& track = tracks[t];
      if (chunk >= ChunkCount(track)) continue;
      Bytes bytes;
      const std::size_t begin = chunk * track.samplesPerChunk;
      const std::size_t end = std::min(begin + track.samplesPerChunk, track.SampleCount());
      for (std::size_t i = begin; i < end; ++i) {
        const Bytes sample = SampleBytes(track, i);
        bytes.insert(bytes.end(), sample.begin(), sample.end());
      }
      use(t, bytes);
    }
  }
}

std::vector<std::vector<std::uint64_t>> ChunkOffsets(const std::vector<Track>& tracks,
                                                     std::uint64_t mediaPos) {
  std::vector<std::vector<std::uint64_t>> offsets(tracks.size());
  ForEachChunk(tracks, [&](std::size_t t, const Bytes& bytes) {
    offsets[t].push_back(mediaPos);
    mediaPos += bytes.size();
  });
  return offsets;
}

Bytes SampleToChunk(const Track& track) {
  if (track.SampleCount() == 0) return FullBox("stsc", 0, 0, {U32(0)});
  const std::uint32_t last = Count(track.SampleCount() % track.samplesPerChunk);
  const std::uint32_t chunks = Count(ChunkCount(track));
  const Bytes whole = Join({U32(1), U32(track.samplesPerChunk), U32(1)});
  if (last == 0) return FullBox("stsc", 0, 0, {U32(1), whole});
  const Bytes rest = Join({U32(chunks), U32(last), U32(1)});
  if (chunks == 1) return FullBox("stsc", 0, 0, {U32(1), rest});
  return FullBox("stsc", 0, 0, {U32(2), whole, rest});
}

Bytes ChunkOffsetBox(const Track& track, const std::vector<std::uint64_t>& offsets) {
  Bytes table = U32(Count(offsets.size()));
  for (const std::uint64_t offset : offsets) {
    table = table + (track.co64 ? U64(offset) : U32(static_cast<std::uint32_t>(offset)));
  }
  return FullBox(track.co64 ? "co64" : "stco", 0, 0, {table});
}

Bytes SampleTable(const Track& track, const std::vector<std::uint64_t>& offsets) {
  return Box(
      "stbl",
      {track.withSampleDescription ? FullBox("stsd", 0, 0, {U32(1), track.sampleEntry}) : Bytes(),
       FullBox("stts", 0, 0, {Pairs(track.stts)}),
       track.ctts ? FullBox("ctts", 0, 0, {Pairs(*track.ctts)}) : Bytes(),
       track.stss ? FullBox("stss", 0, 0, {U32(Count(track.stss->size())), Numbers(*track.stss)})
                  : Bytes(),
       track.sdtp ? FullBox("sdtp", 0, 0, {*track.sdtp}) : Bytes(), SampleToChunk(track),
       FullBox("stsz", 0, 0,
               {U32(track.uniformSize), U32(Count(track.SampleCount())),
                track.uniformSize == 0 ? Numbers(track.sampleSizes) : Bytes()}),
       ChunkOffsetBox(track, offsets), track.extraTableBoxes});
}

Bytes EditBox(const Track& track) {
  if (!track.edits) return {};
  Bytes entries = U32(Count(track.edits->size()));
  for (const Edit& edit : *track.edits) {
    entries = entries + (track.wideHeaders ? U64(edit.segmentDuration) +
                                                 U64(static_cast<std::uint64_t>(edit.mediaTime))
                                           : U32(static_cast<std::uint32_t>(edit.segmentDuration)) +
                                                 U32(static_cast<std::uint32_t>(edit.mediaTime)));
    entries = entries + U16(1) + U16(0);
  }
  return Box("edts", {FullBox("elst", track.wideHeaders ? 1 : 0, 0, {entries})});
}

Bytes TrackBox(const Track& track, const std::vector<std::uint64_t>& offsets) {
  const bool wide = track.wideHeaders;
  const std::uint8_t version = wide ? 1 : 0;
  const Bytes header = FullBox("tkhd", version, 7,
                               {Times(wide, 0, track.id, true, track.movieDuration), Zeros(16),
                                Matrix(), U32(640u << 16), U32(360u << 16)});
  const Bytes mediaHeader =
      FullBox("mdhd", version, 0,
              {Times(wide, 0, track.timeScale, false, track.mediaDuration), U16(0x55C4), U16(0)});
  const Bytes kind = track.handler == "soun"   ? FullBox("smhd", 0, 0, {Zeros(4)})
                     : track.handler == "vide" ? FullBox("vmhd", 0, 1, {Zeros(8)})
                                               : FullBox("nmhd", 0, 0);
  return Box(
      "trak",
      {track.withTrackHeader ? header : Bytes(), EditBox(track),
       Box("mdia",
           {track.withMediaHeader ? mediaHeader : Bytes(),
            FullBox("hdlr", 0, 0, {U32(0), Text(track.handler), Zeros(12), Text("h"), Zeros(1)}),
            Box("minf",
                {kind, Box("dinf", {FullBox("dref", 0, 0, {U32(1), FullBox("url ", 0, 1)})}),
                 SampleTable(track, offsets), track.extraInformationBoxes}),
            track.extraMediaBoxes}),
       track.extraTrackBoxes});
}

}  // namespace

Bytes AvcEntry(const Bytes& configuration) {
  return Box("avc1",
             {Zeros(6), U16(1), Zeros(16), U16(640), U16(360), U32(0x480000), U32(0x480000), U32(0),
              U16(1), Zeros(32), U16(24), U16(0xFFFF), Box("avcC", {configuration})});
}

Bytes AudioEntry() {
  const Bytes descriptors =
      Hex("0319 0002 00 0411 40 15 000300 0001F400 0001F400 0502 1190 060102");
  return Box("mp4a", {Zeros(6), U16(1), Zeros(8), U16(2), U16(16), Zeros(4), U32(48000u << 16),
                      FullBox("esds", 0, 0, {descriptors})});
}

Track VideoTrack(std::uint32_t samples, std::uint32_t id) {
  Track track;
  track.id = id;
  track.sampleEntry = AvcEntry();
  track.stts = {{samples, 1000}};
  track.mediaDuration = std::uint64_t{samples} * 1000;
  track.movieDuration = samples * 20;
  for (std::uint32_t i = 0; i < samples; ++i) track.sampleSizes.push_back(20 + i % 5);
  return track;
}

Track AudioTrack(std::uint32_t samples, std::uint32_t id) {
  Track track;
  track.id = id;
  track.handler = "soun";
  track.sampleEntry = AudioEntry();
  track.timeScale = 48000;
  track.stts = {{samples, 1024}};
  track.mediaDuration = std::uint64_t{samples} * 1024;
  track.movieDuration = static_cast<std::uint32_t>(track.mediaDuration * 600 / 48000);
  for (std::uint32_t i = 0; i < samples; ++i) track.sampleSizes.push_back(10 + i % 3);
  track.samplesPerChunk = 6;
  return track;
}

Track TimecodeTrack(const std::vector<Bytes>& samples, std::uint32_t id, std::uint32_t flags,
                    std::uint8_t framesPerSecond) {
  const std::uint32_t count = Count(samples.size());
  Track track;
  track.id = id;
  track.handler = "tmcd";
  track.sampleEntry = Box("tmcd", {Zeros(6), U16(1), U32(0), U32(flags), U32(30000), U32(1000),
                                   U8(framesPerSecond), U8(0)});
  track.stts = {{count, 1000}};
  track.mediaDuration = std::uint64_t{count} * 1000;
  track.movieDuration = count * 20;
  for (const Bytes& sample : samples) track.sampleSizes.push_back(Count(sample.size()));
  track.samplesPerChunk = std::max(count, 1u);
  track.samples = samples;
  return track;
}

MovieBuilder Clip(std::uint32_t frames, unsigned char mediaSeed) {
  MovieBuilder clip;
  clip.Add(VideoTrack(frames)).Add(AudioTrack(frames * 1600 / 1024));
  for (Track& track : clip.tracks) track.mediaSeed = mediaSeed;
  return clip;
}

Bytes MovieBuilder::Media() const {
  Bytes media;
  ForEachChunk(tracks, [&](std::size_t, const Bytes& bytes) {
    media.insert(media.end(), bytes.begin(), bytes.end());
  });
  return media;
}

Bytes MovieBuilder::Movie(std::uint64_t mediaPos) const {
  std::uint64_t longest = duration;
  if (duration == 0) {
    for (const Track& track : tracks)
      longest = std::max<std::uint64_t>(longest, track.movieDuration);
  }
  Bytes body;
  if (withMovieHeader) {
    body = FullBox("mvhd", wideMovieHeader ? 1 : 0, 0,
                   {Times(wideMovieHeader, creationTime, timeScale, false, longest), U32(0x10000),
                    U16(0x100), Zeros(10), Matrix(), Zeros(24), U32(Count(tracks.size()) + 1)});
  }
  const auto offsets = ChunkOffsets(tracks, mediaPos);
  for (std::size_t t = 0; t < tracks.size(); ++t) body = body + TrackBox(tracks[t], offsets[t]);
  return Box("moov", {body, extraMovieBoxes});
}

Bytes MovieBuilder::Build() const {
  const Bytes media = Media();
  const std::uint32_t headerSize = largeMediaHeader ? 16 : 8;
  Bytes header = largeMediaHeader ? U32(1) + Text("mdat") + U64(media.size() + 16)
                                  : U32(mediaToEnd ? 0 : Count(media.size() + 8)) + Text("mdat");
  const std::size_t movieSize = Movie(0).size();
  std::uint64_t mediaPos = fileType.size() + headerSize;
  if (movieFirst) mediaPos += movieSize + between.size();
  const Bytes movie = Movie(mediaPos);
  return movieFirst ? Join({fileType, movie, between, header, media, tail})
                    : Join({fileType, header, media, between, movie, tail});
}

}  // namespace support
