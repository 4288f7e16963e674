#include "box/fragment_boxes.h"

#include <algorithm>

#include "foundation/cursor.h"

namespace MP4G {

namespace {

// Flags of "tfhd" and "trun" (ISO/IEC 14496-12, clauses 8.8.7 and 8.8.8).
constexpr unsigned int kBaseDataOffset = 0x01;
constexpr unsigned int kSampleDescriptionIndex = 0x02;
constexpr unsigned int kDefaultSampleDuration = 0x08;
constexpr unsigned int kDefaultSampleSize = 0x10;
constexpr unsigned int kDefaultSampleFlags = 0x20;
constexpr unsigned int kDurationIsEmpty = 0x010000;
constexpr unsigned int kDataOffset = 0x01;
constexpr unsigned int kFirstSampleFlags = 0x04;
constexpr unsigned int kSampleDuration = 0x100;
constexpr unsigned int kSampleSize = 0x200;
constexpr unsigned int kSampleFlags = 0x400;
constexpr unsigned int kSampleCompositionTimeOffsets = 0x800;

void SetOrToggle(QUIRVA::be24& flags, unsigned int bit, signed char set) {
  flags = set == 1 ? flags | bit : flags ^ bit;
}

bool NeedsWideForm(std::uint64_t value) { return value >> 32 != 0; }

// The time and the offset of a random access entry.
template <class Integer>
struct Place {
  Integer time;
  Integer moofOffset;
};

template <class Integer>
HRESULT TakePlace(const unsigned char*& in, unsigned int& rest, CRandomAccessEntry& entry) {
  Place<Integer> place;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, place));
  entry.time = place.time;
  entry.moofOffset = place.moofOffset;
  return S_OK;
}

template <class Integer>
HRESULT PutPlace(unsigned char*& out, unsigned int& rest, const CRandomAccessEntry& entry) {
  Place<Integer> place;
  place.time = static_cast<typename Integer::Value>(entry.time);
  place.moofOffset = static_cast<typename Integer::Value>(entry.moofOffset);
  return QUIRVA::Put(out, rest, place);
}

// A number of 1 to 4 bytes is the low end of a 32-bit field.
HRESULT TakeNumber(const unsigned char*& in, unsigned int& rest, unsigned int width,
                   std::uint32_t& number) {
  QUIRVA::be32 wire{};
  RETURN_IF_NOT_OK(QUIRVA::TakeBytes(in, rest, wire.bytes + (sizeof wire - width), width));
  number = wire;
  return S_OK;
}

HRESULT PutNumber(unsigned char*& out, unsigned int& rest, unsigned int width,
                  std::uint32_t number) {
  QUIRVA::be32 wire;
  wire = number;
  return QUIRVA::PutBytes(out, rest, wire.bytes + (sizeof wire - width), width);
}

}  // namespace

void CMovieExtendsHeaderBox::Reset() {
  fragmentDuration = 0;
  CFullBox::Reset();
}

HRESULT CMovieExtendsHeaderBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  if (fullHeader->version == 1) {
    QUIRVA::be64 wide;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, wide));
    fragmentDuration = wide;
  } else {
    QUIRVA::be32 narrow;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, narrow));
    fragmentDuration = narrow;
  }
  return S_OK;
}

HRESULT CMovieExtendsHeaderBox::FixParamImpl() {
  fullHeader->version = NeedsWideForm(fragmentDuration) ? 1 : 0;
  return S_OK;
}

HRESULT CMovieExtendsHeaderBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += fullHeader->version == 1 ? 8 : 4;
  return S_OK;
}

HRESULT CMovieExtendsHeaderBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return fullHeader->version == 1 ? QUIRVA::PutNumber<QUIRVA::be64>(out, rest, fragmentDuration)
                                  : QUIRVA::PutNumber<QUIRVA::be32>(
                                        out, rest, static_cast<std::uint32_t>(fragmentDuration));
}

CTrackFragmentHeaderBox::CTrackFragmentHeaderBox()
    : _tagTRACK_FRAGMENT_HEADER_BOX{}, record(this) {}

void CTrackFragmentHeaderBox::Reset() {
  *record = {};
  CFullBox::Reset();
}

