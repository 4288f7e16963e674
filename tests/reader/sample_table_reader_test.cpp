#include "reader/sample_table_reader.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "box/data_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_table_boxes.h"
#include "reader/parsed_table.h"
#include "reader/typed_views.h"
#include "support/box_io.h"
#include "support/movie_tree.h"
#include "support/table_bytes.h"

namespace {

using MP4G::CSampleTableReader;
using support::Box;
using support::Bytes;
using support::ChunkGroup;
using support::Co64;
using support::FixAndWrite;
using support::operator+;
using support::Stco;
using support::Stsc;
using support::Stss;
using support::Stsz;
using support::Stz2;

constexpr unsigned int kUntouched = 0xABCDEF01;

TEST(SampleTableReader, CountsSamplesByTheFieldOfItsSizeBox) {
  EXPECT_EQ(0u, CSampleTableReader(nullptr).GetSampleNum());
  EXPECT_EQ(0u, ParsedTable({}).reader.GetSampleNum());
  EXPECT_EQ(3u, ParsedTable(Stsz({5, 6, 7})).reader.GetSampleNum());
  EXPECT_EQ(100u, ParsedTable(support::UniformStsz(7, 100)).reader.GetSampleNum());
  EXPECT_EQ(2u, ParsedTable(Stz2({5, 6})).reader.GetSampleNum());
  EXPECT_EQ(3u, ParsedTable(Stz2({5, 6}) + Stsz({5, 6, 7})).reader.GetSampleNum());
  EXPECT_EQ(0u, ParsedTable(Stz2({5, 6}) + Stsz({})).reader.GetSampleNum());
}

TEST(SampleTableReader, CountsChunksByTheTableAndNotByItsCount) {
  EXPECT_EQ(0u, CSampleTableReader(nullptr).GetChunkNum());
  EXPECT_EQ(0u, ParsedTable({}).reader.GetChunkNum());
  EXPECT_EQ(2u, ParsedTable(Stco({1, 2})).reader.GetChunkNum());
  EXPECT_EQ(3u, ParsedTable(Co64({1, 2, 3})).reader.GetChunkNum());
  EXPECT_EQ(2u, ParsedTable(Co64({1, 2, 3}) + Stco({1, 2})).reader.GetChunkNum());
  EXPECT_EQ(0u, ParsedTable(Co64({1, 2, 3}) + Stco({})).reader.GetChunkNum());

  ParsedTable grown(Stco({1, 2}));
  MP4G::CSampleTableBox_wr(grown.box.get()).ChunkOffsetBox()->entries.push_back(3);
  EXPECT_EQ(3u, grown.reader.GetChunkNum());
}

TEST(SampleTableReader, TellsTheTypeInTheHeaderOfTheFirstEntry) {
  EXPECT_EQ(0u, CSampleTableReader(nullptr).GetSampleEntryType());
  EXPECT_EQ(0u, ParsedTable({}).reader.GetSampleEntryType());
  const auto typeOf = [](const std::string& entryType) {
    support::Track track = support::VideoTrack(1);
    track.sampleEntry = Box(entryType, {support::Zeros(78)});
    const auto movie = support::MovieTree(support::MovieBuilder().Add(track));
    return CSampleTableReader(MP4G::CMovieBox_wr(movie.get()).SampleTableBox(1))
        .GetSampleEntryType();
  };
  EXPECT_EQ(FourCc("avc1"), typeOf("avc1"));
  EXPECT_EQ(FourCc("zzzz"), typeOf("zzzz"));
  EXPECT_EQ(0u, typeOf("free"));
}

TEST(SampleTableReader, FindsTheChunkOfASample) {
  const ParsedTable table(Stsc({{1, 5}}));
  unsigned int chunk = kUntouched;
  unsigned int first = kUntouched;
  ASSERT_OK(table.reader.SampleIndexToChunkIndex(12, &chunk, &first));
  EXPECT_EQ(2u, chunk);
  EXPECT_EQ(10u, first);
  ASSERT_OK(table.reader.SampleIndexToChunkIndex(15, &chunk, nullptr));
  EXPECT_EQ(3u, chunk);
}

TEST(SampleTableReader, FindsSamplesOnBothSidesOfAChangeOfChunkLength) {
  const ParsedTable table(Stsc({{1, 5}, {3, 2}}));
  const auto chunkOf = [&table](unsigned int sample) {
    unsigned int chunk = kUntouched;
    unsigned int first = kUntouched;
    EXPECT_OK(table.reader.SampleIndexToChunkIndex(sample, &chunk, &first));
    return std::pair(chunk, first);
  };
  EXPECT_EQ(std::pair(1u, 5u), chunkOf(9));
  EXPECT_EQ(std::pair(2u, 10u), chunkOf(10));
  EXPECT_EQ(std::pair(2u, 10u), chunkOf(11));
  EXPECT_EQ(std::pair(3u, 12u), chunkOf(12));
  const auto sampleOf = [&table](unsigned int chunk, signed char last) {
    unsigned int sample = kUntouched;
    EXPECT_OK(table.reader.ChunkIndexToSampleIndex(chunk, &sample, last));
    return sample;
  };
  EXPECT_EQ(5u, sampleOf(1, 0));
  EXPECT_EQ(9u, sampleOf(1, 1));
  EXPECT_EQ(10u, sampleOf(2, 0));
  EXPECT_EQ(11u, sampleOf(2, 1));
  EXPECT_EQ(12u, sampleOf(3, 0));
}

TEST(SampleTableReader, GoesOnBehindTheLastChunkForEver) {
  const ParsedTable table(Stsc({{1, 1}}) + Stco({100}) + Stsz({7}));
  unsigned int chunk = kUntouched;
  unsigned int first = kUntouched;
  ASSERT_OK(table.reader.SampleIndexToChunkIndex(0xFFFFFFFD, &chunk, &first));
  EXPECT_EQ(0xFFFFFFFDu, chunk);
  EXPECT_EQ(0xFFFFFFFDu, first);
  EXPECT_RESULT(E_INVALIDARG, table.reader.SampleIndexToChunkIndex(0xFFFFFFFE, &chunk, &first));
}

TEST(SampleTableReader, RefusesASampleThatNoEntryHolds) {
  unsigned int chunk = kUntouched;
  EXPECT_RESULT(E_BAD_DATA, ParsedTable({}).reader.SampleIndexToChunkIndex(0, &chunk, nullptr));
  EXPECT_RESULT(E_INVALIDARG,
                ParsedTable(Stsc({})).reader.SampleIndexToChunkIndex(0, &chunk, nullptr));
  EXPECT_RESULT(E_INVALIDARG,
                ParsedTable(Stsc({{1, 0}})).reader.SampleIndexToChunkIndex(0, &chunk, nullptr));
  EXPECT_EQ(kUntouched, chunk);
  EXPECT_RESULT(E_POINTER, ParsedTable({}).reader.SampleIndexToChunkIndex(0, nullptr, nullptr));
  EXPECT_OK(ParsedTable(Stsc({{1, 1}})).reader.SampleIndexToChunkIndex(0, &chunk, nullptr));
}

TEST(SampleTableReader, TakesChunkNumbersZeroAndOneForTheFirstChunk) {
  const ParsedTable table(Stsc({{0, 2}}));
  const auto chunkOf = [&table](unsigned int sample) {
    unsigned int chunk = kUntouched;
    EXPECT_OK(table.reader.SampleIndexToChunkIndex(sample, &chunk, nullptr));
    return chunk;
  };
  EXPECT_EQ(0u, chunkOf(1));
  EXPECT_EQ(0u, chunkOf(2));
  EXPECT_EQ(1u, chunkOf(4));
}

// The walk as it is defined: one step for each chunk.
HRESULT WalkToChunk(const std::vector<ChunkGroup>& groups, unsigned int index, unsigned int* chunk,
                    unsigned int* firstSample) {
  unsigned int rest = index;
  unsigned int before = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const unsigned int end = i + 1 < groups.size() ? groups[i + 1].firstChunk : 0xFFFFFFFF;
    for (unsigned int c = groups[i].firstChunk; c < end; ++c) {
      if (rest < groups[i].samplesPerChunk) {
        *chunk = c < 2 ? 0 : c - 1;
        *firstSample = before;
        return S_OK;
      }
      rest -= groups[i].samplesPerChunk;
      before += groups[i].samplesPerChunk;
    }
  }
  return E_INVALIDARG;
}

