#include "clip/vireo_mp4.h"

#include "box/data_boxes.h"
#include "clip/exif_library.h"
#include "clip/timecode.h"
#include "clip/vendor_boxes.h"
#include "support/allocation_meter.h"
#include "support/box_io.h"
#include "support/exif.h"
#include "support/processor_time.h"
#include "support/vendor_box.h"

namespace MP4G {
namespace {

using namespace support;

constexpr char kDate[] = "2021:03:02 16:47:36";
constexpr _tagSequenceTimedate kDateFields{2021, 3, 2, 16, 47, 36};

// Parses the payload of a vendor box, in a block of exactly these bytes.
HRESULT ParseChildren(CVireoMp4& clip, const Bytes& bytes) {
  const Bytes exact(bytes);
  return clip.ParseVireoUuidBoxChildrenData(exact.data(), static_cast<unsigned int>(exact.size()));
}

// Calls one of the single parsers likewise.
HRESULT Parse(CVireoMp4& clip, HRESULT (CVireoMp4::*parser)(const unsigned char*, unsigned int),
              const Bytes& bytes) {
  const Bytes exact(bytes);
  return (clip.*parser)(exact.data(), static_cast<unsigned int>(exact.size()));
}

Bytes Place() { return PlaceBox(Id(1), Id(2), Id(3)); }

TEST(VireoMp4, KnowsNothingAtFirst) {
  const CVireoMp4 clip(7);
  EXPECT_EQ(7u, clip.volume);
  EXPECT_EQ(L"", clip.path);
  EXPECT_EQ(0, clip.fileSize);
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(_GUID{}, clip.nextID);
  EXPECT_EQ(_GUID{}, clip.preID);
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(0, clip.hasIDBox);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
  EXPECT_EQ(0, clip.rewriteMode);
  EXPECT_EQ(_GUID{}, clip.rewriteID);
  EXPECT_EQ(nullptr, clip.timecodeTrack);
}

TEST(VireoMp4, ForgetsAllButItsVolumeOnReset) {
  CVireoMp4 clip(7);
  ASSERT_OK(ParseChildren(clip, MarkerBox() + ThumbnailBox(ExifWithDate(kDate)) + Place()));
  clip.path = L"a";
  clip.fileSize = 5;
  clip.rewriteMode = 1;
  clip.rewriteID = Id(9);
  clip.timecodeTrack = std::make_unique<CTimecodeTrackPsr>();
  clip.ResetAtParse();
  EXPECT_EQ(7u, clip.volume);
  EXPECT_EQ(L"", clip.path);
  EXPECT_EQ(0, clip.fileSize);
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(_GUID{}, clip.nextID);
  EXPECT_EQ(_GUID{}, clip.preID);
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(0, clip.hasIDBox);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
  EXPECT_EQ(nullptr, clip.timecodeTrack);
  EXPECT_EQ(1, clip.rewriteMode);
  EXPECT_EQ(Id(9), clip.rewriteID);
  clip.ResetAtRewrite();
  EXPECT_EQ(0, clip.rewriteMode);
  EXPECT_EQ(_GUID{}, clip.rewriteID);

  ASSERT_OK(ParseChildren(clip, Place()));
  clip.rewriteMode = 1;
  clip.rewriteID = Id(9);
  clip.Reset();
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(0, clip.rewriteMode);
  EXPECT_EQ(_GUID{}, clip.rewriteID);
}

TEST(VendorBlock, OfNoBytesIsFine) {
  CVireoMp4 clip(0);
  EXPECT_OK(clip.ParseVireoUuidBoxChildrenData(nullptr, 0));
  EXPECT_EQ(0, clip.isVireoStream);
}

TEST(VendorBlock, GivesMarkerIdentifiersAndDateInAnyOrder) {
  const Bytes thumbnail = ThumbnailBox(ExifWithDate(kDate));
  for (const Bytes& block :
       {Join({MarkerBox(), thumbnail, Place()}), Join({Place(), thumbnail, MarkerBox()}),
        Join({thumbnail, MarkerBox(), Box("VRxx"), Place()})}) {
    CVireoMp4 clip(0);
    ASSERT_OK(ParseChildren(clip, block));
    EXPECT_EQ(1, clip.isVireoStream);
    EXPECT_EQ(1, clip.hasIDBox);
    EXPECT_EQ(Id(1), clip.uniqueID);
    EXPECT_EQ(Id(2), clip.nextID);
    EXPECT_EQ(Id(3), clip.preID);
    EXPECT_EQ(kDateFields, clip.timedate);
  }
}

TEST(VendorBlock, WithTheMarkerAloneGivesNoIdentifiers) {
  CVireoMp4 clip(0);
  ASSERT_OK(ParseChildren(clip, MarkerBox()));
  EXPECT_EQ(1, clip.isVireoStream);
  EXPECT_EQ(0, clip.hasIDBox);
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(_GUID{}, clip.nextID);
  EXPECT_EQ(_GUID{}, clip.preID);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

TEST(VendorBlock, WithIdentifiersAloneIsNoStreamOfTheMaker) {
  CVireoMp4 clip(0);
  ASSERT_OK(ParseChildren(clip, Place()));
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(1, clip.hasIDBox);
}

TEST(VendorBlock, SkipsUnknownChildrenByTheirSize) {
  CVireoMp4 clip(0);
  ASSERT_OK(ParseChildren(clip, Join({MarkerBox(), Box("ABCD", {Fill(33, 0xFF)}), Place()})));
  EXPECT_EQ(1, clip.isVireoStream);
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST(VendorBlock, EndsWellWithAnUnknownChildThatRunsPastIt) {
  const Bytes unknown = WithU32(Box("ABCD", {Zeros(5)}), 0, 0xFFFFFFFF);
  CVireoMp4 clip(0);
  EXPECT_OK(ParseChildren(clip, MarkerBox() + unknown));
  EXPECT_EQ(1, clip.isVireoStream);
}

TEST(VendorBlock, RefusesAChildOfSizeZero) {
  CVireoMp4 unknown(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(unknown, WithU32(Box("ABCD"), 0, 0)));
  CVireoMp4 control(0);
  EXPECT_OK(ParseChildren(control, Box("ABCD")));
  // The marker is looked at before the step; a container does not parse at all.
  CVireoMp4 marker(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(marker, WithU32(MarkerBox(), 0, 0)));
  EXPECT_EQ(1, marker.isVireoStream);
  CVireoMp4 place(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(place, WithU32(Place(), 0, 0)));
  EXPECT_EQ(0, place.hasIDBox);
}

struct SizeCase {
  std::uint32_t size;
  HRESULT result;
};

// Parses `child` with each size in its header at `at`, alone in its block.
void ExpectForSizes(const Bytes& child, std::size_t at, std::initializer_list<SizeCase> cases) {
  for (const SizeCase& one : cases) {
    CVireoMp4 clip(0);
    EXPECT_RESULT(one.result, ParseChildren(clip, WithU32(child, at, one.size)))
        << FourCcText(ReadU32(child, at + 4)) << ' ' << one.size;
  }
}

TEST(VendorBlock, HasACodeForEveryWrongSizeOfAKnownChild) {
  const Bytes marker = MarkerBox();
  // Its size is no more than the step; 1 leads to the odd header 00 00 01 56 "RCVV".
  ExpectForSizes(marker, 0,
                 {{0, E_BAD_DATA},
                  {1, S_OK},
                  {7, S_OK},
                  {12, S_OK},
                  {13, S_FALSE},
                  {19, S_FALSE},
                  {20, S_OK},
                  {21, S_OK},
                  {0xFFFFFFFF, S_OK}});
  // A size of 1 makes what follows a 64-bit size: here far beyond 32 bits, in "VRFB" 8 bytes of
  // header more than the block has, in "VRDA" a negative number.
  for (const Bytes& container : {Place(), ThumbnailBox(ExifWithDate(kDate))}) {
    const auto size = static_cast<std::uint32_t>(container.size());
    ExpectForSizes(container, 0,
                   {{0, E_BAD_DATA},
                    {1, E_PENDING},
                    {2, E_BAD_DATA},
                    {7, E_BAD_DATA},
                    {size - 1, S_FALSE},
                    {size, S_OK},
                    {size + 1, S_FALSE},
                    {0xFFFFFFFF, S_FALSE}});
  }
  ExpectForSizes(Place(), 8,
                 {{0, E_BAD_DATA},
                  {1, S_FALSE},
                  {59, E_BAD_DATA},
                  {60, S_OK},
                  {61, S_FALSE},
                  {0xFFFFFFFF, S_FALSE}});
  const Bytes thumbnail = ThumbnailBox(ExifWithDate(kDate));
  const auto stream = static_cast<std::uint32_t>(thumbnail.size() - 8);
  ExpectForSizes(thumbnail, 8,
                 {{0, E_BAD_DATA},
                  {1, E_BAD_DATA},
                  {7, E_BAD_DATA},
                  {19, E_BAD_DATA},
                  {20, EXIFL_ERR_ARGUMENT},
                  {21, EXIFL_ERR_DATA},
                  {stream, S_OK},
                  {stream + 1, S_FALSE},
                  {0xFFFFFFFF, S_FALSE}});
  ExpectForSizes(Box("ABCD", {Zeros(1)}), 0,
                 {{0, E_BAD_DATA},
                  {1, S_OK},
                  {2, S_FALSE},
                  {8, S_FALSE},
                  {9, S_OK},
                  {10, S_OK},
                  {0xFFFFFFFF, S_OK}});
}

TEST(VendorBlock, TakesAChildSizeOfOneAsOneByte) {
  const Bytes one = U32(1) + Text("ABCD");
  CVireoMp4 short7(0);
  EXPECT_RESULT(S_FALSE, ParseChildren(short7, one));  // 7 bytes are no header
  CVireoMp4 whole(0);
  EXPECT_OK(ParseChildren(whole, one + Zeros(1)));  // 00 00 01 41 is a size that runs past the end
}

TEST(VendorBlock, ReadsAKnownChildAtAnOddPosition) {
  // 00 00 00 01 is a size of 1, so 00 00 01 14 "VRCV" is the second header.
  const Bytes block = Join({Hex("00 00 00 01 14"), Text("VRCV"), Text("VireoMP4"), Zeros(4)});
  CVireoMp4 clip(0);
  ASSERT_OK(ParseChildren(clip, block));
  EXPECT_EQ(1, clip.isVireoStream);
  CVireoMp4 cut(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(cut, Slice(block, 0, block.size() - 1)));
}

TEST(VendorBlock, WantsWholeHeadersToItsEnd) {
  for (std::size_t stray = 1; stray < 8; ++stray) {
    CVireoMp4 clip(0);
    EXPECT_RESULT(S_FALSE, ParseChildren(clip, MarkerBox() + Zeros(stray))) << stray;
    EXPECT_EQ(1, clip.isVireoStream);
  }
  CVireoMp4 control(0);
  EXPECT_OK(ParseChildren(control, MarkerBox() + Box("ABCD")));
}

TEST(VendorBlock, GivesKnownChildrenAllThatIsLeft) {
  // A marker that claims 8 bytes is still checked for 20, and the next header is read inside it.
  const Bytes small = WithU32(MarkerBox(), 0, 8);
  CVireoMp4 clip(0);
  // 'Vire' as a size runs past the end.
  EXPECT_OK(ParseChildren(clip, small));
  EXPECT_EQ(1, clip.isVireoStream);
  CVireoMp4 cut(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(cut, Slice(small, 0, 19)));
}

TEST(VendorBlock, PassesOnTheMarkersCode) {
  CVireoMp4 wrong(0);
  Bytes marker = MarkerBox();
  marker[10] = 'x';
  EXPECT_RESULT(E_BAD_TYPE, ParseChildren(wrong, marker + Place()));
  EXPECT_EQ(0, wrong.isVireoStream);
  EXPECT_EQ(0, wrong.hasIDBox);
  CVireoMp4 cut(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(cut, Slice(MarkerBox(), 0, 19)));
}

TEST(VendorBlock, CutAtEveryByteGivesDefinedCodes) {
  const Bytes thumbnail = ThumbnailBox(ExifWithDate(kDate));
  const Bytes whole = Join({MarkerBox(), thumbnail, Place()});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    HRESULT expected = S_FALSE;
    if (size == 0 || size == 20 || size == 20 + thumbnail.size()) expected = S_OK;
    if (size >= 8 && size < 20) expected = E_BAD_DATA;
    CVireoMp4 clip(0);
    EXPECT_RESULT(expected, ParseChildren(clip, Slice(whole, 0, size))) << size;
    EXPECT_EQ(size >= 20 ? 1 : 0, clip.isVireoStream) << size;
    EXPECT_EQ(0, clip.hasIDBox) << size;
    EXPECT_EQ(size >= 20 + thumbnail.size(), clip.timedate == kDateFields) << size;
  }
}

TEST(VendorBlock, StaysWithinItsBytesWhateverOneOfThemIs) {
  const Bytes whole =
      Join({MarkerBox(), ThumbnailBox(ExifWithDate(kDate)), Place(), Box("ABCD", {Zeros(3)})});
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const unsigned char value : Hex("00 01 07 08 7F 80 FE FF")) {
      Bytes damaged = whole;
      damaged[i] = value;
      CVireoMp4 clip(0);
      const HRESULT result = ParseChildren(clip, damaged);
      EXPECT_TRUE(result <= S_FALSE) << i << ' ' << ResultName(result);
    }
  }
}

TEST(VendorBlock, OfOverlappingBoxesIsReadInOnePass) {
  // Every thumbnail box is 16 bytes long and its child runs to the end of 32 MiB. That child's
  // first bytes, 00 00 FF E1, are the size of the block's next box.
  constexpr std::size_t kStep = 16 + 0xFFE1;
  const Bytes stream = Join({Hex("0000FFE1 0000"), Text("Exif"), Zeros(2), ExifWithDate(kDate)});
  Bytes block(512 * kStep);
  for (std::size_t at = 0; at < block.size(); at += kStep) {
    const auto left = static_cast<std::uint32_t>(block.size() - at - 8);
    const Bytes boxes = Join({U32(16), Text("VRTH"), U32(left), Text("ABCD"), stream});
    std::copy(boxes.begin(), boxes.end(), block.begin() + static_cast<std::ptrdiff_t>(at));
  }
  CVireoMp4 clip(0);
  EXPECT_GT(2, support::ProcessorSeconds([&] { EXPECT_OK(ParseChildren(clip, block)); }));
  EXPECT_EQ(kDateFields, clip.timedate);
}

// Each thumbnail claims 64 KiB over its neighbours.
TEST(VendorBlock, OfAMillionThumbnailsIsReadInOnePass) {
  const Bytes dated = ThumbnailBox(ExifWithDate(kDate));
  const Bytes head = Join({Text("VRTH"), U32(65536), Text("VRDA"), Hex("FFD8 FFE1 0000"),
                           Text("Exif"), Zeros(2), ExifWithDate("1999:12:31 23:59:59")});
  const Bytes box = Join({U32(static_cast<std::uint32_t>(head.size() + 4)), head});
  Bytes block;
  for (int i = 0; i < 100'000; ++i) block.insert(block.end(), box.begin(), box.end());
  block.insert(block.end(), dated.begin(), dated.end());
  const Bytes room = Join({U32(65536), Text("free"), Zeros(65528)});
  block.insert(block.end(), room.begin(), room.end());
  CVireoMp4 clip(0);
  const support::AllocationMeter meter;
  EXPECT_OK(
      clip.ParseVireoUuidBoxChildrenData(block.data(), static_cast<unsigned int>(block.size())));
  EXPECT_GT(1000u, meter.Count());
  EXPECT_EQ(kDateFields, clip.timedate);
}

TEST(VendorBlock, TakesTheDateOfTheLastThumbnailAheadOfAFailure) {
  const Bytes first = ThumbnailBox(ExifWithDate("1999:12:31 23:59:59"));
  const Bytes second = ThumbnailBox(ExifWithDate(kDate));
  const Bytes broken = ThumbnailBox(Text("this is no Exif data at all"));
  CVireoMp4 clip(0);
  EXPECT_RESULT(EXIFL_ERR_DATA, ParseChildren(clip, Join({first, second, broken, first})));
  EXPECT_EQ(kDateFields, clip.timedate);
  EXPECT_OK(ParseChildren(clip, Join({second, first})));
  EXPECT_EQ(1999, clip.timedate.year);
}

// The new identifier is written where the first thumbnail, which runs on that far, has its date.
TEST(VendorBlock, ReadsADateBeforeAnIdentifierIsWrittenOverIt) {
  const Bytes place = Place();
  const Bytes tiff = Join({Hex("4D4D002A 00000008 0001 0132 0002 00000014 00000064 00000000"),
                           Zeros(74), Text(kDate), Zeros(1)});
  const Bytes thumbnail = ThumbnailBox(tiff);
  const std::size_t dateInBox = thumbnail.size() - 20;
  // The box ends for the walk where the place box begins, so that the date is its next identifier.
  const std::size_t nextIdInPlace = 8 + 28;
  const std::size_t placeAt = dateInBox - nextIdInPlace;
  Bytes block = Join({U32(static_cast<std::uint32_t>(placeAt)),
                      Bytes(thumbnail.begin() + 4, thumbnail.end()), Zeros(place.size())});
  for (std::size_t i = 0; i < place.size(); ++i) {
    if (i < nextIdInPlace || i >= nextIdInPlace + 16) block[placeAt + i] = place[i];
  }
  CVireoMp4 clip(0);
  clip.rewriteMode = 1;
  clip.rewriteID = Id(9);
  static_cast<void>(
      clip.ParseVireoUuidBoxChildrenData(block.data(), static_cast<unsigned int>(block.size())));
  EXPECT_EQ(Id(9), clip.nextID);
  EXPECT_EQ(2021, clip.timedate.year);
}

TEST(VendorBlock, KeepsWhatWasReadBeforeAFailure) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(S_FALSE, ParseChildren(clip, Join({MarkerBox(), Place(), Zeros(3)})));
  EXPECT_EQ(1, clip.isVireoStream);
  EXPECT_EQ(1, clip.hasIDBox);
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST(VendorMarker, SetsTheFlagAndNothingElse) {
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseVRCVBox, MarkerBox()));
  EXPECT_EQ(1, clip.isVireoStream);
  CVireoMp4 cut(0);
  EXPECT_RESULT(E_BAD_DATA, Parse(cut, &CVireoMp4::ParseVRCVBox, Slice(MarkerBox(), 0, 19)));
  EXPECT_EQ(0, cut.isVireoStream);
}

