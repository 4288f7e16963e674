#include "adapt/times/long_durations.h"

#include <algorithm>
#include <optional>
#include <string>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr std::uint64_t kMost32Bits = 0xFFFFFFFF;

// The headers with a duration: of the movie, and of each track and its media.
std::vector<RawBox*> HeadersOf(RawBox& movie) {
  std::vector<RawBox*> headers{movie.Child(FourCc("mvhd"))};
  for (RawBox* track : TracksOf(movie)) {
    headers.push_back(track->Child(FourCc("tkhd")));
    headers.push_back(track->At({FourCc("mdia"), FourCc("mdhd")}));
  }
  return headers;
}

std::uint64_t DurationOf(const RawBox* header) {
  if (header == nullptr) return 0;
  std::uint64_t duration = 0;
  if (header->type == FourCc("tkhd")) {
    if (const auto fields = ReadTrackHeader(*header)) duration = fields->duration;
  } else if (const auto fields = ReadTimeHeader(*header)) {
    duration = fields->duration;
  }
  return duration == kUnknownDuration ? 0 : duration;
}

// All bits set say that a duration is not known (8.2.2.3), and sums of it would be none.
bool IsUnknown(const RawBox* header) {
  if (header == nullptr) return false;
  if (header->type == FourCc("tkhd")) {
    const auto fields = ReadTrackHeader(*header);
    return fields && fields->duration == kUnknownDuration;
  }
  const auto fields = ReadTimeHeader(*header);
  return fields && fields->duration == kUnknownDuration;
}

// In ticks of the movie, rounded up; nothing where that can't be said.
std::optional<std::uint64_t> ToMovie(std::uint64_t ticks, std::uint32_t scale,
                                     std::uint32_t movieScale) {
  std::uint64_t product = 0;
  if (scale == 0 || __builtin_mul_overflow(ticks, std::uint64_t{movieScale}, &product) ||
      product > kUnknownDuration - scale)
    return std::nullopt;
  return (product + scale - 1) / scale;
}

// Puts a duration in place of one that is not known, in a header that may have to become wider.
void Tell(RawBox& header, std::uint64_t duration) {
  if (duration >= kMost32Bits) static_cast<void>(WidenHeader(header));
  if (header.type == FourCc("tkhd")) {
    if (const auto fields = ReadTrackHeader(header))
      static_cast<void>(WriteTrackHeader(header, {fields->id, duration}));
  } else if (const auto fields = ReadTimeHeader(header)) {
    static_cast<void>(WriteTimeHeader(header, {fields->scale, duration}));
  }
}

// Of the samples of a track; nothing where its tables can't be read.
std::optional<std::uint64_t> TicksOf(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* box = table != nullptr ? table->Child(FourCc("stts")) : nullptr;
  const auto times = box != nullptr ? ReadTimes(*box) : std::nullopt;
  if (!times) return std::nullopt;
  return MediaDuration(*times);
}

// Puts the durations of its samples in place of those that a track does not know. How long it is
// then; 0 where its tables can't be read.
std::uint64_t TellTrack(RawBox& track, std::uint32_t movieScale) {
  RawBox* header = track.Child(FourCc("tkhd"));
  RawBox* mediaHeader = track.At({FourCc("mdia"), FourCc("mdhd")});
  const auto media = mediaHeader != nullptr ? ReadTimeHeader(*mediaHeader) : std::nullopt;
  const auto ticks = TicksOf(track);
  if (!ticks || !media) return 0;
  if (IsUnknown(mediaHeader)) Tell(*mediaHeader, *ticks);
  const auto shown = ToMovie(*ticks, media->scale, movieScale);
  if (shown && IsUnknown(header)) Tell(*header, *shown);
  return DurationOf(header);
}

// Whether any header did not say how long the movie, a track or its media is.
bool TellDurations(RawBox& movie) {
  const std::vector<RawBox*> headers = HeadersOf(movie);
  if (std::none_of(headers.begin(), headers.end(), IsUnknown)) return false;
  std::uint64_t longest = 0;
  if (const auto fields = ReadTimeHeader(*headers.front())) {
    for (RawBox* track : TracksOf(movie))
      longest = std::max(longest, TellTrack(*track, fields->scale));
  }
  if (IsUnknown(headers.front())) Tell(*headers.front(), longest);
  return true;
}

class LongDurations final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override {
    // Of one clip nothing is added up.
    if (clips.size() < 2) return;
    for (std::size_t i = 0; i < clips.size(); ++i) {
      if (TellDurations(clips[i].movie))
        report.Note(AdaptationKind::kDurations, i, 0,
                    "has headers that do not say how long its tracks are, as its samples do");
    }
    if (!IsNeeded(clips)) return;
    for (std::size_t i = 0; i < clips.size(); ++i) {
      bool isWidened = false;
      for (RawBox* header : HeadersOf(clips[i].movie)) {
        if (header != nullptr && WidenHeader(*header)) isWidened = true;
      }
      if (!isWidened) continue;
      report.Note(AdaptationKind::kDurations, i, 0,
                  "has headers whose durations have 32 bits, which all clips together exceed");
    }
  }

 private:
  static bool IsNeeded(FitClips& clips) {
    std::vector<std::uint64_t> sums;
    for (FitClip& clip : clips) {
      const std::vector<RawBox*> headers = HeadersOf(clip.movie);
      sums.resize(std::max(sums.size(), headers.size()));
      for (std::size_t i = 0; i < headers.size(); ++i) {
        if (__builtin_add_overflow(sums[i], DurationOf(headers[i]), &sums[i])) return false;
      }
    }
    return std::any_of(sums.begin(), sums.end(),
                       // All bits set are no duration, so that the greatest of 32 bits is one less.
                       [](std::uint64_t sum) { return sum >= kMost32Bits; });
  }
};

}  // namespace

std::unique_ptr<Adaptation> MakeLongDurations() { return std::make_unique<LongDurations>(); }

}  // namespace clipchain
