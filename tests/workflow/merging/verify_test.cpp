#include "workflow/merging/verify.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "support/merged_clips.h"
#include "support/movie_builder.h"
#include "support/processor_time.h"

using namespace clipchain;
using support::Bytes;
using support::FindBox;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class VerifyTest : public support::MergedClips {
 protected:
  Findings Look(const Bytes& merged, bool everyByte = false) {
    const std::string path = Put("looked at", merged);
    FileBytes file(path);
    MergeImage image;
    Findings faults = MakeMergeImage({inputs}, image);
    if (!faults.empty()) return faults;
    return Verify({inputs, image, "out.mp4", file, everyByte, progress});
  }

  // The one thing that is wrong.
  void ExpectFinding(const Bytes& merged, Message message, const std::string& box,
                     const std::string& words, bool everyByte = false) {
    const Findings found = Look(merged, everyByte);
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ(MessageName(message), MessageName(found[0].message));
    EXPECT_EQ(MessageSeverity(message), found[0].severity);
    EXPECT_EQ("out.mp4", found[0].path);
    EXPECT_EQ(box, found[0].box);
    EXPECT_THAT(found[0].text, HasSubstr(words));
    EXPECT_NE("", found[0].remedy);
  }

  // A number behind the header of the n-th box of that type, made larger.
  static Bytes Changed(Bytes bytes, const char* type, std::size_t index, std::size_t offset,
                       std::uint32_t by = 1) {
    const std::size_t at = FindBox(bytes, type, index);
    EXPECT_NE(support::kNotFound, at) << type;
    return support::WithU32(bytes, at + offset, support::ReadU32(bytes, at + offset) + by);
  }
  static Bytes Flipped(Bytes bytes, std::size_t at) {
    bytes.at(at) ^= 0x10;
    return bytes;
  }

  clipchain::Progress progress;
};

constexpr char kTable[] = "moov/trak[0]/mdia/minf/stbl/";

}  // namespace

TEST_F(VerifyTest, FindsNothingInWhatTheEngineMakes) {
  const Bytes merged = MergeTwo();
  EXPECT_THAT(Look(merged), IsEmpty());
  EXPECT_THAT(Look(merged, true), IsEmpty());
}

TEST_F(VerifyTest, FindsNothingInASingleClipOrInManyForms) {
  EXPECT_THAT(Look(Merge({support::Clip(30, 1).Build()})), IsEmpty());
  support::MovieBuilder first = support::Clip(12, 1);
  support::MovieBuilder second = support::Clip(17, 2);
  first.movieFirst = true;
  second.largeMediaHeader = true;
  second.tracks[0].co64 = true;
  second.tracks[0].samplesPerChunk = 5;
  std::swap(second.tracks[0], second.tracks[1]);
  EXPECT_THAT(Look(Merge({first.Build(), second.Build(), first.Build()}), true), IsEmpty());
}

TEST_F(VerifyTest, FindsNothingWhereAllSamplesHaveOneSize) {
  support::MovieBuilder movie;
  support::Track track = support::AudioTrack(20, 1);
  track.uniformSize = 16;
  track.sampleSizes.assign(20, 16);
  movie.Add(track);
  support::MovieBuilder other;
  track.uniformSize = 24;
  track.sampleSizes.assign(20, 24);
  other.Add(track);
  EXPECT_THAT(Look(Merge({movie.Build(), movie.Build()}), true), IsEmpty());
  EXPECT_THAT(Look(Merge({movie.Build(), other.Build()}), true), IsEmpty());
}

TEST_F(VerifyTest, FindsEveryByteThatChangedAroundTheMedia) {
  support::MovieBuilder clip = support::Clip(12, 1);
  clip.tracks[0].stss = {1, 7};
  clip.tracks[0].sdtp = Bytes(12, 0x20);
  clip.extraMovieBoxes = support::Box("uuid", {support::Zeros(20)});
  const Bytes merged = Merge({clip.Build(), clip.Build()});
  const std::size_t media = FindBox(merged, "mdat") + 8;
  const std::size_t movie = FindBox(merged, "moov");
  EXPECT_THAT(Look(merged), IsEmpty());
  for (std::size_t at = 0; at < merged.size(); at = at + 1 == media ? movie : at + 1) {
    const Findings found = Look(Flipped(merged, at), at % 16 == 0);
    ASSERT_FALSE(found.empty()) << at;
    for (const Finding& finding : found) {
      EXPECT_EQ(Message::kResultDamaged, finding.message) << at << ' ' << finding.text;
      EXPECT_EQ("write to another disk, or check this one", finding.remedy) << at;
    }
  }
}

