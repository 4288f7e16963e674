// What fits, what is refused, and what becomes of offsets and durations.
#include "merge/mp4_merge.h"

#include "foundation/file_buffer.h"
#include "merge/merge_fixture.h"
#include "support/movie_builder.h"

using namespace MP4G;
using namespace support;

namespace {

// The code that a second input gives when its clip is changed in one thing.
template <class Change>
HRESULT SecondInputChanged(IMp4LiveMerge* merge, Change change) {
  MovieBuilder first = Clip(30, 1);
  MovieBuilder second = Clip(25, 2);
  const auto input = [merge](const MovieBuilder& clip) {
    const Bytes bytes = clip.Build();
    return merge->InputMp4Data(bytes.data(), static_cast<unsigned int>(bytes.size()));
  };
  change(first, second);
  EXPECT_OK(input(first));
  return input(second);
}

std::uint32_t EditDuration(const Bytes& file) { return ReadU32(file, FindBox(file, "elst") + 16); }

}  // namespace

TEST_F(LiveMerge, TakesASecondInputThatDiffersInNothingThatCounts) {
  EXPECT_OK(SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
    second.fileType = Box("ftyp", {Text("qt  "), U32(3)});
    second.creationTime = 12345;
    second.tracks[0].movieDuration = 1;
  }));
}

TEST_F(LiveMerge, RefusesAnotherMovieTimeScale) {
  EXPECT_RESULT(MP4G_E_TIME_SCALE,
                SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
                  second.timeScale = 1000;
                  second.Add(AudioTrack(10, 3));  // looked at later
                }));
  EXPECT_FALSE(OutputExists());
}

TEST_F(LiveMerge, RefusesAnotherNumberOfTracks) {
  EXPECT_RESULT(MP4G_E_TRACK_COUNT,
                SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
                  second.Add(AudioTrack(10, 3));
                }));
}

TEST_F(LiveMerge, RefusesATrackOfAnotherKind) {
  EXPECT_RESULT(E_BAD_DATA,
                SecondInputChanged(merge, [](MovieBuilder& first, MovieBuilder& second) {
                  first.tracks.pop_back();
                  second.tracks.erase(second.tracks.begin());
                }));
}

TEST_F(LiveMerge, RefusesWhenAKindIsUsedUp) {
  EXPECT_RESULT(E_BAD_DATA, SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
                  second.tracks[1] = VideoTrack(25, 2);
                }));
}

TEST_F(LiveMerge, RefusesAnotherMediaTimeScale) {
  EXPECT_RESULT(MP4G_E_TIME_SCALE,
                SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
                  second.tracks[1].timeScale = 44100;
                }));
}

TEST_F(LiveMerge, RefusesAnEditListInOneInputOnly) {
  EXPECT_RESULT(E_INVALIDARG, SecondInputChanged(merge, [](MovieBuilder& first, MovieBuilder&) {
                  first.tracks[0].edits = {{600, 0}};
                }));
}

TEST_F(LiveMerge, RefusesAnEmptyEditList) {
  EXPECT_RESULT(E_BAD_DATA,
                SecondInputChanged(merge, [](MovieBuilder& first, MovieBuilder& second) {
                  first.tracks[0].edits = {{600, 0}};
                  second.tracks[0].edits.emplace();
                }));
}

TEST_F(LiveMerge, RefusesAnotherSampleDescriptionAsATableFailure) {
  EXPECT_RESULT(
      MP4G_E_SAMPLE_TABLE, SecondInputChanged(merge, [](MovieBuilder&, MovieBuilder& second) {
        second.tracks[0].sampleEntry = AvcEntry(Hex("01640028FFE1000467640029 01000468EE3CB0"));
      }));
}

TEST_F(LiveMerge, RefusesMissingHeaders) {
  for (int which = 0; which < 3; ++which) {
    ASSERT_OK(merge->SetOutputPath((folder / ("out" + std::to_string(which))).wstring().c_str()));
    const HRESULT result = SecondInputChanged(merge, [which](MovieBuilder&, MovieBuilder& second) {
      if (which == 0) second.withMovieHeader = false;
      if (which == 1) second.tracks[0].withMediaHeader = false;
      if (which == 2) second.tracks[0].withTrackHeader = false;
    });
    EXPECT_RESULT(E_BAD_DATA, result) << which;
    EXPECT_RESULT(S_OK, merge->Finalize());
  }
}

