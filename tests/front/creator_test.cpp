#include "front/creator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "front/engine_ctrl.h"
#include "support/mock_engines.h"
#include "support/result_matchers.h"

namespace {

using MP4G::_tagSequenceTimedate;
using MP4G::IMp4Sequence;
using support::MockSequence;
using support::MockSequenceCreator;
using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SetArgPointee;
using testing::StrEq;
using testing::StrictMock;

constexpr _GUID kHead = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr _GUID kTail = {0xFFFFFFFF, 0xFFFE, 0xFFFD, {9, 8, 7, 6, 5, 4, 3, 2}};
constexpr _tagQVGUID kQvHead = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr _tagQVGUID kQvTail = {0xFFFFFFFF, 0xFFFE, 0xFFFD, {9, 8, 7, 6, 5, 4, 3, 2}};

bool Same(const _tagQVGUID& a, const _tagQVGUID& b) {
  return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
         std::equal(std::begin(a.Data4), std::end(a.Data4), b.Data4);
}

// A creator whose engine is scripted, with one sequence at index 3. The engine's one reference goes
// back at the end, that of the sequence after each question.
class ScriptedCreator : public testing::Test {
 protected:
  ScriptedCreator() {
    creator.engine = std::make_unique<CEngineCtrl>(nullptr);
    creator.engine->sequenceCreator.Attach(&engine);
    EXPECT_CALL(engine, Release()).WillOnce(Return(0));
  }

  void ExpectOneLookUp() {
    EXPECT_CALL(engine, GetSequenceAtIndex(3, _))
        .WillOnce(DoAll(SetArgPointee<1>(static_cast<IMp4Sequence*>(&sequence)), Return(S_OK)));
    EXPECT_CALL(sequence, Release()).WillOnce(Return(1));
  }

  StrictMock<MockSequenceCreator> engine;
  StrictMock<MockSequence> sequence;
  CreatorImpl creator;
};

TEST(GetCreator, IsTheControllersEngineWithoutANewReference) {
  EXPECT_EQ(nullptr, MP4G::getCreator(nullptr));
  CEngineCtrl control(nullptr);
  EXPECT_EQ(nullptr, MP4G::getCreator(&control));
  ASSERT_OK(control.Initialize());
  EXPECT_EQ(control.sequenceCreator.get(), MP4G::getCreator(&control));
  EXPECT_EQ(2u, control.sequenceCreator->AddRef());
  control.sequenceCreator->Release();
}

TEST(GetSequence, IsNullWithoutAnEngine) {
  EXPECT_EQ(nullptr, MP4G::getSequence(nullptr, 0));
  CEngineCtrl control(nullptr);
  EXPECT_EQ(nullptr, MP4G::getSequence(&control, 0));
}

TEST_F(ScriptedCreator, GetSequenceHandsItsReferenceToTheCaller) {
  EXPECT_CALL(engine, GetSequenceAtIndex(3, _))
      .WillOnce(DoAll(SetArgPointee<1>(static_cast<IMp4Sequence*>(&sequence)), Return(S_OK)));
  EXPECT_EQ(&sequence, MP4G::getSequence(creator.engine.get(), 3));
}

TEST_F(ScriptedCreator, GetSequenceIsNullOnFailure) {
  EXPECT_CALL(engine, GetSequenceAtIndex(3, _)).WillOnce(Return(E_INVALIDARG));
  EXPECT_EQ(nullptr, MP4G::getSequence(creator.engine.get(), 3));
}

TEST_F(ScriptedCreator, GetSequenceReleasesWhatCameWithAFailure) {
  EXPECT_CALL(engine, GetSequenceAtIndex(3, _))
      .WillOnce(DoAll(SetArgPointee<1>(static_cast<IMp4Sequence*>(&sequence)), Return(E_FAIL)));
  EXPECT_CALL(sequence, Release()).WillOnce(Return(0));
  EXPECT_EQ(nullptr, MP4G::getSequence(creator.engine.get(), 3));
}

TEST_F(ScriptedCreator, ANegativeIndexReachesTheEngineAsALargeNumber) {
  EXPECT_CALL(engine, GetSequenceAtIndex(0xFFFFFFFF, _)).WillOnce(Return(E_INVALIDARG));
  EXPECT_EQ(nullptr, MP4G::getSequence(creator.engine.get(), -1));
  EXPECT_CALL(engine, GetSequenceAtIndex(0x80000000, _)).WillOnce(Return(E_INVALIDARG));
  EXPECT_EQ(0u, creator.sequenceFileCount(std::numeric_limits<int>::min()));
}

TEST(IdentifierForms, CarryTheSameValue) {
  EXPECT_TRUE(MP4G::QVGUIDtoGUID(kQvHead) == kHead);
  EXPECT_TRUE(MP4G::QVGUIDtoGUID(kQvTail) == kTail);
  EXPECT_TRUE(Same(kQvHead, MP4G::GUIDtoQVGUID(kHead)));
  EXPECT_TRUE(Same(kQvTail, MP4G::GUIDtoQVGUID(kTail)));
}

TEST(IdentifierForms, KeepBitsBehindTheLow32) {
  if (std::numeric_limits<unsigned long>::digits <= 32) return;
  const unsigned long wide = (1ul << (std::numeric_limits<unsigned long>::digits - 1)) | 5;
  EXPECT_EQ(wide, MP4G::QVGUIDtoGUID(_tagQVGUID{wide, 0, 0, {}}).Data1);
  EXPECT_EQ(wide, MP4G::GUIDtoQVGUID(_GUID{wide, 0, 0, {}}).Data1);
}

// Without an engine, and with one that holds no sequence engine, the answers are the same.
class CreatorWithoutEngine : public testing::TestWithParam<bool> {
 protected:
  CreatorWithoutEngine() {
    if (GetParam()) creator.engine = std::make_unique<CEngineCtrl>(nullptr);
  }