TEST(VendorPlace, TakesItsFirstChildWhateverTheType) {
  Bytes other = IdentifierBox(Id(1), Id(2), Id(3));
  other[4] = 'X';
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseVROPBox, Box("VROP", {other, Fill(9, 0xFF)})));
  EXPECT_EQ(Id(1), clip.uniqueID);
  CVireoMp4 behind(0);
  EXPECT_RESULT(E_BAD_DATA, Parse(behind, &CVireoMp4::ParseVROPBox,
                                  Box("VROP", {Box("free"), IdentifierBox(Id(1), Id(2), Id(3))})));
  EXPECT_EQ(_GUID{}, behind.uniqueID);
}

TEST(VendorPlace, LetsItsChildRunPastItsOwnEnd) {
  // The container claims to be empty; its child is what stands behind it.
  CVireoMp4 clip(0);
  EXPECT_OK(
      Parse(clip, &CVireoMp4::ParseVROPBox, Box("VROP") + IdentifierBox(Id(1), Id(2), Id(3))));
  EXPECT_EQ(Id(1), clip.uniqueID);
  CVireoMp4 alone(0);
  EXPECT_RESULT(S_FALSE, Parse(alone, &CVireoMp4::ParseVROPBox, Box("VROP")));
  EXPECT_EQ(0, alone.hasIDBox);
}

