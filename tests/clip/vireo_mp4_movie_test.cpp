// A clip's movie box and file: where the camera's box is looked for, the date that stands in, and
// the rewrite of the next identifier.
#include <gtest/gtest.h>

#include "box/data_boxes.h"
#include "clip/exif_library.h"
#include "clip/vendor_boxes.h"
#include "clip/vireo_mp4.h"
#include "support/box_io.h"
#include "support/exif.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"

namespace MP4G {
namespace {

using namespace support;

constexpr char kDate[] = "2021:03:02 16:47:36";
constexpr _tagSequenceTimedate kDateFields{2021, 3, 2, 16, 47, 36};
// 2000-02-29 12:34:56 in the file format's time.
constexpr std::uint32_t kCreationTime = 2082844800u + 951827696u;
constexpr _tagSequenceTimedate kCreationFields{2000, 2, 29, 12, 34, 56};

VendorBox Vendor() { return {Id(1), Id(2), Id(3), ExifWithDate(kDate)}; }

MovieBuilder Movie(const Bytes& vendorBox = {}) {
  MovieBuilder builder = Clip(3);
  builder.creationTime = kCreationTime;
  builder.extraMovieBoxes = vendorBox;
  return builder;
}

// A movie box in memory with these children.
class MovieInMemory {
 public:
  explicit MovieInMemory(const Bytes& children) {
    EXPECT_OK(ParseBox(movie_, Box("moov", {children})));
  }
  CMovieBox* box() { return &movie_; }
  Bytes Written() { return FixAndWrite(movie_); }

 private:
  CMovieBox movie_;
};

Bytes Header(std::uint32_t creationTime) {
  return FullBox("mvhd", 0, 0, {U32(creationTime), Zeros(4), U32(600), Zeros(4), Zeros(80)});
}

TEST(VireoMovie, MustBeThere) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(E_POINTER, clip.ParseMovieBox(nullptr));
}

TEST(VireoMovie, WithoutTheVendorBoxIsAClipToo) {
  MovieInMemory movie(Header(kCreationTime));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(_GUID{}, clip.nextID);
  EXPECT_EQ(_GUID{}, clip.preID);
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(0, clip.hasIDBox);
  EXPECT_EQ(kCreationFields, clip.timedate);
}

TEST(VireoMovie, TakesTheThumbnailsDateBeforeTheHeaders) {
  MovieInMemory movie(Header(kCreationTime) + Vendor().Build());
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(kDateFields, clip.timedate);
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST(VireoMovie, TakesTheHeadersDateForOneOfZeros) {
  VendorBox vendor = Vendor();
  vendor.tiff = ExifWithDate("0000:00:00 00:00:00");
  MovieInMemory movie(Header(kCreationTime) + vendor.Build());
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(kCreationFields, clip.timedate);
}

TEST(VireoMovie, DoesNotAskTheHeaderForABlankDate) {
  VendorBox vendor = Vendor();
  vendor.tiff = ExifWithDate("    :  :     :  :  ");
  MovieInMemory movie(Header(kCreationTime) + vendor.Build());
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ((_tagSequenceTimedate{47760, 80, 80, 80, 80, 80}), clip.timedate);
}

TEST(VireoMovie, WithoutAnyDateHasNone) {
  MovieInMemory movie(Box("free"));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

TEST(MovieBoxTimedate, IsTheCreationTimeOfTheHeader) {
  CVireoMp4 clip(0);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.ObtainMovieBoxTimedate(nullptr));
  MovieInMemory empty({});
  EXPECT_EQ(_tagSequenceTimedate{}, clip.ObtainMovieBoxTimedate(empty.box()));
  MovieInMemory dated(Header(kCreationTime));
  EXPECT_EQ(kCreationFields, clip.ObtainMovieBoxTimedate(dated.box()));
  MovieInMemory zero(Header(0));
  EXPECT_EQ((_tagSequenceTimedate{1904, 1, 1, 0, 0, 0}), clip.ObtainMovieBoxTimedate(zero.box()));
  // Version 1 has 64 bits.
  MovieInMemory wide(FullBox(
      "mvhd", 1, 0, {U64(0x100000000 + kCreationTime), Zeros(8), U32(600), Zeros(8), Zeros(80)}));
  EXPECT_EQ((_tagSequenceTimedate{2136, 4, 6, 19, 3, 12}), clip.ObtainMovieBoxTimedate(wide.box()));
}

TEST(VireoMovie, ReadsTheFirstOfTwoVendorBoxes) {
  MovieInMemory movie(VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3))}) +
                      VendorBoxOf({MarkerBox(), PlaceBox(Id(4), Id(5), Id(6))}));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(Id(1), clip.uniqueID);
  EXPECT_EQ(0, clip.isVireoStream);
  // A second one that is damaged does no harm.
  MovieInMemory damaged(VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3))}) + VendorBoxOf({Zeros(3)}));
  EXPECT_OK(clip.ParseMovieBox(damaged.box()));
  MovieInMemory swapped(VendorBoxOf({Zeros(3)}) + VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3))}));
  EXPECT_RESULT(S_FALSE, clip.ParseMovieBox(swapped.box()));
}

