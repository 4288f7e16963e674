// What a check says about the place of the output.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "support/sequences.h"
#include "support/vendor_box.h"
#include "workflow/checks/check_fixture.h"
#include "workflow/checks/output_check.h"

using clipchain::CheckOptions;
using clipchain::CheckReport;
using clipchain::FileFindings;
using clipchain::Finding;
using clipchain::Message;
using clipchain::OutputPlace;
using clipchain::Severity;
using support::Bytes;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

namespace {

class CheckOutput : public support::CheckTest {
 protected:
  CheckReport CheckFor(const std::string& target, bool overwrite = false) {
    CheckOptions options;
    options.output = target;
    options.overwrite = overwrite;
    return clipchain::Check({input, other}, options);
  }

  const std::string input = Put("input", EvenClip(1));
  const std::string other = Put("other", EvenClip(2));
};

// Another user than root, and root again at the end.
class AsSomebody {
 public:
  static constexpr uid_t kUser = 65534;

  AsSomebody() { EXPECT_EQ(0, ::setresuid(kUser, kUser, 0)); }
  ~AsSomebody() {
    if (::setresuid(0, 0, 0) != 0) std::abort();
  }
  AsSomebody(const AsSomebody&) = delete;
  AsSomebody& operator=(const AsSomebody&) = delete;
};

Finding OnlySpace(long long bytes, const OutputPlace& place) {
  FileFindings findings("out.mp4");
  clipchain::CheckSpace(bytes, place, findings);
  EXPECT_LE(findings.All().size(), 1u);
  return findings.All().empty() ? Finding{} : findings.All().front();
}

}  // namespace

TEST_F(CheckOutput, MayBeNew) { EXPECT_THAT(NamesOf(CheckFor(output)), IsEmpty()); }

TEST_F(CheckOutput, IsNoInputBeItThroughLinks) {
  const std::string link = (folder / "link").string();
  fs::create_symlink(input, link);
  const std::string hard = (folder / "hard").string();
  fs::create_hard_link(other, hard);
  const std::string folderLink = (folder / "folder").string();
  fs::create_directory_symlink(folder.path(), folderLink);
  for (const std::string& target : {input, link, hard, folderLink + "/input"}) {
    const CheckReport report = CheckFor(target, true);
    EXPECT_THAT(NamesOf(report), ElementsAre("output-is-input")) << target;
    EXPECT_EQ(Severity::kRefusal, report.findings.front().severity);
    EXPECT_EQ(target, report.findings.front().path);
  }
}

TEST_F(CheckOutput, ExistsAlready) {
  const std::string there = Put("there", Bytes(3));
  EXPECT_THAT(NamesOf(CheckFor(there)), ElementsAre("output-exists"));
  EXPECT_THAT(NamesOf(CheckFor(there, true)), IsEmpty());
}

// Behind -o a shell puts the first of the clips that a pattern matches.
TEST_F(CheckOutput, IsNoOtherClipOfACamera) {
  const auto clip = [this](const std::string& name, unsigned int number) {
    return Put(name, support::WithVendorBox(EvenClip(1).Build(), support::ChainLink(number, 3)));
  };
  const std::string first = clip("1.mp4", 1);
  const std::vector<std::string> rest = {clip("2.mp4", 2), clip("3.mp4", 3)};
  CheckOptions options;
  options.overwrite = true;
  options.output = first;
  const Finding finding = Only(clipchain::Check(rest, options), Message::kOutputIsClip);
  EXPECT_EQ(Severity::kRefusal, finding.severity);
  EXPECT_EQ(first, finding.path);
  // An earlier result of the same clips has the identifiers of the first one.
  options.output = clip("result.mp4", 2);
  EXPECT_THAT(NamesOf(clipchain::Check(rest, options)), Not(Contains("output-is-clip")));
  options.output = Put("unmarked.mp4", EvenClip(3));
  EXPECT_THAT(NamesOf(clipchain::Check(rest, options)), Not(Contains("output-is-clip")));
  options.output = Put("text", support::Text("no clip at all"));
  EXPECT_THAT(NamesOf(clipchain::Check(rest, options)), Not(Contains("output-is-clip")));
}

