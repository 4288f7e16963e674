// The boxes in which a camera tells how its clips belong together. They stand inside a "uuid" box
// (ISO/IEC 14496-12, clause 11.1) of the movie box; the factory knows none of them, so that a tree
// keeps the whole "uuid" box as one block and these objects live only while that block is read.
//
//   moov
//     uuid  VIREO_CLIP_UUID
//       VRCV  the marker of the maker's streams
//       VRTH  the thumbnail: its first child is
//         VRDA  a JPEG stream with Exif data
//       VROP  the place in the recording: its first child is
//         VRFB  the three identifiers
#pragma once

#include "box/box.h"
#include "box/data_boxes.h"
#include "foundation/guid.h"

namespace MP4G {

// The usertype of the "uuid" box that holds the others.
inline constexpr _GUID VIREO_CLIP_UUID = {
    0x85C0B687, 0x820F, 0x11E0, {0x81, 0x11, 0xF4, 0xCE, 0x46, 0x2B, 0x6A, 0x48}};

// "VRCV". No objects of it are made.
class CVRCVBox {
 public:
  CVRCVBox() = delete;

  // Whether the box at `data` carries the stream marker. `size` counts the bytes up to the end of
  // the enclosing block, not of this box. E_BAD_DATA below 20 bytes, E_BAD_TYPE for another marker.
  // The box's own size and type are not looked at.
  [[nodiscard]] static HRESULT IsVireoStream(const unsigned char* data, unsigned int size);
};

// "VRTH".
class CVRTHBox : public CDataMemBox {};

// "VRDA".
class CVRDABox : public CDataMemBox {};

// "VROP".
class CVROPBox : public CDataMemBox {};

// "VRFB": the identifiers of a clip and of its neighbours; all zero means that there is none. It is
// read and never written: a changed identifier goes into the bytes of the enclosing block.
class CVRFBBox : public CFullBox {
 public:
  CVRFBBox();
  ~CVRFBBox() override;
  void Reset() override;
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override;
  // Both give E_PENDING and do nothing else.
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override;
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override;

  _GUID UniqueID() const;  // this clip
  _GUID NextID() const;    // the clip that follows
  _GUID PreID() const;     // the clip that precedes

 private:
  unsigned char identifiers_[3][16];  // unique, next, previous, as they stand in the file
};

}  // namespace MP4G
