#include "workflow/oracle/shown_times.h"

#include <algorithm>
#include <optional>

namespace clipchain::samples {

namespace {

constexpr std::uint32_t kNormalRate = 0x10000;

// A scale of 0 makes no sense; nothing is found by dividing by it.
Seconds InSeconds(Seconds ticks, Number scale) {
  return ticks / static_cast<Seconds>(std::max<Number>(scale, 1));
}

constexpr long long kNothing = -1;

// Parts that follow each other without a gap, to within what a tick of either clock is rounded to,
// are one. Its length; nothing where they do not.
std::optional<Seconds> LengthFrom(const SampleFile& file, const TrackView& track, std::size_t at) {
  const Seconds tick = InSeconds(1, track.scale) + InSeconds(1, file.Scale());
  const Seconds begin = InSeconds(static_cast<Seconds>(track.edits[at].start), track.scale);
  Seconds length = 0;
  for (std::size_t i = at; i < track.edits.size(); ++i) {
    const Edit& edit = track.edits[i];
    if (edit.start == kNothing) {
      const bool isEnd =
          std::all_of(track.edits.begin() + static_cast<std::ptrdiff_t>(i), track.edits.end(),
                      [](const Edit& other) { return other.start == kNothing; });
      return isEnd ? std::optional(length) : std::nullopt;
    }
    const Seconds gap = InSeconds(static_cast<Seconds>(edit.start), track.scale) - begin - length;
    const bool isOpen = edit.length == 0 && track.edits.size() > at + 1;
    if (edit.start < 0 || edit.rate != kNormalRate || isOpen || gap > tick || -gap > tick)
      return std::nullopt;
    length += InSeconds(static_cast<Seconds>(edit.length), file.Scale());
  }
  return length;
}

}  // namespace

Showing ShowingOf(const SampleFile& file, const TrackView& track) {
  Showing showing;
  std::size_t at = 0;
  while (at < track.edits.size() && track.edits[at].start == kNothing)
    showing.delay += InSeconds(static_cast<Seconds>(track.edits[at++].length), file.Scale());
  if (at == track.edits.size()) {
    showing.inARow = track.edits.empty();
    return showing;
  }
  const Edit& edit = track.edits[at];
  const auto length = LengthFrom(file, track, at);
  showing.inARow = length.has_value();
  showing.begin = InSeconds(static_cast<Seconds>(edit.start), track.scale);
  showing.length = length.value_or(0);
  // In a file of fragments nobody knew how much there would be.
  showing.toEnd = edit.length == 0;
  return showing;
}

// Sums wrap where a file has them wrap; they are compared with what wraps alike.
void TrackClock::Add(Number count, long long step, long long offset) {
  if (count == 0) return;
  const auto decode = static_cast<Number>(decode_);
  const auto shown = static_cast<long long>(decode + static_cast<Number>(offset));
  const Number last = (count - 1) * static_cast<Number>(step);
  const auto lastShown = static_cast<long long>(static_cast<Number>(shown) + last);
  const auto lastEnd =
      static_cast<long long>(static_cast<Number>(lastShown) + static_cast<Number>(step));
  if (!any_ || shown < first_) firstStep_ = step;
  first_ = any_ ? std::min(first_, shown) : shown;
  last_ = any_ ? std::max(last_, lastShown) : lastShown;
  end_ = any_ ? std::max(end_, lastEnd) : lastEnd;
  longest_ = std::max(longest_, step);
  leastOffset_ = any_ ? std::min(leastOffset_, offset) : offset;
  greatestOffset_ = any_ ? std::max(greatestOffset_, offset) : offset;
  step_ = step;
  any_ = true;
  decode_ = static_cast<long long>(decode + count * static_cast<Number>(step));
}

void TrackClock::Append(const TrackClock& later) {
  if (!later.any_) return;
  if (!any_ || later.first_ < first_) {
    first_ = later.first_;
    firstStep_ = later.firstStep_;
  }
  last_ = any_ ? std::max(last_, later.last_) : later.last_;
  end_ = any_ ? std::max(end_, later.end_) : later.end_;
  longest_ = std::max(longest_, later.longest_);
  leastOffset_ = any_ ? std::min(leastOffset_, later.leastOffset_) : later.leastOffset_;
  greatestOffset_ = any_ ? std::max(greatestOffset_, later.greatestOffset_) : later.greatestOffset_;
  step_ = later.step_;
  any_ = true;
  decode_ = later.decode_;
}

}  // namespace clipchain::samples
