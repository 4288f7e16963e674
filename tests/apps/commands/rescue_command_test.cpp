#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>

#include "apps/tool.h"
#include "support/bytes.h"
#include "support/decoder.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using support::ReadFile;
using support::TempDir;
using support::WriteFile;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string Clip(int number) {
  return support::SourcePath("examples/clips/clip" + std::to_string(number) + ".mp4");
}

Bytes WithoutMovie(const std::string& path) {
  const Bytes clip = ReadFile(path);
  return support::Slice(clip, 0, support::FindBox(clip, "moov"));
}

// The same clip as of another recording: the identifiers by which clips know each other differ.
Bytes OfOtherRecording(Bytes clip) {
  constexpr std::string_view kNames = "VRFB";
  constexpr std::ptrdiff_t kName = 16;
  auto at = std::search(clip.begin(), clip.end(), kNames.begin(), kNames.end());
  if (at == clip.end()) return clip;
  at += 8;
  for (int name = 0; name < 3; ++name, at += kName) {
    const bool any = std::any_of(at, at + kName, [](unsigned char byte) { return byte != 0; });
    if (any) *at = static_cast<unsigned char>(*at ^ 0x55);
  }
  return clip;
}

class RescueCommand : public testing::Test {
 protected:
  void SetUp() override {
    NEED_DECODER();
    fs::create_directory(folder_ / "card");
    for (const int number : {1, 2}) fs::copy(Clip(number), folder_ / "card");
    WriteFile(folder_ / "card/clip3.mp4", WithoutMovie(Clip(3)));
  }
  std::string At(const std::string& name) const { return folder_ / name; }

  TempDir folder_;
};

TEST_F(RescueCommand, SaysWhatItFound) {
  const Finished run = Tool({"rescue", At("card/clip3.mp4"), "-o", At("out.mp4")});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_THAT(run.out, HasSubstr("rescued "));
  EXPECT_THAT(run.out, HasSubstr("found by units"));
  EXPECT_TRUE(fs::exists(At("out.mp4")));
}

TEST_F(RescueCommand, SaysItForPrograms) {
  const Finished run = Tool({"rescue", At("card/clip3.mp4"), "--like", At("card/clip2.mp4"), "-o",
                             At("out.mp4"), "--json"});
  EXPECT_EQ(0, run.exitCode);
  const auto document = nlohmann::json::parse(run.out);
  EXPECT_TRUE(document["done"]);
  EXPECT_EQ(At("card/clip2.mp4"), document["reference"]["path"]);
  EXPECT_EQ("units", document["tracks"][0]["method"]);
  EXPECT_TRUE(document["unknown"].empty());
}

TEST_F(RescueCommand, NeedsAnOutput) {
  EXPECT_EQ(2, Tool({"rescue", At("card/clip3.mp4")}).exitCode);
}

TEST_F(RescueCommand, IsNamedByACheck) {
  const Finished run = Tool({"check", At("card/clip3.mp4")});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("clipchain rescue"));
}

TEST_F(RescueCommand, IsNamedWhereTheHeadOfTheMediaIsGone) {
  Bytes clip = WithoutMovie(Clip(3));
  const std::size_t media = support::FindBox(clip, "mdat");
  std::fill_n(clip.begin() + static_cast<std::ptrdiff_t>(media), 8, 0);
  WriteFile(folder_ / "card/clip3.mp4", clip);
  EXPECT_THAT(Tool({"check", At("card/clip3.mp4")}).out, HasSubstr("clipchain rescue"));
  const Finished run = Tool({"join", At("card"), "-o", At("joined"), "--rescue"});
  EXPECT_EQ(3, run.exitCode) << "where it ends is not sure";
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
}

TEST_F(RescueCommand, IsNamedByAJoin) {
  const Finished run = Tool({"join", At("card"), "-o", At("joined")});
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out + run.err, HasSubstr("--rescue"));
}

TEST_F(RescueCommand, CompletesARecordingInAJoin) {
  const Finished run = Tool({"join", At("card"), "-o", At("joined"), "--rescue"});
  EXPECT_EQ(0, run.exitCode) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr("-rescued.mp4"));
  EXPECT_THAT(run.out, HasSubstr("clip-rescued"));
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
}

TEST_F(RescueCommand, IsDoneOnceForACardThatIsJoinedAgain) {
  for (int run = 0; run < 2; ++run)
    EXPECT_EQ(0, Tool({"join", At("card"), "-o", At("joined"), "--rescue"}).exitCode);
  const fs::directory_iterator rescued(At("joined/rescued"));
  EXPECT_EQ(1, std::distance(begin(rescued), end(rescued)));
}

TEST_F(RescueCommand, IsDoneOnceForACardAndItsCopy) {
  fs::create_directory(folder_ / "backup");
  fs::copy(folder_ / "card", folder_ / "backup/card");
  const Finished run =
      Tool({"join", At("card"), At("backup/card"), "-o", At("joined"), "--rescue"});
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
  EXPECT_THAT(run.out, Not(HasSubstr("clip-named-twice")));
  const fs::directory_iterator rescued(At("joined/rescued"));
  EXPECT_EQ(1, std::distance(begin(rescued), end(rescued)));
}