HRESULT WalkToSample(const std::vector<ChunkGroup>& groups, unsigned int chunk, bool last,
                     unsigned int* index) {
  unsigned int sum = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (groups[i].samplesPerChunk == 0) return E_BAD_DATA;
    const unsigned int end = i + 1 < groups.size() ? groups[i + 1].firstChunk : 0xFFFFFFFF;
    const bool holds = chunk + std::uint64_t{1} < end;
    const unsigned int behind = holds ? chunk + 1 : end;
    for (unsigned int c = groups[i].firstChunk; c < behind; ++c) sum += groups[i].samplesPerChunk;
    if (holds) {
      *index = last ? sum + groups[i].samplesPerChunk - 1 : sum;
      return S_OK;
    }
  }
  *index = sum;
  return S_FALSE;
}

// Small tables in any order, with empty chunks, at the bottom and at the top of the numbers.
std::vector<ChunkGroup> RandomGroups(std::mt19937& random) {
  const unsigned int base = Below(random, 2) == 0 ? 0 : 0xFFFFFFE0;
  std::vector<ChunkGroup> groups(1 + Below(random, 5));
  for (ChunkGroup& group : groups) group = {base + Below(random, 32), Below(random, 4)};
  // At the bottom the last entry would take the walk through all numbers.
  if (base == 0 && groups.back().samplesPerChunk == 0) groups.back().samplesPerChunk = 1;
  return groups;
}

