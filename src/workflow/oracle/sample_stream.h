// Reads the samples of a track in decode order, from its tables (ISO/IEC 14496-12, clause 8.6
// and 8.7) and its fragments (clause 8.8).
#pragma once

#include <vector>

#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

// Samples that are alike and lie one behind the other.
struct SampleRun {
  Number count = 0;
  // Of the first one in the file.
  Number position = 0;
  // False: no chunk has them.
  bool placed = true;
  std::uint32_t size = 0;
  std::uint32_t description = 0;
  // From its decode time to that of the next sample.
  long long step = 0;
  std::int32_t offset = 0;
  bool sync = true;
  // "stps".
  bool partialSync = false;
  // The byte of "sdtp"; -1 where nothing says.
  int depends = -1;
};

// Pairs of a count and a value, as in "stts" and "ctts".
class RunCursor {
 public:
  explicit RunCursor(View entries) : entries_(entries) { Settle(); }
  // How many samples the value holds for.
  Number Left() const { return left_; }
  std::uint32_t Value() const { return value_; }
  void Skip(Number count) {
    for (; count >= left_; Settle()) count -= left_;
    left_ -= count;
  }

 private:
  // To the next entry that counts samples; behind the last one the value is 0 without end.
  void Settle();

  View entries_;
  Number left_ = 0;
  std::uint32_t value_ = 0;
};

// Ascending sample numbers, as in "stss".
class NumberCursor {
 public:
  explicit NumberCursor(View numbers) : numbers_(numbers) {}
  // Whether `sample`, which never decreases and counts from 1, is among them.
  bool Has(Number sample) {
    if (next_ < sample) GoTo(sample);
    return next_ == sample;
  }
  // Samples from there on for which the answer is the same.
  Number Left(Number sample) const { return next_ > sample ? next_ - sample : 1; }

 private:
  void GoTo(Number sample);

  View numbers_;
  std::size_t at_ = 0;
  Number next_ = 0;
};

// Chunks by "stsc" and "stco" or "co64".
class ChunkCursor {
 public:
  explicit ChunkCursor(View table);
  // Samples that the chunk has left; 0: there are no more chunks.
  Number Left() {
    if (left_ == 0) Open();
    return left_;
  }
  Number Position() const { return position_; }
  std::uint32_t Description() const { return description_; }
  void Skip(Number count, std::uint32_t size) {
    left_ -= count;
    position_ += count * size;
  }

 private:
  // The next chunk that has samples.
  void Open();

  View offsets_;
  View runs_;
  bool wide_;
  // The next one.
  std::size_t chunk_ = 0;
  std::size_t run_ = 0;
  Number left_ = 0;
  Number position_ = 0;
  std::uint32_t description_ = 0;
};

// Sizes by "stsz" or "stz2".
class SizeTable {
 public:
  explicit SizeTable(View table);
  Number Count() const { return count_; }
  bool Uniform() const { return uniform_; }
  // Counts from 0.
  std::uint32_t Of(Number sample) const {
    const auto at = static_cast<std::size_t>(sample);
    if (uniform_) return size_;
    return bits_ == 32 ? U32(entries_, at * 4) : Compact(at);
  }

 private:
  std::uint32_t Compact(std::size_t at) const;

  View entries_;
  unsigned int bits_ = 32;
  bool uniform_ = false;
  std::uint32_t size_ = 0;
  Number count_ = 0;
};

class SampleStream {
 public:
  // Both must outlive the stream.
  SampleStream(const SampleFile& file, const TrackView& track);

  // Of all samples.
  Number Count() const { return count_; }
  // Of those that were skipped.
  Number Done() const { return done_; }
  // Decode time of the first one.
  Number Start() const { return start_; }
  // Whether chunks have room for more samples than are left, once all are skipped.
  bool HasMore() { return chunks_.Left() > 0; }
  // The next samples; false behind the last one, or where a fragment can't be read again: then what
  // `run` says means nothing.
  bool Next(SampleRun& run);
  // No more than the run has.
  void Skip(Number count);

 private:
  void NextOfTables(SampleRun& run);
  bool NextOfFragment(SampleRun& run);
  bool OpenFragment();
  bool OpenRun();
  Number AlikeInRun() const;

  const SampleFile& file_;
  const TrackView& track_;
  SizeTable sizes_;
  RunCursor steps_;
  RunCursor offsets_;
  ChunkCursor chunks_;
  bool hasSyncTable_;
  NumberCursor syncs_;
  NumberCursor partialSyncs_;
  View dependencies_;
  Number count_ = 0;
  Number done_ = 0;
  Number start_ = 0;
  // Between the samples of the tables and those of the first fragment; the last one of the tables
  // stays until then.
  long long gap_ = 0;
  // Of the run that was told.
  std::uint32_t lastSize_ = 0;

  // The next one.
  std::size_t fragment_ = 0;
  std::vector<unsigned char> bytes_;
  // Of the fragment, behind the run at work.
  View boxes_;
  Number leftInFragment_ = 0;
  TrackRun run_;
  // Samples of it that were skipped.
  std::size_t inRun_ = 0;
  Number position_ = 0;
};

}  // namespace clipchain::samples
