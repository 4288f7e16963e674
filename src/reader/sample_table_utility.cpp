#include "reader/sample_table_utility.h"

#include <algorithm>
#include <numeric>
#include <span>

#include "box/sample_table_boxes.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

template <class OffsetBox>
long long PositionIn(const OffsetBox* box, unsigned int index) {
  if (box == nullptr || index >= box->entries.size()) return 0;
  return static_cast<long long>(box->entries[index]);
}

}  // namespace

long long CSampleTableUtility::SampleSizeSum(unsigned int first, unsigned int last) const {
  return SampleSizeSumFromSampleSizeBox(first, last);
}

long long CSampleTableUtility::SampleSizeSumFromSampleSizeBox(unsigned int first,
                                                              unsigned int last) const {
  const CSampleSizeBox* sizes = CSampleTableBox_wr(sampleTable).SampleSizeBox();
  if (sizes == nullptr) return 0;
  const unsigned long long commonSize = sizes->record->sampleSize;
  if (commonSize != 0) return static_cast<long long>(commonSize * (last - std::min(first, last)));
  const std::size_t end = std::min<std::size_t>(last, sizes->entries.size());
  const std::size_t begin = std::min<std::size_t>(first, end);
  const auto run = std::span(sizes->entries).subspan(begin, end - begin);
  return std::accumulate(run.begin(), run.end(), 0LL);
}

long long CSampleTableUtility::SampleSizeSumFromCompactSampleSizeBox(unsigned int,
                                                                     unsigned int) const {
  return 0;
}

// A table of 64-bit offsets is not asked: applications rely on the 0.
long long CSampleTableUtility::ChunkPos(unsigned int index) const {
  return ChunkPosFromChunkOffsetBox(index);
}

long long CSampleTableUtility::ChunkPosFromChunkOffsetBox(unsigned int index) const {
  return PositionIn(CSampleTableBox_wr(sampleTable).ChunkOffsetBox(), index);
}

long long CSampleTableUtility::ChunkPosFromChunkLargeOffsetBox(unsigned int index) const {
  return PositionIn(CSampleTableBox_wr(sampleTable).ChunkLargeOffsetBox(), index);
}

}  // namespace MP4G
