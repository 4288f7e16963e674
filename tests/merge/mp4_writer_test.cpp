#include "merge/mp4_writer.h"

#include <algorithm>

#include "foundation/file_buffer.h"
#include "merge/merge_fixture.h"
#include "support/movie_builder.h"

using namespace MP4G;
using namespace support;

namespace {

// A writer on an output of its own, without the rest of the engine.
class Writer : public testing::Test {
 protected:
  Writer() {
    EXPECT_OK(CMp4LiveMerge::CreateInstance(&owner));
    EXPECT_OK(owner->SetOutputPath(output.wstring().c_str()));
    writer = std::make_unique<CMp4Writer>(owner);
  }
  ~Writer() override {
    writer.reset();
    owner->Release();
  }

  HRESULT ProcessFirst(const Bytes& clip) {
    EXPECT_OK(source.SetData(clip.data(), static_cast<unsigned int>(clip.size())));
    EXPECT_OK(file.SetReader(&source));
    return writer->ProcessFirstFile(&file, &source);
  }

  TempDir folder;
  std::filesystem::path output = folder / "out.mp4";
  CMp4LiveMerge* owner = nullptr;
  std::unique_ptr<CMp4Writer> writer;
  QUIRVA::CFileBuffer source;
  CMp4File file;
};

}  // namespace

TEST_F(Writer, LaysOutFileTypePlaceholderAndMedia) {
  const MovieBuilder clip = Clip(30);
  ASSERT_OK(ProcessFirst(clip.Build()));
  const std::size_t head = clip.fileType.size();
  EXPECT_EQ(static_cast<long long>(head), writer->ftypSize);
  EXPECT_EQ(static_cast<long long>(head) + 16, writer->mediaDataPos);
  EXPECT_EQ(static_cast<long long>(clip.Media().size()), writer->mediaDataSize);
  writer.reset();
  EXPECT_EQ(clip.fileType + Box("free", {Zeros(8)}) + clip.Media(), ReadFile(output));
}

TEST_F(LiveMerge, EndsWithAFreeBoxAShortHeaderTheMediaAndTheMovie) {
  const MovieBuilder a = Clip(30, 1);
  const MovieBuilder b = Clip(25, 2);
  const Bytes merged = Merge({a.Build(), b.Build()});
  const Bytes media = a.Media() + b.Media();
  const std::size_t head = a.fileType.size();
  EXPECT_EQ(a.fileType, Slice(merged, 0, head));
  EXPECT_EQ(Box("free"), Slice(merged, head, head + 8));
  EXPECT_EQ(Join({U32(static_cast<std::uint32_t>(media.size()) + 8), Text("mdat")}),
            Slice(merged, head + 8, head + 16));
  EXPECT_EQ(media, Slice(merged, head + 16, head + 16 + media.size()));
  const std::size_t movie = head + 16 + media.size();
  EXPECT_EQ(Text("moov"), Slice(merged, movie + 4, movie + 8));
  EXPECT_EQ(merged.size(), movie + ReadU32(merged, movie));
}

TEST_F(LiveMerge, ASingleInputKeepsItsSizesAndGetsNewOffsets) {
  MovieBuilder clip = Clip(30);
  clip.between = Box("free", {Zeros(100)});
  const Bytes input = clip.Build();
  const Bytes merged = Merge({input});
  const std::size_t movie = ReadU32(input, FindBox(input, "moov"));
  EXPECT_EQ(clip.fileType.size() + 16 + clip.Media().size() + movie, merged.size());
  const OracleMovie result = ReadMovie(merged);
  EXPECT_EQ(clip.fileType.size() + 16, result.tracks[0].chunkOffsets[0]);
  EXPECT_EQ((std::vector<std::string>{"ftyp", "free", "mdat", "moov"}), result.topLevel);
}

TEST_F(LiveMerge, OnlyFileTypeMovieAndMediaReachTheOutput) {
  MovieBuilder a = Clip(30, 1);
  a.tail = Box("skip", {Text("tail of a")}) + Box("meta", {Zeros(8)});
  MovieBuilder b = Clip(25, 2);
  b.fileType = Box("ftyp", {Text("qt  "), U32(7)});
  const Bytes merged = Merge({a.Build(), b.Build()});
  EXPECT_EQ((std::vector<std::string>{"ftyp", "free", "mdat", "moov"}), ReadMovie(merged).topLevel);
  EXPECT_EQ(a.fileType, Slice(merged, 0, a.fileType.size()));
}

TEST_F(Writer, RewritesTheHeaderInBothFormsAtTheirBoundary) {
  struct Case {
    long long media;
    Bytes head;
  };
  const Bytes freeBox = Box("free");
  const std::vector<Case> cases = {
      {0, freeBox + U32(8) + Text("mdat")},
      {0xFFFFFFF6, freeBox + U32(0xFFFFFFFE) + Text("mdat")},
      // One more and the small box is gone, though the short header still holds the size.
      {0xFFFFFFF7, U32(0xFFFFFFFF) + Text("mdat") + Zeros(8)},
      {0xFFFFFFF8, U32(1) + Text("mdat") + U64(0x100000008)},
      {0x200000000, U32(1) + Text("mdat") + U64(0x200000010)},
  };
  for (const Case& expected : cases) {
    writer = std::make_unique<CMp4Writer>(owner);
    const MovieBuilder clip = Clip(3);
    ASSERT_OK(ProcessFirst(clip.Build()));
    writer->mediaDataSize = expected.media;
    ASSERT_OK(writer->RewriteMediaDataBoxHeader());
    writer.reset();
    EXPECT_EQ(HexDump(expected.head),
              HexDump(Slice(ReadFile(output), clip.fileType.size(), clip.fileType.size() + 16)))
        << expected.media;
  }
}

