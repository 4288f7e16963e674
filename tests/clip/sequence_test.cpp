#include "clip/sequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "clip/mp4_util.h"
#include "foundation/com_ptr.h"
#include "support/result_matchers.h"
#include "support/sequences.h"

using namespace MP4G;
using QUIRVA::GuidText;
using support::Id;

namespace {

constexpr _tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};

// A clip that tells when it goes away.
class WatchedClip : public CVireoMp4 {
 public:
  WatchedClip(int& alive, unsigned int onVolume) : CVireoMp4(onVolume), alive_(alive) { ++alive_; }
  ~WatchedClip() override { --alive_; }

 private:
  int& alive_;
};

class Mp4Sequence : public testing::Test {
 protected:
  ~Mp4Sequence() override {
    first.Reset();
    second.Reset();
    EXPECT_EQ(0, alive);
  }

  CVireoMp4* Clip(const _GUID& own, const _GUID& previous, const _GUID& next,
                  unsigned int volume = 0) {
    auto* clip = new WatchedClip(alive, volume);
    clip->uniqueID = own;
    clip->preID = previous;
    clip->nextID = next;
    clip->path = L"clip-" + std::to_wstring(own.Data4[7]);
    return clip;
  }

  // Clip number `number` of a chain of `length`.
  CVireoMp4* ChainClip(unsigned int number, unsigned int length, unsigned int volume = 0) {
    const support::VendorBox link = support::ChainLink(number, length);
    return Clip(link.unique, link.pre, link.next, volume);
  }

  void Give(CMp4Sequence& sequence, CVireoMp4* clip) { ASSERT_OK(sequence.TransferMp4(clip)); }

  static std::vector<std::wstring> Paths(CMp4Sequence& sequence) {
    std::vector<std::wstring> paths;
    for (unsigned int i = 0; i < sequence.GetFileCount(); ++i) {
      paths.emplace_back(sequence.GetFilePathAtIndex(i));
    }
    return paths;
  }

  using PathList = std::vector<std::wstring>;

  int alive = 0;
  CMp4Sequence first;
  CMp4Sequence second;
};

#define EXPECT_GUID(expected, actual) EXPECT_EQ(GuidText(expected), GuidText(actual))

}  // namespace

TEST(ZeroMemory, HoldsForNullForNothingAndForZeros) {
  const unsigned char bytes[4] = {0, 0, 0, 1};
  EXPECT_TRUE(IsZeroMemory(nullptr, 4));
  EXPECT_TRUE(IsZeroMemory(bytes, 0));
  EXPECT_TRUE(IsZeroMemory(bytes, 3));
  EXPECT_FALSE(IsZeroMemory(bytes, 4));
}

TEST(ZeroIdentifier, LooksAtEveryFieldAndNotAtTheFiller) {
  EXPECT_TRUE(IsZeroIdentifier(_GUID{}));
  EXPECT_FALSE(IsZeroIdentifier(_GUID{1, 0, 0, {}}));
  EXPECT_FALSE(IsZeroIdentifier(_GUID{0, 1, 0, {}}));
  EXPECT_FALSE(IsZeroIdentifier(_GUID{0, 0, 1, {}}));
  for (int i = 0; i < 8; ++i) {
    _GUID identifier{};
    identifier.Data4[i] = 1;
    EXPECT_FALSE(IsZeroIdentifier(identifier)) << i;
  }
  alignas(_GUID) unsigned char noise[sizeof(_GUID)];
  std::fill(std::begin(noise), std::end(noise), static_cast<unsigned char>(0xFF));
  auto* identifier = new (noise) _GUID;
  identifier->Data1 = 0;
  identifier->Data2 = 0;
  identifier->Data3 = 0;
  for (unsigned char& byte : identifier->Data4) byte = 0;
  EXPECT_TRUE(IsZeroIdentifier(*identifier));
}

TEST(Mp4SequenceInstance, RefusesANullOutArgument) {
  EXPECT_RESULT(E_POINTER, CMp4Sequence::CreateInstance(nullptr));
}

