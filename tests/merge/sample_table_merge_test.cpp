// The appending of sample tables, box by box.
#include <memory>

#include "box/data_boxes.h"
#include "merge/merge_fixture.h"
#include "merge/mp4_merge.h"
#include "support/box_io.h"
#include "support/movie_builder.h"

using namespace MP4G;
using namespace support;

namespace {

std::unique_ptr<CSampleSizeBox> Sizes(unsigned int uniform, unsigned int count,
                                      const QUIRVA::Table<unsigned int>& table = {}) {
  auto box = std::make_unique<CSampleSizeBox>();
  box->record->sampleSize = uniform;
  box->record->sampleCount = count;
  box->entries = table;
  return box;
}

struct MergedSizes {
  unsigned int uniform;
  unsigned int count;
  QUIRVA::Table<unsigned int> table;

  bool operator==(const MergedSizes&) const = default;
};

MergedSizes Merged(const CSampleSizeBox& box) {
  return {box.record->sampleSize, box.record->sampleCount, box.entries};
}

template <class TableBox>
std::unique_ptr<TableBox> Table(const decltype(TableBox::entries)& entries) {
  auto box = std::make_unique<TableBox>();
  box->entries = entries;
  return box;
}

_tagSAMPLE_TO_CHUNK Chunks(unsigned int first, unsigned int perChunk) {
  _tagSAMPLE_TO_CHUNK entry{};
  entry.firstChunk = first;
  entry.samplesPerChunk = perChunk;
  entry.sampleDescriptionIndex = 1;
  return entry;
}

}  // namespace

TEST(MergeSampleSizes, UniformAndEqualAddsTheCounts) {
  const auto first = Sizes(7, 100);
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(7, 20).get()));
  EXPECT_EQ((MergedSizes{7, 120, {}}), Merged(*first));
}

TEST(MergeSampleSizes, UniformCountsWrapAt32Bits) {
  const auto first = Sizes(7, 0xFFFFFFFF);
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(7, 2).get()));
  EXPECT_EQ((MergedSizes{7, 1, {}}), Merged(*first));
}

TEST(MergeSampleSizes, UniformAndDifferentIsSpelledOut) {
  const auto first = Sizes(7, 2);
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(9, 3).get()));
  EXPECT_EQ((MergedSizes{0, 5, {7, 7, 9, 9, 9}}), Merged(*first));
}

TEST(MergeSampleSizes, ATableGrowsByAUniformSize) {
  const auto first = Sizes(0, 2, {1, 2});
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(9, 2).get()));
  EXPECT_EQ((MergedSizes{0, 4, {1, 2, 9, 9}}), Merged(*first));
}

TEST(MergeSampleSizes, AUniformSizeAndATableGiveZeros) {
  const auto first = Sizes(7, 2);
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(0, 3, {4, 5, 6}).get()));
  EXPECT_EQ((MergedSizes{0, 5, {7, 7, 0, 0, 0}}), Merged(*first));
}

TEST(MergeSampleSizes, TablesAreAppended) {
  const auto first = Sizes(0, 2, {1, 2});
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(0, 1, {3}).get()));
  EXPECT_EQ((MergedSizes{0, 3, {1, 2, 3}}), Merged(*first));
}

TEST(MergeSampleSizes, TablesOfOneSizeBecomeUniformAndKeepTheirEntries) {
  const auto first = Sizes(0, 2, {4, 4});
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(0, 1, {4}).get()));
  EXPECT_EQ((MergedSizes{4, 3, {4, 4, 4}}), Merged(*first));
  EXPECT_EQ(12u + 8, FixAndWrite(*first).size());
  // A further input that does not fit the uniform size goes on top of the entries that were left
  // over.
  ASSERT_OK(CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(9, 2).get()));
  EXPECT_EQ((MergedSizes{0, 8, {4, 4, 4, 4, 4, 4, 9, 9}}), Merged(*first));
}

TEST(MergeSampleSizes, SpellsOutOnlyWhatMemoryCanTake) {
  const auto first = Sizes(7, 0xFFFFFFFF);
  EXPECT_RESULT(E_OUTOFMEMORY, CMp4Merge().MergeSampleSizeBox(first.get(), Sizes(9, 1).get()));
  EXPECT_EQ((MergedSizes{7, 0xFFFFFFFF, {}}), Merged(*first));
  const auto table = Sizes(0, 1, {5});
  const auto many = Sizes(9, static_cast<unsigned int>(kMostSampleSizes));
  EXPECT_RESULT(E_OUTOFMEMORY, CMp4Merge().MergeSampleSizeBox(table.get(), many.get()));
}

