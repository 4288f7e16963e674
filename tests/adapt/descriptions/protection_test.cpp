#include "adapt/descriptions/protection.h"
#include "adapt/boxes/tracks.h"

#include <gtest/gtest.h>

#include "adapt/boxes/protection_boxes.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/clips/memory_budget.h"
#include "adapt/protected_boxes.h"
#include "adapt/tables/fragmented_movie.h"
#include "foundation/fourcc.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Text;
using support::U16;
using support::U32;
using support::U64;
using support::U8;

// Three samples in chunks of one, of these descriptions.
Bytes ThreeSamples(const std::vector<std::uint32_t>& descriptions, const Bytes& others) {
  Bytes runs;
  for (std::uint32_t i = 0; i < 3; ++i) runs = runs + U32(i + 1) + U32(1) + U32(descriptions[i]);
  return FullBox("stts", 0, 0, {U32(1), U32(3), U32(40)}) + FullBox("stsc", 0, 0, {U32(3), runs}) +
         FullBox("stsz", 0, 0, {U32(1), U32(3)}) +
         FullBox("stco", 0, 0, {U32(3), U32(100), U32(101), U32(102)}) + others;
}

Bytes OfOneKind(const Bytes& others) { return ThreeSamples({1, 1, 1}, others); }

class ProtectionTest : public testing::Test {
 protected:
  void Add(const RawBox& movie) {
    Bytes file = Box("ftyp", {Text("isom"), U32(0)}) + Box("mdat", {Bytes(2000, 7)});
    movie.Write(file);
    const std::string path = dir_ / ("clip" + std::to_string(clips_.size()));
    support::WriteFile(path, file);
    ASSERT_TRUE(clips_.emplace_back(path).Open(clips_.size() - 1, report_, memory_));
  }
  void Adapt() {
    for (std::size_t i = 0; i < clips_.size(); ++i) AdaptProtection(clips_[i], i, report_);
    joined_ = MakeJoinedProtection();
    joined_->Adapt(clips_, report_);
    result_ = clips_.front().movie;
    joined_->Complete(result_);
  }
  // Why a clip with that scheme and these boxes is refused.
  std::string Refusal(const Bytes& others, const Bytes& entry = ProtectedEntry(8)) {
    clips_.clear();
    report_ = {};
    Add(ProtectedMovie({entry}, OfOneKind(others)));
    Adapt();
    return report_.problems.empty() ? "" : report_.problems[0].text;
  }
  Bytes InTable(unsigned int type) const {
    const RawBox* box = SampleTable(*TracksOf(result_)[0])->Child(type);
    return box != nullptr ? box->data : Bytes();
  }
  Bytes InTrack(unsigned int type) const {
    const RawBox* box = TracksOf(result_)[0]->Child(type);
    return box != nullptr ? box->data : Bytes();
  }

  support::TempDir dir_;
  MemoryBudget memory_;
  FitClips clips_;
  FitReport report_;
  std::unique_ptr<Adaptation> joined_;
  RawBox result_;
};

const Bytes kThreeVectors = U64(1) + U64(2) + U64(3);

TEST_F(ProtectionTest, WhatIsToldOfSamplesIsThatOfAllClips) {
  Add(ProtectedMovie({ProtectedEntry(8)}, OfOneKind(ToldBytes(3, kThreeVectors))));
  Add(ProtectedMovie({ProtectedEntry(8)}, OfOneKind(ToldSizes({8, 8, 8})),
                     ToldBytes(3, U64(4) + U64(5) + U64(6))));
  Adapt();
  EXPECT_TRUE(report_.problems.empty());
  EXPECT_EQ(report_.notes.size(), 2u);
  EXPECT_EQ(InTable(FourCc("saiz")), U32(0) + U8(8) + U32(6));
  EXPECT_EQ(InTable(FourCc("saio")), U32(1 << 24) + U32(1) + U64(0));
  EXPECT_EQ(InTable(FourCc("senc")), Bytes());
  EXPECT_EQ(InTrack(FourCc("senc")), U32(0) + U32(6) + kThreeVectors + U64(4) + U64(5) + U64(6));
}

TEST_F(ProtectionTest, ItLiesWhereTheTableSays) {
  const auto places = [](const Bytes& offsets, std::uint32_t count) {
    return FullBox("saiz", 0, 1, {Text("cenc"), U32(0), U8(8), U32(3)}) +
           FullBox("saio", 0, 1, {Text("cenc"), U32(0), U32(count), offsets});
  };
  for (const Bytes& told : {places(U32(500), 1), places(U32(500) + U32(600) + U32(700), 3)}) {
    EXPECT_EQ(Refusal(told), "");
    EXPECT_EQ(InTrack(FourCc("senc")), U32(0) + U32(3) + Bytes(24, 7));
  }
}