TEST(Mp4SequenceInstance, StartsEmptyWithOneReference) {
  CMp4Sequence* sequence = nullptr;
  ASSERT_OK(CMp4Sequence::CreateInstance(&sequence));
  EXPECT_EQ(0u, sequence->GetFileCount());
  EXPECT_GUID(_GUID{}, sequence->GetHeadUniqueID());
  EXPECT_GUID(_GUID{}, sequence->GetTailUniqueID());
  EXPECT_EQ(2u, sequence->AddRef());
  EXPECT_EQ(1u, sequence->Release());
  EXPECT_EQ(0u, sequence->Release());
}

TEST(Mp4SequenceInstance, ServesItsOwnInterfaceAlone) {
  QUIRVA::ComPtr<CMp4Sequence> sequence;
  ASSERT_OK(CMp4Sequence::CreateInstance(sequence.Receive()));
  void* object = nullptr;
  EXPECT_RESULT(E_POINTER, sequence->QueryInterface(IID_IMp4Sequence, nullptr));
  EXPECT_RESULT(E_NOINTERFACE, sequence->QueryInterface(IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
  ASSERT_OK(sequence->QueryInterface(IID_IMp4Sequence, &object));
  EXPECT_EQ(static_cast<IMp4Sequence*>(sequence.get()), object);
  EXPECT_EQ(1u, static_cast<IMp4Sequence*>(object)->Release());
}

TEST(Mp4SequenceInstance, ItsIdentifierHasTheRightBytes) {
  EXPECT_EQ("b94994bd-73bb-4d32-b296-302a7ed14d48", GuidText(IID_IMp4Sequence));
}

TEST_F(Mp4Sequence, TheLastReferenceTakesTheClipsAlong) {
  CMp4Sequence* sequence = nullptr;
  ASSERT_OK(CMp4Sequence::CreateInstance(&sequence));
  Give(*sequence, ChainClip(1, 2));
  Give(*sequence, ChainClip(2, 2));
  EXPECT_EQ(2u, sequence->AddRef());
  EXPECT_EQ(1u, sequence->Release());
  EXPECT_EQ(2, alive);
  EXPECT_EQ(0u, sequence->Release());
  EXPECT_EQ(0, alive);
}

TEST_F(Mp4Sequence, EmptyAnswersEverythingWithNothing) {
  EXPECT_EQ(nullptr, first.FirstMp4());
  EXPECT_EQ(nullptr, first.LastMp4());
  EXPECT_GUID(_GUID{}, first.PreID());
  EXPECT_GUID(_GUID{}, first.NextID());
  EXPECT_EQ(1, first.IsClosedAtHead());
  EXPECT_EQ(1, first.IsClosedAtTail());
  EXPECT_EQ(0, first.NextIDExist());
  EXPECT_EQ(0, first.IsUnclosedSequence());
  EXPECT_EQ(0, first.ConsistsOfVireoStream());
  EXPECT_EQ(0, first.IsRelaySequence());
  EXPECT_EQ(0u, first.RelayClipIndex());
  EXPECT_EQ(0u, first.GetFileCount());
  EXPECT_EQ(0u, first.TimeFromEra());
  EXPECT_EQ(0, first.TimeDate().year);
  EXPECT_EQ(std::wstring(), first.GetFilePathAtIndex(0));
}

TEST_F(Mp4Sequence, ReadsTheEndsOfTheChain) {
  CVireoMp4* head = Clip(Id(1), Id(7), Id(2));
  CVireoMp4* tail = Clip(Id(2), Id(1), Id(8));
  Give(first, head);
  Give(first, tail);
  EXPECT_EQ(head, first.FirstMp4());
  EXPECT_EQ(tail, first.LastMp4());
  EXPECT_GUID(Id(7), first.PreID());
  EXPECT_GUID(Id(8), first.NextID());
  EXPECT_EQ(1, first.NextIDExist());
  EXPECT_EQ(2u, first.GetFileCount());
}

TEST_F(Mp4Sequence, CountsANullEntryAndAnswersAsWithoutAClip) {
  first.clips.push_back(nullptr);
  EXPECT_EQ(1u, first.GetFileCount());
  EXPECT_EQ(nullptr, first.FirstMp4());
  EXPECT_EQ(1, first.IsClosedAtHead());
  EXPECT_EQ(1, first.IsClosedAtTail());
  EXPECT_EQ(0, first.ConsistsOfVireoStream());
  EXPECT_EQ(std::wstring(), first.GetFilePathAtIndex(0));
  EXPECT_EQ(0u, first.TimeFromEra());
  Give(second, ChainClip(1, 1));
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(&second));
}

TEST_F(Mp4Sequence, OneWholeClipIsClosedAtBothEnds) {
  Give(first, ChainClip(1, 1));
  EXPECT_EQ(1, first.IsClosedAtHead());
  EXPECT_EQ(1, first.IsClosedAtTail());
  EXPECT_EQ(0, first.IsUnclosedSequence());
}

TEST_F(Mp4Sequence, OneClipWithASuccessorIsUnclosed) {
  Give(first, Clip(Id(1), Id(0), Id(2)));
  EXPECT_EQ(1, first.IsClosedAtHead());
  EXPECT_EQ(0, first.IsClosedAtTail());
  EXPECT_EQ(1, first.IsUnclosedSequence());
}

TEST_F(Mp4Sequence, OneClipWithAPredecessorIsUnclosed) {
  Give(first, Clip(Id(2), Id(1), Id(0)));
  EXPECT_EQ(0, first.IsClosedAtHead());
  EXPECT_EQ(1, first.IsClosedAtTail());
  EXPECT_EQ(1, first.IsUnclosedSequence());
}

TEST_F(Mp4Sequence, AsksWhetherItIsUnclosedThroughItsVirtualSlots) {
  class OpenHead : public CMp4Sequence {
   public:
    signed char IsClosedAtHead() override { return 0; }
  };
  class OpenTail : public CMp4Sequence {
   public:
    signed char IsClosedAtTail() override { return 0; }
  };
  EXPECT_EQ(1, OpenHead().IsUnclosedSequence());
  EXPECT_EQ(1, OpenTail().IsUnclosedSequence());
}

TEST_F(Mp4Sequence, TheFirstClipDecidesWhetherItIsAStreamOfTheCamera) {
  Give(first, ChainClip(1, 2));
  Give(first, ChainClip(2, 2));
  first.LastMp4()->isVireoStream = 1;
  EXPECT_EQ(0, first.ConsistsOfVireoStream());
  first.FirstMp4()->isVireoStream = 1;
  first.LastMp4()->isVireoStream = 0;
  EXPECT_EQ(1, first.ConsistsOfVireoStream());
}

TEST_F(Mp4Sequence, GivesTheDateOfItsFirstClip) {
  Give(first, ChainClip(1, 2));
  Give(first, ChainClip(2, 2));
  first.LastMp4()->timedate = {2030, 1, 1, 1, 1, 1};
  _tagSequenceTimedate out = {1, 1, 1, 1, 1, 1};
  EXPECT_RESULT(E_POINTER, first.GetTimedate(nullptr));
  EXPECT_RESULT(E_FAIL, first.GetTimedate(&out));
  EXPECT_EQ(1, out.year);
  EXPECT_EQ(1, out.second);
  first.FirstMp4()->timedate = kDate;
  ASSERT_OK(first.GetTimedate(&out));
  EXPECT_EQ(2024, out.year);
  EXPECT_EQ(5, out.month);
  EXPECT_EQ(6, out.day);
  EXPECT_EQ(7, out.hour);
  EXPECT_EQ(8, out.minute);
  EXPECT_EQ(9, out.second);
  EXPECT_EQ(CMp4Util::CalcurateTimeFromEra(2024, 5, 6, 7, 8, 9), first.TimeFromEra());
}

TEST_F(Mp4Sequence, HasNoDateWhenEmpty) {
  _tagSequenceTimedate out = kDate;
  EXPECT_RESULT(E_FAIL, first.GetTimedate(&out));
  EXPECT_EQ(2024, out.year);
}

TEST_F(Mp4Sequence, AnyFieldMakesADate) {
  Give(first, ChainClip(1, 1));
  const _tagSequenceTimedate dates[] = {{1, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0}, {0, 0, 1, 0, 0, 0},
                                        {0, 0, 0, 1, 0, 0}, {0, 0, 0, 0, 1, 0}, {0, 0, 0, 0, 0, 1}};
  for (const _tagSequenceTimedate& date : dates) {
    first.FirstMp4()->timedate = date;
    _tagSequenceTimedate out{};
    EXPECT_OK(first.GetTimedate(&out));
  }
}

TEST_F(Mp4Sequence, LendsThePathsAndAnEmptyOneBeyondTheEnd) {
  Give(first, ChainClip(1, 2));
  Give(first, ChainClip(2, 2));
  EXPECT_EQ(std::wstring(L"clip-1"), first.GetFilePathAtIndex(0));
  EXPECT_EQ(first.LastMp4()->path.c_str(), first.GetFilePathAtIndex(1));
  for (const unsigned int index : {2u, 3u, std::numeric_limits<unsigned int>::max()}) {
    ASSERT_NE(nullptr, first.GetFilePathAtIndex(index));
    EXPECT_EQ(std::wstring(), first.GetFilePathAtIndex(index));
  }
}

TEST_F(Mp4Sequence, FindsTheFirstChangeOfVolume) {
  struct Case {
    std::vector<unsigned int> volumes;
    unsigned int index;
  };
  constexpr unsigned int kNone = 0xFFFFFFFF;
  const Case cases[] = {
      {{0, 0, 1, 1}, 2}, {{1, 0, 1}, 1},      {{0, 0}, 0},        {{5}, 0},
      {{0, 0, 0, 3}, 3}, {{kNone, 4}, 0},     {{kNone, 4, 4}, 0}, {{kNone, 4, 5}, 2},
      {{4, kNone}, 1},   {{kNone, kNone}, 0},
  };
  for (const Case& c : cases) {
    CMp4Sequence sequence;
    for (const unsigned int volume : c.volumes) Give(sequence, ChainClip(1, 1, volume));
    EXPECT_EQ(c.index, sequence.RelayClipIndex());
    EXPECT_EQ(c.index != 0 ? 1 : 0, sequence.IsRelaySequence());
  }
}

TEST_F(Mp4Sequence, CountsNullEntriesWhenItLooksForTheVolume) {
  first.clips.push_back(nullptr);
  Give(first, ChainClip(1, 2, 3));
  first.clips.push_back(nullptr);
  Give(first, ChainClip(2, 2, 4));
  EXPECT_EQ(3u, first.RelayClipIndex());
}

TEST_F(Mp4Sequence, TheFirstClipNamesTheEnds) {
  EXPECT_RESULT(E_POINTER, first.TransferMp4(nullptr));
  EXPECT_EQ(0u, first.GetFileCount());
  Give(first, ChainClip(1, 2));
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(1), first.GetTailUniqueID());
  Give(first, ChainClip(2, 2));
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(1), first.GetTailUniqueID());
}

