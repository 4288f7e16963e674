#include "workflow/html_report.h"
#include "workflow/checks/unreadable_clip.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

// Nothing is ever fetched or run, whatever a name or a picture may hold.
constexpr const char* kHead =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
    "style-src 'unsafe-inline'\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n";
constexpr std::string_view kBegin = "<!DOCTYPE html>";
// By which a page is known for one of these.
constexpr const char* kMark = "<meta name=\"generator\" content=\"clipchain\">\n";
constexpr std::size_t kMarkedWithin = 1024;

std::string Sum(const char* what, const std::string& value) {
  return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", what, value);
}

std::string Sums(const ScanReport& report) {
  std::vector<const SequenceReport*> sequences;
  std::size_t clips = 0;
  std::size_t complete = 0;
  long long size = 0;
  for (const SequenceReport& sequence : report.sequences) {
    sequences.push_back(&sequence);
    clips += sequence.clips.size();
    complete += sequence.closedAtHead && sequence.closedAtTail;
    for (const SequenceClip& clip : sequence.clips) size += clip.size;
  }
  std::string html = "<dl class=\"sums\">\n";
  html += Sum("sequences", fmt::format("{}", sequences.size()));
  html += Sum("complete", fmt::format("{}", complete));
  html += Sum("with a part missing", fmt::format("{}", sequences.size() - complete));
  html += Sum("clips", fmt::format("{}", clips));
  html += Sum("in all", LengthWords(sequences));
  html += Sum("on disk", Amount(size));
  return html + "</dl>\n";
}

bool HasRejected(const FoundClips& found, const ScanReport& report) {
  return !found.unreadable.empty() || !report.rejected.empty();
}

std::string Header(const FoundClips& found, const ScanReport& report, const std::string& title) {
  std::string html =
      "<a class=\"skip\" href=\"#main\">Skip to the sequences</a>\n"
      "<header class=\"top wide\">\n<p class=\"mark\"><svg viewBox=\"0 0 24 24\" "
      "aria-hidden=\"true\" focusable=\"false\"><rect x=\"1.500\" y=\"7\" width=\"12\" "
      "height=\"10\" rx=\"3\"/><path d=\"M10.500 12h3\"/><rect x=\"10.500\" y=\"7\" width=\"12\" "
      "height=\"10\" rx=\"3\"/></svg>clipchain</p>\n";
  html += fmt::format("<h1>{}</h1>\n", title) + Sums(report);
  html += "<nav aria-label=\"Parts of this page\"><ul>\n";
  const auto link = [&html](const char* target, const char* name) {
    html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", target, name);
  };
  if (!found.volumes.empty()) link("volumes", "Volumes");
  if (!report.sequences.empty()) link("time-line", "Time line");
  link("sequences", "Sequences");
  if (HasRejected(found, report)) link("rejected", "Not registered");
  return html + "</ul></nav>\n</header>\n";
}

std::string VolumeItem(const Volume& volume, unsigned int index) {
  const bool files = volume.folder.empty();
  return fmt::format(
      "<li class=\"volume\" data-number=\"{}\" {} data-clips=\"{}\">{} "
      "<span class=\"path\">{}</span> <span class=\"count\">{}</span></li>\n",
      index + 1, PathAttributes("data-", volume.folder), volume.clips.size(), VolumeChip(index),
      files ? "files named one by one" : "<bdi>" + HtmlPath(volume.folder) + "</bdi>",
      Counted(volume.clips.size(), "file"));
}

std::string Volumes(const FoundClips& found) {
  if (found.volumes.empty()) return "";
  std::string html =
      "<section aria-labelledby=\"volumes\">\n<h2 id=\"volumes\">Volumes</h2>\n"
      "<ul class=\"volumes panel\">\n";
  unsigned int index = 0;
  for (const Volume& volume : found.volumes) html += VolumeItem(volume, index++);
  return html + "</ul>\n</section>\n";
}

std::string Step(const char* name, bool failed, const std::string& words, HRESULT result,
                 const char* more) {
  return fmt::format("<p class=\"note panel{}\" data-step=\"{}\" data-result=\"{}\"{}>{}</p>\n",
                     failed ? " bad" : "", name, ResultName(result), more, words);
}

