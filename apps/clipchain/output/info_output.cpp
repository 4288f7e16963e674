#include "clipchain/output/info_output.h"

#include <fmt/format.h>

#include <vector>

#include "foundation/fourcc.h"
#include "workflow/clips/clip_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

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

void AddTracks(const ClipInfo& info, std::string& text) {
  if (info.tracks.empty()) return;
  text += fmt::format("\n{:>7}  {:7}  {:12}  {:>9}  {:>10}  {}\n", "track", "handler",
                      "samples are", "samples", "time scale", "duration");
  for (const TrackInfo& track : info.tracks) {
    text += fmt::format("{:>7}  {:7}  {:12}  {:>9}  {:>10}  {}\n", track.id, HandlerText(track),
                        SampleEntryList(track), track.samples, track.timeScale,
                        DurationWords(track.duration, track.timeScale));
  }
}

void AddBoxes(const ClipInfo& info, std::string& text) {
  text += fmt::format("\n{:>14}  {:>14}  {}\n", "position", "size", "box");
  for (const BoxInfo& box : info.boxes) {
    text += fmt::format("{:>14}  {:>14}  {:{}}{}", box.position, box.size, "", box.depth * 2,
                        FourCcText(box.type));
    if (HasUsertype(box)) text += " " + QUIRVA::GuidText(box.usertype);
    text += '\n';
  }
}

// What is damaged, as whole sentences.
std::vector<std::string> Problems(const ClipInfo& info) {
  std::vector<std::string> problems;
  if (info.boxesResult != S_OK) problems.push_back("a box is shorter than what it must hold");
  if (info.analysis != S_OK) {
    problems.push_back(
        fmt::format("what the camera noted can't be read ({})", ResultName(info.analysis)));
  }
  return problems;
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

// The boxes of one parent, from `at` on, with all that is below them.
Json BoxesJson(const std::vector<BoxInfo>& boxes, std::size_t& at, unsigned int depth) {
  Json array = Json::array();
  while (at < boxes.size() && boxes[at].depth == depth) {
    const BoxInfo& box = boxes[at++];
    Json object;
    object["type"] = FourCcText(box.type);
    if (HasUsertype(box)) object["usertype"] = QUIRVA::GuidText(box.usertype);
    object["position"] = box.position;
    object["size"] = box.size;
    object["children"] = BoxesJson(boxes, at, depth + 1);
    array.push_back(std::move(object));
  }
  return array;
}

}  // namespace

std::string InfoText(const std::string& path, const ClipInfo& info, bool tree) {
  const char* const yes = "yes";
  const char* const no = "no";
  std::string text = fmt::format("{}\n", Shown(path));
  const auto add = [&text](const char* what, const std::string& value) {
    text += fmt::format("  {:<16}  {}\n", what, value);
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
  AddTracks(info, text);
  if (tree) AddBoxes(info, text);
  return text;
}

std::string InfoJson(const std::string& path, const ClipInfo& info, bool tree) {
  Json document;
  SetPath(document, path);
  document["size"] = info.size;
  document["date"] = DateJson(info.date);
  document["time_scale"] = info.timeScale;
  document["duration"] = info.duration;
  document["seconds"] = SecondsJson(info.duration, info.timeScale);
  document["camera_stream"] = info.cameraStream;
  document["has_identifiers"] = info.hasIdentifiers;
  document["id"] = GuidJson(info.uniqueID);
  document["previous_id"] = GuidJson(info.previousID);
  document["next_id"] = GuidJson(info.nextID);
  document["tracks"] = Json::array();
  for (const TrackInfo& track : info.tracks) document["tracks"].push_back(TrackJson(track));
  document["problems"] = Problems(info);
  if (tree) {
    std::size_t at = 0;
    document["boxes"] = BoxesJson(info.boxes, at, 0);
  }
  return JsonText(document);
}

}  // namespace clipchain
