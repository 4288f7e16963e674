#include "clipchain/commands/page_option.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include "clipchain/output/finding_output.h"
#include "clipchain/tool.h"
#include "workflow/html_report.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/system/files.h"
#include "workflow/system/text_file.h"

namespace clipchain {

Reason WhyNoPage(const std::string& path, bool overwrite, const FoundClips& found) {
  for (const Volume& volume : found.volumes) {
    for (const std::string& clip : volume.clips) {
      if (IsSameFile(path, clip)) return "is the same file as the clip " + PrintablePath(clip);
    }
  }
  // A clip or a letter that was named by mistake is not to be lost for a page.
  if (overwrite && Exists(path) && !IsHtmlReport(path))
    return "is no page of clips, and is not replaced";
  return WhyNoTextFile(path, overwrite);
}

Reason WhyNoPage(const std::string& path, const JoinPlan& plan) {
  for (const Job& job : plan.jobs) {
    const auto isPage = [&path](const std::string& other) { return IsSameFile(path, other); };
    if (std::any_of(job.inputs.begin(), job.inputs.end(), isPage)) return "is one of the clips";
    const auto place = [](const std::string& file) {
      // Neither of the two need be there yet, so that no number of a file could tell that they are
      // one.
      return std::filesystem::absolute(file).lexically_normal();
    };
    if (job.leftOut == LeftOut::kNo && (isPage(job.output) || place(path) == place(job.output)))
      return "is the name of a result";
  }
  return WhyNoTextFile(path, false);
}

int FailPage(const std::string& path, const std::string& why) {
  std::fputs(fmt::format("clipchain: {} {}\n", PrintablePath(path), why).c_str(), stderr);
  return kFailed;
}

int WritePage(const std::string& path, const std::string& text, bool overwrite) {
  const Findings leftovers = LookForLeftovers(path, nullptr, "remove it");
  std::fputs(FindingsText(leftovers, Paint(stderr)).c_str(), stderr);
  const Reason why = WriteTextFile(path, text, overwrite);
  return why ? FailPage(path, *why) : kDone;
}

std::string MadeWords() {
  const std::time_t now = std::time(nullptr);
  std::tm time{};
  // A page without a moment is better than one with a wrong one.
  if (::localtime_r(&now, &time) == nullptr) return "";
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", time.tm_year + 1900, time.tm_mon + 1,
                     time.tm_mday, time.tm_hour, time.tm_min);
}

}  // namespace clipchain
