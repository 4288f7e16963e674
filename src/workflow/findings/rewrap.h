// Says how a person makes a clip new that a merge can't take as it is.
#pragma once

#include <string>

namespace clipchain {

// All of the picture and sound, and nothing else: left to itself ffmpeg takes one track of each and
// makes a timecode track whose reference a merge can't read. Some shells take a bare question mark
// for a pattern.
inline constexpr const char* kRewrapCommand =
    "ffmpeg -i IN -map 0:v -map '0:a?' -c copy -write_tmcd 0 OUT.mp4";
inline constexpr const char* kRewrapWithoutEditsCommand =
    "ffmpeg -i IN -map 0:v -map '0:a?' -c copy -write_tmcd 0 -use_editlist 0 OUT.mp4";

// A remedy that begins with `what` and names the command.
inline std::string Rewrap(const std::string& what, const char* command = kRewrapCommand) {
  return what + " (" + command +
         ") and keep the original: the copy lacks the camera's identifiers, by which join knows a "
         "clip";
}

}  // namespace clipchain
