// The descriptors of an elementary stream (ISO/IEC 14496-1, clause 7.2.6), by tag.
#pragma once

#include <cstdint>
#include <vector>

#include "box/base_descriptor.h"
#include "foundation/big_endian.h"

namespace MP4G {

struct _tagES_DESCRIPTOR {
  QUIRVA::be16 esId;
  unsigned char flags;  // see the accessors; the low 5 bits are the stream's priority

  bool HasStreamDependence() const { return (flags & 0x80) != 0; }
  bool HasUrl() const { return (flags & 0x40) != 0; }
  bool HasOcrStream() const { return (flags & 0x20) != 0; }
};
static_assert(sizeof(_tagES_DESCRIPTOR) == 3);

// What an ES descriptor has only if its flags say so; not the layout of the file.
struct _tagES_DESCRIPTOR_DATA {
  std::uint16_t dependsOnEsId;
  std::uint8_t urlLength;
  std::uint8_t url[255];  // the first `urlLength` bytes count
  std::uint16_t ocrEsId;
};

// Tag 3 (clause 7.2.6.5): an elementary stream.
class CEsDescriptor : public CBaseDescriptor,
                      public _tagES_DESCRIPTOR,
                      public _tagES_DESCRIPTOR_DATA {
 public:
  CEsDescriptor();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagES_DESCRIPTOR* record;  // this object's own base parts
  _tagES_DESCRIPTOR_DATA* data;

 private:
  template <class Data, class Number, class Url>
  [[nodiscard]] HRESULT VisitOptionalFields(Data& fields, Number visitNumber, Url visitUrl) const;
};

// Object types (clause 7.2.6.6.2) whose specific info has a class of its own.
inline constexpr unsigned char kVisualObjectType = 0x20;
inline constexpr unsigned char kAudioObjectType = 0x40;

struct _tagDECODER_CONFIG_DESCRIPTOR {
  unsigned char objectTypeIndication;
  unsigned char streamType;   // 6 bits, then one of up stream, then a reserved one
  QUIRVA::be24 bufferSizeDB;  // bytes
  QUIRVA::be32 maxBitrate;    // bits per second
  QUIRVA::be32 avgBitrate;
};
static_assert(sizeof(_tagDECODER_CONFIG_DESCRIPTOR) == 13);

// Tag 4 (clause 7.2.6.6): what a decoder has to know.
class CDecoderConfigDescriptor : public CBaseDescriptor, public _tagDECODER_CONFIG_DESCRIPTOR {
 public:
  CDecoderConfigDescriptor();
  void Reset() override;
  // A specific info of the record's object type, whatever the tag. It stands among the children
  // under tag 5, even if the file then gives it another tag.
  [[nodiscard]] HRESULT CreateChildDescriptor(unsigned char childTag,
                                              CBaseDescriptor** child) override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagDECODER_CONFIG_DESCRIPTOR* record;  // this object's own base part
};

// Tag 5 (clause 7.2.6.7): bytes for the decoder alone.
class CDecoderSpecificInfo : public CBaseDescriptor {
 public:
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  // Replaces the block by a copy. E_INVALIDARG for null or a length of 0.
  [[nodiscard]] HRESULT SetSpecificData(const unsigned char* bytes, unsigned int length);

  std::vector<unsigned char> data;
};

// The specific info of MPEG-4 audio (ISO/IEC 14496-3, clause 1.6.2.1). The fields are for making a
// new block: nothing is parsed out of one that was read, and such a block is never rebuilt.
class CAudioSpecificConfig : public CDecoderSpecificInfo {
 public:
  void Reset() override;
  // Makes the block from the fields if there is none.
  [[nodiscard]] HRESULT FixParamImpl() override;

  // A value that the format has no index for gives 0xFF.
  void SetSamplingFrequency(unsigned int hertz);
  void SetChannelNum(unsigned short channels);
  // Replaces the block by 2 bytes that the fields spell, each cut to its bits.
  void CreateByteData();

  std::uint8_t audioObjectType = 2;  // AAC LC
  std::uint8_t channelConfiguration = 2;
  std::uint8_t samplingFrequencyIndex = 0xFF;
};

// The specific info of MPEG-4 visual.
class CVideoSpecificConfig : public CDecoderSpecificInfo {};

struct _tagSL_CONFIG_DESCRIPTOR_0 {
  unsigned char flags;
  QUIRVA::be32 timeStampResolution;
  QUIRVA::be32 ocrResolution;
  unsigned char timeStampLength;  // bits
  unsigned char otherLengths[5];

  bool UsesTimeStamps() const { return (flags & 0x04) != 0; }
  bool HasDuration() const { return (flags & 0x01) != 0; }
};
static_assert(sizeof(_tagSL_CONFIG_DESCRIPTOR_0) == 15);

struct _tagSL_CONFIG_DESCRIPTOR_1 {
  QUIRVA::be32 timeScale;
  QUIRVA::be16 accessUnitDuration;
  QUIRVA::be16 compositionUnitDuration;
};
static_assert(sizeof(_tagSL_CONFIG_DESCRIPTOR_1) == 8);

// Tag 6 (clause 7.3.2.3): the synchronisation layer. MP4 files use predefined value 2, one byte.
//
// Start time stamps are read in whole bytes, while the size counts the two of them in quarters of
// their bits: a length that is no multiple of 8 can make them differ by a byte.
class CSLConfigDescriptor : public CBaseDescriptor,
                            public _tagSL_CONFIG_DESCRIPTOR_0,
                            public _tagSL_CONFIG_DESCRIPTOR_1 {
 public:
  CSLConfigDescriptor();
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagSL_CONFIG_DESCRIPTOR_0* record0;  // this object's own base parts
  _tagSL_CONFIG_DESCRIPTOR_1* record1;
  std::uint8_t predefined = 2;  // 0: record0 is in the file
  std::uint64_t startDecodingTimeStamp = 0;
  std::uint64_t startCompositionTimeStamp = 0;

 private:
  unsigned int StampBytes() const;
};

// Any other tag: the header alone, the payload is skipped and not kept.
class CUnknownDescriptor : public CBaseDescriptor {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
};

}  // namespace MP4G
