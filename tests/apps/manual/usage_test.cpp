// What the tool says to command lines that make no sense.
#include <gmock/gmock.h>

#include <filesystem>

#include "apps/tool.h"
#include "support/temp_dir.h"

using testing::HasSubstr;
using testing::Not;

TEST(UsageText, HelpInFrontOfACommandIsItsHelp) {
  EXPECT_EQ(Tool({"--help"}).out, Tool({"help"}).out);
  EXPECT_EQ(Tool({"merge", "--help"}).out, Tool({"help", "merge"}).out);
  EXPECT_EQ(0, Tool({"help", "merge"}).exitCode);
  EXPECT_EQ(Tool({"help", "merge"}).out, Tool({"help", "merge", "clip.mp4"}).out);
  EXPECT_EQ(2, Tool({"help", "cut"}).exitCode);
  EXPECT_THAT(Tool({"help", "cut"}).err, HasSubstr("there is no command cut;"));
}

TEST(UsageText, SaysWhatASizeLooksLike) {
  for (const char* size : {"5Q", "much", "", "1.5.2M"}) {
    const support::Finished run = Tool({"check", "--memory-limit", size, "a.mp4"});
    EXPECT_EQ(2, run.exitCode) << size;
    EXPECT_THAT(run.err, HasSubstr(std::string("--memory-limit: takes a size such as 500M or 2G, "
                                               "not \"") +
                                   size + '"'));
  }
  EXPECT_EQ(2, Tool({"check", "--memory-limit", "0", "a.mp4"}).exitCode);
}

// The same words, stream and code, whatever was to be done with it.
TEST(UsageText, TellsOfAMistypedNameAlikeInEveryCommand) {
  const support::TempDir folder;
  const std::string name = folder / "mistyped";
  const std::string there = support::SourcePath("examples/clips/clip1.mp4");
  const std::string words =
      "error: " + name + " can't be read: there is no such file (input-unreadable)\n";
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"info", name},
           {"check", there, name},
           {"sequences", there, name},
           {"join", "-o", folder / "out", there, name},
           {"merge", "-o", folder / "out.mp4", there, name},
           {"rescue", "-o", folder / "out.mp4", name},
           {"rescue", "-o", folder / "out.mp4", "--like", name, there},
           {"split", name},
           {"verify", name, "--against", folder.path()},
           {"verify", folder.path(), "--against", name}}) {
    const support::Finished run = Tool(arguments);
    EXPECT_EQ(1, run.exitCode) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr(words)) << arguments[0];
    EXPECT_THAT(run.out, Not(HasSubstr("mistyped"))) << arguments[0];
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(UsageText, TellsProgramsOfAMistypedNameInTheDocument) {
  const support::TempDir folder;
  const std::string name = folder / "mistyped";
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"info", "--json", name},
           {"check", "--json", name},
           {"sequences", "--json", name},
           {"join", "--json", "-o", folder / "out", name},
           {"merge", "--json", "-o", folder / "out.mp4", name},
           {"merge", "--json", "--job", name, "1"},
           {"rescue", "--json", "-o", folder / "out.mp4", name},
           {"split", "--json", name},
           {"verify", "--json", name, "--against", folder.path()}}) {
    const support::Finished run = Tool(arguments);
    EXPECT_EQ(1, run.exitCode) << arguments[0];
    EXPECT_EQ("", run.err) << arguments[0];
    EXPECT_THAT(run.out, HasSubstr("mistyped")) << arguments[0];
  }
}

TEST(UsageText, SaysWhatIsWrongWithArguments) {
  const auto said = [](const std::vector<std::string>& arguments) {
    const support::Finished run = Tool(arguments);
    EXPECT_EQ(2, run.exitCode);
    return run.err.substr(0, run.err.find('\n'));
  };
  EXPECT_EQ("clipchain: rescue does not take b.mp4",
            said({"rescue", "a.mp4", "b.mp4", "-o", "c.mp4"}));
  EXPECT_EQ("clipchain: check has no option --sort", said({"check", "--sort", "a.mp4"}));
  EXPECT_EQ("clipchain: --output needs OUT", said({"merge", "-o"}));
  EXPECT_EQ("clipchain: --job needs FILE N", said({"merge", "--job", "plan.json"}));
  EXPECT_EQ("clipchain: --output does not go with --job",
            said({"merge", "-o", "a", "--job", "plan.json", "1"}));
  EXPECT_EQ("clipchain: --hash needs --originals",
            said({"merge", "-o", "a", "--hash", "sha256", "b"}));
  EXPECT_EQ("clipchain: --accept: takes certain, likely or possible, not \"sure\"",
            said({"join", "--accept", "sure", "-o", "a", "b"}));
}

TEST(UsageText, LeavesATerminalAlone) {
  EXPECT_THAT(Tool({"\x1B[2J"}).err, HasSubstr("there is no command \\x1B[2J;"));
  EXPECT_THAT(Tool({"info", "a", "--\xC2\x9B\xE2\x80\xAE"}).err,
              HasSubstr("--\\xC2\\x9B\\u{202E}"));
}

TEST(UsageText, NothingIsPrintedOfWhatWentWellWhereNobodyWantsIt) {
  const support::TempDir folder;
  const std::string clips = support::SourcePath("examples/clips");
  const support::Finished merged =
      Tool({"merge", "-q", "-o", folder / "out.mp4", clips + "/clip1.mp4"});
  EXPECT_EQ(0, merged.exitCode);
  EXPECT_EQ("", merged.out + merged.err);
  const support::Finished refused =
      Tool({"merge", "--quiet", "-o", folder / "out.mp4", clips + "/clip1.mp4"});
  EXPECT_EQ(1, refused.exitCode);
  EXPECT_THAT(refused.err, HasSubstr("(output-exists)"));
  const support::Finished joined = Tool({"join", "-q", "-o", folder / "joined", clips});
  EXPECT_EQ(0, joined.exitCode);
  EXPECT_EQ("", joined.out);
  EXPECT_THAT(joined.err, Not(HasSubstr("note:")));
}
