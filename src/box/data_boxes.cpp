#include "box/data_boxes.h"

#include <cstring>

#include "foundation/cursor.h"

namespace MP4G {

CDataMemBox::~CDataMemBox() { FreeData(); }

void CDataMemBox::FreeData() {
  delete[] data;
  data = nullptr;
  dataSize = 0;
}

void CDataMemBox::Reset() {
  FreeData();
  CBox::Reset();
}

HRESULT CDataMemBox::AllocSize(unsigned int length) {
  FreeData();
  if (length == 0) return S_OK;
  data = new unsigned char[length]();
  dataSize = length;
  return S_OK;
}

HRESULT CDataMemBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  const unsigned int restBefore = rest;
  RETURN_IF_NOT_OK(CBox::SetDataImpl(in, rest));
  unsigned int length = 0;
  RETURN_IF_NOT_OK(CalcurateBoxRestSize(restBefore, rest, GetBoxSize(), &length));
  if (length == 0) return S_OK;
  RETURN_IF(rest < length, S_FALSE);
  RETURN_IF_NOT_OK(AllocSize(length));
  RETURN_IF(data == nullptr || dataSize != length, E_UNEXPECTED);
  return QUIRVA::TakeBytes(in, rest, data, length);
}

HRESULT CDataMemBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
  *total += dataSize;
  return S_OK;
}

HRESULT CDataMemBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
  RETURN_IF(rest < dataSize, S_FALSE);
  if (dataSize == 0) return S_OK;
  RETURN_IF(data == nullptr, E_POINTER);
  return QUIRVA::PutBytes(out, rest, data, dataSize);
}

HRESULT CFreeBox::SetBinaryData(const unsigned char* bytes, unsigned int length) {
  RETURN_IF(bytes == nullptr && length != 0, E_POINTER);
  RETURN_IF_NOT_OK(SetBinaryDataSize(length));
  if (length != 0) std::memcpy(data, bytes, length);
  return S_OK;
}

HRESULT CFreeBox::SetBinaryDataSize(unsigned int length) {
  FreeData();
  data = new unsigned char[length]();
  dataSize = length;
  return S_OK;
}

}  // namespace MP4G
