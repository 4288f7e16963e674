#include "workflow/rescue/harvest.h"

#include <numeric>

namespace clipchain::rescue {

void SampleSpan::Shorten(std::uint64_t most) {
  for (; count > most; --count) {
    bytes -= sizes.back();
    sizes.pop_back();
  }
}

void Harvest::Add(std::size_t track, std::uint64_t position, const SampleSpan& span) {
  if (span.count == 0) return;
  TrackHarvest& of = tracks[track];
  of.samples += span.count;
  of.bytes += span.bytes;
  of.sizes.insert(of.sizes.end(), span.sizes.begin(), span.sizes.end());
  if (!runs.empty()) {
    SampleRun& last = runs.back();
    if (last.track == track && last.position + last.bytes == position) {
      last.bytes += span.bytes;
      last.samples += span.count;
      return;
    }
  }
  runs.push_back({track, position, span.bytes, span.count});
}

std::uint64_t Harvest::PlaceOf(std::size_t track, std::uint64_t sample) const {
  const TrackHarvest& of = tracks[track];
  std::uint64_t first = of.samples;
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    if (run->track != track) continue;
    first -= run->samples;
    if (first > sample) continue;
    if (of.sizes.empty()) return run->position + run->bytes / run->samples * (sample - first);
    const auto begin = of.sizes.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = of.sizes.begin() + static_cast<std::ptrdiff_t>(sample);
    return std::accumulate(begin, end, run->position);
  }
  return 0;
}

void Harvest::DropFrom(std::uint64_t position) {
  while (!runs.empty() && runs.back().position + runs.back().bytes > position) {
    SampleRun& run = runs.back();
    TrackHarvest& of = tracks[run.track];
    const std::uint64_t size =
        of.sizes.empty() ? run.bytes / run.samples : std::uint64_t{of.sizes.back()};
    // A sample that begins in front of it stays.
    if (run.position + run.bytes - size < position) return;
    run.bytes -= size;
    of.bytes -= size;
    --of.samples;
    if (!of.sizes.empty()) of.sizes.pop_back();
    if (!of.pictures.empty()) of.pictures.pop_back();
    if (--run.samples == 0) runs.pop_back();
  }
}

void Harvest::AddUnknown(std::uint64_t begin, std::uint64_t end) {
  if (begin < end) unknown.push_back({begin, end});
}

}  // namespace clipchain::rescue
