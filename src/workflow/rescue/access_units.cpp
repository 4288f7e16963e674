#include "workflow/rescue/access_units.h"

#include <algorithm>
#include <array>
#include <utility>

#include "workflow/rescue/jpeg_pictures.h"

namespace clipchain::rescue {

namespace {

// Enough of a unit to tell what it is.
constexpr std::size_t kHead = 96;
// The same of one in front of a slice.
constexpr std::uint64_t kLeading = 4096;
// A sample of another clip of the camera can be larger than the reference's,
// but not beyond all measure.
constexpr std::uint64_t kRoom = 4 << 20;
constexpr std::uint64_t kTimesLargest = 16;
// Access units have a few units; a run of the smallest ones is no video.
constexpr unsigned int kMostUnits = 1024;

bool IsSamePicture(const Slice& a, const Slice& b) {
  return a.pictureSet == b.pictureSet && a.frameNumber == b.frameNumber && a.field == b.field &&
         a.bottomField == b.bottomField && a.idr == b.idr && a.idrId == b.idrId &&
         a.orderLow == b.orderLow && (a.referenceIdc == 0) == (b.referenceIdc == 0);
}

std::uint64_t ReadLength(const unsigned char* bytes, unsigned int size) {
  std::uint64_t length = 0;
  for (unsigned int i = 0; i < size; ++i) length = length << 8 | bytes[i];
  return length;
}

}  // namespace

bool AccessUnits::MayBegin(const unsigned char* bytes) const {
  if (syntax_.codec() == Codec::kJpeg) return bytes[0] == 0xFF && bytes[1] == 0xD8;
  const std::uint64_t length = ReadLength(bytes, syntax_.lengthSize());
  if (length <= syntax_.headerSize() || length > habits_.largest * kTimesLargest + kRoom)
    return false;
  const UnitHeader header = syntax_.Header(bytes + syntax_.lengthSize());
  return header.kind != UnitKind::kInvalid && header.kind != UnitKind::kContinues &&
         (habits_.firstTypes[header.type] || IsFront(header) || StartsAgain(header));
}

// Nothing: no unit of this video. A unit that goes on behind the end is cut.
std::optional<AccessUnits::Unit> AccessUnits::UnitAt(std::uint64_t position) {
  const std::size_t lead = Lookahead();
  if (position > end_ || end_ - position < lead) return std::nullopt;
  const unsigned char* bytes = window_.At(position, lead);
  work_ += kHead;
  if (bytes == nullptr) return std::nullopt;
  return UnitOf(position, bytes);
}

std::optional<AccessUnits::Unit> AccessUnits::UnitOf(std::uint64_t position,
                                                     const unsigned char* bytes) const {
  Unit unit;
  unit.size = ReadLength(bytes, syntax_.lengthSize());
  unit.header = syntax_.Header(bytes + syntax_.lengthSize());
  unit.body = position + syntax_.lengthSize();
  unit.cut = unit.size > end_ - unit.body;
  const bool known = unit.header.kind == UnitKind::kSlice || habits_.types[unit.header.type] ||
                     IsFront(unit.header);
  if (unit.header.kind == UnitKind::kInvalid || !known ||
      (unit.header.layer != 0 && !habits_.layers) || unit.size < syntax_.headerSize() ||
      unit.size > habits_.largest * kTimesLargest + kRoom)
    return std::nullopt;
  return unit;
}

// No start code may stand inside a unit, nor may it end with a zero.
bool AccessUnits::IsClean(const Unit& unit) {
  if (habits_.startCodes) return true;
  // Where the reference's units end so, or hold start codes, the rule tells nothing.
  const bool endsOtherwise = !unit.cut && !habits_.zeroEnds;
  const std::uint64_t end = std::min(unit.body + unit.size, end_);
  for (std::uint64_t at = unit.body; at < end;) {
    const auto step =
        static_cast<std::size_t>(std::min<std::uint64_t>(MediaWindow::kMost, end - at));
    const unsigned char* bytes = window_.At(at, step);
    work_ += step;
    if (bytes == nullptr || HoldsStartCode(bytes, step)) return false;
    if (step == end - at) return !endsOtherwise || bytes[step - 1] != 0;
    // A start code may lie across two steps.
    at += step - 2;
  }
  return true;
}

// Whether another unit stands behind one in front of a slice: without it there is no picture, and
// what looks like the head of a long unit in sound needs no look at all of it. Only the head of a
// slice tells enough of an access unit whose rest is not there.
bool AccessUnits::IsFollowed(const Unit& unit) {
  const std::uint64_t behind = unit.body + unit.size;
  cutInFront_ = unit.cut || end_ - behind < Lookahead();
  if (cutInFront_) return false;
  // The window stays where it is.
  std::array<unsigned char, 16> head{};
  return window_.Copy(behind, head.data(), std::min(Lookahead(), head.size())) &&
         UnitOf(behind, head.data()).has_value();
}

bool AccessUnits::TakeLeading(const Unit& unit, AccessUnit& found) {
  if (unit.header.kind == UnitKind::kContinues) return false;
  const auto size = static_cast<std::size_t>(std::min(unit.size, kLeading));
  const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(size, end_ - unit.body));
  const unsigned char* bytes = window_.At(unit.body, there);
  if (bytes == nullptr || !IsClean(unit)) return false;
  found.holdsSets = found.holdsSets || syntax_.IsSet(unit.header);
  found.recovery = found.recovery || syntax_.HasRecoveryPoint(unit.header, {bytes, there});
  const OpeningMarks& opening = habits_.signs.opening;
  for (const std::uint64_t mark : syntax_.Marks(unit.header, {bytes, there})) {
    found.openings |= opening.BitOf(mark);
    found.isMarked = found.isMarked || opening.IsNew(mark);
  }
  return true;
}

