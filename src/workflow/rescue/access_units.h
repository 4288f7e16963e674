// Finds samples of length-prefixed video (ISO/IEC 14496-15, 5.3.2 and 8.3.2):
// units, each behind its length, that tile an access unit; and JPEG pictures.
#pragma once

#include <bitset>
#include <cstdint>
#include <optional>

#include "workflow/rescue/media_window.h"
#include "workflow/rescue/picture_order.h"
#include "workflow/rescue/recording_signs.h"
#include "workflow/rescue/video_syntax.h"

namespace clipchain::rescue {

struct AccessUnit {
  std::uint64_t position = 0;
  std::uint64_t size = 0;
  // Begins here, but the bytes end before it does.
  bool cut = false;
  // Begins here, but is none of its kind further on.
  bool damaged = false;
  // As a whole one, unless what follows is a slice more than pictures of the reference have.
  bool doubtful = false;
  // Its first one.
  Slice slice;
  // Holds a recovery point.
  bool recovery = false;
  // Holds parameter sets.
  bool holdsSets = false;
  // What only the reference's first sample has of what this one has: a bit for each.
  std::uint64_t openings = 0;
  // Has in front of its first slice what no sample of the reference has.
  bool isMarked = false;
};

// What was seen in the reference's own samples.
struct UnitHabits {
  // Of all units.
  std::bitset<64> types;
  // Of the first units of samples.
  std::bitset<64> firstTypes;
  // How far the order count of a picture is from the one before.
  std::int64_t farthest = 0;
  // That were looked at.
  std::size_t pictures = 0;
  // HEVC: units of more than one layer.
  bool layers = false;
  // Bytes of a sample.
  std::uint64_t largest = 0;
  // Two fields, each a picture of its own, in one sample.
  bool fieldPairs = false;
  // What looks like a start code stands inside units.
  bool startCodes = false;
  // Units end with a zero.
  bool zeroEnds = false;
  // AVC: each picture's number follows the one before.
  bool numbered = true;
  // That each picture has; 0: they differ.
  unsigned int slices = 0;
  RecordingSigns signs;
  // JPEG: height and width, as JpegPicture has them.
  std::uint32_t lines = 0;
};

class AccessUnits {
 public:
  // All must outlive this object. Reads nothing behind `end`.
  AccessUnits(MediaWindow& window, std::uint64_t end, const VideoSyntax& syntax,
              const UnitHabits& habits)
      : window_(window), end_(end), syntax_(syntax), habits_(habits) {}

  // The access unit that begins there and follows those that `order` has seen;
  // nothing: none does. Where it ends is settled by the units alone: behind it
  // stands the next one, or no unit of it.
  std::optional<AccessUnit> At(std::uint64_t position, const PictureOrder& order);
  // Whether one may begin with these bytes, by the first unit alone; there are
  // Lookahead() of them.
  bool MayBegin(const unsigned char* bytes) const;
  // The same by all units in front of its first slice and the head of that, as far as they are
  // there, whichever pictures stand in front of it.
  bool MayBeginAt(std::uint64_t position);
  std::size_t Lookahead() const { return syntax_.lengthSize() + syntax_.headerSize(); }

  // Whether a picture may begin with units of any kind, or only with those of the reference's: a
  // first picture can have some that no other one has, and the reference may be the later part of a
  // recording.
  void TakeAnyFront(bool any) { anyFront_ = any; }

  // Bytes of units that were looked through, for whoever bounds the work.
  std::uint64_t Work() const { return work_; }

 private:
  struct Unit {
    UnitHeader header;
    // Position behind the length.
    std::uint64_t body = 0;
    std::uint64_t size = 0;
    bool cut = false;
  };
  enum class Place { kInside, kBehind, kBroken };

  bool IsFront(const UnitHeader& header) const {
    return anyFront_ && (header.kind == UnitKind::kStarts || header.kind == UnitKind::kSlice);
  }
  // A reference that is shorter than the way to the next picture that starts anew does not show
  // what that begins with, and a longer one not every kind of pictures that lead such.
  bool StartsAgain(const UnitHeader& header) const {
    return syntax_.IsLeading(header) ||
           (!habits_.signs.opening.startsAgain && syntax_.BelongsToStart(header));
  }
  std::optional<AccessUnit> Jpeg(std::uint64_t position);
  std::optional<Unit> UnitAt(std::uint64_t position);
  // The same by its first bytes, of which there are Lookahead().
  std::optional<Unit> UnitOf(std::uint64_t position, const unsigned char* bytes) const;
  bool IsClean(const Unit& unit);
  bool IsFollowed(const Unit& unit);
  bool TakeLeading(const Unit& unit, AccessUnit& found);
  std::optional<Slice> SliceOf(const Unit& unit);
  bool IsNear(const Slice& slice, const PictureOrder& order) const;
  bool TakeFirstSlice(const Unit& unit, const PictureOrder& order, AccessUnit& found);
  Place PlaceOf(const Unit& unit, const AccessUnit& found, bool& paired);
  bool TakeRest(AccessUnit& found, std::uint64_t at);

  MediaWindow& window_;
  std::uint64_t end_;
  const VideoSyntax& syntax_;
  const UnitHabits& habits_;
  std::uint64_t work_ = 0;
  bool anyFront_ = false;
  // What was looked at last ends in front of its first slice.
  bool cutInFront_ = false;
};

// What the samples of a reference are like, of those that are at most at `end`.
class HabitsObserver {
 public:
  HabitsObserver(MediaWindow& window, const VideoSyntax& syntax)
      : window_(window), syntax_(syntax) {}

  // Takes a sample of the reference, in the order of decoding. False: it is not
  // made of units.
  [[nodiscard]] bool Take(std::uint64_t position, std::uint64_t size);
  const UnitHabits& habits() const { return habits_; }

 private:
  bool TakeJpeg(std::uint64_t position, std::uint64_t size);
  bool TakeCodes(std::uint64_t body, std::uint64_t size);
  bool TakeUnit(std::uint64_t body, std::uint64_t size);
  void TakePicture(const Slice& slice);

  MediaWindow& window_;
  const VideoSyntax& syntax_;
  UnitHabits habits_;
  PictureOrder order_;
  // Of the sample that is looked at.
  unsigned int pictures_ = 0;
  unsigned int slices_ = 0;
  bool recovery_ = false;
  std::vector<std::uint64_t> marks_;
  Slice first_;
};

}  // namespace clipchain::rescue
