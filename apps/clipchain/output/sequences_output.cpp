#include "clipchain/output/sequences_output.h"

#include <fmt/format.h>

#include "clipchain/output/proposal_output.h"
#include "clipchain/output/table_cells.h"
#include "workflow/checks/unreadable_clip.h"
#include "workflow/clips/clip_json.h"
#include "workflow/evidence/missing_end.h"
#include "workflow/evidence/proposal_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

std::string CardNumbers(const std::vector<unsigned int>& volumes) {
  std::string text;
  for (const unsigned int volume : volumes) {
    // People count cards from 1.
    text += fmt::format("{}{}", text.empty() ? "" : ", ", volume + 1);
  }
  return text;
}

// The numbers in the last column; of a single card there is nothing to tell apart.
void AddCards(const FoundClips& found, std::string& text) {
  if (found.volumes.size() < 2) return;
  for (std::size_t i = 0; i < found.volumes.size(); ++i) {
    const std::string& folder = found.volumes[i].folder;
    text += fmt::format("card {}: {}\n", i + 1,
                        folder.empty() ? "files named one by one" : PrintablePath(folder));
  }
  text += '\n';
}

void AddRejected(const FoundClips& found, const ScanReport& report, const Paint& paint,
                 std::string& text) {
  if (found.unreadable.empty() && report.rejected.empty()) return;
  text += paint(Colour::kBad, "not registered:") + '\n';
  for (const UnreadablePath& path : found.unreadable) {
    text += fmt::format("  {} {}\n", PrintablePath(path.path), path.reason);
  }
  // A clip that can't be read is what a recording that lacks its end may lack.
  const MissingEnds ends(report);
  for (const RejectedClip& clip : report.rejected) {
    const Finding why = WhyNoClip(clip.path, clip.result).front();
    text +=
        fmt::format("  {} {} ({})\n", PrintablePath(clip.path), why.text, MessageName(why.message));
    // Recordings are told by their number in the table above.
    if (const auto end = ends.Of(clip.path))
      text += fmt::format("    perhaps the missing end of recording {}\n", *end + 1);
    if (!why.remedy.empty()) text += fmt::format("    {}\n", why.remedy);
  }
}

// What became of the steps that were asked for.
void AddSteps(const ScanReport& report, const ScanOptions& options, std::string& text) {
  // Words for each case: somebody who asked for it wants to know that it was looked at.
  if (options.salvage && report.salvaged < 0) {
    text += fmt::format("salvage: failed: {}\n", report.whyNotJoined);
  } else if (options.salvage) {
    text += report.joined ? "salvage: two recordings were joined by their timecode\n"
                          : fmt::format("salvage: nothing was joined: {}\n", report.whyNotJoined);
  }
  if (options.divide && report.divided != S_OK) text += "division: failed\n";
}

long long SizeOf(const SequenceReport& sequence) {
  long long size = 0;
  for (const SequenceClip& clip : sequence.clips) size += clip.size;
  return size;
}

std::string Row(const SequenceReport& sequence, std::size_t number, const Paint& paint) {
  const auto seconds = Seconds(sequence);
  std::string row = fmt::format(
      "{:>4}  {:19}  {:>5}  {:>11}  {:>9}  {}  {}", number, DateWords(sequence.date),
      sequence.clips.size(), seconds ? SpanWords(seconds) : "unknown",
      FormatBytes(SizeOf(sequence)),
      StateCell(IsIdentified(sequence), sequence.closedAtHead, sequence.closedAtTail, paint),
      CardNumbers(sequence.volumes));
  if (sequence.copyOf)
    // By the number in the first column, under which the original is found.
    row += paint(Colour::kNote, fmt::format("  a copy of {}", *sequence.copyOf + 1));
  return row + '\n';
}

Json FileJson(const SequenceClip& clip) {
  Json file;
  SetPath(file, clip.path);
  file["volume"] = clip.volume + 1;
  file["date"] = DateJson(clip.date);
  file["seconds"] = SecondsJson(clip.card.duration, clip.card.timeScale);
  file["size"] = clip.size;
  return file;
}

