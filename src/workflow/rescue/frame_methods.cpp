#include "workflow/rescue/frame_methods.h"

#include <algorithm>
#include <bitset>
#include <numeric>

#include "foundation/fourcc.h"
#include "workflow/rescue/frame_headers.h"
#include "workflow/rescue/marked_data.h"
#include "workflow/rescue/sound_decoder.h"
#include "workflow/rescue/sound_entry.h"
#include "workflow/rescue/sound_roughness.h"

namespace clipchain::rescue {

namespace {

using Answer = BeginsOther::Answer;

constexpr std::size_t kBlock = 256 << 10;
// Of a frame of one channel (ISO/IEC 14496-3, 4.5.3.2: 6144 bits).
constexpr std::uint32_t kLargestOfOne = 768;
// More frames than sound of days has; bytes that were made to look like some could be many more.
constexpr std::uint64_t kMostFrames = 1 << 25;

// Of the largest frame: what may be left behind the last one that is sure, which is the one that
// was cut and the beginning of a picture at most.
constexpr std::uint64_t kRestFrames = 2;

std::uint64_t Sum(const std::vector<std::uint32_t>& sizes) {
  return std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0});
}

void Append(SampleSpan& span, const std::vector<std::uint32_t>& sizes) {
  span.count += sizes.size();
  span.bytes += Sum(sizes);
  span.sizes.insert(span.sizes.end(), sizes.begin(), sizes.end());
}

// An element that fills, in which an encoder puts its name (ISO/IEC 14496-3, table 4.85).
bool BeginsWithFill(unsigned char first) { return first >> 5 == 6; }

std::uint32_t LargestSample(const ReferenceTrack& track) {
  const auto& sizes = track.sizes.sizes;
  return sizes.empty() ? track.sizes.uniform : *std::max_element(sizes.begin(), sizes.end());
}

// Frames that a decoder tells apart.
class DecodedFrames final : public FrameMethod {
 public:
  DecodedFrames(std::span<const unsigned char> configuration,
                std::span<const unsigned char> witness, std::uint32_t largest)
      : decoder_(configuration, witness), largest_(largest) {}

  bool good() const { return decoder_.good(); }
  std::string_view Name() const override { return "decoder"; }
  void Restart() override { atFirst_ = true; }
  void Taken(MediaWindow&, ByteRange) override { atFirst_ = false; }
  // Tells what the next frame of the reference begins with: the kind and number of its first
  // element.
  void TakeHead(unsigned char first) {
    const auto head = static_cast<std::size_t>(first >> 1);
    if (!opening_) opening_ = head;
    if (frames_++ != 0 && head == *opening_) opens_ = false;
    heads_.set(head);
  }
  // Tells what the reference's first frame is.
  void TakeFirst(std::span<const unsigned char> frame) {
    silentFirst_ = decoder_.Fill(frame, false).empty() && decoder_.Fill(frame, true).size() == 1;
  }

  std::optional<SampleSpan> Fill(MediaWindow& window, ByteRange range) override {
    SampleSpan span;
    while (range.end - range.begin > kBlock) {
      const unsigned char* bytes = window.At(range.begin, kBlock);
      if (bytes == nullptr) return std::nullopt;
      const auto sizes = decoder_.Begin({bytes, kBlock}, MaySayNothing() && span.count == 0);
      if (sizes.empty() || span.count > kMostFrames) return std::nullopt;
      if (BeforeOpening(sizes, bytes) < sizes.size()) return std::nullopt;
      Append(span, sizes);
      range.begin += Sum(sizes);
    }
    const auto rest = static_cast<std::size_t>(range.end - range.begin);
    const unsigned char* bytes = window.At(range.begin, rest);
    if (bytes == nullptr) return std::nullopt;
    const bool isFirst = atFirst_ && span.count == 0;
    auto sizes = decoder_.Fill({bytes, rest}, silentFirst_ && isFirst);
    // The reference may be the later part of a recording, which has no such frame.
    if (sizes.empty() && isFirst && !silentFirst_ && BeginsWithFill(bytes[0]))
      sizes = decoder_.Fill({bytes, rest}, true);
    if (sizes.empty()) return std::nullopt;
    if (BeforeOpening(sizes, bytes) < sizes.size()) return std::nullopt;
    Append(span, sizes);
    return span;
  }

