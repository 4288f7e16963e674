#include "workflow/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "foundation/guid.h"
#include "workflow/joining/name_outputs.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// As text.
using Identifier = std::string;

bool IsIdentified(const SequenceClip& clip) { return clip.id != _GUID{}; }

// Tells which sequences can be merged for what they are, and which repeat or contradict others.
class ClipCensus {
 public:
  explicit ClipCensus(const std::vector<SequenceReport>& sequences) {
    for (const SequenceReport& sequence : sequences) {
      for (const SequenceClip& clip : sequence.clips) Register(clip);
    }
  }

  // To be asked for the sequences in the order in which they are worth keeping. Why the sequence is
  // left out is added to `findings`.
  LeftOut Judge(const SequenceReport& sequence, Findings& findings) {
    std::map<Identifier, const SequenceClip*> own;
    std::size_t copies = 0;
    for (const SequenceClip& clip : sequence.clips) {
      if (!IsIdentified(clip)) {
        // By itself it claims nothing that another clip could deny.
        if (sequence.clips.size() == 1) continue;
        findings.push_back(Contradiction(clip, "has neighbours, but no identifier of its own"));
        return LeftOut::kContradiction;
      }
      const Identifier id = QUIRVA::GuidText(clip.id);
      if (!own.try_emplace(id, &clip).second) {
        findings.push_back(Contradiction(clip, "has an identifier that comes twice in its chain"));
        return LeftOut::kContradiction;
      }
      // Two files that claim to be one clip and differ: nobody can say which is right, so neither
      // is used.
      if (const auto rival = rivals_.find(id); rival != rivals_.end()) {
        findings.push_back(Rivalry(*firstOf_[id], *rival->second));
        return LeftOut::kContradiction;
      }
      if (kept_.count(id) != 0) ++copies;
    }
    if (copies == 0) {
      kept_.merge(own);
      return LeftOut::kNo;
    }
    const SequenceClip& clip = sequence.clips.front();
    // Part of it is joined elsewhere already: to join the rest would make a recording that never
    // was.
    if (copies < sequence.clips.size()) {
      findings.push_back(Contradiction(clip, "belongs to a chain that shares clips with another"));
      return LeftOut::kContradiction;
    }
    findings.push_back(MakeFinding(Message::kClipsCopied, clip.path, CopyWords(sequence)));
    return LeftOut::kCopy;
  }

 private:
  void Register(const SequenceClip& clip) {
    if (!IsIdentified(clip)) return;
    const Identifier id = QUIRVA::GuidText(clip.id);
    const SequenceClip* first = firstOf_.try_emplace(id, &clip).first->second;
    // To compare the bytes of copies would take as long as to join them, and whether they hold what
    // the result does is for a proof to find out before anything is erased.
    if (first->size != clip.size) rivals_.try_emplace(id, &clip);
  }

  static Finding Contradiction(const SequenceClip& clip, const std::string& text) {
    return MakeFinding(
        Message::kClipsContradict, clip.path, text,
        "look at the clips with \"clipchain info\", and merge those that belong together "
        "with \"clipchain merge\"");
  }

  static Finding Rivalry(const SequenceClip& first, const SequenceClip& second) {
    return MakeFinding(
        Message::kClipsContradict, second.path,
        fmt::format("says that it is the same clip as {}, but has {} bytes where that has {}",
                    PrintablePath(first.path), second.size, first.size),
        "move the file that is not the clip to a folder of its own, and join again without that");
  }

  std::string CopyWords(const SequenceReport& sequence) {
    const std::string& first = kept_.at(QUIRVA::GuidText(sequence.clips.front().id))->path;
    if (sequence.clips.size() == 1) return fmt::format("is a copy of {}", PrintablePath(first));
    return fmt::format("begins a chain of copies: {} and what follows there", PrintablePath(first));
  }

  std::map<Identifier, const SequenceClip*> firstOf_;
  // The first one that differs.
  std::map<Identifier, const SequenceClip*> rivals_;
  // Those that have their place in a sequence that is not left out.
  std::map<Identifier, const SequenceClip*> kept_;
};

// The sequences in the order in which they are worth keeping: complete ones, then long ones. What
// is judged first has its clips; chains of the same clips that are judged later are the copies.
std::vector<std::size_t> ByWorth(const std::vector<SequenceReport>& sequences) {
  std::vector<std::size_t> order(sequences.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const auto worth = [&](std::size_t i) {
      const SequenceReport& sequence = sequences[i];
      return std::pair(sequence.closedAtHead && sequence.closedAtTail, sequence.clips.size());
    };
    return worth(a) > worth(b);
  });
  return order;
}

void SayWhatIsOpen(Job& job, bool merged) {
  const std::string remedy =
      "add the folder or card that has the missing clip; --incomplete joins what there is";
  const auto say = [&](const std::string& path, const char* text) {
    Finding finding = MakeFinding(Message::kSequenceIncomplete, path, text, merged ? "" : remedy);
    // Who joins what there is knows that something is not, and has nothing to do about it.
    if (merged) finding.severity = Severity::kNote;
    job.findings.push_back(finding);
  };
  if (!job.closedAtHead) say(job.inputs.front(), "continues a clip that is missing");
  if (!job.closedAtTail) say(job.inputs.back(), "is continued by a clip that is missing");
}

Job JobOf(const SequenceReport& sequence) {
  Job job;
  job.date = sequence.date;
  job.closedAtHead = sequence.closedAtHead;
  job.closedAtTail = sequence.closedAtTail;
  job.identified = IsIdentified(sequence);
  for (const SequenceClip& clip : sequence.clips) {
    job.inputs.push_back(clip.path);
    job.size += clip.size;
  }
  return job;
}

// What becomes of a sequence that neither repeats nor contradicts another one.
void Decide(const SequenceReport& sequence, const PlanOptions& options, Job& job) {
  if (!job.closedAtHead || !job.closedAtTail) {
    if (!options.incomplete) job.leftOut = LeftOut::kIncomplete;
    SayWhatIsOpen(job, options.incomplete);
    return;
  }
  if (sequence.clips.size() > 1) return;
  if (!options.all) job.leftOut = LeftOut::kSingle;
}

}  // namespace

std::string_view LeftOutName(LeftOut leftOut) {
  constexpr std::string_view kNames[] = {"", "single", "incomplete", "copy", "contradiction"};
  return kNames[static_cast<std::size_t>(leftOut)];
}

JoinPlan Plan(const ScanReport& scan, const PlanOptions& options) {
  JoinPlan plan;
  for (const SequenceReport& sequence : scan.sequences) plan.jobs.push_back(JobOf(sequence));
  ClipCensus census(scan.sequences);
  for (const std::size_t i : ByWorth(scan.sequences)) {
    plan.jobs[i].leftOut = census.Judge(scan.sequences[i], plan.jobs[i].findings);
  }
  for (std::size_t i = 0; i < plan.jobs.size(); ++i) {
    if (plan.jobs[i].leftOut == LeftOut::kNo) Decide(scan.sequences[i], options, plan.jobs[i]);
  }
  NameOutputs(scan.sequences, options.folder, plan.jobs);
  return plan;
}

bool LeavesOut(const JoinPlan& plan) {
  const auto counts = [](const Job& job) {
    return job.leftOut == LeftOut::kIncomplete || job.leftOut == LeftOut::kContradiction;
  };
  return std::any_of(plan.jobs.begin(), plan.jobs.end(), counts) ||
         std::any_of(plan.findings.begin(), plan.findings.end(),
                     [](const Finding& finding) { return finding.severity >= Severity::kWarning; });
}

}  // namespace clipchain
