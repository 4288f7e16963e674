#include "clipchain/output/adaptation_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "workflow/findings/clip_words.h"

namespace clipchain {

namespace {

// A clip is adapted in one way in each of its tracks, and counts once.
std::size_t CountClips(const std::vector<Adapted>& adaptations, const std::string& name) {
  std::set<std::string> paths;
  for (const Adapted& adapted : adaptations) {
    if (adapted.name == name) paths.insert(adapted.path);
  }
  return paths.size();
}

}  // namespace

std::string AdaptationsText(const std::vector<Adapted>& adaptations, const std::string& lead,
                            std::size_t clips) {
  std::string text;
  std::set<std::string> told;
  for (const Adapted& adapted : adaptations) {
    if (!told.insert(adapted.name).second) continue;
    text += fmt::format("{}: {} ({}, {} of {})\n", lead, adapted.words, adapted.name,
                        CountClips(adaptations, adapted.name), Counted(clips, "clip"));
  }
  return text;
}

Json AdaptationsJson(const std::vector<Adapted>& adaptations) {
  Json array = Json::array();
  for (const Adapted& adapted : adaptations) {
    Json object;
    object["name"] = adapted.name;
    SetPath(object, adapted.path);
    // Tracks count from 1 (ISO/IEC 14496-12, 8.3.2): 0 is none, which programs read as null.
    object["track"] = adapted.track != 0 ? Json(adapted.track) : Json();
    object["text"] = adapted.text;
    array.push_back(object);
  }
  return array;
}

}  // namespace clipchain
