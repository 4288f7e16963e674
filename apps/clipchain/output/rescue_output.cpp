#include "clipchain/output/rescue_output.h"

#include <fmt/format.h>

#include "clipchain/output/finding_output.h"
#include "workflow/clips/clip_json.h"
#include "workflow/findings/clip_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

Json TrackJson(const RescuedTrack& track) {
  Json json;
  json["id"] = track.id;
  json["kind"] = track.kind;
  json["format"] = track.format;
  json["samples"] = track.samples;
  json["seconds"] = track.seconds;
  json["bytes"] = track.bytes;
  // No method found anything in a track that stayed empty.
  json["method"] = track.method.empty() ? Json(nullptr) : Json(track.method);
  json["times_estimated"] = track.timesEstimated;
  json["offsets_estimated"] = track.offsetsEstimated;
  json["sync_estimated"] = track.syncEstimated;
  return json;
}

}  // namespace

std::string RescueText(const std::string& broken, const std::string& output,
                       const RescueReport& report) {
  // The findings tell why, and nothing was written.
  if (!report.done) return "";
  std::string text = fmt::format("rescued {} by what {} teaches\n", PrintablePath(broken),
                                 PrintablePath(report.reference));
  for (const RescuedTrack& track : report.tracks) {
    // The intact clip has the track and the broken one no sample of it: the result lacks it, as a
    // finding says.
    if (track.samples == 0) continue;
    text += fmt::format("  track {} ({}): {} samples, {:.2f} s, {}, found by {}\n", track.id,
                        track.format, track.samples, track.seconds, FormatBytes(track.bytes),
                        track.method);
  }
  text += fmt::format("wrote {}: {}\n", PrintablePath(output), FormatBytes(report.size));
  return text;
}

std::string RescueJson(const std::string& broken, const std::string& output,
                       const RescueReport& report, double seconds) {
  Json document;
  SetPath(document, output);
  document["done"] = report.done;
  SetPath(document["broken"], broken);
  document["reference"] = nullptr;
  if (!report.reference.empty()) {
    document["reference"] = Json::object();
    SetPath(document["reference"], report.reference);
  }
  document["size"] = report.size;
  document["seconds"] = seconds;
  document["tracks"] = Json::array();
  for (const RescuedTrack& track : report.tracks) document["tracks"].push_back(TrackJson(track));
  document["unknown"] = Json::array();
  for (const UnknownRange& range : report.unknown) {
    document["unknown"].push_back({{"begin", range.begin}, {"end", range.end}});
  }
  document["findings"] = FindingsJson(report.findings);
  return JsonText(document);
}

}  // namespace clipchain