TEST_F(Mp4Sequence, ResetDeletesTheClipsAndForgetsTheEnds) {
  Give(first, ChainClip(1, 1));
  first.clips.push_back(nullptr);
  first.Reset();
  EXPECT_EQ(0, alive);
  EXPECT_EQ(0u, first.GetFileCount());
  EXPECT_GUID(_GUID{}, first.GetHeadUniqueID());
  EXPECT_GUID(_GUID{}, first.GetTailUniqueID());
}

TEST_F(Mp4Sequence, NeverConnectsToNull) {
  Give(first, ChainClip(1, 2));
  EXPECT_EQ(0, first.AskCanConnect(nullptr));
  EXPECT_OK(first.Connect(nullptr, 1));
  EXPECT_EQ(1u, first.GetFileCount());
}

TEST_F(Mp4Sequence, ConnectsInChainOrderWhenTheOneInFrontIsAsked) {
  Give(first, ChainClip(1, 2));
  Give(second, ChainClip(2, 2));
  ASSERT_EQ(1, first.AskCanConnect(&second));
  ASSERT_OK(first.Connect(&second, 0));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(first));
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(2), first.GetTailUniqueID());
  EXPECT_EQ(0u, second.GetFileCount());
  EXPECT_GUID(Id(2), second.GetHeadUniqueID());
  EXPECT_GUID(Id(2), second.GetTailUniqueID());
}