// Hands the fields that the file has to `visit`, in their order; a non-zero answer ends it.
template <class Box, class Visit>
HRESULT CTrackFragmentHeaderBox::VisitFields(Box& box, Visit visit) {
  auto* record = box.record;
  RETURN_IF_NOT_OK(visit(record->trackId));
  if (box.BaseDataOffsetPresent() != 0) RETURN_IF_NOT_OK(visit(record->baseDataOffset));
  if (box.SampleDescriptionIndexPresent() != 0)
    RETURN_IF_NOT_OK(visit(record->sampleDescriptionIndex));
  if (box.DefaultSampleDurationPresent() != 0)
    RETURN_IF_NOT_OK(visit(record->defaultSampleDuration));
  if (box.DefaultSampleSizePresent() != 0) RETURN_IF_NOT_OK(visit(record->defaultSampleSize));
  if (box.DefaultSampleFlagsPresent() != 0) RETURN_IF_NOT_OK(visit(record->defaultSampleFlags));
  return S_OK;
}

HRESULT CTrackFragmentHeaderBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  return VisitFields(*this, [&](auto& field) { return QUIRVA::Take(in, rest, field); });
}

HRESULT CTrackFragmentHeaderBox::FixParamImpl() {
  fullHeader->flags = (record->baseDataOffset != 0 ? kBaseDataOffset : 0) |
                      (record->sampleDescriptionIndex != 0 ? kSampleDescriptionIndex : 0) |
                      (record->defaultSampleDuration != 0 ? kDefaultSampleDuration : 0) |
                      (record->defaultSampleSize != 0 ? kDefaultSampleSize : 0) |
                      DefaultSampleFlagsPresent();
  return S_OK;
}

HRESULT CTrackFragmentHeaderBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  return VisitFields(*this, [total](const auto& field) {
    *total += sizeof field;
    return S_OK;
  });
}

HRESULT CTrackFragmentHeaderBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return VisitFields(*this, [&](const auto& field) { return QUIRVA::Put(out, rest, field); });
}

unsigned int CTrackFragmentHeaderBox::BaseDataOffsetPresent() const {
  return fullHeader->flags & kBaseDataOffset;
}
void CTrackFragmentHeaderBox::SetBaseDataOffsetPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kBaseDataOffset, set);
}
unsigned int CTrackFragmentHeaderBox::SampleDescriptionIndexPresent() const {
  return fullHeader->flags & kSampleDescriptionIndex;
}
void CTrackFragmentHeaderBox::SetSampleDescriptionIndexPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kSampleDescriptionIndex, set);
}
unsigned int CTrackFragmentHeaderBox::DefaultSampleDurationPresent() const {
  return fullHeader->flags & kDefaultSampleDuration;
}
void CTrackFragmentHeaderBox::SetDefaultSampleDurationPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kDefaultSampleDuration, set);
}
unsigned int CTrackFragmentHeaderBox::DefaultSampleSizePresent() const {
  return fullHeader->flags & kDefaultSampleSize;
}
void CTrackFragmentHeaderBox::SetDefaultSampleSizePresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kDefaultSampleSize, set);
}
unsigned int CTrackFragmentHeaderBox::DefaultSampleFlagsPresent() const {
  return fullHeader->flags & kDefaultSampleFlags;
}
void CTrackFragmentHeaderBox::SetDefaultSampleFlagsPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kDefaultSampleFlags, set);
}
unsigned int CTrackFragmentHeaderBox::DurationIsEmpty() const { return 0; }
void CTrackFragmentHeaderBox::SetDurationIsEmptyFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kDurationIsEmpty, set);
}

CTrackRunBox::CTrackRunBox() : _tagTRACK_RUN_BOX{}, record(this) {}

void CTrackRunBox::Reset() {
  *record = {};
  sampleEntries = 0;
  CFullBox::Reset();
}

// As in "tfhd".
template <class Box, class Visit>
HRESULT CTrackRunBox::VisitFields(Box& box, Visit visit) {
  auto* record = box.record;
  RETURN_IF_NOT_OK(visit(record->sampleCount));
  if (box.DataOffsetPresent() != 0) RETURN_IF_NOT_OK(visit(record->dataOffset));
  if (box.FirstSampleFlagsPresent() != 0) RETURN_IF_NOT_OK(visit(record->firstSampleFlags));
  return S_OK;
}

HRESULT CTrackRunBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(VisitFields(*this, [&](auto& field) { return QUIRVA::Take(in, rest, field); }));
  sampleEntries += record->sampleCount;
  return S_OK;
}

HRESULT CTrackRunBox::FixParamImpl() {
  record->sampleCount = static_cast<std::uint32_t>(sampleEntries);
  return S_OK;
}

HRESULT CTrackRunBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  return VisitFields(*this, [total](const auto& field) {
    *total += sizeof field;
    return S_OK;
  });
}

