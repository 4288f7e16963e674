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
  // Four-character code; 0 without a handler.
  unsigned int handler;
  // Four-character codes.
  std::vector<unsigned int> sampleEntries;
  unsigned int samples;
  // Ticks a second.
  unsigned int timeScale;
  // Of the media, in ticks of the track.
  long long duration;
};

struct BoxInfo {
  // Four-character code.
  unsigned int type;
  // Of the first byte in the file.
  long long position;
  // Of the whole box.
  long long size;
  // Of a "uuid" box.
  _GUID usertype;
  // 0 at the top level.
  unsigned int depth;
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
