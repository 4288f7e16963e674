// Says how clips that do not fit each other as they are may come to fit.
#pragma once

#include <string>
#include <vector>

namespace clipchain {

struct Fitting {
  // Adapt nothing: what does not fit as it is is refused.
  bool exact = false;
  // Go on with the tracks that all clips have.
  bool commonTracks = false;
  // Do not keep sound and picture in step where clips meet.
  bool seamsAsTheyAre = false;
  // Let each clip begin a chapter of the result, at the moment at which its first picture is shown.
  // Needs an adaptation, and can't be had with `exact`.
  bool chapters = false;
  // What the chapters are called, one for each clip, in UTF-8; empty for the names of the clips.
  std::vector<std::string> titles{};
};

// One thing that is adapted in one clip.
struct Adapted {
  // Of the kind, for programs: "top-level".
  std::string name;
  // What the kind is, for people.
  std::string words;
  // Of the clip.
  std::string path;
  // Identifier of its track; 0 if it is about no one track.
  unsigned int track = 0;
  // The rest of a sentence that begins with the path.
  std::string text;
};

}  // namespace clipchain