TEST(VendorPlace, MustLieWhollyInItsBlock) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(S_FALSE,
                Parse(clip, &CVireoMp4::ParseVROPBox,
                      WithU32(Place(), 0, static_cast<std::uint32_t>(Place().size() + 1))));
  EXPECT_EQ(0, clip.hasIDBox);
  CVireoMp4 control(0);
  EXPECT_OK(Parse(control, &CVireoMp4::ParseVROPBox, Place()));
}

TEST(VendorPlace, SkipsAHeaderWithAUsertype) {
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseVROPBox,
                  Box("uuid", {Zeros(16), IdentifierBox(Id(1), Id(2), Id(3))})));
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST(VendorIdentifiers, OfFiftyNineBytesAreTooShortOrContradictThemselves) {
  const Bytes claims59 = WithU32(IdentifierBox(Id(1), Id(2), Id(3)), 0, 59);
  CVireoMp4 alone(0);
  EXPECT_RESULT(S_FALSE, Parse(alone, &CVireoMp4::ParseVRFBBox, Slice(claims59, 0, 59)));
  EXPECT_EQ(_GUID{}, alone.uniqueID);
  CVireoMp4 followed(0);
  EXPECT_RESULT(E_BAD_DATA, Parse(followed, &CVireoMp4::ParseVRFBBox, claims59));
  EXPECT_EQ(_GUID{}, followed.uniqueID);
  EXPECT_EQ(0, followed.hasIDBox);
  CVireoMp4 inBlock(0);
  EXPECT_RESULT(S_FALSE, ParseChildren(inBlock, Box("VROP", {Slice(claims59, 0, 59)})));
  CVireoMp4 inLongerBlock(0);
  EXPECT_RESULT(E_BAD_DATA, ParseChildren(inLongerBlock, Box("VROP", {claims59})));
}

