#include "workflow/joining/output_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "workflow/clip_search.h"

namespace clipchain {

namespace {

// Bytes, on nearly every file system.
constexpr std::size_t kLongestName = 255;
constexpr std::string_view kExtension = ".mp4";
constexpr std::string_view kPartMark = "_incomplete";
constexpr std::string_view kRescued = "-rescued";

std::string StemOf(const std::string& path) {
  std::string name = path.substr(path.find_last_of('/') + 1);
  if (HasClipName(name)) name.erase(name.find_last_of('.'));
  return name;
}

// What FAT, exFAT, NTFS or the shares of other systems do not take.
bool IsPortable(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte != 0x7F &&
         std::string_view("\"*/:<>?\\|").find(c) == std::string::npos;
}

bool IsInsideOfCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

void CutTo(std::string& text, std::size_t length) {
  if (text.size() <= length) return;
  while (length > 0 && IsInsideOfCharacter(text[length])) --length;
  // Half a character would be no UTF-8, and some file systems refuse such names.
  text.resize(length);
}

std::string DatePart(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  if (!date) return "unknown-date";
  return fmt::format("{:04}-{:02}-{:02}_{:02}-{:02}-{:02}", date->year, date->month, date->day,
                     date->hour, date->minute, date->second);
}

std::string OutputStem(const std::optional<MP4G::_tagSequenceTimedate>& date,
                       const std::string& firstClip, Extent extent, std::size_t room) {
  std::string stem = DatePart(date) + '_' + StemOf(firstClip);
  std::replace_if(
      stem.begin(), stem.end(), [](char c) { return !IsPortable(c); }, '_');
  const std::string_view mark = extent == Extent::kIncomplete ? kPartMark : "";
  CutTo(stem, kLongestName - kExtension.size() - mark.size() - room);
  return stem.append(mark);
}

}  // namespace

std::string OutputName(const std::optional<MP4G::_tagSequenceTimedate>& date,
                       const std::string& firstClip, Extent extent) {
  return OutputStem(date, firstClip, extent, 0).append(kExtension);
}

std::string RescuedName(const std::optional<MP4G::_tagSequenceTimedate>& date,
                        const std::string& firstClip, Extent extent) {
  return OutputStem(date, firstClip, extent, kRescued.size()).append(kRescued).append(kExtension);
}

std::string WithoutCount(const std::string& outputName) {
  // What looks like a count may be the end of a clip's own name: who asks looks for both names.
  const std::size_t end = outputName.size() - std::min(outputName.size(), kExtension.size());
  const std::size_t mark = outputName.find_last_not_of("0123456789", end - 1);
  const bool counted = end > 0 && mark != std::string::npos && mark + 1 < end &&
                       outputName[mark] == '_' && outputName.substr(end) == kExtension;
  return counted ? outputName.substr(0, mark).append(kExtension) : outputName;
}

std::string WithRescueMark(const std::string& outputName) {
  const std::size_t dot = std::min(outputName.rfind('.'), outputName.size());
  return std::string(outputName).insert(dot, kRescued);
}

std::string WithoutRescueMark(const std::string& outputName) {
  const std::size_t mark = outputName.rfind(kRescued);
  if (mark == std::string::npos) return outputName;
  return std::string(outputName).erase(mark, kRescued.size());
}

std::string WithoutMark(const std::string& outputName) {
  const std::string end = std::string(kPartMark).append(kExtension);
  return outputName.ends_with(end)
             ? outputName.substr(0, outputName.size() - end.size()).append(kExtension)
             : outputName;
}

std::string InLowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool OutputNames::Reserve(const std::string& name) {
  // On FAT and exFAT names that differ in nothing but case are one.
  return taken_.insert(InLowerCase(name)).second;
}

std::string OutputNames::TakeOf(const MakeName& make, const IsTaken& isTaken) {
  std::string name = make("");
  unsigned int& count = counts_.try_emplace(InLowerCase(name), 1).first->second;
  // A clip that is really called so may have taken a name with a count.
  while (isTaken(name) || !Reserve(name)) name = make(fmt::format("_{}", ++count));
  return name;
}

std::string OutputNames::Take(const std::optional<MP4G::_tagSequenceTimedate>& date,
                              const std::string& firstClip, Extent extent, const IsTaken& isTaken) {
  const auto make = [&](const std::string& suffix) {
    return OutputStem(date, firstClip, extent, suffix.size()).append(suffix).append(kExtension);
  };
  return TakeOf(make, isTaken);
}

std::string OutputNames::TakeRescued(const std::optional<MP4G::_tagSequenceTimedate>& date,
                                     const std::string& firstClip, Extent extent,
                                     const IsTaken& isTaken) {
  const auto make = [&](const std::string& suffix) {
    return OutputStem(date, firstClip, extent, kRescued.size() + suffix.size())
        .append(kRescued)
        .append(suffix)
        .append(kExtension);
  };
  return TakeOf(make, isTaken);
}

}  // namespace clipchain
