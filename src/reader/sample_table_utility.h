// Byte sums of samples and file positions of chunks, from the tables of one "stbl".
#pragma once

namespace MP4G {

class CSampleTableBox;

// Knows "stsz" and "stco" only: with "stz2" every sum is 0, with "co64" every chunk lies at 0.
class CSampleTableUtility {
 public:
  // The box, which may be null, must outlive this object.
  explicit CSampleTableUtility(CSampleTableBox* box) : sampleTable(box) {}
  virtual ~CSampleTableUtility() = default;
  void ResetClass() {}

  // Bytes of the samples from `first` up to but not including `last`. With one size for all
  // samples, samples that do not exist count too.
  long long SampleSizeSum(unsigned int first, unsigned int last) const;
  long long SampleSizeSumFromSampleSizeBox(unsigned int first, unsigned int last) const;
  long long SampleSizeSumFromCompactSampleSizeBox(unsigned int first, unsigned int last) const;

  // The position of chunk `index`, from 0; 0 if there is none.
  long long ChunkPos(unsigned int index) const;
  long long ChunkPosFromChunkOffsetBox(unsigned int index) const;
  long long ChunkPosFromChunkLargeOffsetBox(unsigned int index) const;

  CSampleTableBox* sampleTable;  // not owned
};

}  // namespace MP4G