  CreatorImpl creator;
};

TEST_P(CreatorWithoutEngine, ResultCodesArePointerErrors) {
  EXPECT_RESULT(E_POINTER, creator.registerMp4(L"clip.mp4"));
  EXPECT_RESULT(E_POINTER, creator.registerMp4WithID(L"clip.mp4", kQvHead, kQvTail));
  EXPECT_RESULT(E_POINTER, creator.salvationProcess());
  EXPECT_RESULT(E_POINTER, creator.divideRelaySequenceExceptFirstOne());
}

TEST_P(CreatorWithoutEngine, CountsAreZeroButThatOfRelaySequencesIsThePointerError) {
  EXPECT_EQ(0u, creator.sequenceCount());
  EXPECT_EQ(0u, creator.unclosedSequenceCount());
  EXPECT_EQ(0x80004003u, creator.relaySequnceCount());
}

TEST_P(CreatorWithoutEngine, NotificationsDoNothing) {
  creator.clearSequences();
  creator.notifyNewVolume();
  EXPECT_EQ(GetParam(), creator.engine != nullptr);
  EXPECT_EQ(0u, creator.sequenceCount());
}

TEST_P(CreatorWithoutEngine, ThereIsNoSequence) {
  _tagQVTimeDate date{1, 2, 3, 4, 5, 6};
  EXPECT_RESULT(E_POINTER, creator.sequenceTimedate(0, &date));
  EXPECT_EQ(1, date.year);
  EXPECT_EQ(6, date.second);
  EXPECT_EQ(0u, creator.sequenceFileCount(0));
  int length = 77;
  EXPECT_EQ(nullptr, creator.sequenceFilePath(0, 0, length));
  EXPECT_EQ(77, length);
  EXPECT_EQ(0, creator.sequenceIsUnclosed(0));
  EXPECT_EQ(0, creator.sequenceConsistsOfVireoStreams(0));
  EXPECT_EQ(0, creator.sequenceIsRelaySequence(0));
  EXPECT_TRUE(Same(_tagQVGUID{}, creator.sequenceHeadUniqueID(0)));
  EXPECT_TRUE(Same(_tagQVGUID{}, creator.sequenceTailUniqueID(0)));
}

INSTANTIATE_TEST_SUITE_P(OrWithoutItsObject, CreatorWithoutEngine, testing::Bool());

TEST(CreatorImpl, InitializeMakesASequenceEngine) {
  CreatorImpl creator;
  EXPECT_EQ(nullptr, creator.engine);
  ASSERT_OK(creator.initialize());
  ASSERT_NE(nullptr, creator.engine);
  EXPECT_EQ(nullptr, creator.engine->merger);
  EXPECT_TRUE(creator.engine->sequenceCreator);
  EXPECT_EQ(0u, creator.relaySequnceCount());
}

TEST(CreatorImpl, ResetDropsTheEngine) {
  CreatorImpl creator;
  ASSERT_OK(creator.initialize());
  creator.reset();
  EXPECT_EQ(nullptr, creator.engine);
  EXPECT_EQ(0x80004003u, creator.relaySequnceCount());
}

TEST_F(ScriptedCreator, InitializeLetsGoOfTheOldEngine) {
  ASSERT_OK(creator.initialize());
  EXPECT_NE(&engine, creator.engine->sequenceCreator.get());
}

TEST_F(ScriptedCreator, ResetReleasesTheEngine) {
  creator.reset();
  testing::Mock::VerifyAndClearExpectations(&engine);
}

TEST_F(ScriptedCreator, OperationsAreThoseOfTheEngine) {
  EXPECT_CALL(engine, RegisterMp4(StrEq(L"/a.mp4"))).WillOnce(Return(S_FALSE));
  EXPECT_RESULT(S_FALSE, creator.registerMp4(L"/a.mp4"));
  EXPECT_CALL(engine, RegisterMp4WithID(StrEq(L"/b.mp4"), kHead, kTail))
      .WillOnce(Return(E_BAD_DATA));
  EXPECT_RESULT(E_BAD_DATA, creator.registerMp4WithID(L"/b.mp4", kQvHead, kQvTail));
  EXPECT_CALL(engine, ClearSequences());
  creator.clearSequences();
  EXPECT_CALL(engine, GetSequenceCount()).WillOnce(Return(4000000000u));
  EXPECT_EQ(4000000000u, creator.sequenceCount());
  EXPECT_CALL(engine, GetUnclosedSequenceCount()).WillOnce(Return(12u));
  EXPECT_EQ(12u, creator.unclosedSequenceCount());
  EXPECT_CALL(engine, SalvationProcess()).WillOnce(Return(E_UNEXPECTED));
  EXPECT_RESULT(E_UNEXPECTED, creator.salvationProcess());
  EXPECT_CALL(engine, NotifyNewVolume());
  creator.notifyNewVolume();
  EXPECT_CALL(engine, GetRelaySequenceCount()).WillOnce(Return(13u));
  EXPECT_EQ(13u, creator.relaySequnceCount());
  EXPECT_CALL(engine, DivideRelaySequenceExceptFirstOne()).WillOnce(Return(E_INVALIDARG));
  EXPECT_RESULT(E_INVALIDARG, creator.divideRelaySequenceExceptFirstOne());
}

// The engine decides what two zero identifiers mean; only the front object looks at them.
TEST_F(ScriptedCreator, ZeroIdentifiersReachTheEngine) {
  EXPECT_CALL(engine, RegisterMp4WithID(StrEq(L"/a.mp4"), _GUID{}, _GUID{})).WillOnce(Return(S_OK));
  EXPECT_OK(creator.registerMp4WithID(L"/a.mp4", _tagQVGUID{}, _tagQVGUID{}));
}

TEST_F(ScriptedCreator, WidensTheDate) {
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetTimedate(_)).WillOnce([](_tagSequenceTimedate* out) {
    EXPECT_EQ(_tagSequenceTimedate{}, *out);
    *out = {65535, 255, 254, 253, 252, 251};
    return S_OK;
  });
  _tagQVTimeDate date{-1, -1, -1, -1, -1, -1};
  ASSERT_OK(creator.sequenceTimedate(3, &date));
  EXPECT_EQ(65535, date.year);
  EXPECT_EQ(255, date.month);
  EXPECT_EQ(254, date.day);
  EXPECT_EQ(253, date.hour);
  EXPECT_EQ(252, date.minute);
  EXPECT_EQ(251, date.second);
}

