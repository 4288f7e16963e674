#include "workflow/merging/shown_times.h"

#include <algorithm>

namespace clipchain::samples {

namespace {

constexpr std::uint32_t kNormalRate = 0x10000;

// A scale of 0 makes no sense; nothing is found by dividing by it.
Seconds InSeconds(Seconds ticks, Number scale) {
  return ticks / static_cast<Seconds>(std::max<Number>(scale, 1));
}

}  // namespace

Showing ShowingOf(const SampleFile& file, const TrackView& track) {
  Showing showing;
  std::size_t at = 0;
  while (at < track.edits.size() && track.edits[at].start == -1)
    showing.delay += InSeconds(static_cast<Seconds>(track.edits[at++].length), file.Scale());
  if (at == track.edits.size()) {
    showing.inARow = track.edits.empty();
    return showing;
  }
  const Edit& edit = track.edits[at];
  showing.inARow = at + 1 == track.edits.size() && edit.start >= 0 && edit.rate == kNormalRate;
  showing.begin = InSeconds(static_cast<Seconds>(edit.start), track.scale);
  showing.length = InSeconds(static_cast<Seconds>(edit.length), file.Scale());
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
  end_ = any_ ? std::max(end_, lastEnd) : lastEnd;
  leastOffset_ = any_ ? std::min(leastOffset_, offset) : offset;
  greatestOffset_ = any_ ? std::max(greatestOffset_, offset) : offset;
  step_ = step;
  any_ = true;
  decode_ = static_cast<long long>(decode + count * static_cast<Number>(step));
}

}  // namespace clipchain::samples
