#include "workflow/rescue/marked_data.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

namespace clipchain::rescue {

namespace {

// Of a sample, where what it begins with and its length are looked for.
constexpr std::size_t kHead = 16;
// Shorter ones stand in other media by chance.
constexpr std::size_t kLeastMark = 4;
// Of fewer samples too much agrees by chance.
constexpr std::size_t kLeastSamples = 3;
constexpr std::size_t kMostSamples = 4000;

struct LengthField {
  std::size_t at = 0;
  std::size_t width = 0;
  bool littleEndian = false;
  // What the size has beyond the length.
  std::int64_t more = 0;

  std::int64_t SizeOf(const unsigned char* head) const {
    std::int64_t length = 0;
    for (std::size_t i = 0; i < width; ++i)
      length = length << 8 | head[littleEndian ? at + width - 1 - i : at + i];
    return length + more;
  }
};

struct KnownSample {
  std::vector<unsigned char> head;
  std::uint32_t size = 0;
};

std::vector<KnownSample> SamplesOf(const Reference& reference, const ReferenceTrack& track,
                                   std::size_t head) {
  std::vector<KnownSample> samples;
  for (const ChunkPlace& chunk : track.chunks) {
    std::uint64_t at = chunk.position;
    for (std::uint32_t i = 0; i < chunk.samples && samples.size() < kMostSamples; ++i) {
      KnownSample sample{std::vector<unsigned char>(head), track.sizes.At(chunk.firstSample + i)};
      if (sample.size < head || !reference.file().Read(at, sample.head.data(), head)) return {};
      at += sample.size;
      samples.push_back(std::move(sample));
    }
  }
  return samples;
}

std::optional<LengthField> LearnLength(const std::vector<KnownSample>& samples) {
  for (const std::size_t width : {4u, 2u}) {
    for (std::size_t at = 0; at + width <= kHead; ++at) {
      for (const bool littleEndian : {false, true}) {
        LengthField field{at, width, littleEndian, 0};
        field.more = std::int64_t{samples.front().size} - field.SizeOf(samples.front().head.data());
        const bool all =
            std::all_of(samples.begin(), samples.end(), [&](const KnownSample& sample) {
              return field.SizeOf(sample.head.data()) == std::int64_t{sample.size};
            });
        if (all) return field;
      }
    }
  }
  return std::nullopt;
}

class MarkedData : public FrameMethod {
 public:
  explicit MarkedData(std::vector<unsigned char> mark) : mark_(std::move(mark)) {}

  std::size_t MarkSize() const override { return mark_.size(); }
  bool IsMark(const unsigned char* bytes) const override {
    return std::equal(mark_.begin(), mark_.end(), bytes);
  }

  std::optional<SampleSpan> Fill(MediaWindow& window, ByteRange range) override {
    auto span = Take(window, range, range.end - range.begin);
    if (span && span->bytes != range.end - range.begin) span.reset();
    return span;
  }

  // Nothing confirms the last one.
  SampleSpan Begin(MediaWindow&, ByteRange, BeginsOther&) override { return {}; }

 private:
  std::vector<unsigned char> mark_;
};

// As many as follow one another, each of a known size.
class CountedData : public MarkedData {
 public:
  using MarkedData::MarkedData;

  std::string_view Name() const override { return "headers"; }

  std::optional<SampleSpan> Take(MediaWindow& window, ByteRange range,
                                 std::uint64_t most) override {
    SampleSpan span;
    while (span.count < most && range.end - range.begin >= Least()) {
      const unsigned char* head = window.At(range.begin, std::min<std::size_t>(Least(), kHead));
      if (head == nullptr || !IsMark(head)) break;
      const std::int64_t size = SizeOf(head);
      if (size < std::int64_t{Least()} ||
          static_cast<std::uint64_t>(size) > range.end - range.begin)
        return std::nullopt;
      span.sizes.push_back(static_cast<std::uint32_t>(size));
      span.bytes += static_cast<std::uint64_t>(size);
      ++span.count;
      range.begin += static_cast<std::uint64_t>(size);
    }
    if (span.count == 0) return std::nullopt;
    return span;
  }

