#include "box/avc_configuration.h"

#include <utility>

#include "foundation/cursor.h"

namespace MP4G {

namespace {

using ParameterSet = CAvcDecoderConfigurationRecord::ParameterSet;

constexpr unsigned int kSpsCountMask = 0x1F;

bool HasHighProfile(const _tagAVC_DECODER_CONFIGURATION_RECORD& record) {
  switch (record.profileIndication) {
    case 100:
    case 110:
    case 122:
    case 144:
      return true;
    default:
      return false;
  }
}

// Reads `length` bytes into a new entry of the list.
HRESULT TakeSet(const unsigned char*& in, unsigned int& rest, unsigned int length,
                std::list<ParameterSet>& list) {
  RETURN_IF(rest < length, S_FALSE);
  list.emplace_back();
  return QUIRVA::TakeArray<unsigned char>(in, rest, list.back(), length);
}

// A set of length 0 counts and leaves no entry.
HRESULT TakeSets(const unsigned char*& in, unsigned int& rest, unsigned int count,
                 std::list<ParameterSet>& list) {
  for (unsigned int i = 0; i < count; ++i) {
    QUIRVA::be16 length;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, length));
    if (length != 0) RETURN_IF_NOT_OK(TakeSet(in, rest, length, list));
  }
  return S_OK;
}

std::uint16_t LengthOf(const ParameterSet& set) { return static_cast<std::uint16_t>(set.size()); }

long long SizeOf(const std::list<ParameterSet>& list) {
  long long total = 0;
  for (const ParameterSet& set : list) total += 2 + LengthOf(set);
  return total;
}

HRESULT PutSets(unsigned char*& out, unsigned int& rest, const std::list<ParameterSet>& list) {
  for (const ParameterSet& set : list) {
    RETURN_IF_NOT_OK(QUIRVA::PutNumber<QUIRVA::be16>(out, rest, LengthOf(set)));
    RETURN_IF_NOT_OK(QUIRVA::PutBytes(out, rest, set.data(), LengthOf(set)));
  }
  return S_OK;
}

HRESULT AddSet(std::list<ParameterSet>& list, const unsigned char* bytes, unsigned int length) {
  RETURN_IF(bytes == nullptr || length == 0, E_INVALIDARG);
  ParameterSet added;
  RETURN_IF_NOT_OK(QUIRVA::TakeArray<unsigned char>(bytes, length, added, length));
  for (const ParameterSet& set : list) {
    RETURN_IF(set.empty(), E_POINTER);
    RETURN_IF(set == added, S_OK);
  }
  list.push_back(std::move(added));
  return S_OK;
}

}  // namespace

CAvcDecoderConfigurationRecord::CAvcDecoderConfigurationRecord() : base(this), extension(this) {}

void CAvcDecoderConfigurationRecord::Reset() {
  *base = {};
  *extension = {};
  expectedSize = 0;
  spsList.clear();
  ppsList.clear();
  spsExtList.clear();
  hasExtension = 0;
}

HRESULT CAvcDecoderConfigurationRecord::SetData(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *base));
  RETURN_IF_NOT_OK(TakeSets(in, rest, base->spsCount & kSpsCountMask, spsList));
  unsigned char ppsCount = 0;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, ppsCount));
  RETURN_IF_NOT_OK(TakeSets(in, rest, ppsCount, ppsList));
  const bool usedItsBox = restBefore - rest == expectedSize;
  return usedItsBox || !HasHighProfile(*base) ? S_OK : SetExtensionData(in, rest);
}

HRESULT CAvcDecoderConfigurationRecord::SetExtensionData(const unsigned char*& in,
                                                         unsigned int& rest) {
  hasExtension = 1;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *extension));
  for (unsigned int i = 0; i < extension->spsExtCount; ++i) {
    const unsigned char* peek = in;
    unsigned int peekRest = rest;
    QUIRVA::be16 length;
    RETURN_IF_NOT_OK(QUIRVA::Take(peek, peekRest, length));
    RETURN_IF(length == 0, E_BAD_DATA);
    // The bytes are taken from where the length field begins plus the length itself, which is right
    // behind the field for a length of 2 alone.
    RETURN_IF_NOT_OK(QUIRVA::Skip(in, rest, length));
    RETURN_IF_NOT_OK(TakeSet(in, rest, length, spsExtList));
  }
  return S_OK;
}

HRESULT CAvcDecoderConfigurationRecord::GetDataSize(long long* total) const {
  RETURN_IF(total == nullptr, E_POINTER);
  *total = static_cast<long long>(sizeof *base) + SizeOf(spsList) + 1 + SizeOf(ppsList);
  if (hasExtension != 0) *total += static_cast<long long>(sizeof *extension) + SizeOf(spsExtList);
  return S_OK;
}

HRESULT CAvcDecoderConfigurationRecord::GetData(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF(rest < sizeof *base, S_FALSE);
  base->spsCount = static_cast<unsigned char>((base->spsCount & ~kSpsCountMask) |
                                              (spsList.size() & kSpsCountMask));
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *base));
  RETURN_IF_NOT_OK(PutSets(out, rest, spsList));
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, static_cast<unsigned char>(ppsList.size())));
  RETURN_IF_NOT_OK(PutSets(out, rest, ppsList));
  if (hasExtension == 0) return S_OK;
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *extension));
  return PutSets(out, rest, spsExtList);
}

HRESULT CAvcDecoderConfigurationRecord::AddSps(const unsigned char* bytes, unsigned int length) {
  return AddSet(spsList, bytes, length);
}

HRESULT CAvcDecoderConfigurationRecord::AddPps(const unsigned char* bytes, unsigned int length) {
  return AddSet(ppsList, bytes, length);
}

HRESULT CAvcConfigurationBox::Init() {
  RETURN_IF_NOT_OK(CBox::Init());
  record = std::make_unique<CAvcDecoderConfigurationRecord>();
  return S_OK;
}

void CAvcConfigurationBox::Reset() {
  record.reset();
  CBox::Reset();
}

HRESULT CAvcConfigurationBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  RETURN_IF(record == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &record->expectedSize));
  return record->SetData(in, rest);
}

HRESULT CAvcConfigurationBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  if (record == nullptr) return S_OK;
  long long recordSize = 0;
  RETURN_IF_NOT_OK(record->GetDataSize(&recordSize));
  *total += recordSize;
  return S_OK;
}

HRESULT CAvcConfigurationBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  return record != nullptr ? record->GetData(out, rest) : S_OK;
}

}  // namespace MP4G
