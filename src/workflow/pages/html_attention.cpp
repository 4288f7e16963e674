// What somebody should look at, in front of everything else.
#include <fmt/format.h>

#include <algorithm>

#include "workflow/checks/unreadable_clip.h"
#include "workflow/evidence/missing_end.h"
#include "workflow/findings/clip_words.h"
#include "workflow/pages/html_page.h"
#include "workflow/pages/html_parts.h"
#include "workflow/pages/html_text.h"

namespace clipchain {

namespace {

// Longer lists are told in a number and stand below.
constexpr std::size_t kMostListed = 12;

std::string PathWords(const PageContext& page, const std::string& path) {
  return page.links.Around(path, "<bdi class=\"path\">" + HtmlPath(path) + "</bdi>");
}

std::string Unreadable(const PageContext& page, const FoundClips& found) {
  std::string html;
  std::size_t count = 0;
  const auto add = [&](const std::string& path, const std::string& words) {
    html += HtmlAttention("rejected", true, PathWords(page, path) + ' ' + words);
  };
  for (const UnreadablePath& path : found.unreadable) {
    if (++count <= kMostListed) add(path.path, HtmlText(path.reason));
  }
  const MissingEnds ends(page.report);
  for (const RejectedClip& clip : page.report.rejected) {
    if (++count > kMostListed) continue;
    const Finding why = WhyNoClip(clip.path, clip.result).front();
    std::string words = HtmlText(why.text);
    if (const auto end = ends.Of(clip.path))
      words += "; it is perhaps the missing end of " + RecordingLink(*end);
    if (!why.remedy.empty()) words += "<br>" + HtmlText(why.remedy);
    add(clip.path, words);
  }
  if (count > kMostListed)
    html += HtmlAttention("rejected", true,
                          fmt::format("and {} more, <a href=\"#rejected\">all of them</a>",
                                      Counted(count - kMostListed, "file")));
  return html;
}

// Halves are told of once, in front; other open ends by themselves.
std::string Open(const PageContext& page) {
  std::string html;
  std::size_t count = 0;
  const auto add = [&](const char* kind, const std::string& words) {
    if (++count <= kMostListed) html += HtmlAttention(kind, false, words);
  };
  for (const auto& [front, behind] : page.halves)
    add("halves", fmt::format("A single clip is missing between {} and {}: they are halves of one "
                              "recording.",
                              RecordingLink(front), RecordingLink(behind)));
  for (std::size_t i = 0; i < page.report.sequences.size(); ++i) {
    const SequenceReport& sequence = page.report.sequences[i];
    // What it lacks its original lacks, too, and is told of there.
    if (sequence.copyOf) continue;
    // Where the other half is here its link says more than that something is missing.
    const bool head = !sequence.closedAtHead && page.previous.count(i) == 0;
    const bool tail = !sequence.closedAtTail && page.halves.count(i) == 0;
    if (!head && !tail) continue;
    add("open", fmt::format("{} lacks its {}{}.", RecordingLink(i, "Recording"),
                            head && tail ? "beginning and its end"
                            : head       ? "beginning"
                                         : "end",
                            sequence.date ? ", " + DateWords(sequence.date) : ""));
  }
  if (count > kMostListed)
    html += HtmlAttention(
        "open", false,
        fmt::format("and {} more that lack a clip; they say \"open\" below.", count - kMostListed));
  return html;
}

std::string Unidentified(const PageContext& page, const std::vector<Proposal>& proposals) {
  const auto& sequences = page.report.sequences;
  const auto count = static_cast<std::size_t>(
      std::count_if(sequences.begin(), sequences.end(),
                    [](const SequenceReport& sequence) { return !IsIdentified(sequence); }));
  std::string html;
  if (count != 0)
    html +=
        HtmlAttention("unidentified", false,
                      fmt::format("{} no identifiers, so that nothing tells for sure what {} to.",
                                  count == 1 ? "1 clip has" : fmt::format("{} clips have", count),
                                  count == 1 ? "it belongs" : "they belong"));
  if (!proposals.empty())
    html += HtmlAttention(
        "proposals", false,
        fmt::format("<a href=\"#proposals\">{}</a> seem to belong together.",
                    proposals.size() == 1
                        ? "The clips of 1 proposal"
                        : fmt::format("The clips of each of {} proposals", proposals.size())));
  return html;
}

}  // namespace

std::string HtmlAttentions(const PageContext& page, const FoundClips& found,
                           const std::vector<Proposal>& proposals) {
  return Unreadable(page, found) + Open(page) + Unidentified(page, proposals);
}

}  // namespace clipchain
