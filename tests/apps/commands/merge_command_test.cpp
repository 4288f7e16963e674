#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "apps/tool.h"
#include "support/bytes.h"
#include "support/media.h"
#include "support/small_disk.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using support::Join;
using support::ReadFile;
using support::SmallDisk;
using support::TempDir;
using support::Text;
using support::WriteFile;
using testing::HasSubstr;

namespace {

const std::string kClip1 = support::SourcePath("examples/clips/clip1.mp4");
const std::string kClip2 = support::SourcePath("examples/clips/clip2.mp4");
const std::string kClip3 = support::SourcePath("examples/clips/clip3.mp4");

// A clip's top-level boxes, for tests that put them together anew.
struct TopLevel {
  explicit TopLevel(const std::string& path) {
    const Bytes clip = ReadFile(path);
    for (std::size_t at = 0; at < clip.size();) {
      const std::size_t size = support::ReadU32(clip, at);
      const auto begin = clip.begin() + static_cast<std::ptrdiff_t>(at);
      const Bytes box(begin, begin + static_cast<std::ptrdiff_t>(size));
      const std::string type(box.begin() + 4, box.begin() + 8);
      (type == "ftyp" ? ftyp : type == "mdat" ? mdat : type == "moov" ? moov : free) = box;
      at += size;
    }
  }
  Bytes ftyp, free, mdat, moov;
};

class MergeCommand : public testing::Test {
 protected:
  std::string Write(const std::string& name, const Bytes& bytes) {
    WriteFile(folder_ / name, bytes);
    return folder_ / name;
  }

  Finished Merge(std::vector<std::string> inputs) const {
    inputs.insert(inputs.begin(), {"merge", "-o", output_});
    return Tool(inputs);
  }

  // The input is refused in that severity, with those words, name and code and something to do,
  // first or behind a good clip; nothing is left behind and no input changes.
  void ExpectRefused(const std::string& input, const std::string& code, const std::string& words) {
    const bool isFile = fs::is_regular_file(input);
    const Bytes before = isFile ? ReadFile(input) : Bytes();
    for (const bool first : {true, false}) {
      const Finished run = first ? Merge({"--exact", input}) : Merge({"--exact", kClip1, input});
      EXPECT_EQ(1, run.exitCode);
      EXPECT_EQ("", run.out);
      EXPECT_THAT(run.err, HasSubstr(input + " "));
      EXPECT_THAT(run.err, HasSubstr(words));
      EXPECT_THAT(run.err, HasSubstr(" (" + code + ")\n  "));
      EXPECT_TRUE(NothingLeft());
    }
    if (isFile) {
      EXPECT_EQ(before, ReadFile(input));
    }
  }

  // The output is refused with that name, code and words.
  void ExpectOutputRefused(const std::string& output, const std::string& code,
                           const std::string& words) {
    const Finished run = Tool({"merge", "--overwrite", "-o", output, kClip1, kClip2});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, HasSubstr("error: " + output + " "));
    EXPECT_THAT(run.err, HasSubstr(words));
    EXPECT_THAT(run.err, HasSubstr(" (" + code + ")\n  "));
  }

  // Neither an output nor a hidden file.
  bool NothingLeft() const {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_.path())) {
      if (entry.path().filename().string().find("out.mp4") != std::string::npos) return false;
    }
    return true;
  }

  TempDir folder_;
  std::string output_ = folder_ / "out.mp4";
};

}  // namespace

TEST_F(MergeCommand, MergesClipsAndSaysSoInOneLine) {
  const Finished run = Merge({"--exact", kClip1, kClip2, kClip3});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("merged 3 clips into " + output_ + ": "));
  EXPECT_EQ(1, std::count(run.out.begin(), run.out.end(), '\n'));
  const Bytes media = TopLevel(output_).mdat;
  EXPECT_EQ(TopLevel(kClip1).mdat.size() + TopLevel(kClip2).mdat.size() +
                TopLevel(kClip3).mdat.size() - 2 * 8,
            media.size());
}

TEST_F(MergeCommand, MergesASingleClip) {
  const Finished run = Merge({kClip1});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("merged 1 clip into "));
  EXPECT_EQ(TopLevel(kClip1).mdat, TopLevel(output_).mdat);
}

