#include "workflow/rescue/media_walk.h"

#include <algorithm>

#include "workflow/rescue/broken_file.h"
#include "workflow/rescue/cut_gap.h"
#include "workflow/rescue/picture_facts.h"
#include "workflow/rescue/sound_decoder.h"

namespace clipchain::rescue {

namespace {

using Answer = BeginsOther::Answer;

constexpr std::size_t kMovieHead = 16;
// How far a search may go beyond the largest gap of the reference.
constexpr std::uint64_t kTimesLargest = 4;
constexpr std::uint64_t kRoom = 64 << 10;
// Bytes that are looked at, in all: as many as the media has, a few times.
constexpr std::uint64_t kTimesMedia = 8;
constexpr std::uint64_t kSpareWork = 256 << 20;

class PictureGuard final : public BeginsOther {
 public:
  PictureGuard(AccessUnits* units, std::uint64_t end) : units_(units), end_(end) {}

  Answer At(std::uint64_t position) override {
    if (units_ == nullptr) return Answer::kNo;
    if (position >= end_) return Answer::kTooShort;
    if (end_ - position < units_->Lookahead()) return Answer::kTooShort;
    return units_->MayBeginAt(position) ? Answer::kMaybe : Answer::kNo;
  }

 private:
  AccessUnits* units_;
  std::uint64_t end_;
};

// A picture that is not whole: nothing behind it is sure, but what is in front
// of it ends there.
bool Ends(const AccessUnit& unit) { return unit.cut || unit.damaged; }

class Walk {
 public:
  Walk(const Model& model, MediaWindow& window, const WalkRange& range)
      : model_(model),
        window_(window),
        range_(range),
        units_(window, range.end, model.syntax, model.habits),
        before_(window.Work()),
        recording_(model.habits.signs),
        clock_(model.leads) {
    harvest_.tracks.resize(model.reference->tracks().size());
    position_ = range.begin;
    for (const auto& method : model.methods) {
      if (method != nullptr) method->Restart();
    }
  }

  Harvest Run(const WalkProgress& progress) {
    if (model_.video) {
      while (progress(position_) && (TakePicture() || CrossGap())) {
      }
    }
    End();
    return std::move(harvest_);
  }

 private:
  bool TakePicture();
  void Commit();
  bool MayBeAnother(const SoundClock::Apart& apart) const;
  std::uint64_t PlaceInFront(std::uint64_t pictures) const;
  void EndAt(std::uint64_t position);
  bool AtMovie(std::uint64_t position);
  bool CrossGap();
  bool CrossTo(std::uint64_t end);
  bool CrossByCounts(std::uint64_t limit);
  std::uint64_t SearchLimit() const;
  // The first place from there on, at most at the limit, where a picture begins
  // or the media ends.
  std::optional<std::uint64_t> NextAnchor(std::uint64_t from, std::uint64_t limit);
  bool IsAnchor(std::uint64_t position);
  Followers FollowersAt(std::uint64_t position);
  void End();
  void TakeTail();
  bool TakeTailOfSeveral();
  void TakePiecesOf(const std::vector<GapPiece>& pieces);
  GapRules RulesAt(std::uint64_t end) {
    return {model_.patterns, model_.methods, model_.order, harvest_.tracks,
            [this, end] { return FollowersAt(end); }};
  }
  std::uint64_t MostAtEnd(std::size_t track) const;
  bool TooMuchWork() const {
    return units_.Work() + window_.Work() - before_ >
           (range_.end - range_.begin) * kTimesMedia + kSpareWork;
  }
  bool AtBegin() const {
    return !model_.video || (!pending_ && harvest_.tracks[*model_.video].samples == 0);
  }

