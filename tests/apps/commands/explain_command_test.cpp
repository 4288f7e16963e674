#include <gmock/gmock.h>

#include "apps/tool.h"
#include "clipchain/manual/message_page.h"
#include "workflow/finding.h"

using clipchain::MessageText;
using support::Finished;
using testing::HasSubstr;

TEST(ExplainCommand, TellsWhatAMessageMeans) {
  const Finished run = Tool({"explain", "nothing-to-merge"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ(
      "nothing-to-merge: No clip was given.\n"
      "  cause: A list that came out empty.\n"
      "  remedy: Name at least one clip.\n",
      run.out);
}

TEST(ExplainCommand, GoesOnBehindAnUnknownName) {
  const Finished run = Tool({"explain", "no-such", "nothing-to-merge"});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("there is no message no-such"));
  EXPECT_THAT(run.out, HasSubstr("nothing-to-merge: "));
}

TEST(ExplainCommand, KnowsEveryMessage) {
  for (int i = 0;; ++i) {
    const auto message = static_cast<clipchain::Message>(i);
    const std::string_view name = MessageName(message);
    const std::optional<std::string> text = MessageText(clipchain::MessagePage(), name);
    ASSERT_TRUE(text) << name;
    EXPECT_EQ(std::string::npos, text->find('`')) << name;
    if (message == clipchain::Message::kSequenceIncomplete) break;
  }
}

TEST(MessageText, HasTheSectionThatTheRowLeadsTo) {
  const std::string page =
      "# Page\n\n| name | what | cause | remedy |\n|---|---|---|---|\n"
      "| `odd` | It is `so`. | A [link](other.md). | [Do this](#to-do-this). |\n\n"
      "## Other\n\ntext\n\n## To do this\n\nFirst do that.\n\n## Last\n";
  EXPECT_EQ(
      "odd: It is so.\n  cause: A link.\n  remedy: Do this.\n\nTo do this\n\nFirst do that.\n",
      MessageText(page, "odd"));
  EXPECT_EQ(std::nullopt, MessageText(page, "name"));
  EXPECT_EQ(std::nullopt, MessageText(page, "odd` | It"));
}
