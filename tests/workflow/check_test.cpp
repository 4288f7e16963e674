#include "workflow/check.h"

#include "workflow/check_fixture.h"

using clipchain::CheckReport;
using support::CheckTest;
using testing::ElementsAre;

namespace {

class Check : public CheckTest {};

}  // namespace

TEST_F(Check, FindsNothingWrongWithClipsThatFit) {
  const CheckReport report = CheckAll({Put("a", EvenClip(1)), Put("b", EvenClip(2))});
  EXPECT_THAT(NamesOf(report), ElementsAre());
  ASSERT_EQ(2u, report.seams.size());
  EXPECT_EQ(0, report.seams[0].milliseconds);
  EXPECT_EQ(0, report.seams[1].milliseconds);
}

TEST_F(Check, KnowsTheSizeOfTheResult) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), Put("b", EvenClip(2))};
  const CheckReport report = CheckAll(inputs);
  ASSERT_EQ(S_OK, Merge(inputs));
  EXPECT_EQ(static_cast<long long>(support::ReadFile(output).size()), report.outputSize);
}