  const Model& model_;
  MediaWindow& window_;
  WalkRange range_;
  AccessUnits units_;
  Harvest harvest_;
  PictureOrder order_;
  // Work that the window had done.
  std::uint64_t before_;
  std::uint64_t position_ = 0;
  // The last picture: it counts once something is found behind it.
  std::optional<AccessUnit> pending_;
  PictureFacts pendingFacts_;
  Recording recording_;
  SoundClock clock_;
  // What was found between the last two pictures, if anything.
  std::optional<ByteRange> gap_;
  // A whole picture stands between the position and the end.
  bool parted_ = false;
  // Another recording follows.
  bool over_ = false;
  // The picture that was found last, at a place that may have to be asked for
  // again.
  std::optional<AccessUnit> next_;
};

bool Walk::TakePicture() {
  units_.TakeAnyFront(AtBegin());
  if (!next_ || next_->position != position_) next_ = units_.At(position_, order_);
  if (!next_ || TooMuchWork()) return false;
  if (Ends(*next_)) {
    Commit();
    return false;
  }
  PictureOrder order = order_;
  const PictureFacts facts = TakeFacts(model_.syntax, *next_, order);
  if (!recording_.Take(*next_, facts)) {
    Commit();
    EndAt(gap_ && gap_->end == position_ ? gap_->begin : position_);
    return false;
  }
  Commit();
  if (const auto apart = clock_.Take(harvest_, harvest_.tracks[*model_.video].samples)) {
    if (MayBeAnother(*apart)) {
      EndAt(PlaceInFront(apart->pictures));
      return false;
    }
    clock_.Restart();
    harvest_.tracks[*model_.video].goesApart = true;
    for (const SoundLead& lead : model_.leads) harvest_.tracks[lead.track].goesApart = true;
  }
  order_ = order;
  pending_ = next_;
  pendingFacts_ = facts;
  position_ += pending_->size;
  const auto doubtful = recording_.Doubtful();
  if (!doubtful) return true;
  pending_.reset();
  EndAt(*doubtful);
  return false;
}

// A pause that is that long ahead of a picture with which another recording may begin is one of
// this recording: it explains what goes apart.
bool Walk::MayBeAnother(const SoundClock::Apart& apart) const {
  constexpr std::uint64_t kOwnPause = 20;
  const std::uint64_t since = recording_.SinceOpening();
  return since <= apart.pictures && apart.pause <= since + kOwnPause;
}

// Where the first one of that many pictures begins, and of one at least: the sound in front of the
// next one may be of either recording.
std::uint64_t Walk::PlaceInFront(std::uint64_t pictures) const {
  const std::uint64_t least = std::max<std::uint64_t>(pictures, 1);
  const std::uint64_t found = harvest_.tracks[*model_.video].samples;
  return found <= least ? range_.begin : harvest_.PlaceOf(*model_.video, found - least);
}

// From there on another recording may stand, whose beginning looks like more of this one: samples
// between two pictures may be of either.
void Walk::EndAt(std::uint64_t position) {
  harvest_.DropFrom(position);
  position_ = position;
  over_ = true;
}

void Walk::Commit() {
  if (!pending_) return;
  const std::size_t track = *model_.video;
  harvest_.Add(track, pending_->position,
               {1, pending_->size, {static_cast<std::uint32_t>(pending_->size)}});
  harvest_.tracks[track].pictures.push_back(pendingFacts_);
  pending_.reset();
}

bool Walk::AtMovie(std::uint64_t position) {
  const unsigned char* bytes = window_.At(position, kMovieHead);
  return bytes != nullptr && BeginsMovie(bytes);
}

std::uint64_t Walk::SearchLimit() const {
  const std::uint64_t most = model_.patterns.largest() * kTimesLargest + kRoom;
  return range_.end - position_ > most ? position_ + most : range_.end;
}

// Behind a gap that nothing fills the walk ends: nothing would tell what follows from the media of
// another recording.
bool Walk::CrossGap() {
  if (over_ || (next_ && Ends(*next_) && next_->position == position_)) return false;
  if (position_ >= range_.end || TooMuchWork()) return false;
  if (AtMovie(position_)) {
    range_.end = position_;
    range_.ends = true;
    return false;
  }
  constexpr int kMostTries = 8;
  const std::uint64_t limit = SearchLimit();
  parted_ = false;
  if (CrossByCounts(limit)) return true;
  auto anchor = NextAnchor(position_ + 1, limit);
  for (int tries = 0; anchor && tries < kMostTries; ++tries) {
    if (CrossTo(*anchor)) return true;
    parted_ = parted_ || (next_ && next_->position == *anchor && !next_->cut);
    anchor = NextAnchor(*anchor + 1, limit);
  }
  // A picture may stand in what was not looked at.
  return range_.ends && range_.end <= limit && !TooMuchWork() && CrossTo(range_.end);
}

bool Walk::CrossTo(std::uint64_t end) {
  GapPlace place = range_.beginIsSure ? GapPlace::kBegin : GapPlace::kDoubtfulBegin;
  if (!AtBegin()) place = GapPlace::kInside;
  // With a picture inside, what reaches to the end is no sound of which nothing but the end is
  // known.
  const bool ends = !parted_ && ((range_.ends && end == range_.end) || AtMovie(end));
  if (ends && place != GapPlace::kDoubtfulBegin)
    place = AtBegin() ? GapPlace::kAll : GapPlace::kEnd;
  const auto pieces = SolveGap(RulesAt(end), window_, {position_, end}, place);
  if (!pieces) return false;
  TakePiecesOf(*pieces);
  gap_ = {position_, end};
  position_ = end;
  return true;
}

void Walk::TakePiecesOf(const std::vector<GapPiece>& pieces) {
  Commit();
  for (const GapPiece& piece : pieces) {
    harvest_.Add(piece.track, piece.position, piece.span);
    model_.methods[piece.track]->Taken(window_,
                                       {piece.position, piece.position + piece.span.bytes});
  }
}

// Most gaps are as long as one of the reference's, if their samples have one
// size.
bool Walk::CrossByCounts(std::uint64_t limit) {
  for (const GapPattern& pattern : model_.patterns.all()) {
    if (pattern.atBegin != AtBegin()) continue;
    for (const auto& counts : pattern.counts) {
      std::uint64_t size = 0;
      for (std::size_t i = 0; i < counts.size(); ++i) {
        const auto& method = model_.methods[pattern.tracks[i]];
        const std::uint64_t one = method != nullptr ? method->UniformSize() : 0;
        if (one == 0) return false;
        size += one * counts[i];
      }
      if (size <= limit - position_ && IsAnchor(position_ + size) && CrossTo(position_ + size))
        return true;
    }
  }
  return false;
}

bool Walk::IsAnchor(std::uint64_t position) {
  if (AtMovie(position)) return true;
  auto found = units_.At(position, order_);
  if (!found || found->damaged) return false;
  next_ = found;
  return true;
}

Followers Walk::FollowersAt(std::uint64_t position) {
  constexpr int kEnough = 3;
  constexpr int kMost = 1024;
  PictureOrder order = order_;
  for (int i = 0; i < kMost && !TooMuchWork(); ++i) {
    // A movie box that stands elsewhere may be that of another recording.
    if (i != 0 && range_.ends && position == range_.end) return Followers::kAll;
    const auto unit = units_.At(position, order);
    if (!unit || Ends(*unit) || unit->doubtful)
      return i < kEnough ? Followers::kFew : Followers::kEnough;
    static_cast<void>(TakeFacts(model_.syntax, *unit, order));
    position += unit->size;
  }
  return TooMuchWork() ? Followers::kFew : Followers::kEnough;
}

std::optional<std::uint64_t> Walk::NextAnchor(std::uint64_t from, std::uint64_t limit) {
  constexpr std::uint64_t kBlock = 64 << 10;
  const std::size_t lead = std::max(units_.Lookahead(), kMovieHead);
  while (from < limit && !TooMuchWork()) {
    const std::uint64_t step = std::min({kBlock, limit - from, window_.Size() - from});
    const std::uint64_t there = std::min(step + lead, window_.Size() - from);
    const unsigned char* bytes = window_.At(from, static_cast<std::size_t>(there));
    if (bytes == nullptr) return std::nullopt;
    std::uint64_t i = 0;
    for (; i < step; ++i) {
      if (i + units_.Lookahead() <= there && units_.MayBegin(bytes + i)) break;
      if (i + kMovieHead <= there && bytes[i + 4] == 'm' && BeginsMovie(bytes + i)) break;
    }
    from += i;
    if (i == step) continue;
    if (IsAnchor(from)) return from;
    ++from;
  }
  return std::nullopt;
}

void Walk::End() {
  const bool whole = position_ == range_.end && range_.ends;
  if (whole) {
    Commit();
  } else if (!over_ && !TooMuchWork() && !(pending_ && pending_->doubtful) &&
             (!next_ || !Ends(*next_) || next_->position != position_)) {
    TakeTail();
  }
  harvest_.AddUnknown(pending_ ? pending_->position : position_, range_.end);
}

// The most samples of the track that the media can end with. The last piece of a recording may be
// longer than any other, where the pictures ended ahead of the sound; where pieces of other tracks
// follow only as many are certain as the shortest one has.
std::uint64_t Walk::MostAtEnd(std::size_t track) const {
  constexpr std::uint64_t kTimesMost = 4;
  const std::uint64_t most = model_.patterns.MostOf(track, AtBegin());
  if (const auto followed = model_.patterns.LeastFollowed(AtBegin()))
    return std::min(most, *followed);
  return most * kTimesMost;
}

bool Walk::TakeTailOfSeveral() {
  if (range_.ends || range_.overrun ||
      range_.end - position_ > model_.patterns.largest() * 2 + kRoom)
    return false;
  PictureGuard guard(&units_, range_.end);
  const auto pieces =
      SolveCutGap(RulesAt(range_.end), window_, {{position_, range_.end}, AtBegin()}, guard);
  if (pieces.empty()) return false;
  TakePiecesOf(pieces);
  position_ = pieces.back().position + pieces.back().span.bytes;
  return true;
}

// What is left is the beginning of a gap that was cut: it counts as far as its
// samples are sure, and then the picture in front of it does, too.
void Walk::TakeTail() {
  if (position_ >= range_.end) return;
  if (!model_.video && range_.ends && CrossTo(range_.end)) return;
  if (model_.video && TakeTailOfSeveral()) return;
  const auto track = model_.patterns.FirstTrack(AtBegin());
  if (!track || model_.methods[*track] == nullptr) return;
  FrameMethod& method = *model_.methods[*track];
  const bool bounded = model_.video.has_value();
  ByteRange range{position_, range_.end};
  const std::uint64_t bytes = range.end - range.begin;
  if (bounded && bytes > model_.patterns.largest() * 2 + kRoom) return;
  const std::uint64_t most = MostAtEnd(*track);
  if (bounded && method.UniformSize() != 0) {
    // Nothing in such samples says where they end: what is longer holds something else, too, and so
    // may all that stands in front of it.
    if (range_.overrun || bytes > most * method.UniformSize() + units_.Lookahead()) return;
    range.end = std::min(range.end, range.begin + most * method.UniformSize());
  }
  PictureGuard guard(bounded ? &units_ : nullptr, range_.end);
  SampleSpan span = method.Begin(window_, range, guard);
  if (model_.order.Has(*track)) span.Shorten(most);
  if (span.count == 0) return;
  Commit();
  harvest_.Add(*track, position_, span);
  position_ += span.bytes;
}

}  // namespace

Harvest WalkMedia(const Model& model, MediaWindow& window, const WalkRange& range,
                  const WalkProgress& progress) {
  return Walk(model, window, range).Run(progress);
}

bool FirstPictureDecodes(const Model& model, MediaWindow& window, const Harvest& harvest) {
  if (!model.video) return true;
  constexpr std::uint32_t kMostBytes = 256 << 20;
  const TrackHarvest& track = harvest.tracks[*model.video];
  std::size_t sample = 0;
  for (const SampleRun& run : harvest.runs) {
    if (run.track != *model.video) continue;
    std::uint64_t at = run.position;
    for (std::uint64_t i = 0; i < run.samples; ++i, ++sample) {
      const PictureFacts& facts = track.pictures[sample];
      if (facts.randomAccess || facts.intra) {
        if (track.sizes[sample] > kMostBytes) return false;
        Bytes bytes(track.sizes[sample]);
        return window.Copy(at, bytes.data(), bytes.size()) &&
               DecodesPicture(model.syntax.codec(), model.configuration, bytes);
      }
      at += track.sizes[sample];
    }
  }
  return false;
}

}  // namespace clipchain::rescue