TEST_F(MergeCommand, ShowsProgressOnATerminal) {
  const Finished run =
      support::RunOnTerminal(ToolCommand({"merge", "-o", output_, kClip1, kClip2}));
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("\rchecking the clips\x1B[K"));
  EXPECT_THAT(run.out, HasSubstr("\rclip 1 of 2  0 B of 244.8 kB  0 %"));
  EXPECT_THAT(run.out, HasSubstr("\rverifying  0 B of 244.8 kB  0 %"));
  EXPECT_THAT(run.out, HasSubstr("\rwaiting for the disk\x1B[K"));
  EXPECT_THAT(run.out, HasSubstr("disk\x1B[K\r\x1B[K"));
  EXPECT_THAT(run.out, HasSubstr("merged 2 clips into "));
}

TEST_F(MergeCommand, RefusesAnOutputThatExists) {
  WriteFile(output_, Text("precious"));
  const Finished run = Merge({kClip1});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("error: " + output_ +
                                 " exists already (output-exists)\n"
                                 "  choose another name, or replace it with --overwrite\n"));
  EXPECT_EQ(Text("precious"), ReadFile(output_));
  EXPECT_EQ(1, Merge({"--force", kClip1}).exitCode);
  EXPECT_EQ(Text("precious"), ReadFile(output_));
}

TEST_F(MergeCommand, RefusesALinkThatLeadsNowhereAsOutput) {
  fs::create_symlink("nowhere", output_);
  EXPECT_EQ(1, Merge({kClip1}).exitCode);
  EXPECT_FALSE(fs::exists(folder_ / "nowhere"));
}

TEST_F(MergeCommand, ReplacesAnOutputWhenTold) {
  ASSERT_EQ(0, Merge({kClip1, kClip2}).exitCode);
  const Bytes expected = ReadFile(output_);
  WriteFile(output_, Text("precious"));
  EXPECT_EQ(0, Tool({"merge", "--overwrite", kClip1, kClip2, "-o", output_}).exitCode);
  EXPECT_EQ(expected, ReadFile(output_));
}

TEST_F(MergeCommand, KeepsTheOldOutputWhenAClipIsRefused) {
  WriteFile(output_, Text("precious"));
  EXPECT_EQ(1, Tool({"merge", "--overwrite", "-o", output_, kClip1, "missing.mp4"}).exitCode);
  EXPECT_EQ(Text("precious"), ReadFile(output_));
}

TEST_F(MergeCommand, ReplacesNeitherALinkNorTheFileBehindIt) {
  WriteFile(folder_ / "behind", Text("precious"));
  fs::create_symlink("behind", output_);
  const Finished run = Tool({"merge", "--overwrite", "-o", output_, kClip1});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("can't be written: it is a link to behind"));
  EXPECT_THAT(run.err, HasSubstr("/behind itself, or remove the link\n"));
  EXPECT_EQ(Text("precious"), ReadFile(folder_ / "behind"));
  EXPECT_TRUE(fs::is_symlink(output_));
}

TEST_F(MergeCommand, NeverWritesOverAnInputByAnyName) {
  const Bytes clip = ReadFile(kClip2);
  const std::string input = Write("input.mp4", clip);
  fs::create_hard_link(input, folder_ / "hard.mp4");
  fs::create_symlink("input.mp4", folder_ / "soft.mp4");
  fs::create_symlink(".", folder_ / "here");
  for (const char* name : {"input.mp4", "hard.mp4", "soft.mp4", "here/input.mp4"}) {
    const Finished run =
        Tool({"merge", "--overwrite", "--force", "-o", folder_ / name, kClip1, input});
    EXPECT_EQ(1, run.exitCode) << name;
    EXPECT_THAT(run.err, HasSubstr("is the same file as the input " + input));
    EXPECT_EQ(clip, ReadFile(input)) << name;
    EXPECT_TRUE(fs::exists(folder_ / name));
  }
}

TEST_F(MergeCommand, RefusesAMissingFile) {
  ExpectRefused(folder_ / "missing.mp4", "input-unreadable", "there is no such file");
}

TEST_F(MergeCommand, RefusesAFolder) {
  const TempDir input;
  ExpectRefused(input.path(), "input-unreadable", "it is a folder");
}

TEST_F(MergeCommand, RefusesAnEmptyFile) {
  ExpectRefused(Write("empty.mp4", {}), "input-unreadable", "it is empty");
}

