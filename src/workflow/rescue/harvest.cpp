#include "workflow/rescue/harvest.h"

namespace clipchain::rescue {

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

void Harvest::AddUnknown(std::uint64_t begin, std::uint64_t end) {
  if (begin < end) unknown.push_back({begin, end});
}

}  // namespace clipchain::rescue
