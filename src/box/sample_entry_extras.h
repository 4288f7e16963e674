// The small boxes below a sample entry: bit rate, picture shape, views.
#pragma once

#include <list>
#include <vector>

#include "box/box_templates.h"

namespace MP4G {

struct _tagMPEG4_BIT_RATE_BOX {
  QUIRVA::be32 bufferSizeDB;  // bytes
  QUIRVA::be32 maxBitrate;    // bits per second
  QUIRVA::be32 avgBitrate;
};
static_assert(sizeof(_tagMPEG4_BIT_RATE_BOX) == 12);

// "btrt" (ISO/IEC 14496-12, clause 8.5.2.2).
class CMpeg4BitRateBox : public CRecordBox<CBox, _tagMPEG4_BIT_RATE_BOX> {};

struct _tagASPECT_RATIO {
  QUIRVA::be32 hSpacing;
  QUIRVA::be32 vSpacing;
};
static_assert(sizeof(_tagASPECT_RATIO) == 8);

// "pasp" (clause 12.1.4).
class CAspectRatioBox : public CRecordBox<CBox, _tagASPECT_RATIO> {};

struct _tagCLEAN_APERTURE {
  static _tagCLEAN_APERTURE New();  // denominators of 1, so that each fraction is defined

  QUIRVA::be32 widthN;
  QUIRVA::be32 widthD;
  QUIRVA::be32 heightN;
  QUIRVA::be32 heightD;
  QUIRVA::be32 horizOffN;
  QUIRVA::be32 horizOffD;
  QUIRVA::be32 vertOffN;
  QUIRVA::be32 vertOffD;
};
static_assert(sizeof(_tagCLEAN_APERTURE) == 32);

// "clap" (clause 12.1.4).
class CCleanApertureBox : public CRecordBox<CBox, _tagCLEAN_APERTURE> {};

struct _tagFIELD_INFO {
  unsigned char fieldCount;
  unsigned char fieldDetail;
};
static_assert(sizeof(_tagFIELD_INFO) == 2);

// "fiel", the QuickTime field handling.
class CFielBox : public CRecordBox<CBox, _tagFIELD_INFO> {};

struct _tagVIEW_ENTRY {
  QUIRVA::be16 viewId;
  QUIRVA::be16 viewOrderIndex;
  QUIRVA::be16 refViewCount;  // in the low 10 bits; the others are reserved
};
static_assert(sizeof(_tagVIEW_ENTRY) == 6);

// One view of "vwid". The count in the record is not brought up to date with the list.
class CViewEntry : public _tagVIEW_ENTRY {
 public:
  CViewEntry();
  virtual ~CViewEntry();
  CViewEntry(const CViewEntry&) = delete;
  CViewEntry& operator=(const CViewEntry&) = delete;

  void Reset();
  [[nodiscard]] HRESULT SetData(const unsigned char*& in, unsigned int& rest);
  // E_POINTER for null; sets `*total`.
  [[nodiscard]] HRESULT GetDataSize(long long* total) const;
  [[nodiscard]] HRESULT GetData(unsigned char*& out, unsigned int& rest) const;

  _tagVIEW_ENTRY* record;                // this object's own base part
  std::vector<QUIRVA::be16> refViewIds;  // as they stand in the file
};

struct _tagVIEW_IDENTIFIER_BOX {
  unsigned char temporalIds;  // two reserved bits and the least and the greatest, kept whole
  QUIRVA::be16 numViews;
};
static_assert(sizeof(_tagVIEW_IDENTIFIER_BOX) == 3);

// "vwid" (ISO/IEC 14496-15, clause 7.5). The number of views is not brought up to date with the
// list. E_POINTER where a null entry would be measured or written.
class CViewIdentifierBox : public CRecordBox<CFullBox, _tagVIEW_IDENTIFIER_BOX> {
 public:
  ~CViewIdentifierBox() override;
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  std::list<CViewEntry*> entries;  // owned
};

}  // namespace MP4G
