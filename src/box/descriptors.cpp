#include "box/descriptors.h"

#include <algorithm>
#include <iterator>

#include "box/box_factory.h"
#include "foundation/cursor.h"

namespace MP4G {

namespace {

constexpr unsigned char kReservedBit = 0x01;  // of the stream type, 1 by the standard
constexpr std::uint8_t kNoIndex = 0xFF;

// ISO/IEC 14496-3, clause 1.6.3.4: the place is the index.
constexpr unsigned int kSamplingFrequencies[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                                 24000, 22050, 16000, 12000, 11025, 8000};

HRESULT TakeStamp(const unsigned char*& in, unsigned int& rest, unsigned int width,
                  std::uint64_t& stamp) {
  for (unsigned int i = 0; i < width; ++i) {
    unsigned char byte = 0;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, byte));
    stamp = stamp << 8 | byte;
  }
  return S_OK;
}

// From one byte to the next the stamp moves by one bit, and not by eight: only a stamp of 0 reads
// back as it was.
HRESULT PutStamp(unsigned char*& out, unsigned int& rest, unsigned int width, std::uint64_t stamp) {
  for (unsigned int i = 0; i < width; ++i) {
    const auto byte = static_cast<unsigned char>(stamp >> ((width - 2 - i) % 64));
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, byte));
  }
  return S_OK;
}

}  // namespace

CEsDescriptor::CEsDescriptor()
    : _tagES_DESCRIPTOR{}, _tagES_DESCRIPTOR_DATA{}, record(this), data(this) {}

void CEsDescriptor::Reset() {
  *record = {};
  *data = {};
  CBaseDescriptor::Reset();
}

// Hands the fields that are there to the two visitors, in their order; a non-zero answer ends it.
template <class Data, class Number, class Url>
HRESULT CEsDescriptor::VisitOptionalFields(Data& fields, Number visitNumber, Url visitUrl) const {
  if (record->HasStreamDependence()) RETURN_IF_NOT_OK(visitNumber(fields.dependsOnEsId));
  if (record->HasUrl()) RETURN_IF_NOT_OK(visitUrl(fields));
  if (record->HasOcrStream()) RETURN_IF_NOT_OK(visitNumber(fields.ocrEsId));
  return S_OK;
}

HRESULT CEsDescriptor::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBaseDescriptor::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record));
  const auto takeNumber = [&](std::uint16_t& number) -> HRESULT {
    QUIRVA::be16 wire;
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, wire));
    number = wire;
    return S_OK;
  };
  const auto takeUrl = [&](_tagES_DESCRIPTOR_DATA& fields) -> HRESULT {
    RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, fields.urlLength));
    return QUIRVA::TakeBytes(in, rest, fields.url, fields.urlLength);
  };
  return VisitOptionalFields(*data, takeNumber, takeUrl);
}

HRESULT CEsDescriptor::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataSizeImpl(total));
  *total += sizeof(_tagES_DESCRIPTOR);
  const auto addNumber = [total](std::uint16_t) {
    *total += 2;
    return S_OK;
  };
  const auto addUrl = [total](const _tagES_DESCRIPTOR_DATA& fields) {
    *total += fields.urlLength + 1;
    return S_OK;
  };
  return VisitOptionalFields(*data, addNumber, addUrl);
}

HRESULT CEsDescriptor::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record));
  const auto putNumber = [&](std::uint16_t number) {
    return QUIRVA::PutNumber<QUIRVA::be16>(out, rest, number);
  };
  const auto putUrl = [&](const _tagES_DESCRIPTOR_DATA& fields) -> HRESULT {
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, fields.urlLength));
    return QUIRVA::PutBytes(out, rest, fields.url, fields.urlLength);
  };
  return VisitOptionalFields(*data, putNumber, putUrl);
}

CDecoderConfigDescriptor::CDecoderConfigDescriptor()
    : _tagDECODER_CONFIG_DESCRIPTOR{}, record(this) {
  record->streamType = kReservedBit;
}

void CDecoderConfigDescriptor::Reset() {
  *record = {};
  record->streamType = kReservedBit;
  CBaseDescriptor::Reset();
}

HRESULT CDecoderConfigDescriptor::CreateChildDescriptor(unsigned char, CBaseDescriptor** child) {
  return CBoxFactory::CreateSpecificInfo(record->objectTypeIndication, child);
}

HRESULT CDecoderConfigDescriptor::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBaseDescriptor::SetDataImpl(in, rest));
  return QUIRVA::Take(in, rest, *record);
}

HRESULT CDecoderConfigDescriptor::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataSizeImpl(total));
  *total += sizeof(_tagDECODER_CONFIG_DESCRIPTOR);
  return S_OK;
}

