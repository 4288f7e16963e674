#include "adapt/times/chapters.h"

#include <gmock/gmock.h>

#include "adapt/boxes/chapter_box.h"
#include "adapt/fitted_movie.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::MovieBuilder;
using testing::ElementsAre;
using testing::IsEmpty;

// A picture lasts a 30th of a second.
MovieBuilder Pictures(unsigned int count) {
  MovieBuilder clip;
  clip.timeScale = 1000;
  clip.Add(support::VideoTrack(count));
  return clip;
}

class ChaptersTest : public testing::Test {
 protected:
  ChaptersTest() { options.chapters = true; }

  std::string Put(const std::string& name, const MovieBuilder& clip) {
    support::WriteFile(dir / name, clip.Build());
    return dir / name;
  }
  std::vector<Chapter> ChaptersOf(const std::vector<std::string>& paths) {
    const Fit fit(paths, options);
    for (const FitProblem& problem : fit.Report().problems) ADD_FAILURE() << problem.text;
    return ReadChapters(FittedMovie(fit, paths.size())).value_or(std::vector<Chapter>());
  }
  // "kind of clip N", for what speaks against the chapters.
  std::vector<std::string> ProblemsOf(const std::vector<std::string>& paths) {
    std::vector<std::string> problems;
    const Fit fit(paths, options);
    for (const FitProblem& problem : fit.Report().problems)
      problems.push_back(
          (problem.kind == FitProblemKind::kChaptersThere ? "there " : "impossible ") +
          std::to_string(problem.clip + 1));
    return problems;
  }

  support::TempDir dir;
  FitOptions options;
};

TEST_F(ChaptersTest, BeginWhereEachClipIsShownFirst) {
  const std::vector<std::string> paths = {Put("a.mp4", Pictures(60)), Put("b.mp4", Pictures(15)),
                                          Put("c.mp4", Pictures(30))};
  EXPECT_THAT(ChaptersOf(paths), ElementsAre(Chapter{0, "a.mp4"}, Chapter{20'000'000, "b.mp4"},
                                             Chapter{25'000'000, "c.mp4"}));
}

TEST_F(ChaptersTest, AreRoundedUpSoThatNobodySeesTheClipBefore) {
  const std::vector<std::string> paths = {Put("a.mp4", Pictures(1)), Put("b.mp4", Pictures(1))};
  EXPECT_EQ(333'334u, ChaptersOf(paths).at(1).start);
}

TEST_F(ChaptersTest, AreNotThereUnlessAskedFor) {
  options.chapters = false;
  const std::vector<std::string> paths = {Put("a.mp4", Pictures(3)), Put("b.mp4", Pictures(3))};
  EXPECT_FALSE(Fit(paths, options).IsNeeded());
}

TEST_F(ChaptersTest, HaveTheTitlesThatAreGiven) {
  options.titles = {"one", std::string("t\xFF\n", 3)};
  const std::vector<std::string> paths = {Put("a.mp4", Pictures(3)), Put("b.mp4", Pictures(3))};
  EXPECT_EQ("one", ChaptersOf(paths).at(0).title);
  EXPECT_EQ("t\xEF\xBF\xBD\xEF\xBF\xBD", ChaptersOf(paths).at(1).title);
  options.titles.pop_back();
  EXPECT_THAT(ProblemsOf(paths), ElementsAre("impossible 1"));
}

TEST_F(ChaptersTest, AreNoMoreAndNoLongerThanTheirBoxHasRoomFor) {
  std::vector<std::string> paths(255, Put("a.mp4", Pictures(1)));
  EXPECT_THAT(ProblemsOf(paths), IsEmpty());
  EXPECT_EQ(255u, ChaptersOf(paths).size());
  paths.push_back(paths.front());
  EXPECT_THAT(ProblemsOf(paths), ElementsAre("impossible 256"));
  paths.resize(1);
  options.titles = {std::string(255, 'x')};
  EXPECT_EQ(options.titles.front(), ChaptersOf(paths).at(0).title);
  options.titles = {std::string(256, 'x')};
  EXPECT_THAT(ProblemsOf(paths), ElementsAre("impossible 1"));
}

TEST_F(ChaptersTest, OfAClipAreNotReplacedWithoutAWord) {
  const std::string plain = Put("plain.mp4", Pictures(3));
  RawBox movie(FourCc("moov"), {});
  WriteChapters(movie, {{0, "its own"}});
  EXPECT_TRUE(HasChapters(movie));
  RawBox track(FourCc("trak"), {});
  track.children.emplace_back(FourCc("tref"), Bytes());
  movie.children = {track};
  EXPECT_FALSE(HasChapters(movie));
  movie.children.front().children.front().children.emplace_back(FourCc("chap"), Bytes(4));
  EXPECT_TRUE(HasChapters(movie));
}

TEST(ChapterBox, ComesFirstAndLeavesTheRestOfUserData) {
  RawBox movie(FourCc("moov"), {});
  RawBox userData(FourCc("udta"), {0, 0, 0, 0});
  userData.children.emplace_back(FourCc("name"), Bytes{1, 2});
  movie.children.push_back(userData);
  WriteChapters(movie, {{1, "old"}});
  WriteChapters(movie, {{2, "new"}, {3, ""}});
  const RawBox& written = *movie.Child(FourCc("udta"));
  ASSERT_EQ(2u, written.children.size());
  EXPECT_EQ(FourCc("chpl"), written.children[0].type);
  EXPECT_EQ(FourCc("name"), written.children[1].type);
  EXPECT_EQ(Bytes(4), written.data);
  EXPECT_THAT(*ReadChapters(movie), ElementsAre(Chapter{2, "new"}, Chapter{3, ""}));
  const Bytes expected = {1, 0, 0, 0,   0,   0,   0, 0, 2, 0, 0, 0, 0, 0, 0,
                          0, 2, 3, 'n', 'e', 'w', 0, 0, 0, 0, 0, 0, 0, 3, 0};
  EXPECT_EQ(expected, written.children[0].data);
}

TEST(ChapterBox, IsReadAsFarAsItIsThere) {
  RawBox movie(FourCc("moov"), {});
  EXPECT_FALSE(ReadChapters(movie));
  WriteChapters(movie, {{1, "abc"}});
  Bytes& data = movie.children.front().children.front().data;
  for (; !data.empty(); data.pop_back()) {
    EXPECT_EQ(data.size() == 21, ReadChapters(movie).has_value()) << data.size();
  }
  // The older form has no reserved field.
  data = {0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 9, 1, 'x'};
  EXPECT_THAT(*ReadChapters(movie), ElementsAre(Chapter{9, "x"}));
}

}  // namespace
}  // namespace clipchain
