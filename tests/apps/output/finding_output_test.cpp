#include "clipchain/output/finding_output.h"

#include <gtest/gtest.h>

using namespace clipchain;

namespace {

Finding Full() {
  Finding finding =
      MakeFinding(Message::kInputUnreadable, "a\n.mp4", "is too short", "copy it again");
  finding.track = 2;
  finding.box = "moov/trak[1]";
  finding.offset = 40;
  finding.result = E_BAD_DATA;
  return finding;
}

}  // namespace

TEST(FindingOutput, TellsAllThatThereIsInWords) {
  EXPECT_EQ(
      "error: a\\x0A.mp4 is too short: track 2, moov/trak[1] at byte 40 (input-unreadable)\n"
      "  copy it again\n",
      FindingText(Full()));
}

TEST(FindingOutput, NamesATrackOnce) {
  Finding finding = MakeFinding(Message::kTrackDrift, "a", "ends with track 2 (mp4a) late");
  finding.track = 2;
  EXPECT_EQ("warning: a ends with track 2 (mp4a) late (track-drift)\n", FindingText(finding));
  finding.text = "ends with track 21 late";
  EXPECT_EQ("warning: a ends with track 21 late: track 2 (track-drift)\n", FindingText(finding));
}

TEST(FindingOutput, LeavesOutWhatThereIsNot) {
  Finding finding = MakeFinding(Message::kLeftover, "", "something was left behind");
  EXPECT_EQ("warning: something was left behind (leftover)\n", FindingText(finding));
  finding.offset = 0;
  EXPECT_EQ("warning: something was left behind: at byte 0 (leftover)\n", FindingText(finding));
  finding.box = "moov";
  EXPECT_EQ("warning: something was left behind: moov at byte 0 (leftover)\n",
            FindingText(finding));
}

TEST(FindingOutput, ListsFindingsInTheirOrder) {
  const Finding other = MakeFinding(Message::kLeftover, "b", "is odd");
  EXPECT_EQ(FindingText(Full()) + FindingText(other), FindingsText({Full(), other}));
  EXPECT_EQ("", FindingsText({}));
}

TEST(FindingOutput, SpellsWhatManyClipsHaveAlikeOnce) {
  Findings findings;
  for (const char* path : {"a", "b", "c"}) {
    Finding lost =
        MakeFinding(Message::kFirstBoxOnly, path,
                    "loses 1" + std::string(path != std::string("a"), '0') + " bytes", "keep it");
    lost.offset = static_cast<long long>(findings.size());
    findings.push_back(lost);
    findings.push_back(MakeFinding(Message::kInputUnreadable, path, "can't be read"));
  }
  const std::string errors[] = {FindingText(findings[1]), FindingText(findings[3]),
                                FindingText(findings[5])};
  EXPECT_EQ(
      "warning: a loses 1 bytes: at byte 0 (first-box-only)\n"
      "  and 2 other files likewise, to c\n"
      "  keep it\n" +
          errors[0] + errors[1] + errors[2],
      FindingsText(findings));
  // A second one of a file is none of those, nor is one of another track.
  Findings odd(3, findings[0]);
  for (std::size_t i = 0; i < odd.size(); ++i) odd[i].track = static_cast<unsigned int>(i / 2);
  Findings more = findings;
  more.insert(more.end(), odd.begin(), odd.end());
  EXPECT_EQ(
      FindingsText(findings) + FindingText(odd[0]) + FindingText(odd[1]) + FindingText(odd[2]),
      FindingsText(more));
  findings.resize(4);
  std::string each;
  for (const Finding& finding : findings) each += FindingText(finding);
  EXPECT_EQ(each, FindingsText(findings));
}

TEST(FindingOutput, HasEveryFieldForPrograms) {
  EXPECT_EQ((Json{{"name", "input-unreadable"},
                  {"severity", "error"},
                  {"path", "a\n.mp4"},
                  {"track", 2},
                  {"box", "moov/trak[1]"},
                  {"offset", 40},
                  {"text", "is too short"},
                  {"remedy", "copy it again"},
                  {"result", "E_BAD_DATA"}}),
            FindingJson(Full()));
}

TEST(FindingOutput, IsNullForProgramsWhereThereIsNoValue) {
  const Json array = FindingsJson({MakeFinding(Message::kLeftover, "", "is odd")});
  ASSERT_EQ(1u, array.size());
  for (const char* field : {"path", "track", "box", "offset", "remedy", "result"})
    EXPECT_TRUE(array[0].at(field).is_null()) << field;
  EXPECT_EQ("61ff", FindingJson(MakeFinding(Message::kLeftover, "a\xFF", ""))["path_bytes"]);
  EXPECT_EQ(Json::array(), FindingsJson({}));
}
