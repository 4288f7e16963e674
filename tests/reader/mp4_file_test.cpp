#include "reader/mp4_file.h"

#include <gtest/gtest.h>

#include <functional>

#include "box/data_boxes.h"
#include "foundation/file_buffer.h"
#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using namespace MP4G;
using support::Box;
using support::Bytes;
using support::Join;
using support::Text;
using support::U32;
using support::U64;
using support::Zeros;
using support::operator+;

namespace {

const Bytes kFtyp = Box("ftyp", {Text("mp42"), U32(0)});
const Bytes kMoov = Box("moov");

HRESULT Parse(CMp4File& file, const Bytes& bytes) {
  QUIRVA::CFileBuffer source;
  if (bytes.empty()) return file.SetReader(&source);
  const HRESULT set = source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return set == S_OK ? file.SetReader(&source) : set;
}

std::vector<std::string> Types(const CMp4Tree& tree) {
  std::vector<std::string> types;
  for (const auto& record : tree.boxes) types.push_back(FourCcText(record.type));
  return types;
}

// A source of zeros with some bytes at its start, larger than anything a test wants to hold.
class SparseReader : public QUIRVA::IQvFileReader {
 public:
  SparseReader(Bytes start, long long fileSize) : start_(std::move(start)), fileSize_(fileSize) {}

  HRESULT QueryInterface(_GUID, void**) override { return E_NOINTERFACE; }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  void CloseReader() override {}
  long long GetFileSize() const override { return fileSize_; }
  HRESULT SetBufferSize(unsigned int size) override {
    bufferSize_ = size;
    bufferSizes.push_back(size);
    return failBufferSize;
  }
  unsigned int GetBufferSize() const override { return bufferSize_; }
  HRESULT GetData(long long position, unsigned int size, const unsigned char*& data,
                  unsigned int& got) const override {
    if (failAt >= 0 && reads++ == failAt) return failure;
    block_.assign(size, 0);
    for (unsigned int i = 0; i < size; ++i) {
      const std::size_t at = static_cast<std::size_t>(position) + i;
      if (at < start_.size()) block_[i] = start_[at];
    }
    data = block_.data();
    got = static_cast<unsigned int>(std::min<long long>(size, fileSize_ - position));
    return got == size ? S_OK : S_FALSE;
  }

  std::vector<unsigned int> bufferSizes;
  HRESULT failBufferSize = S_OK;
  int failAt = -1;
  HRESULT failure = -1;
  mutable int reads = 0;

 private:
  Bytes start_;
  long long fileSize_;
  unsigned int bufferSize_ = 0;
  mutable Bytes block_;
};

}  // namespace

TEST(Mp4File, ReadsTopLevelBoxesInAnyOrderAndKeepsIt) {
  const Bytes mdat = Box("mdat", {Text("media")});
  for (const auto& parts : std::vector<std::vector<Bytes>>{
           {kFtyp, kMoov, mdat}, {mdat, kMoov, kFtyp}, {kMoov, mdat, kFtyp}}) {
    Bytes bytes;
    std::vector<std::string> expected;
    long long mediaPos = 0;
    for (const Bytes& part : parts) {
      expected.emplace_back(part.begin() + 4, part.begin() + 8);
      if (expected.back() == "mdat") mediaPos = static_cast<long long>(bytes.size()) + 8;
      bytes = bytes + part;
    }
    CMp4File file;
    ASSERT_OK(Parse(file, bytes));
    EXPECT_EQ(expected, Types(file));
    EXPECT_EQ(mediaPos, file.mdatPos);
    EXPECT_EQ(5, file.mdatSize);
    EXPECT_EQ(static_cast<long long>(bytes.size()), file.fileSize);
    EXPECT_TRUE(file.filePath.empty());
    EXPECT_NE(nullptr, file.GetFileTypeBox());
    EXPECT_NE(nullptr, file.GetMovieBox());
  }
}

TEST(Mp4File, RefusesAnEmptySource) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, {}));
  EXPECT_RESULT(S_OK, file.readError);
}

TEST(Mp4File, RefusesANullReaderAndResetsFirst) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + kMoov));
  EXPECT_RESULT(E_POINTER, file.SetReader(nullptr));
  EXPECT_TRUE(file.boxes.empty());
  EXPECT_EQ(0, file.fileSize);
}