HRESULT CDecoderConfigDescriptor::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataImpl(out, rest));
  return QUIRVA::Put(out, rest, *record);
}

void CDecoderSpecificInfo::Reset() {
  data.clear();
  CBaseDescriptor::Reset();
}

HRESULT CDecoderSpecificInfo::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBaseDescriptor::SetDataImpl(in, rest));
  RETURN_IF(rest < payloadSize, S_FALSE);
  data.clear();
  return QUIRVA::TakeArray<unsigned char>(in, rest, data, payloadSize);
}

HRESULT CDecoderSpecificInfo::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataSizeImpl(total));
  *total += static_cast<long long>(data.size());
  return S_OK;
}

HRESULT CDecoderSpecificInfo::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataImpl(out, rest));
  return QUIRVA::PutBytes(out, rest, data.data(), data.size());
}

HRESULT CDecoderSpecificInfo::SetSpecificData(const unsigned char* bytes, unsigned int length) {
  RETURN_IF(bytes == nullptr || length == 0, E_INVALIDARG);
  std::vector<unsigned char> block;  // the bytes may be this object's own
  RETURN_IF_NOT_OK(QUIRVA::TakeArray<unsigned char>(bytes, length, block, length));
  data.swap(block);
  return S_OK;
}

void CAudioSpecificConfig::Reset() {
  audioObjectType = 2;
  channelConfiguration = 2;
  samplingFrequencyIndex = kNoIndex;
  CDecoderSpecificInfo::Reset();
}

HRESULT CAudioSpecificConfig::FixParamImpl() {
  if (data.empty()) CreateByteData();
  return S_OK;
}

void CAudioSpecificConfig::SetSamplingFrequency(unsigned int hertz) {
  const auto found =
      std::find(std::begin(kSamplingFrequencies), std::end(kSamplingFrequencies), hertz);
  samplingFrequencyIndex = found != std::end(kSamplingFrequencies)
                               ? static_cast<std::uint8_t>(found - std::begin(kSamplingFrequencies))
                               : kNoIndex;
}

void CAudioSpecificConfig::SetChannelNum(unsigned short channels) {
  channelConfiguration =
      channels >= 1 && channels <= 7 ? static_cast<std::uint8_t>(channels) : kNoIndex;
}

void CAudioSpecificConfig::CreateByteData() {
  // 5 bits of object type, 4 of frequency index, 4 of channels, 3 of flags that are 0.
  data = {
      static_cast<unsigned char>((audioObjectType & 31) << 3 | (samplingFrequencyIndex >> 1 & 7)),
      static_cast<unsigned char>(channelConfiguration << 3 | samplingFrequencyIndex << 7)};
}

CSLConfigDescriptor::CSLConfigDescriptor()
    : _tagSL_CONFIG_DESCRIPTOR_0{}, _tagSL_CONFIG_DESCRIPTOR_1{}, record0(this), record1(this) {}

void CSLConfigDescriptor::Reset() {
  *record0 = {};
  *record1 = {};
  predefined = 2;
  startDecodingTimeStamp = 0;
  startCompositionTimeStamp = 0;
  CBaseDescriptor::Reset();
}

unsigned int CSLConfigDescriptor::StampBytes() const { return record0->timeStampLength / 8u; }

HRESULT CSLConfigDescriptor::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBaseDescriptor::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, predefined));
  if (predefined == 0) RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record0));
  if (record0->HasDuration()) RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record1));
  if (record0->UsesTimeStamps()) return S_OK;
  RETURN_IF_NOT_OK(TakeStamp(in, rest, StampBytes(), startDecodingTimeStamp));
  return TakeStamp(in, rest, StampBytes(), startCompositionTimeStamp);
}

HRESULT CSLConfigDescriptor::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataSizeImpl(total));
  *total += sizeof predefined;
  if (predefined == 0) *total += sizeof *record0;
  if (record0->HasDuration()) *total += sizeof *record1;
  if (!record0->UsesTimeStamps()) *total += record0->timeStampLength / 4;
  return S_OK;
}

HRESULT CSLConfigDescriptor::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBaseDescriptor::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, predefined));
  if (predefined == 0) RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record0));
  if (record0->HasDuration()) RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record1));
  if (record0->UsesTimeStamps()) return S_OK;
  RETURN_IF_NOT_OK(PutStamp(out, rest, StampBytes(), startDecodingTimeStamp));
  return PutStamp(out, rest, StampBytes(), startCompositionTimeStamp);
}

HRESULT CUnknownDescriptor::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CBaseDescriptor::SetDataImpl(in, rest));
  return QUIRVA::Skip(in, rest, payloadSize);
}

}  // namespace MP4G
