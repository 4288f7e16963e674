// The engine object as an application holds it: through the factory and the interfaces alone.
#include "clip/sequence_engine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "clip/sequence_creator.h"
#include "foundation/com_ptr.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using namespace MP4G;
using QUIRVA::ComPtr;
using QUIRVA::GuidText;
using support::ChainLink;
using support::Id;

namespace {

class SequenceEngine : public testing::Test {
 protected:
  SequenceEngine() {
    EXPECT_OK(CVireoMp4AnalyzerFactory::CreateInstance(IID_IMp4SequenceCreator, creator.Receive()));
  }

  std::wstring ChainFile(unsigned int number, unsigned int length, unsigned int base = 0) {
    const std::string name = std::to_string(base + number);
    support::WriteFile(folder / name, support::TinyClip(ChainLink(number, length, base), base));
    return (folder / name).wstring();
  }

  ComPtr<IMp4Sequence> At(unsigned int index) {
    ComPtr<IMp4Sequence> sequence;
    EXPECT_OK(creator->GetSequenceAtIndex(index, sequence.Receive()));
    return sequence;
  }

  ComPtr<IMp4SequenceCreatorSecret> Secret() {
    ComPtr<IMp4SequenceCreatorSecret> secret;
    EXPECT_OK(creator->QueryInterface(IID_IMp4SequenceCreatorSecret, secret.Receive()));
    return secret;
  }

  support::TempDir folder;
  ComPtr<IMp4SequenceCreator> creator;
};

std::string NameAt(IMp4Sequence& sequence, unsigned int index) {
  return std::filesystem::path(sequence.GetFilePathAtIndex(index)).filename().string();
}

}  // namespace

TEST(SequenceEngineIdentifiers, HaveTheRightBytes) {
  EXPECT_EQ("d65864f2-f917-4590-bfe0-0af884326d40", GuidText(IID_IMp4SequenceCreator));
  EXPECT_EQ("5e5d08f1-6818-4dd3-91f1-bd02845edcfa", GuidText(IID_IMp4SequenceCreatorSecret));
}

TEST(SequenceEngineFactory, MakesTheCreatorInterfaceAndNoOther) {
  void* object = nullptr;
  EXPECT_RESULT(E_POINTER,
                CVireoMp4AnalyzerFactory::CreateInstance(IID_IMp4SequenceCreator, nullptr));
  EXPECT_RESULT(E_NOINTERFACE,
                CVireoMp4AnalyzerFactory::CreateInstance(IID_IMp4SequenceCreatorSecret, &object));
  EXPECT_RESULT(E_NOINTERFACE, CVireoMp4AnalyzerFactory::CreateInstance(IID_IUnknown, &object));
  EXPECT_RESULT(E_NOINTERFACE, CVireoMp4AnalyzerFactory::CreateInstance(IID_IMp4Sequence, &object));
  EXPECT_EQ(nullptr, object);
  ASSERT_OK(CVireoMp4AnalyzerFactory::CreateInstance(IID_IMp4SequenceCreator, &object));
  EXPECT_EQ(0u, static_cast<IMp4SequenceCreator*>(object)->Release());
}

TEST(SequenceEngineObject, StartsWithoutABuilderAndWithOneReference) {
  EXPECT_RESULT(E_POINTER, CMp4SequenceCreator::CreateInstance(nullptr));
  CMp4SequenceCreator* engine = nullptr;
  ASSERT_OK(CMp4SequenceCreator::CreateInstance(&engine));
  EXPECT_EQ(nullptr, engine->sequenceCreator);
  EXPECT_EQ(2u, engine->AddRef());
  EXPECT_EQ(1u, engine->Release());
  EXPECT_EQ(0u, engine->Release());
}

TEST(SequenceEngineObject, MakesItsBuilderAtTheFirstRegistrationEvenIfThatFails) {
  ComPtr<CMp4SequenceCreator> engine;
  ASSERT_OK(CMp4SequenceCreator::CreateInstance(engine.Receive()));
  EXPECT_GT(0, engine->RegisterMp4(L"/no/such/clip.mp4"));
  ASSERT_NE(nullptr, engine->sequenceCreator);
  EXPECT_EQ(engine.get(), engine->sequenceCreator->owner);
  EXPECT_RESULT(E_INVALIDARG, engine->GetSequenceAtIndex(0, ComPtr<IMp4Sequence>().Receive()));
  EXPECT_OK(engine->DivideRelaySequenceExceptFirstOne());
  engine->ClearSequences();
  EXPECT_EQ(nullptr, engine->sequenceCreator);
}

