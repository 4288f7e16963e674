// A day's work: 200 clips of 20 recordings, scattered over 3 cards without any order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Finished;
using testing::HasSubstr;

namespace {

constexpr unsigned int kRecordings = 20;
constexpr unsigned int kClips = 10;  // of each
constexpr unsigned int kCards = 3;
constexpr std::uint32_t kFrames = 16;  // take as long as the audio samples beside them

class WholeCards : public testing::Test {
 protected:
  WholeCards() {
    std::vector<unsigned int> numbers(kRecordings * kClips);
    for (unsigned int i = 0; i < numbers.size(); ++i) numbers[i] = i;
    std::mt19937 random(20240506);
    std::shuffle(numbers.begin(), numbers.end(), random);
    recordings_.resize(kRecordings, std::vector<std::string>(kClips));
    for (unsigned int card = 0; card < kCards; ++card) fs::create_directory(Card(card));
    // Neither the name nor the card of a clip says which one it is.
    for (unsigned int i = 0; i < numbers.size(); ++i) {
      const std::string name = "C" + std::to_string(1000 + i) + ".MP4";
      const std::string path =
          (fs::path(Card(static_cast<unsigned int>(random() % kCards))) / name).string();
      support::WriteFile(path, ClipOf(numbers[i] / kClips, numbers[i] % kClips));
      recordings_[numbers[i] / kClips][numbers[i] % kClips] = path;
    }
  }

  std::string Card(unsigned int number) const {
    return (folder_ / ("card" + std::to_string(number + 1))).string();
  }
  std::string At(const std::string& name) const { return (folder_ / name).string(); }

  // Recordings begin an hour apart, clips a minute.
  static support::Bytes ClipOf(unsigned int recording, unsigned int number) {
    support::MovieBuilder movie =
        support::Clip(kFrames, static_cast<unsigned char>(recording * kClips + number + 1));
    movie.creationTime = 3600 * recording + 60 * number + 1;
    return support::WithVendorBox(movie.Build(),
                                  support::ChainLink(number + 1, kClips, recording * kClips));
  }
  std::string ResultOf(unsigned int recording) const {
    char date[32];
    std::snprintf(date, sizeof date, "1904-01-01_%02u-00-01_", recording);
    return At("out/" + (date + fs::path(recordings_[recording][0]).stem().string()) + ".mp4");
  }
  // Every packet of every clip, in order, with its times, and nothing else.
  void ExpectAllResults() const {
    std::map<std::string, unsigned int> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(At("out")))
      ++files[entry.path()];
    ASSERT_EQ(kRecordings, files.size());
    for (unsigned int i = 0; i < kRecordings; ++i) {
      ASSERT_EQ(1u, files[ResultOf(i)]) << ResultOf(i);
      const support::OracleMovie movie = support::ReadMovie(support::ReadFile(ResultOf(i)));
      ASSERT_EQ(2u, movie.tracks.size());
      std::vector<std::vector<support::OracleSample>> samples(2);
      for (const std::string& clip : recordings_[i]) {
        const support::OracleMovie part = support::ReadMovie(support::ReadFile(clip));
        for (std::size_t track = 0; track < 2; ++track) {
          const auto& more = part.tracks[track].samples;
          samples[track].insert(samples[track].end(), more.begin(), more.end());
        }
      }
      EXPECT_EQ(kClips * kFrames, samples[0].size());
      for (std::size_t track = 0; track < 2; ++track)
        EXPECT_EQ(samples[track], movie.tracks[track].samples) << ResultOf(i);
    }
  }

 private:
  support::TempDir folder_;
  std::vector<std::vector<std::string>> recordings_;  // paths, in the order of recording
};

}  // namespace

TEST_F(WholeCards, EndInOneFileForEachRecording) {
  const std::vector<std::string> command = {"join", "-o", At("out"), Card(2), Card(0), Card(1)};
  const Finished run = Tool(command);
  EXPECT_EQ(0, run.exitCode) << run.out;
  EXPECT_THAT(run.out, HasSubstr("\n20 merged\n"));
  ExpectAllResults();
  const Finished again = Tool(command);
  EXPECT_EQ(0, again.exitCode) << again.out;
  EXPECT_THAT(again.out, HasSubstr("\n20 already there\n"));
}

TEST_F(WholeCards, AreJoinedByManyAtOnce) {
  ASSERT_TRUE(support::HasProgram("parallel")) << "scripts/test installs it";
  const std::string plan = At("plan.json");
  const Finished planned =
      Tool({"join", "-o", At("out"), "--plan", plan, Card(0), Card(1), Card(2)});
  ASSERT_EQ(0, planned.exitCode) << planned.out;
  EXPECT_THAT(planned.out, HasSubstr("\n20 jobs in " + plan + "\n"));
  // The second run finds everything done.
  for (const char* words : {"merged 10 clips into ", " is there already, "}) {
    const Finished run = support::Run(
        {"bash", "-c",
         "export HOME=$1; parallel --jobs 3 \"$2\" merge --job \"$3\" {} ::: $(seq 20)", "-",
         At("."), CLIPCHAIN_TOOL_PATH, plan});
    EXPECT_EQ(0, run.exitCode) << run.err;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = run.out.find(words, at)) != std::string::npos; ++at) ++count;
    EXPECT_EQ(20u, count) << run.out << run.err;
  }
  ExpectAllResults();
}
