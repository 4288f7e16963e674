// The times of samples, by the sample table reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "box/sample_table_boxes.h"
#include "reader/parsed_table.h"
#include "reader/sample_table_reader.h"
#include "support/box_io.h"
#include "support/table_bytes.h"

namespace {

using MP4G::CSampleTableReader;
using support::Bytes;
using support::Ctts;
using support::operator+;
using support::SampleRun;
using support::Stts;

using List = std::list<long long>;

constexpr unsigned int kUntouched = 0xABCDEF01;
constexpr long long kLatest = std::numeric_limits<long long>::max();
constexpr long long kEarliest = std::numeric_limits<long long>::min();

// The sample for a time and the code, "S_OK 3".
std::string SampleAt(const ParsedTable& table, long long cts) {
  unsigned int index = kUntouched;
  const HRESULT result = table.reader.CtsToSample(cts, &index);
  return ResultName(result) + (index == kUntouched ? "" : " " + std::to_string(index));
}

TEST(SampleTimes, AddUpToTheDuration) {
  EXPECT_EQ(0, CSampleTableReader(nullptr).GetSampleDeltaSum());
  EXPECT_EQ(0, ParsedTable({}).reader.GetSampleDeltaSum());
  EXPECT_EQ(0, ParsedTable(Stts({})).reader.GetSampleDeltaSum());
  EXPECT_EQ(3 * 100 + 7, ParsedTable(Stts({{3, 100}, {1, 7}})).reader.GetSampleDeltaSum());
  EXPECT_EQ(0x1FFFFFFFELL, ParsedTable(Stts({{2, 0xFFFFFFFF}})).reader.GetSampleDeltaSum());
}

TEST(SampleTimes, WrapWhereTheirSumExceeds64Bits) {
  const SampleRun most = {0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_EQ(static_cast<long long>(0xFFFFFFFE00000001),
            ParsedTable(Stts({most})).reader.GetSampleDeltaSum());
  EXPECT_EQ(static_cast<long long>(0xFFFFFFFC00000002),
            ParsedTable(Stts({most, most})).reader.GetSampleDeltaSum());
}

TEST(SampleTimes, AreListedInDecodingOrder) {
  const ParsedTable table(Stts({{2, 100}, {0, 5}, {3, 10}}));
  List list;
  ASSERT_OK(table.reader.CreateCtsList(0, 100, list));
  EXPECT_EQ((List{0, 100, 200, 210, 220}), list);
  list.clear();
  ASSERT_OK(table.reader.CreateCtsList(1, 2, list));
  EXPECT_EQ((List{100, 200}), list);
  list.clear();
  ASSERT_OK(table.reader.CreateCtsList(3, 100, list));
  EXPECT_EQ((List{210, 220}), list);
  list.clear();
  ASSERT_OK(table.reader.CreateCtsList(5, 100, list));
  EXPECT_EQ(List{}, list);
  ASSERT_OK(table.reader.CreateCtsList(0, 0, list));
  EXPECT_EQ(List{}, list);
}

TEST(SampleTimes, AreListedWithTheirOffsets) {
  const ParsedTable table(Stts({{5, 100}}) + Ctts({{1, 7}, {0, 99}, {2, 8}, {9, 9}}));
  List list;
  ASSERT_OK(table.reader.CreateCtsList(0, 100, list));
  EXPECT_EQ((List{7, 108, 208, 309, 409}), list);
  list.clear();
  ASSERT_OK(table.reader.CreateCtsList(2, 2, list));
  EXPECT_EQ((List{208, 309}), list);
}

TEST(SampleTimes, TakeNegativeOffsetsForHugeOnes) {
  const ParsedTable table(Stts({{1, 1}}) + Ctts({{1, 0xFFFFFFFF}}));
  List list;
  ASSERT_OK(table.reader.CreateCtsList(0, 1, list));
  EXPECT_EQ((List{0xFFFFFFFF}), list);
}

TEST(SampleTimes, HaveNoOffsetsBehindTheEndOfAShortTable) {
  const ParsedTable table(Stts({{4, 100}}) + Ctts({{2, 7}}));
  List list;
  ASSERT_OK(table.reader.CreateCtsList(0, 100, list));
  EXPECT_EQ((List{7, 107, 200, 300}), list);
  list.clear();
  ASSERT_OK(ParsedTable(Stts({{2, 100}}) + Ctts({})).reader.CreateCtsList(0, 100, list));
  EXPECT_EQ((List{0, 100}), list);
}

TEST(SampleTimes, FillAListThatAlreadyHoldsSome) {
  const ParsedTable table(Stts({{4, 100}}) + Ctts({{4, 7}}));
  List list = {1000, 2000};
  ASSERT_OK(table.reader.CreateCtsList(1, 3, list));
  EXPECT_EQ((List{1007, 2007, 107}), list);
  list = {1000, 2000};
  ASSERT_OK(table.reader.CreateCtsList(1, 1, list));
  EXPECT_EQ((List{1007, 2000}), list);
}

TEST(SampleTimes, NeedATableOfDurations) {
  List list;
  long long cts = -1;
  unsigned int index = kUntouched;
  const ParsedTable table(Ctts({{1, 2}}));
  EXPECT_RESULT(E_BAD_DATA, table.reader.CreateCtsList(0, 1, list));
  EXPECT_RESULT(E_BAD_DATA, table.reader.SampleIndexToCts(0, &cts));
  EXPECT_RESULT(E_BAD_DATA, table.reader.SampleIndexToLeastCts(0, &cts));
  EXPECT_RESULT(E_BAD_DATA, table.reader.CtsToSample(0, &index));
  EXPECT_RESULT(E_BAD_DATA, CSampleTableReader(nullptr).CtsToSample(0, &index));
  EXPECT_EQ(-1, cts);
}

TEST(SampleTimes, NeedAPlaceForTheAnswer) {
  const CSampleTableReader reader(nullptr);
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToCts(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.SampleIndexToLeastCts(0, nullptr));
  EXPECT_RESULT(E_POINTER, reader.CtsToSample(0, nullptr));
}

TEST(SampleTimes, AreToldSampleBySample) {
  const ParsedTable table(Stts({{3, 100}}) + Ctts({{1, 5}, {2, 50}}));
  long long cts = -1;
  ASSERT_OK(table.reader.SampleIndexToCts(0, &cts));
  EXPECT_EQ(5, cts);
  ASSERT_OK(table.reader.SampleIndexToCts(2, &cts));
  EXPECT_EQ(250, cts);
  EXPECT_RESULT(E_INVALIDARG, table.reader.SampleIndexToCts(3, &cts));
}

TEST(SampleTimes, OfFourThousandMillionSamplesAreToldAtOnce) {
  const ParsedTable table(Stts({{0xFFFFFFFF, 3}}) + Ctts({{0xFFFFFFFF, 2}}));
  long long cts = -1;
  ASSERT_OK(table.reader.SampleIndexToCts(0xFFFFFFFE, &cts));
  EXPECT_EQ(3 * 0xFFFFFFFELL + 2, cts);
  EXPECT_EQ("S_OK 4000000000", SampleAt(table, 3 * 4000000000LL + 2));
  EXPECT_EQ("S_OK 4000000000", SampleAt(table, 3 * 4000000000LL + 4));
  EXPECT_EQ("S_FALSE 4294967294", SampleAt(table, kLatest));
}

TEST(SampleTimes, EarliestOfTenSamplesInDecodingOrder) {
  std::vector<SampleRun> offsets(12, SampleRun{1, 1000});
  offsets[9] = {1, 0};
  offsets[10] = {1, 0};
  const ParsedTable table(Stts({{12, 10}}) + Ctts(offsets));
  long long cts = -1;
  ASSERT_OK(table.reader.SampleIndexToLeastCts(0, &cts));
  EXPECT_EQ(90, cts);
  offsets[9] = {1, 1000};
  ASSERT_OK(ParsedTable(Stts({{12, 10}}) + Ctts(offsets)).reader.SampleIndexToLeastCts(0, &cts));
  EXPECT_EQ(1000, cts);
}

TEST(SampleTimes, EarliestOfFewerSamplesAtTheEnd) {
  const ParsedTable table(Stts({{4, 10}}) + Ctts({{3, 100}, {1, 0}}));
  long long cts = -1;
  ASSERT_OK(table.reader.SampleIndexToLeastCts(2, &cts));
  EXPECT_EQ(30, cts);
  ASSERT_OK(table.reader.SampleIndexToLeastCts(4, &cts));
  EXPECT_EQ(kLatest, cts);
}

TEST(SampleAtTime, WithoutOffsetsGoesByDecodingTimes) {
  const ParsedTable table(Stts({{3, 100}, {2, 10}}));
  EXPECT_EQ("S_OK 0", SampleAt(table, -5));
  EXPECT_EQ("S_OK 0", SampleAt(table, kEarliest));
  EXPECT_EQ("S_OK 0", SampleAt(table, 99));
  EXPECT_EQ("S_OK 1", SampleAt(table, 100));
  EXPECT_EQ("S_OK 2", SampleAt(table, 299));
  EXPECT_EQ("S_OK 3", SampleAt(table, 300));
  EXPECT_EQ("S_OK 3", SampleAt(table, 309));
  EXPECT_EQ("S_OK 4", SampleAt(table, 310));
  EXPECT_EQ("S_OK 5", SampleAt(table, 320));
  EXPECT_EQ("S_FALSE 4", SampleAt(table, 321));
  EXPECT_EQ("S_FALSE 4", SampleAt(table, kLatest));
}

TEST(SampleAtTime, WithoutOffsetsAnEntryWithoutDurationAnswersByItsFirstSample) {
  const ParsedTable table(Stts({{2, 10}, {5, 0}, {1, 10}}));
  EXPECT_EQ("S_OK 2", SampleAt(table, 20));
  EXPECT_EQ("S_OK 7", SampleAt(table, 21));
  EXPECT_EQ("S_OK 0", SampleAt(ParsedTable(Stts({{5, 0}})), 0));
  EXPECT_EQ("S_OK 0", SampleAt(ParsedTable(Stts({{5, 0}})), -1));
  EXPECT_EQ("S_FALSE 4", SampleAt(ParsedTable(Stts({{5, 0}})), 1));
}

TEST(SampleAtTime, WithoutSamplesIsZero) {
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({})), 0));
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({})), kLatest));
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({})), kEarliest));
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({}) + Ctts({})), 5));
  EXPECT_EQ("S_OK 0", SampleAt(ParsedTable(Stts({{0, 10}})), 0));
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({{0, 10}})), 1));
  EXPECT_EQ("S_FALSE 0", SampleAt(ParsedTable(Stts({{0, 10}}) + Ctts({})), 1));
}