TEST(VendorIdentifiers, OfASecondBoxReplaceTheFirst) {
  CVireoMp4 clip(0);
  EXPECT_OK(ParseChildren(clip, Place() + PlaceBox(Id(4), Id(5), Id(6))));
  EXPECT_EQ(Id(4), clip.uniqueID);
  EXPECT_EQ(Id(5), clip.nextID);
  EXPECT_EQ(Id(6), clip.preID);
}

TEST(VendorThumbnail, TakesItsFirstChildWhateverTheType) {
  const Bytes stream = ThumbnailStream(ExifWithDate(kDate));
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseVRTHBox, Box("VRTH", {Box("ABCD", {stream})})));
  EXPECT_EQ(kDateFields, clip.timedate);
  CVireoMp4 behind(0);
  EXPECT_RESULT(E_BAD_DATA, Parse(behind, &CVireoMp4::ParseVRTHBox,
                                  Box("VRTH", {Box("free"), Box("VRDA", {stream})})));
  CVireoMp4 followed(0);
  EXPECT_OK(Parse(followed, &CVireoMp4::ParseVRTHBox,
                  Box("VRTH", {Box("VRDA", {stream}), Fill(5, 0xFF)})));
}

TEST(VendorThumbnail, LetsItsChildRunPastItsOwnEnd) {
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseVRTHBox,
                  Box("VRTH") + Box("VRDA", {ThumbnailStream(ExifWithDate(kDate))})));
  EXPECT_EQ(kDateFields, clip.timedate);
}