  std::optional<SampleSpan> Take(MediaWindow& window, ByteRange range,
                                 std::uint64_t count) override {
    const auto there =
        static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, range.end - range.begin));
    const unsigned char* bytes = window.At(range.begin, there);
    if (bytes == nullptr || there == 0) return std::nullopt;
    auto sizes = decoder_.Begin({bytes, there}, MaySayNothing());
    if (sizes.size() + 1 == count) AppendLast({bytes, there}, sizes);
    if (sizes.size() < count || BeforeOpening(sizes, bytes) < count) return std::nullopt;
    sizes.resize(static_cast<std::size_t>(count));
    SampleSpan span;
    Append(span, sizes);
    return span;
  }

  // Where the frames end ahead of the bytes, something else begins that nobody
  // confirms; then none of them is sure.
  SampleSpan Begin(MediaWindow& window, ByteRange range, BeginsOther& other) override {
    SampleSpan span;
    while (range.begin < range.end) {
      const auto count =
          static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, range.end - range.begin));
      const unsigned char* bytes = window.At(range.begin, count);
      if (bytes == nullptr) break;
      const auto sizes = Plausible(
          WithKnownHeads(decoder_.Begin({bytes, count}, MaySayNothing() && span.count == 0), bytes),
          range.begin, other);
      if (sizes.empty() || span.count > kMostFrames) break;
      Append(span, sizes);
      range.begin += Sum(sizes);
    }
    const bool reachesEnd = range.end - range.begin <= std::uint64_t{largest_} * kRestFrames;
    return reachesEnd ? span : SampleSpan{};
  }

 private:
  std::vector<std::uint32_t> Plausible(std::vector<std::uint32_t> sizes, std::uint64_t at,
                                       BeginsOther& other) const {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      at += sizes[i];
      if (sizes[i] > std::max(largest_ * 2, kLargestOfOne)) {
        sizes.resize(i);
        break;
      }
      if (other.At(at) != Answer::kNo) {
        sizes.resize(i + 1);
        break;
      }
    }
    return sizes;
  }

  // A decoder takes some foreign bytes for a frame. That another one begins behind it counts only
  // if both begin as frames of the reference do.
  std::vector<std::uint32_t> WithKnownHeads(std::vector<std::uint32_t> sizes,
                                            const unsigned char* bytes) const {
    std::size_t known = 0;
    std::size_t at = 0;
    while (known < sizes.size() && heads_[bytes[at] >> 1] && heads_[bytes[at + sizes[known]] >> 1])
      at += sizes[known++];
    sizes.resize(std::min(known, BeforeOpening(sizes, bytes)));
    return sizes;
  }

  // Adds the frame behind those, behind which no other one begins.
  void AppendLast(std::span<const unsigned char> bytes, std::vector<std::uint32_t>& sizes) {
    const auto at = static_cast<std::size_t>(Sum(sizes));
    const auto most = std::min<std::size_t>(bytes.size() - at, largest_ * 2);
    const std::uint32_t size =
        decoder_.SizeOf(bytes.subspan(at, most), MaySayNothing() && sizes.empty());
    if (size != 0) sizes.push_back(size);
  }

  // Some encoders put their name into the first frame of a recording alone, others into one of
  // some hundreds again.
  std::size_t BeforeOpening(const std::vector<std::uint32_t>& sizes,
                            const unsigned char* bytes) const {
    constexpr std::uint64_t kEnough = 1024;
    if (!opens_ || frames_ < kEnough) return sizes.size();
    std::size_t at = 0;
    for (std::size_t i = 0; i < sizes.size(); at += sizes[i++]) {
      const bool isFirst = i == 0 && atFirst_;
      if (!isFirst && static_cast<std::size_t>(bytes[at] >> 1) == *opening_) return i;
    }
    return sizes.size();
  }

  bool MaySayNothing() const { return silentFirst_ && atFirst_; }

  SoundDecoder decoder_;
  std::uint32_t largest_;
  std::bitset<128> heads_;
  // What the first frame of the reference begins with, and whether it is the only one that does.
  std::optional<std::size_t> opening_;
  std::uint64_t frames_ = 0;
  bool opens_ = true;
  bool silentFirst_ = false;
  bool atFirst_ = true;
};

