#include "reader/sample_table_reader.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "box/box_factory.h"
#include "box/sample_entries.h"
#include "box/sample_table_boxes.h"
#include "reader/sample_table_utility.h"
#include "reader/time_scale.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

constexpr unsigned long long kLargest32BitOffset = 0xFFFFFFFF;

// What an entry of "stsc" stands for: `chunkNum` chunks from number `firstChunk`, from 1.
struct ChunkRun {
  unsigned int firstChunk;
  unsigned int end;  // the number behind the last chunk; the last entry goes on to 0xFFFFFFFF
  unsigned int samplesPerChunk;

  unsigned int ChunkNum() const { return end - std::min(end, firstChunk); }
};

ChunkRun ChunkRunAt(const QUIRVA::Table<_tagSAMPLE_TO_CHUNK>& entries, std::size_t i) {
  const unsigned int end = i + 1 < entries.size() ? entries[i + 1].firstChunk : 0xFFFFFFFFu;
  return {entries[i].firstChunk, end, entries[i].samplesPerChunk};
}

// As moving them `times` times by `delta` would.
template <class Offset>
void MoveOffsets(QUIRVA::Table<Offset>& offsets, long long delta, unsigned int times) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  if (delta > 0) {
    const std::uint64_t up = static_cast<std::uint64_t>(delta) * times;
    for (Offset& offset : offsets) offset = static_cast<Offset>(offset + up);
  } else {
    const std::uint64_t once = 0 - static_cast<std::uint64_t>(delta);
    const std::uint64_t down = times != 0 && once > kMost / times ? kMost : once * times;
    for (Offset& offset : offsets)
      offset = offset > down ? static_cast<Offset>(offset - down) : Offset{0};
  }
}

}  // namespace

unsigned int CSampleTableReader::GetSampleEntryType() const {
  const CSampleEntry* entry = CSampleTableBox_wr(sampleTable).SampleEntry(0);
  return entry != nullptr ? static_cast<unsigned int>(entry->header->type) : 0;
}

unsigned int CSampleTableReader::GetSampleNum() const {
  const CSampleTableBox_wr table(sampleTable);
  if (const auto* sizes = table.SampleSizeBox()) return sizes->record->sampleCount;
  if (const auto* sizes = table.CompactSampleSizeBox()) return sizes->record->sampleCount;
  return 0;
}

unsigned int CSampleTableReader::GetChunkNum() const {
  const CSampleTableBox_wr table(sampleTable);
  if (const auto* box = table.ChunkOffsetBox())
    return static_cast<unsigned int>(box->entries.size());
  if (const auto* box = table.ChunkLargeOffsetBox())
    return static_cast<unsigned int>(box->entries.size());
  return 0;
}

HRESULT CSampleTableReader::SampleIndexToPreSyncSample(unsigned int index,
                                                       unsigned int* sync) const {
  RETURN_IF(sync == nullptr, E_POINTER);
  *sync = index;
  const CSyncSampleBox* box = CSampleTableBox_wr(sampleTable).SyncSampleBox();
  if (box == nullptr) return S_OK;
  const std::uint64_t sampleNumber = std::uint64_t{index} + 1;
  const auto found =
      std::find_if(box->entries.rbegin(), box->entries.rend(),
                   [sampleNumber](unsigned int number) { return number <= sampleNumber; });
  *sync = (found != box->entries.rend() ? *found : 1) - 1;
  return S_OK;
}

HRESULT CSampleTableReader::SampleIndexToNextSyncSample(unsigned int index,
                                                        unsigned int* sync) const {
  RETURN_IF(sync == nullptr, E_POINTER);
  *sync = index;
  const CSyncSampleBox* box = CSampleTableBox_wr(sampleTable).SyncSampleBox();
  if (box == nullptr) return S_OK;
  const std::uint64_t sampleNumber = std::uint64_t{index} + 1;
  const auto found =
      std::find_if(box->entries.begin(), box->entries.end(),
                   [sampleNumber](unsigned int number) { return number > sampleNumber; });
  *sync = found != box->entries.end() ? *found - 1 : GetSampleNum();
  return found != box->entries.end() ? S_OK : S_FALSE;
}

HRESULT CSampleTableReader::SampleIndexToChunkIndex(unsigned int index, unsigned int* chunk,
                                                    unsigned int* firstSample) const {
  RETURN_IF(chunk == nullptr, E_POINTER);
  const CSampleToChunkBox* box = CSampleTableBox_wr(sampleTable).SampleToChunkBox();
  RETURN_IF(box == nullptr, E_BAD_DATA);
  unsigned int rest = index;
  for (std::size_t i = 0; i < box->entries.size(); ++i) {
    const ChunkRun run = ChunkRunAt(box->entries, i);
    if (run.samplesPerChunk == 0) continue;
    const unsigned int chunksBefore = rest / run.samplesPerChunk;
    if (chunksBefore < run.ChunkNum()) {
      const unsigned int number = run.firstChunk + chunksBefore;
      *chunk = number < 2 ? 0 : number - 1;
      if (firstSample != nullptr) *firstSample = index - rest % run.samplesPerChunk;
      return S_OK;
    }
    // Fits: there are no more than `chunksBefore` chunks in the run.
    rest -= run.samplesPerChunk * run.ChunkNum();
  }
  return E_INVALIDARG;
}

