#include "front/merger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "front/engine_ctrl.h"
#include "support/mock_engines.h"
#include "support/result_matchers.h"

namespace {

using support::MockLiveMerge;
using testing::Return;
using testing::StrEq;
using testing::StrictMock;

class Delegate final : public QVMp4MergerDelegate {
 public:
  HRESULT notifyMergeProgress(long long current, long long total) override {
    heard.emplace_back(current, total);
    return answer;
  }

  std::vector<std::pair<long long, long long>> heard;
  HRESULT answer = S_OK;
};

// A merger whose engine is scripted. The mock's one reference goes back at the end.
class ScriptedMerger : public testing::Test {
 protected:
  ScriptedMerger() {
    merger.engine = std::make_unique<CEngineCtrl>(&merger);
    merger.engine->liveMerge.Attach(&merge);
    EXPECT_CALL(merge, Release()).WillOnce(Return(0));
  }

  StrictMock<MockLiveMerge> merge;
  MergerImplEx merger;
};

TEST(MergerImpl, WithoutAnEngineEveryOperationIsAPointerError) {
  MergerImplEx merger;
  EXPECT_EQ(nullptr, merger.engine);
  EXPECT_RESULT(E_POINTER, merger.setOutputPath(L"out.mp4"));
  EXPECT_RESULT(E_POINTER, merger.inputMp4File(L"in.mp4"));
  EXPECT_RESULT(E_POINTER, merger.finalize());
}

TEST(MergerImpl, WithoutALiveMergeEveryOperationIsAPointerError) {
  MergerImplEx merger;
  merger.engine = std::make_unique<CEngineCtrl>(&merger);
  EXPECT_RESULT(E_POINTER, merger.setOutputPath(L"out.mp4"));
  EXPECT_RESULT(E_POINTER, merger.inputMp4File(L"in.mp4"));
  EXPECT_RESULT(E_POINTER, merger.finalize());
}

TEST(MergerImpl, InitializeMakesAnEngineThatReportsBack) {
  MergerImplEx merger;
  ASSERT_OK(merger.initialize());
  ASSERT_NE(nullptr, merger.engine);
  EXPECT_EQ(&merger, merger.engine->merger);
  EXPECT_TRUE(merger.engine->liveMerge);
}

TEST(MergerImpl, ResetDropsTheEngine) {
  MergerImplEx merger;
  ASSERT_OK(merger.initialize());
  merger.reset();
  EXPECT_EQ(nullptr, merger.engine);
  EXPECT_RESULT(E_POINTER, merger.finalize());
  merger.reset();
  EXPECT_EQ(nullptr, merger.engine);
}

TEST_F(ScriptedMerger, InitializeLetsGoOfTheOldEngineFirst) {
  ASSERT_OK(merger.initialize());
  EXPECT_NE(&merge, merger.engine->liveMerge.get());
}

TEST_F(ScriptedMerger, ResetReleasesTheEngine) {
  merger.reset();
  testing::Mock::VerifyAndClearExpectations(&merge);
}

TEST_F(ScriptedMerger, OperationsAreThoseOfTheEngine) {
  EXPECT_CALL(merge, SetOutputPath(StrEq(L"/out \x1F3AC.mp4"))).WillOnce(Return(7));
  EXPECT_EQ(7, merger.setOutputPath(L"/out \x1F3AC.mp4"));
  EXPECT_CALL(merge, InputMp4File(StrEq(L"/in.mp4"))).WillOnce(Return(E_BAD_TYPE));
  EXPECT_RESULT(E_BAD_TYPE, merger.inputMp4File(L"/in.mp4"));
  EXPECT_CALL(merge, Finalize()).WillOnce(Return(E_PENDING));
  EXPECT_RESULT(E_PENDING, merger.finalize());
}

TEST(MergerImplEx, PassesProgressToTheDelegateAndItsAnswerBack) {
  MergerImplEx merger;
  Delegate delegate;
  merger.delegate = &delegate;
  delegate.answer = -123;
  EXPECT_EQ(-123, merger.notifyProgress(0x123456789ALL, 0x223456789ALL));
  delegate.answer = S_OK;
  EXPECT_OK(merger.notifyProgress(5, -6));
  EXPECT_EQ(
      (std::vector<std::pair<long long, long long>>{{0x123456789ALL, 0x223456789ALL}, {5, -6}}),
      delegate.heard);
}

TEST(MergerImplEx, WithoutADelegateProgressGoesOn) {
  MergerImplEx merger;
  EXPECT_EQ(nullptr, merger.delegate);
  EXPECT_OK(merger.notifyProgress(0, 100));
  EXPECT_OK(merger.notifyProgress(60, 100));
  EXPECT_OK(merger.notifyProgress(120, 100));
}

TEST_F(ScriptedMerger, WithoutADelegateACopyThatStandsStillEnds) {
  EXPECT_CALL(merge, InputMp4File).WillOnce([&](const wchar_t*) {
    EXPECT_OK(merger.notifyProgress(0, 100));
    EXPECT_OK(merger.notifyProgress(60, 100));
    return merger.notifyProgress(60, 100);
  });
  EXPECT_RESULT(MP4G_E_INPUT_READ, merger.inputMp4File(L"in.mp4"));
}

TEST_F(ScriptedMerger, WithoutADelegateACopyThatNeverStartsEnds) {
  EXPECT_CALL(merge, InputMp4File).WillOnce([&](const wchar_t*) {
    EXPECT_OK(merger.notifyProgress(0, 1));
    return merger.notifyProgress(0, 1);
  });
  EXPECT_RESULT(MP4G_E_INPUT_READ, merger.inputMp4File(L"in.mp4"));
}

TEST_F(ScriptedMerger, AnInputThatEndedAtItsFirstReportDoesNotEndTheNextOne) {
  EXPECT_CALL(merge, InputMp4File)
      .WillOnce([&](const wchar_t*) {
        EXPECT_OK(merger.notifyProgress(0, 100));
        return MP4G_E_OUTPUT_WRITE;
      })
      .WillOnce([&](const wchar_t*) { return merger.notifyProgress(0, 100); });
  EXPECT_RESULT(MP4G_E_OUTPUT_WRITE, merger.inputMp4File(L"one.mp4"));
  EXPECT_OK(merger.inputMp4File(L"two.mp4"));
}

// Equal reports at or behind the end are no standstill: there is nothing left to wait for.
TEST_F(ScriptedMerger, EqualReportsOfAFinishedCopyGoOn) {
  EXPECT_CALL(merge, InputMp4File).WillOnce([&](const wchar_t*) {
    EXPECT_OK(merger.notifyProgress(0, 0));
    EXPECT_OK(merger.notifyProgress(0, 0));
    EXPECT_OK(merger.notifyProgress(100, 100));
    EXPECT_OK(merger.notifyProgress(100, 100));
    EXPECT_OK(merger.notifyProgress(101, 100));
    return merger.notifyProgress(101, 100);
  });
  EXPECT_OK(merger.inputMp4File(L"in.mp4"));
}

TEST_F(ScriptedMerger, ADelegateDecidesAboutACopyThatStandsStill) {
  Delegate delegate;
  merger.delegate = &delegate;
  EXPECT_CALL(merge, InputMp4File).WillOnce([&](const wchar_t*) {
    for (int i = 0; i < 5; ++i) EXPECT_OK(merger.notifyProgress(60, 100));
    delegate.answer = 9;
    return merger.notifyProgress(60, 100);
  });
  EXPECT_EQ(9, merger.inputMp4File(L"in.mp4"));
  EXPECT_EQ(6u, delegate.heard.size());
}

TEST(QVMp4Merger, WithoutAnEngineEveryOperationAnswersMinusOne) {
  QVMp4Merger merger;
  Delegate delegate;
  EXPECT_EQ(-1, merger.setDelegate(&delegate));
  EXPECT_EQ(-1, merger.setOutputPath("out.mp4"));
  EXPECT_EQ(-1, merger.setOutputPath(nullptr));
  EXPECT_EQ(-1, merger.inputMp4File("in.mp4"));
  EXPECT_EQ(-1, merger.inputMp4File("\xFF"));
  EXPECT_EQ(-1, merger.finalizeMerger());
}

TEST(QVMp4Merger, InitGivesTheObjectWithAWorkingEngine) {
  QVMp4Merger merger;
  Delegate delegate;
  ASSERT_EQ(&merger, merger.init());
  EXPECT_OK(merger.setDelegate(&delegate));
  EXPECT_OK(merger.setDelegate(nullptr));
  EXPECT_OK(merger.setOutputPath("out.mp4"));
}

TEST(QVMp4Merger, PrepareEngineAloneMakesAnEngineToo) {
  QVMp4Merger merger;
  EXPECT_EQ(0, merger.prepareEngine());
  EXPECT_OK(merger.setOutputPath("out.mp4"));
}

TEST(QVMp4Merger, FinalizeWithoutAnInputIsThePointerErrorAndNotMinusOne) {
  QVMp4Merger merger;
  ASSERT_NE(nullptr, merger.init());
  EXPECT_EQ(static_cast<HRESULT>(0x80004003u), merger.finalizeMerger());
}

TEST(QVMp4Merger, RefusesPathsThatAreNoText) {
  QVMp4Merger merger;
  ASSERT_NE(nullptr, merger.init());
  for (const char* path : {static_cast<const char*>(nullptr), "\xFF", "a\xC3", "\xED\xA0\x80"}) {
    EXPECT_RESULT(E_FAIL, merger.setOutputPath(path));
    EXPECT_RESULT(E_FAIL, merger.inputMp4File(path));
  }
  EXPECT_OK(merger.setOutputPath(""));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, merger.inputMp4File("/no/such/file"));
}

}  // namespace