// Frames that begin with their length.
class HeadedFrames final : public FrameMethod {
 public:
  HeadedFrames(FrameHeader header, std::uint32_t largest) : header_(header), largest_(largest) {}

  std::string_view Name() const override { return "headers"; }

  std::optional<SampleSpan> Fill(MediaWindow& window, ByteRange range) override {
    SampleSpan span;
    while (range.begin < range.end) {
      const std::uint32_t size = SizeAt(window, range);
      if (span.count > kMostFrames) return std::nullopt;
      if (size == 0 || size > range.end - range.begin) return std::nullopt;
      Append(span, {size});
      range.begin += size;
    }
    return span;
  }

  std::optional<SampleSpan> Take(MediaWindow& window, ByteRange range,
                                 std::uint64_t count) override {
    SampleSpan span;
    while (span.count < count) {
      const std::uint32_t size = SizeAt(window, range);
      if (size == 0 || size > range.end - range.begin) return std::nullopt;
      Append(span, {size});
      range.begin += size;
    }
    return span;
  }

  // Where the frames end ahead of the bytes, something else begins that nobody
  // confirms; then none of them is sure.
  SampleSpan Begin(MediaWindow& window, ByteRange range, BeginsOther&) override {
    SampleSpan span;
    for (;;) {
      const std::uint32_t size = SizeAt(window, range);
      if (size == 0 || size > range.end - range.begin) break;
      range.begin += size;
      // A length alone fits by chance: a frame counts if another one begins behind it.
      if (SizeAt(window, range) == 0 || span.count > kMostFrames) break;
      Append(span, {size});
    }
    const bool reachesEnd = range.end - range.begin <= std::uint64_t{largest_} * kRestFrames;
    return reachesEnd ? span : SampleSpan{};
  }

 private:
  std::uint32_t SizeAt(MediaWindow& window, const ByteRange& range) const {
    if (range.end - range.begin < kFrameHeader) return 0;
    const unsigned char* bytes = window.At(range.begin, kFrameHeader);
    return bytes != nullptr ? header_(bytes) : 0;
  }

  FrameHeader header_;
  std::uint32_t largest_;
};

// Samples of one size.
class UniformFrames final : public FrameMethod {
 public:
  UniformFrames(std::uint32_t size, std::vector<std::uint64_t> counts,
                const SoundRoughness& ofReference)
      : size_(size),
        counts_(std::move(counts)),
        ofReference_(ofReference),
        roughness_(ofReference) {}

  std::string_view Name() const override { return "constant size"; }
  std::uint32_t UniformSize() const override { return size_; }
  void Restart() override { roughness_ = ofReference_; }

  void Taken(MediaWindow& window, ByteRange range) override {
    std::vector<unsigned char> bytes(SoundRoughness::kFrames * size_);
    if (range.end - range.begin >= bytes.size() &&
        window.Copy(range.begin, bytes.data(), bytes.size()))
      roughness_.Take(bytes.data());
  }

  std::optional<SampleSpan> Fill(MediaWindow& window, ByteRange range) override {
    const std::uint64_t bytes = range.end - range.begin;
    const std::uint64_t count = bytes / size_;
    if (bytes == 0 || bytes % size_ != 0) return std::nullopt;
    // As long as where pictures were not recorded, but it may also be what a disk had no bytes of.
    const bool isLong = !counts_.empty() && count > 2 * Largest();
    if (isLong && !roughness_.MayBeAll(window, range.begin, count, Zeros::kNoSound))
      return std::nullopt;
    return SampleSpan{count, bytes, {}};
  }

