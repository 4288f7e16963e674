// Proposes recordings whose clips carry no identifiers, from what else the clips say.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"
#include "workflow/progress.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

// How sure a proposal is: as sure as the weakest link of its chain.
enum class Grade { kPossible, kLikely, kCertain };

// "possible", "likely", "certain".
CLIPCHAIN_API std::string_view GradeName(Grade grade);
CLIPCHAIN_API std::optional<Grade> GradeOfName(std::string_view name);

enum class EvidenceKind {
  // The clips fit each other.
  kDescription,
  // The next clip's first timecode follows the last one's end.
  kTimecode,
  // Creation times and durations run on.
  kClock,
  // Every clip but the last stops at a limit.
  kSplit,
  // A number in the names runs on.
  kNumbers,
  // The clips hold the same value where others hold another one.
  kIdentity,
  // Time stamps inside the media run on.
  kMediaClock,
  // The system's times of the files run on.
  kFileTimes
};

// "description", "timecode", "clock", "split", "numbers", "identity", "media_clock", "file_times".
CLIPCHAIN_API std::string_view EvidenceName(EvidenceKind kind);

struct Evidence {
  EvidenceKind kind = EvidenceKind::kDescription;
  // Nothing: it says nothing.
  std::optional<bool> agrees{};
  // A sentence without its full stop.
  std::string text{};
};

// Clips that were recorded in one go, as far as their evidence goes.
struct Proposal {
  Grade grade = Grade::kPossible;
  // Nothing shows that a clip is missing.
  bool complete = true;
  // At least two, in the order of recording.
  std::vector<std::string> clips;
  // One of each kind: of the weakest of the chain's links.
  std::vector<Evidence> evidence;
  // Of the first clip.
  std::optional<MP4G::_tagSequenceTimedate> date;
  // Those of the scan that it consists of, in its order.
  std::vector<std::size_t> sequences;
};

struct ProposeOptions {
  // Told before each look at a clip; where it ends the work, nothing is proposed.
  Progress progress{};
};

// Looks at the clips of a scan that identifiers do not decide: those without any, and the ends of
// sequences that are open. Reads their movie boxes and a few bytes of timecodes and time stamps. No
// clip stands in two proposals. In order of time; proposals without a date come last.
[[nodiscard]] CLIPCHAIN_API std::vector<Proposal> Propose(const ScanReport& scan,
                                                          const ProposeOptions& options = {});

}  // namespace clipchain
