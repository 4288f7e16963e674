// Tells when the samples of a track are shown (ISO/IEC 14496-12, clause 8.6.5 and 8.6.6).
#pragma once

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

using Seconds = long double;

// An edit list that delays a track and then shows its media in a row, or none at all.
struct Showing {
  // False: it is a list of another kind, and the rest means nothing.
  bool inARow = true;
  Seconds delay = 0;
  // Of what is shown, in media time.
  Seconds begin = 0;
  Seconds length = 0;
  // It has no length of its own.
  bool toEnd = true;

  // When a composition time is shown.
  Seconds At(Seconds composition) const { return delay + composition - begin; }
};

Showing ShowingOf(const SampleFile& file, const TrackView& track);

// The times of a track, sample run by sample run, in its own scale.
class TrackClock {
 public:
  // A track whose first sample is decoded at `start`.
  explicit TrackClock(long long start = 0) : decode_(start) {}

  // Of the next sample.
  long long Decode() const { return decode_; }
  // `count` samples with that step and composition offset.
  void Add(Number count, long long step, long long offset);
  // The samples of a clock that was started where this one stands.
  void Append(const TrackClock& later);

  bool HasSamples() const { return any_; }
  // Over all samples so far; without any, 0.
  long long FirstShown() const { return first_; }
  // Where that which begins last begins.
  long long LastShown() const { return last_; }
  long long LastEnd() const { return end_; }
  long long LongestStep() const { return longest_; }
  // Of the one shown first.
  long long FirstStep() const { return firstStep_; }
  long long LastStep() const { return step_; }
  long long LeastOffset() const { return leastOffset_; }
  long long GreatestOffset() const { return greatestOffset_; }

 private:
  long long decode_;
  bool any_ = false;
  long long first_ = 0;
  long long last_ = 0;
  long long end_ = 0;
  long long longest_ = 0;
  long long step_ = 0;
  long long firstStep_ = 0;
  long long leastOffset_ = 0;
  long long greatestOffset_ = 0;
};

}  // namespace clipchain::samples
