// Real clips, merged by the tool and judged by independent readers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "apps/tool.h"
#include "support/media.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Paths = std::vector<std::string>;

template <class Value>
void Append(std::vector<Value>& all, const std::vector<Value>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

void ExpectPacketsInOrder(const Paths& inputs, const std::string& merged, const char* kind) {
  std::vector<std::string> expected;
  for (const std::string& input : inputs) Append(expected, support::PacketHashes(input, kind));
  EXPECT_EQ(expected, support::PacketHashes(merged, kind));
}

// Each clip's times go on where the media of the clips before it ended.
void ExpectContinuousTimes(const Paths& inputs, const std::string& merged, const char* kind) {
  std::vector<long long> expected;
  long long start = 0;
  for (const std::string& input : inputs) {
    for (const long long time : support::PresentationTimes(input, kind))
      expected.push_back(start + time);
    start += support::MediaDuration(input, kind);
  }
  EXPECT_EQ(expected, support::PresentationTimes(merged, kind));
  EXPECT_EQ(start, support::MediaDuration(merged, kind));
}

// Merges the clips and takes a first look at the result.
std::string Merged(const Paths& inputs, const support::TempDir& folder) {
  const std::string merged = folder / "merged.mp4";
  // Sound that is longer or shorter than the picture is no fault here: these clips are made so.
  Paths arguments = {"merge", "--exact", "--force", "-o", merged};
  Append(arguments, inputs);
  const support::Finished run = Tool(arguments);
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_EQ("", support::DecodingComplaints(merged));
  return merged;
}

void ExpectMerged(const Paths& inputs, const std::vector<const char*>& kinds = {"v", "a"}) {
  const support::TempDir folder;
  const std::string merged = Merged(inputs, folder);
  for (const char* kind : kinds) {
    ExpectPacketsInOrder(inputs, merged, kind);
    ExpectContinuousTimes(inputs, merged, kind);
  }
}

Paths Family(const fs::path& media, const std::string& name) {
  Paths clips;
  for (const fs::directory_entry& entry : fs::directory_iterator(media / name))
    clips.push_back(entry.path());
  std::sort(clips.begin(), clips.end());
  return clips;
}

Paths ExampleClips() {
  Paths clips;
  for (const char* name : {"clip1.mp4", "clip2.mp4", "clip3.mp4"})
    clips.push_back(support::SourcePath("examples/clips") / name);
  return clips;
}

class FamilyMerge : public testing::TestWithParam<const char*> {};
class LinearSoundMerge : public FamilyMerge {};

std::string Name(const testing::TestParamInfo<const char*>& family) { return family.param; }

}  // namespace

TEST_P(FamilyMerge, KeepsEveryPacketAndGoesOnInTime) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const Paths clips = Family(media, GetParam());
  ASSERT_LE(2u, clips.size());
  ExpectMerged(clips);
}

INSTANTIATE_TEST_SUITE_P(Clips, FamilyMerge,
                         testing::Values("avc_aac", "mpeg4_visual", "video_only", "audio_only",
                                         "large_offsets", "movie_box_in_front_and_behind",
                                         "large_media_box", "no_edit_lists", "single_frames",
                                         "tracks_in_opposite_order"),
                         Name);

// How readers cut linear sound into packets is up to them: its bytes count.
TEST_P(LinearSoundMerge, KeepsEveryByteAndGoesOnInTime) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const Paths clips = Family(media, GetParam());
  const support::TempDir folder;
  const std::string merged = Merged(clips, folder);
  ExpectPacketsInOrder(clips, merged, "v");
  ExpectContinuousTimes(clips, merged, "v");
  std::string sound;
  long long duration = 0;
  for (const std::string& clip : clips) {
    sound += support::StreamBytes(clip, "a");
    duration += support::MediaDuration(clip, "a");
  }
  ASSERT_FALSE(sound.empty());
  EXPECT_TRUE(sound == support::StreamBytes(merged, "a"));
  EXPECT_EQ(duration, support::MediaDuration(merged, "a"));
}

INSTANTIATE_TEST_SUITE_P(Clips, LinearSoundMerge,
                         testing::Values("lpcm_little_endian", "lpcm_big_endian"), Name);

TEST(ExampleClips, MergeIntoTheRecordingTheyWereCutFrom) {
  ASSERT_TRUE(support::HasMediaTools()) << "scripts/test installs ffmpeg";
  ExpectMerged(ExampleClips(), {"v", "a", "d"});
}

TEST(ExampleClips, KeepPictureAndSoundTogetherOverTheSeams) {
  ASSERT_TRUE(support::HasMediaTools()) << "scripts/test installs ffmpeg";
  constexpr double kPictureTicks = 12800;
  constexpr double kSoundTicks = 48000;
  constexpr double kSoundFrame = 1024 / kSoundTicks;
  double pictures = 0;
  double sound = 0;
  for (const std::string& clip : ExampleClips()) {
    EXPECT_LT(std::abs(pictures - sound), kSoundFrame) << "at the start of " << clip;
    pictures += static_cast<double>(support::MediaDuration(clip, "v")) / kPictureTicks;
    sound += static_cast<double>(support::MediaDuration(clip, "a")) / kSoundTicks;
  }
  EXPECT_NEAR(7.68, pictures, 0.001);
}
