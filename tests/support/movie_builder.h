// Whole MP4 files made by tests: MovieBuilder().Add(VideoTrack(30)).Build(). Everything that a test
// may want to be odd is a public field.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/bytes.h"

namespace support {

struct Edit {
  std::uint64_t segmentDuration;
  std::int64_t mediaTime;
};

struct Track {
  std::uint32_t id = 1;
  std::string handler = "vide";
  Bytes sampleEntry;  // one whole box of "stsd"
  std::uint32_t timeScale = 30000;
  std::uint32_t movieDuration = 0;  // of "tkhd"
  std::uint64_t mediaDuration = 0;  // of "mdhd"
  std::vector<std::pair<std::uint32_t, std::uint32_t>> stts;
  std::optional<std::vector<std::pair<std::uint32_t, std::uint32_t>>> ctts;
  std::optional<std::vector<std::uint32_t>> stss;
  std::optional<Bytes> sdtp;
  std::vector<std::uint32_t> sampleSizes;
  std::uint32_t uniformSize = 0;  // not 0: "stsz" in the uniform form, sampleSizes must agree
  std::uint32_t samplesPerChunk = 4;
  std::optional<std::vector<Edit>> edits;
  bool co64 = false;
  bool wideHeaders = false;  // version 1 of "tkhd" and "mdhd"
  bool withTrackHeader = true;
  bool withMediaHeader = true;
  bool withSampleDescription = true;
  Bytes extraTrackBoxes;        // appended to "trak"
  Bytes extraMediaBoxes;        // appended to "mdia"
  Bytes extraInformationBoxes;  // appended to "minf"
  Bytes extraTableBoxes;        // appended to "stbl"
  unsigned char mediaSeed = 1;  // makes the bytes of the samples differ between tracks and clips
  std::vector<Bytes> samples;   // their bytes, where the seed is not to make them

  std::size_t SampleCount() const { return sampleSizes.size(); }
};

// 30 frames a second in a scale of 30000, "avc1" with a small "avcC", sizes that vary.
Track VideoTrack(std::uint32_t samples, std::uint32_t id = 1);
// 1024 samples of 48 kHz a frame, "mp4a".
Track AudioTrack(std::uint32_t samples, std::uint32_t id = 2);
// A timecode at one frame a sample, 4 bytes each as a rule, all in one chunk.
Track TimecodeTrack(const std::vector<Bytes>& samples, std::uint32_t id = 3,
                    std::uint32_t flags = 0, std::uint8_t framesPerSecond = 30);
Bytes AvcEntry(const Bytes& configuration = Hex("01640028FFE1000467640028 01000468EE3CB0"));
Bytes AudioEntry();

struct MovieBuilder {
  std::vector<Track> tracks;
  std::uint32_t timeScale = 600;
  std::uint64_t duration = 0;  // of "mvhd"; 0: the longest track's
  Bytes fileType = Box("ftyp", {Text("mp42"), U32(0), Text("mp42"), Text("isom")});
  bool movieFirst = false;        // "moov" ahead of the media
  bool largeMediaHeader = false;  // 64-bit size of "mdat"
  bool mediaToEnd = false;        // size field 0 of "mdat", which must then be last
  bool withMovieHeader = true;
  bool wideMovieHeader = false;
  std::uint64_t creationTime = 0;
  Bytes extraMovieBoxes;  // appended to "moov"
  Bytes between;          // whole boxes between the second and the third top-level box
  Bytes tail;             // whole boxes at the end

  MovieBuilder& Add(Track track) {
    tracks.push_back(std::move(track));
    return *this;
  }
  Bytes Build() const;
  Bytes Media() const;  // the media data alone

 private:
  Bytes Movie(std::uint64_t mediaPos) const;
};

// A clip with one video and one audio track of about the same length.
MovieBuilder Clip(std::uint32_t frames, unsigned char mediaSeed = 1);

}  // namespace support
