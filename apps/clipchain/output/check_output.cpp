#include "clipchain/output/check_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "clipchain/output/adaptation_output.h"
#include "clipchain/output/finding_output.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

std::size_t CountOf(const Findings& findings, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [severity](const Finding& f) { return f.severity == severity; }));
}

// The heaviest thing that was found.
const char* Verdict(const Findings& findings) {
  if (CountOf(findings, Severity::kRefusal) != 0) return "errors";
  if (CountOf(findings, Severity::kRisk) != 0) return "problems";
  return CountOf(findings, Severity::kWarning) != 0 ? "warnings" : "fine";
}

std::string SummaryText(const std::vector<std::string>& inputs, const CheckReport& report) {
  std::string text = Counted(inputs.size(), "clip") + ": ";
  std::string found;
  for (const Severity severity : {Severity::kRefusal, Severity::kRisk, Severity::kWarning}) {
    const std::size_t count = CountOf(report.findings, severity);
    if (count != 0) found += (found.empty() ? "" : ", ") + Counted(count, SeverityName(severity));
  }
  text += found.empty() ? "nothing speaks against a merge" : found;
  // Nobody knows the size of what the engine refuses to make.
  if (CountOf(report.findings, Severity::kRefusal) == 0)
    text += fmt::format("; the merged file takes {}", FormatBytes(report.outputSize));
  return text + '\n';
}

// More rows are not read.
constexpr std::size_t kMostRows = 20;

// The drift behind each clip, or of many clips the largest.
std::string SeamsText(const std::vector<std::string>& inputs, const std::vector<Seam>& seams) {
  if (seams.size() > kMostRows) {
    const Seam& worst =
        *std::max_element(seams.begin(), seams.end(), [](const Seam& a, const Seam& b) {
          return std::abs(a.milliseconds) < std::abs(b.milliseconds);
        });
    return fmt::format("drift at most {:.1f} ms, behind {}\n", worst.milliseconds,
                       PrintablePath(inputs[worst.clip]));
  }
  std::string text = fmt::format("{:>12}  {}\n", "drift", "behind");
  for (const Seam& seam : seams)
    text += fmt::format("{:>9.1f} ms  {}\n", seam.milliseconds, PrintablePath(inputs[seam.clip]));
  return text;
}

}  // namespace

std::string CheckText(const std::vector<std::string>& inputs, const CheckReport& report,
                      const Findings& listed, const Paint& paint) {
  std::string text = FindingsText(listed, paint);
  // A single clip meets no other, so that a table of seams would have no row.
  if (inputs.size() > 1 && !report.seams.empty()) text += SeamsText(inputs, report.seams);
  // The adaptations are listed in either case: with --force they are made though more speaks
  // against it.
  const bool fits = !HoldsUp(report.findings, false);
  text += AdaptationsText(report.adaptations, fits ? "fits after adapting" : "would be adapted",
                          inputs.size());
  return text + SummaryText(inputs, report);
}

std::string CheckJson(const std::vector<std::string>& inputs, const CheckOptions& options,
                      const CheckReport& report) {
  Json document;
  document["verdict"] = Verdict(report.findings);
  document["clips"] = Json::array();
  for (const std::string& input : inputs) {
    Json clip;
    SetPath(clip, input);
    // Null and not 0: behind the last clip there is no seam, and of a refused one nobody knows the
    // drift.
    clip["drift"] = nullptr;
    document["clips"].push_back(clip);
  }
  for (const Seam& seam : report.seams) document["clips"][seam.clip]["drift"] = seam.milliseconds;
  document["output"] = nullptr;
  if (!options.output.empty()) {
    document["output"] = Json::object();
    SetPath(document["output"], options.output);
  }
  document["output_size"] = report.outputSize;
  document["adaptations"] = AdaptationsJson(report.adaptations);
  document["findings"] = FindingsJson(report.findings);
  return JsonText(document);
}

}  // namespace clipchain