TEST(SequenceEngineObject, PassesOverNullEntries) {
  support::TempDir folder;
  support::WriteFile(folder / "clip", support::PlainClip());
  ComPtr<CMp4SequenceCreator> engine;
  ASSERT_OK(CMp4SequenceCreator::CreateInstance(engine.Receive()));
  ASSERT_OK(engine->RegisterMp4((folder / "clip").wstring().c_str()));
  engine->sequenceCreator->sequences.push_front(nullptr);
  ComPtr<IMp4Sequence> sequence;
  EXPECT_RESULT(E_POINTER, engine->GetSequenceAtIndex(0, sequence.Receive()));
  EXPECT_OK(engine->GetSequenceAtIndex(1, sequence.Receive()));
  EXPECT_EQ(2u, engine->GetSequenceCount());
  EXPECT_EQ(1u, engine->GetTotalFileCount());
}

TEST(SequenceEngineObject, RegistersThroughItsVirtualSlotWithZeroIdentifiers) {
  class Recorder : public CMp4SequenceCreator {
   public:
    HRESULT RegisterMp4WithID(const wchar_t* path, _GUID headID, _GUID tailID) override {
      registered = path;
      head = headID;
      tail = tailID;
      return E_ABORT;
    }
    std::wstring registered;
    _GUID head = Id(1);
    _GUID tail = Id(1);
  } recorder;
  EXPECT_RESULT(E_ABORT, recorder.RegisterMp4(L"clip"));
  EXPECT_EQ(L"clip", recorder.registered);
  EXPECT_TRUE(recorder.head == _GUID{});
  EXPECT_TRUE(recorder.tail == _GUID{});
}

TEST_F(SequenceEngine, ANewOneAnswersWithNothing) {
  ComPtr<IMp4Sequence> sequence;
  EXPECT_EQ(0u, creator->GetSequenceCount());
  EXPECT_EQ(0u, creator->GetRelaySequenceCount());
  EXPECT_EQ(0u, creator->GetUnclosedSequenceCount());
  EXPECT_OK(creator->SalvationProcess());
  EXPECT_RESULT(E_POINTER, creator->DivideRelaySequenceExceptFirstOne());
  EXPECT_RESULT(E_POINTER, creator->GetSequenceAtIndex(0, sequence.Receive()));
  creator->ClearSequences();
  creator->NotifyNewVolume();
  EXPECT_EQ(0u, creator->GetSequenceCount());
  EXPECT_EQ(0u, Secret()->GetTotalFileCount());
}

TEST_F(SequenceEngine, ServesBothInterfacesFromEachOther) {
  void* object = creator.get();
  EXPECT_RESULT(E_POINTER, creator->QueryInterface(IID_IMp4SequenceCreator, nullptr));
  EXPECT_RESULT(E_NOINTERFACE, creator->QueryInterface(IID_IUnknown, &object));
  EXPECT_RESULT(E_NOINTERFACE, creator->QueryInterface(IID_IMp4Sequence, &object));
  EXPECT_EQ(creator.get(), object);
  ComPtr<IMp4SequenceCreatorSecret> secret = Secret();
  EXPECT_EQ(3u, creator->AddRef());
  EXPECT_EQ(2u, secret->Release());
  ComPtr<IMp4SequenceCreator> again;
  EXPECT_OK(secret->QueryInterface(IID_IMp4SequenceCreator, again.Receive()));
  EXPECT_EQ(creator.get(), again.get());
  EXPECT_RESULT(E_NOINTERFACE, secret->QueryInterface(IID_IUnknown, &object));
}

TEST_F(SequenceEngine, HandsOutSequencesWithAReference) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 2).c_str()));
  EXPECT_RESULT(E_POINTER, creator->GetSequenceAtIndex(0, nullptr));
  EXPECT_RESULT(E_INVALIDARG, creator->GetSequenceAtIndex(1, ComPtr<IMp4Sequence>().Receive()));
  EXPECT_RESULT(E_INVALIDARG,
                creator->GetSequenceAtIndex(0xFFFFFFFF, ComPtr<IMp4Sequence>().Receive()));
  ComPtr<IMp4Sequence> sequence = At(0);
  EXPECT_EQ(3u, sequence->AddRef());
  EXPECT_EQ(2u, sequence->Release());
}

