#include "workflow/rescue/model.h"

#include <fmt/format.h>

#include <algorithm>

#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"
#include "workflow/rescue/media_walk.h"
#include "workflow/rescue/picture_facts.h"
#include "workflow/rescue/sound_decoder.h"

namespace clipchain::rescue {

namespace {

// As much of the reference's media as it takes to know it.
constexpr std::uint64_t kTried = 64 << 20;
constexpr std::size_t kMostObserved = 4000;

struct CodecEntry {
  unsigned int type;
  Codec codec;
  unsigned int configuration;
};
constexpr CodecEntry kCodecs[] = {{FourCc("avc1"), Codec::kAvc, FourCc("avcC")},
                                  {FourCc("avc3"), Codec::kAvc, FourCc("avcC")},
                                  {FourCc("hvc1"), Codec::kHevc, FourCc("hvcC")},
                                  {FourCc("hev1"), Codec::kHevc, FourCc("hvcC")},
                                  {FourCc("jpeg"), Codec::kJpeg, 0}};

// Fields in front of the boxes of a visual sample entry, its own head included.
// ISO/IEC 14496-12, clause 12.1.3: 8 bytes of header, 8 of a sample entry, 70 of a visual one.
constexpr std::size_t kVisualLead = 86;

const CodecEntry* CodecOf(const ReferenceTrack& track) {
  const auto found =
      std::find_if(std::begin(kCodecs), std::end(kCodecs),
                   [&](const CodecEntry& entry) { return entry.type == track.entryType; });
  return found != std::end(kCodecs) ? found : nullptr;
}

class Learner {
 public:
  Learner(const Reference& reference, Model& model)
      : reference_(reference), model_(model), window_(reference.file()) {}

  [[nodiscard]] Reason Learn() {
    model_.reference = &reference_;
    if (Reason why = FindVideo()) return why;
    model_.patterns.Learn(reference_, model_.video);
    if (model_.video) model_.leads = LearnLeads(reference_, *model_.video);
    MakeMethods();
    model_.records = RecordMethod::Learn(reference_);
    // What was learned must first find the reference's own samples, which are known.
    if (model_.records && !TryRecords()) model_.records.reset();
    if (model_.records) return std::nullopt;
    return TryWalk();
  }

 private:
  [[nodiscard]] Reason FindVideo();
  bool Observe(const ReferenceTrack& track);
  void ReadPictures(const ReferenceTrack& track);
  void MakeMethods();
  bool TryRecords();
  std::string VideoNotFoundWords(const Harvest& harvest) const;
  const ReferenceTrack* TrackAt(std::uint64_t position) const;
  [[nodiscard]] Reason TryWalk();
  WalkRange TriedRange() const;
  // The tracks with a sample that is none of the reference's.
  std::vector<bool> WrongTracks(const Harvest& harvest) const;
  bool FindsLittle(const Harvest& harvest, std::size_t track, std::uint64_t end) const;