// What became of the steps that were asked for.
std::string Steps(const ScanReport& report, const ScanOptions& options) {
  std::string html;
  if (options.salvage) {
    const std::string words =
        report.salvaged < 0
            ? fmt::format("Salvage: the timecode can't be read ({})", ResultName(report.salvaged))
        : report.joined ? "Salvage: two sequences were joined by their timecode"
                        : "Salvage: nothing to join";
    html += Step("salvage", report.salvaged < 0, words, report.salvaged,
                 report.joined ? " data-joined=\"true\"" : " data-joined=\"false\"");
  }
  if (options.divide) {
    const bool failed = report.divided != S_OK;
    html += Step("division", failed,
                 failed ? fmt::format("Division: failed ({})", ResultName(report.divided))
                        : "Division: sequences are cut where their volume changes, but for the "
                          "first one that has several",
                 report.divided, "");
  }
  return html;
}

std::string Sequences(const ScanReport& report, const ScanOptions& options) {
  std::string html =
      "<section aria-labelledby=\"sequences\">\n<h2 id=\"sequences\">Sequences</h2>\n";
  if (report.sequences.empty()) html += "<p class=\"note panel\">No clips</p>\n";
  html += "<div class=\"list\">\n";
  std::size_t number = 0;
  for (const SequenceReport& sequence : report.sequences) {
    html += HtmlSequence(sequence, ++number);
  }
  return html + "</div>\n" + Steps(report, options) + "</section>\n";
}

std::string RejectedItem(const std::string& path, const std::string& reason,
                         const std::string& code) {
  return fmt::format(
      "<li class=\"rejected-path\" {} data-reason=\"{}\" data-result=\"{}\"><bdi "
      "class=\"path\">{}</bdi> {}{}</li>\n",
      PathAttributes("data-", path), HtmlText(reason), code, HtmlPath(path), HtmlPath(reason),
      code.empty() ? "" : fmt::format(" <code>({})</code>", code));
}

std::string Rejected(const FoundClips& found, const ScanReport& report) {
  if (!HasRejected(found, report)) return "";
  std::string html =
      "<section aria-labelledby=\"rejected\">\n<h2 id=\"rejected\">Not registered</h2>\n"
      "<ul class=\"rejected panel\">\n";
  for (const UnreadablePath& path : found.unreadable) {
    html += RejectedItem(path.path, path.reason, "");
  }
  for (const RejectedClip& clip : report.rejected) {
    html += RejectedItem(clip.path, WhyNoClip(clip.path, clip.result).front().text,
                         std::string(ResultName(clip.result)));
  }
  return html + "</ul>\n</section>\n";
}

}  // namespace

std::string HtmlReport(const FoundClips& found, const ScanReport& report,
                       const ScanOptions& options, const std::vector<Proposal>& proposals) {
  const std::string title = fmt::format("{} on {}", Counted(report.sequences.size(), "sequence"),
                                        Counted(found.volumes.size(), "volume"));
  std::string html = std::string(kHead) + kMark;
  html += fmt::format("<title>{} – clipchain</title>\n<style>{}{}</style>\n</head>\n<body>\n",
                      title, kHtmlStyle, HtmlShapeStyle());
  html += HtmlShapes() + Header(found, report, title) + "<main class=\"wide\" id=\"main\">\n";
  html += Volumes(found) + HtmlTimeline(report) + Sequences(report, options);
  html += HtmlProposals(proposals) + Rejected(found, report) + "</main>\n";
  return html +
         "<footer class=\"wide\"><p>Dates are as the camera or the movie header has them, in "
         "whatever "
         "time zone that was. Made by clipchain.</p></footer>\n</body>\n</html>\n";
}

bool IsHtmlReport(const std::string& path) {
  FileBytes file(path);
  if (file.error() != 0) return false;
  std::string head(std::min<std::size_t>(file.Size(), kMarkedWithin), '\0');
  if (!file.Read(0, head.data(), head.size())) return false;
  return head.empty() || (head.starts_with(kBegin) && head.find(kMark) != std::string::npos);
}

}  // namespace clipchain