HRESULT CTrackRunBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return VisitFields(*this, [&](const auto& field) { return QUIRVA::Put(out, rest, field); });
}

unsigned int CTrackRunBox::DataOffsetPresent() const { return fullHeader->flags & kDataOffset; }
void CTrackRunBox::SetDataOffsetPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kDataOffset, set);
}
unsigned int CTrackRunBox::FirstSampleFlagsPresent() const {
  return fullHeader->flags & kFirstSampleFlags;
}
void CTrackRunBox::SetFirstSampleFlagsPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kFirstSampleFlags, set);
}
unsigned int CTrackRunBox::SampleDurationPresent() const { return 0; }
void CTrackRunBox::SetSampleDurationPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kSampleDuration, set);
}
unsigned int CTrackRunBox::SampleSizePresent() const { return 0; }
void CTrackRunBox::SetSampleSizePresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kSampleSize, set);
}
unsigned int CTrackRunBox::SampleFlagsPresent() const { return 0; }
void CTrackRunBox::SetSampleFlagsPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kSampleFlags, set);
}
unsigned int CTrackRunBox::SampleCompositionTimeOffsetsPresent() const { return 0; }
void CTrackRunBox::SetSampleCompositionTimeOffsetsPresentFlag(signed char set) {
  SetOrToggle(fullHeader->flags, kSampleCompositionTimeOffsets, set);
}

unsigned int CTrackFragmentRandomAccessBox::EntrySize() const {
  return (fullHeader->version == 1 ? 16u : 8u) + record->TrafNumberLength() +
         record->TrunNumberLength() + record->SampleNumberLength();
}

HRESULT CTrackFragmentRandomAccessBox::TakeEntry(const unsigned char*& in, unsigned int& rest,
                                                 CRandomAccessEntry& entry) const {
  RETURN_IF_NOT_OK(fullHeader->version == 1 ? TakePlace<QUIRVA::be64>(in, rest, entry)
                                            : TakePlace<QUIRVA::be32>(in, rest, entry));
  RETURN_IF_NOT_OK(TakeNumber(in, rest, record->TrafNumberLength(), entry.trafNumber));
  RETURN_IF_NOT_OK(TakeNumber(in, rest, record->TrunNumberLength(), entry.trunNumber));
  return TakeNumber(in, rest, record->SampleNumberLength(), entry.sampleNumber);
}

HRESULT CTrackFragmentRandomAccessBox::PutEntry(unsigned char*& out, unsigned int& rest,
                                                const CRandomAccessEntry& entry) const {
  RETURN_IF_NOT_OK(fullHeader->version == 1 ? PutPlace<QUIRVA::be64>(out, rest, entry)
                                            : PutPlace<QUIRVA::be32>(out, rest, entry));
  RETURN_IF_NOT_OK(PutNumber(out, rest, record->TrafNumberLength(), entry.trafNumber));
  RETURN_IF_NOT_OK(PutNumber(out, rest, record->TrunNumberLength(), entry.trunNumber));
  return PutNumber(out, rest, record->SampleNumberLength(), entry.sampleNumber);
}

HRESULT CTrackFragmentRandomAccessBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CRecordBox::SetDataImpl(in, rest));
  const unsigned int number = record->numberOfEntries;
  if (number < 2) return S_OK;
  const unsigned int wanted = number - 1;
  entries.reserve(entries.size() + std::min(wanted, rest / EntrySize()));
  for (unsigned int i = 0; i < wanted; ++i) {
    CRandomAccessEntry entry;
    RETURN_IF_NOT_OK(TakeEntry(in, rest, entry));
    entries.push_back(entry);
  }
  return S_OK;
}

HRESULT CTrackFragmentRandomAccessBox::FixParamImpl() {
  record->numberOfEntries = static_cast<std::uint32_t>(entries.size());
  const bool wide =
      std::any_of(entries.begin(), entries.end(), [](const CRandomAccessEntry& entry) {
        return NeedsWideForm(entry.time) || NeedsWideForm(entry.moofOffset);
      });
  if (wide) fullHeader->version = 1;
  return S_OK;
}

HRESULT CTrackFragmentRandomAccessBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(entries.size() * EntrySize());
  return S_OK;
}

HRESULT CTrackFragmentRandomAccessBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CRecordBox::GetDataImpl(out, rest));
  for (const CRandomAccessEntry& entry : entries) RETURN_IF_NOT_OK(PutEntry(out, rest, entry));
  return S_OK;
}

}  // namespace MP4G
