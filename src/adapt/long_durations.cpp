#include "adapt/long_durations.h"

#include <algorithm>
#include <string>

#include "adapt/track_headers.h"
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

class LongDurations final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override {
    if (clips.size() < 2 || !IsNeeded(clips)) return;
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
                       [](std::uint64_t sum) { return sum >= kMost32Bits; });
  }
};

}  // namespace

std::unique_ptr<Adaptation> MakeLongDurations() { return std::make_unique<LongDurations>(); }

}  // namespace clipchain