TEST_F(Mp4Sequence, ConnectsInChainOrderWhenTheOneBehindIsAsked) {
  Give(first, ChainClip(1, 2));
  Give(second, ChainClip(2, 2));
  ASSERT_EQ(1, second.AskCanConnect(&first));
  ASSERT_OK(second.Connect(&first, 0));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(second));
  EXPECT_GUID(Id(1), second.GetHeadUniqueID());
  EXPECT_GUID(Id(2), second.GetTailUniqueID());
  EXPECT_EQ(0u, first.GetFileCount());
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(1), first.GetTailUniqueID());
}

TEST_F(Mp4Sequence, KeepsTheOrderInsideBothChainsWhenTheyConnect) {
  for (const bool askFront : {true, false}) {
    CMp4Sequence front;
    CMp4Sequence back;
    Give(front, ChainClip(1, 4));
    Give(front, ChainClip(2, 4));
    front.tailUniqueID = Id(2);
    Give(back, ChainClip(3, 4));
    Give(back, ChainClip(4, 4));
    back.tailUniqueID = Id(4);
    CMp4Sequence& asked = askFront ? front : back;
    CMp4Sequence& offered = askFront ? back : front;
    ASSERT_EQ(1, asked.AskCanConnect(&offered));
    ASSERT_OK(asked.Connect(&offered, 0));
    EXPECT_EQ((PathList{L"clip-1", L"clip-2", L"clip-3", L"clip-4"}), Paths(asked));
    EXPECT_GUID(Id(1), asked.GetHeadUniqueID());
    EXPECT_GUID(Id(4), asked.GetTailUniqueID());
  }
}