TEST_F(SequenceEngine, AHeldSequenceSurvivesClearing) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 2).c_str()));
  ComPtr<IMp4Sequence> sequence = At(0);
  creator->ClearSequences();
  EXPECT_EQ(0u, creator->GetSequenceCount());
  EXPECT_EQ(1u, sequence->GetFileCount());
  EXPECT_EQ("1", NameAt(*sequence, 0));
  // Its other half makes a new sequence: the held one is no longer part of anything.
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 2).c_str()));
  EXPECT_EQ(1u, creator->GetSequenceCount());
  EXPECT_EQ(1u, sequence->GetFileCount());
  EXPECT_EQ(2u, sequence->AddRef());
  EXPECT_EQ(1u, sequence->Release());
}

TEST_F(SequenceEngine, AHeldSequenceSurvivesItsEngine) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 1).c_str()));
  ComPtr<IMp4Sequence> sequence = At(0);
  creator.Reset();
  EXPECT_EQ("1", NameAt(*sequence, 0));
}

TEST_F(SequenceEngine, AHeldSequenceIsEmptiedByAJoinAndFilledWhenItIsUsedAgain) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 3).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(3, 3).c_str()));
  ComPtr<IMp4Sequence> one = At(0);
  ComPtr<IMp4Sequence> three = At(1);
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 3).c_str()));
  EXPECT_EQ(0u, one->GetFileCount());
  EXPECT_EQ(0, one->IsUnclosedSequence());
  EXPECT_EQ(3u, three->GetFileCount());
  // Two emptied sequences wait, this one behind the one that clip 2 started.
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 1, 20).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 1, 30).c_str()));
  ASSERT_EQ(1u, one->GetFileCount());
  EXPECT_EQ("31", NameAt(*one, 0));
}

TEST_F(SequenceEngine, TheFirstVolumeIsTheSameWithoutRegistration) {
  creator->NotifyNewVolume();
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 3).c_str()));
  creator->ClearSequences();
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 3).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 3).c_str()));
  EXPECT_EQ(0u, creator->GetRelaySequenceCount());
  creator->NotifyNewVolume();
  ASSERT_OK(creator->RegisterMp4(ChainFile(3, 3).c_str()));
  EXPECT_EQ(1u, creator->GetRelaySequenceCount());
  EXPECT_EQ(1, At(0)->IsRelaySequence());
}

TEST(SequenceEngineObject, CountsVolumesFromZeroAndAgainAfterClearing) {
  support::TempDir folder;
  support::WriteFile(folder / "clip", support::PlainClip());
  const std::wstring path = (folder / "clip").wstring();
  ComPtr<CMp4SequenceCreator> engine;
  ASSERT_OK(CMp4SequenceCreator::CreateInstance(engine.Receive()));
  const auto lastVolume = [&] {
    return engine->sequenceCreator->sequences.back()->FirstMp4()->volume;
  };
  engine->NotifyNewVolume();
  ASSERT_OK(engine->RegisterMp4(path.c_str()));
  EXPECT_EQ(0u, lastVolume());
  engine->NotifyNewVolume();
  engine->NotifyNewVolume();
  ASSERT_OK(engine->RegisterMp4(path.c_str()));
  EXPECT_EQ(2u, lastVolume());
  engine->ClearSequences();
  ASSERT_OK(engine->RegisterMp4(path.c_str()));
  EXPECT_EQ(0u, lastVolume());
}

