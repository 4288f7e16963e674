// Says what may be done to clips so that they fit each other.
#pragma once

#include <limits>
#include <string>
#include <vector>

namespace clipchain {

struct FitOptions {
  // Nothing: clips that do not fit as they are are refused.
  bool exact = false;
  // Go on with the tracks that all clips have, and leave the others out.
  bool commonTracks = false;
  // Join the clips as they are, without keeping sound and picture in step where one clip follows
  // the other.
  bool seamsAsTheyAre = false;
  // Let each clip begin a chapter.
  bool chapters = false;
  // Titles of the chapters, one for each clip; empty for the names of the clips.
  std::vector<std::string> titles{};
  // Bytes that movie boxes and what is made of them may take in memory.
  long long memoryLimit = std::numeric_limits<long long>::max();
};

}  // namespace clipchain
