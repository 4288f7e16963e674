#include "clip/sequence_creator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "clip/sequence.h"
#include "clip/timecode.h"
#include "foundation/com_ptr.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using namespace MP4G;
using QUIRVA::GuidText;
using support::Bytes;
using support::ChainLink;
using support::Id;
using support::VendorBox;

namespace {

using Names = std::vector<std::string>;
using Chains = std::vector<Names>;

Names NamesOf(CMp4Sequence* sequence) {
  Names names;
  for (unsigned int i = 0; sequence != nullptr && i < sequence->GetFileCount(); ++i) {
    names.push_back(std::filesystem::path(sequence->GetFilePathAtIndex(i)).filename().string());
  }
  return names;
}

Chains ChainsOf(const CSequenceCreator& creator) {
  Chains chains;
  for (CMp4Sequence* sequence : creator.sequences) chains.push_back(NamesOf(sequence));
  return chains;
}

class SequenceCreator : public testing::Test {
 protected:
  // Writes a clip and gives its path.
  std::wstring File(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return (folder / name).wstring();
  }

  std::wstring ChainFile(unsigned int number, unsigned int length, unsigned int base = 0,
                         std::uint32_t time = 0) {
    return File(std::to_string(base + number),
                support::TinyClip(ChainLink(number, length, base), time));
  }

  HRESULT Register(const std::wstring& path) {
    return creator.RegisterMp4(path.c_str(), _GUID{}, _GUID{});
  }

  void RegisterChain(unsigned int length, unsigned int base = 0, std::uint32_t time = 0) {
    for (unsigned int n = 1; n <= length; ++n) {
      ASSERT_OK(Register(ChainFile(n, length, base, time)));
    }
  }

  // A recording of two clips on two volumes, the second one to come later by FinishRelays.
  void StartRelay(unsigned int base, std::uint32_t time) {
    ASSERT_OK(Register(ChainFile(1, 2, base, time)));
    relays.push_back(ChainFile(2, 2, base, time));
  }
  void FinishRelays() {
    ++creator.volume;
    for (const std::wstring& path : relays) ASSERT_OK(Register(path));
  }

  // The timecodes of a sequence's clip, as if its track had been read.
  static void SetTimecode(CVireoMp4* clip, const _tagTIME_CODE_SAMPLE& from,
                          const _tagTIME_CODE_SAMPLE& to) {
    clip->timecodeTrack = std::make_unique<CTimecodeTrackPsr>();
    clip->timecodeTrack->firstSample = from;
    clip->timecodeTrack->lastSample = to;
  }

  CMp4Sequence* At(unsigned int index) { return creator.GetSequenceAtIndex(index); }

  support::TempDir folder;
  std::vector<std::wstring> relays;
  CSequenceCreator creator{nullptr};
};

constexpr _tagTIME_CODE_SAMPLE kTen = {1, 0, 0, 10};
constexpr _tagTIME_CODE_SAMPLE kEleven = {1, 0, 0, 11};
constexpr _tagTIME_CODE_SAMPLE kFar = {5, 0, 0, 0};

#define EXPECT_GUID(expected, actual) EXPECT_EQ(GuidText(expected), GuidText(actual))

}  // namespace

TEST_F(SequenceCreator, StartsWithNothing) {
  EXPECT_EQ(nullptr, creator.owner);
  EXPECT_EQ(0u, creator.volume);
  EXPECT_EQ(nullptr, At(0));
  EXPECT_EQ(0u, creator.GetUnclosedSequenceCount());
  EXPECT_EQ(0u, creator.GetRelaySequenceCount());
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
}

TEST_F(SequenceCreator, KeepsItsOwnerInMind) {
  auto* engine = reinterpret_cast<CMp4SequenceCreator*>(this);
  EXPECT_EQ(engine, CSequenceCreator(engine).owner);
}