TEST(SampleTableReader, FindsTheSameChunkAsAWalkOverAllChunks) {
  std::mt19937 random(20240601);
  for (int round = 0; round < 3000; ++round) {
    const std::vector<ChunkGroup> groups = RandomGroups(random);
    const ParsedTable table(Stsc(groups));
    for (unsigned int index = 0; index < 60; ++index) {
      unsigned int expectedChunk = kUntouched;
      unsigned int expectedFirst = kUntouched;
      unsigned int chunk = kUntouched;
      unsigned int first = kUntouched;
      const HRESULT expected = WalkToChunk(groups, index, &expectedChunk, &expectedFirst);
      ASSERT_RESULT(expected, table.reader.SampleIndexToChunkIndex(index, &chunk, &first)) << round;
      ASSERT_EQ(expectedChunk, chunk) << round;
      ASSERT_EQ(expectedFirst, first) << round;
    }
  }
}

TEST(SampleTableReader, FindsTheSameSampleAsAWalkOverAllChunks) {
  std::mt19937 random(20240602);
  for (int round = 0; round < 2000; ++round) {
    const std::vector<ChunkGroup> groups = RandomGroups(random);
    const ParsedTable table(Stsc(groups));
    const unsigned int base = groups[0].firstChunk < 32 ? 0 : 0xFFFFFFD0;
    for (unsigned int step = 0; step < 48; ++step) {
      for (const signed char last : {'\0', '\1'}) {
        unsigned int expectedIndex = kUntouched;
        unsigned int index = kUntouched;
        const HRESULT expected = WalkToSample(groups, base + step, last == 1, &expectedIndex);
        ASSERT_RESULT(expected, table.reader.ChunkIndexToSampleIndex(base + step, &index, last))
            << round;
        ASSERT_EQ(expectedIndex, index) << round;
      }
    }
  }
}

TEST(SampleTableReader, FindsTheSamplesOfAChunk) {
  const ParsedTable table(Stsc({{1, 5}}));
  unsigned int index = kUntouched;
  ASSERT_OK(table.reader.ChunkIndexToSampleIndex(2, &index, 0));
  EXPECT_EQ(10u, index);
  ASSERT_OK(table.reader.ChunkIndexToSampleIndex(2, &index, 1));
  EXPECT_EQ(14u, index);
  ASSERT_OK(table.reader.ChunkIndexToSampleIndex(2, &index, 2));
  EXPECT_EQ(10u, index);
}

TEST(SampleTableReader, SaysWhereAChunkCannotBeFound) {
  unsigned int index = kUntouched;
  EXPECT_RESULT(E_POINTER, ParsedTable({}).reader.ChunkIndexToSampleIndex(0, nullptr, 0));
  EXPECT_RESULT(E_BAD_DATA, ParsedTable({}).reader.ChunkIndexToSampleIndex(0, &index, 0));
  EXPECT_RESULT(E_BAD_DATA,
                ParsedTable(Stsc({{1, 0}})).reader.ChunkIndexToSampleIndex(0, &index, 0));
  EXPECT_EQ(kUntouched, index);
  EXPECT_RESULT(S_FALSE, ParsedTable(Stsc({})).reader.ChunkIndexToSampleIndex(0, &index, 0));
  EXPECT_EQ(0u, index);
  EXPECT_RESULT(
      S_FALSE,
      ParsedTable(Stsc({{0xFFFFFFFE, 3}})).reader.ChunkIndexToSampleIndex(0xFFFFFFFE, &index, 0));
  EXPECT_EQ(3u, index);
  EXPECT_RESULT(
      S_FALSE,
      ParsedTable(Stsc({{0xFFFFFFFE, 3}})).reader.ChunkIndexToSampleIndex(0xFFFFFFFF, &index, 0));
  EXPECT_EQ(3u, index);
}

TEST(SampleTableReader, TellsWhereASampleLies) {
  const ParsedTable table(Stsc({{1, 2}}) + Stco({1000, 2000}) + Stsz({10, 20, 30, 40}));
  long long position = -1;
  unsigned int size = kUntouched;
  ASSERT_OK(table.reader.SampleIndexToPosSize(3, &position, &size));
  EXPECT_EQ(2030, position);
  EXPECT_EQ(40u, size);
  ASSERT_OK(table.reader.SampleIndexToPosSize(0, &position, &size));
  EXPECT_EQ(1000, position);
  EXPECT_EQ(10u, size);
}

