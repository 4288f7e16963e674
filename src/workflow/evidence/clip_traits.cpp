#include "workflow/evidence/clip_traits.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/fields.h"
#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"
#include "adapt/tables/fragments.h"
#include "foundation/fourcc.h"
#include "workflow/clips/clip_file.h"
#include "workflow/evidence/description.h"
#include "workflow/evidence/leaf_values.h"
#include "workflow/evidence/media_clock_traits.h"
#include "workflow/evidence/timecode_traits.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

// A movie box that is larger is refused by the engine, too.
constexpr long long kMostMovieBytes = 1LL << 31;
// A picture of a time-lapse is shown for a while; a sample that lasts longer holds more.
constexpr Nanoseconds kLongestPicture = 60 * kSecond;
constexpr Nanoseconds kFewestFrames = kSecond / 24;
// Seconds; what is longer is no duration.
constexpr double kLongestClip = 1e7;

// The creation time of "mvhd", "tkhd" or "mdhd", in seconds since the start of 1904.
std::uint64_t CreationOf(const RawBox* header) {
  if (header == nullptr) return 0;
  std::span<const unsigned char> bytes = header->data;
  be32 version;
  be32 shortTime;
  be64 longTime;
  if (!TakeField(bytes, version)) return 0;
  if (version >> 24 == 1) return TakeField(bytes, longTime) ? std::uint64_t{longTime} : 0;
  return TakeField(bytes, shortTime) ? std::uint64_t{shortTime} : 0;
}

const RawBox* VideoTrack(const RawBox& movie) {
  for (const RawBox& track : movie.children) {
    if (track.type == FourCc("trak") && TrackKind(track) == FourCc("vide")) return &track;
  }
  return nullptr;
}

std::uint64_t SamplesOf(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* sizes = table != nullptr ? table->Child(FourCc("stsz")) : nullptr;
  if (sizes == nullptr && table != nullptr) sizes = table->Child(FourCc("stz2"));
  if (sizes == nullptr) return 0;
  // Both forms have their count behind version and flags and another field.
  std::span<const unsigned char> bytes = sizes->data;
  be32 field;
  for (int i = 0; i < 3; ++i) {
    if (!TakeField(bytes, field)) return 0;
  }
  return field;
}

// Of one picture, on average, rounded up: a length that is one frame off is off by no more.
Nanoseconds FrameOf(const Pictures& pictures) {
  const auto count = static_cast<Nanoseconds>(pictures.count);
  if (count == 0) return 0;
  return count == 1 ? std::min(pictures.length, kFewestFrames)
                    : (pictures.length + count - 1) / count;
}

std::optional<Nanoseconds> LengthOf(const RawBox* header) {
  if (header == nullptr) return std::nullopt;
  const TimeHeader time = ReadTimeHeader(*header).value_or(TimeHeader{});
  if (time.scale == 0 || time.duration == 0 || time.duration == kUnknownDuration)
    return std::nullopt;
  const long double seconds = static_cast<long double>(time.duration) / time.scale;
  if (seconds > kLongestClip) return std::nullopt;
  return static_cast<Nanoseconds>(seconds * kSecond + 0.5L);
}

void ReadTimes(const RawBox& movie, ClipTraits& traits, Pictures& pictures) {
  const RawBox* header = movie.Child(FourCc("mvhd"));
  const RawBox* video = VideoTrack(movie);
  traits.created = CreationOf(header);
  if (video == nullptr) {
    traits.length = LengthOf(header);
    return;
  }
  const RawBox* media = video->At({FourCc("mdia"), FourCc("mdhd")});
  for (const RawBox* other : {media, video->Child(FourCc("tkhd"))}) {
    if (traits.created == 0) traits.created = CreationOf(other);
  }
  traits.length = LengthOf(media);
  pictures = {SamplesOf(*video), traits.length.value_or(0)};
  traits.isPicture = pictures.count == 1 && pictures.length < kLongestPicture;
  traits.frame = FrameOf(pictures);
}

// The movie with the samples of its fragments in its tables; as it is where that can't be made.
RawBox WithFragments(const std::string& path, RawBox movie) {
  FitClip clip(path);
  FitReport report;
  MemoryBudget unlimited;
  if (!clip.Open(0, report, unlimited)) return movie;
  AdaptFragments(clip, 0, report);
  return report.Refused() ? std::move(movie) : std::move(clip.movie);
}

}  // namespace

std::optional<ClipTraits> ReadClipTraits(const std::string& path, unsigned int volume) {
  // Clips that a merge adapts are evidence as others are.
  const ClipFile clip(path, TopLevelWalk::kOfAnyBox);
  const TopLevelBox* place = clip.MoviePlace();
  if (place == nullptr || place->size <= 0 || place->size > kMostMovieBytes) return std::nullopt;
  const std::vector<unsigned char> bytes =
      clip.Read(place->position, static_cast<unsigned int>(place->size));
  std::span<const unsigned char> in = bytes;
  RawBox movie;
  if (!movie.Take(in)) return std::nullopt;
  ClipTraits traits;
  traits.path = path;
  traits.volume = volume;
  traits.size = clip.Size();
  traits.movieDigest = DigestOf(bytes);
  if (movie.Child(FourCc("mvex")) != nullptr) {
    // Without their fragments the clips of one recording have the same movie box.
    movie = WithFragments(path, std::move(movie));
    traits.movieDigest = DigestOf(movie.Written());
  }
  traits.description = DescriptionOf(movie);
  Pictures pictures;
  ReadTimes(movie, traits, pictures);
  traits.timecode = TimecodeOf(clip, movie, pictures);
  if (traits.length) traits.mediaClock = MediaClockOf(clip, movie, *traits.length);
  const std::size_t header = movie.large ? BoxHeader::kLarge : BoxHeader::kShort;
  traits.values = LeafValues(std::span(bytes).subspan(std::min(header, bytes.size())));
  struct stat status;
  if (::stat(path.c_str(), &status) == 0)
    traits.written = status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec;
  return traits;
}

}  // namespace clipchain
