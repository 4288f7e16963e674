// A plan from what lies in folders.
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

#include "workflow/checks/unreadable_clip.h"
#include "workflow/evidence/missing_end.h"
#include "workflow/findings/clip_words.h"
#include "workflow/joining/output_name.h"
#include "workflow/plan.h"
#include "workflow/rescue.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr const char* kRescueIt =
    "copy it again from the card, or let --rescue find what is left of it";
constexpr const char* kCheckName = "check the name and the permissions";

// Takes out what leads to a file that is there already: a folder inside of another one that was
// named too, links of either kind.
void DropRepeats(FoundClips& found, Findings& findings) {
  std::map<std::pair<dev_t, ino_t>, std::string> seen;
  for (Volume& volume : found.volumes) {
    const auto repeats = [&](const std::string& path) {
      struct stat status;
      if (::stat(path.c_str(), &status) != 0) return false;
      const auto [first, isNew] = seen.try_emplace({status.st_dev, status.st_ino}, path);
      if (isNew) return false;
      findings.push_back(
          MakeFinding(Message::kClipNamedTwice, path,
                      fmt::format("is the same file as {}", PrintablePath(first->second))));
      return true;
    };
    volume.clips.erase(std::remove_if(volume.clips.begin(), volume.clips.end(), repeats),
                       volume.clips.end());
  }
}

// What a file must show to be the result of a join that began with a clip: the name that such a
// result gets, and the clip's identifier and date.
std::string Mark(const std::string& name, const SequenceClip& clip) {
  return fmt::format("{}/{}/{}", name, GuidWords(clip.id), DateWords(clip.date));
}

// Results of earlier runs among the clips, by path, each with the clip that its join began with.
std::map<std::string, const SequenceClip*> EarlierResults(const ScanReport& scan) {
  std::vector<const SequenceClip*> clips;
  for (const SequenceReport& sequence : scan.sequences) {
    for (const SequenceClip& clip : sequence.clips) clips.push_back(&clip);
  }
  std::map<std::string, const SequenceClip*> sources;
  for (const SequenceClip* clip : clips)
    sources.emplace(Mark(OutputName(clip->date, clip->path), *clip), clip);
  std::map<std::string, const SequenceClip*> results;
  for (const SequenceClip* clip : clips) {
    const std::string name = std::filesystem::path(clip->path).filename().string();
    // With and without what a join puts behind the name: the mark of a part or of a rescue, a
    // count.
    for (const std::string& candidate :
         {name, WithoutCount(name), WithoutMark(name), WithoutMark(WithoutCount(name)),
          WithoutRescueMark(name), WithoutCount(WithoutRescueMark(name))}) {
      const auto source = sources.find(Mark(candidate, *clip));
      if (source != sources.end() && source->second != clip)
        results.emplace(clip->path, source->second);
    }
  }
  return results;
}

// Scans without the results of earlier runs.
ScanReport ScanClips(FoundClips& found, const PlanOptions& options, Findings& findings) {
  ScanOptions asking;
  asking.progress = options.progress;
  ScanReport scan = Scan(found.volumes, asking);
  const auto results = EarlierResults(scan);
  if (results.empty()) return scan;
  for (Volume& volume : found.volumes) {
    const auto isResult = [&](const std::string& path) {
      const auto result = results.find(path);
      if (result == results.end()) return false;
      findings.push_back(
          MakeFinding(Message::kResultAmongClips, path,
                      fmt::format("is the result of a join that began with {}, and no clip",
                                  PrintablePath(result->second->path))));
      return true;
    };
    volume.clips.erase(std::remove_if(volume.clips.begin(), volume.clips.end(), isResult),
                       volume.clips.end());
  }
  // Anew, without them: a result has the identifier of its first clip, and makes the clips that
  // were found beside it copies or contradictions.
  return Scan(found.volumes, asking);
}

// Once for all of them: a card of a camera that writes no identifiers has nothing else.
void SayWhatIsUnidentified(const std::vector<Job>& jobs, Findings& findings) {
  std::size_t count = 0;
  std::string first;
  for (const Job& job : jobs) {
    if (job.identified || job.accepted || job.leftOut == LeftOut::kIncomplete) continue;
    if (count++ == 0) first = job.inputs.front();
  }
  if (count == 0) return;
  findings.push_back(MakeFinding(
      Message::kClipUnidentified, first,
      count == 1 ? "has no identifiers, so that nothing tells which recording it belongs to"
                 : fmt::format("and {} more clip{} have no identifiers, so that nothing tells "
                               "which recordings they belong to",
                               count - 1, count == 2 ? "" : "s"),
      "if some belong together, name them all in their order to \"clipchain merge\""));
}

}  // namespace

JoinPlan PlanFor(const std::vector<std::string>& operands, const PlanOptions& options) {
  Findings findings;
  // Results in a folder of the card are no clips of it.
  FoundClips found = FindClips(operands, options.folder, options.progress);
  if (found.stopped) {
    JoinPlan plan;
    plan.stopped = true;
    return plan;
  }
  DropRepeats(found, findings);
  const ScanReport scan = ScanClips(found, options, findings);
  JoinPlan plan = Plan(scan, options);
  plan.stopped = scan.stopped;
  if (!scan.stopped) {
    ProposeOptions proposing;
    proposing.progress = options.progress;
    PlanProposals(Propose(scan, proposing), options, plan);
  }
  // Behind the proposals: clips of an accepted one have their recording.
  SayWhatIsUnidentified(plan.jobs, findings);
  plan.findings = std::move(findings);
  if (plan.jobs.empty() && !plan.stopped && scan.rejected.empty())
    plan.findings.push_back(MakeFinding(Message::kNoClips, operands.size() == 1 ? operands[0] : "",
                                        operands.size() == 1 ? "has no clips" : "no clip was found",
                                        "check the names; a card may not be mounted"));
  for (const UnreadablePath& path : found.unreadable)
    plan.findings.push_back(
        MakeFinding(Message::kInputUnreadable, path.path, path.reason, kCheckName));
  const MissingEnds ends(scan);
  for (const RejectedClip& clip : scan.rejected) {
    // The first finding says most; the others follow from it.
    Finding finding = WhyNoClip(clip.path, clip.result).front();
    if (NeedsRescue(clip.path)) finding.remedy = kRescueIt;
    if (const auto end = ends.Of(clip.path))
      finding.text +=
          fmt::format("; it is perhaps the missing end of the recording that begins with {}",
                      PrintablePath(scan.sequences[*end].clips.front().path));
    finding.result = clip.result;
    plan.findings.push_back(std::move(finding));
  }
  return plan;
}

}  // namespace clipchain
