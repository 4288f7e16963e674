#include "clipchain/output/info_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "clipchain/output/finding_output.h"
#include "clipchain/terminal/standard_output.h"
#include "foundation/fourcc.h"
#include "workflow/clips/clip_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

// Boxes nest up to a thousand deep, and each could have a line that is indented so far.
constexpr unsigned int kDeepestIndent = 16;

std::string SampleEntryList(const TrackInfo& track) {
  std::string text;
  for (const unsigned int type : track.sampleEntries) {
    if (!text.empty()) text += ", ";
    text += FourCcText(type);
  }
  return text.empty() ? "none" : text;
}

std::string HandlerText(const TrackInfo& track) {
  return track.handler != 0 ? FourCcText(track.handler) : "none";
}

// Whether the box has a user type, and not only room for one.
bool HasUsertype(const BoxInfo& box) { return box.type == FourCc("uuid"); }

// What is damaged, as whole sentences.
std::vector<std::string> Problems(const ClipInfo& info) {
  std::vector<std::string> problems;
  if (info.boxesResult != S_OK) problems.push_back("a box is shorter than what it must hold");
  if (info.analysis != S_OK) problems.push_back("what the camera noted can't be read");
  return problems;
}

void PrintTracks(const ClipInfo& info) {
  if (info.tracks.empty()) return;
  Print(fmt::format("\n{:>7}  {:7}  {:12}  {:>9}  {:>10}  {}\n", "track", "handler", "samples are",
                    "samples", "time scale", "duration"));
  for (const TrackInfo& track : info.tracks) {
    Print(fmt::format("{:>7}  {:7}  {:12}  {:>9}  {:>10}  {}\n", track.id, HandlerText(track),
                      SampleEntryList(track), track.samples, track.timeScale,
                      DurationWords(track.duration, track.timeScale)));
  }
}

Json TrackJson(const TrackInfo& track) {
  Json object;
  object["id"] = track.id;
  object["handler"] = track.handler != 0 ? Json(FourCcText(track.handler)) : Json();
  object["sample_entries"] = Json::array();
  for (const unsigned int type : track.sampleEntries) {
    object["sample_entries"].push_back(FourCcText(type));
  }
  object["samples"] = track.samples;
  object["time_scale"] = track.timeScale;
  object["duration"] = track.duration;
  object["seconds"] = SecondsJson(track.duration, track.timeScale);
  return object;
}

Json ClipJson(const std::string& path, const ClipInfo& info) {
  Json object;
  SetPath(object, path);
  object["size"] = info.size;
  object["date"] = DateJson(info.date);
  object["time_scale"] = info.timeScale;
  object["duration"] = info.duration;
  object["seconds"] = SecondsJson(info.duration, info.timeScale);
  object["camera_stream"] = info.cameraStream;
  object["has_identifiers"] = info.hasIdentifiers;
  object["id"] = GuidJson(info.uniqueID);
  object["previous_id"] = GuidJson(info.previousID);
  object["next_id"] = GuidJson(info.nextID);
  object["problems"] = Problems(info);
  object["findings"] = Json::array();
  return object;
}

// An object on lines of its own, open at its end for more fields.
std::string OpenObject(const Json& object) {
  std::string text = JsonText(object);
  text.resize(text.rfind("\n}"));
  return text;
}

std::string Indent(unsigned int depth) {
  return std::string(std::size_t{2} * std::min(depth, kDeepestIndent), ' ');
}

}  // namespace

void InfoText::Begin(const std::string& path, const ClipInfo& info) {
  const char* const yes = "yes";
  const char* const no = "no";
  // A line without words sets clips apart, and none stands behind the last one.
  Print(fmt::format("{}{}\n", first_ ? "" : "\n", PrintablePath(path)));
  first_ = false;
  const auto add = [](const char* what, const std::string& value) {
    Print(fmt::format("  {:<16}  {}\n", what, value));
  };
  add("size", fmt::format("{} bytes", info.size));
  add("date", DateWords(info.date));
  add("duration", DurationWords(info.duration, info.timeScale));
  add("camera's stream", info.cameraStream ? yes : no);
  add("has identifiers", info.hasIdentifiers ? yes : no);
  add("identifier", GuidWords(info.uniqueID));
  add("previous clip", GuidWords(info.previousID));
  add("next clip", GuidWords(info.nextID));
  for (const std::string& problem : Problems(info)) add("damaged", problem);
  PrintTracks(info);
  if (tree()) Print(fmt::format("\n{:>14}  {:>14}  {}\n", "position", "size", "box"));
}

void InfoText::Box(const BoxInfo& box) {
  std::string line = fmt::format("{:>14}  {:>14}  {}{}", box.position, box.size, Indent(box.depth),
                                 FourCcText(box.type));
  if (HasUsertype(box)) line += " " + QUIRVA::GuidText(box.usertype);
  if (box.depth > kDeepestIndent) line += fmt::format("  (level {})", box.depth);
  Print(line + '\n');
}

void InfoText::Unreadable(const std::string&, const Findings& why) {
  // Whoever keeps what is printed wants clips in it, and sees on the terminal what is none.
  std::fputs(FindingsText(why, Paint(stderr)).c_str(), stderr);
}

// The files of an array stand one behind the other.
void InfoJson::Separate() {
  if (isArray_) Print(first_ ? "[\n" : ",\n");
  first_ = false;
}

void InfoJson::Begin(const std::string& path, const ClipInfo& info) {
  Separate();
  Print(OpenObject(ClipJson(path, info)) + ",\n  \"tracks\": [");
  bool first = true;
  for (const TrackInfo& track : info.tracks) {
    Print((first ? "\n    " : ",\n    ") + TrackJson(track).dump());
    first = false;
  }
  Print("]");
  if (tree()) Print(",\n  \"boxes\": [");
  depth_ = 0;
}

// Closes what the boxes before have open, down to a depth.
void InfoJson::LeaveBoxes(unsigned int depth) {
  for (; depth_ > depth; --depth_) Print("]}");
}

void InfoJson::Box(const BoxInfo& box) {
  const bool isFirst = box.depth >= depth_;
  LeaveBoxes(box.depth);
  Json fields;
  fields["type"] = FourCcText(box.type);
  if (HasUsertype(box)) fields["usertype"] = QUIRVA::GuidText(box.usertype);
  fields["position"] = box.position;
  fields["size"] = box.size;
  std::string text = fields.dump();
  // The brace at the end, which closes behind the children that are still to come.
  text.pop_back();
  Print(fmt::format("{}    {}{},\"children\":[", isFirst ? "\n" : ",\n", Indent(box.depth), text));
  depth_ = box.depth + 1;
}

void InfoJson::EndClip() {
  LeaveBoxes(0);
  // The brace that OpenObject took away.
  Print(tree() ? "]\n}" : "\n}");
  if (!isArray_) Print("\n");
}

void InfoJson::Unreadable(const std::string& path, const Findings& why) {
  Separate();
  Json object;
  SetPath(object, path);
  object["findings"] = FindingsJson(why);
  Print(OpenObject(object) + (isArray_ ? "\n}" : "\n}\n"));
}

void InfoJson::End() {
  if (isArray_) Print("\n]\n");
}

}  // namespace clipchain
