#include "workflow/sequence_scan.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using clipchain::Scan;
using clipchain::ScanOptions;
using clipchain::ScanReport;
using clipchain::SequenceReport;
using support::ChainLink;
using support::Id;

namespace {

using Names = std::vector<std::string>;

class SequenceScan : public testing::Test {
 protected:
  std::string Put(const std::string& name, const support::Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return (folder / name).string();
  }
  std::string ChainFile(unsigned int number, unsigned int length, unsigned int base = 0) {
    return Put(std::to_string(base + number),
               support::TinyClip(ChainLink(number, length, base), 60 * base + number));
  }
  // A clip of a chain with a timecode of two frames.
  std::string TimedFile(unsigned int number, std::uint8_t frame, const support::VendorBox& link) {
    support::MovieBuilder movie;
    movie.creationTime = number;
    movie.Add(support::TimecodeTrack({{1, 0, 0, frame}, {1, 0, 0, ++frame}}));
    return Put(std::to_string(number), support::WithVendorBox(movie.Build(), link));
  }

  static Names NamesOf(const SequenceReport& sequence) {
    Names names;
    for (const auto& clip : sequence.clips) {
      names.push_back(std::filesystem::path(clip.path).filename().string());
    }
    return names;
  }
  static std::vector<Names> ChainsOf(const ScanReport& report) {
    std::vector<Names> chains;
    for (const SequenceReport& sequence : report.sequences) chains.push_back(NamesOf(sequence));
    return chains;
  }

  support::TempDir folder;
};

using Chains = std::vector<Names>;
using Volumes = std::vector<unsigned int>;

}  // namespace

TEST_F(SequenceScan, OfNothingIsEmpty) {
  const ScanReport report = Scan({}, {true, true});
  EXPECT_TRUE(report.sequences.empty());
  EXPECT_TRUE(report.rejected.empty());
  EXPECT_FALSE(report.stopped);
  EXPECT_FALSE(report.joined);
  EXPECT_OK(report.salvaged);
  EXPECT_OK(report.divided);
}

TEST_F(SequenceScan, TellsEverythingOfASequence) {
  const std::string third = ChainFile(3, 3);
  const std::string first = ChainFile(1, 3);
  const std::string second = ChainFile(2, 3);
  const ScanReport report = Scan({{"a", {third, first}}, {"b", {}}, {"c", {second}}}, {});
  ASSERT_EQ((Chains{{"1", "2", "3"}}), ChainsOf(report));
  const SequenceReport& sequence = report.sequences[0];
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 0, 1}), sequence.date);
  EXPECT_TRUE(sequence.closedAtHead);
  EXPECT_TRUE(sequence.closedAtTail);
  EXPECT_TRUE(sequence.cameraStream);
  EXPECT_TRUE(sequence.headID == Id(1));
  EXPECT_TRUE(sequence.tailID == Id(3));
  EXPECT_EQ((Volumes{0, 2}), sequence.volumes);
  EXPECT_EQ(first, sequence.clips[0].path);
  EXPECT_EQ(0u, sequence.clips[0].volume);
  EXPECT_EQ(2u, sequence.clips[1].volume);
  EXPECT_EQ(0u, sequence.clips[2].volume);
}

TEST_F(SequenceScan, TellsWhatEachClipIs) {
  const std::string first = ChainFile(1, 2);
  const std::string plain = Put("plain", support::PlainClip(61));
  const ScanReport report = Scan({{"", {ChainFile(2, 2), first, plain}}}, {});
  ASSERT_EQ((Chains{{"1", "2"}, {"plain"}}), ChainsOf(report));
  const auto& clips = report.sequences[0].clips;
  EXPECT_TRUE(clips[0].id == Id(1));
  EXPECT_TRUE(clips[1].id == Id(2));
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 0, 2}), clips[1].date);
  EXPECT_EQ(static_cast<long long>(std::filesystem::file_size(first)), clips[0].size);
  EXPECT_TRUE(report.sequences[1].clips[0].id == _GUID{});
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 1, 1}), report.sequences[1].clips[0].date);
}