// A link would be replaced, be it that of the machine to its standard output.
TEST_F(CheckOutput, IsAFile) {
  const std::string here = fs::canonical(folder.path()).string();
  const auto expectRefused = [this](const std::string& target, const std::string& text,
                                    const std::string& remedy) {
    for (const bool overwrite : {false, true}) {
      const CheckReport report = CheckFor(target, overwrite);
      ASSERT_THAT(NamesOf(report), ElementsAre("output-unwritable")) << target;
      EXPECT_EQ("can't be written: " + text, report.findings.front().text);
      EXPECT_EQ(remedy, report.findings.front().remedy);
    }
  };
  expectRefused(here, "it is a folder", "name a file in it, such as " + here + "/merged.mp4");
  ASSERT_EQ(0, ::mkfifo((folder / "pipe").c_str(), 0600));
  expectRefused(folder / "pipe", "it is a pipe", "name a file");
  expectRefused("/dev/null", "it is a device", "name a file");
  fs::create_symlink("/dev/null", folder / "device");
  expectRefused(folder / "device", "it is a link to /dev/null", "name a file");
  for (const char* open : {"/dev/stdout", "/proc/self/fd/1", "/dev/fd/1"})
    expectRefused(open, "it is a link to what a process has open",
                  "name a file; \"clipchain merge -o -\" writes to standard output");
  fs::create_symlink("nowhere", folder / "dangling");
  expectRefused(folder / "dangling", "it is a link to nowhere",
                "name " + here + "/nowhere itself, or remove the link");
  Put("there", Bytes(3));
  fs::create_symlink("there", folder / "leads");
  expectRefused(folder / "leads", "it is a link to there",
                "name " + here + "/there itself, or remove the link");
}

TEST_F(CheckOutput, IsNoFileThatItsOwnerAloneMayReplace) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user, and root again";
  const std::string there = Put("there", Bytes(3));
  fs::permissions(folder.path(), fs::perms::all);
  const auto replacing = [&]() -> std::string {
    const AsSomebody somebody;
    const CheckReport report = CheckFor(there, true);
    return report.findings.empty() ? "" : report.findings.front().text;
  };
  EXPECT_EQ("", replacing());
  fs::permissions(folder.path(), fs::perms::sticky_bit, fs::perm_options::add);
  EXPECT_EQ(
      "can't be written: it belongs to another user, whose files nobody else may replace in that "
      "folder",
      replacing());
  EXPECT_THAT(NamesOf(CheckFor(there, true)), IsEmpty()) << "root may do anything";
  ASSERT_EQ(0, ::chown(there.c_str(), AsSomebody::kUser, AsSomebody::kUser));
  EXPECT_EQ("", replacing());
}

TEST_F(CheckOutput, NeedsAFolderThatCanBeFlushed) {
  fs::permissions(folder.path(), fs::perms::all);
  const fs::path blind = folder / "blind";
  fs::create_directory(blind);
  fs::permissions(blind, fs::perms::owner_write | fs::perms::owner_exec);
  // Root may read every folder, and becomes its owner.
  std::optional<AsSomebody> somebody;
  if (::geteuid() == 0) {
    ASSERT_EQ(0, ::chown(blind.c_str(), AsSomebody::kUser, AsSomebody::kUser));
    somebody.emplace();
  }
  const CheckReport report = CheckFor(blind / "out.mp4");
  ASSERT_THAT(NamesOf(report), ElementsAre("output-unwritable"));
  EXPECT_THAT(report.findings.front().text, HasSubstr("can't be read, and so not flushed"));
}

TEST_F(CheckOutput, NeedsAFolder) {
  const CheckReport report = CheckFor((folder / "no" / "out.mp4").string());
  EXPECT_THAT(NamesOf(report), ElementsAre("output-unwritable"));
  EXPECT_THAT(report.findings.front().text, HasSubstr("there is no folder"));
  EXPECT_THAT(CheckFor(input + "/out.mp4").findings.front().text, HasSubstr("is no folder"));
}