TEST_F(LiveMerge, RefusesTablesPresentOnOneSideOnly) {
  const std::vector<void (*)(Track&)> changes = {
      [](Track& track) {
        track.ctts = {{static_cast<std::uint32_t>(track.SampleCount()), 0}};
      },
      [](Track& track) { track.stss = {1}; },
      [](Track& track) { track.sdtp = Zeros(track.SampleCount()); },
      [](Track& track) {
        track.extraTableBoxes = FullBox("stz2", 0, 0, {Hex("00000008"), U32(0)});
      },
  };
  for (const auto change : changes) {
    for (const bool onFirst : {true, false}) {
      const HRESULT result =
          SecondInputChanged(merge, [&](MovieBuilder& first, MovieBuilder& second) {
            change((onFirst ? first : second).tracks[0]);
          });
      EXPECT_RESULT(MP4G_E_SAMPLE_TABLE, result);
      EXPECT_OK(merge->Finalize());
      EXPECT_OK(SecondInputChanged(merge, [&](MovieBuilder& first, MovieBuilder& second) {
        change(first.tracks[0]);
        change(second.tracks[0]);
      }));
      EXPECT_OK(merge->Finalize());
    }
  }
}

TEST_F(LiveMerge, RefusesATrackWithoutChunkOffsets) {
  Bytes clip = Clip(30).Build();
  const std::size_t stco = FindBox(clip, "stco");
  clip[stco + 4] = 'f';
  EXPECT_RESULT(E_BAD_DATA, Input(clip));
}

TEST_F(LiveMerge, PairsTracksByKindWhateverTheirIdentifiersAndOrder) {
  const MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  std::swap(b.tracks[0], b.tracks[1]);
  b.tracks[0].id = 7;
  b.tracks[1].id = 9;
  const Bytes merged = Merge({a.Build(), b.Build()});
  ExpectSamplesInOrder(merged, {a.Build(), b.Build()});
  EXPECT_EQ(1u, ReadMovie(merged).tracks[0].id);
  EXPECT_EQ("avc1", ReadMovie(merged).tracks[0].entryType);
}

TEST_F(LiveMerge, PairsTwoTracksOfAKindInBoxOrder) {
  MovieBuilder a = Clip(30, 1);
  a.Add(AudioTrack(47, 3));
  MovieBuilder b = Clip(25, 2);
  b.Add(AudioTrack(40, 3));
  const OracleMovie first = ReadMovie(a.Build());
  const OracleMovie second = ReadMovie(b.Build());
  const OracleMovie merged = ReadMovie(Merge({a.Build(), b.Build()}));
  for (std::size_t t = 1; t < 3; ++t) {
    std::vector<OracleSample> expected = first.tracks[t].samples;
    expected.insert(expected.end(), second.tracks[t].samples.begin(),
                    second.tracks[t].samples.end());
    EXPECT_TRUE(expected == merged.tracks[t].samples) << t;
  }
}

TEST_F(LiveMerge, AnIdentifierIsUsedOnlyOnce) {
  // The second input's two audio tracks share an identifier: the one that is left can't be taken.
  EXPECT_RESULT(E_BAD_DATA,
                SecondInputChanged(merge, [](MovieBuilder& first, MovieBuilder& second) {
                  first.Add(AudioTrack(10, 3));
                  second.Add(AudioTrack(10, 2));
                }));
}

TEST_F(LiveMerge, MergesMoviesWithoutTracks) {
  const Bytes empty = MovieBuilder().Build();
  const OracleMovie merged = ReadMovie(Merge({empty, empty}));
  EXPECT_TRUE(merged.tracks.empty());
}

TEST_F(LiveMerge, DerivesTheTrackDurationFromTheSummedMediaDuration) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  a.tracks[0].movieDuration = 999;  // not what the media says
  const OracleMovie merged = ReadMovie(Merge({a.Build(), b.Build()}));
  EXPECT_EQ(55000u, merged.tracks[0].mediaDuration);
  EXPECT_EQ(55000u * 600 / 30000, merged.tracks[0].trackDuration);
  EXPECT_EQ((46u + 39u) * 1024 * 600 / 48000, merged.tracks[1].trackDuration);
}