// The start of the format's time is what a camera without a clock writes.
TEST_F(SequenceScan, KnowsNoDateWhereNoneWasSet) {
  const ScanReport report =
      Scan({{"", {Put("unset", support::PlainClip(0)), Put("set", support::PlainClip(1))}}}, {});
  ASSERT_EQ((Chains{{"unset"}, {"set"}}), ChainsOf(report));
  EXPECT_EQ(std::nullopt, report.sequences[0].date);
  EXPECT_EQ(std::nullopt, report.sequences[0].clips[0].date);
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 0, 1}), report.sequences[1].date);
  EXPECT_EQ((MP4G::_tagSequenceTimedate{1904, 1, 1, 0, 0, 1}), report.sequences[1].clips[0].date);
}

TEST_F(SequenceScan, AsksBeforeEachClipWhetherToGoOn) {
  const std::vector<std::string> clips = {ChainFile(1, 2), ChainFile(2, 2),
                                          Put("plain", support::PlainClip(61))};
  using ClipOf = std::pair<std::size_t, std::size_t>;
  std::vector<ClipOf> steps;
  clipchain::ScanOptions options;
  options.progress = [&steps](const clipchain::Step& step) {
    steps.emplace_back(step.clip, step.clips);
    return true;
  };
  const std::vector<clipchain::Volume> volumes = {{"a", {clips[0]}}, {"b", {clips[1], clips[2]}}};
  const ScanReport whole = Scan(volumes, options);
  EXPECT_EQ((std::vector<ClipOf>{{0, 3}, {1, 3}, {2, 3}}), steps);
  EXPECT_FALSE(whole.stopped);
  ASSERT_EQ((Chains{{"1", "2"}, {"plain"}}), ChainsOf(whole));

  steps.clear();
  options.cards = true;
  EXPECT_EQ(2u, Scan(volumes, options).sequences.size());
  EXPECT_EQ((std::vector<ClipOf>{{0, 6}, {1, 6}, {2, 6}, {3, 6}, {4, 6}, {5, 6}}), steps);
  for (std::size_t last = 0; last < 6; ++last) {
    std::size_t asked = 0;
    options.progress = [&asked, last](const clipchain::Step& step) {
      ++asked;
      return step.clip != last;
    };
    const ScanReport part = Scan(volumes, options);
    EXPECT_TRUE(part.stopped) << last;
    EXPECT_TRUE(part.sequences.empty()) << last;
    EXPECT_EQ(last + 1, asked);
  }
}

TEST_F(SequenceScan, TellsOfAClipThatCannotBeReadOnceMore) {
  const std::vector<std::string> clips = {ChainFile(1, 2), ChainFile(2, 2)};
  clipchain::ScanOptions options;
  options.cards = true;
  options.progress = [&clips](const clipchain::Step& step) {
    if (step.clip == 2) std::filesystem::remove(clips[1]);
    return true;
  };
  const ScanReport report = Scan({{"", clips}}, options);
  EXPECT_EQ(1u, report.sequences.size());
  ASSERT_EQ(1u, report.rejected.size());
  EXPECT_EQ(clips[1], report.rejected[0].path);
  EXPECT_RESULT(E_HANDLE, report.rejected[0].result);
}

TEST_F(SequenceScan, TellsWhichEndIsOpen) {
  const ScanReport report =
      Scan({{"", {ChainFile(1, 3), ChainFile(3, 3), ChainFile(2, 3, 10)}}}, {});
  ASSERT_EQ((Chains{{"1"}, {"3"}, {"12"}}), ChainsOf(report));
  EXPECT_TRUE(report.sequences[0].closedAtHead);
  EXPECT_FALSE(report.sequences[0].closedAtTail);
  EXPECT_FALSE(report.sequences[1].closedAtHead);
  EXPECT_TRUE(report.sequences[1].closedAtTail);
  EXPECT_FALSE(report.sequences[2].closedAtHead);
  EXPECT_FALSE(report.sequences[2].closedAtTail);
}

TEST_F(SequenceScan, AClipWithoutADateHasNone) {
  support::MovieBuilder movie;
  movie.withMovieHeader = false;
  const ScanReport report = Scan({{"", {Put("undated", movie.Build())}}}, {});
  ASSERT_EQ(1u, report.sequences.size());
  EXPECT_FALSE(report.sequences[0].date.has_value());
  EXPECT_FALSE(report.sequences[0].clips[0].date.has_value());
  EXPECT_FALSE(report.sequences[0].cameraStream);
}