std::optional<Slice> AccessUnits::SliceOf(const Unit& unit) {
  const auto size =
      static_cast<std::size_t>(std::min<std::uint64_t>({kHead, unit.size, end_ - unit.body}));
  const unsigned char* bytes = window_.At(unit.body, size);
  if (bytes == nullptr) return std::nullopt;
  return syntax_.ReadSlice(unit.header, {bytes, size});
}

// A picture of another recording is shown at any other time.
bool AccessUnits::IsNear(const Slice& slice, const PictureOrder& order) const {
  constexpr std::size_t kEnough = 16;
  // A quiet part of a recording may have no pictures out of turn, and the next one many.
  constexpr std::int64_t kRoomForOrder = 16;
  if (habits_.pictures < kEnough) return true;
  const SequenceSet& sequence = *syntax_.SequenceOf(slice.pictureSet);
  const std::int64_t step = order.StepTo(syntax_.codec(), slice, sequence);
  const std::int64_t most = habits_.farthest * 2 + kRoomForOrder;
  return -most <= step && step <= most;
}

bool AccessUnits::TakeFirstSlice(const Unit& unit, const PictureOrder& order, AccessUnit& found) {
  const auto slice = SliceOf(unit);
  if (!slice || !slice->first) return false;
  if (syntax_.codec() == Codec::kAvc && habits_.numbered &&
      !order.Follows(*slice, *syntax_.SequenceOf(slice->pictureSet)))
    return false;
  if (!IsNear(*slice, order)) return false;
  found.slice = *slice;
  found.damaged = !IsClean(unit);
  return true;
}

AccessUnits::Place AccessUnits::PlaceOf(const Unit& unit, const AccessUnit& found, bool& paired) {
  if (unit.header.kind == UnitKind::kStarts) {
    // What stands in front of the second field of a frame has the place of a
    // new picture.
    if (!habits_.fieldPairs || !found.slice.field || paired) return Place::kBehind;
    return Place::kInside;
  }
  if (unit.header.kind != UnitKind::kSlice) return Place::kInside;
  const auto slice = SliceOf(unit);
  if (!slice) return Place::kBehind;
  if (slice->first) {
    const bool second = habits_.fieldPairs && !paired && found.slice.field && slice->field &&
                        found.slice.bottomField != slice->bottomField &&
                        found.slice.frameNumber == slice->frameNumber;
    if (!second) return Place::kBehind;
    paired = true;
    return Place::kInside;
  }
  // In HEVC a slice says itself whether it is the first of a picture.
  if (syntax_.codec() == Codec::kHevc || paired) return Place::kInside;
  return IsSamePicture(*slice, found.slice) ? Place::kInside : Place::kBehind;
}