TEST(Mp4File, WantsAFileTypeAndAMovie) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kMoov));
  EXPECT_EQ(1u, file.boxes.size());
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp));
  EXPECT_OK(Parse(file, kFtyp + kMoov));
}

TEST(Mp4File, TakesExactlyTheKnownTopLevelTypes) {
  for (const char* type : {"free", "mdat", "meta", "mfra", "moof", "pdin", "skip"}) {
    CMp4File file;
    EXPECT_OK(Parse(file, kFtyp + kMoov + Box(type))) << type;
  }
  for (const char* type : {"uuid", "wide", "udta", "trak", "FREE"}) {
    CMp4File file;
    EXPECT_RESULT(E_BAD_TYPE, Parse(file, kFtyp + kMoov + Box(type, {Zeros(16)}))) << type;
    EXPECT_EQ(2u, file.boxes.size()) << type;
  }
}

TEST(Mp4File, LastOfSeveralMediaBoxesDecides) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + Box("mdat", {Zeros(3)}) + kMoov + Box("mdat", {Zeros(7)})));
  EXPECT_EQ(7, file.mdatSize);
  EXPECT_EQ(16 + 11 + 8 + 8, file.mdatPos);
  EXPECT_EQ((std::vector<std::string>{"ftyp", "mdat", "moov", "mdat"}), Types(file));
}

TEST(Mp4File, MediaToTheEndRunsToTheEnd) {
  CMp4File file;
  const Bytes bytes = kFtyp + kMoov + U32(0) + Text("mdat") + Zeros(9);
  ASSERT_OK(Parse(file, bytes));
  EXPECT_EQ(9, file.mdatSize);
  EXPECT_EQ(static_cast<long long>(bytes.size()) - 9, file.mdatPos);
}

TEST(Mp4File, MediaWithALargeSizeStartsBehindSixteenBytes) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + U32(1) + Text("mdat") + U64(21) + Zeros(5) + kMoov));
  EXPECT_EQ(16 + 16, file.mdatPos);
  EXPECT_EQ(5, file.mdatSize);
}

TEST(Mp4File, MediaPastTheEndKeepsItsDeclaredSize) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + kMoov + U32(1000) + Text("mdat") + Zeros(5)));
  EXPECT_EQ(992, file.mdatSize);
}

TEST(Mp4File, MediaSmallerThanItsHeaderIsEmptyAndTheWalkMovesByIt) {
  CMp4File file;
  // Four bytes further on the walk meets the type field of the false box as a size field.
  const Bytes bytes = kFtyp + kMoov + U32(4) + Text("mdat") + Text("free") + Zeros(64);
  // What it finds there is a box too large to load.
  EXPECT_OK(Parse(file, bytes));
  EXPECT_EQ((std::vector<std::string>{"ftyp", "moov", "mdat", "free"}), Types(file));
  EXPECT_EQ(nullptr, file.boxes.back().box);
  EXPECT_EQ(0, file.mdatSize);
  EXPECT_EQ(16 + 8 + 8, file.mdatPos);
}

TEST(Mp4File, RefusesASizeThatWouldMoveTheWalkBackward) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + U32(1) + Text("mdat") +
                                            U64(0x8000000000000000) + Zeros(8)));
  EXPECT_EQ(0, file.mdatSize);
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + U32(1) + Text("free") +
                                            U64(0xFFFFFFFFFFFFFFF0) + Zeros(8)));
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + U32(1) + Text("mdat") +
                                            U64(0x7FFFFFFFFFFFFFFF) + Zeros(8)));
  // One that just ends the walk passes.
  EXPECT_OK(
      Parse(file, kFtyp + kMoov + U32(1) + Text("mdat") + U64(0x7FFFFFFFFFFFFF00) + Zeros(8)));
}

TEST(Mp4File, RefusesABoxToTheEndThatIsNoMedia) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + U32(0) + Text("free") + Zeros(5)));
}

TEST(Mp4File, RefusesABoxThatRunsPastTheEnd) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + U32(14) + Text("free") + Zeros(5)));
  EXPECT_OK(Parse(file, kFtyp + kMoov + U32(13) + Text("free") + Zeros(5)));
}