  // Nothing in a sample says what it is. It counts as far as the reference's
  // pieces are long, where no picture may begin, and only if it is as smooth as
  // the sound so far: bytes of other files are not.
  SampleSpan Begin(MediaWindow& window, ByteRange range, BeginsOther& other) override {
    const std::uint64_t whole = (range.end - range.begin) / size_;
    if (counts_.empty() || whole > Largest() * kTimesLargest) return {};
    // So few bytes may be a picture's of which too little is there to know it.
    constexpr std::uint64_t kFewBytes = 64;
    if (range.end - range.begin < kFewBytes && other.At(range.begin) != Answer::kNo) return {};
    const std::uint64_t sure = BeforeOther(range, whole, other);
    if (sure == 0 || !roughness_.MayBeAll(window, range.begin, sure, Zeros::kSilence)) return {};
    return {sure, sure * size_, {}};
  }

 private:
  // The last piece of a recording may be longer than the others: the picture had ended.
  static constexpr std::uint64_t kTimesLargest = 4;

  std::uint64_t Largest() const { return *std::max_element(counts_.begin(), counts_.end()); }

  // Pieces end at multiples of what all their lengths have in common.
  std::uint64_t BeforeOther(ByteRange range, std::uint64_t whole, BeginsOther& other) const {
    std::uint64_t step = 0;
    for (const std::uint64_t count : counts_) step = std::gcd(step, count);
    for (std::uint64_t at = step; at <= whole; at += step) {
      if (other.At(range.begin + at * size_) != Answer::kNo) return at;
    }
    return whole;
  }

  std::uint32_t size_;
  std::vector<std::uint64_t> counts_;
  SoundRoughness ofReference_;
  // With that of what was found.
  SoundRoughness roughness_;
};

// Samples of data that are as many and as large as the reference's, where those
// stand.
class PlacedSamples final : public FrameMethod {
 public:
  PlacedSamples(std::uint32_t size, std::vector<std::uint64_t> counts)
      : size_(size), counts_(std::move(counts)) {}

  std::string_view Name() const override { return "place"; }
  std::uint32_t UniformSize() const override { return size_; }

  std::optional<SampleSpan> Fill(MediaWindow&, ByteRange range) override {
    const std::uint64_t bytes = range.end - range.begin;
    const std::uint64_t count = bytes / size_;
    const bool known = std::find(counts_.begin(), counts_.end(), count) != counts_.end();
    if (!known || count * size_ != bytes) return std::nullopt;
    return SampleSpan{count, bytes, {}};
  }

  SampleSpan Begin(MediaWindow&, ByteRange, BeginsOther&) override { return {}; }

 private:
  std::uint32_t size_;
  std::vector<std::uint64_t> counts_;
};

SoundRoughness LearnRoughness(const Reference& reference, std::size_t track, std::uint32_t size) {
  constexpr std::size_t kMostChunks = 256;
  SoundRoughness roughness(size);
  std::vector<unsigned char> bytes(SoundRoughness::kFrames * size);
  std::size_t left = kMostChunks;
  for (const ChunkPlace& chunk : reference.tracks()[track].chunks) {
    if (left-- == 0) break;
    if (chunk.samples < SoundRoughness::kFrames) continue;
    if (!reference.file().Read(chunk.position, bytes.data(), bytes.size())) break;
    roughness.Take(bytes.data());
  }
  return roughness;
}