TEST(VendorThumbnail, PassesOnTheCodesOfItsBoxes) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(S_FALSE, Parse(clip, &CVireoMp4::ParseVRTHBox, Box("VRTH")));
  EXPECT_RESULT(S_FALSE, Parse(clip, &CVireoMp4::ParseVRTHBox, WithU32(Box("VRTH"), 0, 9)));
  EXPECT_RESULT(E_BAD_DATA, Parse(clip, &CVireoMp4::ParseVRTHBox, WithU32(Box("VRTH"), 0, 7)));
  EXPECT_RESULT(E_BAD_DATA, Parse(clip, &CVireoMp4::ParseVRTHBox,
                                  Box("VRTH", {WithU32(Box("VRDA", {Zeros(20)}), 0, 4)})));
  EXPECT_RESULT(S_FALSE, Parse(clip, &CVireoMp4::ParseVRTHBox,
                               Box("VRTH", {WithU32(Box("VRDA", {Zeros(20)}), 0, 100)})));
}

TEST(VendorThumbnail, RefusesThe64BitFormOfASize) {
  const auto withSize = [](std::uint64_t size) {
    return Join({U32(1), Text("VRDA"), U64(size), Zeros(20)});
  };
  const std::pair<std::uint64_t, HRESULT> table[] = {
      {36, E_BAD_DATA},
      {16, E_BAD_DATA},
      {15, E_BAD_DATA},
      {0, E_BAD_DATA},
      {37, S_FALSE},
      {0xFFFFFFFF, S_FALSE},
      {0x100000000, E_PENDING},
      {0x8000000000000000, E_BAD_DATA},
  };
  for (const auto& [size, result] : table) {
    CVireoMp4 clip(0);
    EXPECT_RESULT(result, Parse(clip, &CVireoMp4::ParseVRTHBox, withSize(size))) << size;
    EXPECT_RESULT(result, Parse(clip, &CVireoMp4::ParseVRTHBox, Box("VRTH", {withSize(size)})))
        << size;
    EXPECT_RESULT(result, Parse(clip, &CVireoMp4::ParseVROPBox, withSize(size))) << size;
    CVRDABox box;
    EXPECT_RESULT(result, ParseBox(box, withSize(size))) << size;
  }
  CVireoMp4 cut(0);
  EXPECT_RESULT(S_FALSE, Parse(cut, &CVireoMp4::ParseVRTHBox, Slice(withSize(16), 0, 15)));
}