TEST(Mp4File, AnswersSoftlyToDeclaredSizesBelowAHeader) {
  for (std::uint32_t size = 2; size <= 7; ++size) {
    CMp4File file;
    EXPECT_RESULT(S_FALSE, Parse(file, kFtyp + kMoov + U32(size) + Text("free") + Zeros(32)))
        << size;
  }
}

TEST(Mp4File, RefusesAHeaderCutShort) {
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, Parse(file, kFtyp + kMoov + Zeros(7)));
  // A large size needs 16 bytes, and the peek says softly that they are not there.
  EXPECT_RESULT(S_FALSE, Parse(file, kFtyp + kMoov + U32(1) + Text("mdat") + Zeros(7)));
}

TEST(Mp4File, KeepsBothOfTwoFileTypesAndGivesTheFirst) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + Box("ftyp", {Text("qt  "), U32(1)}) + kMoov));
  EXPECT_EQ(3u, file.boxes.size());
  EXPECT_EQ(FourCc("mp42"), file.GetFileTypeBox()->record->majorBrand);
  EXPECT_EQ(file.GetBox(FourCc("ftyp"), 0), file.GetFileTypeBox());
  EXPECT_NE(nullptr, file.GetBox(FourCc("ftyp"), 1));
  EXPECT_EQ(nullptr, file.GetBox(FourCc("ftyp"), 2));
}

TEST(Mp4File, LoadsABoxBelowTheLimitAndOnlyNamesOneAtIt) {
  constexpr long long kHead = 16 + 8;
  for (const auto& [size, loaded] :
       std::vector<std::pair<std::uint32_t, bool>>{{50000000, true}, {50000001, false}}) {
    SparseReader reader(kFtyp + kMoov + U32(size) + Text("free"), kHead + size);
    CMp4File file;
    ASSERT_OK(file.SetReader(&reader));
    EXPECT_EQ(loaded, file.boxes.back().box != nullptr) << size;
    EXPECT_EQ(loaded ? 2u : 1u, reader.bufferSizes.size()) << size;
  }
}

TEST(Mp4File, TreatsAMovieTooLargeToLoadAsAbsent) {
  SparseReader reader(kFtyp + U32(50000001) + Text("moov"), 16 + 50000001);
  CMp4File file;
  EXPECT_RESULT(E_BAD_DATA, file.SetReader(&reader));
  EXPECT_EQ((std::vector<std::string>{"ftyp", "moov"}), Types(file));
}

TEST(Mp4File, NotesAFailedReadAndPassesItOn) {
  for (int failAt = 0; failAt < 4; ++failAt) {
    SparseReader reader(kFtyp + kMoov, 24);
    reader.failAt = failAt;
    reader.failure = E_FAIL;
    CMp4File file;
    EXPECT_RESULT(E_FAIL, file.SetReader(&reader)) << failAt;
    EXPECT_RESULT(E_FAIL, file.readError) << failAt;
    EXPECT_EQ(0, file.fileSize);
  }
  SparseReader reader(kFtyp + kMoov, 24);
  CMp4File file;
  EXPECT_OK(file.SetReader(&reader));
  EXPECT_RESULT(S_OK, file.readError);
}

TEST(Mp4File, PassesAFailedBufferRequestOn) {
  SparseReader reader(kFtyp + kMoov, 24);
  reader.failBufferSize = E_OUTOFMEMORY;
  CMp4File file;
  EXPECT_RESULT(E_OUTOFMEMORY, file.SetReader(&reader));
  EXPECT_RESULT(S_OK, file.readError);
  EXPECT_EQ((std::vector<unsigned int>{100000}), reader.bufferSizes);
}

TEST(Mp4File, NeverReadsTheMedia) {
  // 6 GiB of media cost three reads: one header each, and the two boxes.
  SparseReader reader(kFtyp + kMoov + U32(1) + Text("mdat") + U64(6442450944), 24 + 6442450944);
  CMp4File file;
  ASSERT_OK(file.SetReader(&reader));
  EXPECT_EQ(6442450944 - 16, file.mdatSize);
  EXPECT_EQ((std::vector<unsigned int>{100000}), reader.bufferSizes);
}

