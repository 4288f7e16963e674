#include "clipchain/output/join_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "clipchain/output/adaptation_output.h"
#include "clipchain/output/finding_output.h"
#include "clipchain/output/proposal_output.h"
#include "clipchain/output/table_cells.h"
#include "clipchain/terminal/progress_line.h"
#include "workflow/findings/clip_words.h"
#include "workflow/joining/plan_json.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// Says what the plan does with a recording.
std::string Intent(const Job& job) {
  switch (job.leftOut) {
    case LeftOut::kNo:
      return "-> " + PrintablePath(job.output);
    case LeftOut::kSingle:
      return "single clip, left alone";
    case LeftOut::kIncomplete:
      return "left out: incomplete";
    case LeftOut::kCopy:
      return "left out: a copy";
    default:
      return "left out: contradictory";
  }
}

// Findings as they stand below a row.
std::string Indented(const Findings& findings, const Paint& paint) {
  std::string text;
  bool lineStarts = true;
  for (const char c : FindingsText(findings, paint)) {
    if (lineStarts) text += "      ";
    lineStarts = c == '\n';
    text += c;
  }
  return text;
}

Colour ColourOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kMerged:
    case Outcome::kAlready:
      return Colour::kGood;
    case Outcome::kFailed:
      return Colour::kBad;
    default:
      return Colour::kWarning;
  }
}

// Jobs that are left out have no number, as in the plan's file.
std::string NumberOf(const Job& job, std::size_t& number) {
  return job.leftOut == LeftOut::kNo ? std::to_string(++number) : "-";
}

// Why a clip is none says more than one message; that there are none is about no clip.
std::size_t UnreadableClips(const JoinPlan& plan) {
  std::set<std::string_view> paths;
  for (const Finding& finding : plan.findings) {
    if (finding.severity == Severity::kRefusal && finding.message != Message::kNoClips)
      paths.insert(finding.path);
  }
  return paths.size();
}

// What the next grade would add: "--accept likely would join 2 recordings of 5 clips", and which
// of them are not complete. Empty if no proposal is left.
std::string MoreWords(const JoinPlan& plan) {
  for (const Grade grade : {Grade::kCertain, Grade::kLikely, Grade::kPossible}) {
    std::size_t recordings = 0;
    std::size_t incomplete = 0;
    std::size_t clips = 0;
    for (const PlannedProposal& planned : plan.proposed) {
      // What is accepted is joined already, and the lowest grade that adds anything is the next
      // step.
      if (planned.accepted || planned.proposal.grade != grade) continue;
      ++recordings;
      if (!planned.proposal.complete) ++incomplete;
      clips += planned.proposal.clips.size();
    }
    if (recordings == 0) continue;
    const bool isAll = incomplete == recordings;
    return fmt::format("--accept {}{} would join {} recording{} of {} clips{}\n", GradeName(grade),
                       isAll ? " --incomplete" : "", recordings, recordings == 1 ? "" : "s", clips,
                       isAll || incomplete == 0
                           ? ""
                           : fmt::format(", {} of them with --incomplete alone", incomplete));
  }
  return "";
}

// "2 merged, 1 failed"; what does not occur is not counted.
std::string CountText(const JoinPlan& plan, const JoinReport& report) {
  std::string text;
  const auto add = [&text](std::ptrdiff_t count, std::string_view what) {
    if (count != 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, what);
  };
  for (const Outcome outcome :
       {Outcome::kMerged, Outcome::kAlready, Outcome::kFailed, Outcome::kNotRun}) {
    add(std::count_if(report.jobs.begin(), report.jobs.end(),
                      [outcome](const JobReport& job) { return job.outcome == outcome; }),
        OutcomeName(outcome));
  }
  const auto addLeftOut = [&](LeftOut leftOut, std::string_view what) {
    add(std::count_if(plan.jobs.begin(), plan.jobs.end(),
                      [leftOut](const Job& job) { return job.leftOut == leftOut; }),
        what);
  };
  addLeftOut(LeftOut::kSingle, "single left alone");
  addLeftOut(LeftOut::kIncomplete, "incomplete left out");
  addLeftOut(LeftOut::kContradiction, "contradictory left out");
  const auto isCopy = [](const Job& job) { return job.leftOut == LeftOut::kCopy; };
  const auto copies = std::count_if(plan.jobs.begin(), plan.jobs.end(), isCopy);
  add(copies, copies == 1 ? "copy left out" : "copies left out");
  // A last line without words would read as if the tool had failed.
  return text.empty() ? "nothing to join" : text;
}

std::string_view WhyNotKept(const Job& job, const JobReport& report) {
  if (report.outcome == Outcome::kFailed) return "of recordings that failed";
  if (report.outcome == Outcome::kNotRun) return "of recordings that were not reached";
  switch (job.leftOut) {
    case LeftOut::kSingle:
      return !job.identified ? "without identifiers" : "single (--all takes it along)";
    case LeftOut::kIncomplete:
      return "of incomplete recordings (--incomplete joins what there is)";
    case LeftOut::kCopy:
      return "equal to another clip";
    default:
      return "contradictory";
  }
}