TEST_F(VerifyTest, NamesAByteThatNoSumShows) {
  const Bytes merged = MergeTwo();
  const std::size_t at = FindBox(merged, "avcC") + 12;
  const Findings found = Look(Flipped(merged, at));
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(static_cast<long long>(at), found[0].offset);
  EXPECT_THAT(found[0].text, HasSubstr("at " + std::to_string(at) + "; its clips give"));
}

TEST_F(VerifyTest, FindsBytesThatCameOrWentAroundTheMedia) {
  const Bytes merged = MergeTwo();
  const std::size_t free = FindBox(merged, "free");
  const Bytes more = support::Box("free");
  ExpectFinding(support::Join({support::Slice(merged, 0, free), more,
                               support::Slice(merged, free, merged.size())}),
                Message::kResultDamaged, "", "bytes; its clips give");
  Bytes longer = support::Join({merged, more});
  const std::size_t movie = FindBox(merged, "moov");
  ExpectFinding(support::WithU32(longer, movie, support::ReadU32(longer, movie) + 8),
                Message::kResultDamaged, "", "bytes; its clips give");
}

TEST_F(VerifyTest, FindsTheResultOfAClipOfEqualTables) {
  const Bytes merged = MergeTwo();
  EXPECT_THAT(Look(merged), IsEmpty());
  Put("clip0", [] {
    support::MovieBuilder first = support::Clip(30, 1);
    first.creationTime = 4711;
    return first.Build();
  }());
  ExpectFinding(merged, Message::kResultDamaged, "", "its clips give");
}

TEST_F(VerifyTest, FindsAByteThatChangedWhereClipsMeet) {
  const Bytes merged = MergeTwo();
  const std::size_t media = FindBox(merged, "mdat") + 8;
  ExpectFinding(Flipped(merged, media), Message::kResultDamaged, "", "has a byte");
  const std::size_t seam = media + support::Clip(30, 1).Media().size();
  ExpectFinding(Flipped(merged, seam), Message::kResultDamaged, "",
                clipchain::PrintablePath(inputs[1]));
}

TEST_F(VerifyTest, FindsEveryByteThatChangedWhenAskedTo) {
  const Bytes merged = Merge({support::Clip(300, 1).Build(), support::Clip(250, 7).Build()});
  const std::size_t begin = FindBox(merged, "mdat") + 8;
  const std::size_t end = FindBox(merged, "moov");
  std::size_t missed = 0;
  for (std::size_t at = begin; at < end; at += 997) {
    ExpectFinding(Flipped(merged, at), Message::kResultDamaged, "",
                  "at " + std::to_string(at) + ";", true);
    if (Look(Flipped(merged, at)).empty()) ++missed;
  }
  EXPECT_LT(0u, missed) << "without every byte most are not looked at";
}

TEST_F(VerifyTest, NamesThePositionOfADamagedByte) {
  const Bytes merged = MergeTwo();
  const std::size_t media = FindBox(merged, "mdat") + 8;
  const Findings found = Look(Flipped(merged, media + 3), true);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(static_cast<long long>(media + 3), found[0].offset);
}

TEST_F(VerifyTest, FindsAFileThatWasNotWrittenToItsEnd) {
  const Bytes merged = MergeTwo();
  for (const std::size_t size : {std::size_t{0}, std::size_t{5}, FindBox(merged, "mdat") + 100,
                                 FindBox(merged, "moov"), merged.size() - 1}) {
    const Findings found = Look(support::Slice(merged, 0, size));
    ASSERT_EQ(1u, found.size()) << size;
    EXPECT_EQ(Message::kResultDamaged, found[0].message);
  }
}

TEST_F(VerifyTest, FindsMediaThatIsMissing) {
  const Bytes merged = MergeTwo();
  const std::vector<std::string> both = inputs;
  inputs.pop_back();
  EXPECT_THAT(Look(merged), testing::Not(IsEmpty()));
  inputs = {both[0], both[1], both[1]};
  ExpectFinding(merged, Message::kResultDamaged, "", "bytes; its clips give");
}

