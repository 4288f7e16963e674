#include "workflow/checks/unreadable_clip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using clipchain::Findings;
using clipchain::Message;
using clipchain::WhyNoClip;
using support::Bytes;
using testing::HasSubstr;

namespace {

class UnreadableClip : public testing::Test {
 protected:
  Findings Why(const Bytes& bytes, HRESULT result, long long memory = 0) {
    support::WriteFile(folder / "clip", bytes);
    return WhyNoClip((folder / "clip").string(), result, memory);
  }

  support::TempDir folder;
};

}  // namespace

// As a battery that dies leaves it.
TEST_F(UnreadableClip, LacksItsMovieBox) {
  const Bytes bytes = support::Join(
      {support::Box("ftyp", {support::Zeros(8)}), support::Box("mdat", {support::Zeros(100)})});
  const Findings why = Why(bytes, E_BAD_DATA);
  ASSERT_EQ(1u, why.size());
  EXPECT_EQ(Message::kMovieMissing, why[0].message);
  EXPECT_THAT(why[0].text, HasSubstr("has no movie box"));
  EXPECT_RESULT(E_BAD_DATA, why[0].result);
}

TEST_F(UnreadableClip, IsNotThere) {
  const Findings why = WhyNoClip((folder / "absent").string(), E_HANDLE);
  ASSERT_EQ(1u, why.size());
  EXPECT_EQ(Message::kInputUnreadable, why[0].message);
  EXPECT_EQ("can't be read: there is no such file", why[0].text);
}

TEST_F(UnreadableClip, TakesTooMuchMemory) {
  const Findings why = Why(support::Clip(30).Build(), E_OUTOFMEMORY, 100);
  ASSERT_EQ(1u, why.size());
  EXPECT_EQ(Message::kMemoryLimit, why[0].message);
}

TEST_F(UnreadableClip, MayBeOneThatAMergeWouldTake) {
  const Findings why = Why(support::Clip(30).Build(), S_FALSE);
  ASSERT_EQ(1u, why.size());
  EXPECT_EQ("has a box that is shorter than what it must hold", why[0].text);
  EXPECT_RESULT(S_FALSE, why[0].result);
}
