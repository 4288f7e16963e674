#include "workflow/clip_info.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/fourcc.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using clipchain::BoxInfo;
using clipchain::ClipInfo;
using clipchain::ReadClipInfo;
using support::Bytes;
using support::Id;
using support::operator+;

namespace {

class ClipInfoOf : public testing::Test {
 protected:
  HRESULT Read(const Bytes& bytes) {
    support::WriteFile(folder / "clip", bytes);
    boxes.clear();
    clipchain::ClipInfoOptions options;
    options.box = [this](const BoxInfo& box) {
      EXPECT_LT(0, info.size);
      boxes.push_back(box);
      return boxes.size() < mostBoxes;
    };
    return ReadClipInfo((folder / "clip").string(), info, options);
  }

  // Whether every box stands where the file has its header.
  void ExpectBoxesStandInFile(const Bytes& bytes) const {
    for (const BoxInfo& box : boxes) {
      SCOPED_TRACE(FourCcText(box.type));
      const auto at = static_cast<std::size_t>(box.position);
      EXPECT_EQ(box.type, support::ReadU32(bytes, at + 4));
      const std::uint32_t size = support::ReadU32(bytes, at);
      if (size > 1) {
        EXPECT_EQ(size, box.size);
      }
      EXPECT_GE(static_cast<long long>(bytes.size()), box.position + box.size);
    }
  }

  const BoxInfo* Find(unsigned int type) const {
    for (const BoxInfo& box : boxes) {
      if (box.type == type) return &box;
    }
    return nullptr;
  }

  support::TempDir folder;
  ClipInfo info;
  std::vector<BoxInfo> boxes;
  std::size_t mostBoxes = 1'000'000;
};

}  // namespace

TEST_F(ClipInfoOf, AMovieWhoseDateWasNeverSetHasNone) {
  support::MovieBuilder movie = support::Clip(30);
  movie.creationTime = 0;
  ASSERT_OK(Read(movie.Build()));
  EXPECT_EQ(std::nullopt, info.date);
}

TEST_F(ClipInfoOf, AMovieTellsItsTracks) {
  support::MovieBuilder movie = support::Clip(30);
  movie.creationTime = 60;
  const Bytes bytes = movie.Build();
  ASSERT_OK(Read(bytes));
  EXPECT_EQ(static_cast<long long>(bytes.size()), info.size);
  EXPECT_EQ(600u, info.timeScale);
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 1, 0}), info.date);
  EXPECT_OK(info.analysis);
  EXPECT_OK(info.boxesResult);
  ASSERT_EQ(2u, info.tracks.size());
  const clipchain::TrackInfo& video = info.tracks[0];
  EXPECT_EQ(movie.tracks[0].id, video.id);
  EXPECT_EQ(FourCc("vide"), video.handler);
  EXPECT_EQ((std::vector<unsigned int>{FourCc("avc1")}), video.sampleEntries);
  EXPECT_EQ(30u, video.samples);
  EXPECT_EQ(30000u, video.timeScale);
  EXPECT_EQ(30000, video.duration);
  EXPECT_EQ(FourCc("soun"), info.tracks[1].handler);
  EXPECT_EQ((std::vector<unsigned int>{FourCc("mp4a")}), info.tracks[1].sampleEntries);
  EXPECT_FALSE(info.cameraStream);
  EXPECT_FALSE(info.hasIdentifiers);
}

TEST_F(ClipInfoOf, ACamerasClipTellsItsIdentifiers) {
  ASSERT_OK(Read(support::TinyClip(support::ChainLink(2, 3))));
  EXPECT_TRUE(info.cameraStream);
  EXPECT_TRUE(info.hasIdentifiers);
  EXPECT_TRUE(info.uniqueID == Id(2));
  EXPECT_TRUE(info.previousID == Id(1));
  EXPECT_TRUE(info.nextID == Id(3));
  const BoxInfo* box = Find(FourCc("uuid"));
  ASSERT_NE(nullptr, box);
  EXPECT_EQ("85c0b687-820f-11e0-8111-f4ce462b6a48", QUIRVA::GuidText(box->usertype));
}