TEST_F(SequenceCreator, AClipBecomesASequenceOfItsOwn) {
  creator.volume = 7;
  const std::wstring path = ChainFile(2, 3);
  ASSERT_OK(Register(path));
  ASSERT_EQ((Chains{{"2"}}), ChainsOf(creator));
  EXPECT_EQ(path, At(0)->GetFilePathAtIndex(0));
  EXPECT_EQ(7u, At(0)->FirstMp4()->volume);
  EXPECT_GUID(Id(2), At(0)->GetHeadUniqueID());
  EXPECT_GUID(Id(2), At(0)->GetTailUniqueID());
  EXPECT_EQ(nullptr, At(1));
  EXPECT_EQ(2u, At(0)->AddRef());
  EXPECT_EQ(1u, At(0)->Release());
}

TEST_F(SequenceCreator, TheApplicationsIdentifiersReplaceBothEnds) {
  const std::wstring path = ChainFile(1, 1);
  ASSERT_OK(creator.RegisterMp4(path.c_str(), Id(40), Id(41)));
  EXPECT_GUID(Id(40), At(0)->GetHeadUniqueID());
  EXPECT_GUID(Id(41), At(0)->GetTailUniqueID());
  creator.Reset();
  ASSERT_OK(creator.RegisterMp4(path.c_str(), Id(40), _GUID{}));
  EXPECT_GUID(Id(40), At(0)->GetHeadUniqueID());
  EXPECT_GUID(_GUID{}, At(0)->GetTailUniqueID());
  creator.Reset();
  ASSERT_OK(creator.RegisterMp4(path.c_str(), _GUID{}, Id(41)));
  EXPECT_GUID(_GUID{}, At(0)->GetHeadUniqueID());
  EXPECT_GUID(Id(41), At(0)->GetTailUniqueID());
  creator.Reset();
  ASSERT_OK(creator.RegisterMp4(path.c_str(), _GUID{}, _GUID{}));
  EXPECT_GUID(Id(1), At(0)->GetHeadUniqueID());
  EXPECT_GUID(Id(1), At(0)->GetTailUniqueID());
}

