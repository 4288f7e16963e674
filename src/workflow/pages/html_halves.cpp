#include "workflow/pages/html_halves.h"

#include <string>

#include "foundation/guid.h"

namespace clipchain {

namespace {

// Where a missing clip would stand.
struct Gap {
  std::size_t front = 0;
  std::size_t behind = 0;
  std::size_t fronts = 0;
  std::size_t behinds = 0;
};

}  // namespace

std::map<std::size_t, std::size_t> FindHalves(const ScanReport& report) {
  // By the identifier of the missing clip.
  std::map<std::string, Gap> gaps;
  for (std::size_t i = 0; i < report.sequences.size(); ++i) {
    const SequenceReport& sequence = report.sequences[i];
    // A copy would be a second front for one gap, and hide the pair.
    if (sequence.copyOf || sequence.clips.empty()) continue;
    const _GUID next = sequence.clips.back().nextID;
    const _GUID previous = sequence.clips.front().previousID;
    // A clip that says that none follows it has no gap behind it.
    if (!sequence.closedAtTail && next != _GUID{}) {
      Gap& gap = gaps[QUIRVA::GuidText(next)];
      gap.front = i;
      ++gap.fronts;
    }
    if (!sequence.closedAtHead && previous != _GUID{}) {
      Gap& gap = gaps[QUIRVA::GuidText(previous)];
      gap.behind = i;
      ++gap.behinds;
    }
  }
  std::map<std::size_t, std::size_t> halves;
  for (const auto& [missing, gap] : gaps) {
    // Where copies or clips that contradict each other name the same one, nobody can say which two
    // are the halves.
    if (gap.fronts == 1 && gap.behinds == 1 && gap.front != gap.behind)
      halves[gap.front] = gap.behind;
  }
  return halves;
}

}  // namespace clipchain
