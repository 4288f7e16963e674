#include "workflow/html_join.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_links.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

class JoinPage {
 public:
  JoinPage(const JoinPlan& plan, const JoinReport* report, const HtmlJoinOptions& options)
      : plan_(plan), report_(report), options_(options), links_(options.folder) {
    std::size_t number = 0;
    // Counted once: several parts of the page link to a recording by its number.
    for (const Job& job : plan.jobs) numbers_.push_back(IsRun(job) ? ++number : 0);
  }

  std::string Html() const {
    HtmlFrame frame;
    frame.title = report_ != nullptr ? "What was joined" : "What would be joined";
    frame.sums = Sums();
    frame.made = options_.made;
    std::vector<Proposal> open;
    for (const PlannedProposal& planned : plan_.proposed) {
      // What was accepted is among the recordings.
      if (!planned.accepted) open.push_back(planned.proposal);
    }
    frame.parts = {{"attention", "Needs attention"}, {"jobs", "Recordings"}};
    if (!open.empty()) frame.parts.emplace_back("proposals", "Proposed recordings");
    // One recording needs no search.
    frame.hasFilter = plan_.jobs.size() > 1;
    frame.body = HtmlAttentionSection(Attentions()) + Jobs() + HtmlProposals(open, links_);
    return HtmlPage(frame);
  }

 private:
  static bool IsRun(const Job& job) { return job.leftOut == LeftOut::kNo; }
  bool IsDone(std::size_t i) const {
    return report_ != nullptr && (report_->jobs[i].outcome == Outcome::kMerged ||
                                  report_->jobs[i].outcome == Outcome::kAlready);
  }
  const Findings& FindingsOf(std::size_t i) const {
    return report_ != nullptr ? report_->jobs[i].findings : plan_.jobs[i].findings;
  }

  std::string Sums() const {
    std::size_t clips = 0;
    std::size_t kept = 0;
    std::size_t results = 0;
    long long size = 0;
    for (std::size_t i = 0; i < plan_.jobs.size(); ++i) {
      const std::size_t count = plan_.jobs[i].inputs.size();
      clips += count;
      // Ahead of the join its plan is counted, afterwards what is there.
      const bool counts = report_ != nullptr ? IsDone(i) : IsRun(plan_.jobs[i]);
      if (!counts) continue;
      kept += count;
      ++results;
      size += report_ != nullptr ? report_->jobs[i].size : plan_.jobs[i].size;
    }
    const char* const what =
        report_ != nullptr ? "clips are kept in results" : "clips to be joined";
    return "<dl class=\"sums\">\n" + HtmlSum("results", std::to_string(results)) +
           HtmlSum(what, fmt::format("{} of {}", kept, clips)) +
           HtmlSum("size of the results", FormatBytes(size)) + "</dl>\n";
  }

  std::string FileWords(const std::string& path) const {
    return links_.Around(path, "<bdi class=\"path\">" + HtmlPath(path) + "</bdi>");
  }

  std::string FindingWords(const Finding& finding) const {
    std::string words = finding.path.empty() ? "" : FileWords(finding.path) + ' ';
    words += HtmlText(finding.text);
    if (!finding.remedy.empty()) words += "<br>" + HtmlText(finding.remedy);
    return words;
  }

  static const char* WhyLeftOut(const Job& job) {
    switch (job.leftOut) {
      case LeftOut::kSingle:
        return "a single clip, left alone";
      case LeftOut::kIncomplete:
        return "left out: a clip is missing";
      case LeftOut::kCopy:
        return "left out: a copy";
      case LeftOut::kContradiction:
        return "left out: its clips contradict each other";
      default:
        return "";
    }
  }

  std::string StatusOf(std::size_t i) const {
    const Job& job = plan_.jobs[i];
    if (!IsRun(job)) return WhyLeftOut(job);
    return report_ != nullptr ? std::string(OutcomeName(report_->jobs[i].outcome)) : "to be joined";
  }

  bool IsFailed(std::size_t i) const {
    return report_ != nullptr && IsRun(plan_.jobs[i]) && !IsDone(i);
  }

  std::string TitleOf(std::size_t i) const {
    const Job& job = plan_.jobs[i];
    if (IsRun(job)) return fmt::format("Recording {}", numbers_[i]);
    // What gets no result has no number in the plan either.
    const std::string name = std::filesystem::path(job.inputs.front()).filename().string();
    return "<bdi>" + HtmlPath(name) + "</bdi>" + (job.inputs.size() > 1 ? " …" : "");
  }
  std::string JobLink(std::size_t i) const {
    return fmt::format("<a href=\"#job-{}\">{}</a>", i + 1, TitleOf(i));
  }

  std::string Attentions() const {
    std::string html;
    for (std::size_t i = 0; i < plan_.jobs.size(); ++i) {
      if (IsFailed(i))
        html += HtmlAttention("failed", true, JobLink(i) + ": " + HtmlText(StatusOf(i)));
    }
    // Behind what failed: that is what somebody has to do something about.
    for (const Finding& finding : plan_.findings)
      html += HtmlAttention("finding", finding.severity >= Severity::kRisk, FindingWords(finding));
    for (std::size_t i = 0; i < plan_.jobs.size(); ++i) {
      const LeftOut leftOut = plan_.jobs[i].leftOut;
      if (leftOut == LeftOut::kIncomplete || leftOut == LeftOut::kContradiction)
        html += HtmlAttention("left-out", false, JobLink(i) + ": " + WhyLeftOut(plan_.jobs[i]));
    }
    return html;
  }

