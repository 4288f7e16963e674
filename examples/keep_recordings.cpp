// Puts whole recordings in safety, as `clipchain join` does, with every step in the open:
//
//   keep_recordings [--page FILE] FOLDER CARD...
//
// finds the clips of the cards, tells which form a recording, checks each complete recording of
// more than one clip, and merges it into a file in FOLDER, which is there only when it is complete,
// compared with its clips and on the disk. Existing files stay. --page: also a page to look at.
#include <clipchain/workflow/check.h>
#include <clipchain/workflow/html_report.h>
#include <clipchain/workflow/plan.h>
#include <clipchain/workflow/safe_merge.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

void Print(const clipchain::Findings& findings) {
  for (const clipchain::Finding& finding : findings) {
    std::printf("  %s: %s %s (%s)\n",
                std::string(clipchain::SeverityName(finding.severity)).c_str(),
                finding.path.c_str(), finding.text.c_str(),
                std::string(clipchain::MessageName(finding.message)).c_str());
    if (!finding.remedy.empty()) std::printf("    %s\n", finding.remedy.c_str());
  }
}

// Nothing is written yet; what a merge would be refused for is known here.
bool MayMerge(const clipchain::Job& job) {
  clipchain::CheckOptions options;
  options.output = job.output;
  const clipchain::CheckReport report = clipchain::Check(job.inputs, options);
  Print(report.findings);
  if (!report.seams.empty())
    std::printf("  sound and picture end %.3f ms apart\n", report.seams.back().milliseconds);
  return !clipchain::HoldsUp(report.findings, false);
}

bool Merge(const clipchain::Job& job) {
  clipchain::SafeMergeOptions options;
  options.check.output = job.output;
  options.verification = clipchain::Verification::kFull;
  options.check.progress = [](const clipchain::Step& step) {
    if (step.total > 0) std::printf("\r%3lld %%", step.current * 100 / step.total);
    return true;  // false would end the merge and leave nothing
  };
  const clipchain::SafeMergeReport report = clipchain::SafeMerge(job.inputs, options);
  std::printf("\r     \r");
  Print(report.findings);
  return report.done;
}

bool WritePage(const std::string& path, const clipchain::FoundClips& found) {
  clipchain::ScanOptions options;
  options.cards = true;  // durations and thumbnails
  std::ofstream page(path, std::ios::binary);
  page << clipchain::HtmlReport(found, clipchain::Scan(found.volumes, options), {options, {}, {}});
  return static_cast<bool>(page.flush());
}

int Keep(const clipchain::JoinPlan& plan) {
  int failures = 0;
  Print(plan.findings);
  for (const clipchain::Job& job : plan.jobs) {
    std::printf("%s\n", job.output.c_str());
    Print(job.findings);
    if (job.leftOut != clipchain::LeftOut::kNo) {
      std::printf("  left out: %s\n", std::string(clipchain::LeftOutName(job.leftOut)).c_str());
    } else if (MayMerge(job) && Merge(job)) {
      std::printf("  done, from %zu clips\n", job.inputs.size());
    } else {
      ++failures;
    }
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  std::string page;
  if (arguments.size() > 1 && arguments[0] == "--page") {
    page = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (arguments.size() < 2) {
    std::fputs("usage: keep_recordings [--page FILE] FOLDER CARD...\n", stderr);
    return 2;
  }
  clipchain::PlanOptions options;
  options.folder = arguments[0];
  arguments.erase(arguments.begin());
  if (!page.empty() && !WritePage(page, clipchain::FindClips(arguments))) return 1;
  return Keep(clipchain::PlanFor(arguments, options));
}
