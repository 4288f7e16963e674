// Reads what the headers of AVC and HEVC video say about pictures: parameter
// sets and the head of a slice (ISO/IEC 14496-10, 7.3; ISO/IEC 23008-2, 7.3),
// as far as it takes to tell pictures apart and to order them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace clipchain::rescue {

// With JPEG each picture is a file of its own, and there are no units.
enum class Codec { kAvc, kHevc, kJpeg };

// What a unit is, by its header.
enum class UnitKind {
  // Of a picture.
  kSlice,
  // No slice, and never behind a slice of its own access unit.
  kStarts,
  // No slice, and never in front of the first one.
  kContinues,
  // Either.
  kAnywhere,
  kInvalid
};

struct UnitHeader {
  UnitKind kind = UnitKind::kInvalid;
  unsigned int type = 0;
  // AVC: 0 for a picture that no other one refers to.
  unsigned int referenceIdc = 0;
  // HEVC.
  unsigned int layer = 0;
  // HEVC.
  unsigned int temporalId = 0;
};

// The head of a slice.
struct Slice {
  // Of its picture.
  bool first = false;
  unsigned int unitType = 0;
  unsigned int referenceIdc = 0;
  unsigned int temporalId = 0;
  // AVC: 0 to 4; HEVC: 0 to 2.
  unsigned int sliceType = 0;
  unsigned int pictureSet = 0;
  unsigned int frameNumber = 0;
  bool field = false;
  bool bottomField = false;
  unsigned int idrId = 0;
  // The low bits of the picture order count.
  unsigned int orderLow = 0;
  int orderBottom = 0;

  // I slices alone can be told from the first one only.
  bool intra = false;
  // Nothing behind it refers to anything before it.
  bool idr = false;
  // HEVC: IRAP; AVC: as `idr`.
  bool randomAccess = false;
};

struct SequenceSet {
  unsigned int frameNumberBits = 4;
  unsigned int orderType = 0;
  unsigned int orderBits = 4;
  bool framesOnly = true;
  bool separatePlanes = false;
};

struct PictureSet {
  unsigned int sequenceSet = 0;
  // AVC.
  bool bottomOrder = false;
  // HEVC.
  bool dependentSlices = false;
  // HEVC.
  bool outputFlag = false;
  // HEVC.
  unsigned int extraBits = 0;
};

class VideoSyntax {
 public:
  // The record of an "avcC" or "hvcC" box; JPEG has none. False: it is damaged, or a set in it
  // can't be read.
  [[nodiscard]] bool SetConfiguration(Codec codec, std::span<const unsigned char> record);

  Codec codec() const { return codec_; }
  unsigned int lengthSize() const { return lengthSize_; }
  unsigned int headerSize() const { return codec_ == Codec::kAvc ? 1 : 2; }

  UnitHeader Header(const unsigned char* unit) const;
  // The head of a slice unit, of which the first bytes may do; nothing: no
  // slice of this video.
  std::optional<Slice> ReadSlice(const UnitHeader& header,
                                 std::span<const unsigned char> unit) const;
  // Whether the unit is of a picture for random access, or of one that is shown ahead of such.
  bool BelongsToStart(const UnitHeader& header) const;
  // HEVC: whether the unit is of a picture that is shown ahead of one for random access.
  bool IsLeading(const UnitHeader& header) const;
  // Takes a parameter set that stands among the samples.
  void TakeSet(const UnitHeader& header, std::span<const unsigned char> unit);
  bool IsSet(const UnitHeader& header) const;
  // Whether the unit is supplemental information that holds a recovery point.
  bool HasRecoveryPoint(const UnitHeader& header, std::span<const unsigned char> unit) const;
  // What a unit in front of a slice is, and what messages it holds if it is supplemental
  // information: numbers that are alike for those of one kind.
  std::vector<std::uint64_t> Marks(const UnitHeader& header,
                                   std::span<const unsigned char> unit) const;
  // Of the sequence that the picture set names; null without one.
  const SequenceSet* SequenceOf(unsigned int pictureSet) const;

 private:
  bool IsInformation(const UnitHeader& header) const;
  bool TakeAvcRecord(std::span<const unsigned char> record);
  bool TakeHevcRecord(std::span<const unsigned char> record);
  bool TakeUnits(std::span<const unsigned char>& rest, unsigned int count);
  bool TakeAnySet(std::span<const unsigned char> unit);
  UnitHeader AvcHeader(const unsigned char* unit) const;
  UnitHeader HevcHeader(const unsigned char* unit) const;
  std::optional<Slice> ReadAvcSlice(const UnitHeader& header,
                                    std::span<const unsigned char> unit) const;
  std::optional<Slice> ReadHevcSlice(const UnitHeader& header,
                                     std::span<const unsigned char> unit) const;

  Codec codec_ = Codec::kAvc;
  unsigned int lengthSize_ = 4;
  std::map<unsigned int, SequenceSet> sequences_;
  std::map<unsigned int, PictureSet> pictures_;
};

}  // namespace clipchain::rescue
