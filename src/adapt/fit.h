// Makes clips of one recording fit each other, so that the engine can merge them, and puts back
// what it could not carry.
//
// The row of adaptations stands in fit.cpp; adaptation.h says what each is and how one is added.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "adapt/clips/adaptation.h"
#include "adapt/clips/clip_view.h"
#include "adapt/clips/fit_clip.h"
#include "adapt/clips/fit_report.h"
#include "adapt/clips/memory_budget.h"
#include "adapt/fit_options.h"
#include "adapt/times/seams.h"
#include "foundation/com_ptr.h"

namespace clipchain {

// Reads the movie boxes of the clips, and holds them, with their tables and without media, as long
// as it lives. What it decides depends on the clips and the options alone, so that the same clips
// give the same result again.
class Fit {
 public:
  Fit(const std::vector<std::string>& paths, const FitOptions& options);

  // Whether anything is adapted. Then every clip is to be read through its view; else none is, and
  // the engine is to read the files as they are.
  bool IsNeeded() const { return !report_.notes.empty(); }
  // Whether the clips were looked at beside each other: false if one of them has no view.
  bool IsAdapted() const { return !row_.empty(); }
  // Whether tracks that not all clips have are left out.
  bool TakesCommonTracks() const { return commonTracks_; }
  // What is done, and what speaks against it; problems of clips that are not needed to be adapted
  // are told too.
  const FitReport& Report() const { return report_; }
  // Whether that clip has a view: false for one that can't be taken apart, of which a problem
  // speaks, and for those behind one for which there is not enough memory. Nothing is adapted then.
  bool HasView(std::size_t clip) const { return usable_[clip]; }

  // The sample tables of all clips together, as a multiple of the first one's; 1 if one could not
  // be read.
  double Growth() const;

  // When the tracks of the clips are shown; empty for a clip alone, and where that is not known.
  const ClipClocks& Clocks() const { return clocks_; }

  // The clip as the engine can take it, with the one media box that its chunk offsets speak of. An
  // object without use, and the reason in `result`, if there is no memory for it. With a `block`, a
  // power of two, its longer ranges are moved by one distance modulo the block.
  QUIRVA::ComPtr<ClipView> View(std::size_t clip, int& result, unsigned int block = 0) const;

  // What the movie box that the engine made of all views becomes in the result. Nothing: it is not
  // of these clips.
  std::optional<Bytes> Complete(Bytes engineMovie) const;

 private:
  // What came of opening a clip.
  struct Opened {
    bool isUsable = false;
    FitReport report{};
    // Of adapting it by itself, one for each adaptation.
    std::vector<FitReport> adapted{};
  };

  std::vector<Opened> OpenAll(const FitOptions& options);
  std::vector<Opened> OpenInOrder(bool exact, std::uint64_t limit);
  Opened Open(std::size_t clip, bool exact, MemoryBudget& memory);
  void AdaptAll(const FitOptions& options, std::vector<Opened> opened);

  FitClips clips_;
  std::vector<bool> usable_;
  std::vector<std::unique_ptr<Adaptation>> row_;
  ClipClocks clocks_;
  FitReport report_;
  bool commonTracks_;
};

}  // namespace clipchain
