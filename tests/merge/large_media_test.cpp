// Media beyond 32 bits, without writing it: the output is moved on over a hole that stands for what
// was copied.
#include <fcntl.h>
#include <unistd.h>

#include "merge/merge_core.h"
#include "merge/merge_fixture.h"
#include "merge/mp4_merge.h"
#include "merge/mp4_writer.h"
#include "reader/sample_table_reader.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "support/movie_builder.h"

using namespace MP4G;
using namespace support;

namespace {

class LargeMedia : public testing::Test {
 protected:
  LargeMedia() {
    EXPECT_OK(CMp4LiveMerge::CreateInstance(&merge));
    EXPECT_OK(merge->SetOutputPath(output.wstring().c_str()));
  }
  ~LargeMedia() override { merge->Release(); }

  HRESULT Input(const Bytes& bytes) {
    return merge->InputMp4Data(bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  // From here on the engine is as it would be after an input that brought the media to `total`
  // bytes.
  void GrowMediaTo(long long total) {
    CMp4Writer& writer = *merge->core->writer;
    writer.mediaDataSize = total;
    merge->core->merge->nextMediaPos = writer.mediaDataPos + total;
    writer.SetWritePos(writer.mediaDataPos + total);
  }

  Bytes ReadAt(long long position, std::size_t size) const {
    Bytes bytes(size);
    const int file = ::open(output.c_str(), O_RDONLY);
    EXPECT_EQ(static_cast<ssize_t>(size), ::pread(file, bytes.data(), size, position));
    ::close(file);
    return bytes;
  }

  TempDir folder;
  std::filesystem::path output = folder / "large.mp4";
  CMp4LiveMerge* merge = nullptr;
};

}  // namespace

TEST_F(LargeMedia, KeepsWideOffsetsAndTheLargeHeader) {
  const MovieBuilder a = Clip(30, 1);
  const MovieBuilder b = Clip(25, 2);
  constexpr long long kHole = 0x100000000;
  ASSERT_OK(Input(a.Build()));
  GrowMediaTo(kHole);
  ASSERT_OK(Input(b.Build()));
  ASSERT_OK(merge->Finalize());

  const long long head = static_cast<long long>(a.fileType.size());
  const long long media = kHole + static_cast<long long>(b.Media().size());
  EXPECT_EQ(U32(1) + Text("mdat") + U64(static_cast<std::uint64_t>(media) + 16), ReadAt(head, 16));
  EXPECT_EQ(a.Media(), ReadAt(head + 16, a.Media().size()));
  EXPECT_EQ(b.Media(), ReadAt(head + 16 + kHole, b.Media().size()));

  CMp4File result;
  ASSERT_OK(result.SetFile(output.wstring().c_str()));
  EXPECT_EQ(head + 16, result.mdatPos);
  EXPECT_EQ(media, result.mdatSize);
  const OracleMovie first = ReadMovie(a.Build());
  for (CTrackBox* track : CMovieBox_wr(result.GetMovieBox()).Tracks()) {
    const CSampleTableBox_wr table(CTrackBox_wr(track).SampleTableBox());
    EXPECT_EQ(nullptr, table.ChunkOffsetBox());
    const auto& offsets = table.ChunkLargeOffsetBox()->entries;
    const std::size_t kept = first.tracks[CTrackReader(track).GetTrackID() - 1].chunkOffsets.size();
    EXPECT_LT(offsets[kept - 1], 0x100000000u);
    EXPECT_GE(offsets[kept], static_cast<std::uint64_t>(head + 16 + kHole));
  }
}

TEST_F(LargeMedia, TheSumDecidesTheHeaderAtEachBoundary) {
  struct Case {
    long long total;
    Bytes head;
  };
  const MovieBuilder last = Clip(5, 2);
  for (const Case& expected : {Case{0xFFFFFFF6, Box("free") + U32(0xFFFFFFFE) + Text("mdat")},
                               Case{0xFFFFFFF7, U32(0xFFFFFFFF) + Text("mdat") + Zeros(8)},
                               Case{0xFFFFFFF8, U32(1) + Text("mdat") + U64(0x100000008)}}) {
    const MovieBuilder first = Clip(10, 1);
    ASSERT_OK(Input(first.Build()));
    GrowMediaTo(expected.total - static_cast<long long>(last.Media().size()));
    ASSERT_OK(Input(last.Build()));
    ASSERT_OK(merge->Finalize());
    EXPECT_EQ(HexDump(expected.head),
              HexDump(ReadAt(static_cast<long long>(first.fileType.size()), 16)));
    EXPECT_EQ(last.Media(), ReadAt(static_cast<long long>(first.fileType.size()) + 16 +
                                       expected.total - static_cast<long long>(last.Media().size()),
                                   last.Media().size()));
  }
}

TEST_F(LargeMedia, OffsetsReturnTo32BitsUpToTheLastOneThatFits) {
  for (const int beyond : {0, 1, 2}) {
    const bool fits = beyond == 0;
    MovieBuilder first = Clip(10, 1);
    MovieBuilder last = Clip(10, 2);
    // One chunk per track, so that the last track's only chunk decides.
    for (MovieBuilder* clip : {&first, &last}) {
      clip->tracks.resize(1);
      clip->tracks[0].samplesPerChunk = 10;
    }
    ASSERT_OK(Input(first.Build()));
    GrowMediaTo(0xFFFFFFFF - merge->core->writer->mediaDataPos + beyond);
    ASSERT_OK(Input(last.Build()));
    ASSERT_OK(merge->Finalize());
    CMp4File result;
    ASSERT_OK(result.SetFile(output.wstring().c_str()));
    const CSampleTableBox_wr table(
        CTrackBox_wr(CMovieBox_wr(result.GetMovieBox()).Tracks()[0]).SampleTableBox());
    EXPECT_EQ(fits, table.ChunkOffsetBox() != nullptr);
    EXPECT_EQ(!fits, table.ChunkLargeOffsetBox() != nullptr);
    if (fits) {
      EXPECT_EQ(0xFFFFFFFFu, table.ChunkOffsetBox()->entries.back());
    } else {
      EXPECT_EQ(0xFFFFFFFFull + static_cast<unsigned int>(beyond),
                table.ChunkLargeOffsetBox()->entries.back());
    }
  }
}
