#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "front/creator.h"
#include "front/engine_ctrl.h"
#include "front/merger.h"
#include "support/mock_engines.h"
#include "support/result_matchers.h"

namespace {

using support::MockLiveMerge;
using support::MockSequenceCreator;
using testing::_;
using testing::Return;
using testing::StrEq;
using testing::StrictMock;

// What the factories answer next.
struct Script {
  HRESULT result = S_OK;
  void* object = nullptr;
  int calls = 0;
  _GUID asked{};
};
Script mergeFactory;
Script sequenceFactory;

HRESULT Play(Script& script, const _GUID& iid, void** out) {
  ++script.calls;
  script.asked = iid;
  *out = script.object;
  return script.result;
}

}  // namespace

namespace MP4G {

HRESULT CMp4LiveMerge_Factory::CreateInstance(_GUID iid, void** out) {
  return Play(mergeFactory, iid, out);
}

HRESULT CVireoMp4AnalyzerFactory::CreateInstance(_GUID iid, void** out) {
  return Play(sequenceFactory, iid, out);
}

}  // namespace MP4G

namespace {

constexpr _tagQVGUID kZero{};

// The interface of an object as a factory hands it out.
template <class Interface>
void* Handed(Interface& object) {
  return &object;
}

class OverScriptedEngines : public testing::Test {
 protected:
  OverScriptedEngines() {
    mergeFactory = {S_OK, Handed<MP4G::IMp4LiveMerge>(merge), 0, {}};
    sequenceFactory = {S_OK, Handed<MP4G::IMp4SequenceCreator>(creator), 0, {}};
  }

  void ExpectMergeEngine(HRESULT answerToDelegate) {
    EXPECT_CALL(merge, SetDelegate(MP4G::IID_IMp4LiveMergeDelegate, _))
        .WillOnce(Return(answerToDelegate));
    EXPECT_CALL(merge, Release()).WillOnce(Return(0));
  }

