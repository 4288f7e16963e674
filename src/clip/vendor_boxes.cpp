#include "clip/vendor_boxes.h"

#include <cstring>

#include "foundation/cursor.h"

namespace MP4G {

namespace {

constexpr unsigned char kStreamMarker[8] = {'V', 'i', 'r', 'e', 'o', 'M', 'P', '4'};

struct MarkerBox {
  _tagBOX_HEADER header;
  unsigned char marker[sizeof kStreamMarker];
  unsigned char behind[4];  // of no known meaning, but there must be room for them
};
static_assert(sizeof(MarkerBox) == 20);

}  // namespace

HRESULT CVRCVBox::IsVireoStream(const unsigned char* data, unsigned int size) {
  MarkerBox box;
  RETURN_IF(QUIRVA::Take(data, size, box) != S_OK, E_BAD_DATA);
  return std::memcmp(box.marker, kStreamMarker, sizeof kStreamMarker) == 0 ? S_OK : E_BAD_TYPE;
}

CVRFBBox::CVRFBBox() : identifiers_{} {}

CVRFBBox::~CVRFBBox() { CVRFBBox::Reset(); }

void CVRFBBox::Reset() {
  std::memset(identifiers_, 0, sizeof identifiers_);
  CFullBox::Reset();
}

HRESULT CVRFBBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  return QUIRVA::TakeBytes(in, rest, identifiers_, sizeof identifiers_);
}

HRESULT CVRFBBox::GetDataSizeImpl(long long*) const { return E_PENDING; }

HRESULT CVRFBBox::GetDataImpl(unsigned char*&, unsigned int&) const { return E_PENDING; }

_GUID CVRFBBox::UniqueID() const {
  return QUIRVA::BigEndianToGuid(identifiers_[0], sizeof identifiers_[0]);
}

_GUID CVRFBBox::NextID() const {
  return QUIRVA::BigEndianToGuid(identifiers_[1], sizeof identifiers_[1]);
}

_GUID CVRFBBox::PreID() const {
  return QUIRVA::BigEndianToGuid(identifiers_[2], sizeof identifiers_[2]);
}

}  // namespace MP4G