TEST_F(ClipInfoOf, EveryBoxStandsWhereItIsListed) {
  for (const bool movieFirst : {false, true}) {
    for (const bool large : {false, true}) {
      support::MovieBuilder movie = support::Clip(7);
      movie.movieFirst = movieFirst;
      movie.largeMediaHeader = large;
      movie.between = support::Box("free", {support::Zeros(3)});
      movie.tail = support::Box("free");
      const Bytes bytes = movie.Build();
      info = {};
      ASSERT_OK(Read(bytes));
      ExpectBoxesStandInFile(bytes);
      const BoxInfo* media = Find(FourCc("mdat"));
      ASSERT_NE(nullptr, media);
      EXPECT_EQ(static_cast<long long>(movie.Media().size()) + (large ? 16 : 8), media->size);
      EXPECT_EQ(0u, media->depth);
      // Deep down, behind boxes that do not know where they stand.
      ASSERT_NE(nullptr, Find(FourCc("avcC")));
      EXPECT_EQ(7u, Find(FourCc("avcC"))->depth);
      EXPECT_EQ(FourCc("free"), boxes.back().type);
    }
  }
}

TEST_F(ClipInfoOf, MediaToTheEndOfTheFileHasTheSizeThatIsLeft) {
  support::MovieBuilder movie = support::Clip(7);
  movie.movieFirst = true;
  movie.mediaToEnd = true;
  const Bytes bytes = movie.Build();
  ASSERT_OK(Read(bytes));
  ExpectBoxesStandInFile(bytes);
  const BoxInfo& media = boxes.back();
  EXPECT_EQ(FourCc("mdat"), media.type);
  EXPECT_EQ(static_cast<long long>(bytes.size()), media.position + media.size);
}

TEST_F(ClipInfoOf, SeveralSampleDescriptionsStandBehindEachOther) {
  support::MovieBuilder movie;
  support::Track track = support::VideoTrack(3);
  track.sampleEntry = support::Join({track.sampleEntry, support::AvcEntry()});
  const Bytes bytes = movie.Add(track).Build();
  ASSERT_OK(Read(bytes));
  EXPECT_EQ((std::vector<unsigned int>{FourCc("avc1"), FourCc("avc1")}),
            info.tracks.at(0).sampleEntries);
  ExpectBoxesStandInFile(bytes);
}

TEST_F(ClipInfoOf, DamageInTheCamerasBoxHidesNothingElse) {
  Bytes stray = support::MarkerBox();
  stray.resize(stray.size() + 3);
  support::MovieBuilder movie = support::Clip(3);
  movie.creationTime = 5;
  ASSERT_OK(Read(support::WithVendorBox(movie.Build(), support::VendorBoxOf({stray}))));
  EXPECT_RESULT(S_FALSE, info.analysis);
  EXPECT_TRUE(info.cameraStream);
  EXPECT_EQ(2u, info.tracks.size());
  ASSERT_TRUE(info.date.has_value());
  EXPECT_EQ(5, info.date->second);
}

TEST_F(ClipInfoOf, ABoxCutShortEndsTheTreeThere) {
  // The table of the last box claims more than the box has.
  support::MovieBuilder movie;
  movie.extraMovieBoxes = support::Box(
      "trak", {support::Box("edts", {support::FullBox("elst", 0, 0, {support::U32(9)})})});
  ASSERT_OK(Read(movie.Build()));
  EXPECT_RESULT(S_FALSE, info.boxesResult);
  EXPECT_EQ(1u, info.tracks.size());
  EXPECT_NE(nullptr, Find(FourCc("elst")));
}

TEST_F(ClipInfoOf, WithoutAHandlerOrDescriptionsATrackStillCounts) {
  support::MovieBuilder movie;
  movie.withMovieHeader = false;
  movie.extraMovieBoxes = support::Box("trak");
  ASSERT_OK(Read(movie.Build()));
  ASSERT_EQ(1u, info.tracks.size());
  EXPECT_EQ(0u, info.tracks[0].handler);
  EXPECT_TRUE(info.tracks[0].sampleEntries.empty());
  EXPECT_EQ(0u, info.timeScale);
  EXPECT_FALSE(info.date.has_value());
}

TEST_F(ClipInfoOf, AFileThatIsNoClipIsRefusedWithWhatWasFound) {
  const Bytes whole = support::Clip(3).Build();
  EXPECT_RESULT(E_BAD_DATA, Read(Bytes(whole.begin(), whole.end() - 1)));
  EXPECT_EQ(static_cast<long long>(whole.size()) - 1, info.size);
  EXPECT_TRUE(boxes.empty());
  info = {};
  EXPECT_RESULT(E_BAD_TYPE, Read(support::Text("These are notes about a clip.\n")));
  EXPECT_RESULT(E_HANDLE, ReadClipInfo((folder / "absent").string(), info));
  info = {};
  EXPECT_OK(Read(whole));
}

