// Makes a clip whole again whose movie box was lost, by what its neighbours teach.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/safe_merge.h"

namespace clipchain {

struct RescueStep {
  enum class Phase { kLooking, kSearching, kCopying, kVerifying, kFlushing } phase;
  // Bytes.
  long long current;
  long long total;
};

struct RescueOptions {
  // Intact clips of the same camera, the most alike first. None: those beside the broken clip are
  // tried, the one before it first.
  std::vector<std::string> references;
  std::string output;
  // An output that exists is replaced, by the final rename only.
  bool overwrite = false;
  Verification verification = Verification::kSeams;
  // Told about each step; false ends the work, which leaves nothing behind. May be empty.
  std::function<bool(const RescueStep&)> progress;
};

struct RescuedTrack {
  unsigned int id = 0;
  // Of its handler, "vide".
  std::string kind;
  // Of its samples, "avc1".
  std::string format;
  // How its samples were found: "records", "units", "markers", "decoder", "headers", "constant
  // size", "place"; empty: there is no way.
  std::string method;
  long long samples = 0;
  long long bytes = 0;
  double seconds = 0;
  // What the reference does not settle.
  bool timesEstimated = false;
  bool offsetsEstimated = false;
  bool syncEstimated = false;
};

// Bytes of the broken clip.
struct UnknownRange {
  long long begin;
  long long end;
};

struct RescueReport {
  // The output is complete, verified and on the disk.
  bool done = false;
  // The clip that was learned from; empty if none fits.
  std::string reference;
  // Those of the reference, in its order.
  std::vector<RescuedTrack> tracks;
  // Parts of the media that hold no sample that is sure.
  std::vector<UnknownRange> unknown;
  Findings findings;
  // Of the output, in bytes; 0 unless it has its name.
  long long size = 0;
};

// Finds the samples of a clip whose movie box is missing or cut off, and writes them with new
// tables to a file of their own. Every sample is one of the clip's, whole and in its order; what is
// not sure is left out and named. The broken clip is only read.
//
// The output comes into being as that of a merge does: beside its place, verified, flushed, then
// renamed. What fails leaves no output.
[[nodiscard]] CLIPCHAIN_API RescueReport Rescue(const std::string& broken,
                                                const RescueOptions& options);

// Whether a file is a clip that a rescue may help: it has media and no whole movie box.
[[nodiscard]] CLIPCHAIN_API bool NeedsRescue(const std::string& path);

}  // namespace clipchain