  // How the state looks.
  const char* LookOf(std::size_t i) const {
    if (IsFailed(i)) return " failed";
    if (IsDone(i)) return "";
    const LeftOut leftOut = plan_.jobs[i].leftOut;
    // What has all of its clips, or is one by itself, asks nobody to do anything.
    const bool isCalm =
        leftOut == LeftOut::kNo || leftOut == LeftOut::kSingle || leftOut == LeftOut::kCopy;
    return isCalm ? " unknown" : " open";
  }

  long long SizeOf(std::size_t i) const { return report_ != nullptr ? report_->jobs[i].size : 0; }

  // What the text says for people stands in attributes for programs and for the filter.
  std::string OpeningTag(std::size_t i) const {
    const Job& job = plan_.jobs[i];
    const bool isRun = IsRun(job);
    return fmt::format(
        "<article class=\"job panel\" id=\"job-{0}\" aria-labelledby=\"job-{0}-name\" "
        "data-number=\"{1}\" data-left-out=\"{2}\" data-outcome=\"{3}\" data-output=\"{4}\" "
        "data-size=\"{5}\">\n",
        i + 1, isRun ? std::to_string(numbers_[i]) : "", LeftOutName(job.leftOut),
        report_ != nullptr && isRun ? OutcomeName(report_->jobs[i].outcome) : "",
        isRun ? HtmlText(job.output) : "", SizeOf(i) > 0 ? std::to_string(SizeOf(i)) : "");
  }

  std::string HeadLine(std::size_t i) const {
    return fmt::format(
        "<div class=\"head-line\"><h3 id=\"job-{}-name\">{}</h3><p "
        "class=\"state{}\">{}</p></div>\n",
        i + 1, TitleOf(i), LookOf(i), HtmlText(StatusOf(i)));
  }

  static std::string Facts(const Job& job) {
    return fmt::format(
        "<p class=\"facts\"><span>{}</span> <span>{}</span> <span>{}</span> <span>{}</span></p>\n",
        DateWords(job.date), Counted(job.inputs.size(), "clip"), FormatBytes(job.size),
        StateWords(job.identified, job.closedAtHead, job.closedAtTail));
  }

  std::string ResultLine(std::size_t i) const {
    const Job& job = plan_.jobs[i];
    if (!IsRun(job)) return "";
    // No link to a file that is not there.
    const std::string file = IsDone(i) ? FileWords(job.output)
                                       : "<bdi class=\"path\">" + HtmlPath(job.output) + "</bdi>";
    return fmt::format("<p class=\"result\">{} {}{}</p>\n", IsDone(i) ? "in" : "into", file,
                       SizeOf(i) > 0 ? ", " + FormatBytes(SizeOf(i)) : "");
  }

  std::string JobItem(std::size_t i) const {
    const Job& job = plan_.jobs[i];
    std::string html = OpeningTag(i) + HeadLine(i) + Facts(job) + "<ol class=\"inputs\">\n";
    for (const std::string& input : job.inputs) html += "<li>" + FileWords(input) + "</li>\n";
    return html + "</ol>\n" + ResultLine(i) + FindingList(FindingsOf(i)) + "</article>\n";
  }

  std::string FindingList(const Findings& findings) const {
    if (findings.empty()) return "";
    std::string html = "<ul class=\"findings\">\n";
    for (const Finding& finding : findings)
      html += fmt::format("<li data-name=\"{}\" data-severity=\"{}\"><b>{}:</b> {}</li>\n",
                          MessageName(finding.message), SeverityName(finding.severity),
                          SeverityName(finding.severity), FindingWords(finding));
    return html + "</ul>\n";
  }

  std::string Jobs() const {
    std::string html;
    if (plan_.jobs.empty()) html += "<p class=\"note panel\">No clips</p>\n";
    html += fmt::format("<p class=\"lead\">Results go into {}.</p>\n",
                        links_.Around(options_.results, "<bdi class=\"path\">" +
                                                            HtmlPath(options_.results) + "</bdi>"));
    html += "<div class=\"list\" id=\"list\">\n";
    for (std::size_t i = 0; i < plan_.jobs.size(); ++i) html += JobItem(i);
    return HtmlSection("jobs", "Recordings", html + "</div>\n");
  }

  const JoinPlan& plan_;
  const JoinReport* report_;
  const HtmlJoinOptions& options_;
  const Links links_;
  // As in the table and in a plan's file: what is left out has none.
  std::vector<std::size_t> numbers_;
};

}  // namespace

std::string HtmlJoin(const JoinPlan& plan, const JoinReport* report,
                     const HtmlJoinOptions& options) {
  return JoinPage(plan, report, options).Html();
}

}  // namespace clipchain