TEST_F(ScriptedCreator, AnyAnswerButOkLeavesTheDateAsItWas) {
  for (const HRESULT answer : {E_FAIL, S_FALSE}) {
    ExpectOneLookUp();
    EXPECT_CALL(sequence, GetTimedate(_))
        .WillOnce(
            DoAll(SetArgPointee<0>(_tagSequenceTimedate{2020, 1, 2, 3, 4, 5}), Return(answer)));
    _tagQVTimeDate date{-1, -2, -3, -4, -5, -6};
    EXPECT_RESULT(answer, creator.sequenceTimedate(3, &date));
    EXPECT_EQ(-1, date.year);
    EXPECT_EQ(-6, date.second);
  }
}

TEST_F(ScriptedCreator, ADateNeedsAPlaceToGo) {
  EXPECT_RESULT(E_POINTER, creator.sequenceTimedate(3, nullptr));
}

TEST_F(ScriptedCreator, QuestionsGoToTheSequenceAndGiveItsReferenceBack) {
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetFileCount()).WillOnce(Return(3000000000u));
  EXPECT_EQ(3000000000u, creator.sequenceFileCount(3));
  ExpectOneLookUp();
  EXPECT_CALL(sequence, IsUnclosedSequence()).WillOnce(Return(-5));
  EXPECT_EQ(-5, creator.sequenceIsUnclosed(3));
  ExpectOneLookUp();
  EXPECT_CALL(sequence, ConsistsOfVireoStream()).WillOnce(Return(6));
  EXPECT_EQ(6, creator.sequenceConsistsOfVireoStreams(3));
  ExpectOneLookUp();
  EXPECT_CALL(sequence, IsRelaySequence()).WillOnce(Return(7));
  EXPECT_EQ(7, creator.sequenceIsRelaySequence(3));
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetHeadUniqueID()).WillOnce(Return(kHead));
  EXPECT_TRUE(Same(kQvHead, creator.sequenceHeadUniqueID(3)));
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetTailUniqueID()).WillOnce(Return(kTail));
  EXPECT_TRUE(Same(kQvTail, creator.sequenceTailUniqueID(3)));
}

