#include "clip/vendor_boxes.h"

#include "support/box_io.h"
#include "support/vendor_box.h"

namespace MP4G {
namespace {

using namespace support;

// A block of exactly these bytes, so that a sanitizer sees the first byte read behind them.
HRESULT IsVireoStream(const Bytes& bytes) {
  const Bytes exact(bytes);
  return CVRCVBox::IsVireoStream(exact.data(), static_cast<unsigned int>(exact.size()));
}

TEST(StreamMarker, NeedsTwentyBytes) {
  const Bytes box = MarkerBox();
  ASSERT_EQ(20u, box.size());
  EXPECT_OK(IsVireoStream(box));
  for (std::size_t size = 0; size < 20; ++size) {
    EXPECT_RESULT(E_BAD_DATA, IsVireoStream(Slice(box, 0, size))) << size;
  }
}

TEST(StreamMarker, IsComparedWholeAndWithCase) {
  for (std::size_t i = 8; i < 16; ++i) {
    Bytes box = MarkerBox();
    box[i] ^= 0x20;
    EXPECT_RESULT(E_BAD_TYPE, IsVireoStream(box)) << i;
  }
}

TEST(StreamMarker, IgnoresSizeAndTypeAndWhatFollows) {
  const Bytes box = MarkerBox();
  for (std::size_t i = 0; i < box.size(); ++i) {
    if (i >= 8 && i < 16) continue;  // the marker itself
    Bytes changed = box;
    changed[i] ^= 0xFF;
    EXPECT_OK(IsVireoStream(changed)) << i;
  }
  EXPECT_OK(IsVireoStream(box + Text("more")));
}

TEST(VendorUsertype, IsTheIdentifierOfItsSixteenBytes) {
  const Bytes bytes = Hex("85 C0 B6 87 82 0F 11 E0 81 11 F4 CE 46 2B 6A 48");
  EXPECT_EQ(VIREO_CLIP_UUID, QUIRVA::BigEndianToGuid(bytes.data(), 16));
  CDataMemBox box;
  ASSERT_OK(ParseBox(box, VendorBoxOf({})));
  EXPECT_EQ(VIREO_CLIP_UUID, box.GetUsertype());
}

TEST(BigEndianToGuid, ReadsEachGroupBigEndianAndIgnoresTheSize) {
  const Bytes bytes = Hex("01020304 0506 0708 090A0B0C0D0E0F10");
  const _GUID expected{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
  EXPECT_EQ(expected, QUIRVA::BigEndianToGuid(bytes.data(), 16));
  EXPECT_EQ(expected, QUIRVA::BigEndianToGuid(bytes.data(), 0));
  EXPECT_EQ(_GUID{}, QUIRVA::BigEndianToGuid(Zeros(16).data(), 16));
  // The first group's upper half stays clear even where the type is wider than its 32 bits.
  EXPECT_EQ(0xFFFFFFFFul, QUIRVA::BigEndianToGuid(Fill(16, 0xFF).data(), 16).Data1);
}

TEST(IdentifierBox, KeepsTheThreeIdentifiersInFileOrder) {
  CVRFBBox box;
  ASSERT_OK(ParseBox(box, FullBox("VRFB", 7, 0x010203,
                                  {Hex("11223344 5566 7788 99AABBCCDDEEFF00"), GuidBytes(Id(2)),
                                   GuidBytes(Id(3))})));
  EXPECT_EQ((_GUID{0x11223344, 0x5566, 0x7788, {0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0}}),
            box.UniqueID());
  EXPECT_EQ(Id(2), box.NextID());
  EXPECT_EQ(Id(3), box.PreID());
  EXPECT_EQ(7, box.fullHeader->version);
  EXPECT_EQ(0x010203u, box.fullHeader->flags);
}

TEST(IdentifierBox, WantsFortyEightBytesBehindVersionAndFlags) {
  const Bytes whole = IdentifierBox(Id(1), Id(2), Id(3));
  ASSERT_EQ(60u, whole.size());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    CVRFBBox box;
    EXPECT_RESULT(S_FALSE, ParseBox(box, Slice(whole, 0, size))) << size;
    EXPECT_EQ(_GUID{}, box.UniqueID());
  }
}

TEST(IdentifierBox, OfFiftyNineBytesIsTooShortOrContradictsItself) {
  const Bytes whole = IdentifierBox(Id(1), Id(2), Id(3));
  const Bytes claims59 = WithU32(whole, 0, 59);
  CVRFBBox alone;
  EXPECT_RESULT(S_FALSE, ParseBox(alone, Slice(claims59, 0, 59)));
  // With a neighbour behind it the parser takes its 48 bytes all the same.
  CVRFBBox followed;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(followed, claims59 + Zeros(8)));
  CVRFBBox control;
  EXPECT_OK(ParseBox(control, whole + Zeros(8)));
}

TEST(IdentifierBox, SkipsWhatStandsBehindTheIdentifiers) {
  CVRFBBox box;
  unsigned int left = 0;
  const Bytes longer = FullBox("VRFB", 0, 0, {GuidBytes(Id(1)), Zeros(32), Fill(5, 9)});
  ASSERT_OK(ParseBox(box, longer + Zeros(3), &left));
  EXPECT_EQ(Id(1), box.UniqueID());
  EXPECT_EQ(_GUID{}, box.NextID());
  EXPECT_EQ(5u, box.restSize);
  EXPECT_EQ(3u, left);
}

TEST(IdentifierBox, CannotBeSerialised) {
  CVRFBBox box;
  ASSERT_OK(ParseBox(box, IdentifierBox(Id(1), Id(2), Id(3))));
  long long size = 77;
  EXPECT_RESULT(E_PENDING, box.GetDataSizeImpl(&size));
  EXPECT_RESULT(E_PENDING, box.GetDataSizeImpl(nullptr));
  EXPECT_RESULT(E_PENDING, box.GetDataSize(&size));
  EXPECT_EQ(77, size);
  Bytes target(100, 0xEE);
  unsigned char* out = target.data();
  unsigned int rest = 100;
  EXPECT_RESULT(E_PENDING, box.GetDataImpl(out, rest));
  EXPECT_RESULT(E_PENDING, box.GetData(out, rest));
  EXPECT_EQ(target.data(), out);
  EXPECT_EQ(100u, rest);
  EXPECT_EQ(Bytes(100, 0xEE), target);
  EXPECT_RESULT(E_PENDING, box.FixParam());
}

TEST(IdentifierBox, ForgetsEverythingOnReset) {
  CVRFBBox box;
  ASSERT_OK(ParseBox(box, IdentifierBox(Id(1), Id(2), Id(3))));
  box.Reset();
  EXPECT_EQ(_GUID{}, box.UniqueID());
  EXPECT_EQ(_GUID{}, box.NextID());
  EXPECT_EQ(_GUID{}, box.PreID());
  EXPECT_EQ(0u, box.header->size);
  EXPECT_EQ(0u, box.header->type);
}

TEST(VendorContainers, KeepTheirPayloadAsItStands) {
  const Bytes payload = Hex("01 02 03");
  for (const auto& [box, type] :
       {std::pair<std::unique_ptr<CDataMemBox>, const char*>(new CVRTHBox, "VRTH"),
        {std::unique_ptr<CDataMemBox>(new CVRDABox), "VRDA"},
        {std::unique_ptr<CDataMemBox>(new CVROPBox), "VROP"}}) {
    ASSERT_OK(ParseBox(*box, Box(type, {payload})));
    EXPECT_EQ(payload, Bytes(box->data, box->data + box->dataSize));
    EXPECT_EQ(Box(type, {payload}), FixAndWrite(*box));
  }
}

}  // namespace
}  // namespace MP4G
