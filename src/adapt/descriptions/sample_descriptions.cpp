#include "adapt/descriptions/sample_descriptions.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "adapt/boxes/bit_rates.h"
#include "adapt/boxes/box_header.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/boxes/tracks.h"
#include "adapt/descriptions/description_match.h"
#include "adapt/descriptions/description_words.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kOtherKind = "leave it out, or merge it with clips of its own kind";

const RawBox* DescriptionsOf(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  return table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
}

// Those that have samples.
std::set<std::uint32_t> UsedDescriptions(const RawBox& track) {
  const RawBox* box = SampleTable(track)->Child(FourCc("stsc"));
  const auto runs = box != nullptr ? ReadChunkRuns(*box) : std::nullopt;
  std::set<std::uint32_t> used;
  for (const ChunkRun& run : runs.value_or(ChunkRuns())) used.insert(run.description);
  return used;
}

bool AreInPlace(const std::vector<std::uint32_t>& numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != i + 1) return false;
  }
  return true;
}

void TakeMatched(RawBox& track, const MatchedDescriptions& matched) {
  const std::vector<std::uint32_t>& numbers = matched.numbers;
  SampleTable(track)->Child(FourCc("stsd"))->data = matched.stsd;
  RawBox* box = SampleTable(track)->Child(FourCc("stsc"));
  auto runs = box != nullptr ? ReadChunkRuns(*box) : std::nullopt;
  if (!runs) return;
  for (ChunkRun& run : *runs) {
    if (run.description <= numbers.size()) run.description = numbers[run.description - 1];
  }
  *box = ChunkRunsBox(*runs);
}

// Bits a second over all samples of a merged track; 0 where that can't be said.
unsigned int AverageRate(const RawBox& track) {
  const RawBox* table = SampleTable(track);
  const RawBox* sizes = table->Child(FourCc("stsz"));
  const RawBox* times = table->Child(FourCc("stts"));
  const RawBox* header = track.At({FourCc("mdia"), FourCc("mdhd")});
  if (sizes == nullptr || times == nullptr || header == nullptr) return 0;
  const auto read = ReadSizes(*sizes);
  const auto runs = ReadTimes(*times);
  const auto fields = ReadTimeHeader(*header);
  const auto duration = runs ? MediaDuration(*runs) : std::nullopt;
  if (!read || !duration || *duration == 0 || !fields) return 0;
  const long double seconds = static_cast<long double>(*duration) / fields->scale;
  const long double rate = static_cast<long double>(read->Sum()) * 8 / seconds;
  return rate < static_cast<long double>(std::numeric_limits<unsigned int>::max())
             ? static_cast<unsigned int>(rate + 0.5L)
             : std::numeric_limits<unsigned int>::max();
}

class SampleDescriptions final : public Adaptation {
 public:
  void Adapt(FitClips& clips, FitReport& report) override {
    const std::vector<const RawBox*> first = TracksOf(std::as_const(clips.front().movie));
    for (const RawBox* track : first) {
      const RawBox* descriptions = DescriptionsOf(*track);
      together_.push_back(descriptions != nullptr ? descriptions->data : Bytes());
    }
    differing_.resize(first.size());
    for (std::size_t i = 1; i < clips.size(); ++i) {
      const std::vector<RawBox*> later = TracksOf(clips[i].movie);
      for (std::size_t k = 0; k < later.size() && k < first.size(); ++k)
        Compare(clips.front().Path(), *first[k], *later[k], i, k, report);
    }
  }

  void Complete(RawBox& movie) const override {
    const std::vector<RawBox*> tracks = TracksOf(movie);
    for (std::size_t k = 0; k < tracks.size() && k < differing_.size(); ++k) {
      if (!differing_[k].empty()) SetRates(*tracks[k], together_[k], differing_[k]);
    }
  }

 private:
  void Compare(const std::string& firstPath, const RawBox& first, RawBox& second, std::size_t clip,
               std::size_t place, FitReport& report) {
    const RawBox* a = DescriptionsOf(first);
    const RawBox* b = DescriptionsOf(second);
    if (a == nullptr || b == nullptr || a->data == b->data) return;
    const unsigned int id = RawTrackId(second);
    const auto matched = MatchDescriptions(*a, *b, UsedDescriptions(second));
    if (!matched) {
      report
          .Refuse(FitProblemKind::kSampleDescription, clip, id,
                  "in its " + RawTrackWords(second) + " is encoded in another way than that of " +
                      firstPath + ": " +
                      DescriptionDifference(*a, *b, TrackKind(second), firstPath),
                  kOtherKind)
          .box = "moov/trak/mdia/minf/stbl/stsd";
      return;
    }
    const bool isInPlace = AreInPlace(matched->numbers);
    if (!isInPlace) TakeMatched(second, *matched);
    if (!isInPlace || matched->stsd == a->data)
      report.Note(AdaptationKind::kDescriptions, clip, id,
                  "has in its " + RawTrackWords(second) +
                      " sample descriptions in another order or number than the first clip");
    if (matched->stsd == a->data) return;
    TakeRates(a->data, matched->stsd, place);
    report.Note(AdaptationKind::kBitRates, clip, id,
                "declares in its " + RawTrackWords(second) +
                    " other bit rates or sizes of frames or buffers than the first clip");
  }

  void TakeRates(const Bytes& first, const Bytes& later, std::size_t place) {
    for (const RateField& field : RateFieldsOf(first)) {
      const std::uint64_t rate = RateAt(later, field);
      if (rate != RateAt(first, field)) differing_[place].insert(field.boxAt);
      const std::uint64_t before = RateAt(together_[place], field);
      SetRate(together_[place], field, RateOfBoth(field.kind, before, rate));
    }
  }

  // What all clips declare alike stays.
  static void SetRates(RawBox& track, const Bytes& together,
                       const std::set<std::size_t>& differing) {
    RawBox* table = SampleTable(track);
    RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
    if (descriptions == nullptr) return;
    const unsigned int average = AverageRate(track);
    for (const RateField& field : RateFieldsOf(descriptions->data)) {
      if (differing.count(field.boxAt) == 0) continue;
      std::uint64_t value = RateAt(together, field);
      // One that no clip knows stays unknown.
      const bool isAverage = field.kind == RateField::Kind::kAverage;
      // The largest of averages is none of all; buffers and peaks must suffice for each clip.
      if (isAverage && value != 0 && average != 0) value = average;
      if (field.kind == RateField::Kind::kOfOneClip) value = 0;
      SetRate(descriptions->data, field, value);
    }
  }

  // Descriptions of each track with the rates of all clips so far.
  std::vector<Bytes> together_;
  // By track, where the boxes begin of whose fields some differ.
  std::vector<std::set<std::size_t>> differing_;
};

}  // namespace

std::unique_ptr<Adaptation> MakeSampleDescriptions() {
  return std::make_unique<SampleDescriptions>();
}

}  // namespace clipchain