TEST(VireoMovie, PassesOverOtherBoxes) {
  Bytes otherUsertype = VendorBoxOf({PlaceBox(Id(4), Id(5), Id(6))});
  otherUsertype[23] ^= 1;
  Bytes otherType = VendorBoxOf({PlaceBox(Id(7), Id(8), Id(9))});
  otherType[4] = 'U';
  MovieInMemory movie(Join({otherUsertype, otherType, Vendor().Build()}));
  movie.box()->children.push_front(nullptr);
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST(VireoMovie, WithAnEmptyVendorBoxIsFine) {
  MovieInMemory movie(Header(kCreationTime) + VendorBoxOf({}));
  CVireoMp4 clip(0);
  EXPECT_OK(clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(kCreationFields, clip.timedate);
}

TEST(VireoMovie, RefusesAVendorBoxOfAnotherClass) {
  const Bytes vendor = VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3))});
  for (const bool opaque : {false, true}) {
    MovieInMemory movie(Header(kCreationTime));
    CBox* box = opaque ? static_cast<CBox*>(new CDataMemBox) : new CListBox;
    ASSERT_OK(ParseBox(*box, vendor));
    movie.box()->AddChildBox(box);
    CVireoMp4 clip(0);
    EXPECT_RESULT(opaque ? S_OK : E_UNEXPECTED, clip.ParseMovieBox(movie.box()));
    EXPECT_EQ(opaque ? kCreationFields : _tagSequenceTimedate{}, clip.timedate);
  }
}

TEST(VireoMovie, DoesNotAskForTheDateAfterAFailure) {
  MovieInMemory movie(Header(kCreationTime) + VendorBoxOf({MarkerBox(), Zeros(3)}));
  CVireoMp4 clip(0);
  EXPECT_RESULT(S_FALSE, clip.ParseMovieBox(movie.box()));
  EXPECT_EQ(1, clip.isVireoStream);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

TEST(VireoMovie, AcceptsAVendorBoxThatIsReadAgain) {
  // Nothing is cleared: a second movie without the box leaves the identifiers of the first.
  MovieInMemory first(Vendor().Build());
  MovieInMemory second(Header(kCreationTime));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseMovieBox(first.box()));
  ASSERT_OK(clip.ParseMovieBox(second.box()));
  EXPECT_EQ(Id(1), clip.uniqueID);
  EXPECT_EQ(kDateFields, clip.timedate);
}

// Where the next identifier stands behind the start of a "VRFB".
constexpr std::size_t kNext = 28;