  StrictMock<MockLiveMerge> merge;
  StrictMock<MockSequenceCreator> creator;
  MergerImplEx listener;
};

TEST_F(OverScriptedEngines, AListenerGetsAMergeEngineThatReportsToTheController) {
  CEngineCtrl control(&listener);
  EXPECT_CALL(merge, SetDelegate(MP4G::IID_IMp4LiveMergeDelegate,
                                 Handed<MP4G::IMp4LiveMergeDelegate>(control)))
      .WillOnce(Return(S_OK));
  EXPECT_CALL(merge, Release()).WillOnce(Return(0));
  ASSERT_OK(control.Initialize());
  EXPECT_TRUE(mergeFactory.asked == MP4G::IID_IMp4LiveMerge);
  EXPECT_EQ(1, mergeFactory.calls);
  EXPECT_EQ(0, sequenceFactory.calls);
  EXPECT_EQ(&merge, Mp4LiveMerge(&control));
}

TEST_F(OverScriptedEngines, WithoutAListenerThereIsASequenceEngine) {
  CEngineCtrl control(nullptr);
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  ASSERT_OK(control.Initialize());
  EXPECT_TRUE(sequenceFactory.asked == MP4G::IID_IMp4SequenceCreator);
  EXPECT_EQ(1, sequenceFactory.calls);
  EXPECT_EQ(0, mergeFactory.calls);
  EXPECT_EQ(&creator, MP4G::getCreator(&control));
}

TEST_F(OverScriptedEngines, AFactorysCodeIsTheResult) {
  for (const HRESULT code : {E_OUTOFMEMORY, S_FALSE}) {
    mergeFactory = {code, nullptr, 0, {}};
    sequenceFactory = {code, nullptr, 0, {}};
    CEngineCtrl merging(&listener);
    EXPECT_RESULT(code, merging.Initialize());
    CEngineCtrl chaining(nullptr);
    EXPECT_RESULT(code, chaining.Initialize());
  }
}

TEST_F(OverScriptedEngines, AFactoryThatSucceedsWithNothingIsAPointerError) {
  mergeFactory.object = nullptr;
  sequenceFactory.object = nullptr;
  CEngineCtrl merging(&listener);
  EXPECT_RESULT(E_POINTER, merging.Initialize());
  CEngineCtrl chaining(nullptr);
  EXPECT_RESULT(E_POINTER, chaining.Initialize());
}

TEST_F(OverScriptedEngines, ADelegateThatIsNotTakenIsTheResult) {
  for (const HRESULT code : {E_NOINTERFACE, S_FALSE}) {
    CEngineCtrl control(&listener);
    ExpectMergeEngine(code);
    EXPECT_RESULT(code, control.Initialize());
  }
}

TEST_F(OverScriptedEngines, MergerInitIsNullWithoutAnEngineAndTheCodeIsDropped) {
  mergeFactory = {E_OUTOFMEMORY, nullptr, 0, {}};
  QVMp4Merger merger;
  EXPECT_EQ(nullptr, merger.init());
  EXPECT_EQ(-1, merger.prepareEngine());
  mergeFactory.result = S_FALSE;
  EXPECT_EQ(nullptr, merger.init());
  EXPECT_EQ(-1, merger.prepareEngine());
  EXPECT_EQ(4, mergeFactory.calls);
}

TEST_F(OverScriptedEngines, AMergerWhoseEngineFailedAnswersAsOneThatHasNone) {
  mergeFactory = {E_OUTOFMEMORY, nullptr, 0, {}};
  QVMp4Merger merger;
  ASSERT_EQ(-1, merger.prepareEngine());
  EXPECT_OK(merger.setDelegate(nullptr));
  EXPECT_RESULT(E_POINTER, merger.setOutputPath("out.mp4"));
  EXPECT_RESULT(E_POINTER, merger.inputMp4File("in.mp4"));
  EXPECT_RESULT(E_POINTER, merger.finalizeMerger());
}

TEST_F(OverScriptedEngines, MergerHandsWidePathsToTheEngineAndItsAnswersBack) {
  ExpectMergeEngine(S_OK);
  QVMp4Merger merger;
  ASSERT_EQ(&merger, merger.init());
  EXPECT_CALL(merge, SetOutputPath(StrEq(L"/\xE9\x20AC\x1F3AC.mp4"))).WillOnce(Return(5));
  EXPECT_EQ(5, merger.setOutputPath("/\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC.mp4"));
  EXPECT_CALL(merge, InputMp4File(StrEq(L"/\x1F3AC"))).WillOnce(Return(MP4G_E_TIME_SCALE));
  EXPECT_RESULT(MP4G_E_TIME_SCALE, merger.inputMp4File("/\xF0\x9F\x8E\xAC"));
  EXPECT_CALL(merge, Finalize()).WillOnce(Return(E_PENDING));
  EXPECT_RESULT(E_PENDING, merger.finalizeMerger());
}

TEST_F(OverScriptedEngines, APathThatIsNoTextNeverReachesTheEngine) {
  ExpectMergeEngine(S_OK);
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  QVMp4Merger merger;
  ASSERT_EQ(&merger, merger.init());
  EXPECT_RESULT(E_FAIL, merger.setOutputPath("\xFF"));
  EXPECT_RESULT(E_FAIL, merger.inputMp4File("\xFF"));
  QVMp4SequenceCreator chainer;
  ASSERT_EQ(&chainer, chainer.init());
  EXPECT_RESULT(E_FAIL, chainer.registerMp4("\xFF"));
  EXPECT_RESULT(E_FAIL, chainer.registerMp4WithID("\xFF", _tagQVGUID{1, 0, 0, {}}, kZero));
}

TEST_F(OverScriptedEngines, MergerLetsGoOfItsEngineAtTheEnd) {
  ExpectMergeEngine(S_OK);
  {
    QVMp4Merger merger;
    ASSERT_EQ(&merger, merger.init());
  }
  testing::Mock::VerifyAndClearExpectations(&merge);
}

TEST_F(OverScriptedEngines, CreatorInitIsNullWithoutAnEngineAndTheCodeIsDropped) {
  sequenceFactory = {E_OUTOFMEMORY, nullptr, 0, {}};
  QVMp4SequenceCreator chainer;
  EXPECT_EQ(nullptr, chainer.init());
  EXPECT_EQ(-1, chainer.prepareEngine());
  sequenceFactory.result = S_FALSE;
  EXPECT_EQ(nullptr, chainer.init());
  EXPECT_EQ(-1, chainer.prepareEngine());
  EXPECT_EQ(4, sequenceFactory.calls);
}

TEST_F(OverScriptedEngines, ACreatorWhoseEngineFailedAnswersAsOneThatHasNone) {
  sequenceFactory = {E_OUTOFMEMORY, nullptr, 0, {}};
  QVMp4SequenceCreator chainer;
  ASSERT_EQ(-1, chainer.prepareEngine());
  EXPECT_RESULT(E_POINTER, chainer.registerMp4("clip.mp4"));
  EXPECT_RESULT(E_POINTER, chainer.salvationProcess());
  EXPECT_EQ(0x80004003u, chainer.relaySequnceCount());
}

TEST_F(OverScriptedEngines, TwoZeroIdentifiersAreNoIdentifiers) {
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  QVMp4SequenceCreator chainer;
  ASSERT_EQ(&chainer, chainer.init());
  EXPECT_CALL(creator, RegisterMp4(StrEq(L"/\x1F3AC"))).Times(2).WillRepeatedly(Return(8));
  EXPECT_EQ(8, chainer.registerMp4("/\xF0\x9F\x8E\xAC"));
  EXPECT_EQ(8, chainer.registerMp4WithID("/\xF0\x9F\x8E\xAC", kZero, kZero));
}

// Every field counts, at either end.
TEST_F(OverScriptedEngines, AnyFieldMakesAnIdentifier) {
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  QVMp4SequenceCreator chainer;
  ASSERT_EQ(&chainer, chainer.init());
  for (int field = 0; field < 11; ++field) {
    _tagQVGUID id{};
    if (field == 0) id.Data1 = 1;
    if (field == 1) id.Data2 = 1;
    if (field == 2) id.Data3 = 1;
    if (field >= 3) id.Data4[field - 3] = 1;
    const _GUID sent = MP4G::QVGUIDtoGUID(id);
    EXPECT_CALL(creator, RegisterMp4WithID(StrEq(L"/a"), sent, _GUID{})).WillOnce(Return(field));
    EXPECT_EQ(field, chainer.registerMp4WithID("/a", id, kZero));
    EXPECT_CALL(creator, RegisterMp4WithID(StrEq(L"/b"), _GUID{}, sent)).WillOnce(Return(-field));
    EXPECT_EQ(-field, chainer.registerMp4WithID("/b", kZero, id));
  }
}

TEST_F(OverScriptedEngines, CreatorOperationsAreThoseOfTheEngine) {
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  QVMp4SequenceCreator chainer;
  ASSERT_EQ(&chainer, chainer.init());
  EXPECT_CALL(creator, ClearSequences());
  chainer.clearSequences();
  EXPECT_CALL(creator, GetSequenceCount()).WillOnce(Return(21u));
  EXPECT_EQ(21u, chainer.sequenceCount());
  EXPECT_CALL(creator, GetUnclosedSequenceCount()).WillOnce(Return(22u));
  EXPECT_EQ(22u, chainer.unclosedSequenceCount());
  EXPECT_CALL(creator, SalvationProcess()).WillOnce(Return(23));
  EXPECT_EQ(23, chainer.salvationProcess());
  EXPECT_CALL(creator, NotifyNewVolume());
  chainer.notifyNewVolume();
  EXPECT_CALL(creator, GetRelaySequenceCount()).WillOnce(Return(24u));
  EXPECT_EQ(24u, chainer.relaySequnceCount());
  EXPECT_CALL(creator, DivideRelaySequenceExceptFirstOne()).WillOnce(Return(E_INVALIDARG));
  EXPECT_RESULT(E_INVALIDARG, chainer.divideRelaySequenceExceptFirstOne());
}

TEST_F(OverScriptedEngines, CreatorLetsGoOfItsEngineAtTheEnd) {
  EXPECT_CALL(creator, Release()).WillOnce(Return(0));
  {
    QVMp4SequenceCreator chainer;
    ASSERT_EQ(&chainer, chainer.init());
  }
  testing::Mock::VerifyAndClearExpectations(&creator);
}

}  // namespace