// A whole sample: the first one of a chunk behind so many samples.
std::vector<unsigned char> SampleBehind(const Reference& reference, const ReferenceTrack& track,
                                        std::uint32_t samples) {
  constexpr std::size_t kMostFrame = 64 << 10;
  for (const ChunkPlace& chunk : track.chunks) {
    if (chunk.firstSample < samples) continue;
    std::vector<unsigned char> bytes(
        std::min<std::size_t>(track.sizes.At(chunk.firstSample), kMostFrame));
    if (reference.file().Read(chunk.position, bytes.data(), bytes.size())) return bytes;
  }
  return {};
}

// The last one of a track whose samples lie in one chunk.
std::vector<unsigned char> LastSample(const Reference& reference, const ReferenceTrack& track) {
  if (track.chunks.empty()) return {};
  const ChunkPlace& chunk = track.chunks.back();
  std::uint64_t at = chunk.position;
  for (std::uint32_t i = 0; i + 1 < chunk.samples; ++i) at += track.sizes.At(chunk.firstSample + i);
  std::vector<unsigned char> bytes(
      std::min<std::size_t>(track.sizes.At(chunk.firstSample + chunk.samples - 1), 64 << 10));
  return reference.file().Read(at, bytes.data(), bytes.size()) ? bytes
                                                               : std::vector<unsigned char>();
}

void TakeHeads(const Reference& reference, const ReferenceTrack& track, DecodedFrames& method) {
  constexpr std::size_t kMostSamples = 4000;
  std::size_t left = kMostSamples;
  for (const ChunkPlace& chunk : track.chunks) {
    std::uint64_t at = chunk.position;
    for (std::uint32_t i = 0; i < chunk.samples && left > 0; ++i, --left) {
      unsigned char head = 0;
      const std::uint32_t size = track.sizes.At(chunk.firstSample + i);
      if (size != 0 && reference.file().Read(at, &head, 1)) method.TakeHead(head);
      at += size;
    }
  }
}

std::unique_ptr<FrameMethod> MakeDecoded(const Reference& reference, const ReferenceTrack& track,
                                         const Bytes& configuration) {
  if (!HasDecoder() || configuration.empty()) return nullptr;
  const auto first = SampleBehind(reference, track, 0);
  auto witness = SampleBehind(reference, track, track.sizes.count / 2);
  if (witness.empty()) witness = LastSample(reference, track);
  auto method = std::make_unique<DecodedFrames>(configuration, witness, LargestSample(track));
  if (!method->good()) return nullptr;
  method->TakeFirst(first);
  TakeHeads(reference, track, *method);
  return method;
}

}  // namespace

std::unique_ptr<FrameMethod> MakeFrameMethod(const Reference& reference, std::size_t track,
                                             const std::vector<std::uint64_t>& counts) {
  const ReferenceTrack& of = reference.tracks()[track];
  const std::uint32_t size = of.UniformSize();
  constexpr std::uint32_t kMostSample = 4096;
  const bool uniform = size != 0 && size <= kMostSample;
  if (of.descriptions != 1 || of.kind == FourCc("vide")) return nullptr;
  if (of.kind != FourCc("soun") && !uniform) return MakeMarkedData(reference, of, counts);
  if (of.kind != FourCc("soun")) {
    auto marked = MakeEvenData(reference, of);
    return marked != nullptr ? std::move(marked) : std::make_unique<PlacedSamples>(size, counts);
  }
  const StreamDescription stream = DescribeStream(of.entry);
  // MPEG-4 audio, and the profiles of MPEG-2 AAC (ISO/IEC 14496-1, objectTypeIndication).
  if (of.entryType == FourCc("mp4a") &&
      (stream.objectType == 0x40 || (stream.objectType >= 0x66 && stream.objectType <= 0x68)))
    return MakeDecoded(reference, of, stream.specific);
  const FrameHeader header = FrameHeaderFor(of.entryType, stream.objectType);
  if (header != nullptr) return std::make_unique<HeadedFrames>(header, LargestSample(of));
  if (!uniform) return nullptr;
  return std::make_unique<UniformFrames>(size, counts, LearnRoughness(reference, track, size));
}

}  // namespace clipchain::rescue