TEST(VendorThumbnail, OfLessThanTwelveBytesIsBadData) {
  for (std::size_t size = 0; size < 12; ++size) {
    CVireoMp4 clip(0);
    const Bytes stream = Slice(ThumbnailStream(ExifWithDate(kDate)), 0, size);
    EXPECT_RESULT(S_FALSE, Parse(clip, &CVireoMp4::ParseThumbnailData, stream)) << size;
    EXPECT_RESULT(E_BAD_DATA,
                  Parse(clip, &CVireoMp4::ParseVRTHBox, Box("VRTH", {Box("VRDA", {stream})})))
        << size;
  }
}

TEST(VendorThumbnail, MustBeginWithAnExifSegment) {
  const Bytes stream = ThumbnailStream(ExifWithDate(kDate));
  for (std::size_t i = 0; i < 12; ++i) {
    const bool tested = i == 2 || i == 3 || (i >= 6 && i <= 9);
    Bytes changed = stream;
    changed[i] ^= 0x20;
    CVireoMp4 clip(0);
    EXPECT_RESULT(tested ? E_BAD_DATA : S_OK, Parse(clip, &CVireoMp4::ParseThumbnailData, changed))
        << i;
  }
}

TEST(VendorThumbnail, PassesOnTheExifLayersCodeUnchanged) {
  const Bytes noExif = ThumbnailStream(Text("no Exif data here"));
  const Bytes empty = ThumbnailStream({});
  CVireoMp4 clip(0);
  EXPECT_RESULT(EXIFL_ERR_DATA, Parse(clip, &CVireoMp4::ParseThumbnailData, noExif));
  EXPECT_RESULT(EXIFL_ERR_DATA, ParseChildren(clip, ThumbnailBox(Text("no Exif data here"))));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, Parse(clip, &CVireoMp4::ParseThumbnailData, empty));
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

