// The three top-level boxes that every input has: "ftyp", "mdat", "moov".
#pragma once

#include <vector>

#include "box/box.h"

namespace MP4G {

struct _tagFILE_TYPE_BOX {
  QUIRVA::be32 majorBrand;
  QUIRVA::be32 minorVersion;
};
static_assert(sizeof(_tagFILE_TYPE_BOX) == 8);

// "ftyp" (ISO/IEC 14496-12, clause 4.3).
class CFileTypeBox : public CBox, public _tagFILE_TYPE_BOX {
 public:
  CFileTypeBox();
  void Reset() override;
  // E_BAD_DATA if the bytes behind the record are no whole number of brands; the whole ones are
  // kept.
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _tagFILE_TYPE_BOX* record;                   // this object's own base part
  std::vector<unsigned int> compatibleBrands;  // host order
};

// "mdat" (clause 8.1.1): the header alone, the media never enters the tree.
class CMediaDataBox : public CBox {
 public:
  // Gives the header the size for that much media: the 16-byte form exactly when the 8-byte form
  // can't hold it.
  void SetMediaDataSize(unsigned long long mediaSize);
};

// "moov" (clause 8.2.1).
class CMovieBox : public CListBox {};

}  // namespace MP4G
