// The part of the sample table reader that deals in times.
#include <algorithm>
#include <cstdint>
#include <limits>

#include "box/sample_table_boxes.h"
#include "reader/sample_table_reader.h"
#include "reader/time_scale.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

using DecodingTimes = QUIRVA::Table<_tagDECODING_TIME_TO_SAMPLE>;
using CompositionOffsets = QUIRVA::Table<_tagCOMPOSITION_TIME_TO_SAMPLE>;

constexpr long long kLatestTime = std::numeric_limits<long long>::max();
constexpr unsigned int kLeastCtsSpan = 10;

// How far a search without a match came.
struct SearchEnd {
  std::uint64_t sampleNum = 0;    // samples of the whole table
  long long least = kLatestTime;  // earliest composition time of them
};

// Samples that follow each other and share an offset.
struct OffsetRun {
  unsigned int count;
  unsigned int offset;
};

// Deals out the entries of "ctts" to the samples. One sample behind the last entry is granted an
// offset of 0.
class OffsetCursor {
 public:
  explicit OffsetCursor(const CompositionOffsets& entries)
      : entry_(entries.begin()), end_(entries.end()) {}

  // The run that begins at the next sample, of at most `wanted` samples. E_BAD_DATA when all is
  // dealt out.
  [[nodiscard]] HRESULT Next(unsigned int wanted, OffsetRun& run) {
    RETURN_IF(entry_ == end_, E_BAD_DATA);
    while (entry_ != end_ && used_ == entry_->sampleCount) {
      ++entry_;
      used_ = 0;
    }
    if (entry_ == end_) {
      run = {1, 0};
      return S_OK;
    }
    run = {std::min(wanted, entry_->sampleCount - used_), entry_->sampleOffset};
    used_ += run.count;
    return S_OK;
  }

 private:
  CompositionOffsets::const_iterator entry_;
  CompositionOffsets::const_iterator end_;
  unsigned int used_ = 0;  // samples of the current entry that were dealt out
};

// Within a run the composition times rise by the same delta, so its one possible match is computed.
// Samples of no duration are presented at no time.
HRESULT SearchByOffsets(const DecodingTimes& times, const CompositionOffsets& offsets,
                        long long cts, unsigned int* index, SearchEnd& end) {
  OffsetCursor cursor(offsets);
  std::uint64_t time = 0;
  for (const _tagDECODING_TIME_TO_SAMPLE& entry : times) {
    const std::uint64_t delta = entry.sampleDelta;
    for (unsigned int left = entry.sampleCount; left > 0;) {
      OffsetRun run;
      RETURN_IF_NOT_OK(cursor.Next(left, run));
      const long long first = static_cast<long long>(time + run.offset);
      end.least = std::min(end.least, first);
      if (delta != 0 && first <= cts) {
        const std::uint64_t steps =
            (static_cast<std::uint64_t>(cts) - static_cast<std::uint64_t>(first)) / delta;
        if (steps < run.count) {
          *index = static_cast<unsigned int>(end.sampleNum + steps);
          return S_OK;
        }
      }
      time += run.count * delta;
      end.sampleNum += run.count;
      left -= run.count;
    }
  }
  return S_FALSE;
}

// An entry without duration is passed by its first sample, without a division.
HRESULT SearchByDecodingTimes(const DecodingTimes& times, long long cts, unsigned int* index,
                              SearchEnd& end) {
  std::uint64_t time = 0;
  for (const _tagDECODING_TIME_TO_SAMPLE& entry : times) {
    const std::uint64_t delta = entry.sampleDelta;
    const std::uint64_t span = entry.sampleCount * delta;
    const std::uint64_t behind =
        cts <= static_cast<long long>(time) ? 0 : static_cast<std::uint64_t>(cts) - time;
    if (behind <= span) {
      *index = static_cast<unsigned int>(end.sampleNum + (delta != 0 ? behind / delta : 0));
      return S_OK;
    }
    end.least = 0;
    time += span;
    end.sampleNum += entry.sampleCount;
  }
  return S_FALSE;
}

// Counts off the samples of a table of runs up to `index`.
class SampleSkipper {
 public:
  explicit SampleSkipper(unsigned int index) : left_(index) {}

  // How many of the next `count` samples stand before the index.
  unsigned int Skip(unsigned int count) {
    const unsigned int skipped = std::min(left_, count);
    left_ -= skipped;
    return skipped;
  }

 private:
  unsigned int left_;
};

void AppendDecodingTimes(const DecodingTimes& times, unsigned int index, unsigned int count,
                         std::list<long long>& list) {
  SampleSkipper skipper(index);
  std::uint64_t time = 0;
  for (const _tagDECODING_TIME_TO_SAMPLE& entry : times) {
    const std::uint64_t delta = entry.sampleDelta;
    const unsigned int skipped = skipper.Skip(entry.sampleCount);
    time += skipped * delta;
    for (unsigned int left = entry.sampleCount - skipped; left > 0; --left) {
      if (list.size() >= count) return;
      list.push_back(static_cast<long long>(time));
      time += delta;
    }
  }
}