TEST_F(MergeCommand, RefusesATextFile) {
  ExpectRefused(Write("notes.txt", Text("These are notes about a clip.\n")),
                "top-level-box-unknown", "is no MP4 clip");
  ExpectRefused(Write("note.txt", Text("Hello\n")), "file-cut-off", "ends at byte 6");
}

TEST_F(MergeCommand, RefusesAClipCutShortInItsMovieBox) {
  Bytes clip = ReadFile(kClip2);
  clip.pop_back();
  ExpectRefused(Write("short.mp4", clip), "file-cut-off", "moov at byte");
}

TEST_F(MergeCommand, RefusesAClipCutShortInItsMedia) {
  const TopLevel boxes(kClip2);
  Bytes clip = Join({boxes.ftyp, boxes.moov, boxes.mdat});
  clip.resize(clip.size() - 1000);
  ExpectRefused(Write("short.mp4", clip), "media-cut-off", "is cut off");
}

TEST_F(MergeCommand, RefusesAClipWithoutAMovieBox) {
  const TopLevel boxes(kClip2);
  ExpectRefused(Write("headless.mp4", Join({boxes.ftyp, boxes.free, boxes.mdat})), "movie-missing",
                "has no movie box");
}

TEST_F(MergeCommand, AdaptsWhatTheEngineRefusesAndSaysSo) {
  const TopLevel boxes(kClip2);
  const std::string wide =
      Write("wide.mp4", Join({boxes.ftyp, support::Box("wide"), boxes.mdat, boxes.moov}));
  const Finished run = Merge({wide});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\n  adapted: boxes at the top level"));
  EXPECT_EQ(boxes.mdat, TopLevel(output_).mdat);
}

TEST_F(MergeCommand, RefusesAnUnknownBoxAtTheTopLevel) {
  const TopLevel boxes(kClip2);
  const Bytes rest = Join({boxes.mdat, boxes.moov});
  ExpectRefused(Write("wide.mp4", Join({boxes.ftyp, support::Box("wide"), rest})),
                "top-level-box-unknown", "has a box \"wide\" at its top level");
  EXPECT_EQ(0, Merge({Write("free.mp4", Join({boxes.ftyp, support::Box("free"), rest}))}).exitCode);
}

// A problem, which the user may insist on; an error above, which nobody may.
TEST_F(MergeCommand, GoesOnInSpiteOfAProblemWhenForced) {
  const TopLevel boxes(kClip2);
  const std::string moved = Write(
      "moved.mp4", Join({boxes.ftyp, boxes.free, support::Box("free"), boxes.mdat, boxes.moov}));
  const Finished held = Merge({moved});
  EXPECT_EQ(1, held.exitCode);
  EXPECT_THAT(held.err, HasSubstr("problem: " + moved));
  EXPECT_THAT(held.err, HasSubstr("(samples-outside-media)\n"));
  EXPECT_TRUE(NothingLeft());
  const Finished forced = Merge({"--force", moved});
  EXPECT_EQ(0, forced.exitCode);
  EXPECT_THAT(forced.err, HasSubstr("(samples-outside-media)\n"));
  EXPECT_THAT(forced.err, HasSubstr("problem: " + output_));
  EXPECT_THAT(forced.err, HasSubstr("(result-differs)\n"));
  EXPECT_TRUE(fs::exists(output_));
}

TEST_F(MergeCommand, RefusesAClipInFragmentsIfItIsNotToBeAdapted) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const Finished run = Merge({"--exact", media / "odd/fragmented.mp4"});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(fragmented)\n"));
}

TEST_F(MergeCommand, PutsTheFragmentsOfOneClipIntoTables) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const fs::path clip = media / "odd/fragmented.mp4";
  const Finished run = Merge({clip});
  EXPECT_EQ(0, run.exitCode) << run.err;
  for (const char* kind : {"v", "a"}) {
    EXPECT_EQ(support::PacketHashes(clip, kind), support::PacketHashes(output_, kind));
    EXPECT_EQ(support::PresentationTimes(clip, kind), support::PresentationTimes(output_, kind));
  }
}