TEST(SampleAtTime, WithOffsetsGoesByCompositionTimes) {
  // Composition times 20, 60, 30, 50: decoding order is not the order of presentation.
  const ParsedTable table(Stts({{4, 10}}) + Ctts({{1, 20}, {1, 50}, {1, 10}, {1, 20}}));
  EXPECT_EQ("S_FALSE 0", SampleAt(table, -1));
  EXPECT_EQ("S_FALSE 0", SampleAt(table, 19));
  EXPECT_EQ("S_OK 0", SampleAt(table, 20));
  EXPECT_EQ("S_OK 0", SampleAt(table, 29));
  EXPECT_EQ("S_OK 2", SampleAt(table, 30));
  EXPECT_EQ("S_FALSE 3", SampleAt(table, 40));
  EXPECT_EQ("S_OK 3", SampleAt(table, 50));
  EXPECT_EQ("S_OK 1", SampleAt(table, 69));
  EXPECT_EQ("S_FALSE 3", SampleAt(table, 70));
}

TEST(SampleAtTime, WithOffsetsSkipsSamplesWithoutDuration) {
  const ParsedTable table(Stts({{2, 0}, {1, 10}}) + Ctts({{3, 0}}));
  EXPECT_EQ("S_OK 2", SampleAt(table, 0));
  EXPECT_EQ("S_FALSE 2", SampleAt(table, 10));
}