TEST_F(Writer, RewritingNeedsThePlaceholder) {
  EXPECT_RESULT(E_POINTER, writer->RewriteMediaDataBoxHeader());
}

TEST_F(Writer, RefusesNullArguments) {
  const Bytes clip = Clip(3).Build();
  ASSERT_OK(source.SetData(clip.data(), static_cast<unsigned int>(clip.size())));
  ASSERT_OK(file.SetReader(&source));
  EXPECT_RESULT(E_POINTER, writer->ProcessFirstFile(nullptr, &source));
  EXPECT_RESULT(E_POINTER, writer->ProcessNonFirstFile(nullptr, &source));
  EXPECT_RESULT(E_POINTER, writer->OutputMediaData(&file, nullptr));
  EXPECT_RESULT(E_POINTER, writer->OutputBox(nullptr));
  EXPECT_RESULT(E_POINTER, writer->OutputMovieBox(nullptr));
  EXPECT_RESULT(E_POINTER, writer->ProcessOutput(nullptr));
  EXPECT_RESULT(E_POINTER, writer->Finalize(nullptr));
  CMp4Writer orphan(nullptr);
  EXPECT_RESULT(E_POINTER, orphan.OutputMediaData(&file, &source));
  EXPECT_RESULT(E_POINTER, orphan.WriteData(clip.data(), 4));
  orphan.DeleteFile();
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(Writer, RefusesAFileWithoutAFileType) {
  CMp4File empty;
  EXPECT_RESULT(E_BAD_DATA, writer->ProcessFirstFile(&empty, &source));
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(Writer, WritesRecordsAtAnyPositionOfTheOpenFile) {
  const Bytes piece = Text("abcdef");
  _tagMP4_OUTPUT record{0, piece.data(), 6};
  writer->SetWritePos(100);
  ASSERT_OK(writer->ProcessOutput(&record));
  writer->SetWritePos(2);
  record.size = 2;
  ASSERT_OK(writer->ProcessOutput(&record));
  writer.reset();
  EXPECT_EQ(Text("ababef"), ReadFile(output));
}

TEST_F(Writer, DeleteFileClosesAndRemovesButKeepsTheCounters) {
  const MovieBuilder clip = Clip(3);
  ASSERT_OK(ProcessFirst(clip.Build()));
  writer->DeleteFile();
  EXPECT_EQ(nullptr, writer->outputFile);
  EXPECT_FALSE(std::filesystem::exists(output));
  EXPECT_EQ(static_cast<long long>(clip.Media().size()), writer->mediaDataSize);
  EXPECT_NE(nullptr, writer->freeBox);
  writer->DeleteFile();
  writer->Reset();
  EXPECT_EQ(0, writer->mediaDataSize);
  EXPECT_EQ(nullptr, writer->freeBox);
}

TEST_F(Writer, AFailedFinalizeLeavesTheMediaWithThePlaceholderInFront) {
  const MovieBuilder clip = Clip(30);
  ASSERT_OK(ProcessFirst(clip.Build()));
  file.ResetTree();
  EXPECT_RESULT(E_POINTER, writer->Finalize(&file));
  writer.reset();
  EXPECT_EQ(clip.fileType + Box("free", {Zeros(8)}) + clip.Media(), ReadFile(output));
}

TEST_F(Writer, PassesAReadersFailureOn) {
  class FailingReader : public QUIRVA::CFileBuffer {
   public:
    HRESULT GetData(long long, unsigned int, const unsigned char*&, unsigned int&) const override {
      return -1;
    }
  };
  ASSERT_OK(ProcessFirst(Clip(3).Build()));
  FailingReader failing;
  EXPECT_RESULT(-1, writer->OutputMediaData(&file, &failing));
}

TEST_F(LiveMerge, OffsetsThatFitReturnTo32BitsAndOthersStayWide) {
  MovieBuilder wide = Clip(30, 1);
  for (Track& track : wide.tracks) track.co64 = true;
  const OracleMovie narrow = ReadMovie(Merge({wide.Build()}));
  EXPECT_FALSE(narrow.tracks[0].co64);
  EXPECT_FALSE(narrow.tracks[1].co64);
}

TEST_F(LiveMerge, NoOtherTrackOutlastsTheFirstVideoTrack) {
  MovieBuilder clip = Clip(30, 1);
  clip.tracks[1].movieDuration = 1000;
  clip.tracks[1].edits = {{1000, 0}};
  const Bytes merged = Merge({clip.Build()});
  const OracleMovie result = ReadMovie(merged);
  EXPECT_EQ(600u, result.tracks[0].trackDuration);
  EXPECT_EQ(600u, result.tracks[1].trackDuration);
  EXPECT_EQ(1000u, result.duration);
  EXPECT_EQ(600u, ReadU32(merged, FindBox(merged, "elst") + 16));
}
