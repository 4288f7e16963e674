#include "merge/vireo_merge.h"

#include "clip/exif_library.h"
#include "merge/merge_fixture.h"
#include "merge/mp4_merge.h"
#include "support/box_io.h"
#include "support/exif.h"
#include "support/movie_builder.h"
#include "support/vendor_box.h"

namespace {

using namespace support;
using MP4G::CMergeForVireo;
using MP4G::CMovieBox;

constexpr char kDate[] = "2021:03:02 16:47:36";
constexpr char kNoExif[] = "no Exif data here";

// A movie box in memory with these children.
struct Movie {
  explicit Movie(const Bytes& children) { EXPECT_OK(ParseBox(box, Box("moov", {children}))); }
  Bytes Children() {
    const Bytes bytes = FixAndWrite(box);
    return Slice(bytes, 8, bytes.size());
  }

  CMovieBox box;
};

Bytes Vendor(std::uint8_t unique, std::uint8_t next, std::uint8_t pre) {
  return VendorBox{Id(unique), Id(next), Id(pre), ExifWithDate(kDate)}.Build();
}

TEST(MergeVRFBBox, CarriesTheNextIdentifierAndNothingElse) {
  Movie first(Vendor(1, 2, 9));
  Movie second(Vendor(2, 3, 1));
  EXPECT_OK(CMergeForVireo::MergeVRFBBox(&first.box, &second.box));
  EXPECT_EQ(Vendor(1, 3, 9), first.Children());
  EXPECT_EQ(Vendor(2, 3, 1), second.Children());
}

TEST(MergeVRFBBox, CarriesTheEndOfARecordingToo) {
  Movie first(Vendor(1, 2, 0));
  Movie second(Vendor(2, 0, 1));
  EXPECT_OK(CMergeForVireo::MergeVRFBBox(&first.box, &second.box));
  EXPECT_EQ(Vendor(1, 0, 0), first.Children());
}

TEST(MergeVRFBBox, LeavesTheFirstAloneWithoutIdentifiersInTheSecond) {
  for (const Bytes& children :
       {Bytes(), Box("free"), VendorBoxOf({}), VendorBoxOf({MarkerBox()})}) {
    Movie first(Vendor(1, 2, 9));
    Movie second(children);
    EXPECT_RESULT(S_FALSE, CMergeForVireo::MergeVRFBBox(&first.box, &second.box));
    EXPECT_EQ(Vendor(1, 2, 9), first.Children());
  }
}

TEST(MergeVRFBBox, LeavesAFirstWithoutTheVendorBoxAsItIs) {
  for (const Bytes& children : {Bytes(), Box("free"), VendorBoxOf({MarkerBox()})}) {
    Movie first(children);
    Movie second(Vendor(2, 3, 1));
    EXPECT_OK(CMergeForVireo::MergeVRFBBox(&first.box, &second.box));
    EXPECT_EQ(children, first.Children());
  }
}

TEST(MergeVRFBBox, ReportsAFailureOfTheSecondOnlyForAStreamOfTheMaker) {
  const Bytes place = PlaceBox(Id(2), Id(3), Id(1));
  const Bytes bad = ThumbnailBox(Text(kNoExif));
  Movie first(Vendor(1, 2, 9));
  Movie marked(VendorBoxOf({MarkerBox(), place, bad}));
  EXPECT_RESULT(EXIFL_ERR_DATA, CMergeForVireo::MergeVRFBBox(&first.box, &marked.box));
  Movie unmarked(VendorBoxOf({place, bad, MarkerBox()}));
  EXPECT_RESULT(S_FALSE, CMergeForVireo::MergeVRFBBox(&first.box, &unmarked.box));
  EXPECT_RESULT(S_FALSE, CMergeForVireo::MergeVRFBBox(&first.box, nullptr));
  EXPECT_EQ(Vendor(1, 2, 9), first.Children());
}

TEST(MergeVRFBBox, TakesIdentifiersInFrontOfStrayBytes) {
  Movie first(Vendor(1, 2, 9));
  Movie second(VendorBoxOf({MarkerBox(), PlaceBox(Id(2), Id(3), Id(1)), Zeros(3)}));
  EXPECT_OK(CMergeForVireo::MergeVRFBBox(&first.box, &second.box));
  EXPECT_EQ(Vendor(1, 3, 9), first.Children());
  Movie cut(VendorBoxOf({MarkerBox(), Slice(PlaceBox(Id(4), Id(5), Id(6)), 0, 67)}));
  EXPECT_RESULT(S_FALSE, CMergeForVireo::MergeVRFBBox(&first.box, &cut.box));
  EXPECT_EQ(Vendor(1, 3, 9), first.Children());
}

TEST(MergeVRFBBox, GivesTheResultOfTheRewrite) {
  Movie second(Vendor(2, 3, 1));
  EXPECT_RESULT(E_POINTER, CMergeForVireo::MergeVRFBBox(nullptr, &second.box));
  Movie damaged(VendorBoxOf({ThumbnailBox(Text(kNoExif)), PlaceBox(Id(1), Id(2), Id(9))}));
  const Bytes before = damaged.Children();
  EXPECT_RESULT(EXIFL_ERR_DATA, CMergeForVireo::MergeVRFBBox(&damaged.box, &second.box));
  EXPECT_EQ(before, damaged.Children());
}

class MergeOfVendorClips : public LiveMerge {
 protected:
  static Bytes ClipOf(std::uint8_t seed, const Bytes& vendor) {
    MovieBuilder clip = Clip(12, seed);
    clip.extraMovieBoxes = vendor;
    return clip.Build();
  }
  static Bytes VendorBoxIn(const Bytes& file) {
    const std::size_t at = FindBox(file, "uuid");
    return at == kNotFound ? Bytes() : Slice(file, at, at + ReadU32(file, at));
  }
};

TEST_F(MergeOfVendorClips, PointsAtTheClipBehindTheLast) {
  const Bytes a = ClipOf(1, Vendor(1, 2, 0));
  const Bytes b = ClipOf(2, Vendor(2, 3, 1));
  const Bytes c = ClipOf(3, Vendor(3, 4, 2));
  const Bytes merged = Merge({a, b, c});
  EXPECT_EQ(Vendor(1, 4, 0), VendorBoxIn(merged));
  ExpectSamplesInOrder(merged, {a, b, c});
}

TEST_F(MergeOfVendorClips, KeepsTheFirstsNextIdentifierBeforeAClipWithout) {
  const Bytes merged = Merge({ClipOf(1, Vendor(1, 2, 0)), ClipOf(2, {})});
  EXPECT_EQ(Vendor(1, 2, 0), VendorBoxIn(merged));
}

TEST_F(MergeOfVendorClips, GetsNoVendorBoxFromALaterClip) {
  const Bytes merged = Merge({ClipOf(1, {}), ClipOf(2, Vendor(2, 3, 1))});
  EXPECT_EQ(Bytes(), VendorBoxIn(merged));
}

TEST_F(MergeOfVendorClips, IsNotStoppedByADamagedVendorBox) {
  const Bytes damaged = VendorBoxOf({MarkerBox(), ThumbnailBox(Text(kNoExif))});
  const Bytes merged = Merge({ClipOf(1, Vendor(1, 2, 0)), ClipOf(2, damaged)});
  EXPECT_EQ(Vendor(1, 2, 0), VendorBoxIn(merged));
}

TEST(MergeMovie, HasRewrittenTheIdentifierWhenItRefusesAnInput) {
  const auto header = [](std::uint32_t timeScale) {
    return FullBox("mvhd", 0, 0, {Zeros(8), U32(timeScale), Zeros(84)});
  };
  Movie first(header(600) + Vendor(1, 2, 9));
  Movie second(header(601) + Vendor(2, 3, 1));
  MP4G::CMp4Merge merge;
  EXPECT_RESULT(MP4G_E_TIME_SCALE, merge.MergeMovie(&first.box, &second.box));
  EXPECT_EQ(header(600) + Vendor(1, 3, 9), first.Children());
}

}  // namespace
