// What must hold for every order of registration.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "clip/sequence.h"
#include "clip/sequence_creator.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using namespace MP4G;
using support::ChainLink;
using support::Id;
using support::VendorBox;

namespace {

using Numbers = std::vector<unsigned int>;

constexpr unsigned int kLongest = 8;
constexpr unsigned int kLongestInEveryOrder = 6;
constexpr int kRandomOrders = 150;

Numbers OneTo(unsigned int length) {
  Numbers numbers(length);
  std::iota(numbers.begin(), numbers.end(), 1u);
  return numbers;
}

Numbers Without(Numbers numbers, unsigned int number) {
  numbers.erase(std::find(numbers.begin(), numbers.end(), number));
  return numbers;
}

// Calls `visit` with all orders of the numbers, or with random ones if there are too many.
template <class Visit>
void ForEachOrder(Numbers numbers, Visit visit) {
  std::sort(numbers.begin(), numbers.end());
  if (numbers.size() <= kLongestInEveryOrder) {
    do {
      visit(numbers);
    } while (std::next_permutation(numbers.begin(), numbers.end()));
    return;
  }
  std::mt19937 random(20240506);
  for (int i = 0; i < kRandomOrders; ++i) {
    std::shuffle(numbers.begin(), numbers.end(), random);
    visit(numbers);
  }
}

class ChainOfClips : public testing::TestWithParam<unsigned int> {
 protected:
  // Dates that rise, fall and repeat: none of them may matter to the order inside a sequence.
  ChainOfClips() {
    for (unsigned int n = 1; n <= GetParam(); ++n) {
      support::WriteFile(folder / std::to_string(n),
                         support::TinyClip(ChainLink(n, GetParam()), n * 3 % 5));
    }
  }

  void Register(CSequenceCreator& creator, unsigned int number) {
    const std::wstring path = (folder / std::to_string(number)).wstring();
    ASSERT_OK(creator.RegisterMp4(path.c_str(), _GUID{}, _GUID{}));
  }

  void Register(CSequenceCreator& creator, const Numbers& numbers) {
    for (const unsigned int number : numbers) Register(creator, number);
  }

  static Numbers NumbersOf(CMp4Sequence* sequence) {
    Numbers numbers;
    for (unsigned int i = 0; i < sequence->GetFileCount(); ++i) {
      const std::filesystem::path path(sequence->GetFilePathAtIndex(i));
      numbers.push_back(static_cast<unsigned int>(std::stoul(path.filename().string())));
    }
    return numbers;
  }

  static void ExpectEnds(CMp4Sequence* sequence, bool closedAtHead, bool closedAtTail) {
    EXPECT_EQ(closedAtHead ? 1 : 0, sequence->IsClosedAtHead());
    EXPECT_EQ(closedAtTail ? 1 : 0, sequence->IsClosedAtTail());
    EXPECT_EQ(closedAtHead && closedAtTail ? 0 : 1, sequence->IsUnclosedSequence());
    const Numbers numbers = NumbersOf(sequence);
    EXPECT_TRUE(sequence->GetHeadUniqueID() == Id(static_cast<std::uint8_t>(numbers.front())));
    EXPECT_TRUE(sequence->GetTailUniqueID() == Id(static_cast<std::uint8_t>(numbers.back())));
  }

  support::TempDir folder;
};

// Drops every sequence and looks that only the builder held them.
void ExpectOneReferenceEach(CSequenceCreator& creator) {
  for (const auto* list : {&creator.sequences, &creator.sequenceQue}) {
    for (CMp4Sequence* sequence : *list) {
      EXPECT_EQ(2u, sequence->AddRef());
      EXPECT_EQ(1u, sequence->Release());
    }
  }
}

}  // namespace

TEST_P(ChainOfClips, EndsAsOneSequenceInChainOrder) {
  const Numbers whole = OneTo(GetParam());
  ForEachOrder(whole, [&](const Numbers& order) {
    SCOPED_TRACE(testing::PrintToString(order));
    CSequenceCreator creator(nullptr);
    Register(creator, order);
    ASSERT_EQ(1u, creator.sequences.size());
    EXPECT_EQ(whole, NumbersOf(creator.sequences.front()));
    ExpectEnds(creator.sequences.front(), true, true);
    EXPECT_EQ(0u, creator.GetUnclosedSequenceCount());
    EXPECT_EQ(0u, creator.GetRelaySequenceCount());
    EXPECT_GE(GetParam() - 1, creator.sequenceQue.size());
    ExpectOneReferenceEach(creator);
  });
}

