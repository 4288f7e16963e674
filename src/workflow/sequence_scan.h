// Registers a number of clips and tells what sequences they form.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "clip/vireo_mp4.h"
#include "foundation/export.h"
#include "foundation/guid.h"
#include "foundation/result.h"
#include "workflow/clip_card.h"
#include "workflow/clip_search.h"
#include "workflow/progress.h"

namespace clipchain {

struct SequenceClip {
  std::string path;
  // Index into the volumes that were scanned.
  unsigned int volume;
  // By which the clip's neighbours know it; zero if it has none.
  _GUID id{};
  // None if it is not known.
  std::optional<MP4G::_tagSequenceTimedate> date;
  // Of the file, in bytes.
  long long size = 0;
  // Duration and thumbnail, if they were asked for and could be read.
  ClipCard card;
  // Of the clips in front and behind; zero if there is none.
  _GUID previousID{};
  _GUID nextID{};
};

struct SequenceReport {
  // Of the first clip; none if it is not known.
  std::optional<MP4G::_tagSequenceTimedate> date;
  // Nothing is missing in front.
  bool closedAtHead;
  // Nothing is missing behind.
  bool closedAtTail;
  // The first clip carries the camera's marker.
  bool cameraStream;
  // By which the ends are known.
  _GUID headID;
  _GUID tailID;
  // That the clips lie on, ascending.
  std::vector<unsigned int> volumes;
  // From head to tail.
  std::vector<SequenceClip> clips;
  // Index of the recording that has all of its clips a second time, by identifier and size: this
  // one is a copy of that one or of a part of it.
  std::optional<std::size_t> copyOf{};
};

// Whether identifiers tell what it belongs to. A clip that has none stands alone, and nobody knows
// whether it is whole.
CLIPCHAIN_API bool IsIdentified(const SequenceReport& sequence);

// How long a clip runs, and all clips of a sequence one behind the other. Nothing if it is not
// known, be it of one clip alone.
CLIPCHAIN_API std::optional<double> Seconds(const SequenceClip& clip);
CLIPCHAIN_API std::optional<double> Seconds(const SequenceReport& sequence);

struct RejectedClip {
  std::string path;
  HRESULT result;
};

struct ScanOptions {
  // Join two last sequences if the timecode of one runs on from the other's.
  bool salvage = false;
  // Cut sequences where their volume changes, sparing the first such one.
  bool divide = false;
  // Read each clip's duration, which takes another look at it.
  bool lengths = false;
  // Read its duration and its picture.
  bool cards = false;
  // Told before each look at a clip; false ends the scan.
  Progress progress{};
};

struct ScanReport {
  // Roughly in the order of their dates.
  std::vector<SequenceReport> sequences;
  // Clips that could not be registered, not even as a merge takes them adapted, in order; behind
  // them those that were, and could not be read once more for their card.
  std::vector<RejectedClip> rejected;
  // Whether salvage joined two sequences.
  bool joined = false;
  // Why it did not, where it was asked for: a sentence without its full stop.
  std::string whyNotJoined{};
  // What kept salvage from reading a timecode.
  HRESULT salvaged = S_OK;
  HRESULT divided = S_OK;
  // By `progress`: nothing else is told.
  bool stopped = false;
};

// Registers the clips volume by volume. Salvage runs before the division.
CLIPCHAIN_API ScanReport Scan(const std::vector<Volume>& volumes, const ScanOptions& options);

}  // namespace clipchain
