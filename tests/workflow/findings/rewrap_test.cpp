// The command that a check recommends does what it is recommended for.
#include "workflow/findings/rewrap.h"

#include <fstream>

#include "support/media.h"
#include "support/process.h"
#include "workflow/checks/check_fixture.h"

using clipchain::Finding;
using clipchain::Message;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  text.replace(text.find(what), what.size(), "'" + by + "'");
  return text;
}

class Rewrap : public support::CheckTest {
 protected:
  void SetUp() override { ASSERT_TRUE(support::HasMediaTools()) << "scripts/test installs ffmpeg"; }
  static int Shell(const std::string& command) {
    return support::Run({"sh", "-c", command}).exitCode;
  }
  // Runs the command that stands in parentheses in the remedy.
  std::string Follow(const Finding& finding) {
    const std::size_t begin = finding.remedy.find('(') + 1;
    const std::string command = finding.remedy.substr(begin, finding.remedy.find(')') - begin);
    const std::string copy = (folder / "copy.mp4").string();
    EXPECT_EQ(
        0, Shell(Replaced(Replaced(command, "IN", finding.path), "OUT.mp4", copy) + " -y -v error"))
        << command;
    return copy;
  }
  std::string Made(const std::string& how) {
    const std::string clip = support::SourcePath("examples/clips/clip1.mp4").string();
    const std::string made = (folder / "made.mp4").string();
    EXPECT_EQ(0, Shell("ffmpeg -v error -y -i '" + clip + "' " + how + " '" + made + "'"));
    return made;
  }
};

}  // namespace

TEST_F(Rewrap, LeavesOutATimecodeTrackThatCannotBeRead) {
  const std::string made = Made("-c copy");
  const Finding finding = Only(CheckAll({made}), Message::kBoxDamaged);
  EXPECT_THAT(finding.text, HasSubstr("timecode"));
  EXPECT_THAT(NamesOf(CheckAll({Follow(finding)})), IsEmpty());
}

TEST_F(Rewrap, PutsFragmentsTogether) {
  const std::string made = Made("-map 0:v -map 0:a -c copy -write_tmcd 0 -movflags frag_keyframe");
  const Finding finding = Only(CheckAll({made}), Message::kFragmented);
  EXPECT_THAT(NamesOf(CheckAll({Follow(finding)})), IsEmpty());
}

TEST_F(Rewrap, KeepsEveryTrackOfPictureAndSound) {
  const std::string made = Made("-map 0:v -map 0:a -map 0:v -map 0:a -c copy -write_tmcd 0");
  const Finding finding = clipchain::MakeFinding(Message::kTablesDisagree, made, "",
                                                 clipchain::Rewrap("rewrap the clip"));
  const std::string copy = Follow(finding);
  for (const char* kind : {"v:0", "v:1", "a:0", "a:1"}) {
    EXPECT_FALSE(support::PacketHashes(made, kind).empty()) << kind;
    EXPECT_EQ(support::PacketHashes(made, kind), support::PacketHashes(copy, kind)) << kind;
  }
}

TEST_F(Rewrap, DoesAwayWithEditLists) {
  const std::string clip = support::SourcePath("examples/clips/clip1.mp4").string();
  const Finding finding = clipchain::MakeFinding(
      Message::kSeveralEdits, clip, "",
      clipchain::Rewrap("rewrap the clip", clipchain::kRewrapWithoutEditsCommand));
  const std::string copy = Follow(finding);
  EXPECT_THAT(NamesOf(CheckAll({copy})), IsEmpty());
  EXPECT_EQ(support::kNotFound, support::FindBox(support::ReadFile(copy), "elst"));
  EXPECT_NE(support::kNotFound, support::FindBox(support::ReadFile(clip), "elst"));
}

// A remedy that says something else would lose tracks.
TEST(RewrapCommand, IsTheOnlyOneThatAnybodyIsTold) {
  std::ifstream page(support::SourcePath("docs/messages.md"));
  std::vector<std::string> commands;
  for (std::string line; std::getline(page, line);) {
    if (const std::size_t at = line.find("ffmpeg -"); at != std::string::npos)
      commands.push_back(line.substr(at));
  }
  EXPECT_THAT(commands,
              ElementsAre(clipchain::kRewrapCommand, clipchain::kRewrapWithoutEditsCommand));
  const std::string remedy = clipchain::Rewrap("rewrap it");
  EXPECT_THAT(remedy, HasSubstr(clipchain::kRewrapCommand));
  EXPECT_THAT(remedy, HasSubstr("keep the original"));
  EXPECT_THAT(remedy, HasSubstr("identifiers"));
}
