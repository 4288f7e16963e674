#include "clipchain/output/finding_output.h"

#include <fmt/format.h>

#include <map>
#include <utility>
#include <vector>

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

std::string Sentence(const Finding& finding, const Paint& paint) {
  const std::string path = finding.path.empty() ? "" : PrintablePath(finding.path) + ' ';
  return fmt::format("{} {}{}{} ({})\n", SeverityWord(finding.severity, paint), path, finding.text,
                     PlaceText(finding), MessageName(finding.message));
}

// On a line of its own: a log that is searched for the message has the sentence in one line.
std::string Remedy(const Finding& finding) {
  return finding.remedy.empty() ? "" : fmt::format("  {}\n", finding.remedy);
}

// What clips of one camera have alike, whatever its sizes and places in each of them; empty for
// what has to be read of every file.
std::string KindOf(const Finding& finding) {
  if (finding.path.empty() || finding.severity > Severity::kWarning) return "";
  std::string kind = fmt::format("{}\n{}\n{}\n{}", MessageName(finding.message), finding.box,
                                 finding.text, finding.remedy);
  std::erase_if(kind, [](char c) { return c >= '0' && c <= '9'; });
  return fmt::format("{}\n{}", kind, finding.track);
}

// For each finding its kind, of which no file has two: a second one is of another kind.
std::vector<std::string> KindsOf(const Findings& findings) {
  std::map<std::pair<std::string, std::string>, std::size_t> ofFiles;
  std::vector<std::string> kinds;
  for (const Finding& finding : findings) {
    kinds.push_back(KindOf(finding));
    if (kinds.back().empty()) continue;
    const std::size_t before = ofFiles[{finding.path, kinds.back()}]++;
    kinds.back() += fmt::format("\n{}", before);
  }
  return kinds;
}

struct Alike {
  std::size_t count = 0;
  // Index of the last one.
  std::size_t last = 0;
  bool isTold = false;
};

// Fewer are read as quickly as the line that counts them.
constexpr std::size_t kMostSpelled = 2;

}  // namespace

std::string FindingText(const Finding& finding, const Paint& paint) {
  return Sentence(finding, paint) + Remedy(finding);
}

std::string FindingsText(const Findings& findings, const Paint& paint) {
  const std::vector<std::string> kinds = KindsOf(findings);
  std::map<std::string, Alike> alike;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i].empty()) continue;
    ++alike[kinds[i]].count;
    alike[kinds[i]].last = i;
  }
  std::string text;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const auto found = alike.find(kinds[i]);
    if (found == alike.end() || found->second.count <= kMostSpelled) {
      text += FindingText(findings[i], paint);
    } else if (!std::exchange(found->second.isTold, true)) {
      text += Sentence(findings[i], paint);
      text += fmt::format("  and {} other files likewise, to {}\n", found->second.count - 1,
                          PrintablePath(findings[found->second.last].path));
      text += Remedy(findings[i]);
    }
  }
  return text;
}

Findings Grave(const Findings& findings) {
  Findings grave = findings;
  std::erase_if(grave,
                [](const Finding& finding) { return finding.severity < Severity::kWarning; });
  return grave;
}

}  // namespace clipchain