TEST_F(Mp4Sequence, ALinkInOneDirectionIsNoLink) {
  Give(first, Clip(Id(1), Id(0), Id(2)));
  Give(second, Clip(Id(2), Id(9), Id(0)));
  EXPECT_EQ(0, first.AskCanConnect(&second));
  EXPECT_EQ(0, second.AskCanConnect(&first));
  first.FirstMp4()->nextID = Id(9);
  second.FirstMp4()->preID = Id(1);
  EXPECT_EQ(0, first.AskCanConnect(&second));
  EXPECT_EQ(0, second.AskCanConnect(&first));
  first.FirstMp4()->nextID = Id(2);
  EXPECT_EQ(1, first.AskCanConnect(&second));
  EXPECT_EQ(1, second.AskCanConnect(&first));
}

TEST_F(Mp4Sequence, AZeroEndIdentifierOfTheOneAskedRefuses) {
  Give(first, ChainClip(1, 2));
  Give(second, ChainClip(2, 2));
  ASSERT_EQ(1, first.AskCanConnect(&second));
  first.headUniqueID = Id(0);
  EXPECT_EQ(0, first.AskCanConnect(&second));
  first.headUniqueID = Id(1);
  first.tailUniqueID = Id(0);
  EXPECT_EQ(0, first.AskCanConnect(&second));
}

TEST_F(Mp4Sequence, AZeroEndIdentifierOfTheOneOfferedIsComparedLikeAnyOther) {
  Give(first, ChainClip(1, 2));
  Give(second, ChainClip(2, 2));
  second.tailUniqueID = Id(0);
  EXPECT_EQ(1, first.AskCanConnect(&second));
  EXPECT_EQ(0, second.AskCanConnect(&first));
  // In front: the zero previous identifier of the one asked meets the zero tail of the one offered.
  CMp4Sequence third;
  Give(third, Clip(Id(3), Id(0), Id(0)));
  CMp4Sequence fourth;
  Give(fourth, Clip(Id(4), Id(0), Id(3)));
  fourth.tailUniqueID = Id(0);
  EXPECT_EQ(1, third.AskCanConnect(&fourth));
}