TEST_F(SequenceEngine, AnApplicationFindsTheRecordingInAShuffledCard) {
  const unsigned int order[] = {4, 1, 23, 5, 2, 21, 3, 22};
  for (const unsigned int number : order) {
    const unsigned int base = number > 20 ? 20 : 0;
    ASSERT_OK(creator->RegisterMp4(ChainFile(number - base, base == 0 ? 5 : 3, base).c_str()));
  }
  ASSERT_EQ(2u, creator->GetSequenceCount());
  EXPECT_EQ(0u, creator->GetUnclosedSequenceCount());
  EXPECT_EQ(8u, Secret()->GetTotalFileCount());
  ComPtr<IMp4Sequence> sequence = At(0);
  ASSERT_EQ(5u, sequence->GetFileCount());
  for (unsigned int i = 0; i < 5; ++i) EXPECT_EQ(std::to_string(i + 1), NameAt(*sequence, i));
  EXPECT_EQ(1, sequence->IsClosedAtHead());
  EXPECT_EQ(1, sequence->IsClosedAtTail());
  EXPECT_EQ(0, sequence->IsUnclosedSequence());
  EXPECT_EQ(0, sequence->IsRelaySequence());
  EXPECT_EQ(1, sequence->ConsistsOfVireoStream());
  EXPECT_TRUE(sequence->GetHeadUniqueID() == Id(1));
  EXPECT_TRUE(sequence->GetTailUniqueID() == Id(5));
  _tagSequenceTimedate date{};
  ASSERT_OK(sequence->GetTimedate(&date));
  EXPECT_EQ(1904, date.year);
  EXPECT_EQ(0, date.second);
  ASSERT_OK(At(1)->GetTimedate(&date));
  EXPECT_EQ(20, date.second);
}

TEST_F(SequenceEngine, AnApplicationDividesRelaysAndNamesEnds) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 2).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 2, 20).c_str()));
  creator->NotifyNewVolume();
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 2).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 2, 20).c_str()));
  EXPECT_EQ(2u, creator->GetRelaySequenceCount());
  EXPECT_OK(creator->DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ(3u, creator->GetSequenceCount());
  EXPECT_EQ(1u, creator->GetRelaySequenceCount());
  EXPECT_EQ(2u, creator->GetUnclosedSequenceCount());
  ASSERT_OK(creator->RegisterMp4WithID(ChainFile(1, 1, 40).c_str(), Id(50), Id(51)));
  ComPtr<IMp4Sequence> named = At(3);
  EXPECT_TRUE(named->GetHeadUniqueID() == Id(50));
  EXPECT_TRUE(named->GetTailUniqueID() == Id(51));
  EXPECT_EQ(5u, Secret()->GetTotalFileCount());
}

// The order of the slots is what a program compiled against the interfaces depends on.
namespace {

// Slot `slot` of an object's table as a function that takes the object first.
template <class Function>
Function* Slot(void* object, int slot) {
  void** table = *static_cast<void***>(object);
  return reinterpret_cast<Function*>(table[slot]);
}

#if defined(__clang__)
#define UNCHECKED_CALLS __attribute__((no_sanitize("function")))
#else
#define UNCHECKED_CALLS
#endif

template <class Result, class... Arguments>
UNCHECKED_CALLS Result Call(void* object, int slot, Arguments... arguments) {
  return Slot<Result(void*, Arguments...)>(object, slot)(object, arguments...);
}

}  // namespace

TEST_F(SequenceEngine, TheSlotsOfTheCreatorStandInTheirOrder) {
  const std::wstring first = ChainFile(1, 3);
  const std::wstring second = ChainFile(2, 3);
  void* object = creator.get();
  void* same = nullptr;
  EXPECT_OK((Call<HRESULT, _GUID, void**>(object, 0, IID_IMp4SequenceCreator, &same)));
  EXPECT_EQ(object, same);
  EXPECT_EQ(3u, Call<std::uint32_t>(object, 1));
  EXPECT_EQ(2u, Call<std::uint32_t>(object, 2));
  EXPECT_EQ(1u, Call<std::uint32_t>(object, 2));
  EXPECT_OK(Call<HRESULT>(object, 3, first.c_str()));
  Call<void>(object, 8);
  EXPECT_OK(Call<HRESULT>(object, 4, second.c_str(), Id(2), Id(2)));
  EXPECT_EQ(1u, Call<std::uint32_t>(object, 6));
  IMp4Sequence* sequence = nullptr;
  EXPECT_OK((Call<HRESULT, unsigned int, IMp4Sequence**>(object, 7, 0, &sequence)));
  ASSERT_NE(nullptr, sequence);
  EXPECT_EQ(1u, sequence->Release());
  EXPECT_EQ(1u, Call<std::uint32_t>(object, 9));
  EXPECT_OK(Call<HRESULT>(object, 10));
  EXPECT_EQ(1u, Call<std::uint32_t>(object, 11));
  EXPECT_OK(Call<HRESULT>(object, 12));
  Call<void>(object, 5);
  EXPECT_EQ(0u, Call<std::uint32_t>(object, 6));
  // Without clips: nothing to divide, nothing to salvage.
  EXPECT_RESULT(E_POINTER, Call<HRESULT>(object, 10));
  EXPECT_OK(Call<HRESULT>(object, 12));
}

