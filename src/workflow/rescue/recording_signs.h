// Tells a recording from another one of the same camera that follows it in the
// media: by what only a first picture has, by the numbers of pictures that
// start anew, by times of display that are left out or taken twice.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "workflow/rescue/harvest.h"
#include "workflow/rescue/video_syntax.h"

namespace clipchain::rescue {

// What only the first sample of the reference has, in front of its first slice
// and as such.
struct OpeningMarks {
  // As VideoSyntax::Marks() has them, in order and each once.
  std::vector<std::uint64_t> marks;
  // Of the first slice; none: it is that of others, too.
  std::optional<unsigned int> unitType;
  // Playing can start at later pictures, too.
  bool startsAgain = false;
  // That were looked at.
  std::uint64_t samples = 0;
  // As `marks`, of all samples; no more than a few, and then nothing is new.
  std::vector<std::uint64_t> known;

  // Takes a sample of the reference, in the order of decoding.
  void Take(std::vector<std::uint64_t> ofSample, const Slice& first, bool recovery);
  // Of a mark, by its place among them; 0: it is none of them, or stands behind the first 64.
  std::uint64_t BitOf(std::uint64_t mark) const;
  std::uint64_t AllBits() const;
  // Whether no sample of the reference has that mark.
  bool IsNew(std::uint64_t mark) const;
  // Whether a first picture is known from one at which playing can start, too.
  bool Tells() const { return startsAgain && (!marks.empty() || unitType); }
};

// Identifiers of AVC pictures that set everything back (idr_pic_id).
class StartNumbers {
 public:
  // Takes that of the reference's next one.
  void Take(unsigned int number);
  bool MayFollow(unsigned int before, unsigned int next) const;
  // Whether a recording may begin with that one.
  bool MayBegin(unsigned int number) const { return !last_ || number == first_; }
  // Whether that is the next one and none that a recording begins with.
  bool Continue(unsigned int before, unsigned int next) const;

 private:
  std::optional<unsigned int> last_;
  unsigned int first_ = 0;
  unsigned int most_ = 0;
  unsigned int times_ = 0;
  bool alike_ = true;
  bool counts_ = true;
  bool wraps_ = false;
};

struct DisplayHabits {
  // From one time of display to the next; 0: they are not without gaps.
  std::int64_t step = 0;
  // Pictures that are decoded, at most, before a time that was left out is taken.
  std::uint64_t patience = 0;
};

// Follows which times of display are taken, by the picture order count.
class DisplayOrder {
 public:
  explicit DisplayOrder(const DisplayHabits& habits) : habits_(habits) {}

  // False: the picture is none of this recording, because its time is taken, or because it sets
  // the times back while one is left out.
  [[nodiscard]] bool Take(const PictureFacts& facts, std::uint64_t position);
  // Pictures since the first time that is left out was passed.
  std::uint64_t waited() const { return waited_; }
  // The first picture behind that time, if it has been left out for longer than the reference ever
  // does: from there on nothing is sure.
  std::optional<std::uint64_t> Doubtful() const;

 private:
  DisplayHabits habits_;
  bool any_ = false;
  // Of the picture that set the times back.
  std::int64_t first_ = 0;
  // The first time that is not taken, and those behind it that are.
  std::int64_t next_ = 0;
  // With the places of their pictures.
  std::map<std::int64_t, std::uint64_t> ahead_;
  std::uint64_t waited_ = 0;
};

// By the reference's own pictures.
DisplayHabits LearnDisplay(const std::vector<PictureFacts>& pictures);

// Pictures from each one that starts anew to the next, where that is the same often enough;
// otherwise 0.
std::uint64_t LearnEvenStep(const std::vector<PictureFacts>& pictures);

struct RecordingSigns {
  OpeningMarks opening;
  StartNumbers numbers;
  DisplayHabits display;
  std::uint64_t evenStep = 0;
};

struct AccessUnit;

// Follows the pictures of a recording.
class Recording {
 public:
  explicit Recording(const RecordingSigns& signs) : signs_(signs), display_(signs.display) {}

  // Takes the next picture; false: it is of another recording.
  [[nodiscard]] bool Take(const AccessUnit& unit, const PictureFacts& facts);
  std::optional<std::uint64_t> Doubtful() const { return display_.Doubtful(); }
  // Pictures since the last one with which media of another recording may begin, be it in its
  // middle.
  std::uint64_t SinceOpening() const { return sinceOpening_; }

 private:
  bool MayOpen(const AccessUnit& unit) const;
  bool Opens(const AccessUnit& unit) const;
  bool StartsTooEarly(const AccessUnit& unit) const;

  const RecordingSigns& signs_;
  DisplayOrder display_;
  std::uint64_t pictures_ = 0;
  std::uint64_t sinceOpening_ = 0;
  // The first one has what no picture of the reference has.
  bool firstIsMarked_ = false;
  // Since the last one that started anew, and whether all did in the reference's steps.
  std::uint64_t sinceStart_ = 0;
  bool evenly_ = true;
  std::optional<unsigned int> startNumber_;
};

}  // namespace clipchain::rescue