TEST_F(Mp4Sequence, AClipWithoutIdentifiersJoinsNothing) {
  Give(first, Clip(Id(0), Id(0), Id(0)));
  Give(second, Clip(Id(0), Id(0), Id(0)));
  EXPECT_EQ(0, first.AskCanConnect(&second));
}

TEST_F(Mp4Sequence, WithoutAMatchNothingMoves) {
  Give(first, ChainClip(1, 9));
  Give(second, ChainClip(5, 9));
  EXPECT_RESULT(E_UNEXPECTED, first.Connect(&second, 0));
  EXPECT_EQ((PathList{L"clip-1"}), Paths(first));
  EXPECT_EQ((PathList{L"clip-5"}), Paths(second));
  EXPECT_GUID(Id(1), first.GetTailUniqueID());
  EXPECT_RESULT(E_UNEXPECTED, first.Connect(&second, 2));
  EXPECT_EQ(1u, second.GetFileCount());
}

TEST_F(Mp4Sequence, ForceAppendsWhateverTheIdentifiersSay) {
  Give(first, ChainClip(5, 9));
  Give(second, ChainClip(1, 9));
  second.headUniqueID = Id(70);
  second.tailUniqueID = Id(71);
  ASSERT_OK(first.Connect(&second, 1));
  EXPECT_EQ((PathList{L"clip-5", L"clip-1"}), Paths(first));
  EXPECT_GUID(Id(5), first.GetHeadUniqueID());
  EXPECT_GUID(Id(71), first.GetTailUniqueID());
}

TEST_F(Mp4Sequence, ForceAppendsEvenWhereTheHeadFits) {
  Give(first, ChainClip(2, 2));
  Give(second, ChainClip(1, 2));
  ASSERT_OK(first.Connect(&second, 1));
  EXPECT_EQ((PathList{L"clip-2", L"clip-1"}), Paths(first));
}

TEST_F(Mp4Sequence, TheTailGoesFirstWhereBothEndsFit) {
  // A follows B follows A.
  Give(first, Clip(Id(1), Id(2), Id(2)));
  Give(second, Clip(Id(2), Id(1), Id(1)));
  ASSERT_EQ(1, first.AskCanConnect(&second));
  ASSERT_OK(first.Connect(&second, 0));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(first));
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(2), first.GetTailUniqueID());
}

TEST_F(Mp4Sequence, OneHalfOfALinkIsEnoughToConnectOnceAsked) {
  // Only the tail of the first points back from the second; the second's own head is known
  // otherwise.
  Give(first, Clip(Id(1), Id(0), Id(9)));
  Give(second, Clip(Id(2), Id(1), Id(0)));
  EXPECT_EQ(0, first.AskCanConnect(&second));
  EXPECT_OK(first.Connect(&second, 0));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(first));
}

TEST_F(Mp4Sequence, ConnectingToItselfMovesNothing) {
  Give(first, Clip(Id(1), Id(1), Id(1)));
  EXPECT_OK(first.Connect(&first, 0));
  EXPECT_OK(first.Connect(&first, 1));
  EXPECT_EQ((PathList{L"clip-1"}), Paths(first));
  Give(second, Clip(Id(1), Id(5), Id(6)));
  EXPECT_RESULT(E_UNEXPECTED, second.Connect(&second, 0));
  EXPECT_RESULT(E_UNEXPECTED, second.Connect(&second, 2));
  EXPECT_OK(second.Connect(&second, 1));
  EXPECT_EQ(1u, second.GetFileCount());
}

TEST_F(Mp4Sequence, ConnectingAnEmptiedSequenceTakesItsStaleEnd) {
  Give(first, ChainClip(1, 9));
  Give(second, ChainClip(2, 9));
  ASSERT_OK(first.Connect(&second, 0));
  CMp4Sequence third;
  Give(third, ChainClip(7, 9));
  ASSERT_OK(third.Connect(&second, 1));
  EXPECT_EQ(1u, third.GetFileCount());
  EXPECT_EQ(second.tailUniqueID, third.tailUniqueID);
}