TEST_F(MergeCommand, GoesOnWithTheTracksThatAllClipsHaveWhereThatIsAskedFor) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const fs::path both = media / "avc_aac/1.mp4";
  const fs::path pictures = media / "video_only/1.mp4";
  const Finished refused = Merge({both, pictures});
  EXPECT_EQ(1, refused.exitCode);
  EXPECT_THAT(refused.err, HasSubstr("(track-count)\n"));
  const Finished run = Merge({"--common-tracks", both, pictures});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_THAT(run.out + run.err, HasSubstr("tracks that not all clips have are left out"));
  EXPECT_TRUE(support::PacketHashes(output_, "a").empty());
  std::vector<std::string> wanted = support::PacketHashes(both, "v");
  const std::vector<std::string> more = support::PacketHashes(pictures, "v");
  wanted.insert(wanted.end(), more.begin(), more.end());
  EXPECT_EQ(wanted, support::PacketHashes(output_, "v"));
}

TEST_F(MergeCommand, SaysWhatDoesNotFitTheFirstClip) {
  const fs::path media = support::MadeMedia();
  ASSERT_FALSE(media.empty()) << "no clips were made: scripts/test installs ffmpeg";
  const std::string first = media / "avc_aac/1.mp4";
  const auto expect = [&](const fs::path& input, const std::string& words) {
    const Finished run = Merge({"--exact", first, input});
    EXPECT_EQ(1, run.exitCode) << input;
    EXPECT_THAT(run.err, HasSubstr("error: " + input.string() + " "));
    EXPECT_THAT(run.err, HasSubstr(words));
    EXPECT_TRUE(NothingLeft());
  };
  expect(media / "video_only/1.mp4", "(track-count)");
  expect(media / "no_edit_lists/1.mp4", "(edit-list-differs)");
  support::Bytes otherLevel = support::ReadFile(media / "avc_aac/2.mp4");
  otherLevel.at(support::FindBox(otherLevel, "avcC") + 11) ^= 1;
  expect(Write("other_level.mp4", otherLevel), "(sample-description)");
  expect(media / "mpeg4_visual/1.mp4", "(track-without-partner)");
}

TEST_F(MergeCommand, ExplainsAnOutputFolderThatIsMissing) {
  ExpectOutputRefused(folder_ / "missing/out.mp4", "output-unwritable",
                      "can't be written: there is no folder");
}

TEST_F(MergeCommand, ExplainsAnOutputThatIsAFolder) {
  fs::create_directory(folder_ / "sub");
  ExpectOutputRefused(folder_ / "sub", "output-unwritable", "can't be written: it is a folder");
  EXPECT_TRUE(fs::is_directory(folder_ / "sub"));
}

TEST_F(MergeCommand, NeverReplacesADevice) {
  ExpectOutputRefused("/dev/full", "output-unwritable", "it is a device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  fs::create_symlink("/dev/full", output_);
  ExpectOutputRefused(output_, "output-unwritable", "it is a link to /dev/full");
  EXPECT_TRUE(fs::is_symlink(output_));
}

TEST_F(MergeCommand, SaysBeforehandWhatDoesNotFitTheDisk) {
  const SmallDisk disk(folder_ / "disk", "size=160k");
  if (!disk.mounted()) GTEST_SKIP() << support::kNoSmallDisk;
  ExpectOutputRefused(disk / "out.mp4", "too-little-space", "are free in");
  EXPECT_TRUE(fs::is_empty(disk.path()));
}

TEST_F(MergeCommand, LeavesNothingOnADiskThatFillsUp) {
  const SmallDisk disk(folder_ / "disk", "size=300k");
  if (!disk.mounted()) GTEST_SKIP() << support::kNoSmallDisk;
  // Somebody else takes the room while the merge is under way: it waits for the answer about what
  // was left behind.
  const std::string leftover = disk / ".out.mp4.clipchain-4711-0123456789abcdef.part";
  WriteFile(leftover, {});
  support::Talk talk(ToolCommand({"merge", "-o", disk / "out.mp4", kClip1, kClip2}));
  talk.Expect("Remove it? [y/N] ");
  WriteFile(disk / "other", support::Zeros(120 * 1024));
  talk.Say("n\n");
  const Finished run = talk.End();
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("can't be written: No space left on device"));
  EXPECT_THAT(run.out, HasSubstr("(output-unwritable)"));
  EXPECT_FALSE(fs::exists(disk / "out.mp4"));
  EXPECT_EQ(2, std::distance(fs::directory_iterator(disk.path()), fs::directory_iterator()));
}