TEST_F(VerifyTest, FindsOneNumberOfATableThatChanged) {
  support::MovieBuilder clip = support::Clip(30, 1);
  clip.tracks[0].ctts = {{10, 1000}, {20, 2000}};
  const Bytes merged = Merge({clip.Build(), clip.Build()});
  EXPECT_THAT(Look(merged), IsEmpty());
  const auto expect = [&](const char* type, std::size_t offset) {
    const std::size_t at = FindBox(merged, type) + offset + 3;
    ExpectFinding(Flipped(merged, at), Message::kResultDamaged, "",
                  "at " + std::to_string(at) + "; its clips give");
  };
  expect("mvhd", 24);
  expect("mdhd", 24);
  expect("stts", 16);
  expect("ctts", 16);
  expect("stsz", 20 + 4 * 31);
  expect("stco", 16 + 4 * 2);
  expect("stsc", 20);
}

TEST_F(VerifyTest, FindsWhatTheEngineMakesOfAUniformSizeAndATable) {
  support::MovieBuilder uniform;
  support::Track track = support::AudioTrack(20, 1);
  track.uniformSize = 16;
  track.sampleSizes.assign(20, 16);
  uniform.Add(track);
  support::MovieBuilder table;
  table.Add(support::AudioTrack(20, 1));
  ExpectFinding(Merge({uniform.Build(), table.Build()}), Message::kResultDiffers,
                std::string(kTable) + "stsz", "a size of 0");
}

TEST_F(VerifyTest, FindsADurationBeyond32Bits) {
  support::MovieBuilder movie = support::Clip(30, 1);
  movie.duration = 0xC0000000;
  const Bytes bytes = movie.Build();
  ExpectFinding(Merge({bytes, bytes}), Message::kResultDiffers, "moov/mvhd", "6442450944");
}

// A tenth of that time is enough; each track with each would take twice as long.
TEST_F(VerifyTest, TakesNoLongerForATrackAmongMany) {
  support::MovieBuilder movie;
  for (std::uint32_t id = 1; id <= 3000; ++id) {
    movie.Add(id % 2 == 0 ? support::VideoTrack(1, id) : support::AudioTrack(1, id));
  }
  const Bytes merged = Merge({movie.Build(), movie.Build()});
  EXPECT_GT(2, support::ProcessorSeconds([&] { EXPECT_THAT(Look(merged), IsEmpty()); }));
}

TEST_F(VerifyTest, NamesAClipThatAMergeWouldRefuse) {
  const Bytes merged = MergeTwo();
  support::MovieBuilder other = support::Clip(25, 7);
  other.timeScale = 601;
  support::WriteFile(inputs[1], other.Build());
  const Findings found = Look(merged);
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(Message::kInputRefused, found.back().message);
  EXPECT_EQ(inputs[1], found.back().path);
  EXPECT_RESULT(MP4G_E_TIME_SCALE, found.back().result);
}

TEST_F(VerifyTest, NamesAClipThatCanNotBeReadAgain) {
  const Bytes merged = MergeTwo();
  support::WriteFile(inputs[1], {});
  const Findings found = Look(merged);
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(Message::kInputUnreadable, found[0].message);
  EXPECT_EQ(inputs[1], found[0].path);
}

TEST_F(VerifyTest, TellsHowFarItIsAndStopsWhenTold) {
  const Bytes merged = MergeTwo();
  std::vector<long long> seen;
  progress = [&](const clipchain::Step& step) {
    EXPECT_LE(step.current, step.total);
    seen.push_back(step.current);
    return true;
  };
  EXPECT_THAT(Look(merged, true), IsEmpty());
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  const long long media = seen.back();
  EXPECT_LT(0, media);
  seen.clear();
  EXPECT_THAT(Look(merged), IsEmpty());
  ASSERT_EQ(2u, seen.size()) << "once a clip";
  EXPECT_LE(seen[0], seen[1]);
  EXPECT_LT(seen[1], media);
  progress = [](const clipchain::Step&) { return false; };
  EXPECT_THAT(Look(Bytes(merged.begin(), merged.end() - 1)), testing::Not(IsEmpty()));
  EXPECT_THAT(Look(Flipped(merged, FindBox(merged, "mdat") + 8)), IsEmpty());
  EXPECT_THAT(Look(Flipped(merged, FindBox(merged, "moov") - 1), true), IsEmpty());
}
