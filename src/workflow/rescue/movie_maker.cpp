#include "workflow/rescue/movie_maker.h"

#include <algorithm>
#include <string_view>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"

namespace clipchain::rescue {

namespace {

using QUIRVA::be32;

constexpr std::string_view kMark = "Rescued: made again from a clip whose movie box was lost";

std::uint64_t Scaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to) {
  const auto wide = static_cast<unsigned __int128>(ticks) * to + from / 2;
  return static_cast<std::uint64_t>(wide / from);
}

// Where the runs of a track will lie, as chunks of at most so many samples.
class Chunks {
 public:
  explicit Chunks(std::uint32_t most) : most_(std::max(most, 1U)) {}

  void Add(std::uint64_t position, std::uint64_t samples, const std::uint32_t* sizes,
           std::uint64_t uniform) {
    while (samples > 0) {
      const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(samples, most_));
      AppendChunk(runs_, static_cast<std::uint32_t>(offsets_.size() + 1), count, 1);
      offsets_.push_back(position);
      for (std::uint32_t i = 0; i < count; ++i) position += sizes != nullptr ? *sizes++ : 0;
      if (sizes == nullptr) position += uniform * count;
      samples -= count;
    }
  }
  const ChunkRuns& runs() const { return runs_; }
  const std::vector<std::uint64_t>& offsets() const { return offsets_; }

 private:
  std::uint32_t most_;
  ChunkRuns runs_;
  std::vector<std::uint64_t> offsets_;
};

// When the last sample that is shown has been, in the track's time scale.
std::uint64_t EndShown(const TimeRuns& times, const OffsetRuns& offsets) {
  std::int64_t decoded = 0;
  std::int64_t end = 0;
  std::size_t run = 0;
  std::uint64_t used = 0;
  for (const TimeRun& time : times) {
    for (std::uint64_t left = time.count; left != 0;) {
      while (run < offsets.size() && used == offsets[run].count) {
        ++run;
        used = 0;
      }
      const std::uint64_t samples =
          run < offsets.size() ? std::min<std::uint64_t>(left, offsets[run].count - used) : left;
      decoded += static_cast<std::int64_t>(samples) * time.delta;
      const std::int64_t offset = run < offsets.size() ? offsets[run].offset : 0;
      end = std::max(end, decoded + offset);
      left -= samples;
      used += samples;
    }
  }
  return static_cast<std::uint64_t>(end);
}

std::uint32_t LargestChunk(const ReferenceTrack& track) {
  std::uint32_t most = 1;
  for (const ChunkPlace& chunk : track.chunks) most = std::max(most, chunk.samples);
  return most;
}

// A group of samples that holds all of them, such as the one that says how far
// sound must be decoded ahead, holds all that were found; any other one would
// be a guess.
bool AdaptGroups(RawBox& box, std::uint64_t before, std::uint64_t found) {
  std::span<const unsigned char> in = box.data;
  be32 versionAndFlags;
  be32 type;
  be32 entries;
  if (!TakeField(in, versionAndFlags) || !TakeField(in, type)) return false;
  if (box.data[0] != 0 && !TakeField(in, type)) return false;
  const std::size_t at = box.data.size() - in.size();
  be32 count;
  if (!TakeField(in, entries) || entries != 1 || !TakeField(in, count) || count != before)
    return false;
  Bytes bytes;
  PutField<be32>(bytes, static_cast<std::uint32_t>(found));
  std::copy(bytes.begin(), bytes.end(), box.data.begin() + static_cast<std::ptrdiff_t>(at + 4));
  return true;
}

class Maker {
 public:
  Maker(const Model& model, const Harvest& harvest, std::uint64_t media)
      : model_(model), harvest_(harvest), media_(media) {}

  MadeMovie Make(const ClipNames& names) {
    made_.movie = model_.reference->movie();
    PlaceChunks();
    MakeTracks();
    Finish();
    WriteNames(made_.movie, names);
    Mark();
    return std::move(made_);
  }

 private:
  void PlaceChunks();
  void MakeTracks();
  void MakeTables(RawBox& table, std::size_t index);
  SampleSizes SizesOf(std::size_t index) const;
  std::vector<RawBox> NewTables(const RawBox& old, std::size_t index);
  bool HoldsWhole(const ReferenceTrack& track) const;
  void SetDurations(RawBox& trak, std::size_t index);
  std::uint64_t SetEdits(RawBox& trak, const ReferenceTrack& track, const TrackTimes& times);
  void Finish();
  // As rescued, among its tags.
  void Mark();

  const Model& model_;
  const Harvest& harvest_;
  std::uint64_t media_;
  MadeMovie made_;
  std::vector<Chunks> chunks_;
  // Of the tracks, in the movie's time scale.
  std::uint64_t longest_ = 0;
};

