#include "workflow/rescue/recording_signs.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "workflow/rescue/access_units.h"

namespace clipchain::rescue {

namespace {

// More pictures than a recording of days has; bytes that were made to look like some could be many
// more.
constexpr std::uint64_t kMostPictures = 1 << 24;

// More pictures than any decoder holds back.
constexpr std::size_t kMostAhead = 256;

// Kinds of units and messages that a camera writes are few.
constexpr std::size_t kMostKnown = 256;

}  // namespace

void OpeningMarks::Take(std::vector<std::uint64_t> ofSample, const Slice& first, bool recovery) {
  std::sort(ofSample.begin(), ofSample.end());
  ofSample.erase(std::unique(ofSample.begin(), ofSample.end()), ofSample.end());
  if (known.size() <= kMostKnown) {
    std::vector<std::uint64_t> all;
    std::set_union(known.begin(), known.end(), ofSample.begin(), ofSample.end(),
                   std::back_inserter(all));
    known = std::move(all);
  }
  if (samples++ == 0) {
    marks = std::move(ofSample);
    unitType = first.unitType;
    return;
  }
  startsAgain = startsAgain || first.randomAccess || recovery;
  if (unitType == first.unitType) unitType.reset();
  std::vector<std::uint64_t> left;
  std::set_difference(marks.begin(), marks.end(), ofSample.begin(), ofSample.end(),
                      std::back_inserter(left));
  marks = std::move(left);
}

std::uint64_t OpeningMarks::BitOf(std::uint64_t mark) const {
  constexpr std::ptrdiff_t kMost = 64;
  const auto found = std::lower_bound(marks.begin(), marks.end(), mark);
  const auto place = found - marks.begin();
  return found != marks.end() && *found == mark && place < kMost ? std::uint64_t{1} << place : 0;
}

std::uint64_t OpeningMarks::AllBits() const {
  std::uint64_t all = 0;
  for (const std::uint64_t mark : marks) all |= BitOf(mark);
  return all;
}

bool OpeningMarks::IsNew(std::uint64_t mark) const {
  return known.size() <= kMostKnown && !std::binary_search(known.begin(), known.end(), mark);
}

void StartNumbers::Take(unsigned int number) {
  if (last_) {
    ++times_;
    const bool wraps = number == 0 && *last_ == most_ && most_ != 0;
    alike_ = alike_ && number == *last_;
    counts_ = counts_ && (number == *last_ + 1 || wraps) && (!wraps_ || number <= most_);
    wraps_ = wraps_ || wraps;
  } else {
    first_ = number;
  }
  last_ = number;
  most_ = std::max(most_, number);
}

bool StartNumbers::MayFollow(unsigned int before, unsigned int next) const {
  constexpr unsigned int kEnoughAlike = 2;
  if (times_ == 0) return true;
  if (alike_) return times_ < kEnoughAlike || before == next;
  if (!counts_) return true;
  if (next == before + 1) return !wraps_ || next <= most_;
  return next == 0 && (wraps_ ? before == most_ : before >= most_);
}

// Two numbers that take turns follow one another by chance, too.
bool StartNumbers::Continue(unsigned int before, unsigned int next) const {
  constexpr unsigned int kEnough = 2;
  return counts_ && times_ >= kEnough && most_ >= kEnough && next == before + 1 && next != first_ &&
         next != 0;
}

bool DisplayOrder::Take(const PictureFacts& facts, std::uint64_t position) {
  if (habits_.step == 0) return true;
  if (!any_ || facts.setsBack) {
    if (!ahead_.empty()) return false;
    any_ = true;
    first_ = facts.order;
    next_ = first_ + habits_.step;
    waited_ = 0;
    return true;
  }
  // A later part of a recording begins with a picture that others, which are shown ahead of it,
  // follow.
  const bool isLed = ahead_.empty() && next_ == first_ + habits_.step;
  if (isLed && facts.order < first_) return true;
  if (facts.order < next_ || (facts.order - next_) % habits_.step != 0) return false;
  if (facts.order != next_) {
    ++waited_;
    return ahead_.size() < kMostAhead && ahead_.emplace(facts.order, position).second;
  }
  // What is still left out was passed by the pictures behind it.
  next_ += habits_.step;
  for (; !ahead_.empty() && ahead_.begin()->first == next_; next_ += habits_.step)
    ahead_.erase(ahead_.begin());
  waited_ = ahead_.empty() ? 0 : 1;
  return true;
}

std::optional<std::uint64_t> DisplayOrder::Doubtful() const {
  // Of another clip of the camera more pictures may be decoded ahead of their time.
  constexpr std::uint64_t kTimesPatience = 2;
  constexpr std::uint64_t kRoom = 4;
  if (habits_.step == 0 || waited_ <= habits_.patience * kTimesPatience + kRoom)
    return std::nullopt;
  const auto first =
      std::min_element(ahead_.begin(), ahead_.end(),
                       [](const auto& a, const auto& b) { return a.second < b.second; });
  return first->second;
}

DisplayHabits LearnDisplay(const std::vector<PictureFacts>& pictures) {
  constexpr std::size_t kEnough = 16;
  DisplayHabits habits;
  if (pictures.size() < kEnough) return habits;
  std::int64_t base = pictures.front().order;
  for (const PictureFacts& picture : pictures) {
    if (picture.setsBack) base = picture.order;
    habits.step = std::gcd(habits.step, std::int64_t{picture.order} - base);
  }
  DisplayOrder order(habits);
  for (const PictureFacts& picture : pictures) {
    if (!order.Take(picture, 0)) return {};
    habits.patience = std::max(habits.patience, order.waited());
  }
  // The last pictures may have been cut off, but not many.
  constexpr std::uint64_t kMostPatience = 64;
  return habits.patience <= kMostPatience ? habits : DisplayHabits{};
}

std::uint64_t LearnEvenStep(const std::vector<PictureFacts>& pictures) {
  // One alone may be so by chance.
  constexpr unsigned int kEnough = 2;
  std::uint64_t step = 0;
  std::uint64_t since = 0;
  unsigned int times = 0;
  for (const PictureFacts& picture : pictures) {
    if (picture.idr && since != 0) {
      if (times++ != 0 && since != step) return 0;
      step = since;
      since = 0;
    }
    ++since;
  }
  return times >= kEnough && since <= step ? step : 0;
}

// Of a reference that is shorter than the way to the next picture that starts anew nothing tells
// which marks are those of a first picture and which those of any that starts anew: then one that
// has all of them is a first one.
bool Recording::Opens(const AccessUnit& unit) const {
  const OpeningMarks& opening = signs_.opening;
  if (opening.startsAgain && unit.openings != 0) return true;
  const bool isLikeFirst = unit.openings != 0 && unit.openings == opening.AllBits() &&
                           (!unit.slice.idr || signs_.numbers.MayBegin(unit.slice.idrId));
  if (isLikeFirst && sinceStart_ < opening.samples) return true;
  return opening.startsAgain && opening.unitType == unit.slice.unitType;
}

// Where the reference starts anew in even steps, and this clip has done so too up to now, a picture
// that does between two steps is the first one of another recording: its numbers begin with 0 and
// say nothing about what stands in front of it. Some encoders start anew at each new scene, too,
// which the reference may not have: where it tells what a first picture has, or this one's number
// goes on, that alone ends no recording. Of a reference that is the later part of a recording this
// clip's own first picture tells it, as long as this clip has shown no even step itself.
bool Recording::StartsTooEarly(const AccessUnit& unit) const {
  const bool isFirstTold = firstIsMarked_ && sinceStart_ == pictures_;
  return signs_.evenStep != 0 && evenly_ && sinceStart_ < signs_.evenStep &&
         !signs_.opening.Tells() && (unit.isMarked || !isFirstTold) && MayOpen(unit);
}

bool Recording::MayOpen(const AccessUnit& unit) const {
  const bool starts = unit.slice.idr || unit.slice.randomAccess || unit.recovery;
  if (!starts) return false;
  return !unit.slice.idr || !startNumber_ ||
         !signs_.numbers.Continue(*startNumber_, unit.slice.idrId);
}

bool Recording::Take(const AccessUnit& unit, const PictureFacts& facts) {
  if (pictures_ >= kMostPictures) return false;
  if (pictures_ != 0) {
    if (Opens(unit)) return false;
    if (unit.slice.idr && StartsTooEarly(unit)) return false;
    if (unit.slice.idr && startNumber_ &&
        !signs_.numbers.MayFollow(*startNumber_, unit.slice.idrId))
      return false;
  }
  if (!display_.Take(facts, unit.position)) return false;
  firstIsMarked_ = firstIsMarked_ || (pictures_ == 0 && unit.isMarked);
  sinceOpening_ = MayOpen(unit) ? 0 : sinceOpening_ + 1;
  if (unit.slice.idr) {
    evenly_ = evenly_ && (sinceStart_ == 0 || sinceStart_ == signs_.evenStep);
    sinceStart_ = 0;
    startNumber_ = unit.slice.idrId;
  }
  ++sinceStart_;
  ++pictures_;
  return true;
}

}  // namespace clipchain::rescue
