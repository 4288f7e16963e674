// What the tool says to command lines that make no sense.
#include <gmock/gmock.h>

#include "apps/tool.h"

using testing::HasSubstr;

TEST(UsageText, LeavesATerminalAlone) {
  EXPECT_THAT(Tool({"\x1B[2J"}).err, HasSubstr("there is no command \\x1B[2J;"));
  EXPECT_THAT(Tool({"info", "a", "--\xC2\x9B\xE2\x80\xAE"}).err,
              HasSubstr("--\\xC2\\x9B\\u{202E}"));
}