 private:
  // No sample has fewer bytes.
  virtual std::uint32_t Least() const = 0;
  virtual std::int64_t SizeOf(const unsigned char* head) const = 0;
};

class MeasuredData final : public CountedData {
 public:
  MeasuredData(std::vector<unsigned char> mark, LengthField length)
      : CountedData(std::move(mark)), length_(length) {}

 private:
  std::uint32_t Least() const override { return kHead; }
  std::int64_t SizeOf(const unsigned char* head) const override { return length_.SizeOf(head); }

  LengthField length_;
};

// Each has the same size.
class EvenData final : public CountedData {
 public:
  EvenData(std::vector<unsigned char> mark, std::uint32_t size)
      : CountedData(std::move(mark)), size_(size) {}

 private:
  std::uint32_t Least() const override { return size_; }
  std::int64_t SizeOf(const unsigned char*) const override { return size_; }

  std::uint32_t size_;
};

// The only sample of a piece takes what is left.
class SingleData final : public MarkedData {
 public:
  SingleData(std::vector<unsigned char> mark, std::uint32_t largest)
      : MarkedData(std::move(mark)), largest_(largest) {}

  std::string_view Name() const override { return "place"; }

  std::optional<SampleSpan> Take(MediaWindow& window, ByteRange range, std::uint64_t) override {
    constexpr std::uint64_t kTimesLargest = 2;
    const std::uint64_t size = range.end - range.begin;
    if (size < kHead || size > largest_ * kTimesLargest) return std::nullopt;
    const unsigned char* bytes = window.At(range.begin, kHead);
    if (bytes == nullptr || !IsMark(bytes)) return std::nullopt;
    return SampleSpan{1, size, {static_cast<std::uint32_t>(size)}};
  }

 private:
  std::uint32_t largest_;
};

// What all samples begin with; empty where that tells nothing.
std::vector<unsigned char> MarkOf(const std::vector<KnownSample>& samples) {
  if (samples.size() < kLeastSamples) return {};
  std::vector<unsigned char> mark = samples.front().head;
  for (const KnownSample& sample : samples) {
    const auto differs = std::mismatch(mark.begin(), mark.end(), sample.head.begin()).first;
    mark.erase(differs, mark.end());
  }
  const bool isZero = std::all_of(mark.begin(), mark.end(), [](auto byte) { return byte == 0; });
  if (mark.size() < kLeastMark || isZero) mark.clear();
  return mark;
}

}  // namespace

std::unique_ptr<FrameMethod> MakeEvenData(const Reference& reference, const ReferenceTrack& track) {
  std::vector<unsigned char> mark = MarkOf(SamplesOf(reference, track, kLeastMark));
  if (mark.empty()) return nullptr;
  return std::make_unique<EvenData>(std::move(mark), track.UniformSize());
}

std::unique_ptr<FrameMethod> MakeMarkedData(const Reference& reference, const ReferenceTrack& track,
                                            const std::vector<std::uint64_t>& counts) {
  const std::vector<KnownSample> samples = SamplesOf(reference, track, kHead);
  std::set<std::uint32_t> sizes;
  for (const KnownSample& sample : samples) sizes.insert(sample.size);
  std::vector<unsigned char> mark = MarkOf(samples);
  if (mark.empty() || sizes.size() < 2) return nullptr;
  const auto length = LearnLength(samples);
  if (!length) {
    if (counts != std::vector<std::uint64_t>{1}) return nullptr;
    return std::make_unique<SingleData>(std::move(mark), *sizes.rbegin());
  }
  // The first bytes of a length are alike while samples are small.
  mark.resize(std::min(mark.size(), std::max(length->at, kLeastMark)));
  return std::make_unique<MeasuredData>(std::move(mark), *length);
}

}  // namespace clipchain::rescue