TEST_F(RescueCommand, TakesNoRescueOfAnotherCardForThatOfAClip) {
  ASSERT_EQ(0, Tool({"join", At("card"), "-o", At("joined"), "--rescue"}).exitCode);
  // The next card, whose folder and clips are named alike.
  const Bytes broken = WithoutMovie(Clip(3));
  WriteFile(At("card/clip3.mp4"), support::Slice(broken, 0, broken.size() / 2));
  const Finished run = Tool({"join", At("card"), "-o", At("joined"), "--rescue"});
  EXPECT_THAT(run.out, HasSubstr("rescued/card_clip3-rescued_2.mp4 is what was rescued of " +
                                 At("card/clip3.mp4")));
  EXPECT_LT(fs::file_size(At("joined/rescued/card_clip3-rescued_2.mp4")),
            fs::file_size(At("joined/rescued/card_clip3-rescued.mp4")));
}

TEST_F(RescueCommand, LeavesTheResultOfAnotherRecordingItsName) {
  fs::create_directory(folder_ / "other");
  fs::create_directory(folder_ / "other/card");
  for (const int number : {1, 2}) {
    const std::string name = "other/card/clip" + std::to_string(number) + ".mp4";
    WriteFile(At(name), OfOtherRecording(ReadFile(Clip(number))));
  }
  WriteFile(At("other/card/clip3.mp4"), WithoutMovie(Clip(3)));
  for (int run = 0; run < 2; ++run) {
    for (const char* card : {"card", "other/card"}) {
      const Finished join = Tool({"join", At(card), "-o", At("joined"), "--rescue"});
      EXPECT_EQ(0, join.exitCode) << join.out << join.err;
    }
  }
  std::size_t results = 0;
  for (const auto& entry : fs::directory_iterator(At("joined"))) results += entry.is_regular_file();
  EXPECT_EQ(2U, results);
}

TEST_F(RescueCommand, NamesEachCopyOfABrokenClip) {
  fs::create_directory(folder_ / "backup");
  fs::copy(folder_ / "card", folder_ / "backup/card");
  const Finished run =
      Tool({"join", At("card"), At("backup/card"), "-o", At("joined"), "--rescue"});
  EXPECT_THAT(run.out, HasSubstr("is what was rescued of " + At("backup/card/clip3.mp4") +
                                 " and of " + At("card/clip3.mp4")));
}

TEST_F(RescueCommand, TakesTheWholeClipInPlaceOfACopyThatWasInterrupted) {
  fs::create_directory(folder_ / "backup");
  fs::copy(folder_ / "card", folder_ / "backup/card");
  fs::copy_file(Clip(3), folder_ / "card/clip3.mp4", fs::copy_options::overwrite_existing);
  const Finished run =
      Tool({"join", At("card"), At("backup/card"), "-o", At("joined"), "--rescue"});
  EXPECT_EQ(0, run.exitCode) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr(At("backup/card/clip3.mp4") + " is a broken copy of " +
                                 At("card/clip3.mp4")));
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
  EXPECT_THAT(run.out, Not(HasSubstr("clip-rescued")));
}

TEST_F(RescueCommand, SaysWhatABrokenCopyHasThatIsNoneOfTheWholeClip) {
  fs::create_directory(folder_ / "backup");
  fs::copy(folder_ / "card", folder_ / "backup/card");
  fs::copy_file(Clip(3), folder_ / "card/clip3.mp4", fs::copy_options::overwrite_existing);
  Bytes broken = WithoutMovie(Clip(3));
  std::fill(broken.begin() + static_cast<std::ptrdiff_t>(broken.size()) / 2, broken.end(),
            static_cast<unsigned char>(0xA5));
  WriteFile(At("backup/card/clip3.mp4"), broken);
  const Finished run =
      Tool({"join", At("card"), At("backup/card"), "-o", At("joined"), "--rescue"});
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("media-left-out"));
  EXPECT_THAT(run.out, HasSubstr("is a broken copy of"));
}

TEST_F(RescueCommand, TakesTheLongerOneOfTwoBrokenCopies) {
  fs::create_directory(folder_ / "backup");
  fs::copy(folder_ / "card", folder_ / "backup/card");
  const Bytes broken = WithoutMovie(Clip(3));
  WriteFile(At("card/clip3.mp4"), support::Slice(broken, 0, broken.size() / 2));
  const Finished run =
      Tool({"join", At("card"), At("backup/card"), "-o", At("joined"), "--rescue"});
  EXPECT_THAT(run.out, HasSubstr("is what was rescued of " + At("backup/card/clip3.mp4") +
                                 " and of " + At("card/clip3.mp4")));
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
}

TEST_F(RescueCommand, MarksAResultOfARescuedClipThatLayOnTheCard) {
  ASSERT_EQ(0, Tool({"join", At("card"), "-o", At("card/joined"), "--rescue"}).exitCode);
  const Finished run = Tool({"join", At("card"), "-o", At("later"), "--rescue"});
  EXPECT_THAT(run.out, HasSubstr("-rescued.mp4"));
  EXPECT_THAT(run.out, HasSubstr("clip-rescued"));
  EXPECT_THAT(run.out, HasSubstr("1 merged"));
}

TEST_F(RescueCommand, LearnsFromNoClipThatWasRescued) {
  for (const char* name : {"card/clip2-rescued.mp4", "card/clip3-again.mp4"}) {
    const Finished run = Tool({"rescue", At("card/clip3.mp4"), "-o", At(name), "--json"});
    ASSERT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ(At("card/clip2.mp4"), nlohmann::json::parse(run.out)["reference"]["path"]);
  }
  // And the second one has the same place in the recording as the first.
  EXPECT_EQ(ReadFile(At("card/clip2-rescued.mp4")), ReadFile(At("card/clip3-again.mp4")));
}

}  // namespace