TEST(MergeSampleToChunk, ShiftsFirstChunksByTheChunksBefore) {
  const auto first = Table<CSampleToChunkBox>({Chunks(1, 5)});
  const auto second = Table<CSampleToChunkBox>({Chunks(1, 5), Chunks(4, 2)});
  ASSERT_OK(CMp4Merge().MergeSampleToChunkBox(first.get(), second.get(), 10));
  ASSERT_EQ(3u, first->entries.size());
  EXPECT_EQ(3u, first->entryCount);
  EXPECT_EQ(1u, first->entries[0].firstChunk);
  EXPECT_EQ(11u, first->entries[1].firstChunk);
  EXPECT_EQ(14u, first->entries[2].firstChunk);
  EXPECT_EQ(2u, first->entries[2].samplesPerChunk);
  EXPECT_EQ(1u, first->entries[2].sampleDescriptionIndex);
  // The second box's own entries are changed too.
  EXPECT_EQ(11u, second->entries[0].firstChunk);
}

TEST(MergeSampleToChunk, WrapsAt32Bits) {
  const auto first = Table<CSampleToChunkBox>({});
  const auto second = Table<CSampleToChunkBox>({Chunks(0xFFFFFFFF, 1)});
  ASSERT_OK(CMp4Merge().MergeSampleToChunkBox(first.get(), second.get(), 2));
  EXPECT_EQ(1u, first->entries[0].firstChunk);
}

TEST(MergeSyncSamples, ShiftsBySamplesBeforeInPlace) {
  const auto first = Table<CSyncSampleBox>({1, 5});
  const auto second = Table<CSyncSampleBox>({1, 3});
  ASSERT_OK(CMp4Merge().MergeSyncSampleBox(first.get(), second.get(), 8));
  EXPECT_EQ((QUIRVA::Table<unsigned int>{1, 5, 9, 11}), first->entries);
  EXPECT_EQ((QUIRVA::Table<unsigned int>{9, 11}), second->entries);
  EXPECT_EQ(4u, first->entryCount);
}

TEST(MergePlainTables, AppendWithoutJoiningRuns) {
  CMp4Merge merge;
  _tagDECODING_TIME_TO_SAMPLE run{};
  run.sampleCount = 3;
  run.sampleDelta = 1000;
  const auto times = Table<CTimeToSampleBox>({run});
  ASSERT_OK(merge.MergeTimeToSampleBox(times.get(), Table<CTimeToSampleBox>({run}).get()));
  EXPECT_EQ(2u, times->entries.size());
  EXPECT_EQ(2u, times->entryCount);

  const auto narrow = Table<CChunkOffsetBox>({1});
  ASSERT_OK(merge.MergeChunkOffsetBox(narrow.get(), Table<CChunkOffsetBox>({2, 3}).get()));
  EXPECT_EQ((QUIRVA::Table<unsigned int>{1, 2, 3}), narrow->entries);

  const auto compact = Table<CCompactSampleSizeBox>({1});
  compact->record->fieldSize = 8;
  const auto other = Table<CCompactSampleSizeBox>({2});
  other->record->fieldSize = 16;
  ASSERT_OK(merge.MergeCompactSampleSizeBox(compact.get(), other.get()));
  EXPECT_EQ((QUIRVA::Table<unsigned short>{1, 2}), compact->entries);
  EXPECT_EQ(8, compact->record->fieldSize);
  EXPECT_EQ(2u, compact->record->sampleCount);
}

