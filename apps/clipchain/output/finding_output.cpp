#include "clipchain/output/finding_output.h"

#include <fmt/format.h>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

// Whether the text says by itself which track it is about.
bool NamesTrack(const Finding& finding) {
  const std::string words = fmt::format("track {}", finding.track);
  const std::size_t found = finding.text.find(words);
  if (found == std::string::npos) return false;
  // "track 1" stands in "track 12", too.
  const std::size_t behind = found + words.size();
  return finding.text.find_first_of("0123456789", behind) != behind;
}

// Where in the file: ": track 2, moov/trak[1] at byte 40"; empty where that is not known.
std::string PlaceText(const Finding& finding) {
  std::string text;
  if (finding.track != 0 && !NamesTrack(finding)) text = fmt::format("track {}", finding.track);
  if (!finding.box.empty()) text += (text.empty() ? "" : ", ") + PrintablePath(finding.box);
  // Byte 0 is a place, and where none is known the offset is negative.
  if (finding.offset >= 0)
    text += fmt::format("{}at byte {}", text.empty() ? "" : " ", finding.offset);
  return text.empty() ? "" : ": " + text;
}

std::string SeverityWord(Severity severity, const Paint& paint) {
  const Colour colour = severity == Severity::kNote      ? Colour::kNote
                        : severity == Severity::kWarning ? Colour::kWarning
                                                         : Colour::kBad;
  return paint(colour, std::string(SeverityName(severity)) + ':');
}

}  // namespace

std::string FindingText(const Finding& finding, const Paint& paint) {
  const std::string path = finding.path.empty() ? "" : PrintablePath(finding.path) + ' ';
  std::string text = fmt::format("{} {}{}{} ({})\n", SeverityWord(finding.severity, paint), path,
                                 finding.text, PlaceText(finding), MessageName(finding.message));
  // On a line of its own: a log that is searched for the message has the sentence in one line.
  if (!finding.remedy.empty()) text += fmt::format("  {}\n", finding.remedy);
  return text;
}

std::string FindingsText(const Findings& findings, const Paint& paint) {
  std::string text;
  for (const Finding& finding : findings) text += FindingText(finding, paint);
  return text;
}

Findings Grave(const Findings& findings) {
  Findings grave = findings;
  std::erase_if(grave,
                [](const Finding& finding) { return finding.severity < Severity::kWarning; });
  return grave;
}

}  // namespace clipchain