TEST(RewriteNextID, ChangesItsSixteenBytesAndNothingElse) {
  const Bytes children = Header(kCreationTime) + Vendor().Build() + Box("free", {Zeros(4)});
  MovieInMemory movie(children);
  CVireoMp4 clip(0);
  const _GUID id{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
  ASSERT_OK(clip.RewriteNextID(movie.box(), id));
  EXPECT_EQ(Id(1), clip.uniqueID);
  EXPECT_EQ(id, clip.nextID);
  EXPECT_EQ(Id(3), clip.preID);
  EXPECT_EQ(1, clip.hasIDBox);
  EXPECT_EQ(kDateFields, clip.timedate);
  EXPECT_EQ(0, clip.rewriteMode);
  EXPECT_EQ(_GUID{}, clip.rewriteID);

  Bytes expected = Box("moov", {children});
  const std::size_t at = FindBox(expected, "VRFB") + kNext;
  const Bytes bytes = Hex("01020304 0506 0708 090A0B0C0D0E0F10");
  std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
  EXPECT_EQ(HexDump(expected), HexDump(movie.Written()));

  CVireoMp4 again(0);
  ASSERT_OK(again.ParseMovieBox(movie.box()));
  EXPECT_EQ(id, again.nextID);
}

TEST(RewriteNextID, WritesTheLow32BitsOfTheFirstGroup) {
  MovieInMemory movie(VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3))}));
  _GUID wide{};
  wide.Data1 = static_cast<unsigned long>(0x1122334455667788ull);
  CVireoMp4 clip(0);
  ASSERT_OK(clip.RewriteNextID(movie.box(), wide));
  CVireoMp4 again(0);
  ASSERT_OK(again.ParseMovieBox(movie.box()));
  EXPECT_EQ((_GUID{0x55667788, 0, 0, {}}), again.nextID);
}

TEST(RewriteNextID, LeavesAMovieWithoutIdentifiersAsItIs) {
  for (const Bytes& children :
       {Header(kCreationTime), Header(kCreationTime) + VendorBoxOf({}),
        Header(kCreationTime) + VendorBoxOf({MarkerBox(), ThumbnailBox(ExifWithDate(kDate))})}) {
    MovieInMemory movie(children);
    CVireoMp4 clip(0);
    EXPECT_OK(clip.RewriteNextID(movie.box(), Id(9)));
    EXPECT_EQ(0, clip.hasIDBox);
    EXPECT_EQ(_GUID{}, clip.nextID);
    EXPECT_EQ(0, clip.rewriteMode);
    EXPECT_EQ(Box("moov", {children}), movie.Written());
  }
}

TEST(RewriteNextID, ReadsTheThumbnailAgainAndEndsWithItsFailure) {
  const Bytes bad = ThumbnailBox(Text("no Exif data here"));
  const Bytes place = PlaceBox(Id(1), Id(2), Id(3));
  MovieInMemory before(VendorBoxOf({bad, place}));
  CVireoMp4 clip(0);
  EXPECT_RESULT(EXIFL_ERR_DATA, clip.RewriteNextID(before.box(), Id(9)));
  EXPECT_EQ(0, clip.rewriteMode);
  EXPECT_EQ(_GUID{}, clip.rewriteID);
  EXPECT_EQ(Box("moov", {VendorBoxOf({bad, place})}), before.Written());
  // Behind the identifiers it comes too late: the write stands.
  MovieInMemory behind(VendorBoxOf({place, bad}));
  EXPECT_RESULT(EXIFL_ERR_DATA, clip.RewriteNextID(behind.box(), Id(9)));
  EXPECT_EQ(Box("moov", {VendorBoxOf({PlaceBox(Id(1), Id(9), Id(3)), bad})}), behind.Written());
}

TEST(RewriteNextID, WritesIntoEachIdentifierBoxOfTheVendorBox) {
  MovieInMemory movie(VendorBoxOf({PlaceBox(Id(1), Id(2), Id(3)), PlaceBox(Id(4), Id(5), Id(6))}));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.RewriteNextID(movie.box(), Id(9)));
  EXPECT_EQ(
      Box("moov", {VendorBoxOf({PlaceBox(Id(1), Id(9), Id(3)), PlaceBox(Id(4), Id(9), Id(6))})}),
      movie.Written());
}