TEST_F(CheckOutput, NeedsAFolderThatCanBeWritten) {
  const fs::path locked = folder / "locked";
  fs::create_directory(locked);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
  const bool mayAnything = ::access(locked.c_str(), W_OK) == 0;
  const CheckReport report = CheckFor((locked / "out.mp4").string());
  if (mayAnything) {
    EXPECT_THAT(NamesOf(report), IsEmpty());
  } else {
    EXPECT_THAT(NamesOf(report), ElementsAre("output-unwritable"));
  }
}

TEST_F(CheckOutput, SaysHowMuchSpaceIsMissing) {
  OutputPlace place;
  place.folder = "/card";
  EXPECT_EQ("", OnlySpace(1'000'000, place).text);
  place.freeBytes = 999'999;
  const Finding finding = OnlySpace(1'000'000, place);
  EXPECT_EQ(Message::kTooLittleSpace, finding.message);
  EXPECT_THAT(finding.text,
              AllOf(HasSubstr("1000000 bytes"), HasSubstr("999999 are free in /card")));
  EXPECT_EQ(Severity::kRefusal, finding.severity);
  EXPECT_EQ("", OnlySpace(999'999, place).text);
}

TEST_F(CheckOutput, SaysHowLargeAFileMayBe) {
  OutputPlace place;
  place.folder = "/card";
  place.largestFile = 0xFFFFFFFF;
  EXPECT_EQ(Message::kTooLargeForFolder, OnlySpace(0x100000000, place).message);
  EXPECT_EQ("", OnlySpace(0xFFFFFFFF, place).text);
}

TEST_F(CheckOutput, KnowsTheSpaceOfAFolder) {
  const OutputPlace place = clipchain::PlaceOf(output);
  EXPECT_EQ(folder.path().string(), place.folder);
  EXPECT_EQ(std::nullopt, place.whyUnwritable);
  EXPECT_GT(place.freeBytes, 0);
  EXPECT_EQ(".", clipchain::PlaceOf("out.mp4").folder);
}

TEST_F(CheckOutput, BelievesInNoLimitThatIsAGuess) {
  constexpr long kFat = 0x4D44;
  EXPECT_EQ(0xFFFFFFFF, clipchain::LargestFileOn(kFat));
  constexpr long kTmpfs = 0x01021994, kOverlayfs = 0x794C7630, kExfat = 0x2011BAB0;
  constexpr long kFuse = 0x65735546, kNfs = 0x6969, kExt = 0xEF53;
  for (const long fileSystem : {kTmpfs, kOverlayfs, kExfat, kFuse, kNfs, kExt, 0L})
    EXPECT_EQ(-1, clipchain::LargestFileOn(fileSystem)) << fileSystem;
  // A tmpfs as a rule, of which the system knows no limit either.
  EXPECT_EQ(-1, clipchain::PlaceOf("/dev/shm/out.mp4").largestFile);
}

TEST_F(CheckOutput, FindsThatTheDiskIsTooSmall) {
  // Sparse: media that the disk need not have.
  support::MovieBuilder clip = EvenClip();
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  bytes = support::WithU32(bytes, support::FindBox(bytes, "mdat"), 0);
  const std::string large = Put("large", bytes);
  constexpr long long kMore = 1'000'000'000;
  const long long size = clipchain::PlaceOf(large).freeBytes + kMore;
  std::error_code error;
  fs::resize_file(large, static_cast<std::uintmax_t>(size), error);
  ASSERT_FALSE(error) << "a file may not have " << size << " bytes here: " << error.message();
  CheckOptions options;
  options.output = output;
  EXPECT_THAT(NamesOf(clipchain::Check({large}, options)), ElementsAre("too-little-space"));
}

TEST_F(CheckOutput, KeepsToTheLimitForFiles) {
  struct rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
  struct rlimit tight = before;
  tight.rlim_cur = 1000;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &tight));
  const CheckReport report = CheckFor(output);
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
  EXPECT_THAT(NamesOf(report), ElementsAre("too-large-for-folder"));
  EXPECT_THAT(report.findings.front().text, HasSubstr("may have 1000"));
}