std::optional<AccessUnit> AccessUnits::At(std::uint64_t position, const PictureOrder& order) {
  cutInFront_ = false;
  const std::size_t lead = Lookahead();
  if (position > end_ || end_ - position < lead) return std::nullopt;
  const unsigned char* bytes = window_.At(position, lead);
  if (bytes == nullptr || !MayBegin(bytes)) return std::nullopt;
  if (syntax_.codec() == Codec::kJpeg) return Jpeg(position);
  AccessUnit found;
  found.position = position;
  std::uint64_t at = position;
  for (unsigned int units = 0; units < kMostUnits; ++units) {
    const auto unit = UnitAt(at);
    cutInFront_ = unit ? unit->cut && end_ - unit->body < kHead : end_ - at < lead;
    if (!unit) return std::nullopt;
    const bool slice = unit->header.kind == UnitKind::kSlice;
    if (!slice && !IsFollowed(*unit)) return std::nullopt;
    if (slice ? !TakeFirstSlice(*unit, order, found) : !TakeLeading(*unit, found))
      return std::nullopt;
    at = unit->body + unit->size;
    if (unit->cut && !found.damaged) {
      found.cut = true;
      return found;
    }
    if (found.damaged) return found;
    if (slice) {
      found.damaged = !TakeRest(found, at);
      return found;
    }
  }
  return std::nullopt;
}

bool AccessUnits::MayBeginAt(std::uint64_t position) {
  const unsigned char* bytes = window_.At(position, Lookahead());
  if (bytes == nullptr || !MayBegin(bytes)) return false;
  if (syntax_.codec() == Codec::kJpeg) return true;
  return At(position, PictureOrder()).has_value() || cutInFront_;
}

// A picture of another size is none of this clip's.
std::optional<AccessUnit> AccessUnits::Jpeg(std::uint64_t position) {
  const auto picture = JpegAt(window_, position, end_, habits_.largest * kTimesLargest + kRoom);
  work_ += kHead + (picture ? picture->scanned : 0);
  if (!picture || picture->lines != habits_.lines) return std::nullopt;
  AccessUnit found;
  found.position = position;
  found.size = picture->size;
  found.cut = picture->cut;
  found.damaged = picture->damaged || (!found.cut && !IsWhole(window_, position, picture->size));
  found.slice.first = found.slice.intra = found.slice.idr = found.slice.randomAccess = true;
  return found;
}

// What stands behind the first slice, as long as it is of the same picture. A
// unit in front of a second field counts only together with it. Sound may look
// like the head of a unit: where the picture has all slices that those of the
// reference have, one that is not whole may be none. False: a unit of the
// picture is damaged, or one is missing.
bool AccessUnits::TakeRest(AccessUnit& found, std::uint64_t at) {
  bool paired = false;
  unsigned int slices = 1;
  // The end of what is sure.
  std::uint64_t held = at;
  for (unsigned int units = 0; units < kMostUnits; ++units) {
    const auto unit = UnitAt(at);
    if (!unit || PlaceOf(*unit, found, paired) != Place::kInside) break;
    const bool clean = unit->cut || IsClean(*unit);
    if (unit->cut || !clean) {
      found.doubtful = habits_.slices != 0 && slices >= habits_.slices;
      if (!clean && !found.doubtful) return false;
      found.cut = !found.doubtful;
      break;
    }
    at = unit->body + unit->size;
    if (unit->header.kind != UnitKind::kStarts) held = at;
    if (unit->header.kind == UnitKind::kSlice) ++slices;
  }
  found.size = held - found.position;
  return found.cut || slices >= habits_.slices;
}

bool HabitsObserver::TakeJpeg(std::uint64_t position, std::uint64_t size) {
  const auto picture = JpegAt(window_, position, position + size, size);
  if (!picture || picture->size != size || picture->lines == 0) return false;
  // By its size a picture of this clip is told from one that is shown in another.
  if (habits_.lines != 0 && habits_.lines != picture->lines) return false;
  if (!IsWhole(window_, position, size)) return false;
  habits_.lines = picture->lines;
  habits_.largest = std::max(habits_.largest, size);
  return true;
}

