// Answers questions about one "stbl": samples, chunks, times, sync samples, and changes some of it.
#pragma once

#include <list>

#include "foundation/result.h"

namespace MP4G {

class CSampleTableBox;

// A view without a cache: a change in the boxes is seen at once, and each query walks the tables
// anew, one step for an entry and never one for a sample or chunk that a number in the file claims.
//
// Sample and chunk indexes count from 0. Times are in the media's time scale and sample 0 is
// decoded at 0; sums beyond 64 bits wrap. Composition offsets are unsigned: negative ones are read
// as huge.
//
// Of the queries that return a code, a null place for the answer gives E_POINTER, a missing table
// E_BAD_DATA, and S_FALSE means that the answer is the nearest and not an exact one. A change that
// fails leaves what it did so far.
class CSampleTableReader {
 public:
  // The box, which may be null, must outlive this object.
  explicit CSampleTableReader(CSampleTableBox* box) : sampleTable(box) {}
  virtual ~CSampleTableReader() = default;
  void Reset() {}

  unsigned int GetSampleEntryType() const;  // header type of the first entry, 0 if there is none
  unsigned int GetSampleNum() const;        // sample count of "stsz", else of "stz2", else 0
  unsigned int GetChunkNum() const;         // entries of "stco", else of "co64", else 0
  long long GetSampleDeltaSum() const;      // the media's duration; 0 without "stts"

  // The first sample in decoding order that is presented at `cts`. Otherwise S_FALSE with sample 0
  // if all samples are later, or with the last sample, which is 0 for an empty table.
  //
  // With "ctts", a table that is short by one sample gives that sample an offset of 0; a search
  // that goes further ends with E_BAD_DATA. Without, the search goes by decoding times, the first
  // sample answers for what is before it, and a time equal to the duration gives the number of
  // samples, all with S_OK.
  [[nodiscard]] HRESULT CtsToSample(long long cts, unsigned int* index) const;

  // The nearest sync sample at or before the sample, or else sample 0. Without "stss" every sample
  // is one.
  [[nodiscard]] HRESULT SampleIndexToPreSyncSample(unsigned int index, unsigned int* sync) const;
  // The first sync sample behind the sample; S_FALSE with the number of samples if there is none.
  // Without "stss" the sample itself.
  [[nodiscard]] HRESULT SampleIndexToNextSyncSample(unsigned int index, unsigned int* sync) const;

  // E_INVALIDARG for a sample that does not exist.
  [[nodiscard]] HRESULT SampleIndexToCts(unsigned int index, long long* cts) const;
  // The earliest composition time of this sample and the nine that are decoded behind it;
  // 0x7FFFFFFFFFFFFFFF if there are none.
  [[nodiscard]] HRESULT SampleIndexToLeastCts(unsigned int index, long long* cts) const;
  // Appends the composition times of the samples from `index` on, in decoding order, until the list
  // has `count` entries. The offsets are added from the start of the list, which is therefore to be
  // empty.
  [[nodiscard]] HRESULT CreateCtsList(unsigned int index, unsigned int count,
                                      std::list<long long>& list) const;

  // The chunk that holds the sample and the first sample in it, which may be null. The last entry
  // of "stsc" goes on for ever, so a sample behind the last one gets a chunk behind the last one.
  // E_INVALIDARG if no entry holds it.
  [[nodiscard]] HRESULT SampleIndexToChunkIndex(unsigned int index, unsigned int* chunk,
                                                unsigned int* firstSample) const;
  // Where the sample lies in the file and how large it is, as CSampleTableUtility has it.
  [[nodiscard]] HRESULT SampleIndexToPosSize(unsigned int index, long long* position,
                                             unsigned int* size) const;
  // The chunk's first sample, or its last if `last` is 1. S_FALSE for a chunk that no entry holds.
  // E_BAD_DATA if chunks without samples are met on the way.
  [[nodiscard]] HRESULT ChunkIndexToSampleIndex(unsigned int chunk, unsigned int* index,
                                                signed char last) const;

  // Converts durations and offsets one by one, truncated. E_INVALIDARG if a scale is 0 or a result
  // exceeds 32 bits. Missing tables are skipped.
  [[nodiscard]] HRESULT ChangeSampleTableScale(unsigned int from, unsigned int to);
  // Moves every chunk. Downward an offset ends at 0; upward it wraps. E_INVALIDARG if 32-bit
  // offsets are to move by more than 32 bits.
  [[nodiscard]] HRESULT RewriteChunkOffset(long long delta);
  // The same as often as that, in the time of once.
  [[nodiscard]] HRESULT RewriteChunkOffset(long long delta, unsigned int times);
  // Whether "stsc" is one run of chunks and a last group of another length.
  bool RestChunkExist() const;

  // Replaces "stco" by "co64" in the same place. Without "stco" nothing changes. The new box has no
  // parent, and no type in its header before FixParam.
  [[nodiscard]] HRESULT ConvertChunkOffsetToChunkLargeOffset();
  // Replaces "co64" by "stco"; S_FALSE if CanConvertChunkLargeOffsetToChunkOffset says no.
  // E_UNEXPECTED for a larger offset before the last one, which leaves both boxes in the table.
  [[nodiscard]] HRESULT ConvertChunkLargeOffsetToChunkOffset();
  // Whether there is a "co64" whose last offset fits in 32 bits. It alone is looked at.
  bool CanConvertChunkLargeOffsetToChunkOffset() const;

  CSampleTableBox* sampleTable;  // not owned
};

}  // namespace MP4G
