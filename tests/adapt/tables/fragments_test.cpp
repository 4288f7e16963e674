#include "adapt/tables/fragments.h"
#include "adapt/boxes/tracks.h"

#include <gtest/gtest.h>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Text;
using support::U32;

Bytes OneFragment(std::uint32_t sample) {
  const Bytes header = FullBox("tfhd", 0, 0x20018, {U32(1), U32(40), U32(4)});
  const Bytes run = FullBox("trun", 0, 0x1, {U32(1), U32(84)});
  return Box("moof", {FullBox("mfhd", 0, 0, {U32(1)}), Box("traf", {header, run})}) +
         Box("mdat", {U32(sample)});
}

class FragmentsTest : public testing::Test {
 protected:
  // The outcome for one clip with that movie box and what stands behind it.
  void Adapt(const Bytes& movie, const Bytes& rest) {
    support::WriteFile(dir_ / "clip.mp4", Box("ftyp", {Text("iso6"), U32(0)}) + movie + rest);
    ASSERT_TRUE(clip_.Open(0, report_, memory_));
    AdaptFragments(clip_, 0, report_);
  }

  support::TempDir dir_;
  MemoryBudget memory_;
  FitClip clip_{(dir_ / "clip.mp4").string()};
  FitReport report_;
};

TEST_F(FragmentsTest, SamplesOfAllFragmentsGetTables) {
  Adapt(AnnouncingMovie({AnnouncedTrack{}}), OneFragment(1) + Box("sidx") + OneFragment(2));
  EXPECT_TRUE(report_.problems.empty());
  ASSERT_EQ(report_.notes.size(), 1u);
  EXPECT_EQ(report_.notes[0].kind, AdaptationKind::kFragments);
  EXPECT_EQ(clip_.movie.Child(FourCc("mvex")), nullptr);
  const RawBox& table = *SampleTable(*TracksOf(clip_.movie)[0]);
  EXPECT_EQ(ReadSizes(*table.Child(FourCc("stsz"))), (SampleSizes{4, 2, {}}));
  const auto chunks = ReadChunkOffsets(*table.Child(FourCc("stco")));
  ASSERT_TRUE(chunks && chunks->size() == 2);
  EXPECT_EQ((*chunks)[0], clip_.media[0].position);
  EXPECT_EQ((*chunks)[1], clip_.media[1].position);
}

TEST_F(FragmentsTest, AClipWithoutFragmentsKeepsItsMovie) {
  Bytes movie = AnnouncingMovie({AnnouncedTrack{}});
  RawBox box = RawBoxOf(movie);
  box.Remove(FourCc("mvex"));
  movie.clear();
  box.Write(movie);
  Adapt(movie, Box("mdat", {U32(1)}));
  EXPECT_TRUE(report_.notes.empty() && report_.problems.empty());
  Bytes written;
  clip_.movie.Write(written);
  EXPECT_EQ(written, movie);
}

TEST_F(FragmentsTest, AMovieThatAnnouncesSamplesOfOtherFilesIsRefused) {
  Adapt(AnnouncingMovie({AnnouncedTrack{}}), {});
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].kind, FitProblemKind::kFragmented);
  EXPECT_TRUE(report_.notes.empty());
}

TEST_F(FragmentsTest, DamageIsToldWithItsPlaceAndNothingIsChanged) {
  const Bytes movie = AnnouncingMovie({AnnouncedTrack{}});
  const Bytes good = OneFragment(1);
  Adapt(movie, good + support::WithU32(OneFragment(2), 44, 9));
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].box, "moof");
  EXPECT_EQ(report_.problems[0].offset, static_cast<long long>(16 + movie.size() + good.size()));
  EXPECT_NE(clip_.movie.Child(FourCc("mvex")), nullptr);
}

TEST_F(FragmentsTest, BoxesThatNoTableHoldsAreALossThatIsTold) {
  Bytes fragment = OneFragment(1);
  RawBox box = RawBoxOf(fragment);
  box.children.emplace_back(FourCc("meta"), U32(0));
  Bytes written;
  box.Write(written);
  const Bytes media = Box("mdat", {U32(1)});
  // The data begins 12 bytes later than the run says.
  Adapt(AnnouncingMovie({AnnouncedTrack{}}),
        support::WithU32(written, support::FindBox(written, "trun") + 16, 96) + media);
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].kind, FitProblemKind::kTableLost);
  EXPECT_NE(report_.problems[0].text.find("\"meta\""), std::string::npos);
  EXPECT_EQ(report_.notes.size(), 1u);
}

}  // namespace
}  // namespace clipchain