bool HabitsObserver::Take(std::uint64_t position, std::uint64_t size) {
  if (syntax_.codec() == Codec::kJpeg) return TakeJpeg(position, size);
  const unsigned int lengthSize = syntax_.lengthSize();
  std::uint64_t at = position;
  const std::uint64_t end = position + size;
  pictures_ = slices_ = 0;
  recovery_ = false;
  marks_.clear();
  while (at < end) {
    if (end - at < lengthSize + syntax_.headerSize()) return false;
    const unsigned char* bytes = window_.At(at, lengthSize + syntax_.headerSize());
    if (bytes == nullptr) return false;
    const std::uint64_t length = ReadLength(bytes, lengthSize);
    const UnitHeader header = syntax_.Header(bytes + lengthSize);
    if (length < syntax_.headerSize() || length > end - at - lengthSize) return false;
    if (at == position) habits_.firstTypes.set(header.type);
    habits_.types.set(header.type);
    habits_.layers = habits_.layers || header.layer != 0;
    if (!TakeUnit(at + lengthSize, length)) return false;
    at += lengthSize + length;
  }
  habits_.largest = std::max(habits_.largest, size);
  habits_.fieldPairs = habits_.fieldPairs || pictures_ == 2;
  if (habits_.signs.opening.samples == 0) habits_.slices = slices_;
  if (habits_.slices != slices_) habits_.slices = 0;
  // A picture, or the two fields of one.
  if (pictures_ != 1 && pictures_ != 2) return false;
  habits_.signs.opening.Take(std::move(marks_), first_, recovery_);
  return true;
}

bool HabitsObserver::TakeCodes(std::uint64_t body, std::uint64_t size) {
  for (std::uint64_t at = 0; at < size && !habits_.startCodes;) {
    const auto step =
        static_cast<std::size_t>(std::min<std::uint64_t>(MediaWindow::kMost, size - at));
    const unsigned char* bytes = window_.At(body + at, step);
    if (bytes == nullptr) return false;
    habits_.startCodes = HoldsStartCode(bytes, step);
    at += step == size - at ? step : step - 2;
  }
  const unsigned char* last = window_.At(body + size - 1, 1);
  if (last == nullptr) return false;
  habits_.zeroEnds = habits_.zeroEnds || *last == 0;
  return true;
}

bool HabitsObserver::TakeUnit(std::uint64_t body, std::uint64_t size) {
  if (!TakeCodes(body, size)) return false;
  const auto head = static_cast<std::size_t>(std::min<std::uint64_t>(kLeading, size));
  const unsigned char* bytes = window_.At(body, head);
  if (bytes == nullptr) return false;
  const UnitHeader header = syntax_.Header(bytes);
  if (header.kind == UnitKind::kInvalid) return false;
  if (header.kind == UnitKind::kSlice) {
    ++slices_;
    const auto slice = syntax_.ReadSlice(header, {bytes, std::min(head, kHead)});
    if (slice && slice->first && pictures_++ == 0) TakePicture(*slice);
    return slice.has_value();
  }
  if (pictures_ > 0) return true;
  // A picture with more is found nowhere.
  if (marks_.size() < kMostUnits) {
    const auto marks = syntax_.Marks(header, {bytes, head});
    marks_.insert(marks_.end(), marks.begin(), marks.end());
  }
  recovery_ = recovery_ || syntax_.HasRecoveryPoint(header, {bytes, head});
  return true;
}

void HabitsObserver::TakePicture(const Slice& slice) {
  first_ = slice;
  const SequenceSet& sequence = *syntax_.SequenceOf(slice.pictureSet);
  habits_.numbered = habits_.numbered && order_.Follows(slice, sequence);
  const std::int64_t step = order_.StepTo(syntax_.codec(), slice, sequence);
  habits_.farthest = std::max(habits_.farthest, step < 0 ? -step : step);
  ++habits_.pictures;
  order_.Take(syntax_.codec(), slice, sequence);
  if (slice.idr) habits_.signs.numbers.Take(slice.idrId);
}

}  // namespace clipchain::rescue