TEST_F(LiveMerge, OneEditGetsTheTrackDuration) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  a.tracks[0].edits = {{5, 1000}};
  b.tracks[0].edits = {{7, 0}};
  const Bytes merged = Merge({a.Build(), b.Build()});
  EXPECT_EQ(ReadMovie(merged).tracks[0].trackDuration, EditDuration(merged));
  EXPECT_EQ(1100u, EditDuration(merged));
  EXPECT_EQ(1000u, ReadU32(merged, FindBox(merged, "elst") + 20));
}

TEST_F(LiveMerge, SeveralEditsKeepTheSumInTheFirst) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  a.tracks[0].edits = {{5, 1000}, {6, 2000}};
  b.tracks[0].edits = {{7, 0}, {8, 0}, {9, 0}};
  const Bytes merged = Merge({a.Build(), b.Build()});
  const std::size_t list = FindBox(merged, "elst");
  EXPECT_EQ(2u, ReadU32(merged, list + 12));
  EXPECT_EQ(12u, ReadU32(merged, list + 16));
  EXPECT_EQ(6u, ReadU32(merged, list + 28));
  EXPECT_EQ(1100u, ReadMovie(merged).tracks[0].trackDuration);
}

TEST_F(LiveMerge, NarrowHeadersWriteTheLow32BitsOfALongDuration) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  a.tracks[0].mediaDuration = 0xFFFFFFF0;
  b.tracks[0].mediaDuration = 0x20;
  a.duration = 0xFFFFFFFF;
  b.duration = 3;
  const OracleMovie merged = ReadMovie(Merge({a.Build(), b.Build()}));
  EXPECT_EQ(0x10u, merged.tracks[0].mediaDuration);
  EXPECT_EQ(2u, merged.duration);
}

TEST_F(LiveMerge, TwoMediaBoxesContributeTheLast) {
  MovieBuilder clip = Clip(30, 1);
  clip.movieFirst = true;
  clip.between = Box("mdat", {Zeros(50)});
  const Bytes merged = Merge({clip.Build()});
  ExpectSamplesInOrder(merged, {clip.Build()});
  EXPECT_EQ(
      clip.fileType.size() + 16 + clip.Media().size() + ReadU32(merged, FindBox(merged, "moov")),
      merged.size());
}