void Maker::PlaceChunks() {
  for (const ReferenceTrack& track : model_.reference->tracks()) {
    chunks_.emplace_back(LargestChunk(track));
  }
  std::vector<std::uint64_t> taken(chunks_.size());
  std::uint64_t at = media_;
  for (const SampleRun& run : harvest_.runs) {
    const auto& sizes = harvest_.tracks[run.track].sizes;
    chunks_[run.track].Add(at, run.samples, sizes.empty() ? nullptr : &sizes[taken[run.track]],
                           run.bytes / run.samples);
    taken[run.track] += run.samples;
    at += run.bytes;
  }
}

// Tracks whose one sample holds for the whole clip come last, when it is known
// how long that is.
void Maker::MakeTracks() {
  const auto& tracks = model_.reference->tracks();
  made_.tracks.resize(tracks.size());
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    static const Pictures kNone;
    const bool video = model_.video && *model_.video == i;
    made_.tracks[i].times =
        MakeTimes(tracks[i], video ? model_.pictures : kNone, harvest_.tracks[i]);
    MakeTables(*SampleTable(made_.movie.children[tracks[i].trak]), i);
  }
  for (const bool whole : {false, true}) {
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      if (HoldsWhole(tracks[i]) == whole) SetDurations(made_.movie.children[tracks[i].trak], i);
    }
  }
}

bool Maker::HoldsWhole(const ReferenceTrack& track) const {
  if (track.sizes.count != 1 || track.times.size() != 1 || model_.reference->tracks().size() < 2)
    return false;
  const auto movie = ReadTimeHeader(*model_.reference->movie().Child(FourCc("mvhd")));
  const std::uint64_t ticks = Scaled(track.times[0].delta, track.timeScale, movie->scale);
  return ticks * 10 >= movie->duration * 9;
}

void Maker::MakeTables(RawBox& table, std::size_t index) {
  table.children = NewTables(table, index);
  table.data.clear();
}

SampleSizes Maker::SizesOf(std::size_t index) const {
  const TrackHarvest& found = harvest_.tracks[index];
  SampleSizes sizes;
  sizes.count = static_cast<std::uint32_t>(found.samples);
  sizes.sizes = found.sizes;
  if (found.sizes.empty()) sizes.uniform = model_.reference->tracks()[index].UniformSize();
  return sizes;
}

std::vector<RawBox> Maker::NewTables(const RawBox& old, std::size_t index) {
  const ReferenceTrack& track = model_.reference->tracks()[index];
  const TrackHarvest& found = harvest_.tracks[index];
  const TrackTimes& times = made_.tracks[index].times;
  std::vector<RawBox> tables;
  for (const RawBox& box : old.children) {
    switch (box.type) {
      case FourCc("stsd"):
        tables.push_back(box);
        break;
      case FourCc("stts"):
        tables.push_back(TimesBox(times.times));
        break;
      case FourCc("ctts"):
        if (auto offsets = OffsetsBox(times.offsets)) tables.push_back(std::move(*offsets));
        break;
      case FourCc("stss"):
        tables.push_back(SampleNumbersBox(box.type, times.syncSamples));
        break;
      case FourCc("stsz"):
      case FourCc("stz2"):
        tables.push_back(SizesBox(SizesOf(index)));
        break;
      case FourCc("stsc"):
        tables.push_back(ChunkRunsBox(chunks_[index].runs()));
        break;
      case FourCc("stco"):
      case FourCc("co64"):
        tables.push_back(ChunkOffsetsBox(chunks_[index].offsets()));
        break;
      case FourCc("sgpd"):
        tables.push_back(box);
        break;
      case FourCc("sbgp"):
        tables.push_back(box);
        if (!AdaptGroups(tables.back(), track.sizes.count, found.samples)) tables.pop_back();
        break;
      default:
        break;
    }
  }
  const bool grouped = std::any_of(tables.begin(), tables.end(),
                                   [](const RawBox& box) { return box.type == FourCc("sbgp"); });
  if (!grouped) std::erase_if(tables, [](const RawBox& box) { return box.type == FourCc("sgpd"); });
  return tables;
}

void Maker::SetDurations(RawBox& trak, std::size_t index) {
  const ReferenceTrack& track = model_.reference->tracks()[index];
  const std::uint32_t scale = model_.reference->timeScale();
  TrackTimes& times = made_.tracks[index].times;
  if (HoldsWhole(track) && harvest_.tracks[index].samples == 1) {
    times.times = {{1, static_cast<std::uint32_t>(Scaled(longest_, scale, track.timeScale))}};
    times.timesEstimated = false;
    *SampleTable(trak)->Child(FourCc("stts")) = TimesBox(times.times);
  }
  const std::uint64_t ticks = MediaDuration(times.times).value_or(0);
  made_.tracks[index].seconds = static_cast<double>(ticks) / track.timeScale;
  RawBox& media = *trak.At({FourCc("mdia"), FourCc("mdhd")});
  static_cast<void>(WriteTimeHeader(media, {track.timeScale, ticks}));
  const std::uint64_t shown = SetEdits(trak, track, times);
  RawBox& head = *trak.Child(FourCc("tkhd"));
  static_cast<void>(WriteTrackHeader(head, {track.id, shown}));
  longest_ = std::max(longest_, shown);
}