TEST(SampleAtTime, GrantsOneSampleMoreThanThereAreOffsets) {
  const ParsedTable table(Stts({{3, 10}}) + Ctts({{2, 100}}));
  EXPECT_EQ("S_OK 2", SampleAt(table, 20));
  EXPECT_EQ("S_FALSE 0", SampleAt(table, 19));
  EXPECT_EQ("S_FALSE 2", SampleAt(table, 200));
}

TEST(SampleAtTime, EndsASearchThatNeedsTwoSamplesMoreThanThereAreOffsets) {
  const ParsedTable table(Stts({{4, 10}}) + Ctts({{2, 100}}));
  EXPECT_EQ("S_OK 0", SampleAt(table, 100));
  EXPECT_EQ("S_OK 2", SampleAt(table, 20));
  EXPECT_EQ("E_BAD_DATA", SampleAt(table, 30));
  EXPECT_EQ("E_BAD_DATA", SampleAt(table, -1));
  EXPECT_EQ("E_BAD_DATA", SampleAt(ParsedTable(Stts({{1, 10}}) + Ctts({})), 0));
}

// The search as it is defined: one step for each sample.
HRESULT SearchSampleBySample(const std::vector<SampleRun>& times,
                             const std::vector<SampleRun>& offsets, long long cts,
                             unsigned int* index) {
  long long least = kLatest;
  long long time = 0;
  unsigned int sample = 0;
  std::size_t entry = 0;
  unsigned int used = 0;
  for (const SampleRun& run : times) {
    for (unsigned int i = 0; i < run.count; ++i) {
      if (entry == offsets.size()) return E_BAD_DATA;
      while (entry < offsets.size() && used == offsets[entry].count) {
        ++entry;
        used = 0;
      }
      const long long offset = entry < offsets.size() ? offsets[entry].value : 0;
      ++used;
      if (time + offset <= cts && time + run.value + offset > cts) {
        *index = sample;
        return S_OK;
      }
      least = std::min(least, time + offset);
      time += run.value;
      ++sample;
    }
  }
  *index = least > cts || sample == 0 ? 0 : sample - 1;
  return S_FALSE;
}

