#include "workflow/html_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "workflow/checks/unreadable_clip.h"
#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_halves.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

namespace {

constexpr std::string_view kBegin = "<!DOCTYPE html>";
constexpr std::size_t kMarkedWithin = 1024;
// More cards than that are folded away.
constexpr std::size_t kMostCards = 20;

std::string Sums(const ScanReport& report) {
  std::vector<const SequenceReport*> sequences;
  std::size_t clips = 0;
  std::size_t complete = 0;
  std::size_t open = 0;
  std::size_t unidentified = 0;
  long long size = 0;
  for (const SequenceReport& sequence : report.sequences) {
    sequences.push_back(&sequence);
    clips += sequence.clips.size();
    // What says nothing of its neighbours counts neither as complete nor as open.
    const bool isOpen = !sequence.closedAtHead || !sequence.closedAtTail;
    open += isOpen ? 1 : 0;
    if (!isOpen) ++(IsIdentified(sequence) ? complete : unidentified);
    for (const SequenceClip& clip : sequence.clips) size += clip.size;
  }
  std::string html = "<dl class=\"sums\">\n";
  html += HtmlSum("complete", fmt::format("{}", complete));
  html += HtmlSum("a clip is missing", fmt::format("{}", open));
  html += HtmlSum("unidentified", fmt::format("{}", unidentified));
  html += HtmlSum("clips", fmt::format("{}", clips));
  html += HtmlSum("in all", LengthWords(sequences));
  html += HtmlSum("on disk", FormatBytes(size));
  return html + "</dl>\n";
}

bool HasRejected(const FoundClips& found, const ScanReport& report) {
  return !found.unreadable.empty() || !report.rejected.empty();
}

std::string CardItem(const Volume& volume, unsigned int index) {
  // Files that are named in a row make a card of their own.
  const bool files = volume.folder.empty();
  return fmt::format(
      "<li class=\"volume\" data-number=\"{}\" {} data-clips=\"{}\">{} "
      "<span class=\"path\">{}</span> <span class=\"count\">{}</span></li>\n",
      // From 1, as people and the tables count.
      index + 1, PathAttributes("data-", volume.folder), volume.clips.size(), CardChip(index),
      files ? "files named one by one" : "<bdi>" + HtmlPath(volume.folder) + "</bdi>",
      Counted(volume.clips.size(), "file"));
}

std::string Cards(const FoundClips& found) {
  if (found.volumes.empty()) return "";
  std::string html = "<ul class=\"volumes panel\">\n";
  unsigned int index = 0;
  for (const Volume& volume : found.volumes) html += CardItem(volume, index++);
  html += "</ul>\n";
  // A studio's shelf of cards would push the recordings off the first screens.
  if (found.volumes.size() > kMostCards)
    html = fmt::format("<details class=\"fold\"><summary>{}</summary>\n{}</details>\n",
                       Counted(found.volumes.size(), "card"), html);
  return HtmlSection("volumes", "Cards", html);
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
    const std::string why = HtmlText(report.whyNotJoined);
    const std::string words = report.salvaged < 0 ? "Salvage failed: " + why
                              : report.joined
                                  ? "Salvage: two recordings were joined by their timecode"
                                  : "Salvage: nothing was joined: " + why;
    html += Step("salvage", report.salvaged < 0, words, report.salvaged,
                 report.joined ? " data-joined=\"true\"" : " data-joined=\"false\"");
  }
  if (options.divide) {
    const bool failed = report.divided != S_OK;
    html += Step("division", failed,
                 failed ? "Division failed"
                        : "Division: recordings are cut where their card changes, but for the "
                          "first one that lies on several",
                 report.divided, "");
  }
  return html;
}

std::string Recordings(const PageContext& page, const ScanOptions& options) {
  std::string html;
  if (page.report.sequences.empty()) html += "<p class=\"note panel\">No clips</p>\n";
  html += "<div class=\"list\" id=\"list\">\n";
  for (std::size_t i = 0; i < page.report.sequences.size(); ++i) html += HtmlSequence(page, i);
  return HtmlSection("sequences", "Recordings", html + "</div>\n" + Steps(page.report, options));
}

std::string RejectedItem(const Links& links, const std::string& path, const std::string& reason,
                         const std::string& code) {
  return fmt::format(
      "<li class=\"rejected-path\" {} data-reason=\"{}\" data-result=\"{}\">{} {}</li>\n",
      PathAttributes("data-", path), HtmlText(reason), code,
      links.Around(path, "<bdi class=\"path\">" + HtmlPath(path) + "</bdi>"), HtmlPath(reason));
}

std::string Rejected(const FoundClips& found, const ScanReport& report, const Links& links) {
  if (!HasRejected(found, report)) return "";
  std::string html = "<ul class=\"rejected panel\">\n";
  for (const UnreadablePath& path : found.unreadable)
    html += RejectedItem(links, path.path, path.reason, "");
  for (const RejectedClip& clip : report.rejected) {
    // The code of the engine is for programs; a look at the clip says what is wrong with it.
    html += RejectedItem(links, clip.path, WhyNoClip(clip.path, clip.result).front().text,
                         std::string(ResultName(clip.result)));
  }
  return HtmlSection("rejected", "Not registered", html + "</ul>\n");
}

std::vector<std::pair<std::string, std::string>> PartsOf(const FoundClips& found,
                                                         const ScanReport& report,
                                                         const std::vector<Proposal>& proposals) {
  std::vector<std::pair<std::string, std::string>> parts{{"attention", "Needs attention"}};
  if (!report.sequences.empty()) parts.emplace_back("time-line", "Time line");
  if (!proposals.empty()) parts.emplace_back("proposals", "Proposed recordings");
  parts.emplace_back("sequences", "Recordings");
  if (!found.volumes.empty()) parts.emplace_back("volumes", "Cards");
  if (HasRejected(found, report)) parts.emplace_back("rejected", "Not registered");
  return parts;
}

}  // namespace

std::string HtmlReport(const FoundClips& found, const ScanReport& report,
                       const HtmlOptions& options, const std::vector<Proposal>& proposals) {
  const Links links(options.folder);
  // Gathered first: equal pictures of several clips stand in the page once.
  const Pictures pictures(report);
  PageContext page{report, links, pictures, FindHalves(report)};
  // Each half names the other one.
  for (const auto& [front, behind] : page.halves) page.previous[behind] = front;
  HtmlFrame frame;
  // The title of a tab is what tells pages of several cards apart.
  frame.title = fmt::format("{} on {}", Counted(report.sequences.size(), "recording"),
                            Counted(found.volumes.size(), "card"));
  frame.sums = Sums(report);
  frame.made = options.made;
  frame.parts = PartsOf(found, report, proposals);
  frame.pictures = pictures.Definitions();
  frame.hasFilter = report.sequences.size() > 1;
  frame.body = HtmlAttentionSection(HtmlAttentions(page, found, proposals)) +
               HtmlTimeline(report, proposals) + HtmlProposals(proposals, links) +
               Recordings(page, options.scan) + Cards(found) + Rejected(found, report, links);
  return HtmlPage(frame);
}

bool IsHtmlReport(const std::string& path) {
  FileBytes file(path);
  // What can't be looked at is not taken for a page, and so is not replaced.
  if (file.error()) return false;
  std::string head(std::min<std::size_t>(file.Size(), kMarkedWithin), '\0');
  if (!file.Read(0, head.data(), head.size())) return false;
  // What was begun and never written may be replaced like a page.
  return head.empty() || (head.starts_with(kBegin) && head.find(kHtmlMark) != std::string::npos);
}

}  // namespace clipchain
