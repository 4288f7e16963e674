#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <string>

#include "clipchain/manual/command_words.h"
#include "clipchain/manual/completion.h"
#include "clipchain/manual/help_text.h"
#include "clipchain/manual/man_page.h"

using namespace clipchain;
using testing::HasSubstr;
using testing::Not;

namespace {

// A command line with everything that a shell or a page could take for something else.
class ManualWords : public testing::Test {
 protected:
  ManualWords() {
    command = tool.add_subcommand("bend", "Bend it's [form]");
    command->add_option("-o,--output", output, "The clip's [other] file")
        ->required()
        ->type_name("OUT");
    command->add_option("--way", way, "How")
        ->option_text("in|out")
        ->type_name("in|out")
        ->default_str("in");
    command->add_flag("--dry-run", dry,
                      ".dots first \\ and all the words that it takes to make a "
                      "line longer than any terminal is wide");
    command->add_option("inputs", inputs, "What to bend")->required()->type_name("IN");
    AddHelp(tool);
  }

  CLI::App tool{"A tool", "clipchain"};
  CLI::App* command = nullptr;
  std::string output;
  std::string way;
  bool dry = false;
  std::vector<std::string> inputs;
};

}  // namespace

TEST_F(ManualWords, DescribeWhatACommandTakes) {
  const CommandWords words = DescribeCommand(*command);
  EXPECT_EQ("bend", words.name);
  ASSERT_EQ(4u, words.options.size());
  EXPECT_EQ((std::vector<std::string>{"-h", "--help"}), words.options[0].names);
  EXPECT_EQ("-o OUT", OptionUsage(words.options[1]));
  EXPECT_EQ("The clip's [other] file (required)", OptionText(words.options[1]));
  EXPECT_EQ((std::vector<std::string>{"in", "out"}), Choices(words.options[2]));
  EXPECT_EQ("How (default: in)", OptionText(words.options[2]));
  EXPECT_EQ("--dry-run", OptionUsage(words.options[3]));
  EXPECT_TRUE(Choices(words.options[3]).empty());
  ASSERT_EQ(1u, words.operands.size());
  EXPECT_EQ("IN...", OperandUsage(words.operands[0]));
}

TEST_F(ManualWords, HelpFitsATerminal) {
  const std::string help = command->help();
  EXPECT_THAT(help, HasSubstr("Usage: bend -o OUT [OPTION]... IN...\n"));
  EXPECT_THAT(help, HasSubstr("  -o, --output OUT      The clip's [other] file (required)\n"));
  EXPECT_THAT(help, HasSubstr("  --dry-run             .dots first \\ and all the words that it "
                              "takes to make a\n                        line longer"));
}

TEST_F(ManualWords, APageIsTextAndNotRequests) {
  const std::string page = ManPage(*command, ".SH SYNOPSIS\n@SYNOPSIS@\n.SH OPTIONS\n@OPTIONS@\n");
  EXPECT_THAT(page, HasSubstr(".SH NAME\nclipchain\\-bend \\- Bend it\\(aqs [form]\n"));
  EXPECT_THAT(page, HasSubstr("\\fBclipchain\\fR \\fBbend\\fR \\fB\\-o\\fR \\fIOUT\\fR "
                              "[\\fIoption\\fR]... \\fIIN\\fR...\n"));
  EXPECT_THAT(page,
              HasSubstr(".TP\n\\fB\\-\\-way\\fR \\fBin\\fR|\\fBout\\fR\nHow (default: in).\n"));
  EXPECT_THAT(page, HasSubstr("\n\\&.dots first \\e and"));
  EXPECT_THAT(page, Not(HasSubstr("@")));
}

TEST_F(ManualWords, CompletionsQuoteWhatShellsWouldRead) {
  EXPECT_THAT(ZshCompletion(tool),
              HasSubstr("'(-o --output)--output=[The clip'\\''s (other) file]:OUT:_files'"));
  EXPECT_THAT(ZshCompletion(tool), HasSubstr("'(--way)--way=[How]:choice:(in out)'"));
  EXPECT_THAT(ZshCompletion(tool), HasSubstr("'bend:Bend it'\\''s [form]'"));
  EXPECT_THAT(
      FishCompletion(tool),
      HasSubstr("complete -c clipchain -n '__fish_seen_subcommand_from bend' -s o -l output "
                "-r -F -d 'The clip\\'s [other] file'\n"));
  EXPECT_THAT(FishCompletion(tool), HasSubstr(" -l way -x -a 'in out' -d 'How'\n"));
  EXPECT_THAT(BashCompletion(tool), HasSubstr("'bend --output') _clipchain_words -f; return ;;\n"));
  EXPECT_THAT(BashCompletion(tool),
              HasSubstr("'bend --way') _clipchain_words -W 'in out'; return"));
}

TEST(HelpExamples, EachBelongsToItsCommand) {
  ASSERT_LT(0u, kExampleCount);
  for (unsigned int i = 0; i < kExampleCount; ++i) {
    EXPECT_THAT(kExamples[i].line,
                testing::StartsWith(std::string("clipchain ") + kExamples[i].command + " "));
  }
}
