#include "workflow/oracle/byte_ranges.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

#include "workflow/system/files.h"

namespace clipchain::samples {

namespace {

constexpr Number kBlock = 1024 * 1024;
constexpr Number kEnd = 512;
// Tracks whose ranges are each in order already.
constexpr int kMostTracks = 8;

template <typename Earlier>
void SortInRows(std::vector<ByteRange>& ranges, Earlier earlier) {
  auto middle = std::is_sorted_until(ranges.begin(), ranges.end(), earlier);
  for (int row = 1; row < kMostTracks && middle != ranges.end(); ++row) {
    const auto end = std::is_sorted_until(middle, ranges.end(), earlier);
    std::inplace_merge(ranges.begin(), middle, end, earlier);
    middle = end;
  }
  if (middle != ranges.end()) std::sort(ranges.begin(), ranges.end(), earlier);
}

}  // namespace

void ByteRanges::Add(const ByteRange& samples) {
  if (samples.size == 0) return;
  if (!ranges_.empty()) {
    ByteRange& last = ranges_.back();
    // Samples of one chunk follow each other on both sides: most tables come down to a few ranges.
    if (last.inClip + last.size == samples.inClip &&
        last.inResult + last.size == samples.inResult) {
      last.size += samples.size;
      return;
    }
  }
  ranges_.push_back(samples);
}

bool ByteRanges::Gather() {
  // What moved alike and meets in the clip meets in the result, too.
  const auto moved = [](const ByteRange& range) { return range.inResult - range.inClip; };
  SortInRows(ranges_, [&](const ByteRange& a, const ByteRange& b) {
    return std::tuple(moved(a), a.inClip) < std::tuple(moved(b), b.inClip);
  });
  std::size_t kept = 0;
  for (const ByteRange& range : ranges_) {
    ByteRange* last = kept > 0 ? &ranges_[kept - 1] : nullptr;
    if (last != nullptr && moved(*last) == moved(range) &&
        range.inClip <= last->inClip + last->size) {
      last->size = std::max(last->size, range.inClip + range.size - last->inClip);
    } else {
      ranges_[kept++] = range;
    }
  }
  ranges_.resize(kept);
  const auto earlier = [](const ByteRange& a, const ByteRange& b) { return a.inClip < b.inClip; };
  SortInRows(ranges_, earlier);
  const auto crossed = [](const ByteRange& a, const ByteRange& b) {
    return a.inClip + a.size > b.inClip || a.inResult + a.size > b.inResult;
  };
  // Two ranges that cross would let one byte of the result stand for two of the clip.
  return std::adjacent_find(ranges_.begin(), ranges_.end(), crossed) == ranges_.end();
}

void ByteRanges::Clear() {
  ranges_.clear();
  whole_.clear();
}

RangeComparison::RangeComparison(FileBytes& result, OracleFindings& findings,
                                 std::function<bool(Number bytes)> progress)
    : result_(result),
      findings_(findings),
      progress_(std::move(progress)),
      fromClip_(kBlock),
      fromResult_(kBlock) {}

bool RangeComparison::Compare(FileBytes& clip, const std::string& path,
                              const std::vector<ByteRange>& ranges, bool everyByte) {
  for (const ByteRange& range : ranges) {
    const bool same = everyByte ? CompareAll(clip, path, range) : CompareEnds(clip, path, range);
    if (!same) return false;
  }
  return true;
}

bool RangeComparison::CompareEnds(FileBytes& clip, const std::string& path,
                                  const ByteRange& range) {
  // A seam is what a merge can get wrong; what lies between came in one copy.
  if (range.size <= 2 * kEnd) return CompareAll(clip, path, range);
  const Number last = range.size - kEnd;
  return CompareBlock(clip, path, {range.inClip, range.inResult, kEnd}) &&
         CompareBlock(clip, path, {range.inClip + last, range.inResult + last, kEnd});
}

bool RangeComparison::CompareAll(FileBytes& clip, const std::string& path, const ByteRange& range) {
  for (Number done = 0; done < range.size; done += kBlock) {
    const Number size = std::min(range.size - done, kBlock);
    if (!CompareBlock(clip, path, {range.inClip + done, range.inResult + done, size})) return false;
  }
  return true;
}

bool RangeComparison::CompareBlock(FileBytes& clip, const std::string& path,
                                   const ByteRange& block) {
  const auto size = static_cast<std::size_t>(block.size);
  if (!clip.Read(block.inClip, fromClip_.data(), size)) {
    findings_.Unreadable(path, "can't be read again to compare it", clip);
    return false;
  }
  if (!result_.Read(block.inResult, fromResult_.data(), size)) {
    findings_.Damaged("can't be read back", block.inResult, result_);
    return false;
  }
  // The place of a difference is looked for once there is one.
  if (std::memcmp(fromResult_.data(), fromClip_.data(), size) == 0)
    return !progress_ || progress_(block.size);
  const auto end = fromResult_.begin() + static_cast<std::ptrdiff_t>(size);
  const auto [mine, theirs] = std::mismatch(fromResult_.begin(), end, fromClip_.begin());
  const auto at = static_cast<Number>(mine - fromResult_.begin());
  findings_.Damaged(
      fmt::format("has a byte {:02X} at {}; it is {:02X} at {} in {}", *mine, block.inResult + at,
                  *theirs, block.inClip + at, PrintablePath(path)),
      block.inResult + at, result_);
  return false;
}

}  // namespace clipchain::samples
