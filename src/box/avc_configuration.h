// "avcC" and "mvcC": what a decoder of AVC or MVC video needs before the first sample.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "box/box.h"
#include "foundation/export.h"

namespace MP4G {

// The fixed part of the record, with the values of a new one.
struct _tagAVC_DECODER_CONFIGURATION_RECORD {
  unsigned char configurationVersion = 1;
  unsigned char profileIndication = 0;
  unsigned char profileCompatibility = 0;
  unsigned char levelIndication = 0;
  unsigned char lengthSize = 0xFC;  // reserved bits, then in 2 bits the bytes of a NAL length - 1
  unsigned char spsCount = 0xE0;    // reserved bits, then in 5 bits the number of SPS
};
static_assert(sizeof(_tagAVC_DECODER_CONFIGURATION_RECORD) == 6);

// What the high profiles add.
struct _tagAVC_DECODER_CONFIGURATION_RECORD_EXT {
  unsigned char chromaFormat = 0xFC;  // reserved bits, then 2 bits
  unsigned char bitDepthLuma = 0xF8;  // reserved bits, then in 3 bits the depth - 8
  unsigned char bitDepthChroma = 0xF8;
  unsigned char spsExtCount = 0;
};
static_assert(sizeof(_tagAVC_DECODER_CONFIGURATION_RECORD_EXT) == 4);

// AVCDecoderConfigurationRecord (ISO/IEC 14496-15, clause 5.3.3.1).
//
// Parameter sets are opaque bytes: nothing looks inside them, and no emulation prevention byte is
// added or taken. The cursor and S_FALSE are those of CBox; what was read before a failure stays.
class CLIPCHAIN_API CAvcDecoderConfigurationRecord
    : public _tagAVC_DECODER_CONFIGURATION_RECORD,
      public _tagAVC_DECODER_CONFIGURATION_RECORD_EXT {
 public:
  // The file counts its bytes in 16 bits, and so do sizes and writing, whatever its length here.
  using ParameterSet = std::vector<unsigned char>;

  CAvcDecoderConfigurationRecord();
  virtual ~CAvcDecoderConfigurationRecord() = default;
  CAvcDecoderConfigurationRecord(const CAvcDecoderConfigurationRecord&) = delete;
  CAvcDecoderConfigurationRecord& operator=(const CAvcDecoderConfigurationRecord&) = delete;

  void Reset();
  // Adds what it reads to the lists. E_BAD_DATA: an SPS extension of length 0.
  [[nodiscard]] HRESULT SetData(const unsigned char*& in, unsigned int& rest);
  [[nodiscard]] HRESULT GetDataSize(long long* total) const;
  // Brings the number of SPS in the record up to date, in its 5 bits; the lists are written whole.
  [[nodiscard]] HRESULT GetData(unsigned char*& out, unsigned int& rest) const;

  // Appends a copy, unless the same bytes are there already. E_INVALIDARG: null or length 0.
  // E_POINTER: an empty entry stands in front.
  [[nodiscard]] HRESULT AddSps(const unsigned char* bytes, unsigned int length);
  [[nodiscard]] HRESULT AddPps(const unsigned char* bytes, unsigned int length);

  _tagAVC_DECODER_CONFIGURATION_RECORD* base;           // this object's own base parts
  _tagAVC_DECODER_CONFIGURATION_RECORD_EXT* extension;  // in the file if `hasExtension`
  unsigned int expectedSize = 0;  // bytes that the box has for this record, set before parsing
  std::list<ParameterSet> spsList;
  std::list<ParameterSet> ppsList;
  std::list<ParameterSet> spsExtList;
  unsigned char hasExtension = 0;

 private:
  [[nodiscard]] HRESULT SetExtensionData(const unsigned char*& in, unsigned int& rest);
};

// "avcC" (ISO/IEC 14496-15, clause 5.4.2). Parses only after Init, which the factory calls: without
// a record that is E_POINTER.
class CAvcConfigurationBox : public CBox {
 public:
  [[nodiscard]] HRESULT Init() override;
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::unique_ptr<CAvcDecoderConfigurationRecord> record;
};

// "mvcC" (clause 7.6.2): the same record, for the further views.
class CMvcConfigurationBox : public CAvcConfigurationBox {};

}  // namespace MP4G
