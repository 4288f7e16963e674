#include "workflow/joining/output_name.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace clipchain {
namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};
const std::string kStart = "2024-05-06_07-08-09_";

std::string Take(OutputNames& names, const std::optional<MP4G::_tagSequenceTimedate>& date,
                 const std::string& firstClip, const std::set<std::string>& there = {}) {
  return names.Take(date, firstClip, Extent::kWhole,
                    [&](const std::string& name) { return there.count(name) != 0; });
}

TEST(OutputName, IsTheDateAndTheNameOfTheFirstClip) {
  EXPECT_EQ(kStart + "C0001.mp4", OutputName(kDate, "/card/DCIM/C0001.MP4"));
  EXPECT_EQ(kStart + "C0001.mp4", OutputName(kDate, "C0001.mov"));
  EXPECT_EQ(kStart + "C0001.bin.mp4", OutputName(kDate, "C0001.bin"));
  EXPECT_EQ(kStart + "C0001.mp4.mp4", OutputName(kDate, "C0001.mp4.m4v"));
}

TEST(OutputName, SaysThatTheDateIsUnknown) {
  EXPECT_EQ("unknown-date_C0001.mp4", OutputName(std::nullopt, "C0001.MP4"));
}

TEST(OutputName, HoldsNoCharacterThatOtherFileSystemsRefuse) {
  EXPECT_EQ(kStart + "a_b_c_d_e_f_g_h_i_j.mp4", OutputName(kDate, "a:b\"c*d<e>f?g\\h|i\nj.mp4"));
  EXPECT_EQ(kStart + "_.mp4", OutputName(kDate, "\x7F.mp4"));
  EXPECT_EQ(kStart + "a b-c_d.e\xC3\xA9\xFF.mp4", OutputName(kDate, "a b-c_d.e\xC3\xA9\xFF.mp4"));
}

TEST(OutputName, IsNoLongerThanANameMayBe) {
  const std::size_t room = 255 - kStart.size() - 4;
  const std::string fits(room, 'x');
  EXPECT_EQ(kStart + fits + ".mp4", OutputName(kDate, fits + ".mp4"));
  EXPECT_EQ(kStart + fits + ".mp4", OutputName(kDate, fits + "y.mp4"));
}

TEST(OutputName, IsNotCutInsideOfACharacter) {
  const std::string most(255 - kStart.size() - 4 - 2, 'x');
  EXPECT_EQ(kStart + most + "\xC3\xA9.mp4", OutputName(kDate, most + "\xC3\xA9.mp4"));
  EXPECT_EQ(kStart + most + ".mp4", OutputName(kDate, most + "\xE2\x82\xAC.mp4"));
  EXPECT_EQ(kStart + most + "x.mp4", OutputName(kDate, most + "x\xC3\xA9.mp4"));
}

TEST(OutputName, LosesTheCountThatItWasGiven) {
  EXPECT_EQ("a.mp4", WithoutCount("a_2.mp4"));
  EXPECT_EQ("a.mp4", WithoutCount("a_12.mp4"));
  for (const char* name :
       {"a.mp4", "a_.mp4", "a_2.mov", "a_x2.mp4", "a2.mp4", "2.mp4", ".mp4", "", "a_2"})
    EXPECT_EQ(name, WithoutCount(name));
}

TEST(OutputName, MarksAPart) {
  const std::string name = OutputName(kDate, "C0001.MP4", Extent::kIncomplete);
  EXPECT_EQ(kStart + "C0001_incomplete.mp4", name);
  EXPECT_EQ(kStart + "C0001.mp4", WithoutMark(name));
  EXPECT_EQ("a.mp4", WithoutMark(WithoutCount("a_incomplete_2.mp4")));
  EXPECT_EQ("a_incomplete.mov", WithoutMark("a_incomplete.mov"));
  EXPECT_EQ(255u, OutputName(kDate, std::string(300, 'x'), Extent::kIncomplete).size());
}

TEST(OutputNames, PassOverWhatSomebodyElseHas) {
  OutputNames names;
  EXPECT_TRUE(names.Reserve(kStart + "A_3.mp4"));
  EXPECT_FALSE(names.Reserve(kStart + "a_3.mp4"));
  EXPECT_EQ(kStart + "a_4.mp4",
            Take(names, kDate, "a.mp4", {kStart + "a.mp4", kStart + "a_2.mp4"}));
}

TEST(OutputNames, AreCountedWhereTwoWouldBeEqual) {
  OutputNames names;
  EXPECT_EQ(kStart + "a.mp4", Take(names, kDate, "1/a.mp4"));
  EXPECT_EQ(kStart + "a_2.mp4", Take(names, kDate, "2/a.mp4"));
  EXPECT_EQ(kStart + "a_3.mp4", Take(names, kDate, "3/a.mp4"));
  EXPECT_EQ("unknown-date_a.mp4", Take(names, std::nullopt, "4/a.mp4"));
}

TEST(OutputNames, DifferInMoreThanTheirCase) {
  OutputNames names;
  EXPECT_EQ(kStart + "a.mp4", Take(names, kDate, "a.mp4"));
  EXPECT_EQ(kStart + "A_2.mp4", Take(names, kDate, "A.mp4"));
}

TEST(OutputNames, PassOverACountThatIsAnothersName) {
  OutputNames names;
  EXPECT_EQ(kStart + "a_2.mp4", Take(names, kDate, "a_2.mp4"));
  EXPECT_EQ(kStart + "a.mp4", Take(names, kDate, "1/a.mp4"));
  EXPECT_EQ(kStart + "a_3.mp4", Take(names, kDate, "2/a.mp4"));
  EXPECT_EQ(kStart + "a_2_2.mp4", Take(names, kDate, "2/a_2.mp4"));
}

TEST(OutputNames, StayShortEnoughWithTheirCount) {
  OutputNames names;
  const std::string stem(255 - kStart.size() - 4, 'x');
  EXPECT_EQ(255u, Take(names, kDate, stem).size());
  const std::string second = Take(names, kDate, stem);
  EXPECT_EQ(255u, second.size());
  EXPECT_EQ("x_2.mp4", second.substr(255 - 7));
}

}  // namespace
}  // namespace clipchain
