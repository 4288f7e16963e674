#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>

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

}  // namespace