TEST(RewriteNextID, WritesAtAFixedPlace) {
  // Behind a header with a usertype that place is not the next identifier's.
  const Bytes identifiers = Join({GuidBytes(Id(1)), GuidBytes(Id(2)), GuidBytes(Id(3))});
  const Bytes place = Box("VROP", {Box("uuid", {Zeros(16), Zeros(4), identifiers})});
  MovieInMemory movie(VendorBoxOf({place}));
  CVireoMp4 clip(0);
  ASSERT_OK(clip.RewriteNextID(movie.box(), Id(9)));
  Bytes expected = Box("moov", {VendorBoxOf({place})});
  const std::size_t at = FindBox(expected, "VROP") + 8 + kNext;
  std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(at), 16,
              static_cast<unsigned char>(9));
  EXPECT_EQ(HexDump(expected), HexDump(movie.Written()));
  EXPECT_EQ(Id(9), clip.nextID);
}

TEST(RewriteNextID, WantsAMovie) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(E_POINTER, clip.RewriteNextID(nullptr, Id(9)));
  EXPECT_EQ(0, clip.rewriteMode);
}

class VireoFile : public testing::Test {
 protected:
  std::wstring Write(const Bytes& bytes, const std::string& name = "clip.mp4") {
    WriteFile(folder_ / name, bytes);
    return (folder_ / name).wstring();
  }

  TempDir folder_;
};

TEST_F(VireoFile, GivesEverythingThatIsKnown) {
  const Bytes bytes = Movie(Vendor().Build()).Build();
  const std::wstring path = Write(bytes);
  CVireoMp4 clip(3);
  ASSERT_OK(clip.ParseFile(path.c_str()));
  EXPECT_EQ(3u, clip.volume);
  EXPECT_EQ(path, clip.path);
  EXPECT_EQ(static_cast<long long>(bytes.size()), clip.fileSize);
  EXPECT_EQ(Id(1), clip.uniqueID);
  EXPECT_EQ(Id(2), clip.nextID);
  EXPECT_EQ(Id(3), clip.preID);
  EXPECT_EQ(1, clip.isVireoStream);
  EXPECT_EQ(1, clip.hasIDBox);
  EXPECT_EQ(kDateFields, clip.timedate);
  EXPECT_EQ(nullptr, clip.timecodeTrack);
}

TEST_F(VireoFile, WithoutAVendorBoxHasTheHeadersDate) {
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseFile(Write(Movie().Build()).c_str()));
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(0, clip.hasIDBox);
  EXPECT_EQ(kCreationFields, clip.timedate);
}

TEST_F(VireoFile, IsNotKeptOpen) {
  CVireoMp4 clip(0);
  const std::wstring path = Write(Movie().Build());
  ASSERT_OK(clip.ParseFile(path.c_str()));
  std::error_code gone;
  std::size_t open = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", gone)) {
    std::error_code unreadable;
    if (std::filesystem::read_symlink(entry, unreadable) == std::filesystem::path(path)) ++open;
  }
  EXPECT_EQ(0u, open);
}

TEST_F(VireoFile, ThatCannotBeOpenedOrReadGivesTheFilesCode) {
  CVireoMp4 clip(0);
  EXPECT_RESULT(E_POINTER, clip.ParseFile(nullptr));
  EXPECT_RESULT(E_HANDLE, clip.ParseFile((folder_ / "missing").wstring().c_str()));
  EXPECT_RESULT(E_BAD_DATA, clip.ParseFile(Write({}).c_str()));
  EXPECT_RESULT(E_BAD_DATA, clip.ParseFile(Write(Box("ftyp", {Zeros(8)})).c_str()));
  EXPECT_RESULT(E_BAD_TYPE, clip.ParseFile(Write(Box("ABCD")).c_str()));
  EXPECT_EQ(L"", clip.path);
}