std::vector<SampleRun> RandomRuns(std::mt19937& random, unsigned int values) {
  std::vector<SampleRun> runs(Below(random, 5));
  for (SampleRun& run : runs) {
    run = {Below(random, 5), Below(random, values)};
    if (Below(random, 16) == 0) run.value = 0xFFFFFFFF - run.value;
  }
  return runs;
}

unsigned int SampleNum(const std::vector<SampleRun>& runs) {
  unsigned int sum = 0;
  for (const SampleRun& run : runs) sum += run.count;
  return sum;
}

// Offsets for all samples, a few more or a few less.
std::vector<SampleRun> RandomOffsets(std::mt19937& random, const std::vector<SampleRun>& times) {
  std::vector<SampleRun> offsets = RandomRuns(random, 12);
  const unsigned int wanted = SampleNum(times) + Below(random, 4);
  const unsigned int have = SampleNum(offsets) + 2;
  if (have < wanted) offsets.push_back({wanted - have, Below(random, 12)});
  return offsets;
}

TEST(SampleAtTime, IsTheSameAsInASearchSampleBySample) {
  std::mt19937 random(20240603);
  for (int round = 0; round < 4000; ++round) {
    const std::vector<SampleRun> times = RandomRuns(random, 6);
    const std::vector<SampleRun> offsets = RandomOffsets(random, times);
    const ParsedTable table(Stts(times) + Ctts(offsets));
    for (int step = -2; step < 60; ++step) {
      const long long cts =
          step < 50 ? step : 0xFFFFFFFFLL * (1 + Below(random, 4)) - Below(random, 30);
      unsigned int expectedIndex = kUntouched;
      unsigned int index = kUntouched;
      const HRESULT expected = SearchSampleBySample(times, offsets, cts, &expectedIndex);
      ASSERT_RESULT(expected, table.reader.CtsToSample(cts, &index)) << round << " at " << cts;
      ASSERT_EQ(expectedIndex, index) << round << " at " << cts;
    }
  }
}

std::vector<long long> Spelled(const std::vector<SampleRun>& runs) {
  std::vector<long long> values;
  for (const SampleRun& run : runs) values.insert(values.end(), run.count, run.value);
  return values;
}

// The list as it is defined, from the tables spelled out sample by sample.
void ListSampleBySample(const std::vector<SampleRun>& times, const std::vector<SampleRun>& offsets,
                        unsigned int index, unsigned int count, List& list) {
  std::size_t sample = 0;
  long long time = 0;
  for (const long long delta : Spelled(times)) {
    if (sample++ >= index && list.size() < count) list.push_back(time);
    time += delta;
  }
  const std::vector<long long> all = Spelled(offsets);
  auto target = list.begin();
  for (std::size_t i = index; i < all.size() && i - index < count && target != list.end(); ++i)
    *target++ += all[i];
}

TEST(SampleTimes, AreListedAsIfTheTablesWereSpelledOut) {
  std::mt19937 random(20240604);
  for (int round = 0; round < 4000; ++round) {
    const std::vector<SampleRun> times = RandomRuns(random, 6);
    const std::vector<SampleRun> offsets = RandomOffsets(random, times);
    const ParsedTable table(Stts(times) + Ctts(offsets));
    for (int step = 0; step < 20; ++step) {
      const unsigned int index = Below(random, 20);
      const unsigned int count = Below(random, 2) == 0 ? Below(random, 6) : 0xFFFFFFFF;
      List list(Below(random, 3), 5000);
      List expected = list;
      ListSampleBySample(times, offsets, index, count, expected);
      ASSERT_OK(table.reader.CreateCtsList(index, count, list));
      ASSERT_EQ(expected, list) << round;
    }
  }
}