  const Reference& reference_;
  Model& model_;
  MediaWindow window_;
};

Reason Learner::FindVideo() {
  for (std::size_t i = 0; i < reference_.tracks().size(); ++i) {
    const ReferenceTrack& track = reference_.tracks()[i];
    if (track.kind != FourCc("vide") || track.sizes.count == 0) continue;
    const CodecEntry* entry = CodecOf(track);
    if (entry == nullptr) {
      return fmt::format(
          "has video of the format {}, for which there is no "
          "way to find samples",
          FourCcText(track.entryType));
    }
    // Units of one look like those of the other.
    if (model_.video) return "has several video tracks, which can't be told apart";
    // Nothing in the media says where another description takes over.
    if (track.descriptions != 1) return "has several descriptions of its video";
    model_.video = i;
    model_.configuration = EntryBox(track.entry, entry->configuration, kVisualLead);
    if (!model_.syntax.SetConfiguration(entry->codec, model_.configuration))
      return "has a damaged description of its video";
    if (!Observe(track)) return "has video whose samples are not made as their description says";
  }
  return std::nullopt;
}

bool Learner::Observe(const ReferenceTrack& track) {
  HabitsObserver observer(window_, model_.syntax);
  std::size_t left = kMostObserved;
  std::uint64_t bytes = 0;
  for (const ChunkPlace& chunk : track.chunks) {
    std::uint64_t at = chunk.position;
    for (std::uint32_t i = 0; i < chunk.samples && left > 0 && bytes < kTried; ++i, --left) {
      const std::uint32_t size = track.sizes.At(chunk.firstSample + i);
      if (!observer.Take(at, size)) return false;
      at += size;
      bytes += size;
    }
  }
  model_.habits = observer.habits();
  ReadPictures(track);
  model_.habits.signs.display = LearnDisplay(model_.pictures);
  model_.habits.signs.evenStep = LearnEvenStep(model_.pictures);
  return true;
}

// Where a sample is no whole access unit nothing is learned from those behind
// it.
void Learner::ReadPictures(const ReferenceTrack& track) {
  PictureReader reader(window_, model_.syntax, model_.habits);
  std::uint64_t bytes = 0;
  for (const ChunkPlace& chunk : track.chunks) {
    std::uint64_t at = chunk.position;
    for (std::uint32_t i = 0; i < chunk.samples; ++i) {
      if (model_.pictures.size() == kMostObserved || bytes > kTried) return;
      const std::uint32_t size = track.sizes.At(chunk.firstSample + i);
      const auto facts = reader.Take(at, size);
      if (!facts) return;
      model_.pictures.push_back(*facts);
      at += size;
      bytes += size;
    }
  }
}

void Learner::MakeMethods() {
  for (std::size_t i = 0; i < reference_.tracks().size(); ++i) {
    model_.methods.push_back(model_.video && i == *model_.video
                                 ? nullptr
                                 : MakeFrameMethod(reference_, i, model_.patterns.CountsOf(i)));
  }
  std::vector<std::size_t> alike;
  for (std::size_t i = 0; i < model_.methods.size(); ++i) {
    const auto& method = model_.methods[i];
    const bool sound = reference_.tracks()[i].kind == FourCc("soun");
    if (sound && method != nullptr && method->UniformSize() == 0) alike.push_back(i);
  }
  model_.order.Learn(reference_, std::move(alike));
}

WalkRange Learner::TriedRange() const {
  WalkRange range;
  range.begin = reference_.chunks().front().position;
  const ChunkPlace& last = reference_.chunks().back();
  range.end = last.position + reference_.BytesOf(last);
  range.ends = true;
  // What lies behind its samples must not be taken for some.
  if (range.end < reference_.MediaEnd()) {
    range.end = reference_.MediaEnd();
    range.ends = false;
  }
  if (range.end - range.begin > kTried) {
    range.end = range.begin + kTried;
    range.ends = false;
  }
  return range;
}

std::vector<bool> Learner::WrongTracks(const Harvest& harvest) const {
  const auto& tracks = reference_.tracks();
  std::vector<bool> wrong(tracks.size());
  std::vector<std::size_t> chunk(tracks.size());
  // In the chunk.
  std::vector<std::uint32_t> sample(tracks.size());
  // Of that sample.
  std::vector<std::uint64_t> place(tracks.size());
  // Of those found.
  std::vector<std::uint64_t> taken(tracks.size());
  const auto next = [&](std::size_t t) {
    place[t] += tracks[t].sizes.At(tracks[t].chunks[chunk[t]].firstSample + sample[t]);
    if (++sample[t] < tracks[t].chunks[chunk[t]].samples) return;
    sample[t] = 0;
    if (++chunk[t] < tracks[t].chunks.size()) place[t] = tracks[t].chunks[chunk[t]].position;
  };
  for (std::size_t t = 0; t < tracks.size(); ++t) {
    if (!tracks[t].chunks.empty()) place[t] = tracks[t].chunks[0].position;
  }
  for (const SampleRun& run : harvest.runs) {
    const std::size_t t = run.track;
    std::uint64_t at = run.position;
    for (std::uint64_t i = 0; i < run.samples && !wrong[t]; ++i) {
      const auto& sizes = harvest.tracks[t].sizes;
      const std::uint64_t size = sizes.empty() ? run.bytes / run.samples : sizes[taken[t]++];
      // A sample that was not found is a loss; one that is none is a lie.
      while (chunk[t] < tracks[t].chunks.size() && place[t] < at) next(t);
      wrong[t] = chunk[t] == tracks[t].chunks.size() || place[t] != at ||
                 tracks[t].sizes.At(tracks[t].chunks[chunk[t]].firstSample + sample[t]) != size;
      at += size;
    }
  }
  return wrong;
}

// Of the samples in the range that was tried half must be there.
bool Learner::FindsLittle(const Harvest& harvest, std::size_t track, std::uint64_t end) const {
  std::uint64_t expected = 0;
  for (const ChunkPlace& chunk : reference_.tracks()[track].chunks) {
    if (chunk.position < end) expected += chunk.samples;
  }
  return harvest.tracks[track].samples * 2 < expected;
}

bool Learner::TryRecords() {
  const WalkRange range = TriedRange();
  const Harvest harvest =
      model_.records->Walk(window_, reference_.tracks().size(), {range.begin, range.end},
                           range.ends, [](std::uint64_t) { return true; });
  const std::vector<bool> wrong = WrongTracks(harvest);
  for (std::size_t t = 0; t < wrong.size(); ++t) {
    if (wrong[t] || FindsLittle(harvest, t, range.end)) return false;
  }
  return true;
}

// The one with the chunk that holds the place.
const ReferenceTrack* Learner::TrackAt(std::uint64_t position) const {
  for (const ReferenceTrack& track : reference_.tracks()) {
    for (const ChunkPlace& chunk : track.chunks) {
      const std::uint64_t end = chunk.position + reference_.BytesOf(chunk);
      if (chunk.position <= position && position < end) return &track;
    }
  }
  return nullptr;
}

// Pieces of a track that nothing tells apart hide the pictures behind them.
std::string Learner::VideoNotFoundWords(const Harvest& harvest) const {
  const auto& tracks = reference_.tracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const bool isFound = model_.methods[i] != nullptr || i == *model_.video;
    if (isFound || tracks[i].sizes.count == 0) continue;
    return fmt::format("has {} of the format {}, for which there is no way to find samples",
                       tracks[i].kind == FourCc("soun") ? "sound" : "data",
                       FourCcText(tracks[i].entryType));
  }
  const std::uint64_t lost = harvest.unknown.empty() ? 0 : harvest.unknown.front().begin;
  const ReferenceTrack* track = TrackAt(lost);
  if (track == nullptr) return "has video in which samples are found that are none of its own";
  return fmt::format(
      "has video that is lost at byte {}, where the end of what its track {} ({}) "
      "holds there can't be found",
      lost, track->id, FourCcText(track->entryType));
}

Reason Learner::TryWalk() {
  if (model_.video && !HasDecoder())
    return "has video, for which this program was made without a decoder";
  // Without a track that is found wrongly the others are found otherwise, and are tried once more.
  for (std::size_t rounds = 0; rounds <= reference_.tracks().size(); ++rounds) {
    const WalkRange range = TriedRange();
    const Harvest harvest = WalkMedia(model_, window_, range, [](std::uint64_t) { return true; });
    const std::vector<bool> wrong = WrongTracks(harvest);
    if (model_.video && (wrong[*model_.video] || FindsLittle(harvest, *model_.video, range.end)))
      return VideoNotFoundWords(harvest);
    if (!FirstPictureDecodes(model_, window_, harvest))
      return "has a first picture that can't be decoded";
    bool dropped = false;
    for (std::size_t t = 0; t < wrong.size(); ++t) {
      if (!wrong[t] || model_.methods[t] == nullptr) continue;
      model_.methods[t] = nullptr;
      dropped = true;
    }
    if (!dropped) break;
  }
  const bool any = std::any_of(model_.methods.begin(), model_.methods.end(),
                               [](const auto& method) { return method != nullptr; });
  if (!model_.video && !any)
    return "has no track of a format for which there is a way to find samples";
  return std::nullopt;
}

}  // namespace

std::string Model::MethodOf(std::size_t track) const {
  if (records) return "records";
  if (video && track == *video) return syntax.codec() == Codec::kJpeg ? "markers" : "units";
  return methods[track] != nullptr ? std::string(methods[track]->Name()) : "";
}

Reason LearnModel(const Reference& reference, Model& model) {
  return Learner(reference, model).Learn();
}

}  // namespace clipchain::rescue