// Null if the duration of a clip is not known.
Json SumJson(const SequenceReport& sequence) {
  const std::optional<double> seconds = Seconds(sequence);
  return seconds ? Json(*seconds) : Json();
}

Json SequenceJson(const SequenceReport& sequence, std::size_t number) {
  Json object;
  object["number"] = number;
  object["date"] = DateJson(sequence.date);
  object["clips"] = sequence.clips.size();
  object["seconds"] = SumJson(sequence);
  object["state"] =
      StateWords(IsIdentified(sequence), sequence.closedAtHead, sequence.closedAtTail);
  object["copy_of"] = sequence.copyOf ? Json(*sequence.copyOf + 1) : Json();
  object["closed_at_head"] = sequence.closedAtHead;
  object["closed_at_tail"] = sequence.closedAtTail;
  object["camera_stream"] = sequence.cameraStream;
  object["head_id"] = GuidJson(sequence.headID);
  object["tail_id"] = GuidJson(sequence.tailID);
  object["volumes"] = Json::array();
  for (const unsigned int volume : sequence.volumes) object["volumes"].push_back(volume + 1);
  object["files"] = Json::array();
  for (const SequenceClip& clip : sequence.clips) object["files"].push_back(FileJson(clip));
  return object;
}

Json VolumesJson(const FoundClips& found) {
  Json volumes = Json::array();
  for (const Volume& volume : found.volumes) {
    Json object;
    object["number"] = volumes.size() + 1;
    if (volume.folder.empty()) {
      object["path"] = nullptr;
    } else {
      SetPath(object, volume.folder);
    }
    object["clips"] = volume.clips.size();
    volumes.push_back(object);
  }
  return volumes;
}

Json RejectedJson(const FoundClips& found, const ScanReport& report) {
  Json rejected = Json::array();
  for (const UnreadablePath& path : found.unreadable) {
    Json object;
    SetPath(object, path.path);
    object["reason"] = path.reason;
    object["result"] = nullptr;
    rejected.push_back(object);
  }
  for (const RejectedClip& clip : report.rejected) {
    Json object;
    SetPath(object, clip.path);
    object["reason"] = WhyNoClip(clip.path, clip.result).front().text;
    object["result"] = ResultName(clip.result);
    rejected.push_back(object);
  }
  return rejected;
}

}  // namespace

std::string SequencesTable(const FoundClips& found, const ScanReport& report,
                           const std::vector<Proposal>& proposals, const ScanOptions& options,
                           const Paint& paint) {
  std::string text;
  AddCards(found, text);
  if (report.sequences.empty()) {
    text += "no clips\n";
  } else {
    text += fmt::format("{:>4}  {:19}  {:>5}  {:>11}  {:>9}  {:17}  {}\n", "no.", "date", "clips",
                        "length", "size", "state", "cards");
  }
  std::size_t number = 0;
  for (const SequenceReport& sequence : report.sequences) {
    text += Row(sequence, ++number, paint);
    for (const SequenceClip& clip : sequence.clips) {
      text += fmt::format("      {}\n", PrintablePath(clip.path));
    }
  }
  text += ProposalsText(proposals, paint);
  AddSteps(report, options, text);
  AddRejected(found, report, paint, text);
  return text;
}

std::string SequencesJson(const FoundClips& found, const ScanReport& report,
                          const std::vector<Proposal>& proposals, const ScanOptions& options) {
  Json document;
  document["volumes"] = VolumesJson(found);
  document["sequences"] = Json::array();
  for (const SequenceReport& sequence : report.sequences) {
    document["sequences"].push_back(SequenceJson(sequence, document["sequences"].size() + 1));
  }
  document["proposals"] = Json::array();
  for (const Proposal& proposal : proposals)
    document["proposals"].push_back(ProposalJson(proposal));
  document["rejected"] = RejectedJson(found, report);
  // Null and not false: it was not asked for, which is no answer.
  document["salvage"] = nullptr;
  if (options.salvage) {
    document["salvage"] = {{"joined", report.joined}, {"result", ResultName(report.salvaged)}};
  }
  document["division"] = nullptr;
  if (options.divide) document["division"] = {{"result", ResultName(report.divided)}};
  return JsonText(document);
}

}  // namespace clipchain