TEST_F(ProtectionTest, SamplesInTheClearHaveNothing) {
  const std::vector<Bytes> entries = {ProtectedEntry(8), ClearEntry()};
  const Bytes parts = U64(9) + U16(1) + U16(5) + U32(6);
  Add(ProtectedMovie(entries, ThreeSamples({1, 1, 1}, ToldBytes(3, parts + parts + parts, 2))));
  Add(ProtectedMovie(entries,
                     ThreeSamples({2, 2, 1}, ToldSizes({0, 0, 16}) + ToldBytes(1, parts, 2))));
  Add(ProtectedMovie(entries, ThreeSamples({2, 2, 2}, {})));
  Adapt();
  EXPECT_TRUE(report_.problems.empty());
  EXPECT_EQ(InTable(FourCc("saiz")),
            U32(0) + U8(0) + U32(9) + (Bytes{16, 16, 16, 0, 0, 16, 0, 0, 0}));
  EXPECT_EQ(InTrack(FourCc("senc")), U32(2) + U32(9) + parts + parts + parts + parts);
}

TEST_F(ProtectionTest, ConstantVectorsNeedNothing) {
  Add(ProtectedMovie({ProtectedEntry(0, "cbcs")}, OfOneKind({})));
  Add(ProtectedMovie({ProtectedEntry(0, "cbcs")}, OfOneKind({})));
  Adapt();
  EXPECT_TRUE(report_.problems.empty() && report_.notes.empty());
  EXPECT_EQ(InTrack(FourCc("senc")), Bytes());
}

TEST_F(ProtectionTest, ProtectedSamplesOfWhichNothingIsToldAreRefusedBesideOthers) {
  Add(ProtectedMovie({ProtectedEntry(8)}, OfOneKind(ToldBytes(3, kThreeVectors))));
  Add(ProtectedMovie({ProtectedEntry(8)}, OfOneKind({})));
  Adapt();
  ASSERT_EQ(report_.problems.size(), 1u);
  EXPECT_EQ(report_.problems[0].clip, 1u);
  EXPECT_TRUE(report_.Refused());
}

TEST_F(ProtectionTest, WhatCannotBeCarriedIsRefused) {
  const auto expect = [this](const Bytes& others, const std::string& words) {
    const std::string why = Refusal(others);
    EXPECT_NE(why.find(words), std::string::npos) << words << ": " << why;
  };
  const Bytes other = FullBox("saiz", 0, 1, {Text("abcd"), U32(0), U8(8), U32(3)});
  expect(other + FullBox("saio", 0, 0, {U32(1), U32(9)}), "of the kind \"abcd\"");
  expect(ToldSizes({8, 8, 8}), "lack \"saio\"");
  expect(FullBox("saio", 0, 0, {U32(1), U32(9)}), "lack \"saiz\"");
  expect(ToldSizes({8, 8, 8, 8}) + ToldBytes(3, kThreeVectors), "more samples");
  expect(ToldSizes({8, 8, 8}) + FullBox("saio", 0, 0, {U32(1), U32(1 << 20)}), "does not have");
  expect(ToldSizes({8, 8, 8}) + FullBox("saio", 0, 0, {U32(2), U32(9), U32(9)}), "other numbers");
  expect(
      ToldSizes({8, 8, 8}) + FullBox("saio", 0, 0, {U32(1), U32(9)}) + ToldBytes(3, kThreeVectors),
      "where \"saio\" says");
  expect(ToldSizes({8, 8, 7}) + ToldBytes(3, kThreeVectors), "than \"saiz\" says");
  expect(ToldBytes(3, kThreeVectors) + ToldBytes(3, kThreeVectors), "twice");
  expect(ToldBytes(3, kThreeVectors, 1), "not known");
  expect(ToldBytes(4, kThreeVectors + U64(4)), "more samples");
  expect(ToldBytes(3, U64(1)), "end too early");
  expect(ToldSizes({8, 8, 16}) + FullBox("saio", 0, 0, {U32(1), U32(500)}), "beside others");
  EXPECT_NE(Refusal(ToldBytes(3, kThreeVectors), ClearEntry()).find("not protected"),
            std::string::npos);
}

// Version 1, entries of 20 bytes.
Bytes KeyGroup(unsigned char isProtected, unsigned char vectorSize) {
  return FullBox("sgpd", 1, 0,
                 {Text("seig"), U32(20), U32(1), Bytes{0, 0, isProtected, vectorSize},
                  Text("another key's id")});
}