TEST(Mp4File, OpensAndRemembersAPath) {
  const support::TempDir folder;
  const auto path = folder / "clip.mp4";
  const Bytes bytes = support::Clip(10).Build();
  support::WriteFile(path, bytes);
  CMp4File file;
  ASSERT_OK(file.SetFile(path.wstring().c_str()));
  EXPECT_EQ(path.wstring(), file.filePath);
  EXPECT_EQ(static_cast<long long>(bytes.size()), file.fileSize);
  EXPECT_RESULT(E_POINTER, file.SetFile(nullptr));
  EXPECT_RESULT(E_HANDLE, file.SetFile((folder / "missing.mp4").wstring().c_str()));
  EXPECT_TRUE(file.boxes.empty());
  EXPECT_TRUE(file.filePath.empty());
  EXPECT_EQ(0, file.fileSize);
  EXPECT_EQ(0, file.mdatSize);
}

TEST(Mp4File, TakesItsOwnPathAgain) {
  const support::TempDir folder;
  const auto path = folder / "clip.mp4";
  support::WriteFile(path, support::Clip(10).Build());
  CMp4File file;
  ASSERT_OK(file.SetFile(path.wstring().c_str()));
  ASSERT_OK(file.SetFile(file.filePath.c_str()));
  EXPECT_EQ(path.wstring(), file.filePath);
  ASSERT_OK(Parse(file, kFtyp + kMoov));
  EXPECT_TRUE(file.filePath.empty());
}

TEST(Mp4File, ALargeSizeOfZeroRunsToTheEnd) {
  CMp4File file;
  const Bytes media = U32(1) + Text("mdat") + U64(0) + Zeros(25);
  ASSERT_OK(Parse(file, kFtyp + kMoov + media));
  EXPECT_EQ(static_cast<long long>(kFtyp.size() + kMoov.size()) + 16, file.mdatPos);
  EXPECT_EQ(25, file.mdatSize);
  EXPECT_RESULT(E_BAD_DATA,
                Parse(file, kFtyp + kMoov + U32(1) + Text("free") + U64(0) + Zeros(25)));
}

// A reference of type "tmcd" is taken for the sample entry of that name, and is too short for one.
TEST(Mp4File, ATimecodeReferenceEndsTheParseOfTheWholeFile) {
  const auto parsed = [](const std::string& type, const Bytes& behind) {
    CMp4File file;
    const Bytes reference = Box("tref", {Box(type, {U32(2)})});
    return Parse(file, kFtyp + Box("moov", {Box("trak", {reference, behind})}));
  };
  EXPECT_OK(parsed("cdsc", Box("free", {Zeros(40)})));
  EXPECT_RESULT(E_BAD_DATA, parsed("tmcd", Box("free", {Zeros(40)})));
  EXPECT_RESULT(S_FALSE, parsed("tmcd", {}));
}

TEST(Mp4File, TakesASoftFailureOfAPathForSuccess) {
  const support::TempDir folder;
  const auto path = folder / "clip.mp4";
  support::WriteFile(path, kFtyp + U32(3) + Text("free") + Zeros(32));
  CMp4File file;
  EXPECT_OK(file.SetFile(path.wstring().c_str()));
  EXPECT_EQ(path.wstring(), file.filePath);
  EXPECT_EQ(0, file.fileSize);
  EXPECT_EQ(nullptr, file.GetMovieBox());
}

TEST(Mp4File, ResetForgetsEverything) {
  CMp4File file;
  ASSERT_OK(Parse(file, kFtyp + Box("mdat", {Zeros(3)}) + kMoov));
  file.Reset();
  EXPECT_TRUE(file.boxes.empty());
  EXPECT_EQ(0, file.fileSize);
  EXPECT_EQ(0, file.mdatPos);
  EXPECT_EQ(0, file.mdatSize);
}

TEST(Mp4Tree, AddsABoxFromBytesAndKeepsOneThatFails) {
  CMp4Tree tree;
  ASSERT_OK(tree.Init());
  const Bytes box = Box("free", {Zeros(4)});
  EXPECT_OK(tree.AddBoxData(box.data(), static_cast<unsigned int>(box.size()), 77));
  EXPECT_EQ(77, tree.boxes.back().box->position);
  EXPECT_RESULT(S_FALSE, tree.AddBoxData(box.data(), 7, 0));
  EXPECT_EQ(1u, tree.boxes.size());
  EXPECT_RESULT(S_FALSE, tree.AddBoxData(box.data(), 11, 0));
  EXPECT_EQ(2u, tree.boxes.size());
  tree.Reset();
  EXPECT_TRUE(tree.boxes.empty());
}