TEST_F(ScriptedCreator, LendsThePathWithItsLengthInCharacters) {
  const wchar_t* path = L"/\x1F3AC.mp4";
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetFilePathAtIndex(2)).WillOnce(Return(path));
  int length = -1;
  EXPECT_EQ(path, creator.sequenceFilePath(3, 2, length));
  EXPECT_EQ(6, length);
}

TEST_F(ScriptedCreator, ANegativeFileIndexIsPastTheEnd) {
  ExpectOneLookUp();
  EXPECT_CALL(sequence, GetFilePathAtIndex(0xFFFFFFFF)).WillOnce(Return(L""));
  int length = -1;
  EXPECT_STREQ(L"", creator.sequenceFilePath(3, -1, length));
  EXPECT_EQ(0, length);
}

TEST(QVMp4SequenceCreator, WithoutAnEngineResultCodesAreMinusOneButThatOfDividing) {
  QVMp4SequenceCreator creator;
  EXPECT_EQ(-1, creator.registerMp4("clip.mp4"));
  EXPECT_EQ(-1, creator.registerMp4(nullptr));
  EXPECT_EQ(-1, creator.registerMp4WithID("clip.mp4", kQvHead, kQvTail));
  EXPECT_EQ(-1, creator.salvationProcess());
  EXPECT_EQ(0, creator.divideRelaySequenceExceptFirstOne());
}

TEST(QVMp4SequenceCreator, WithoutAnEngineThereIsNothing) {
  QVMp4SequenceCreator creator;
  creator.clearSequences();
  creator.notifyNewVolume();
  EXPECT_EQ(0u, creator.sequenceCount());
  EXPECT_EQ(0u, creator.unclosedSequenceCount());
  EXPECT_EQ(0u, creator.relaySequnceCount());
  const _tagQVTimeDate date = creator.timedateOfSequenceAt(0);
  EXPECT_EQ(0, date.year | date.month | date.day | date.hour | date.minute | date.second);
  EXPECT_EQ(0u, creator.filecountOfSequenceAt(0));
  EXPECT_EQ(std::nullopt, creator.filepathOfSequenceAt(0, 0));
  EXPECT_EQ(0, creator.sequenceIsUnclosed(0));
  EXPECT_EQ(0, creator.sequenceConsistsOfVireoStreams(0));
  EXPECT_EQ(0, creator.sequenceIsRelaySequence(0));
  EXPECT_TRUE(Same(_tagQVGUID{}, creator.sequenceHeadUniqueID(0)));
  EXPECT_TRUE(Same(_tagQVGUID{}, creator.sequenceTailUniqueID(0)));
}

TEST(QVMp4SequenceCreator, InitGivesTheObjectWithAWorkingEngine) {
  QVMp4SequenceCreator creator;
  ASSERT_EQ(&creator, creator.init());
  EXPECT_EQ(0u, creator.sequenceCount());
  EXPECT_OK(creator.salvationProcess());
  // The engine's own answer before the first registration.
  EXPECT_RESULT(E_POINTER, creator.divideRelaySequenceExceptFirstOne());
}

TEST(QVMp4SequenceCreator, PrepareEngineAloneMakesAnEngineToo) {
  QVMp4SequenceCreator creator;
  EXPECT_EQ(0, creator.prepareEngine());
  EXPECT_OK(creator.salvationProcess());
}

TEST(QVMp4SequenceCreator, RefusesPathsThatAreNoText) {
  QVMp4SequenceCreator creator;
  ASSERT_NE(nullptr, creator.init());
  for (const char* path : {static_cast<const char*>(nullptr), "\xFF", "a\xC3", "\xED\xA0\x80"}) {
    EXPECT_RESULT(E_FAIL, creator.registerMp4(path));
    EXPECT_RESULT(E_FAIL, creator.registerMp4WithID(path, kQvHead, kQvTail));
  }
  EXPECT_EQ(0u, creator.sequenceCount());
}

}  // namespace