TEST_F(ProtectionTest, WhoReadsSencAloneFindsTheSame) {
  const Bytes sizes = ToldSizes({8, 0, 8});
  const Bytes clear = KeyGroup(0, 0);
  const Bytes two = U64(1) + U64(2);
  EXPECT_EQ(Refusal(sizes + clear + ToldBytes(2, two)), "");
  EXPECT_EQ(Refusal(sizes + clear + ToldBytes(3, two)), "");
  const auto expect = [&](const Bytes& told, const std::string& words) {
    const std::string why = Refusal(sizes + clear + told);
    EXPECT_NE(why.find(words), std::string::npos) << words << ": " << why;
  };
  expect(ToldBytes(1, two), "fewer samples");
  expect(ToldBytes(0, two), "fewer samples");
  expect(ToldBytes(4, two), "more samples");
  expect(ToldBytes(0xFFFFFFFF, two), "more samples");
  // The first has one part, the second has none, and says so; the sizes are those of no parts.
  const Bytes parts = U64(1) + U16(1) + U16(5) + U32(6);
  EXPECT_EQ(Refusal(ToldSizes({16, 0, 0}) + clear + ToldBytes(1, parts, 2)), "");
  expect(ToldBytes(2, parts, 2), "end too early");
  EXPECT_NE(Refusal(ToldSizes({8, 8, 0}) + clear + ToldBytes(2, parts, 2)), "");
  EXPECT_NE(Refusal(ToldSizes({16, 0, 0}) + clear + ToldBytes(1, parts)), "");
}

TEST_F(ProtectionTest, BoxesOfAUsersTypeThatSayItAreRefused) {
  const Bytes type = {0xA2, 0x39, 0x4F, 0x52, 0x5A, 0x9B, 0x4F, 0x14,
                      0xA2, 0x44, 0x6C, 0x42, 0x7C, 0x64, 0x8D, 0xF4};
  const Bytes told = Box("uuid", {type, U32(0), U32(3), kThreeVectors});
  for (const bool isInTrack : {false, true}) {
    clips_.clear();
    report_ = {};
    Add(ProtectedMovie({ProtectedEntry(8)}, OfOneKind(isInTrack ? Bytes() : told),
                       isInTrack ? told : Bytes()));
    Adapt();
    ASSERT_EQ(report_.problems.size(), 1u);
    EXPECT_NE(report_.problems[0].text.find("a user's type"), std::string::npos);
  }
  EXPECT_EQ(Refusal(Box("uuid", {Bytes(16, 1), U32(0)})), "");
}

// The movie box is small, and says that much of the file belongs to it.
TEST_F(ProtectionTest, WhatLiesInTheMediaCountsAsMemory) {
  const RawBox movie =
      ProtectedMovie({ProtectedEntry(8)}, OfOneKind(FullBox("saiz", 0, 0, {U8(200), U32(3)}) +
                                                    FullBox("saio", 0, 0, {U32(1), U32(500)})));
  Add(movie);
  const std::uint64_t before = clips_[0].Memory();
  AdaptProtection(clips_[0], 0, report_);
  EXPECT_GE(clips_[0].Memory(), before + 600);
  EXPECT_FALSE(clips_[0].LacksMemory());
  MemoryBudget small(before + 600);
  FitClip lacking(clips_[0].Path());
  ASSERT_TRUE(lacking.Open(0, report_, small));
  report_ = {};
  AdaptProtection(lacking, 0, report_);
  EXPECT_TRUE(lacking.LacksMemory() && report_.problems.empty());
}

TEST_F(ProtectionTest, GroupsMayHaveKeysButNoVectorsOfAnotherSize) {
  EXPECT_EQ(Refusal(ToldBytes(3, kThreeVectors) + KeyGroup(1, 8)), "");
  EXPECT_EQ(Refusal(ToldSizes({8, 0, 8}) + ToldBytes(3, U64(1) + U64(2)) + KeyGroup(0, 0)), "");
  EXPECT_NE(Refusal(ToldBytes(3, kThreeVectors) + KeyGroup(1, 16)), "");
  EXPECT_NE(Refusal(ToldSizes({8, 8, 16}) + ToldBytes(3, kThreeVectors + U64(4)) + KeyGroup(1, 16)),
            "");
}

Bytes System(std::uint32_t what) { return FullBox("pssh", 0, 0, {support::Zeros(16), U32(what)}); }