TEST_F(SequenceEngine, TheSlotsOfTheSecretStandInTheirOrder) {
  ASSERT_OK(creator->RegisterMp4(ChainFile(1, 2).c_str()));
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 2).c_str()));
  ComPtr<IMp4SequenceCreatorSecret> secret = Secret();
  void* object = secret.get();
  void* same = nullptr;
  EXPECT_OK((Call<HRESULT, _GUID, void**>(object, 0, IID_IMp4SequenceCreatorSecret, &same)));
  EXPECT_EQ(object, same);
  EXPECT_EQ(4u, Call<std::uint32_t>(object, 1));
  EXPECT_EQ(3u, Call<std::uint32_t>(object, 2));
  EXPECT_EQ(2u, Call<std::uint32_t>(object, 2));
  EXPECT_EQ(2u, Call<std::uint32_t>(object, 3));
}

TEST_F(SequenceEngine, TheSlotsOfASequenceStandInTheirOrder) {
  // Each flag's answer differs from its neighbours': open head, closed tail, marker, two volumes.
  ASSERT_OK(creator->RegisterMp4(ChainFile(2, 3).c_str()));
  creator->NotifyNewVolume();
  ASSERT_OK(creator->RegisterMp4(ChainFile(3, 3).c_str()));
  ComPtr<IMp4Sequence> sequence = At(0);
  void* object = sequence.get();
  void* same = nullptr;
  EXPECT_OK((Call<HRESULT, _GUID, void**>(object, 0, IID_IMp4Sequence, &same)));
  EXPECT_EQ(object, same);
  EXPECT_EQ(4u, Call<std::uint32_t>(object, 1));
  EXPECT_EQ(3u, Call<std::uint32_t>(object, 2));
  EXPECT_EQ(2u, Call<std::uint32_t>(object, 2));
  _tagSequenceTimedate date{};
  EXPECT_OK((Call<HRESULT, _tagSequenceTimedate*>(object, 3, &date)));
  EXPECT_EQ(1904, date.year);
  EXPECT_EQ(2u, Call<std::uint32_t>(object, 4));
  const auto* path = Call<const wchar_t*, unsigned int>(object, 5, 1);
  EXPECT_EQ("3", std::filesystem::path(path).filename().string());
  EXPECT_EQ(0, Call<signed char>(object, 6));
  EXPECT_EQ(1, Call<signed char>(object, 7));
  EXPECT_EQ(1, Call<signed char>(object, 8));
  EXPECT_EQ(1, Call<signed char>(object, 9));
  EXPECT_EQ(1, Call<signed char>(object, 10));
  EXPECT_TRUE(Call<_GUID>(object, 11) == Id(2));
  EXPECT_TRUE(Call<_GUID>(object, 12) == Id(3));
}

TEST_F(SequenceEngine, TheFlagSlotsOfASequenceAnswerEachForItself) {
  // One sequence for each flag that is to differ from the others.
  struct Case {
    const char* what;
    unsigned int number;
    unsigned int length;
    bool marker;
    signed char flags[5];  // closed at head, at tail, stream, relay, unclosed
  };
  const Case cases[] = {
      {"whole", 1, 1, true, {1, 1, 1, 0, 0}},
      {"open tail", 1, 2, true, {1, 0, 1, 0, 1}},
      {"open head", 2, 2, true, {0, 1, 1, 0, 1}},
      {"no camera's clip", 1, 1, false, {1, 1, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    creator->ClearSequences();
    support::WriteFile(folder / "clip", c.marker ? support::TinyClip(ChainLink(c.number, c.length))
                                                 : support::PlainClip());
    ASSERT_OK(creator->RegisterMp4((folder / "clip").wstring().c_str()));
    ComPtr<IMp4Sequence> sequence = At(0);
    for (int flag = 0; flag < 5; ++flag) {
      EXPECT_EQ(c.flags[flag], Call<signed char>(sequence.get(), 6 + flag)) << flag;
    }
  }
}