TEST_F(VireoFile, WithoutAMovieBoxBehindASoftResultIsBadData) {
  // The walk ends softly at the small box; what stands in front of it is all there is.
  const Bytes small = U32(4) + Text("free");
  const Bytes type = Box("ftyp", {Text("mp42"), U32(0)});
  CVireoMp4 clip(0);
  EXPECT_RESULT(E_BAD_DATA, clip.ParseFile(Write(type + small).c_str()));
  EXPECT_EQ(L"", clip.path);

  const std::wstring path = Write(Join({type, Box("moov", {Header(kCreationTime)}), small}));
  ASSERT_OK(clip.ParseFile(path.c_str()));
  EXPECT_EQ(path, clip.path);
  EXPECT_EQ(0, clip.fileSize);
  EXPECT_EQ(kCreationFields, clip.timedate);
}

TEST_F(VireoFile, PassesOnASoftResultWithoutItsPath) {
  CVireoMp4 clip(0);
  const Bytes cut = VendorBoxOf({MarkerBox(), PlaceBox(Id(1), Id(2), Id(3)), Zeros(3)});
  EXPECT_RESULT(S_FALSE, clip.ParseFile(Write(Movie(cut).Build()).c_str()));
  EXPECT_EQ(L"", clip.path);
  EXPECT_EQ(0, clip.fileSize);
  EXPECT_EQ(Id(1), clip.uniqueID);
}

TEST_F(VireoFile, PassesOnTheExifLayersCode) {
  CVireoMp4 clip(0);
  VendorBox vendor = Vendor();
  vendor.tiff = Text("no Exif data here");
  EXPECT_RESULT(EXIFL_ERR_DATA, clip.ParseFile(Write(Movie(vendor.Build()).Build()).c_str()));
  EXPECT_EQ(L"", clip.path);
}

TEST_F(VireoFile, IsForgottenByTheNextParse) {
  CVireoMp4 clip(0);
  ASSERT_OK(clip.ParseFile(Write(Movie(Vendor().Build()).Build()).c_str()));
  EXPECT_RESULT(E_HANDLE, clip.ParseFile((folder_ / "missing").wstring().c_str()));
  EXPECT_EQ(L"", clip.path);
  EXPECT_EQ(0, clip.fileSize);
  EXPECT_EQ(_GUID{}, clip.uniqueID);
  EXPECT_EQ(0, clip.isVireoStream);
  EXPECT_EQ(_tagSequenceTimedate{}, clip.timedate);
}

TEST_F(VireoFile, HasItsVendorBoxPutInByTheTestBuilder) {
  for (const bool movieFirst : {false, true}) {
    for (const bool co64 : {false, true}) {
      MovieBuilder plain = Movie();
      plain.movieFirst = movieFirst;
      for (Track& track : plain.tracks) track.co64 = co64;
      MovieBuilder whole = plain;
      whole.extraMovieBoxes = Vendor().Build();
      EXPECT_EQ(whole.Build(), WithVendorBox(plain.Build(), Vendor()));
    }
  }
}

TEST_F(VireoFile, OfAnyMakerKeepsItsMediaWhereTheBuilderPutsAVendorBox) {
  for (const char* name : {"examples/clips/clip1.mp4", "examples/clips/clip2.mp4"}) {
    const Bytes file = ReadFile(SourcePath(name));
    const Bytes plain = WithU32(file, FindBox(file, "uuid") + 4, ReadU32(Text("free"), 0));
    CVireoMp4 clip(0);
    ASSERT_OK(clip.ParseFile(Write(WithVendorBox(plain, Vendor())).c_str()));
    EXPECT_EQ(Id(1), clip.uniqueID);
    EXPECT_EQ(kDateFields, clip.timedate);
  }
}

}  // namespace
}  // namespace MP4G
