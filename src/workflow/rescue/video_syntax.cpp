#include "workflow/rescue/video_syntax.h"

#include <algorithm>
#include <functional>

#include "workflow/rescue/syntax_reader.h"
#include "workflow/rescue/video_sets.h"

namespace clipchain::rescue {

namespace {

// Types of units (ISO/IEC 14496-10, table 7-1).
constexpr unsigned int kAvcSlice = 1;
constexpr unsigned int kAvcIdr = 5;
constexpr unsigned int kAvcInformation = 6;
constexpr unsigned int kAvcSequence = 7;
constexpr unsigned int kAvcPicture = 8;
constexpr unsigned int kAvcDelimiter = 9;
constexpr unsigned int kAvcFiller = 12;
constexpr unsigned int kAvcAuxiliary = 19;
// The same of ISO/IEC 23008-2, table 7-1.
constexpr unsigned int kHevcFirstLeading = 6;
constexpr unsigned int kHevcLastLeading = 9;
constexpr unsigned int kHevcFirstRandomAccess = 16;
constexpr unsigned int kHevcFirstIdr = 19;
constexpr unsigned int kHevcLastIdr = 20;
constexpr unsigned int kHevcLastRandomAccess = 21;
constexpr unsigned int kHevcVideo = 32;
constexpr unsigned int kHevcSequence = 33;
constexpr unsigned int kHevcPicture = 34;
constexpr unsigned int kHevcInformation = 39;
constexpr unsigned int kHevcInformationBehind = 40;

// Types of supplemental information.
constexpr unsigned int kRegistered = 4;
constexpr unsigned int kUnregistered = 5;
constexpr unsigned int kRecoveryPoint = 6;

// Of FNV-1a.
constexpr std::uint64_t kHashPrime = 0x100000001B3;

unsigned int Take16(std::span<const unsigned char> bytes) {
  return static_cast<unsigned int>(bytes[0] << 8 | bytes[1]);
}

// Which nal_ref_idc a type may have (7.4.1) tells units from bytes that only look like some.
UnitKind AvcKind(unsigned int type, unsigned int referenceIdc) {
  switch (type) {
    case kAvcSlice:
      return UnitKind::kSlice;
    case kAvcIdr:
      return referenceIdc != 0 ? UnitKind::kSlice : UnitKind::kInvalid;
    case kAvcInformation:
    case kAvcDelimiter:
      return referenceIdc == 0 ? UnitKind::kStarts : UnitKind::kInvalid;
    case kAvcSequence:
    case kAvcPicture:
      return referenceIdc != 0 ? UnitKind::kStarts : UnitKind::kInvalid;
    // The end of a sequence, and that of the stream, belong to the picture before.
    case 10:
    case 11:
      return referenceIdc == 0 ? UnitKind::kContinues : UnitKind::kInvalid;
    case kAvcFiller:
      return referenceIdc == 0 ? UnitKind::kAnywhere : UnitKind::kInvalid;
    case kAvcAuxiliary:
      return UnitKind::kContinues;
    default:
      return UnitKind::kInvalid;
  }
}

UnitKind HevcKind(unsigned int type) {
  if (type <= 9 || (type >= kHevcFirstRandomAccess && type <= kHevcLastRandomAccess))
    return UnitKind::kSlice;
  if (type >= kHevcVideo && type <= 35) return UnitKind::kStarts;
  if (type == kHevcInformation) return UnitKind::kStarts;
  if (type == 36 || type == 37 || type == kHevcInformationBehind) return UnitKind::kContinues;
  if (type == 38) return UnitKind::kAnywhere;
  // What belongs to the profile of one maker stands on either side.
  return type >= 48 && type <= 63 ? UnitKind::kAnywhere : UnitKind::kInvalid;
}

}  // namespace

bool VideoSyntax::SetConfiguration(Codec codec, std::span<const unsigned char> record) {
  codec_ = codec;
  sequences_.clear();
  pictures_.clear();
  if (codec == Codec::kJpeg) return true;
  return codec == Codec::kAvc ? TakeAvcRecord(record) : TakeHevcRecord(record);
}

bool VideoSyntax::TakeAvcRecord(std::span<const unsigned char> record) {
  // An AVCDecoderConfigurationRecord (ISO/IEC 14496-15).
  if (record.size() < 6) return false;
  lengthSize_ = (record[4] & 3U) + 1;
  auto rest = record.subspan(6);
  if (!TakeUnits(rest, record[5] & 31U) || rest.empty()) return false;
  const unsigned int pictures = rest[0];
  rest = rest.subspan(1);
  return TakeUnits(rest, pictures);
}

bool VideoSyntax::TakeHevcRecord(std::span<const unsigned char> record) {
  constexpr std::size_t kHead = 23;
  if (record.size() < kHead) return false;
  lengthSize_ = (record[21] & 3U) + 1;
  auto rest = record.subspan(kHead);
  for (unsigned int arrays = record[22]; arrays > 0; --arrays) {
    if (rest.size() < 3) return false;
    const unsigned int units = Take16(rest.subspan(1));
    rest = rest.subspan(3);
    if (!TakeUnits(rest, units)) return false;
  }
  return true;
}

bool VideoSyntax::TakeUnits(std::span<const unsigned char>& rest, unsigned int count) {
  for (; count > 0; --count) {
    if (rest.size() < 2) return false;
    const std::size_t size = Take16(rest);
    rest = rest.subspan(2);
    if (size < headerSize() || size > rest.size() || !TakeAnySet(rest.first(size))) return false;
    rest = rest.subspan(size);
  }
  return true;
}

UnitHeader VideoSyntax::Header(const unsigned char* unit) const {
  return codec_ == Codec::kAvc ? AvcHeader(unit) : HevcHeader(unit);
}

UnitHeader VideoSyntax::AvcHeader(const unsigned char* unit) const {
  UnitHeader header;
  // forbidden_zero_bit (7.4.1): no unit has it.
  if ((unit[0] & 0x80U) != 0) return header;
  header.type = unit[0] & 31U;
  header.referenceIdc = unit[0] >> 5 & 3U;
  header.kind = AvcKind(header.type, header.referenceIdc);
  return header;
}

UnitHeader VideoSyntax::HevcHeader(const unsigned char* unit) const {
  UnitHeader header;
  // Besides that bit, nuh_temporal_id_plus1 is never 0 (7.4.2.2).
  if ((unit[0] & 0x80U) != 0 || (unit[1] & 7U) == 0) return header;
  header.type = unit[0] >> 1 & 63U;
  header.layer = (unit[0] & 1U) << 5 | unit[1] >> 3;
  header.temporalId = (unit[1] & 7U) - 1;
  header.kind = HevcKind(header.type);
  // Other layers follow their picture.
  if (header.layer != 0 && header.kind == UnitKind::kSlice) header.kind = UnitKind::kContinues;
  return header;
}

std::optional<Slice> VideoSyntax::ReadSlice(const UnitHeader& header,
                                            std::span<const unsigned char> unit) const {
  if (unit.size() <= headerSize()) return std::nullopt;
  return codec_ == Codec::kAvc ? ReadAvcSlice(header, unit) : ReadHevcSlice(header, unit);
}

std::optional<Slice> VideoSyntax::ReadAvcSlice(const UnitHeader& header,
                                               std::span<const unsigned char> unit) const {
  // What is asked of a slice stands in its first bytes, and a unit may have megabytes.
  SyntaxReader in(unit.subspan(1, std::min<std::size_t>(unit.size() - 1, 64)));
  Slice slice;
  slice.unitType = header.type;
  slice.referenceIdc = header.referenceIdc;
  slice.idr = slice.randomAccess = header.type == kAvcIdr;
  slice.first = in.Unsigned() == 0;
  const unsigned int type = in.Unsigned();
  // From 5 on a type also says that all slices of the picture are of it (table 7-6).
  slice.sliceType = type % 5;
  slice.pictureSet = in.Unsigned();
  const auto picture = pictures_.find(slice.pictureSet);
  const SequenceSet* sequence = SequenceOf(slice.pictureSet);
  if (!in.good() || type > 9 || sequence == nullptr) return std::nullopt;
  slice.intra = slice.sliceType == 2 || slice.sliceType == 4;
  // IDR pictures have intra slices alone, and frame numbers begin again with them (7.4.3).
  if (slice.idr && !slice.intra) return std::nullopt;
  if (sequence->separatePlanes) in.Skip(2);
  slice.frameNumber = in.Bits(sequence->frameNumberBits);
  if (!sequence->framesOnly) slice.field = in.Flag();
  if (slice.field) slice.bottomField = in.Flag();
  if (slice.idr) slice.idrId = in.Unsigned();
  if (slice.idr && (slice.frameNumber != 0 || slice.idrId > 65535)) return std::nullopt;
  if (sequence->orderType == 0) {
    slice.orderLow = in.Bits(sequence->orderBits);
    if (picture->second.bottomOrder && !slice.field) slice.orderBottom = in.Signed();
  }
  if (!in.good()) return std::nullopt;
  return slice;
}

std::optional<Slice> VideoSyntax::ReadHevcSlice(const UnitHeader& header,
                                                std::span<const unsigned char> unit) const {
  SyntaxReader in(unit.subspan(2, std::min<std::size_t>(unit.size() - 2, 64)));
  Slice slice;
  slice.unitType = header.type;
  slice.temporalId = header.temporalId;
  slice.idr = header.type == kHevcFirstIdr || header.type == kHevcLastIdr;
  slice.randomAccess =
      header.type >= kHevcFirstRandomAccess && header.type <= kHevcLastRandomAccess;
  slice.first = in.Flag();
  // no_output_of_prior_pics_flag, which the reserved types 22 and 23 have, too (7.3.6.1).
  if (header.type >= kHevcFirstRandomAccess && header.type <= 23) in.Flag();
  slice.pictureSet = in.Unsigned();
  const auto picture = pictures_.find(slice.pictureSet);
  const SequenceSet* sequence = SequenceOf(slice.pictureSet);
  if (!in.good() || sequence == nullptr) return std::nullopt;
  // An address follows, whose width takes the size of the picture to know.
  if (!slice.first) return slice;
  in.Skip(picture->second.extraBits);
  slice.sliceType = in.Unsigned();
  if (slice.sliceType > 2) return std::nullopt;
  slice.intra = slice.sliceType == 2;
  // From a picture for random access nothing refers to an earlier one (7.4.7.1).
  if (slice.randomAccess && !slice.intra) return std::nullopt;
  if (picture->second.outputFlag) in.Flag();
  if (sequence->separatePlanes) in.Skip(2);
  if (!slice.idr) slice.orderLow = in.Bits(sequence->orderBits);
  if (!in.good()) return std::nullopt;
  return slice;
}

bool VideoSyntax::BelongsToStart(const UnitHeader& header) const {
  if (header.kind != UnitKind::kSlice) return false;
  if (codec_ == Codec::kAvc) return header.type == kAvcIdr;
  return header.type >= kHevcFirstLeading;
}

bool VideoSyntax::IsLeading(const UnitHeader& header) const {
  return codec_ == Codec::kHevc && header.kind == UnitKind::kSlice &&
         header.type >= kHevcFirstLeading && header.type <= kHevcLastLeading;
}

bool VideoSyntax::IsSet(const UnitHeader& header) const {
  if (codec_ == Codec::kAvc) return header.type == kAvcSequence || header.type == kAvcPicture;
  return header.layer == 0 && header.type >= kHevcVideo && header.type <= kHevcPicture;
}

bool VideoSyntax::TakeAnySet(std::span<const unsigned char> unit) {
  const UnitHeader header = Header(unit.data());
  if (header.layer != 0) return true;
  const bool avc = codec_ == Codec::kAvc;
  SyntaxReader in(unit.subspan(headerSize()));
  if (header.type == (avc ? kAvcSequence : kHevcSequence)) {
    const auto set = avc ? ReadAvcSequence(in) : ReadHevcSequence(in);
    if (set) sequences_[set->first] = set->second;
    return set.has_value();
  }
  if (header.type == (avc ? kAvcPicture : kHevcPicture)) {
    const auto set = avc ? ReadAvcPicture(in) : ReadHevcPicture(in);
    if (set) pictures_[set->first] = set->second;
    return set.has_value();
  }
  return true;
}

void VideoSyntax::TakeSet(const UnitHeader& header, std::span<const unsigned char> unit) {
  // A damaged set leaves the one before it in force.
  if (IsSet(header)) static_cast<void>(TakeAnySet(unit));
}

bool VideoSyntax::IsInformation(const UnitHeader& header) const {
  return header.type == (codec_ == Codec::kAvc ? kAvcInformation : kHevcInformation);
}

namespace {

using TakeMessage = std::function<void(std::size_t type, std::span<const unsigned char> payload)>;

// sei_message(): type and size are sums of bytes of which all but the last are
// 255.
void ForEachMessage(std::span<const unsigned char> unit, std::size_t at, const TakeMessage& take) {
  const auto number = [&] {
    std::size_t sum = 0;
    while (at < unit.size() && unit[at] == 0xFF) sum += unit[at++];
    return at < unit.size() ? sum + unit[at++] : sum;
  };
  while (at + 2 < unit.size()) {
    const std::size_t type = number();
    const std::size_t size = number();
    const std::size_t begin = std::min(at, unit.size());
    take(type, unit.subspan(begin, std::min(size, unit.size() - begin)));
    at += size;
  }
}

}  // namespace

bool VideoSyntax::HasRecoveryPoint(const UnitHeader& header,
                                   std::span<const unsigned char> unit) const {
  if (!IsInformation(header)) return false;
  bool found = false;
  ForEachMessage(unit, headerSize(), [&](std::size_t type, std::span<const unsigned char>) {
    found = found || type == kRecoveryPoint;
  });
  return found;
}

std::vector<std::uint64_t> VideoSyntax::Marks(const UnitHeader& header,
                                              std::span<const unsigned char> unit) const {
  std::vector<std::uint64_t> marks;
  if (!IsInformation(header)) return {header.type};
  ForEachMessage(unit, headerSize(), [&](std::size_t type, std::span<const unsigned char> payload) {
    std::uint64_t mark = (std::uint64_t{type} + 1) << 8;
    // Messages of users say by 16 bytes whose they are, behind a country's code or at once.
    if (type == kRegistered || type == kUnregistered) {
      for (const unsigned char byte : payload.first(std::min<std::size_t>(payload.size(), 16)))
        mark = (mark ^ byte) * kHashPrime;
    }
    marks.push_back(mark);
  });
  return marks;
}

const SequenceSet* VideoSyntax::SequenceOf(unsigned int pictureSet) const {
  const auto picture = pictures_.find(pictureSet);
  if (picture == pictures_.end()) return nullptr;
  const auto sequence = sequences_.find(picture->second.sequenceSet);
  return sequence != sequences_.end() ? &sequence->second : nullptr;
}

}  // namespace clipchain::rescue
