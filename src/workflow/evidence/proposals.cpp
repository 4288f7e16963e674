#include "workflow/proposals.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "clip/mp4_util.h"
#include "foundation/guid.h"
#include "workflow/evidence/clip_traits.h"
#include "workflow/evidence/recordings.h"

namespace clipchain {

namespace {

constexpr std::string_view kGrades[] = {"possible", "likely", "certain"};
constexpr std::string_view kKinds[] = {"description", "timecode", "clock",       "split",
                                       "numbers",     "identity", "media_clock", "file_times"};

// How often an identifier comes: one that comes twice is of copies, or of clips that contradict
// each other.
std::map<std::string, std::size_t> IdentifiersOf(const ScanReport& scan) {
  std::map<std::string, std::size_t> counts;
  for (const SequenceReport& sequence : scan.sequences) {
    for (const SequenceClip& clip : sequence.clips) ++counts[QUIRVA::GuidText(clip.id)];
  }
  return counts;
}

// The sequences that identifiers do not decide.
std::vector<std::size_t> UndecidedOf(const ScanReport& scan) {
  const std::map<std::string, std::size_t> identifiers = IdentifiersOf(scan);
  std::vector<std::size_t> undecided;
  for (std::size_t i = 0; i < scan.sequences.size(); ++i) {
    const SequenceReport& sequence = scan.sequences[i];
    if (sequence.clips.empty()) continue;
    const bool isWhole = sequence.closedAtHead && sequence.closedAtTail;
    const bool isClear =
        std::all_of(sequence.clips.begin(), sequence.clips.end(), [&](const SequenceClip& clip) {
          return clip.id != _GUID{} && identifiers.at(QUIRVA::GuidText(clip.id)) == 1;
        });
    const bool isPlain = !IsIdentified(sequence) && sequence.clips.size() == 1 && isWhole;
    if (isPlain || (isClear && !isWhole)) undecided.push_back(i);
  }
  return undecided;
}

std::optional<EvidenceUnit> UnitOf(const SequenceReport& sequence) {
  EvidenceUnit unit;
  unit.identified = IsIdentified(sequence);
  if (unit.identified) {
    unit.openAtHead = !sequence.closedAtHead;
    unit.openAtTail = !sequence.closedAtTail;
  }
  // Others may join a sequence at its two ends only.
  std::vector<const SequenceClip*> ends{&sequence.clips.front()};
  if (sequence.clips.size() > 1) ends.push_back(&sequence.clips.back());
  for (const SequenceClip* clip : ends) {
    auto traits = ReadClipTraits(clip->path, clip->volume);
    if (!traits) return std::nullopt;
    unit.ends.push_back(std::move(*traits));
  }
  return unit;
}

std::uint64_t TimeOf(const Proposal& proposal) {
  // Without a date they come last.
  if (!proposal.date) return ~std::uint64_t{0};
  const MP4G::_tagSequenceTimedate& date = *proposal.date;
  return MP4G::CMp4Util::CalcurateTimeFromEra(date.year, date.month, date.day, date.hour,
                                              date.minute, date.second);
}

Proposal ProposalOf(const ScanReport& scan, const std::vector<std::size_t>& sequences,
                    ProposedChain chain) {
  Proposal proposal;
  proposal.grade = chain.grade;
  proposal.complete = chain.complete;
  proposal.evidence = std::move(chain.evidence);
  for (const std::size_t unit : chain.units) {
    proposal.sequences.push_back(sequences[unit]);
    for (const SequenceClip& clip : scan.sequences[sequences[unit]].clips)
      proposal.clips.push_back(clip.path);
  }
  proposal.date = scan.sequences[proposal.sequences.front()].date;
  return proposal;
}

}  // namespace

std::string_view GradeName(Grade grade) { return kGrades[static_cast<std::size_t>(grade)]; }

std::optional<Grade> GradeOfName(std::string_view name) {
  const auto found = std::find(std::begin(kGrades), std::end(kGrades), name);
  if (found == std::end(kGrades)) return std::nullopt;
  return static_cast<Grade>(found - std::begin(kGrades));
}

std::string_view EvidenceName(EvidenceKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::vector<Proposal> Propose(const ScanReport& scan, const ProposeOptions& options) {
  const std::vector<std::size_t> undecided = UndecidedOf(scan);
  std::vector<EvidenceUnit> units;
  // Of the units.
  std::vector<std::size_t> sequences;
  for (std::size_t i = 0; i < undecided.size(); ++i) {
    if (options.progress && !options.progress({Step::Phase::kLooking, i, 0, 0, undecided.size()}))
      return {};
    if (auto unit = UnitOf(scan.sequences[undecided[i]])) {
      units.push_back(std::move(*unit));
      sequences.push_back(undecided[i]);
    }
  }
  std::vector<Proposal> proposals;
  for (ProposedChain& chain : ProposeChains(units))
    proposals.push_back(ProposalOf(scan, sequences, std::move(chain)));
  std::stable_sort(proposals.begin(), proposals.end(), [](const Proposal& a, const Proposal& b) {
    return std::tuple(TimeOf(a), a.clips.front()) < std::tuple(TimeOf(b), b.clips.front());
  });
  return proposals;
}

}  // namespace clipchain