_tagSequenceTimedate DateFrom(const std::string& text) {
  CVireoMp4 clip(0);
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseThumbnailData, ThumbnailStream(ExifWithDate(text))));
  return clip.timedate;
}

TEST(VendorThumbnail, ReadsEachFieldFromItsPlace) {
  EXPECT_EQ((_tagSequenceTimedate{1234, 56, 78, 90, 12, 34}), DateFrom("1234:56:78 90:12:34"));
  EXPECT_EQ((_tagSequenceTimedate{9999, 99, 99, 99, 99, 99}), DateFrom("9999:99:99 99:99:99"));
  EXPECT_EQ(_tagSequenceTimedate{}, DateFrom("0000:00:00 00:00:00"));
}

TEST(VendorThumbnail, DoesNotReadTheSeparators) {
  EXPECT_EQ(kDateFields, DateFrom("2021-03-02T16x47z36"));
}

TEST(VendorThumbnail, WrapsWhatIsNoDigitIntoTheField) {
  // A blank is worth -16: -17776 in 16 bits, -176 in 8.
  EXPECT_EQ((_tagSequenceTimedate{47760, 80, 80, 80, 80, 80}), DateFrom("    :  :     :  :  "));
  // 'A' is worth 17, and a field takes its sum modulo its width.
  EXPECT_EQ((_tagSequenceTimedate{18887, 187, 1, 170, 17, 27}), DateFrom("AAAA:AA:01 A0:0A:1A"));
  // The highest byte is worth 207: 2277 in 8 bits.
  EXPECT_EQ((_tagSequenceTimedate{33369, 229, 0, 0, 0, 0}),
            DateFrom("\xFF\xFF\xFF\xFF:\xFF\xFF:00 00:00:00"));
}

TEST(VendorThumbnail, KeepsTheUnknownDateWithoutOne) {
  CVireoMp4 clip(0);
  const Bytes none = TiffHeader(TiffOrder::kIntel) + TiffDirectory(TiffOrder::kIntel, {});
  EXPECT_OK(Parse(clip, &CVireoMp4::ParseThumbnailData, ThumbnailStream(none)));
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

}  // namespace
}  // namespace MP4G
