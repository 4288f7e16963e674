#include "workflow/rescue/record_method.h"

#include <algorithm>
#include <tuple>

#include "foundation/fourcc.h"

namespace clipchain::rescue {

namespace {

// A record's key and numbers stand in its first bytes.
constexpr std::size_t kHead = 16;
// Enough records to learn from.
constexpr std::size_t kMostRecords = 20000;
// A table of one size for all may claim billions of samples without a byte for each.
constexpr std::size_t kMostSamples = 4000000;

std::uint32_t Number(const unsigned char* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

struct PlacedSample {
  std::uint64_t position;
  std::uint32_t size;
  std::uint32_t duration;
  std::size_t track;
};

// The samples of one track, up to a limit.
void AddSamples(const ReferenceTrack& track, std::size_t index,
                std::vector<PlacedSample>& samples) {
  std::size_t run = 0;
  std::uint64_t left = track.times.empty() ? 0 : track.times[0].count;
  for (const ChunkPlace& chunk : track.chunks) {
    std::uint64_t at = chunk.position;
    for (std::uint32_t i = 0; i < chunk.samples && samples.size() < kMostSamples; ++i) {
      // Runs of no sample occur.
      while (left == 0 && run + 1 < track.times.size()) left = track.times[++run].count;
      if (left > 0) --left;
      const std::uint32_t size = track.sizes.At(chunk.firstSample + i);
      const std::uint32_t duration = track.times.empty() ? 0 : track.times[run].delta;
      samples.push_back({at, size, duration, index});
      at += size;
    }
  }
}

std::vector<PlacedSample> SamplesOf(const Reference& reference) {
  std::vector<PlacedSample> samples;
  for (std::size_t i = 0; i < reference.tracks().size(); ++i) {
    AddSamples(reference.tracks()[i], i, samples);
  }
  // Empty samples share their place with others: without the track chance would order them.
  std::sort(samples.begin(), samples.end(), [](const PlacedSample& a, const PlacedSample& b) {
    return std::tie(a.position, a.track) < std::tie(b.position, b.track);
  });
  return samples;
}

}  // namespace

std::vector<RecordMethod::Pair> RecordMethod::PairsOf(const Reference& reference,
                                                      std::size_t track) {
  std::vector<Pair> pairs;
  const std::vector<PlacedSample> samples = SamplesOf(reference);
  for (std::size_t i = 0; i + 1 < samples.size() && pairs.size() < kMostRecords; ++i) {
    const PlacedSample& record = samples[i];
    const PlacedSample& next = samples[i + 1];
    if (record.track != track) {
      // Media without a record in front of it could not be found by records.
      if (next.track != track && next.position != record.position) return {};
      continue;
    }
    // Where else than right behind its record a sample lies nothing would tell.
    if (record.size < kHead || record.position + record.size != next.position) return {};
    Pair pair;
    pair.record.resize(kHead);
    if (!reference.file().Read(record.position, pair.record.data(), kHead)) return {};
    pair.recordSize = record.size;
    if (next.track != track) pair.track = next.track;
    pair.sampleSize = next.size;
    pair.duration = next.duration;
    pairs.push_back(std::move(pair));
  }
  return pairs;
}

std::optional<RecordMethod> RecordMethod::Learn(const Reference& reference) {
  const auto& tracks = reference.tracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    // Records tell of other tracks. Of fewer than four samples too much agrees by chance.
    const bool media = tracks[i].kind == FourCc("vide") || tracks[i].kind == FourCc("soun");
    if (media || tracks[i].sizes.count < 4 || tracks.size() < 2) continue;
    const std::vector<Pair> pairs = PairsOf(reference, i);
    RecordMethod method;
    method.track_ = i;
    if (pairs.size() < 4 || !method.LearnKinds(pairs) || !method.LearnSize(pairs)) continue;
    method.LearnDuration(pairs);
    return method;
  }
  return std::nullopt;
}

bool RecordMethod::LearnKinds(const std::vector<Pair>& pairs) {
  // A counter in place of a key would give each record a kind of its own.
  constexpr std::size_t kMostKinds = 64;
  for (const Pair& pair : pairs) {
    const auto [kind, isNew] =
        kinds_.try_emplace(Number(pair.record.data()), Kind{pair.recordSize, pair.track});
    // In a broken clip the key is all there is to go by: it may have one meaning only.
    if (kind->second.recordSize != pair.recordSize || kind->second.track != pair.track)
      return false;
    if (kinds_.size() > kMostKinds) return false;
  }
  return true;
}

bool RecordMethod::LearnSize(const std::vector<Pair>& pairs) {
  // The key takes the first 4 bytes.
  for (std::size_t at = 4; at + 4 <= kHead; ++at) {
    const bool all = std::all_of(pairs.begin(), pairs.end(), [&](const Pair& pair) {
      return !pair.track || Number(pair.record.data() + at) == pair.sampleSize;
    });
    if (!all) continue;
    sizeAt_ = at;
    return true;
  }
  return false;
}

void RecordMethod::LearnDuration(const std::vector<Pair>& pairs) {
  for (std::size_t at = 4; at + 4 <= kHead; ++at) {
    std::set<std::size_t> holds;
    std::set<std::size_t> fails;
    for (const Pair& pair : pairs) {
      if (!pair.track) continue;
      const bool same = pair.duration != 0 && Number(pair.record.data() + at) == pair.duration;
      (same ? holds : fails).insert(*pair.track);
    }
    for (const std::size_t track : fails) holds.erase(track);
    // Records of some tracks may say no duration: the place that is right for most tracks counts.
    if (holds.size() <= timedTracks_.size()) continue;
    timedTracks_ = holds;
    durationAt_ = at;
  }
}

RecordMethod::Head RecordMethod::HeadAt(MediaWindow& window, std::uint64_t position,
                                        std::uint64_t end) const {
  Head head;
  if (position > end || end - position < kHead) return head;
  const unsigned char* bytes = window.At(position, kHead);
  const auto kind = bytes != nullptr ? kinds_.find(Number(bytes)) : kinds_.end();
  if (kind == kinds_.end() || kind->second.recordSize > end - position) return head;
  head.kind = &kind->second;
  head.sampleSize = Number(bytes + sizeAt_);
  head.duration = Number(bytes + durationAt_);
  return head;
}

Harvest RecordMethod::Walk(MediaWindow& window, std::size_t tracks, ByteRange range, bool ends,
                           const std::function<bool(std::uint64_t)>& progress) const {
  Harvest harvest;
  harvest.tracks.resize(tracks);
  const auto add = [&](std::size_t track, std::uint64_t position, std::uint32_t size) {
    harvest.Add(track, position, {1, size, {size}});
  };
  std::uint64_t at = range.begin;
  Head head = HeadAt(window, at, range.end);
  while (head.kind != nullptr && progress(at)) {
    const std::uint64_t sample = at + head.kind->recordSize;
    const std::uint64_t next = head.kind->track ? sample + head.sampleSize : sample;
    const Head following = HeadAt(window, next, range.end);
    // A size is believed only if another record, or the end of the media, comes right behind it.
    if (next > range.end || (following.kind == nullptr && !(ends && next == range.end))) break;
    add(track_, at, head.kind->recordSize);
    if (const auto& track = head.kind->track) {
      add(*track, sample, head.sampleSize);
      if (timedTracks_.contains(*track)) {
        harvest.tracks[*track].durations.push_back(head.duration);
      }
    }
    at = next;
    head = following;
  }
  harvest.AddUnknown(at, range.end);
  return harvest;
}

}  // namespace clipchain::rescue
