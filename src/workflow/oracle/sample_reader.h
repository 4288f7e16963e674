// Reads where a file says that its samples are: boxes, tracks, fragments. It rests on nothing that
// merges, so that what it reads can judge a merge.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "adapt/reason.h"
#include "workflow/system/file_bytes.h"

namespace clipchain::samples {

using Number = unsigned long long;
using View = std::span<const unsigned char>;

struct BoxView {
  std::uint32_t type = 0;
  View whole;
  View body;
};

// Takes the box at the front of what is left; false where none fits.
bool TakeBox(View& rest, BoxView& box);
// The first box of that type among those in `body`; a type of 0 without one.
BoxView FindBox(View body, std::uint32_t type);
// Big-endian numbers; 0 where the bytes are not there.
template <std::size_t kCount>
Number BigEndianAt(View bytes, std::size_t at) {
  if (at > bytes.size() || bytes.size() - at < kCount) return 0;
  const unsigned char* const begin = bytes.data() + at;
  // Compilers make one load of a sum of bytes, and of a loop over them several.
  return [begin]<std::size_t... kAt>(std::index_sequence<kAt...>) {
    return ((Number{begin[kAt]} << 8 * (kCount - 1 - kAt)) | ...);
  }
  (std::make_index_sequence<kCount>());
}
inline std::uint32_t U16(View bytes, std::size_t at) {
  return static_cast<std::uint32_t>(BigEndianAt<2>(bytes, at));
}
inline std::uint32_t U32(View bytes, std::size_t at) {
  return static_cast<std::uint32_t>(BigEndianAt<4>(bytes, at));
}
inline Number U64(View bytes, std::size_t at) { return BigEndianAt<8>(bytes, at); }

// One part of an edit list (ISO/IEC 14496-12, clause 8.6.6).
struct Edit {
  // In the movie's time scale.
  Number length;
  // Media time; -1 for nothing shown.
  long long start;
  std::uint32_t rate;
};

// What holds for the samples of a fragment that say nothing themselves ("trex", "tfhd").
struct Defaults {
  std::uint32_t description = 1;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

// The samples that one movie fragment has of a track ("traf").
struct Fragment {
  // Of the body in the file.
  Number position = 0;
  std::size_t size = 0;
  Defaults defaults;
  // Where data offsets count from.
  Number base = 0;
  // Decode time of its first sample.
  Number start = 0;
  Number samples = 0;
  // Of all its samples.
  Number duration = 0;
};

struct TrackView {
  // Of "trak".
  View body;
  std::uint32_t id = 0;
  std::uint32_t handler = 0;
  // Of the handler.
  View name;
  std::uint32_t language = 0;
  // Of the media.
  Number scale = 0;
  // Of the media, as "mdhd" says.
  Number duration = 0;
  // As "tkhd" says.
  Number shown = 0;
  // Whole boxes of "stsd".
  std::vector<View> entries;
  std::vector<Edit> edits;
  // Body of "stbl".
  View table;
  // How long the samples of its tables take together.
  Number tableDuration = 0;
  Defaults defaults;
  std::vector<Fragment> fragments;
};

struct MediaExtent {
  Number begin;
  Number end;
};

// One "trun" (clause 8.8.8), as it stands in a fragment.
struct TrackRun {
  std::uint32_t flags = 0;
  std::uint32_t count = 0;
  bool hasOffset = false;
  std::int32_t dataOffset = 0;
  std::uint32_t firstFlags = 0;
  bool hasFirstFlags = false;
  View entries;
  // Bytes of an entry.
  std::size_t stride = 0;

  // Fills all; false where the box is too short for its count.
  bool Read(View body);
  std::uint32_t Duration(std::size_t sample, const Defaults& defaults) const;
  std::uint32_t Size(std::size_t sample, const Defaults& defaults) const;
  std::uint32_t Flags(std::size_t sample, const Defaults& defaults) const;
  std::int32_t Offset(std::size_t sample) const;

 private:
  std::uint32_t Field(std::size_t sample, std::uint32_t flag) const;
};

class SampleFile {
 public:
  explicit SampleFile(FileBytes& file) : file_(file) {}
  SampleFile(const SampleFile&) = delete;
  SampleFile& operator=(const SampleFile&) = delete;

  // Reads the boxes. What is wrong, as the rest of a sentence that begins with the file's name.
  [[nodiscard]] Reason Read();

  FileBytes& File() const { return file_; }
  // Body of "moov".
  View Movie() const { return movie_; }
  Number Scale() const { return scale_; }
  Number Duration() const { return duration_; }
  Number Size() const { return size_; }
  const std::vector<TrackView>& Tracks() const { return tracks_; }
  // Bodies of boxes "pssh" in the movie box; what is told there to systems that have keys may also
  // stand in fragments.
  const std::vector<std::string>& Systems() const { return systems_; }
  const std::vector<std::string>& FragmentSystems() const { return fragmentSystems_; }
  // In the order of the file.
  const std::vector<MediaExtent>& Media() const { return media_; }

 private:
  struct Place {
    Number position;
    Number size;
  };

  [[nodiscard]] Reason Walk();
  [[nodiscard]] Reason ReadMovie();
  // What the file lends, or else `bytes` with what was read; empty where that fails.
  View Load(const Place& place, std::vector<unsigned char>& bytes);
  void ReadDefaults(View extends);
  [[nodiscard]] Reason ReadFragments();
  bool ReadFragment(const Place& place, View body);
  bool ReadTrackFragment(const Place& place, View whole, View body, Number& after);
  static void ReadFragmentHeader(View header, Fragment& fragment);
  static bool ReadRuns(View body, Fragment& fragment, Number& after);

  FileBytes& file_;
  Number size_ = 0;
  // "moov", whole.
  std::vector<Place> movies_;
  // "moof", whole.
  std::vector<Place> fragments_;
  std::vector<MediaExtent> media_;
  std::vector<unsigned char> movieBytes_;
  View movie_;
  Number scale_ = 0;
  Number duration_ = 0;
  std::vector<TrackView> tracks_;
  std::vector<std::string> systems_;
  std::vector<std::string> fragmentSystems_;
  std::unordered_map<std::uint32_t, std::size_t> byId_;
};

}  // namespace clipchain::samples
