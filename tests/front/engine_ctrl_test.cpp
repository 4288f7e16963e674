#include "front/engine_ctrl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "front/merger.h"
#include "support/mock_engines.h"
#include "support/result_matchers.h"

namespace {

using support::MockLiveMerge;
using support::MockSequenceCreator;
using testing::Return;
using testing::StrictMock;

class Listener final : public MergerImpl {
 public:
  HRESULT notifyProgress(long long current, long long total) override {
    heard = {current, total};
    return answer;
  }

  std::pair<long long, long long> heard;
  HRESULT answer = S_OK;
};

TEST(EngineCtrl, HoldsNoEngineBeforeInitialize) {
  Listener listener;
  CEngineCtrl control(&listener);
  EXPECT_EQ(&listener, control.merger);
  EXPECT_FALSE(control.liveMerge);
  EXPECT_FALSE(control.sequenceCreator);
  EXPECT_STREQ("", control.narrowPath);
}

TEST(EngineCtrl, MakesAMergeEngineForAFrontThatListens) {
  Listener listener;
  CEngineCtrl control(&listener);
  ASSERT_OK(control.Initialize());
  EXPECT_TRUE(control.liveMerge);
  EXPECT_FALSE(control.sequenceCreator);
  EXPECT_EQ(control.liveMerge.get(), Mp4LiveMerge(&control));
}

TEST(EngineCtrl, IsTheDelegateOfItsMergeEngine) {
  Listener listener;
  CEngineCtrl control(&listener);
  ASSERT_OK(control.Initialize());
  auto* merge = static_cast<MP4G::CMp4LiveMerge*>(control.liveMerge.get());
  EXPECT_EQ(static_cast<MP4G::IMp4LiveMergeDelegate*>(&control), merge->delegate);
  listener.answer = 42;
  EXPECT_EQ(42, merge->NotifyProgress(3, 4));
  EXPECT_EQ(std::make_pair(3LL, 4LL), listener.heard);
}

TEST(EngineCtrl, MakesASequenceEngineWithoutAListener) {
  CEngineCtrl control(nullptr);
  ASSERT_OK(control.Initialize());
  EXPECT_TRUE(control.sequenceCreator);
  EXPECT_FALSE(control.liveMerge);
  EXPECT_EQ(nullptr, Mp4LiveMerge(&control));
}

TEST(EngineCtrl, HoldsOneReferenceOnItsEngine) {
  Listener listener;
  CEngineCtrl merging(&listener);
  ASSERT_OK(merging.Initialize());
  EXPECT_EQ(2u, merging.liveMerge->AddRef());
  EXPECT_EQ(1u, merging.liveMerge->Release());
  CEngineCtrl chaining(nullptr);
  ASSERT_OK(chaining.Initialize());
  EXPECT_EQ(2u, chaining.sequenceCreator->AddRef());
  EXPECT_EQ(1u, chaining.sequenceCreator->Release());
}

TEST(EngineCtrl, InitializeLetsGoOfTheOldEngineFirst) {
  Listener listener;
  StrictMock<MockLiveMerge> oldMerge;
  StrictMock<MockSequenceCreator> oldCreator;
  CEngineCtrl control(&listener);
  control.liveMerge.Attach(&oldMerge);
  control.sequenceCreator.Attach(&oldCreator);
  EXPECT_CALL(oldCreator, Release()).WillOnce(Return(0));
  EXPECT_CALL(oldMerge, Release()).WillOnce(Return(0));
  ASSERT_OK(control.Initialize());
  EXPECT_NE(&oldMerge, control.liveMerge.get());
  EXPECT_FALSE(control.sequenceCreator);
}

TEST(EngineCtrl, ResetReleasesTheSequenceEngineBeforeTheMergeEngine) {
  StrictMock<MockLiveMerge> merge;
  StrictMock<MockSequenceCreator> creator;
  CEngineCtrl control(nullptr);
  control.liveMerge.Attach(&merge);
  control.sequenceCreator.Attach(&creator);
  const testing::InSequence inThisOrder;
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  EXPECT_CALL(merge, Release()).WillOnce(Return(0));
  control.Reset();
  EXPECT_FALSE(control.liveMerge);
  EXPECT_FALSE(control.sequenceCreator);
  control.Reset();
}

TEST(EngineCtrl, DestructionReleasesBothEngines) {
  StrictMock<MockLiveMerge> merge;
  StrictMock<MockSequenceCreator> creator;
  const testing::InSequence inThisOrder;
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  EXPECT_CALL(merge, Release()).WillOnce(Return(0));
  CEngineCtrl control(nullptr);
  control.liveMerge.Attach(&merge);
  control.sequenceCreator.Attach(&creator);
}

TEST(EngineCtrl, NotifyProgressPassesValuesAndAnswerUnchanged) {
  Listener listener;
  listener.answer = static_cast<HRESULT>(0x80001234u);
  CEngineCtrl control(&listener);
  EXPECT_EQ(static_cast<HRESULT>(0x80001234u),
            control.NotifyProgress(0x123456789ABCDEFLL, -0x7654321FEDCBA98LL));
  EXPECT_EQ(std::make_pair(0x123456789ABCDEFLL, -0x7654321FEDCBA98LL), listener.heard);
  listener.answer = S_OK;
  EXPECT_OK(control.NotifyProgress(0, 0));
}

TEST(EngineCtrl, NotifyProgressWithoutAListenerIsAPointerError) {
  CEngineCtrl control(nullptr);
  EXPECT_RESULT(E_POINTER, control.NotifyProgress(0, 1));
}

TEST(EngineCtrl, FilepathWtoALendsTheNarrowPathUntilTheNextCall) {
  CEngineCtrl control(nullptr);
  const char* first = control.FilepathWtoA(L"/clips/one.mp4");
  EXPECT_STREQ("/clips/one.mp4", first);
  EXPECT_EQ(static_cast<const char*>(control.narrowPath), first);
  EXPECT_STREQ("/clips/two.mp4", control.FilepathWtoA(L"/clips/two.mp4"));
}

TEST(EngineCtrl, FilepathWtoACutsAfter1024Bytes) {
  CEngineCtrl control(nullptr);
  EXPECT_EQ(1024u, std::strlen(control.FilepathWtoA(std::wstring(2000, L'a').c_str())));
  EXPECT_EQ(1024u, std::strlen(control.FilepathWtoA(std::wstring(1024, L'a').c_str())));
  EXPECT_EQ(1023u, std::strlen(control.FilepathWtoA(std::wstring(1023, L'a').c_str())));
}

TEST(EngineCtrl, NoControllerHasNoMergeEngine) { EXPECT_EQ(nullptr, Mp4LiveMerge(nullptr)); }

}  // namespace
