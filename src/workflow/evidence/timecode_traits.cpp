#include "workflow/evidence/timecode_traits.h"

#include <cmath>
#include <span>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"
#include "workflow/evidence/track_samples.h"

namespace clipchain {

namespace {

using QUIRVA::be16;
using QUIRVA::be32;

constexpr std::uint32_t kSampleSize = 4;
// In the byte of the minutes, of times below zero.
constexpr std::uint32_t kSign = 0x80;
constexpr std::int64_t kMinutes = 24 * 60;

// The first entry of "stsd", as far as it is needed (QuickTime file format, timecode media).
struct TimecodeEntry {
  be32 version;
  be32 entries;
  be32 size;
  be32 type;
  unsigned char reserved[6];
  be16 dataReference;
  be32 reserved2;
  be32 flags;
  be32 timeScale;
  be32 frameDuration;
  unsigned char framesPerSecond;
};

std::int64_t Wrap(std::int64_t frames, std::int64_t day) { return ((frames % day) + day) % day; }

// Numbers that are left out in each minute but every tenth one.
std::int64_t Dropped(const TimecodeCount& count) {
  return count.dropFrame ? (count.framesPerSecond + 14) / 30 * 2 : 0;
}

std::optional<std::int64_t> FromFields(const TimecodeCount& count, std::uint32_t sample) {
  const std::int64_t hours = sample >> 24;
  const std::int64_t minutes = (sample >> 16 & 0xFF) & ~kSign;
  const std::int64_t seconds = sample >> 8 & 0xFF;
  const std::int64_t frames = sample & 0xFF;
  if (hours > 23 || minutes > 59 || seconds > 59 || frames >= count.framesPerSecond)
    return std::nullopt;
  const std::int64_t allMinutes = hours * 60 + minutes;
  return (allMinutes * 60 + seconds) * count.framesPerSecond + frames -
         Dropped(count) * (allMinutes - allMinutes / 10);
}

// How many frames of the count the pictures take, from below and from above. There may be two or
// four pictures to a frame, or the other way round.
bool FramesOf(const TimecodeCount& count, const Pictures& pictures, std::int64_t& least,
              std::int64_t& most) {
  if (pictures.count == 0 || pictures.length <= 0 || count.rate <= 0) return false;
  const double shown =
      static_cast<double>(pictures.count) * kSecond / static_cast<double>(pictures.length);
  const double ratio = shown / count.rate;
  const auto number = static_cast<std::int64_t>(pictures.count);
  const auto near = [](double value) {
    const double whole = std::round(value);
    // 29.97 for 30 is a thousandth off, 24 for 25 four hundredths.
    constexpr double kWorst = 0.01;
    constexpr double kMost = 64;
    return whole >= 1 && whole <= kMost && std::abs(value - whole) <= kWorst * whole
               ? static_cast<std::int64_t>(whole)
               : 0;
  };
  if (const std::int64_t perFrame = near(ratio); perFrame != 0) {
    least = number / perFrame;
    most = (number + perFrame - 1) / perFrame;
    return true;
  }
  const std::int64_t perPicture = near(1 / ratio);
  least = most = number * perPicture;
  return perPicture != 0;
}

}  // namespace

std::int64_t TimecodeCount::Day() const {
  return kMinutes * 60 * framesPerSecond - Dropped(*this) * (kMinutes - kMinutes / 10);
}

std::optional<TimecodeTraits> TimecodeFromCount(const TimecodeCount& count, std::uint32_t first,
                                                const Pictures& pictures) {
  std::int64_t least = 0;
  std::int64_t most = 0;
  if (count.framesPerSecond == 0 || !FramesOf(count, pictures, least, most)) return std::nullopt;
  TimecodeTraits traits;
  traits.day = count.Day();
  traits.framesPerSecond = count.framesPerSecond;
  traits.first = Wrap(first, traits.day);
  traits.earliestEnd = Wrap(traits.first + least, traits.day);
  traits.latestEnd = Wrap(traits.first + most, traits.day);
  return traits;
}

std::optional<TimecodeTraits> TimecodeFromFrames(const TimecodeCount& count, std::uint32_t first,
                                                 std::uint32_t last, const Pictures& pictures) {
  if (count.framesPerSecond == 0 || pictures.count == 0) return std::nullopt;
  TimecodeTraits traits;
  traits.day = count.Day();
  traits.framesPerSecond = count.framesPerSecond;
  const auto steps = static_cast<std::int64_t>(pictures.count) - 1;
  const auto runs = [&](std::int64_t from, std::int64_t to) {
    traits.first = Wrap(from, traits.day);
    traits.earliestEnd = traits.latestEnd = Wrap(to + 1, traits.day);
    return Wrap(to - from, traits.day) == Wrap(steps, traits.day);
  };
  const auto from = FromFields(count, first);
  const auto to = FromFields(count, last);
  // Both forms occur: the one that counts on as the pictures do is what was meant.
  if (from && to && runs(*from, *to)) return traits;
  if (runs(first, last)) return traits;
  return std::nullopt;
}

std::optional<TimecodeTraits> TimecodeOf(const ClipFile& clip, const RawBox& movie,
                                         const Pictures& pictures) {
  const RawBox* track = nullptr;
  for (const RawBox& box : movie.children) {
    if (box.type != FourCc("trak") || TrackSampleEntryType(box) != FourCc("tmcd")) continue;
    track = &box;
    break;
  }
  if (track == nullptr) return std::nullopt;
  const auto samples = TrackSamples::Of(*track);
  const RawBox* table = SampleTable(*track);
  const RawBox* entries = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  if (!samples || entries == nullptr) return std::nullopt;
  std::span<const unsigned char> bytes = entries->data;
  TimecodeEntry entry;
  if (!TakeField(bytes, entry) || entry.frameDuration == 0) return std::nullopt;
  const TimecodeCount count{
      (entry.flags & 1) != 0, entry.framesPerSecond,
      static_cast<double>(entry.timeScale) / static_cast<double>(entry.frameDuration)};
  const auto sample = [&](std::uint32_t index) -> std::optional<std::uint32_t> {
    const std::vector<unsigned char> data = samples->Read(clip, index, kSampleSize);
    std::span<const unsigned char> in = data;
    be32 value;
    if (!TakeField(in, value)) return std::nullopt;
    return std::uint32_t{value};
  };
  const auto first = sample(0);
  if (!first) return std::nullopt;
  if (samples->Count() == 1) return TimecodeFromCount(count, *first, pictures);
  // Neither one for all nor one for each: what the samples in between say is not known.
  if (samples->Count() != pictures.count) return std::nullopt;
  const auto last = sample(samples->Count() - 1);
  return last ? TimecodeFromFrames(count, *first, *last, pictures) : std::nullopt;
}

}  // namespace clipchain