// As a merge takes it.
TEST_F(ClipInfoOf, AClipThatIsAdaptedTellsAllThatItHas) {
  support::MovieBuilder movie;
  movie.creationTime = 3'800'000'000;
  movie.Add(support::VideoTrack(90)).Add(support::AudioTrack(140));
  movie.fileType = movie.fileType + support::Box("wide");
  movie.extraMovieBoxes = support::FullBox("meta", 0, 0, {support::Box("keys", {support::U32(7)})});
  const Bytes bytes = movie.Build();
  ASSERT_OK(Read(bytes));
  EXPECT_OK(info.boxesResult);
  EXPECT_TRUE(info.date.has_value());
  ASSERT_EQ(2u, info.tracks.size());
  EXPECT_EQ(90u, info.tracks[0].samples);
  EXPECT_EQ(FourCc("vide"), info.tracks[0].handler);
  EXPECT_EQ(std::vector<unsigned int>{FourCc("avc1")}, info.tracks[0].sampleEntries);
  ExpectBoxesStandInFile(bytes);
  ASSERT_NE(nullptr, Find(FourCc("wide")));
  ASSERT_NE(nullptr, Find(FourCc("stsd")));
  EXPECT_EQ(5u, Find(FourCc("stsd"))->depth);
  for (const unsigned int type : {FourCc("avc1"), FourCc("mp4a"), FourCc("url "), FourCc("keys")})
    EXPECT_NE(nullptr, Find(type)) << FourCcText(type);
  mostBoxes = boxes.size() - 3;
  info = {};
  ASSERT_OK(Read(bytes));
  EXPECT_EQ(mostBoxes, boxes.size());
}

TEST_F(ClipInfoOf, AClipWithFragmentsTellsTheirSamples) {
  support::MovieBuilder movie;
  movie.Add(support::VideoTrack(0));
  movie.extraMovieBoxes =
      support::Box("mvex", {support::FullBox("trex", 0, 0,
                                             {support::U32(1), support::U32(1), support::U32(1000),
                                              support::U32(10), support::U32(0)})});
  movie.tail =
      support::Box(
          "moof",
          {support::FullBox("mfhd", 0, 0, {support::U32(1)}),
           support::Box("traf",
                        {support::FullBox("tfhd", 0, 0x020000, {support::U32(1)}),
                         support::FullBox("trun", 0, 1, {support::U32(45), support::U32(76)})})}) +
      support::Box("mdat", {support::Fill(450, 7)});
  const Bytes bytes = movie.Build();
  ASSERT_OK(Read(bytes));
  ASSERT_EQ(1u, info.tracks.size());
  EXPECT_EQ(45u, info.tracks[0].samples);
  EXPECT_EQ(45'000, info.tracks[0].duration);
  EXPECT_EQ(1500u, info.duration * 1000 / info.timeScale);
  ExpectBoxesStandInFile(bytes);
  EXPECT_NE(nullptr, Find(FourCc("moof")));
}

TEST_F(ClipInfoOf, ListsBoxesAsLongAsSomebodyListens) {
  mostBoxes = 5;
  ASSERT_OK(Read(support::Clip(3).Build()));
  EXPECT_EQ(5u, boxes.size());
}

TEST_F(ClipInfoOf, TakesNoMoreMemoryThanItMay) {
  support::MovieBuilder movie = support::Clip(3);
  const Bytes box = support::Box("free");
  for (int i = 0; i < 10'000; ++i)
    movie.extraMovieBoxes.insert(movie.extraMovieBoxes.end(), box.begin(), box.end());
  support::WriteFile(folder / "clip", movie.Build());
  clipchain::ClipInfoOptions options;
  options.memoryLimit = 4'000'000;
  EXPECT_RESULT(E_OUTOFMEMORY, ReadClipInfo((folder / "clip").string(), info, options));
  EXPECT_TRUE(info.tracks.empty());
  options.memoryLimit = 10'000'000;
  EXPECT_OK(ReadClipInfo((folder / "clip").string(), info, options));
}