TEST(SampleTableReader, TellsAPlaceEvenBehindTheTables) {
  const ParsedTable table(Stsc({{1, 2}}) + Stco({1000}) + Stsz({10, 20}));
  long long position = -1;
  unsigned int size = kUntouched;
  ASSERT_OK(table.reader.SampleIndexToPosSize(9, &position, &size));
  EXPECT_EQ(0, position);
  EXPECT_EQ(0u, size);
  // Chunks of 64-bit offsets count as lying at 0.
  ASSERT_OK(ParsedTable(Stsc({{1, 2}}) + Co64({1000}) + Stsz({10, 20}))
                .reader.SampleIndexToPosSize(1, &position, &size));
  EXPECT_EQ(10, position);
  EXPECT_EQ(20u, size);
}

TEST(SampleTableReader, TellsNoPlaceWithoutItsChunk) {
  long long position = -1;
  unsigned int size = kUntouched;
  const ParsedTable table(Stsc({{1, 0}}));
  EXPECT_RESULT(E_POINTER, table.reader.SampleIndexToPosSize(0, nullptr, &size));
  EXPECT_RESULT(E_POINTER, table.reader.SampleIndexToPosSize(0, &position, nullptr));
  EXPECT_RESULT(E_INVALIDARG, table.reader.SampleIndexToPosSize(0, &position, &size));
  EXPECT_RESULT(E_BAD_DATA, ParsedTable({}).reader.SampleIndexToPosSize(0, &position, &size));
}

TEST(SampleTableReader, FindsTheSyncSampleAtOrBeforeASample) {
  const ParsedTable table(Stss({5, 9}));
  const auto syncOf = [](const ParsedTable& of, unsigned int sample) {
    unsigned int sync = kUntouched;
    EXPECT_OK(of.reader.SampleIndexToPreSyncSample(sample, &sync));
    return sync;
  };
  EXPECT_EQ(0u, syncOf(table, 0));
  EXPECT_EQ(0u, syncOf(table, 3));
  EXPECT_EQ(4u, syncOf(table, 4));
  EXPECT_EQ(4u, syncOf(table, 7));
  EXPECT_EQ(8u, syncOf(table, 8));
  EXPECT_EQ(8u, syncOf(table, 0xFFFFFFFF));
  EXPECT_EQ(0u, syncOf(ParsedTable(Stss({})), 7));
  EXPECT_EQ(7u, syncOf(ParsedTable({}), 7));
  // The last in the table's order, should it not be sorted.
  EXPECT_EQ(1u, syncOf(ParsedTable(Stss({5, 2, 9})), 6));
  EXPECT_RESULT(E_POINTER, table.reader.SampleIndexToPreSyncSample(0, nullptr));
}

TEST(SampleTableReader, FindsTheSyncSampleBehindASample) {
  const ParsedTable table(Stss({5, 9}) + Stsz({1, 2, 3}));
  unsigned int sync = kUntouched;
  ASSERT_OK(table.reader.SampleIndexToNextSyncSample(0, &sync));
  EXPECT_EQ(4u, sync);
  ASSERT_OK(table.reader.SampleIndexToNextSyncSample(4, &sync));
  EXPECT_EQ(8u, sync);
  EXPECT_RESULT(S_FALSE, table.reader.SampleIndexToNextSyncSample(8, &sync));
  EXPECT_EQ(3u, sync);
  EXPECT_RESULT(S_FALSE, table.reader.SampleIndexToNextSyncSample(0xFFFFFFFF, &sync));
  EXPECT_EQ(3u, sync);
  ASSERT_OK(ParsedTable(Stsz({1})).reader.SampleIndexToNextSyncSample(7, &sync));
  EXPECT_EQ(7u, sync);
  EXPECT_RESULT(E_POINTER, table.reader.SampleIndexToNextSyncSample(0, nullptr));
}

TEST(SampleTableReader, SeesALastGroupOfAnotherLength) {
  EXPECT_FALSE(CSampleTableReader(nullptr).RestChunkExist());
  EXPECT_FALSE(ParsedTable({}).reader.RestChunkExist());
  EXPECT_FALSE(ParsedTable(Stsc({{1, 5}})).reader.RestChunkExist());
  EXPECT_FALSE(ParsedTable(Stsc({{1, 5}, {3, 5}})).reader.RestChunkExist());
  EXPECT_TRUE(ParsedTable(Stsc({{1, 5}, {3, 2}})).reader.RestChunkExist());
  EXPECT_FALSE(ParsedTable(Stsc({{1, 5}, {3, 2}, {4, 5}})).reader.RestChunkExist());
}

}  // namespace