TEST_F(MergeCommand, TakesFileNamesOfAnyBytes) {
  const std::string input = Write("\xFF \xC3\xA4\n.mp4", ReadFile(kClip1));
  const std::string output = folder_ / "\xFE.mp4";
  const Finished run = Tool({"merge", "-o", output, "--", input});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_TRUE(fs::exists(output));
  EXPECT_THAT(run.out, HasSubstr(output));
}

TEST_F(MergeCommand, FailsWhenItsSummaryCannotBeWritten) {
  const std::string line =
      std::string(CLIPCHAIN_TOOL_PATH) + " merge -o '" + output_ + "' '" + kClip1 + "' > /dev/full";
  const Finished run = support::Run({"sh", "-c", line});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("clipchain: not all of the output could be written: "));
}

TEST(Usage, HelpAndVersionAreNoFailure) {
  const Finished help = Tool({"--help"});
  EXPECT_EQ(0, help.exitCode);
  EXPECT_THAT(help.out, HasSubstr("merge"));
  EXPECT_EQ(0, Tool({"merge", "--help"}).exitCode);
  const Finished version = Tool({"--version"});
  EXPECT_EQ(0, version.exitCode);
  EXPECT_EQ("clipchain " CLIPCHAIN_VERSION "\n", version.out);
}

TEST(Usage, SaysWhatIsWrongInTheWordsOfTheHelp) {
  const auto said = [](const std::vector<std::string>& arguments) {
    const Finished run = Tool(arguments);
    EXPECT_EQ(2, run.exitCode);
    return run.err.substr(0, run.err.find('\n'));
  };
  EXPECT_EQ(
      "clipchain: a command is missing: merge, check, join, rescue, sequences, info, verify, split "
      "or "
      "explain",
      said({}));
  EXPECT_EQ(
      "clipchain: there is no command cut; there are merge, check, join, rescue, sequences, info, "
      "verify, "
      "split and explain",
      said({"cut"}));
  EXPECT_EQ(
      "clipchain: there is no option --foo in front of a command; those of a command follow it",
      said({"--foo"}));
  EXPECT_EQ(
      "clipchain: there is no option --json in front of a command; those of a command follow it",
      said({"--json", "info", kClip1}));
  EXPECT_EQ("clipchain: IN is required", said({"check"}));
  EXPECT_EQ("clipchain: PATH is required", said({"sequences"}));
  EXPECT_EQ("clipchain: --verify: takes seams or full, not \"no\"",
            said({"merge", "--verify=no", "-o", "a", "b"}));
  EXPECT_EQ("clipchain: --job: 0 is no number of a job; they count from 1",
            said({"merge", "--job", "plan.json", "0"}));
}

// A variable of a script that was not set must not change what is done.
TEST(Usage, RefusesEmptyNames) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"merge", "-o", "", kClip1},
                                             {"check", "-o", "", kClip1},
                                             {"join", "-o", "", "card"},
                                             {"join", "-o", "out", "--plan", "", "card"},
                                             {"sequences", "--html", "", "card"},
                                             {"merge", "-o", "out.mp4", ""},
                                             {"check", ""},
                                             {"info", kClip1, ""},
                                             {"sequences", ""},
                                             {"join", "-o", "out", ""},
                                             {"rescue", "-o", "out.mp4", ""},
                                             {"verify", "", "--against", "out"},
                                             {"split", ""},
                                             {"explain", ""}}) {
    const Finished run = Tool(arguments);
    EXPECT_EQ(2, run.exitCode) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, HasSubstr("an empty name is none"));
  }
}

TEST(Usage, RefusesACommandLineThatMakesNoSense) {
  const TempDir folder;
  const std::string output = folder / "out.mp4";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"cut"},
                                             {"merge"},
                                             {"merge", kClip1},
                                             {"merge", "-o", output},
                                             {"merge", "-o"},
                                             {"merge", "-o", output, "--loudly", kClip1}}) {
    const Finished run = Tool(arguments);
    EXPECT_EQ(2, run.exitCode) << testing::PrintToString(arguments);
    EXPECT_EQ("", run.out);
    EXPECT_NE("", run.err);
    EXPECT_FALSE(fs::exists(output));
  }
}