TEST_P(ChainOfClips, WithoutOneClipItIsOpenWhereThatClipIsMissing) {
  for (unsigned int missing = 1; missing <= GetParam(); ++missing) {
    const Numbers front = OneTo(missing - 1);
    Numbers back = OneTo(GetParam());
    back.erase(back.begin(), back.begin() + missing);
    ForEachOrder(Without(OneTo(GetParam()), missing), [&](const Numbers& order) {
      SCOPED_TRACE("without " + std::to_string(missing) + ": " + testing::PrintToString(order));
      CSequenceCreator creator(nullptr);
      Register(creator, order);
      bool seenFront = front.empty();
      bool seenBack = back.empty();
      ASSERT_EQ((seenFront ? 0u : 1u) + (seenBack ? 0u : 1u), creator.sequences.size());
      for (CMp4Sequence* sequence : creator.sequences) {
        const bool isFront = NumbersOf(sequence) == front;
        EXPECT_TRUE(isFront || NumbersOf(sequence) == back);
        ExpectEnds(sequence, isFront, !isFront);
        (isFront ? seenFront : seenBack) = true;
      }
      EXPECT_TRUE(seenFront);
      EXPECT_TRUE(seenBack);
      EXPECT_EQ(creator.sequences.size(), creator.GetUnclosedSequenceCount());
      ExpectOneReferenceEach(creator);
    });
  }
}

TEST_P(ChainOfClips, TellsWhereTheVolumeChanges) {
  const Numbers whole = OneTo(GetParam());
  for (unsigned int change = 0; change < GetParam(); ++change) {
    ForEachOrder(whole, [&](const Numbers& order) {
      SCOPED_TRACE(std::to_string(change) + " on the first: " + testing::PrintToString(order));
      CSequenceCreator creator(nullptr);
      std::vector<bool> onSecond(GetParam() + 1);
      for (std::size_t i = 0; i < order.size(); ++i) {
        if (i == change) ++creator.volume;
        onSecond[order[i]] = i >= change;
        Register(creator, order[i]);
      }
      const auto other = std::find(onSecond.begin() + 1, onSecond.end(), !onSecond[1]);
      const unsigned int expected =
          other == onSecond.end() ? 0u : static_cast<unsigned int>(other - (onSecond.begin() + 1));
      ASSERT_EQ(1u, creator.sequences.size());
      EXPECT_EQ(expected, creator.sequences.front()->RelayClipIndex());
      EXPECT_EQ(expected != 0 ? 1 : 0, creator.sequences.front()->IsRelaySequence());
      EXPECT_EQ(expected != 0 ? 1u : 0u, creator.GetRelaySequenceCount());
    });
  }
}

TEST_P(ChainOfClips, SharesItsListWithAnotherChainWithoutMixing) {
  // The second recording uses other identifiers; the clips of both come in one shuffle.
  const unsigned int length = GetParam();
  for (unsigned int n = 1; n <= length; ++n) {
    support::WriteFile(folder / std::to_string(100 + n),
                       support::TinyClip(ChainLink(n, length, 100), n * 2 % 7));
  }
  Numbers both = OneTo(length);
  for (unsigned int n = 1; n <= length; ++n) both.push_back(100 + n);
  std::mt19937 random(length);
  for (int i = 0; i < 20; ++i) {
    std::shuffle(both.begin(), both.end(), random);
    SCOPED_TRACE(testing::PrintToString(both));
    CSequenceCreator creator(nullptr);
    Register(creator, both);
    ASSERT_EQ(2u, creator.sequences.size());
    std::vector<Numbers> found = {NumbersOf(creator.sequences.front()),
                                  NumbersOf(creator.sequences.back())};
    std::sort(found.begin(), found.end());
    EXPECT_EQ(OneTo(length), found[0]);
    EXPECT_EQ(100 + length, found[1].back());
    EXPECT_TRUE(std::is_sorted(found[1].begin(), found[1].end()));
    EXPECT_EQ(length, found[1].size());
  }
}

INSTANTIATE_TEST_SUITE_P(Lengths, ChainOfClips, testing::Range(1u, kLongest + 1),
                         testing::PrintToStringParamName());

namespace {

class HostileClips : public testing::Test {
 protected:
  HRESULT Register(const VendorBox& link) {
    const std::string name = std::to_string(++registered);
    support::WriteFile(folder / name, support::TinyClip(link));
    return creator.RegisterMp4((folder / name).wstring().c_str(), _GUID{}, _GUID{});
  }

  static VendorBox Link(std::uint8_t own, std::uint8_t previous, std::uint8_t next) {
    VendorBox box;
    box.unique = Id(own);
    box.pre = Id(previous);
    box.next = Id(next);
    return box;
  }

  std::size_t FileCount() const {
    std::size_t count = 0;
    for (CMp4Sequence* sequence : creator.sequences) count += sequence->GetFileCount();
    return count;
  }

