#include "workflow/finding.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace clipchain {
namespace {

constexpr Message kAll[] = {
#define CLIPCHAIN_MESSAGE(id, name, severity) Message::id,
#include "workflow/messages.inc"
#undef CLIPCHAIN_MESSAGE
};

Finding Of(Severity severity) {
  Finding finding{};
  finding.severity = severity;
  return finding;
}

TEST(Finding, HasANameOfItsOwnForEachMessage) {
  std::set<std::string> names;
  for (const Message message : kAll) names.emplace(MessageName(message));
  EXPECT_EQ(std::size(kAll), names.size());
}

TEST(Finding, HoldsNothingUpAsAWarning) {
  EXPECT_FALSE(HoldsUp({}, false));
  EXPECT_FALSE(HoldsUp({Of(Severity::kNote), Of(Severity::kWarning)}, false));
}

TEST(Finding, HoldsUpAsARiskUnlessTheUserInsists) {
  EXPECT_TRUE(HoldsUp({Of(Severity::kNote), Of(Severity::kRisk)}, false));
  EXPECT_FALSE(HoldsUp({Of(Severity::kRisk)}, true));
}

TEST(Finding, HoldsUpAsARefusalAlways) {
  EXPECT_TRUE(HoldsUp({Of(Severity::kRefusal), Of(Severity::kNote)}, true));
}

TEST(Finding, IsMadeWithTheSeverityOfItsMessage) {
  for (const Message message : kAll) {
    const Finding finding = MakeFinding(message, "a.mp4", "is odd", "look at it");
    EXPECT_EQ(message, finding.message);
    EXPECT_EQ(MessageSeverity(message), finding.severity);
    EXPECT_EQ("a.mp4", finding.path);
    EXPECT_EQ("is odd", finding.text);
    EXPECT_EQ("look at it", finding.remedy);
    EXPECT_EQ(0u, finding.track);
    EXPECT_EQ(-1, finding.offset);
  }
}

TEST(Finding, NamesEachSeverity) {
  EXPECT_EQ("note", SeverityName(Severity::kNote));
  EXPECT_EQ("warning", SeverityName(Severity::kWarning));
  EXPECT_EQ("problem", SeverityName(Severity::kRisk));
  EXPECT_EQ("error", SeverityName(Severity::kRefusal));
}

}  // namespace
}  // namespace clipchain
