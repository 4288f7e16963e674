// Holds what was learned from a reference, and what of it holds: how each of its
// tracks is found.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/rescue/access_units.h"
#include "workflow/rescue/gap_patterns.h"
#include "workflow/rescue/record_method.h"
#include "workflow/rescue/reference.h"
#include "workflow/rescue/sound_clock.h"

namespace clipchain::rescue {

struct Model {
  const Reference* reference = nullptr;
  // The track of length-prefixed video, if there is one.
  std::optional<std::size_t> video;
  VideoSyntax syntax;
  // Of that video.
  Bytes configuration;
  UnitHabits habits;
  FrameMethods methods;
  GapPatterns patterns;
  SoundOrder order;
  std::vector<SoundLead> leads;
  // The reference's own, the first ones.
  std::vector<PictureFacts> pictures;
  // Where records stand in front of the samples.
  std::optional<RecordMethod> records;

  // By which way a track is found: "records", "units", …; empty where there is
  // none.
  std::string MethodOf(std::size_t track) const;
};

// Learns all there is, and tries it on the reference itself: a method that
// gives anything but the reference's own samples is dropped. What speaks
// against the reference, as the rest of a sentence that begins with its name.
[[nodiscard]] Reason LearnModel(const Reference& reference, Model& model);

}  // namespace clipchain::rescue
