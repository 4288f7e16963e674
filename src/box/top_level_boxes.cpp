#include "box/top_level_boxes.h"

#include "foundation/cursor.h"

namespace MP4G {

CFileTypeBox::CFileTypeBox() : _tagFILE_TYPE_BOX{}, record(this) {}

void CFileTypeBox::Reset() {
  *record = {};
  compatibleBrands.clear();
  CBox::Reset();
}

HRESULT CFileTypeBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, *record));
  unsigned int brandBytes = 0;
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &brandBytes));
  RETURN_IF(rest < brandBytes, S_FALSE);
  RETURN_IF_NOT_OK(QUIRVA::TakeArray<QUIRVA::be32>(in, rest, compatibleBrands, brandBytes / 4));
  return brandBytes % 4 == 0 ? S_OK : E_BAD_DATA;
}

HRESULT CFileTypeBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  *total += static_cast<long long>(sizeof(_tagFILE_TYPE_BOX) + 4 * compatibleBrands.size());
  return S_OK;
}

HRESULT CFileTypeBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, *record));
  return QUIRVA::PutArray<QUIRVA::be32>(out, rest, compatibleBrands);
}

void CMediaDataBox::SetMediaDataSize(unsigned long long mediaSize) {
  const bool needsLargeForm = ((mediaSize + 8) >> 32) != 0;
  SetBoxSize(static_cast<long long>(mediaSize + (needsLargeForm ? 16 : 8)));
}

}  // namespace MP4G