TEST(SampleTimes, StayDefinedWhereTheyExceed64Bits) {
  const SampleRun most = {0xFFFFFFFF, 0xFFFFFFFF};
  const ParsedTable table(Stts({most, most, most}) + Ctts({most, most, most}));
  for (const long long cts : {kEarliest, -1LL, 0LL, 1LL, kLatest}) {
    unsigned int index = kUntouched;
    EXPECT_GE(table.reader.CtsToSample(cts, &index), S_OK) << cts;
    EXPECT_NE(kUntouched, index);
  }
  const ParsedTable noOffsets(Stts({most, most, most}));
  for (const long long cts : {kEarliest, -1LL, 0LL, 1LL, kLatest}) {
    unsigned int index = kUntouched;
    EXPECT_GE(noOffsets.reader.CtsToSample(cts, &index), S_OK) << cts;
  }
  long long cts = 0;
  EXPECT_OK(table.reader.SampleIndexToLeastCts(0xFFFFFFFE, &cts));
}

TEST(SampleTimes, ChangeScaleOneByOneAndTruncated) {
  const ParsedTable table(Stts({{2, 100}, {3, 101}}) + Ctts({{5, 301}}));
  CSampleTableReader reader(table.box.get());
  ASSERT_OK(reader.ChangeSampleTableScale(1000, 500));
  EXPECT_EQ(support::Box("stbl", {Stts({{2, 50}, {3, 50}}), Ctts({{5, 150}})}),
            support::FixAndWrite(*table.box));
  ASSERT_OK(reader.ChangeSampleTableScale(1, 3));
  EXPECT_EQ(support::Box("stbl", {Stts({{2, 150}, {3, 150}}), Ctts({{5, 450}})}),
            support::FixAndWrite(*table.box));
  ASSERT_OK(ParsedTable(Stts({{1, 100}})).reader.ChangeSampleTableScale(1000, 3));
}

TEST(SampleTimes, CanVanishInACoarserScale) {
  ParsedTable table(Stts({{1, 100}}));
  ASSERT_OK(table.reader.ChangeSampleTableScale(1000, 3));
  EXPECT_EQ(support::Box("stbl", {Stts({{1, 0}})}), support::FixAndWrite(*table.box));
}

TEST(SampleTimes, RefuseAScaleOfZero) {
  EXPECT_RESULT(E_INVALIDARG, ParsedTable(Stts({{1, 1}})).reader.ChangeSampleTableScale(0, 1));
  EXPECT_RESULT(E_INVALIDARG, ParsedTable(Stts({{1, 1}})).reader.ChangeSampleTableScale(1, 0));
  EXPECT_OK(ParsedTable(Stts({{1, 1}})).reader.ChangeSampleTableScale(1, 1));
  EXPECT_OK(ParsedTable({}).reader.ChangeSampleTableScale(1, 2));
  EXPECT_OK(CSampleTableReader(nullptr).ChangeSampleTableScale(1, 2));
}

TEST(SampleTimes, RefuseAScaleThatTakesThemBeyond32Bits) {
  ParsedTable times(Stts({{1, 5}, {1, 0x80000000}, {1, 6}}) + Ctts({{3, 7}}));
  EXPECT_RESULT(E_INVALIDARG, times.reader.ChangeSampleTableScale(1, 2));
  EXPECT_EQ(support::Box("stbl", {Stts({{1, 10}, {1, 0x80000000}, {1, 6}}), Ctts({{3, 7}})}),
            support::FixAndWrite(*times.box));

  ParsedTable offsets(Stts({{1, 5}}) + Ctts({{1, 7}, {1, 0xFFFFFFFF}, {1, 7}}));
  EXPECT_RESULT(E_INVALIDARG, offsets.reader.ChangeSampleTableScale(1, 2));
  EXPECT_EQ(support::Box("stbl", {Stts({{1, 10}}), Ctts({{1, 14}, {1, 0xFFFFFFFF}, {1, 7}})}),
            support::FixAndWrite(*offsets.box));
  EXPECT_OK(ParsedTable(Ctts({{1, 0x7FFFFFFF}})).reader.ChangeSampleTableScale(1, 2));
}

}  // namespace