  support::TempDir folder;
  CSequenceCreator creator{nullptr};
  unsigned int registered = 0;
};

}  // namespace

TEST_F(HostileClips, ALoopOfIdentifiersEndsAsOneOpenSequence) {
  EXPECT_OK(Register(Link(1, 2, 2)));
  EXPECT_OK(Register(Link(2, 1, 1)));
  ASSERT_EQ(1u, creator.sequences.size());
  EXPECT_EQ(2u, FileCount());
  EXPECT_EQ(1, creator.sequences.front()->IsUnclosedSequence());
}

TEST_F(HostileClips, ALongLoopEndsInEveryRotation) {
  constexpr std::uint8_t kLength = 7;
  for (std::uint8_t first = 0; first < kLength; ++first) {
    creator.Reset();
    for (std::uint8_t i = 0; i < kLength; ++i) {
      const std::uint8_t at = static_cast<std::uint8_t>((first + i * 3) % kLength);
      const auto id = [](int n) { return static_cast<std::uint8_t>((n + kLength) % kLength + 1); };
      EXPECT_OK(Register(Link(id(at), id(at - 1), id(at + 1))));
    }
    EXPECT_EQ(1u, creator.sequences.size());
    EXPECT_EQ(kLength, FileCount());
  }
}

TEST_F(HostileClips, AClipThatFollowsItselfStaysAlone) {
  EXPECT_OK(Register(Link(1, 1, 1)));
  EXPECT_EQ(1u, creator.sequences.size());
  EXPECT_EQ(1u, FileCount());
  // Its twin fits both of its ends.
  EXPECT_OK(Register(Link(1, 1, 1)));
  EXPECT_EQ(1u, creator.sequences.size());
  EXPECT_EQ(2u, FileCount());
}

TEST_F(HostileClips, AClipRegisteredTwiceStaysBesideTheChain) {
  for (int times = 0; times < 2; ++times) {
    EXPECT_OK(Register(ChainLink(1, 2)));
    EXPECT_OK(Register(ChainLink(2, 2)));
  }
  EXPECT_EQ(2u, creator.sequences.size());
  EXPECT_EQ(4u, FileCount());
  creator.Reset();
  EXPECT_OK(Register(ChainLink(1, 2)));
  EXPECT_OK(Register(ChainLink(1, 2)));
  EXPECT_OK(Register(ChainLink(2, 2)));
  ASSERT_EQ(2u, creator.sequences.size());
  // The first entry of the list that fits takes it.
  EXPECT_EQ(2u, creator.sequences.front()->GetFileCount());
  EXPECT_EQ(1u, creator.sequences.back()->GetFileCount());
}

TEST_F(HostileClips, OfManyThatClaimOnePredecessorOnlyTheOneItNamesJoins) {
  constexpr std::uint8_t kClaimants = 40;
  for (std::uint8_t i = 0; i < kClaimants; ++i) {
    EXPECT_OK(Register(Link(static_cast<std::uint8_t>(10 + i), 1, 0)));
  }
  EXPECT_OK(Register(Link(1, 0, 30)));
  EXPECT_EQ(kClaimants, creator.sequences.size());
  EXPECT_EQ(kClaimants + 1u, FileCount());
  unsigned int joined = 0;
  for (CMp4Sequence* sequence : creator.sequences) {
    if (sequence->GetFileCount() != 2) continue;
    ++joined;
    EXPECT_TRUE(sequence->GetHeadUniqueID() == Id(1));
    EXPECT_TRUE(sequence->GetTailUniqueID() == Id(30));
  }
  EXPECT_EQ(1u, joined);
}

TEST_F(HostileClips, NoClipIsLostOrDoubledWhateverTheIdentifiers) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> anyOfFew(0, 3);
  const auto any = [&] { return static_cast<std::uint8_t>(anyOfFew(random)); };
  for (int round = 0; round < 60; ++round) {
    creator.Reset();
    for (unsigned int i = 1; i <= 12; ++i) {
      const std::uint8_t own = any();
      const std::uint8_t previous = any();
      EXPECT_OK(Register(Link(own, previous, any())));
      EXPECT_EQ(i, FileCount());
      EXPECT_GE(i, creator.sequences.size() + creator.sequenceQue.size());
      for (CMp4Sequence* sequence : creator.sequenceQue) EXPECT_EQ(0u, sequence->GetFileCount());
      if (i % 4 == 0) ++creator.volume;
    }
    EXPECT_OK(creator.DivideRelaySequenceExceptFirstOne());
    EXPECT_EQ(12u, FileCount());
    EXPECT_GE(1u, creator.GetRelaySequenceCount());
    ExpectOneReferenceEach(creator);
  }
}