void AddOffsets(const CompositionOffsets& offsets, unsigned int index, unsigned int count,
                std::list<long long>& list) {
  SampleSkipper skipper(index);
  auto target = list.begin();
  unsigned int added = 0;
  for (const _tagCOMPOSITION_TIME_TO_SAMPLE& entry : offsets) {
    const unsigned int skipped = skipper.Skip(entry.sampleCount);
    for (unsigned int left = entry.sampleCount - skipped; left > 0; --left) {
      if (added == count || target == list.end()) return;
      *target = WrappingSum(*target, entry.sampleOffset);
      ++target;
      ++added;
    }
  }
}

template <class Entry>
HRESULT RescaleField(QUIRVA::Table<Entry>& entries, QUIRVA::be32 Entry::*field, unsigned int from,
                     unsigned int to) {
  for (Entry& entry : entries) {
    const std::uint64_t value = Rescaled(entry.*field, from, to);
    RETURN_IF(value > 0xFFFFFFFF, E_INVALIDARG);
    entry.*field = static_cast<unsigned int>(value);
  }
  return S_OK;
}

}  // namespace

long long CSampleTableReader::GetSampleDeltaSum() const {
  const CTimeToSampleBox* box = CSampleTableBox_wr(sampleTable).TimeToSampleBox();
  if (box == nullptr) return 0;
  std::uint64_t sum = 0;
  for (const _tagDECODING_TIME_TO_SAMPLE& entry : box->entries)
    sum += std::uint64_t{entry.sampleCount} * entry.sampleDelta;
  return static_cast<long long>(sum);
}

HRESULT CSampleTableReader::CtsToSample(long long cts, unsigned int* index) const {
  RETURN_IF(index == nullptr, E_POINTER);
  const CSampleTableBox_wr table(sampleTable);
  const CTimeToSampleBox* times = table.TimeToSampleBox();
  RETURN_IF(times == nullptr, E_BAD_DATA);
  const CCompositionOffsetBox* offsets = table.CompositionOffsetBox();
  SearchEnd end;
  const HRESULT result = offsets != nullptr
                             ? SearchByOffsets(times->entries, offsets->entries, cts, index, end)
                             : SearchByDecodingTimes(times->entries, cts, index, end);
  if (result != S_FALSE) return result;
  *index = end.least > cts || end.sampleNum == 0 ? 0 : static_cast<unsigned int>(end.sampleNum - 1);
  return S_FALSE;
}

HRESULT CSampleTableReader::CreateCtsList(unsigned int index, unsigned int count,
                                          std::list<long long>& list) const {
  const CSampleTableBox_wr table(sampleTable);
  const CTimeToSampleBox* times = table.TimeToSampleBox();
  RETURN_IF(times == nullptr, E_BAD_DATA);
  AppendDecodingTimes(times->entries, index, count, list);
  if (const CCompositionOffsetBox* offsets = table.CompositionOffsetBox())
    AddOffsets(offsets->entries, index, count, list);
  return S_OK;
}

HRESULT CSampleTableReader::SampleIndexToCts(unsigned int index, long long* cts) const {
  RETURN_IF(cts == nullptr, E_POINTER);
  std::list<long long> list;
  RETURN_IF_NOT_OK(CreateCtsList(index, 1, list));
  RETURN_IF(list.empty(), E_INVALIDARG);
  *cts = list.front();
  return S_OK;
}

HRESULT CSampleTableReader::SampleIndexToLeastCts(unsigned int index, long long* cts) const {
  RETURN_IF(cts == nullptr, E_POINTER);
  std::list<long long> list;
  RETURN_IF_NOT_OK(CreateCtsList(index, kLeastCtsSpan, list));
  const auto least = std::min_element(list.begin(), list.end());
  *cts = least != list.end() ? *least : kLatestTime;
  return S_OK;
}

HRESULT CSampleTableReader::ChangeSampleTableScale(unsigned int from, unsigned int to) {
  RETURN_IF(from == 0 || to == 0, E_INVALIDARG);
  const CSampleTableBox_wr table(sampleTable);
  if (CTimeToSampleBox* times = table.TimeToSampleBox())
    RETURN_IF_NOT_OK(
        RescaleField(times->entries, &_tagDECODING_TIME_TO_SAMPLE::sampleDelta, from, to));
  if (CCompositionOffsetBox* offsets = table.CompositionOffsetBox())
    RETURN_IF_NOT_OK(
        RescaleField(offsets->entries, &_tagCOMPOSITION_TIME_TO_SAMPLE::sampleOffset, from, to));
  return S_OK;
}

}  // namespace MP4G