// A name takes everything up to the end of the bytes that its movie is read from.
TEST(Mp4Tree, LimitsTheNamesOfAllItsMoviesInSum) {
  Bytes movie = Box("moov", {support::FullBox("urn ", 0, 0)});
  movie.resize(movie.size() + kMostExtraMemory / 2);
  const auto size = static_cast<unsigned int>(movie.size());
  CMp4Tree tree;
  EXPECT_OK(tree.AddBoxData(movie.data(), size, 0));
  tree.AddBoxType(FourCc("mdat"));
  EXPECT_OK(tree.AddBoxData(movie.data(), size, 0));
  EXPECT_RESULT(E_OUTOFMEMORY, tree.AddBoxData(movie.data(), size, 0));
  tree.ResetTree();
  EXPECT_OK(tree.AddBoxData(movie.data(), size, 0));
}

TEST(Mp4Tree, GivesPositionsOfTheLoadedBoxesAlone) {
  CMp4Tree tree;
  const auto add = [&tree](const Bytes& box) {
    ASSERT_OK(tree.AddBoxData(box.data(), static_cast<unsigned int>(box.size()), 0));
  };
  add(kFtyp);
  tree.AddBoxType(FourCc("mdat"));
  add(Box("free", {Zeros(12)}));
  add(kMoov);
  long long position = -1;
  EXPECT_EQ(16 + 20 + 8, tree.GetNoLargeBoxSizeSum());
  EXPECT_OK(tree.GetMdatBoxPos(&position));
  EXPECT_EQ(16, position);
  EXPECT_OK(tree.GetBoxPos(FourCc("moov"), &position, 0));
  EXPECT_EQ(36, position);
  EXPECT_OK(tree.GetBoxPos(FourCc("moov"), &position, 1));
  EXPECT_EQ(44, position);
  EXPECT_OK(tree.GetBoxPos(FourCc("skip"), &position, 0));
  EXPECT_EQ(44, position);
  EXPECT_RESULT(E_POINTER, tree.GetBoxPos(FourCc("moov"), nullptr, 0));
  EXPECT_EQ(nullptr, tree.GetBox(FourCc("mdat"), 0));

  EXPECT_OK(tree.MoveMdatBoxToTail());
  EXPECT_EQ((std::vector<std::string>{"ftyp", "free", "moov", "mdat"}), Types(tree));
  EXPECT_OK(tree.GetMdatBoxPos(&position));
  EXPECT_EQ(44, position);
}

TEST(Mp4Tree, CountsTheBoxThatIsAskedForWhereThatIsExactlyOne) {
  CMp4Tree tree;
  const Bytes box = Box("free", {Zeros(4)});
  ASSERT_OK(tree.AddBoxData(box.data(), static_cast<unsigned int>(box.size()), 0));
  tree.AddBoxType(FourCc("mdat"));
  for (const int value : {0, 1, 2, -1}) {
    const auto include = static_cast<signed char>(value);
    long long position = -1;
    ASSERT_OK(tree.GetBoxPos(FourCc("free"), &position, include));
    EXPECT_EQ(include == 1 ? 12 : 0, position);
    // A record without a box has no size to count.
    ASSERT_OK(tree.GetBoxPos(FourCc("mdat"), &position, include));
    EXPECT_EQ(12, position);
  }
}

TEST(Mp4Tree, MovesNothingWithoutMedia) {
  CMp4Tree tree;
  tree.AddBoxType(FourCc("free"));
  EXPECT_OK(tree.MoveMdatBoxToTail());
  EXPECT_EQ(1u, tree.boxes.size());
}

TEST(Mp4Tree, GivesNullForAFileTypeOfAnotherClassOrWithoutABox) {
  CMp4Tree tree;
  tree.AddBoxType(FourCc("ftyp"));
  EXPECT_EQ(nullptr, tree.GetFileTypeBox());
  EXPECT_EQ(nullptr, tree.GetMovieBox());
  CMp4Tree other;
  other.boxes.push_back({FourCc("moov"), new CDataMemBox});
  EXPECT_EQ(nullptr, other.GetMovieBox());
}