// The last edit shows the rest of the track, as the reference's does. The
// duration of the track, in the movie's time scale.
std::uint64_t Maker::SetEdits(RawBox& trak, const ReferenceTrack& track, const TrackTimes& times) {
  const std::uint32_t scale = model_.reference->timeScale();
  const std::uint64_t duration = MediaDuration(times.times).value_or(0);
  const std::uint64_t all = Scaled(duration, track.timeScale, scale);
  RawBox* box = trak.At({FourCc("edts"), FourCc("elst")});
  auto edits = box != nullptr ? ReadEdits(*box) : std::nullopt;
  if (!edits || edits->empty() || edits->back().mediaTime < 0) return all;
  const std::uint64_t last = edits->back().duration;
  edits->back().duration = 0;
  // What stands in front of the edit is not shown; but with composition offsets
  // it may be no more than the time before the first picture, and the reference
  // shows which.
  const auto skipped = static_cast<std::uint64_t>(edits->back().mediaTime);
  const auto rest = [&](std::uint64_t ticks) {
    return Scaled(ticks - std::min(skipped, ticks), track.timeScale, scale);
  };
  const std::uint64_t before = MediaDuration(track.times).value_or(0);
  const std::uint64_t whole = Scaled(before, track.timeScale, scale);
  const bool shifted = last > rest(before) && last - rest(before) > (whole - rest(before)) / 2;
  // Where pictures between the last ones are missing, the last one is shown later than the sum
  // says.
  edits->back().duration =
      shifted ? std::max(all, rest(EndShown(times.times, times.offsets))) : rest(duration);
  std::uint64_t sum = 0;
  for (const Edit& edit : *edits) sum += edit.duration;
  *box = EditsBox(*edits);
  return sum;
}

void Maker::Finish() {
  RawBox& head = *made_.movie.Child(FourCc("mvhd"));
  static_cast<void>(WriteTimeHeader(head, {model_.reference->timeScale(), longest_}));
}

// A comment, as it stands among the tags that players show.
RawBox Comment() {
  constexpr unsigned int kComment = 0xA9636D74;
  Bytes text = {0, 0, 0, 1, 0, 0, 0, 0};
  text.insert(text.end(), kMark.begin(), kMark.end());
  RawBox comment(kComment, {});
  RawBox(FourCc("data"), std::move(text)).Write(comment.data);
  return comment;
}

// The boxes in a "meta" box, behind `lead` bytes; none where it is damaged.
std::vector<RawBox> TakeAll(const Bytes& bytes, std::size_t lead) {
  std::vector<RawBox> boxes;
  if (bytes.size() < lead) return boxes;
  std::span<const unsigned char> in(bytes);
  in = in.subspan(lead);
  RawBox box;
  while (box.Take(in)) boxes.push_back(box);
  if (!in.empty()) boxes.clear();
  return boxes;
}

// Adds the comment to tags that are there. False: there is no place for it.
bool AddComment(RawBox& meta) {
  constexpr std::size_t kFullBox = 4;
  std::vector<RawBox> boxes = TakeAll(meta.data, kFullBox);
  const auto tags = std::find_if(boxes.begin(), boxes.end(),
                                 [](const RawBox& box) { return box.type == FourCc("ilst"); });
  if (tags == boxes.end()) return false;
  Comment().Write(tags->data);
  meta.data.resize(kFullBox);
  for (const RawBox& box : boxes) box.Write(meta.data);
  return true;
}

RawBox NewTags() {
  Bytes handler(25);
  constexpr std::string_view kHandler = "mdir";
  std::copy(kHandler.begin(), kHandler.end(), handler.begin() + 8);
  RawBox tags(FourCc("ilst"), {});
  Comment().Write(tags.data);
  RawBox meta(FourCc("meta"), Bytes(4));
  RawBox(FourCc("hdlr"), handler).Write(meta.data);
  tags.Write(meta.data);
  return meta;
}

void Maker::Mark() {
  if (made_.movie.Child(FourCc("udta")) == nullptr) {
    made_.movie.children.push_back(RawBox(FourCc("udta"), {}));
  }
  RawBox& user = *made_.movie.Child(FourCc("udta"));
  RawBox* meta = user.Child(FourCc("meta"));
  if (meta == nullptr) {
    user.children.push_back(NewTags());
  } else if (!AddComment(*meta)) {
    // Tags of another kind stay as they are; the mark stands beside them.
    user.children.push_back(RawBox(FourCc("name"), Bytes(kMark.begin(), kMark.end())));
  }
}

}  // namespace

MadeMovie MakeMovie(const Model& model, const Harvest& harvest, std::uint64_t media,
                    const ClipNames& names) {
  return Maker(model, harvest, media).Make(names);
}

bool IsRescued(const RawBox& movie) {
  const RawBox* user = movie.Child(FourCc("udta"));
  if (user == nullptr) return false;
  const auto holdsMark = [](const RawBox& box) {
    return std::search(box.data.begin(), box.data.end(), kMark.begin(), kMark.end()) !=
           box.data.end();
  };
  return std::any_of(user->children.begin(), user->children.end(), holdsMark);
}

}  // namespace clipchain::rescue
