// Reads what one file says about itself: its movie, its tracks, what the camera noted, its boxes.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "clip/vireo_mp4.h"
#include "foundation/export.h"
#include "foundation/guid.h"
#include "foundation/result.h"

namespace clipchain {

struct TrackInfo {
  unsigned int id;
  unsigned int handler;                     // four-character code; 0 without a handler
  std::vector<unsigned int> sampleEntries;  // four-character codes
  unsigned int samples;
  unsigned int timeScale;  // ticks a second
  long long duration;      // of the media, in ticks of the track
};

struct BoxInfo {
  unsigned int type;   // four-character code
  long long position;  // of the first byte in the file
  long long size;      // of the whole box
  _GUID usertype;      // of a "uuid" box
  unsigned int depth;  // 0 at the top level
};

struct ClipInfo {
  // Of the file, in bytes.
  long long size = 0;
  // Of the movie, ticks a second.
  unsigned int timeScale = 0;
  // Of the movie, in its ticks.
  long long duration = 0;
  std::optional<MP4G::_tagSequenceTimedate> date;
  _GUID uniqueID{};
  _GUID previousID{};
  _GUID nextID{};
  // The camera's marker was seen.
  bool cameraStream = false;
  // The camera's identifiers were read.
  bool hasIdentifiers = false;
  std::vector<TrackInfo> tracks;
  // S_FALSE: a box is cut short, and the tree ends there.
  HRESULT boxesResult = S_OK;
  // What kept the camera's boxes from being read whole.
  HRESULT analysis = S_OK;
};

struct ClipInfoOptions {
  // Bytes that the boxes may take in memory; 0: half of the machine's memory.
  long long memoryLimit = 0;
  // Told of each box, in file order and children behind their parent, once all else of a readable
  // clip stands in `info`; false ends the list. May be empty.
  std::function<bool(const BoxInfo&)> box{};
};

// Reads everything but the media. A negative code, or S_FALSE where no movie could be read: the
// file is no readable clip, and `info` holds as much as was found. E_OUTOFMEMORY, with no box read,
// where the limit does not suffice.
[[nodiscard]] CLIPCHAIN_API HRESULT ReadClipInfo(const std::string& path, ClipInfo& info,
                                                 const ClipInfoOptions& options = {});

}  // namespace clipchain