TEST_F(SequenceCreator, TheApplicationsIdentifiersDecideWhatJoins) {
  // A file whose clip was merged from others: its ends are known by identifiers of their own.
  VendorBox merged;
  merged.unique = Id(1);
  merged.next = Id(5);
  ASSERT_OK(creator.RegisterMp4(File("merged", support::TinyClip(merged)).c_str(), Id(1), Id(4)));
  VendorBox behind;
  behind.unique = Id(5);
  behind.pre = Id(4);
  ASSERT_OK(Register(File("behind", support::TinyClip(behind))));
  EXPECT_EQ((Chains{{"merged", "behind"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, AZeroEndRefusesButMayBeAccepted) {
  ASSERT_OK(Register(ChainFile(1, 2)));
  // Asked with a zero tail it would refuse; it is the one offered, and clip 1 accepts it.
  ASSERT_OK(creator.RegisterMp4(ChainFile(2, 2).c_str(), Id(2), _GUID{}));
  EXPECT_EQ((Chains{{"1", "2"}}), ChainsOf(creator));
  creator.Reset();
  ASSERT_OK(creator.RegisterMp4(ChainFile(2, 2).c_str(), Id(2), _GUID{}));
  ASSERT_OK(Register(ChainFile(1, 2)));
  EXPECT_EQ(2u, creator.sequences.size());
}

TEST_F(SequenceCreator, ClosesUpAGapIntoTheEntryThatWasAskedLast) {
  ASSERT_OK(Register(ChainFile(1, 3)));
  ASSERT_OK(Register(ChainFile(3, 3)));
  ASSERT_EQ((Chains{{"1"}, {"3"}}), ChainsOf(creator));
  EXPECT_EQ(2u, creator.GetUnclosedSequenceCount());
  CMp4Sequence* const startedByThree = At(1);
  CMp4Sequence* const startedByOne = At(0);
  ASSERT_OK(Register(ChainFile(2, 3)));
  ASSERT_EQ((Chains{{"1", "2", "3"}}), ChainsOf(creator));
  EXPECT_EQ(startedByThree, At(0));
  EXPECT_EQ(0u, creator.GetUnclosedSequenceCount());
  EXPECT_GUID(Id(1), At(0)->GetHeadUniqueID());
  EXPECT_GUID(Id(3), At(0)->GetTailUniqueID());
  ASSERT_EQ(2u, creator.sequenceQue.size());
  EXPECT_EQ(startedByOne, creator.sequenceQue.back());
  for (CMp4Sequence* sequence : creator.sequenceQue) EXPECT_EQ(0u, sequence->GetFileCount());
}

TEST_F(SequenceCreator, ReusesEmptiedSequences) {
  RegisterChain(2);
  ASSERT_EQ(1u, creator.sequenceQue.size());
  CMp4Sequence* const emptied = creator.sequenceQue.front();
  EXPECT_GUID(Id(2), emptied->GetHeadUniqueID());
  ASSERT_OK(Register(ChainFile(1, 2, 10, 5)));
  EXPECT_TRUE(creator.sequenceQue.empty());
  ASSERT_EQ(emptied, At(1));
  EXPECT_GUID(Id(11), emptied->GetHeadUniqueID());
  EXPECT_GUID(Id(11), emptied->GetTailUniqueID());
}

TEST_F(SequenceCreator, SortsByTimeAndKeepsTheOrderOfEqualTimes) {
  const auto plain = [&](const std::string& name, std::uint32_t time) {
    ASSERT_OK(Register(File(name, support::PlainClip(time))));
  };
  plain("b1", 200);
  plain("c", 300);
  plain("a", 100);
  plain("b2", 200);
  plain("0", 0);
  EXPECT_EQ((Chains{{"0"}, {"a"}, {"b1"}, {"b2"}, {"c"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, TwoClipsWithoutIdentifiersAndWithEqualDatesStayTwo) {
  ASSERT_OK(Register(File("first", support::PlainClip(100))));
  ASSERT_OK(Register(File("second", support::PlainClip(100))));
  EXPECT_EQ((Chains{{"first"}, {"second"}}), ChainsOf(creator));
  EXPECT_EQ(0u, creator.GetUnclosedSequenceCount());
}

TEST_F(SequenceCreator, AChainThatGrowsAtItsHeadKeepsItsPlace) {
  ASSERT_OK(Register(ChainFile(2, 2, 0, 300)));
  ASSERT_OK(Register(File("between", support::PlainClip(200))));
  ASSERT_EQ((Chains{{"between"}, {"2"}}), ChainsOf(creator));
  ASSERT_OK(Register(ChainFile(1, 2, 0, 100)));
  EXPECT_EQ((Chains{{"between"}, {"1", "2"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, AFileThatDoesNotParseChangesNothing) {
  RegisterChain(2);
  ASSERT_EQ(1u, creator.sequenceQue.size());
  const Bytes whole = support::TinyClip(ChainLink(1, 1, 20));
  Bytes stray = support::MarkerBox();
  stray.resize(stray.size() + 3);
  const Bytes shortBox = support::VendorBoxOf({stray});
  EXPECT_RESULT(S_FALSE,
                Register(File("stray", support::WithVendorBox(support::PlainClip(), shortBox))));
  EXPECT_EQ((Chains{{"1", "2"}}), ChainsOf(creator));
  // The sequence that was to take it is gone.
  EXPECT_TRUE(creator.sequenceQue.empty());
  EXPECT_RESULT(E_BAD_DATA, Register(File("cut", Bytes(whole.begin(), whole.begin() + 40))));
  EXPECT_NE(S_OK, Register((folder / "absent").wstring()));
  EXPECT_EQ((Chains{{"1", "2"}}), ChainsOf(creator));
  EXPECT_OK(Register(File("whole", whole)));
  EXPECT_EQ(2u, creator.sequences.size());
}

TEST_F(SequenceCreator, AFailureToConnectLeavesTheClipRegistered) {
  creator.sequences.push_back(nullptr);
  EXPECT_RESULT(E_POINTER, Register(ChainFile(1, 1)));
  EXPECT_EQ((Chains{{"1"}, {}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, ANullEntryInTheQueueEndsTheRegistration) {
  creator.sequenceQue.push_back(nullptr);
  EXPECT_RESULT(E_POINTER, Register(ChainFile(1, 1)));
  EXPECT_TRUE(creator.sequences.empty());
}

TEST_F(SequenceCreator, ResetDropsEverythingAndTheVolume) {
  RegisterChain(2);
  ASSERT_OK(Register(ChainFile(1, 2, 10)));
  creator.volume = 3;
  creator.sequences.push_back(nullptr);
  creator.sequenceQue.push_back(nullptr);
  creator.ResetSequences();
  EXPECT_TRUE(creator.sequences.empty());
  EXPECT_TRUE(creator.sequenceQue.empty());
  EXPECT_EQ(3u, creator.volume);
  creator.Reset();
  EXPECT_EQ(0u, creator.volume);
}

TEST_F(SequenceCreator, ItsStepsRefuseNull) {
  CMp4Sequence* connected = nullptr;
  QUIRVA::ComPtr<CMp4Sequence> sequence;
  EXPECT_RESULT(E_POINTER, creator.PrepareEmptySequence(nullptr));
  ASSERT_OK(creator.PrepareEmptySequence(sequence.Receive()));
  EXPECT_RESULT(E_POINTER, creator.ContinueConnecting(nullptr));
  EXPECT_RESULT(E_POINTER, creator.ConnectSequence(nullptr, &connected));
  EXPECT_RESULT(E_POINTER, creator.ConnectSequence(sequence.get(), nullptr));
  EXPECT_OK(creator.ConnectSequence(sequence.get(), &connected));
  EXPECT_EQ(nullptr, connected);
  EXPECT_RESULT(E_POINTER, creator.ConnectSequenceAtSalvationMode(nullptr, sequence.get()));
  EXPECT_RESULT(E_POINTER, creator.ConnectSequenceAtSalvationMode(sequence.get(), nullptr));
  EXPECT_RESULT(S_FALSE, creator.ConnectSequenceAtSalvationMode(sequence.get(), sequence.get()));
  creator.InsertSequenceToListWithTimesort(nullptr);
  EXPECT_TRUE(creator.sequences.empty());
}

TEST_F(SequenceCreator, OnlyALiveSequenceGoesToTheQueue) {
  QUIRVA::ComPtr<CMp4Sequence> stranger;
  ASSERT_OK(CMp4Sequence::CreateInstance(stranger.Receive()));
  ASSERT_OK(Register(ChainFile(1, 1)));
  creator.MoveSequenceToQue(stranger.get());
  EXPECT_EQ(1u, creator.sequences.size());
  EXPECT_TRUE(creator.sequenceQue.empty());
  CMp4Sequence* const live = At(0);
  creator.MoveSequenceToQue(live);
  EXPECT_TRUE(creator.sequences.empty());
  EXPECT_EQ(live, creator.sequenceQue.back());
  EXPECT_EQ(2u, live->AddRef());
  EXPECT_EQ(1u, live->Release());
}

TEST_F(SequenceCreator, InsertionStepsOverNullEntries) {
  ASSERT_OK(Register(File("a", support::PlainClip(100))));
  creator.sequences.push_back(nullptr);
  QUIRVA::ComPtr<CMp4Sequence> empty;
  ASSERT_OK(CMp4Sequence::CreateInstance(empty.Receive()));
  CMp4Sequence* const sequence = empty.Detach();
  creator.InsertSequenceToListWithTimesort(sequence);
  EXPECT_EQ(sequence, At(0));
  EXPECT_EQ(nullptr, At(2));
}

TEST_F(SequenceCreator, ANullEntryStandsInPlaceOfACount) {
  ASSERT_OK(Register(ChainFile(1, 2)));
  EXPECT_EQ(1u, creator.GetUnclosedSequenceCount());
  creator.sequences.push_back(nullptr);
  EXPECT_EQ(0x80004003u, creator.GetUnclosedSequenceCount());
  EXPECT_EQ(0x80004003u, creator.GetRelaySequenceCount());
  EXPECT_RESULT(E_POINTER, creator.DivideRelaySequenceExceptFirstOne());
  // Two entries: the second of them cannot be asked.
  EXPECT_RESULT(E_POINTER, creator.SalvationProcess());
}

TEST_F(SequenceCreator, SalvationNeedsExactlyTwoSequences) {
  for (unsigned int count = 1; count <= 3; ++count) {
    VendorBox link;
    link.unique = Id(static_cast<std::uint8_t>(count));
    link.next = Id(99);
    ASSERT_OK(Register(File(std::to_string(count), support::TinyClip(link, count))));
    SetTimecode(At(count - 1)->FirstMp4(), kTen, kTen);
    if (count == 2) continue;
    const Chains before = ChainsOf(creator);
    EXPECT_OK(creator.SalvationProcess());
    EXPECT_EQ(before, ChainsOf(creator));
  }
}

TEST_F(SequenceCreator, SalvationJoinsByTimecodeAlone) {
  ASSERT_OK(Register(ChainFile(1, 2, 0, 1)));
  ASSERT_OK(Register(ChainFile(5, 9, 0, 2)));
  SetTimecode(At(0)->FirstMp4(), kFar, kTen);
  SetTimecode(At(1)->FirstMp4(), kEleven, kFar);
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"1", "5"}}), ChainsOf(creator));
  EXPECT_GUID(Id(5), At(0)->GetTailUniqueID());
  EXPECT_EQ(1u, creator.sequenceQue.size());
}

TEST_F(SequenceCreator, SalvationReadsTheTimecodeTracksOfTheEndsThatMeet) {
  // Chains of two clips, 10 to 13 and 14 to 17 frames into a second; the identifiers between them
  // are lost.
  const auto clip = [&](unsigned int number, std::uint8_t from, const VendorBox& link) {
    support::MovieBuilder movie;
    movie.creationTime = number;
    movie.Add(support::TimecodeTrack({{1, 0, 0, from}, {1, 0, 0, ++from}}));
    return File(std::to_string(number), support::WithVendorBox(movie.Build(), link));
  };
  VendorBox second = ChainLink(2, 3);
  second.next = Id(77);
  ASSERT_OK(Register(clip(1, 10, ChainLink(1, 3))));
  ASSERT_OK(Register(clip(2, 12, second)));
  ASSERT_OK(Register(clip(3, 14, ChainLink(2, 9, 10))));
  ASSERT_OK(Register(clip(4, 16, ChainLink(3, 3, 10))));
  ASSERT_EQ((Chains{{"1", "2"}, {"3", "4"}}), ChainsOf(creator));
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"1", "2", "3", "4"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, SalvationLeavesWhatDoesNotRunOn) {
  ASSERT_OK(Register(ChainFile(1, 2, 0, 1)));
  ASSERT_OK(Register(ChainFile(5, 9, 0, 2)));
  SetTimecode(At(0)->FirstMp4(), kFar, kTen);
  SetTimecode(At(1)->FirstMp4(), kFar, kEleven);
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"1"}, {"5"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, SalvationTriesTheOtherOrderWhereTheFirstSaysThatNothingFollows) {
  ASSERT_OK(Register(ChainFile(2, 2, 0, 1)));
  ASSERT_OK(Register(ChainFile(1, 2, 20, 2)));
  ASSERT_EQ(0, At(0)->NextIDExist());
  // The timecode would fit in the first order too.
  SetTimecode(At(0)->FirstMp4(), kTen, kTen);
  SetTimecode(At(1)->FirstMp4(), kTen, kTen);
  CMp4Sequence* const later = At(1);
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"21", "2"}}), ChainsOf(creator));
  EXPECT_EQ(later, At(0));
}

TEST_F(SequenceCreator, SalvationDoesNothingWhereNeitherDeclaresASuccessor) {
  ASSERT_OK(Register(File("a", support::PlainClip(1))));
  ASSERT_OK(Register(File("b", support::PlainClip(2))));
  SetTimecode(At(0)->FirstMp4(), kTen, kTen);
  SetTimecode(At(1)->FirstMp4(), kTen, kTen);
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"a"}, {"b"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, SalvationWithoutATimecodeTrackChangesNothing) {
  ASSERT_OK(Register(ChainFile(1, 2, 0, 1)));
  ASSERT_OK(Register(ChainFile(5, 5, 0, 2)));
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"1"}, {"5"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, ASecondCheckOfClipsWithoutATimecodeTrackComparesTheirZeros) {
  // Both declare a successor, so both orders are tried; the first one has parsed both clips, and
  // the absence of a track is told only once.
  ASSERT_OK(Register(ChainFile(1, 2, 0, 1)));
  ASSERT_OK(Register(ChainFile(5, 9, 0, 2)));
  EXPECT_OK(creator.SalvationProcess());
  EXPECT_EQ((Chains{{"5", "1"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, SalvationReportsAFailureToReadTheTimecode) {
  const std::wstring path = ChainFile(1, 2, 0, 1);
  ASSERT_OK(Register(path));
  ASSERT_OK(Register(ChainFile(5, 9, 0, 2)));
  std::filesystem::remove(path);
  EXPECT_GT(0, creator.SalvationProcess());
  EXPECT_EQ(2u, creator.sequences.size());
}

TEST_F(SequenceCreator, ASingleRelaySequenceIsNeverDivided) {
  StartRelay(0, 1);
  FinishRelays();
  ASSERT_EQ((Chains{{"1", "2"}}), ChainsOf(creator));
  EXPECT_EQ(1u, creator.GetRelaySequenceCount());
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"1", "2"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, DivisionSparesTheRelayAtTheFront) {
  StartRelay(0, 1);
  StartRelay(10, 2);
  FinishRelays();
  ASSERT_EQ((Chains{{"1", "2"}, {"11", "12"}}), ChainsOf(creator));
  EXPECT_EQ(2u, creator.GetRelaySequenceCount());
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"1", "2"}, {"11"}, {"12"}}), ChainsOf(creator));
  EXPECT_EQ(1u, creator.GetRelaySequenceCount());
  // The part that was cut off is known by its own identifier, the rest still by its old tail.
  EXPECT_GUID(Id(12), At(1)->GetTailUniqueID());
  EXPECT_GUID(Id(12), At(2)->GetHeadUniqueID());
  EXPECT_GUID(Id(12), At(2)->GetTailUniqueID());
}

TEST_F(SequenceCreator, ASparedRelayBehindTheFrontIsDividedAfterAll) {
  ASSERT_OK(Register(File("plain", support::PlainClip(1))));
  StartRelay(0, 2);
  StartRelay(10, 3);
  FinishRelays();
  ASSERT_EQ((Chains{{"plain"}, {"1", "2"}, {"11", "12"}}), ChainsOf(creator));
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"plain"}, {"1"}, {"2"}, {"11"}, {"12"}}), ChainsOf(creator));
  EXPECT_EQ(0u, creator.GetRelaySequenceCount());
}

TEST_F(SequenceCreator, ALoneRelayBehindTheFrontIsSpared) {
  ASSERT_OK(Register(File("plain", support::PlainClip(1))));
  StartRelay(0, 2);
  FinishRelays();
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"plain"}, {"1", "2"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, ASequenceOverThreeVolumesIsDividedOncePerVisit) {
  StartRelay(0, 1);
  for (unsigned int n = 1; n <= 4; ++n) {
    ASSERT_OK(Register(ChainFile(n, 4, 10, 2)));
    if (n != 2) ++creator.volume;
  }
  FinishRelays();
  ASSERT_EQ((Chains{{"1", "2"}, {"11", "12", "13", "14"}}), ChainsOf(creator));
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"1", "2"}, {"11"}, {"12", "13"}, {"14"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, AnOlderPartTakesTheFrontAndUncoversTheSparedSequence) {
  // The front relay's fellow loses a part that is older than everything: it goes to the front, so
  // the spared sequence now stands second, where the walk goes on.
  StartRelay(0, 10);
  ASSERT_OK(Register(ChainFile(1, 2, 10, 20)));
  ++creator.volume;
  ASSERT_OK(Register(ChainFile(2, 2, 10, 5)));
  ASSERT_OK(Register(relays[0]));
  ASSERT_EQ((Chains{{"1", "2"}, {"11", "12"}}), ChainsOf(creator));
  EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"12"}, {"1"}, {"2"}, {"11"}}), ChainsOf(creator));
}

TEST_F(SequenceCreator, AFailedDivisionIsReported) {
  StartRelay(0, 1);
  StartRelay(10, 2);
  FinishRelays();
  creator.sequenceQue.push_front(nullptr);
  EXPECT_RESULT(E_POINTER, creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ((Chains{{"1", "2"}, {"11", "12"}}), ChainsOf(creator));
  At(1)->clips.push_back(nullptr);
  EXPECT_RESULT(E_POINTER, creator.DivideRelaySequenceExceptFirstOne());
  EXPECT_EQ(2u, creator.sequences.size());
}