TEST_F(LiveMerge, ThreeInputsShiftSyncSamplesAndChunksByAllBefore) {
  MovieBuilder clips[3] = {Clip(30, 1), Clip(25, 2), Clip(21, 3)};
  for (MovieBuilder& clip : clips) {
    clip.tracks[0].stss = {1, 11};
    clip.tracks[0].ctts = {{1, 1000},
                           {static_cast<std::uint32_t>(clip.tracks[0].SampleCount()) - 1, 2000}};
    clip.tracks[0].sdtp = Fill(clip.tracks[0].SampleCount(), clip.tracks[0].mediaSeed);
  }
  const Bytes merged = Merge({clips[0].Build(), clips[1].Build(), clips[2].Build()});
  ExpectSamplesInOrder(merged, {clips[0].Build(), clips[1].Build(), clips[2].Build()});
  const std::size_t stss = FindBox(merged, "stss");
  const std::vector<std::uint32_t> expected = {1, 11, 31, 41, 56, 66};
  for (std::uint32_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(expected[i], ReadU32(merged, stss + 16 + 4 * i));
  const std::size_t sdtp = FindBox(merged, "sdtp");
  EXPECT_EQ(12u + 30 + 25 + 21, ReadU32(merged, sdtp));
  EXPECT_EQ(3, merged[sdtp + 12 + 55]);
}

namespace {

class Offsets : public testing::Test {
 protected:
  HRESULT Rewrite(long long delta) {
    MovieBuilder clip = Clip(30, 1);
    const Bytes bytes = clip.Build();
    QUIRVA::CFileBuffer source;
    EXPECT_OK(source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    EXPECT_OK(file.SetReader(&source));
    before = ReadMovie(bytes).tracks[0].chunkOffsets;
    return merge.RewriteOffset(&file, delta);
  }
  std::vector<std::uint64_t> After(unsigned int track = 0) {
    const CBox* box =
        file.GetMovieBox()->GetChildBox(FourCc("trak"), track)->GetChildBox(FourCc("mdia"), 0);
    box = box->GetChildBox(FourCc("minf"), 0)->GetChildBox(FourCc("stbl"), 0);
    const auto* offsets = dynamic_cast<CChunkLargeOffsetBox*>(box->GetChildBox(FourCc("co64"), 0));
    return {offsets->entries.begin(), offsets->entries.end()};
  }

  CMp4Merge merge;
  CMp4File file;
  std::vector<std::uint64_t> before;
};

}  // namespace

TEST_F(Offsets, MoveUpByAPositiveDelta) {
  ASSERT_OK(Rewrite(0x100000000));
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(before[i] + 0x100000000, After()[i]);
}

TEST_F(Offsets, StayWithADeltaOfZero) {
  ASSERT_OK(Rewrite(0));
  EXPECT_EQ(before, After());
}

TEST_F(Offsets, StopAtZeroWithANegativeDelta) {
  const long long delta = 300;
  ASSERT_OK(Rewrite(-delta));
  EXPECT_EQ(0u, After()[0]);
  EXPECT_EQ(before.back() - 300, After().back());
  ASSERT_OK(Rewrite(-static_cast<long long>(before[1])));
  EXPECT_EQ(0u, After()[1]);
}

// Such tracks are found by their identifier, which leads to the first of them each time.
TEST_F(Offsets, OfTracksOfOneIdentifierMoveInTheFirstAloneOnceForEach) {
  for (const long long delta : {7LL, -7LL, -1000000LL}) {
    SCOPED_TRACE(delta);
    MovieBuilder clip = Clip(30, 1);
    clip.Add(AudioTrack(30, 1));
    for (Track& track : clip.tracks) track.id = 1;
    ASSERT_EQ(3u, clip.tracks.size());
    const Bytes bytes = clip.Build();
    QUIRVA::CFileBuffer source;
    ASSERT_OK(source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    ASSERT_OK(file.SetReader(&source));
    ASSERT_OK(merge.RewriteOffset(&file, delta));
    const OracleMovie movie = ReadMovie(bytes);
    for (std::uint64_t& offset : before = movie.tracks[0].chunkOffsets)
      offset = delta < -1000 ? 0 : offset + 3 * static_cast<std::uint64_t>(delta);
    EXPECT_EQ(before, After());
    EXPECT_EQ(movie.tracks[1].chunkOffsets, After(1));
  }
}

TEST_F(Offsets, MoveUpToTheTrackThatFails) {
  Bytes bytes = Clip(30, 1).Build();
  before = ReadMovie(bytes).tracks[0].chunkOffsets;
  bytes[FindBox(bytes, "tkhd", 1) + 4] = 'x';
  QUIRVA::CFileBuffer source;
  ASSERT_OK(source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size())));
  ASSERT_OK(file.SetReader(&source));
  EXPECT_RESULT(E_BAD_DATA, merge.RewriteOffset(&file, 5));
  EXPECT_EQ(before[0] + 5, After()[0]);
}

TEST_F(Offsets, OfATrackWithoutASampleTableAreAFailure) {
  Bytes bytes = Clip(30, 1).Build();
  bytes[FindBox(bytes, "stbl", 1) + 4] = 'x';
  QUIRVA::CFileBuffer source;
  ASSERT_OK(source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size())));
  ASSERT_OK(file.SetReader(&source));
  EXPECT_RESULT(E_POINTER, merge.RewriteOffset(&file, 5));
}

TEST_F(Offsets, ComeFromTheMediaPositions) {
  // A file's media of 1000 bytes at 48 comes to lie at 48; the next one's 500 bytes at 40 follow at
  // 1048.
  CMp4File first;
  first.mdatPos = 48;
  first.mdatSize = 1000;
  CMp4File second;
  second.mdatPos = 40;
  second.mdatSize = 500;
  static_cast<void>(merge.ProcessFirstFile(&first, 48));
  EXPECT_EQ(1048, merge.nextMediaPos);
  EXPECT_RESULT(E_BAD_DATA, merge.Merge(&first, &second));
  EXPECT_EQ(1548, merge.nextMediaPos);
  merge.Reset();
  EXPECT_EQ(0, merge.nextMediaPos);
}

TEST_F(Offsets, NeedAFile) {
  CMp4File some;
  EXPECT_RESULT(E_POINTER, merge.ProcessFirstFile(nullptr, 5));
  EXPECT_RESULT(E_POINTER, merge.Merge(nullptr, &some));
  EXPECT_RESULT(E_POINTER, merge.Merge(&some, nullptr));
  EXPECT_RESULT(E_POINTER, merge.RewriteOffset(nullptr, 5));
}