TEST_F(ProtectionTest, SystemsOfAllClipsAreToldOnce) {
  for (const std::vector<std::uint32_t>& systems : {std::vector<std::uint32_t>{1, 1}, {1, 2, 2}}) {
    RawBox movie = ProtectedMovie({ClearEntry()}, OfOneKind({}));
    for (const std::uint32_t system : systems) movie.children.push_back(RawBoxOf(System(system)));
    Add(movie);
  }
  Adapt();
  std::vector<Bytes> found;
  for (const RawBox& box : result_.children)
    if (box.type == FourCc("pssh")) found.push_back(box.data);
  const Bytes first = RawBoxOf(System(1)).data;
  EXPECT_EQ(found, (std::vector<Bytes>{first, first, RawBoxOf(System(2)).data}));
  EXPECT_EQ(report_.notes.size(), 1u);
}

TEST(FragmentedProtection, FragmentsTellOfTheirOwnSamples) {
  FragmentedMovie reading(ProtectedMovie({ProtectedEntry(8), ClearEntry()}, NoTables()),
                          {{1000, 8000}});
  ASSERT_TRUE(reading.Begin());
  const Bytes run = FullBox("trun", 0, 0x201, {U32(2), U32(500), U32(5), U32(6)});
  const Bytes clear = FullBox("tfhd", 0, 0x2000A, {U32(1), U32(2), U32(40)});
  const Bytes header = FullBox("tfhd", 0, 0x20008, {U32(1), U32(40)});
  ASSERT_TRUE(reading.Add(Fragment({clear + run}), 500));
  ASSERT_TRUE(reading.Add(Fragment({header + run + ToldBytes(2, U64(1) + U64(2))}), 500));
  RawBox third = Fragment({header + run + ToldSizes({8, 8}) + ToldBytes(2, U64(3) + U64(4))});
  third.children.push_back(RawBoxOf(System(5)));
  ASSERT_TRUE(reading.Add(third, 500));
  ASSERT_TRUE(reading.Add(third, 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  const RawBox& track = *TracksOf(*movie)[0];
  EXPECT_EQ(SampleTable(track)->Child(FourCc("saiz"))->data,
            U32(0) + U8(0) + U32(8) + (Bytes{0, 0, 8, 8, 8, 8, 8, 8}));
  const Bytes told = track.Child(FourCc("senc"))->data;
  EXPECT_EQ(Bytes(told.begin() + 8, told.end()),
            U64(1) + U64(2) + U64(3) + U64(4) + U64(3) + U64(4));
  EXPECT_EQ(movie->children.back().data, RawBoxOf(System(5)).data);
  EXPECT_TRUE(reading.LeftOut().empty());
}

// Offsets count from where those of the runs do.
TEST(FragmentedProtection, FragmentsTellItAtTheirPlaces) {
  const Bytes run = FullBox("trun", 0, 0x201, {U32(1), U32(500), U32(5)});
  const auto told = [&](std::uint32_t at) {
    return Fragment({FullBox("tfhd", 0, 0x20008, {U32(1), U32(40)}) + run + ToldSizes({8}) +
                     FullBox("saio", 0, 0, {U32(1), U32(at)})});
  };
  FragmentedMovie reading(ProtectedMovie({ProtectedEntry(8)}, NoTables()), {{1000, 8000}},
                          [](std::uint64_t position, std::uint64_t size) {
                            return position == 1200 ? Bytes(size, 9) : Bytes();
                          });
  ASSERT_TRUE(reading.Begin());
  // The type and the count of runs of the fragment itself.
  ASSERT_TRUE(reading.Add(told(8), 500));
  ASSERT_TRUE(reading.Add(told(700), 500));
  EXPECT_FALSE(reading.Add(told(800), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kFragmented);
}

// A fragment has no more bytes for its samples than it is long, however often they are named.
TEST(FragmentedProtection, BytesOfFragmentsAreToldAboutOnce) {
  const Bytes run = FullBox("trun", 0, 0x201, {U32(1), U32(500), U32(5)});
  const auto told = [&](std::uint32_t times) {
    Bytes runs;
    Bytes places;
    for (std::uint32_t i = 0; i < times; ++i) {
      runs = runs + run;
      places = places + U32(0);
    }
    return Fragment({FullBox("tfhd", 0, 0x20008, {U32(1), U32(40)}) + runs +
                     FullBox("saiz", 0, 0, {U8(100), U32(times)}) +
                     FullBox("saio", 0, 0, {U32(times), places})});
  };
  for (const std::uint32_t times : {1u, 8u}) {
    FragmentedMovie reading(ProtectedMovie({ProtectedEntry(8)}, NoTables()), {{1000, 8000}});
    ASSERT_TRUE(reading.Begin());
    EXPECT_EQ(reading.Add(told(times), 500), times == 1);
  }
}

}  // namespace
}  // namespace clipchain
