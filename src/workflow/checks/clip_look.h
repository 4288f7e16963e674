// Looks at one clip by itself, as a merge reads it.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "adapt/clips/clip_view.h"
#include "adapt/fit.h"
#include "workflow/clips/clip_file.h"
#include "workflow/clips/order_facts.h"
#include "workflow/clips/track_facts.h"
#include "workflow/findings/file_findings.h"

namespace clipchain {

struct ClipLookTask {
  const std::string& path;
  // Of whose clips it is number `index`; null: the file is read as it is.
  const Fit* fit;
  std::size_t index;
  // There is no other clip.
  bool alone;
  // Whether anybody asks for its times.
  bool timed;
};

class ClipLook {
 public:
  // Opens the clip. One whose boxes take no more than `memory` bytes is looked at too.
  ClipLook(const ClipLookTask& task, long long memory);

  // Parses the clip and finds what speaks against it, unless that is done. Nothing else is known of
  // it before, but what its headers at the top level say.
  void Look();

  // Null if there is no view of it.
  std::unique_ptr<ClipFile> clip;
  // Null where the file is read as it is.
  QUIRVA::ComPtr<ClipView> view;
  FileFindings findings;
  OrderFacts order;
  // When its tracks are shown, where that is asked for and known.
  std::map<const MP4G::CTrackBox*, TrackTimes> times;
  // Whether the engine can parse it.
  bool isParsed = false;

 private:
  bool alone_;
  bool timed_;
  bool isDone_ = false;
};

}  // namespace clipchain
