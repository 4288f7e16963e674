// clipchain verify and split, as a person meets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

class VerifyCommand : public testing::Test {
 protected:
  VerifyCommand() {
    for (const char* name : {"card", "kept"}) fs::create_directory(folder / name);
    support::WriteFile(folder / "card" / "a.mp4", support::Clip(30, 1).Build());
    support::WriteFile(folder / "card" / "b.mp4", support::Clip(25, 7).Build());
  }
  std::string In(const std::string& name) const { return folder / name; }
  Finished Merge(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words{"merge",          "--force",       "-o", In("kept/out.mp4"),
                                   In("card/a.mp4"), In("card/b.mp4")};
    words.insert(words.end(), more.begin(), more.end());
    return Tool(words);
  }
  Finished Verify(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words{"verify", In("card"), "--against", In("kept")};
    words.insert(words.end(), more.begin(), more.end());
    return Tool(words);
  }
  void Expect(int code, const std::string& last, const std::vector<std::string>& more = {}) const {
    const Finished run = Verify(more);
    EXPECT_EQ(code, run.exitCode) << run.err;
    EXPECT_THAT(run.out, EndsWith(last + "\n"));
  }

  support::TempDir folder;
};

TEST_F(VerifyCommand, EndsWithTheAnswer) {
  Expect(3, "NOT safe to erase: 2 paths not kept");
  ASSERT_EQ(0, Merge().exitCode);
  Expect(0,
         "safe to erase: yes, 2 clips in 1 recording, 0 other files copied, 2 clips without their "
         "other data (thumbnails, notes, dates)");
  Expect(3, "NOT safe to erase: 2 paths not kept", {"--whole"});
  support::WriteFile(folder / "card" / "note", {1});
  EXPECT_THAT(Verify().out, HasSubstr("not kept: " + In("card/note") + ": "));
  const Finished clips = Verify({"--clips-only"});
  EXPECT_EQ(0, clips.exitCode);
  EXPECT_THAT(clips.out, HasSubstr("clips kept: yes, 1 other file NOT looked at"));
  EXPECT_THAT(clips.out, Not(HasSubstr("safe to erase")));
}

TEST_F(VerifyCommand, FailsWithoutCardOrFolder) {
  EXPECT_EQ(1, Tool({"verify", In("none"), "--against", In("kept")}).exitCode);
  EXPECT_EQ(1, Tool({"verify", In("card"), "--against", In("none")}).exitCode);
  EXPECT_EQ(1, Tool({"verify", In("card"), In("kept"), "--against", In("kept")}).exitCode);
  EXPECT_EQ(2, Tool({"verify", In("card")}).exitCode);
  fs::remove(folder / "card" / "a.mp4");
  fs::rename(folder / "card" / "b.mp4", folder / "kept" / "b.mp4");
  support::WriteFile(folder / "card" / "note", {1});
  EXPECT_EQ(1, Verify({"--clips-only"}).exitCode);
}

TEST_F(VerifyCommand, SpeaksToProgramsAndWritesAPage) {
  ASSERT_EQ(0, Merge({"--originals"}).exitCode);
  fs::create_symlink("a.mp4", folder / "card" / "link");
  support::WriteFile(folder / "card" / "n<b>", {1});
  const Finished run = Verify({"--json", "--html", In("page.html")});
  EXPECT_EQ(3, run.exitCode);
  const auto document = nlohmann::json::parse(run.out);
  EXPECT_EQ(false, document["safe"]);
  EXPECT_EQ(2, document["clips"]);
  EXPECT_EQ(1, document["recordings"]);
  EXPECT_EQ(1, document["others"]);
  EXPECT_EQ(1, document["left_aside"]);
  EXPECT_EQ(In("card/n<b>"), document["not_kept"][0]["path"]);
  EXPECT_EQ("no file is a copy of it", document["not_kept"][0]["reason"]);
  const Bytes page = support::ReadFile(folder / "page.html");
  const std::string html(page.begin(), page.end());
  EXPECT_THAT(html, HasSubstr("NOT safe to erase: 1 path not kept"));
  EXPECT_THAT(html, HasSubstr("n&lt;b&gt;"));
  // A page is never written onto a card, and replaces nothing.
  EXPECT_EQ(1, Verify({"--html", In("card/page.html")}).exitCode);
  EXPECT_FALSE(fs::exists(folder / "card" / "page.html"));
  EXPECT_EQ(1, Verify({"--html", In("page.html")}).exitCode);
  // As of every page, what a run that was killed has left beside it is named.
  support::WriteFile(folder / ".again.html.clipchain-4711-0123456789abcdef.part", {});
  const Finished again = Verify({"--html", In("again.html")});
  EXPECT_EQ(3, again.exitCode);
  EXPECT_THAT(again.err, HasSubstr("(leftover)"));
}

TEST_F(VerifyCommand, LeadsBackToTheClips) {
  ASSERT_EQ(0, Merge({"--originals", "--hash", "sha256", "--checksums"}).exitCode);
  const Finished run = Tool({"split", In("kept/out.mp4")});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_THAT(run.out, EndsWith("made 2 of 2 clips\n"));
  for (const char* name : {"a.mp4", "b.mp4"})
    EXPECT_EQ(support::ReadFile(folder / "card" / name),
              support::ReadFile(folder / "kept" / "out" / name));
  EXPECT_EQ(1, Tool({"split", In("kept/out.mp4")}).exitCode);
  if (support::HasProgram("xxhsum")) {
    EXPECT_EQ(
        0,
        support::Run({"sh", "-c", "cd \"$1\" && xxhsum -c out.mp4.xxh", "-", In("kept")}).exitCode);
  }
  Bytes bytes = support::ReadFile(folder / "kept" / "out.mp4");
  bytes[100] ^= 1;
  support::WriteFile(folder / "kept" / "out.mp4", bytes);
  const Finished partly = Tool({"split", "--json", In("kept/out.mp4"), "-o", In("again")});
  EXPECT_EQ(3, partly.exitCode);
  const auto document = nlohmann::json::parse(partly.out);
  EXPECT_EQ(false, document["done"]);
  EXPECT_EQ(false, document["clips"][0]["made"]);
  EXPECT_EQ(true, document["clips"][1]["made"]);
  EXPECT_EQ("result-damaged", document["findings"][0]["name"]);
  EXPECT_EQ(2, Tool({"split"}).exitCode);
  EXPECT_EQ(2, Merge({"--hash", "md5", "--originals"}).exitCode);
}

TEST_F(VerifyCommand, KeepsOriginalsOfAJoinThatWasDoneBefore) {
  const std::vector<std::string> join{"join", In("card"), "-o", In("kept"), "--all", "--force"};
  EXPECT_EQ(0, Tool(join).exitCode);
  std::vector<std::string> again = join;
  again.insert(again.end(), {"--originals", "--checksums"});
  EXPECT_EQ(0, Tool(again).exitCode);
  Expect(0, "safe to erase: yes, 2 clips in 2 recordings, 0 other files copied");
  EXPECT_EQ(0, Tool(again).exitCode);
}

}  // namespace