TEST(MergePresence, BothAbsentIsSoftAndOneAloneIsRefused) {
  CMp4Merge merge;
  CTimeToSampleBox times;
  EXPECT_RESULT(S_FALSE, merge.MergeTimeToSampleBox(nullptr, nullptr));
  EXPECT_RESULT(E_INVALIDARG, merge.MergeTimeToSampleBox(&times, nullptr));
  EXPECT_RESULT(E_INVALIDARG, merge.MergeTimeToSampleBox(nullptr, &times));
  EXPECT_OK(merge.MergeTimeToSampleBox(&times, &times));
  EXPECT_RESULT(S_FALSE, merge.MergeCompositionOffsetBox(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeSampleSizeBox(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeSampleSizeBox_size0(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeCompactSampleSizeBox(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeChunkLargeOffsetBox(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeChunkOffsetBox(nullptr, nullptr));
  EXPECT_RESULT(S_FALSE, merge.MergeSampleDependencyTypeBox(nullptr, nullptr));
  CSampleToChunkBox chunks;
  CSyncSampleBox sync;
  EXPECT_RESULT(S_FALSE, merge.MergeSampleToChunkBox(nullptr, nullptr, 1));
  EXPECT_RESULT(E_POINTER, merge.MergeSampleToChunkBox(&chunks, nullptr, 1));
  EXPECT_RESULT(E_POINTER, merge.MergeSampleToChunkBox(nullptr, &chunks, 1));
  EXPECT_RESULT(S_FALSE, merge.MergeSyncSampleBox(nullptr, nullptr, 1));
  EXPECT_RESULT(E_POINTER, merge.MergeSyncSampleBox(&sync, nullptr, 1));
  EXPECT_RESULT(E_POINTER, merge.MergeSyncSampleBox(nullptr, &sync, 1));
}

TEST(MergeSampleTables, WantADescriptionOnBothSides) {
  CMp4Merge merge;
  CSampleTableBox first;
  CSampleTableBox second;
  EXPECT_RESULT(E_BAD_DATA, merge.MergeSampleTable(&first, &second));
  EXPECT_RESULT(E_BAD_DATA, merge.MergeSampleTable(nullptr, nullptr));
  for (CSampleTableBox* table : {&first, &second}) {
    ASSERT_OK(table->AddChildBox(FourCc("stsd")));
    ASSERT_OK(table->FixParam());
  }
  // Nothing else is there: the last step answers softly, and the merge is done.
  EXPECT_OK(merge.MergeSampleTable(&first, &second));
  first.GetChildBox(FourCc("stsd"), 0)->header->size = 20;
  EXPECT_RESULT(MP4G_E_SAMPLE_DESCRIPTION, merge.MergeSampleTable(&first, &second));
}

TEST(MergeSampleTables, KeepEveryOtherChildOfTheFirst) {
  CMp4Merge merge;
  CSampleTableBox first;
  CSampleTableBox second;
  for (CSampleTableBox* table : {&first, &second}) {
    ASSERT_OK(table->AddChildBox(FourCc("stsd")));
    ASSERT_OK(table->AddChildBox(FourCc("sgpd")));
    ASSERT_OK(table->FixParam());
  }
  auto* kept = dynamic_cast<CDataMemBox*>(first.GetChildBox(FourCc("sgpd"), 0));
  ASSERT_OK(kept->AllocSize(3));
  EXPECT_OK(merge.MergeSampleTable(&first, &second));
  EXPECT_EQ(2u, first.GetChildBoxNum(0));
  EXPECT_EQ(3u, kept->dataSize);
}

TEST_F(LiveMerge, ATableOfEqualSizesIsWrittenInTheUniformForm) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  for (MovieBuilder* clip : {&a, &b}) {
    for (std::uint32_t& size : clip->tracks[0].sampleSizes) size = 40;
  }
  const Bytes merged = Merge({a.Build(), b.Build()});
  ExpectSamplesInOrder(merged, {a.Build(), b.Build()});
  const std::size_t stsz = FindBox(merged, "stsz");
  EXPECT_EQ(20u, ReadU32(merged, stsz));
  EXPECT_EQ(40u, ReadU32(merged, stsz + 12));
  EXPECT_EQ(55u, ReadU32(merged, stsz + 16));
}

TEST_F(LiveMerge, UniformInputsOfDifferentSizesAreSpelledOut) {
  MovieBuilder a = Clip(30, 1);
  MovieBuilder b = Clip(25, 2);
  a.tracks[0].uniformSize = 40;
  b.tracks[0].uniformSize = 41;
  for (MovieBuilder* clip : {&a, &b}) {
    for (std::uint32_t& size : clip->tracks[0].sampleSizes) size = clip->tracks[0].uniformSize;
  }
  ExpectSamplesInOrder(Merge({a.Build(), b.Build()}), {a.Build(), b.Build()});
}