TEST_F(Mp4Sequence, EndsOfZeroMatchEachOtherInConnect) {
  Give(first, Clip(_GUID{}, Id(1), Id(2)));
  Give(second, Clip(Id(5), _GUID{}, Id(6)));
  ASSERT_OK(first.Connect(&second, 0));
  EXPECT_EQ(2u, first.GetFileCount());
}

TEST_F(Mp4Sequence, TheTimecodeNeedsAClipOnBothSides) {
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(nullptr));
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(&second));
  Give(first, ChainClip(1, 2));
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(nullptr));
  EXPECT_RESULT(E_POINTER, first.CheckTimecodeContinuity(&second));
}

TEST_F(Mp4Sequence, DividingNeedsATargetAndAClip) {
  EXPECT_RESULT(E_POINTER, first.DivideSequence(0, nullptr));
  EXPECT_RESULT(E_INVALIDARG, first.DivideSequence(0, &second));
  Give(first, ChainClip(1, 2));
  Give(first, ChainClip(2, 2));
  EXPECT_RESULT(E_INVALIDARG, first.DivideSequence(2, &second));
  EXPECT_RESULT(E_INVALIDARG,
                first.DivideSequence(std::numeric_limits<unsigned int>::max(), &second));
  EXPECT_EQ(2u, first.GetFileCount());
  EXPECT_OK(first.DivideSequence(1, &second));
}

TEST_F(Mp4Sequence, DividesAndLeavesTheNamesOfTheEndsStale) {
  for (unsigned int number = 1; number <= 4; ++number) Give(first, ChainClip(number, 4));
  first.tailUniqueID = Id(4);
  ASSERT_OK(first.DivideSequence(2, &second));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(first));
  EXPECT_EQ((PathList{L"clip-3", L"clip-4"}), Paths(second));
  EXPECT_GUID(Id(1), first.GetHeadUniqueID());
  EXPECT_GUID(Id(4), first.GetTailUniqueID());
  EXPECT_GUID(Id(3), second.GetHeadUniqueID());
  EXPECT_GUID(Id(3), second.GetTailUniqueID());
}

TEST_F(Mp4Sequence, DividingAtZeroMovesEveryClip) {
  Give(first, ChainClip(1, 2));
  Give(first, ChainClip(2, 2));
  ASSERT_OK(first.DivideSequence(0, &second));
  EXPECT_EQ(0u, first.GetFileCount());
  EXPECT_EQ((PathList{L"clip-1", L"clip-2"}), Paths(second));
}

TEST_F(Mp4Sequence, DividingIntoATargetWithClipsLeavesItsEndIdentifiers) {
  Give(second, ChainClip(5, 9));
  Give(first, ChainClip(1, 9));
  Give(first, ChainClip(2, 9));
  const _GUID head = second.headUniqueID;
  const _GUID tail = second.tailUniqueID;
  ASSERT_OK(first.DivideSequence(1, &second));
  EXPECT_EQ(2u, second.GetFileCount());
  EXPECT_EQ(head, second.headUniqueID);
  EXPECT_EQ(tail, second.tailUniqueID);
}

TEST_F(Mp4Sequence, DividingStopsAtAFailureWithTheEarlierClipsMoved) {
  Give(first, ChainClip(1, 2));
  first.clips.push_back(nullptr);
  Give(first, ChainClip(2, 2));
  EXPECT_RESULT(E_POINTER, first.DivideSequence(0, &second));
  EXPECT_EQ((PathList{L"clip-1"}), Paths(second));
  EXPECT_EQ((PathList{L"", L"clip-2"}), Paths(first));
}

TEST_F(Mp4Sequence, DividingIntoItselfEnds) {
  for (unsigned int number = 1; number <= 3; ++number) Give(first, ChainClip(number, 3));
  EXPECT_OK(first.DivideSequence(1, &first));
  EXPECT_EQ((PathList{L"clip-1", L"clip-2", L"clip-3"}), Paths(first));
}
