// Plans what is done with the recordings of a card: which ones become a file, under which name, and
// why the others do not.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clip/vireo_mp4.h"
#include "foundation/export.h"
#include "workflow/clip_search.h"
#include "workflow/finding.h"
#include "workflow/progress.h"
#include "workflow/proposals.h"
#include "workflow/sequence_scan.h"

namespace clipchain {

enum class LeftOut {
  // It is merged.
  kNo,
  // A whole recording of one clip, which needs no merge.
  kSingle,
  // A clip is missing at an end.
  kIncomplete,
  // All of its clips are there a second time, in another sequence.
  kCopy,
  // Its clips contradict each other, or other clips, about what they are.
  kContradiction
};

// The name by which programs know it: "single", "incomplete", "copy", "contradiction"; empty for
// what is not left out.
CLIPCHAIN_API std::string_view LeftOutName(LeftOut leftOut);

// A result of an earlier join that holds a part of a recording.
struct EarlierJoin {
  std::string path;
  // Which inputs of the job are in it: `count` from `first` on.
  std::size_t first;
  std::size_t count;
};

// One sequence.
struct Job {
  // In the order of recording.
  std::vector<std::string> inputs;
  // What its merge writes, or would write.
  std::string output;
  // Of the first clip.
  std::optional<MP4G::_tagSequenceTimedate> date;
  // Nothing is missing in front.
  bool closedAtHead = true;
  // Nothing is missing behind.
  bool closedAtTail = true;
  // Identifiers tell what its clips belong to.
  bool identified = true;
  // Of the inputs together, in bytes.
  long long size = 0;
  LeftOut leftOut = LeftOut::kNo;
  // In the folder of the results.
  std::vector<EarlierJoin> earlier;
  // What is special about it, above all why it is left out.
  Findings findings;
  // Of clips that evidence puts together and somebody accepted: how sure that is.
  std::optional<Grade> accepted{};
  // Of those: the sentences of what agrees.
  std::string evidence{};
};

struct PlanOptions {
  // Where the results go.
  std::string folder;
  // Whole recordings of one clip, too.
  bool all = false;
  // Incomplete recordings, too, of one clip or more.
  bool incomplete = false;
  // Proposals of at least that grade become jobs; none of itself.
  std::optional<Grade> accept{};
  // Asked about each other proposal, whether it is accepted. May be empty.
  std::function<bool(const Proposal&)> ask{};
  // Told before each look at a clip, the count of which may begin anew once; false ends the work.
  Progress progress{};
};

// A proposal, and what becomes of it.
struct PlannedProposal {
  Proposal proposal;
  bool accepted = false;
  // Index of its job, where it is accepted.
  std::size_t job = 0;
};

struct JoinPlan {
  // One for each sequence or accepted proposal, in the order of the scan.
  std::vector<Job> jobs;
  std::vector<PlannedProposal> proposed;
  // What is about no sequence: files that could not be read or do not count.
  Findings findings;
  // By PlanOptions::progress: there are no jobs.
  bool stopped = false;
};

// Makes a job of each sequence. A sequence whose clips another one has too, by identifier and size,
// is a copy; the complete one of the two is merged, or the longer one. Where files of different
// sizes claim to be one clip, nobody knows which is the true one, and every sequence that holds one
// of them is left out. A clip that is registered without identifiers is a sequence of its own.
[[nodiscard]] CLIPCHAIN_API JoinPlan Plan(const ScanReport& scan, const PlanOptions& options);

// Makes one job out of those of the sequences of each proposal that the options accept. It has the
// name of its first sequence. The plan must be the one of the scan that was looked at.
CLIPCHAIN_API void PlanProposals(std::vector<Proposal> proposals, const PlanOptions& options,
                                 JoinPlan& plan);

// Both from files and folders. Each folder is a volume; options.folder is not searched where it
// lies in one of them, a file that is reached several times counts once, and earlier results that
// lie among the clips are passed over, for they carry the identifiers of their first clip.
[[nodiscard]] CLIPCHAIN_API JoinPlan PlanFor(const std::vector<std::string>& operands,
                                             const PlanOptions& options);

// Whether somebody should hear that not everything will be joined: something is left out that is
// neither a single clip nor a copy, or a file could not be read.
[[nodiscard]] CLIPCHAIN_API bool LeavesOut(const JoinPlan& plan);

}  // namespace clipchain