TEST_F(SequenceScan, GoesOnBehindWhatCannotBeRegistered) {
  const std::string bad = Put("bad", support::Text("These are notes about a clip.\n"));
  const std::string absent = (folder / "absent").string();
  const ScanReport report = Scan({{"", {bad, ChainFile(1, 1), absent}}}, {});
  EXPECT_EQ((Chains{{"1"}}), ChainsOf(report));
  ASSERT_EQ(2u, report.rejected.size());
  EXPECT_EQ(bad, report.rejected[0].path);
  EXPECT_RESULT(E_BAD_TYPE, report.rejected[0].result);
  EXPECT_EQ(absent, report.rejected[1].path);
  EXPECT_RESULT(E_HANDLE, report.rejected[1].result);
}

TEST_F(SequenceScan, VolumesCountEvenIfTheFirstOnesHoldNothing) {
  const ScanReport report = Scan({{"a", {}}, {"b", {ChainFile(1, 1)}}}, {});
  EXPECT_EQ((Volumes{1}), report.sequences.at(0).volumes);
}

TEST_F(SequenceScan, SalvagesOnlyWhenAsked) {
  const std::vector<clipchain::Volume> volumes = {
      {"", {TimedFile(1, 10, ChainLink(1, 2)), TimedFile(2, 12, ChainLink(5, 5))}}};
  EXPECT_EQ(2u, Scan(volumes, {}).sequences.size());
  ScanOptions options;
  options.salvage = true;
  const ScanReport report = Scan(volumes, options);
  EXPECT_EQ((Chains{{"1", "2"}}), ChainsOf(report));
  EXPECT_TRUE(report.joined);
  EXPECT_OK(report.salvaged);
}

TEST_F(SequenceScan, TellsThatSalvageFoundNothing) {
  const ScanReport report =
      Scan({{"", {TimedFile(1, 10, ChainLink(1, 2)), TimedFile(2, 20, ChainLink(5, 5))}}},
           {true, false});
  EXPECT_EQ(2u, report.sequences.size());
  EXPECT_FALSE(report.joined);
  EXPECT_OK(report.salvaged);
}

TEST_F(SequenceScan, TellsThatATimecodeCannotBeRead) {
  // A timecode track without samples.
  support::MovieBuilder movie;
  movie.Add(support::TimecodeTrack({}));
  const std::string damaged =
      Put("damaged", support::WithVendorBox(movie.Build(), ChainLink(1, 2)));
  const ScanReport report =
      Scan({{"", {damaged, TimedFile(2, 12, ChainLink(5, 5))}}}, {true, false});
  EXPECT_EQ(2u, report.sequences.size());
  EXPECT_RESULT(E_BAD_DATA, report.salvaged);
}

TEST_F(SequenceScan, DividesOnlyWhenAskedAndAfterSalvage) {
  const std::vector<clipchain::Volume> volumes = {{"a", {ChainFile(1, 2), ChainFile(1, 2, 10)}},
                                                  {"b", {ChainFile(2, 2), ChainFile(2, 2, 10)}}};
  EXPECT_EQ((Chains{{"1", "2"}, {"11", "12"}}), ChainsOf(Scan(volumes, {})));
  const ScanReport report = Scan(volumes, {true, true});
  EXPECT_EQ((Chains{{"1", "2"}, {"11"}, {"12"}}), ChainsOf(report));
  EXPECT_OK(report.divided);
  EXPECT_EQ((Volumes{0, 1}), report.sequences[0].volumes);
  EXPECT_EQ((Volumes{1}), report.sequences[2].volumes);
}

TEST_F(SequenceScan, GivesPathsBackByteForByte) {
  const std::string odd = Put("\xFF\xC3\xA9\xF0\x9F\x8E\xA5", support::TinyClip(ChainLink(1, 1)));
  EXPECT_EQ(odd, Scan({{"", {odd}}}, {}).sequences.at(0).clips.at(0).path);
}