// "12 of 15 clips are in DIR; 3 are not: 1 single (--all takes it along), 2 without identifiers".
std::string KeptText(const JoinPlan& plan, const JoinReport& report, const std::string& folder) {
  std::size_t clips = 0;
  std::size_t kept = 0;
  // By why, and in one order each time, so that two runs can be compared.
  std::map<std::string_view, std::size_t> others;
  for (std::size_t i = 0; i < plan.jobs.size(); ++i) {
    const Outcome outcome = report.jobs[i].outcome;
    const std::size_t count = plan.jobs[i].inputs.size();
    clips += count;
    if (outcome == Outcome::kMerged || outcome == Outcome::kAlready) {
      kept += count;
    } else {
      others[WhyNotKept(plan.jobs[i], report.jobs[i])] += count;
    }
  }
  const std::size_t unreadable = UnreadableClips(plan);
  // A clip that can't be read is on the card like all others: whoever erases it would lose it.
  clips += unreadable;
  if (unreadable != 0) others["that can't be read"] += unreadable;
  std::string text = fmt::format("{} of {} {} in {}", kept, clips,
                                 clips == 1 ? "clip is" : "clips are", PrintablePath(folder));
  if (others.empty()) return text;
  text += fmt::format("; {} {} not: ", clips - kept, clips - kept == 1 ? "is" : "are");
  std::string_view separator;
  for (const auto& [why, count] : others) {
    text += fmt::format("{}{} {}", separator, count, why);
    separator = ", ";
  }
  return text;
}

Json ReportJson(const Job& job, const JobReport* report, std::size_t& number) {
  Json object;
  object["number"] = job.leftOut == LeftOut::kNo ? Json(++number) : Json();
  object["left_out"] = job.leftOut == LeftOut::kNo ? Json() : Json(LeftOutName(job.leftOut));
  object.update(JobJson(job));
  object["outcome"] = report != nullptr ? Json(OutcomeName(report->outcome)) : Json();
  object["shared"] = report != nullptr ? Json(report->shared) : Json();
  object["output_size"] = report != nullptr && report->size > 0 ? Json(report->size) : Json();
  object["seconds"] = report != nullptr ? Json(report->seconds) : Json();
  object["adaptations"] =
      AdaptationsJson(report != nullptr ? report->adaptations : std::vector<Adapted>());
  object["findings"] = FindingsJson(report != nullptr ? report->findings : job.findings);
  return object;
}

}  // namespace

std::string PlanTable(const JoinPlan& plan, const Paint& paint) {
  std::string text;
  if (plan.jobs.empty()) {
    text += "no clips\n";
  } else {
    text += fmt::format("{:>4}  {:19}  {:>5}  {:>9}  {:17}  {}\n", "no.", "date", "clips", "size",
                        "state", "plan");
  }
  std::size_t number = 0;
  for (const Job& job : plan.jobs) {
    text += fmt::format("{:>4}  {:19}  {:>5}  {:>9}  {}  {}\n", NumberOf(job, number),
                        DateWords(job.date), job.inputs.size(), FormatBytes(job.size),
                        StateCell(job.identified, job.closedAtHead, job.closedAtTail, paint),
                        Intent(job));
    for (const std::string& input : job.inputs)
      text += fmt::format("      {}\n", PrintablePath(input));
    text += Indented(job.findings, paint);
  }
  std::vector<Proposal> open;
  for (const PlannedProposal& planned : plan.proposed) {
    if (!planned.accepted) open.push_back(planned.proposal);
  }
  return text + ProposalsText(open, paint) + FindingsText(plan.findings, paint);
}

std::string JoinTable(const JoinPlan& plan, const JoinReport& report, const std::string& folder,
                      const Paint& paint) {
  std::string text;
  std::size_t number = 0;
  for (std::size_t i = 0; i < report.jobs.size(); ++i) {
    const JobReport& job = report.jobs[i];
    // Why it is left out stands in the table of the plan, which was printed before.
    if (job.outcome == Outcome::kLeftOut) continue;
    // Of a join that leaves all out there is no table, and hence no head of one.
    if (number == 0)
      text += fmt::format("\n{:>4}  {:13}  {:>9}  {}\n", "no.", "result", "size", "file");
    // Ahead of the colour: its escape sequences take no column, and padding would count them.
    const std::string outcome = fmt::format("{:13}", OutcomeName(job.outcome));
    text +=
        fmt::format("{:>4}  {}  {:>9}  {}\n", ++number, paint(ColourOf(job.outcome), outcome),
                    job.size > 0 ? FormatBytes(job.size) : "-", PrintablePath(plan.jobs[i].output));
    text += AdaptationsText(job.adaptations, "      adapted", plan.jobs[i].inputs.size());
    // What the plan had to say stands in its own table.
    const auto planned = static_cast<std::ptrdiff_t>(plan.jobs[i].findings.size());
    text += Indented({job.findings.begin() + planned, job.findings.end()}, paint);
  }
  return text + '\n' + CountText(plan, report) + '\n' + KeptText(plan, report, folder) + '\n' +
         MoreWords(plan);
}

std::string JoinJson(const JoinPlan& plan, const JoinReport* report) {
  Json document;
  document["jobs"] = Json::array();
  std::size_t number = 0;
  for (std::size_t i = 0; i < plan.jobs.size(); ++i) {
    document["jobs"].push_back(
        ReportJson(plan.jobs[i], report != nullptr ? &report->jobs[i] : nullptr, number));
  }
  document["proposed"] = Json::array();
  for (const PlannedProposal& planned : plan.proposed)
    document["proposed"].push_back(PlannedJson(planned));
  document["stopped"] = report != nullptr && report->stopped;
  document["findings"] = FindingsJson(plan.findings);
  return JsonText(document);
}

}  // namespace clipchain
