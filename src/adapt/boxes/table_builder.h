// Grows the sample tables of a track, sample by sample or in runs of samples that are alike.
#pragma once

#include <cstdint>
#include <vector>

#include "adapt/boxes/fragment_run.h"
#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/reason.h"

namespace clipchain {

class TableBuilder {
 public:
  // Takes over what the tables in the movie box hold. Not those that are damaged,
  // disagree about the number of samples, or lack a box: why, as the rest of a sentence that begins
  // with the track's. A table without samples needs none.
  [[nodiscard]] Reason TakeTables(const RawBox& table);

  // Appends a chunk of samples that all have that description.
  [[nodiscard]] bool AppendRun(const FragmentRun& run, std::uint64_t position,
                               std::uint32_t description);
  // Lets the next sample be decoded at that time, counted from the first sample: the one before it
  // lasts until then. False: it would have to last less than nothing, or longer than 32 bits say.
  [[nodiscard]] bool MoveTo(std::uint64_t time);
  // What "sdtp" says of the last samples (8.6.4), in place of their flags.
  void SetDependencies(std::span<const unsigned char> bytes);

  std::uint32_t Count() const { return sizes_.count; }
  // When the sample behind the last one is decoded.
  std::uint64_t End() const { return end_; }
  // When the first sample is shown, and when the last one that is shown ends, each counted from the
  // time at which the first one is decoded; 0 without samples.
  std::int64_t FirstShown() const;
  std::int64_t LastShown() const;
  // Whether samples say how much they matter or end in padding, which no table is made of.
  bool HasUntoldFlags() const;

  // Puts the tables into "stbl", in place of those that are there. False: a table that has no form.
  [[nodiscard]] bool Write(RawBox& table) const;

 private:
  // So many samples with such flags.
  struct FlagRun {
    std::uint32_t count;
    std::uint32_t flags;
  };

  bool Append(std::uint32_t count, const FragmentSample& sample);
  void AppendSizes(std::uint32_t count, std::uint32_t size);
  void AppendFlags(std::uint32_t count, std::uint32_t flags);
  [[nodiscard]] Reason TakeFlags(const RawBox& table);
  std::vector<std::uint32_t> SyncSamples() const;
  Bytes Dependencies() const;
  bool IsAny(std::uint32_t mask) const;
  template <typename Visit>
  void ForEachTime(Visit visit) const;

  TimeRuns times_;
  OffsetRuns offsets_;
  SampleSizes sizes_;
  std::vector<FlagRun> flags_;
  ChunkRuns chunkRuns_;
  std::vector<std::uint64_t> chunks_;
  std::uint64_t end_ = 0;
};

// Puts a box in the place of the children of its type, or behind the others where there was none.
void ReplaceChild(RawBox& parent, RawBox child);

}  // namespace clipchain