HRESULT CSampleTableReader::SampleIndexToPosSize(unsigned int index, long long* position,
                                                 unsigned int* size) const {
  RETURN_IF(position == nullptr || size == nullptr, E_POINTER);
  unsigned int chunk = 0;
  unsigned int firstSample = 0;
  RETURN_IF_NOT_OK(SampleIndexToChunkIndex(index, &chunk, &firstSample));
  const CSampleTableUtility utility(sampleTable);
  *position = WrappingSum(utility.ChunkPos(chunk), utility.SampleSizeSum(firstSample, index));
  *size = static_cast<unsigned int>(utility.SampleSizeSum(index, index + 1));
  return S_OK;
}

HRESULT CSampleTableReader::ChunkIndexToSampleIndex(unsigned int chunk, unsigned int* index,
                                                    signed char last) const {
  RETURN_IF(index == nullptr, E_POINTER);
  const CSampleToChunkBox* box = CSampleTableBox_wr(sampleTable).SampleToChunkBox();
  RETURN_IF(box == nullptr, E_BAD_DATA);
  const std::uint64_t chunkNumber = std::uint64_t{chunk} + 1;
  unsigned int sum = 0;
  for (std::size_t i = 0; i < box->entries.size(); ++i) {
    const ChunkRun run = ChunkRunAt(box->entries, i);
    RETURN_IF(run.samplesPerChunk == 0, E_BAD_DATA);
    if (chunkNumber < run.end) {
      const unsigned int number = static_cast<unsigned int>(chunkNumber);
      const unsigned int chunksBefore = number - std::min(number, run.firstChunk);
      *index = sum + run.samplesPerChunk * chunksBefore + (last == 1 ? run.samplesPerChunk - 1 : 0);
      return S_OK;
    }
    sum += run.samplesPerChunk * run.ChunkNum();
  }
  *index = sum;
  return S_FALSE;
}

HRESULT CSampleTableReader::RewriteChunkOffset(long long delta) {
  return RewriteChunkOffset(delta, 1);
}

HRESULT CSampleTableReader::RewriteChunkOffset(long long delta, unsigned int times) {
  const CSampleTableBox_wr table(sampleTable);
  if (CChunkOffsetBox* narrow = table.ChunkOffsetBox()) {
    constexpr long long kMost = kLargest32BitOffset;
    RETURN_IF(delta > kMost || delta < -kMost, E_INVALIDARG);
    MoveOffsets(narrow->entries, delta, times);
    return S_OK;
  }
  CChunkLargeOffsetBox* wide = table.ChunkLargeOffsetBox();
  RETURN_IF(wide == nullptr, E_BAD_DATA);
  MoveOffsets(wide->entries, delta, times);
  return S_OK;
}

bool CSampleTableReader::RestChunkExist() const {
  const CSampleToChunkBox* box = CSampleTableBox_wr(sampleTable).SampleToChunkBox();
  return box != nullptr && box->entries.size() == 2 &&
         box->entries[0].samplesPerChunk != box->entries[1].samplesPerChunk;
}

HRESULT CSampleTableReader::ConvertChunkOffsetToChunkLargeOffset() {
  RETURN_IF(sampleTable == nullptr, E_POINTER);
  std::list<CBox*>& children = sampleTable->children;
  const auto place = std::find_if(children.begin(), children.end(), [](const CBox* child) {
    return child != nullptr && child->header->type == FourCc("stco");
  });
  if (place == children.end()) return S_OK;
  auto* narrow = dynamic_cast<CChunkOffsetBox*>(*place);
  RETURN_IF(narrow == nullptr, E_UNEXPECTED);

  CChunkLargeOffsetBox* wide = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CChunkLargeOffsetBox>(FourCc("co64"), &wide));
  sampleTable->InsertChildBox(place, wide);
  wide->entries.assign(narrow->entries.begin(), narrow->entries.end());
  sampleTable->DeleteChildBox(narrow);
  return S_OK;
}

bool CSampleTableReader::CanConvertChunkLargeOffsetToChunkOffset() const {
  const CChunkLargeOffsetBox* wide = CSampleTableBox_wr(sampleTable).ChunkLargeOffsetBox();
  return wide != nullptr && !wide->entries.empty() && wide->entries.back() <= kLargest32BitOffset;
}

HRESULT CSampleTableReader::ConvertChunkLargeOffsetToChunkOffset() {
  RETURN_IF(!CanConvertChunkLargeOffsetToChunkOffset(), S_FALSE);
  // Found by its class: a box that was made by code has no type in its header before FixParam.
  CChunkLargeOffsetBox* wide = CSampleTableBox_wr(sampleTable).ChunkLargeOffsetBox();
  std::list<CBox*>& children = sampleTable->children;

  CChunkOffsetBox* narrow = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CChunkOffsetBox>(FourCc("stco"), &narrow));
  sampleTable->InsertChildBox(std::find(children.begin(), children.end(), wide), narrow);
  const auto tooLarge =
      std::find_if(wide->entries.begin(), wide->entries.end(),
                   [](unsigned long long offset) { return offset > kLargest32BitOffset; });
  narrow->entries.resize(static_cast<std::size_t>(tooLarge - wide->entries.begin()));
  std::transform(wide->entries.begin(), tooLarge, narrow->entries.begin(),
                 [](unsigned long long offset) { return static_cast<unsigned int>(offset); });
  RETURN_IF(tooLarge != wide->entries.end(), E_UNEXPECTED);
  sampleTable->DeleteChildBox(wide);
  return S_OK;
}

}  // namespace MP4G
