#include "adapt/boxes/sample_groups.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Hex;
using support::Text;
using support::U16;
using support::U32;

Bytes Rolls(const std::vector<std::uint16_t>& distances) {
  Bytes entries;
  for (const std::uint16_t distance : distances) entries = entries + U16(distance);
  return FullBox(
      "sgpd", 1, 0,
      {Text("roll"), U32(2), U32(static_cast<std::uint32_t>(distances.size())), entries});
}

Bytes Groups(const std::vector<GroupRun>& runs, const char* type = "roll") {
  Bytes entries;
  for (const GroupRun& run : runs) entries = entries + U32(run.count) + U32(run.index);
  return FullBox("sbgp", 0, 0, {Text(type), U32(static_cast<std::uint32_t>(runs.size())), entries});
}

RawBox TableOf(std::initializer_list<Bytes> boxes) {
  Bytes all;
  for (const Bytes& box : boxes) all = all + box;
  return RawBoxOf(Box("stbl", {all}));
}

RawBox FragmentOf(std::initializer_list<Bytes> boxes) {
  Bytes all;
  for (const Bytes& box : boxes) all = all + box;
  return RawBoxOf(Box("traf", {all}));
}

// The bytes of what is written.
Bytes Joined(const SampleGroups& groups) {
  RawBox table;
  table.type = FourCc("stbl");
  groups.Write(table);
  Bytes bytes;
  for (const RawBox& box : table.children) box.Write(bytes);
  return bytes;
}

// Widths of 4, 8, 16 and 32 bits have the codes 0 to 3; patterns, their lengths, what they hold.
TEST(SampleGroups, CompactTablesAreSpelledOut) {
  const Bytes plain = FullBox("csgp", 0, 0x15, {Text("roll"), U32(2), Hex("02 05 01 03 01 00 02")});
  const Bytes wide =
      FullBox("csgp", 0, 0x3F, {Text("roll"), U32(1), U32(2), U32(5), U32(1), U32(0)});
  const Bytes halves = FullBox("csgp", 0, 0, {Text("roll"), U32(2), Hex("25 13 10 20")});
  const Bytes same = Rolls({7, 8}) + Groups({{1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 1}, {3, 2}});
  for (const Bytes& compact : {plain, halves}) {
    SampleGroups groups;
    groups.Append(TableOf({Rolls({7, 8}), compact}), 8);
    EXPECT_TRUE(groups.LeftOut().empty());
    EXPECT_EQ(Joined(groups), same);
  }
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7, 8}), wide}), 8);
  EXPECT_EQ(Joined(groups),
            Rolls({7, 8}) + Groups({{1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 1}, {3, 0}}));
}

TEST(SampleGroups, CompactTablesOfFragmentsMarkTheirOwnDescriptions) {
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7})}), 0);
  groups.AppendFragment(
      FragmentOf(
          {Rolls({9}), FullBox("csgp", 0, 0x95, {Text("roll"), U32(2), Hex("01 02 01 03 81 01")})}),
      5);
  EXPECT_EQ(Joined(groups), Rolls({7, 9}) + Groups({{2, 2}, {3, 1}}));
}

TEST(SampleGroups, CompactTablesThatGoOnForeverAreLeftOut) {
  for (const Bytes& table :
       {FullBox("csgp", 0, 0x3F, {Text("roll"), U32(1), U32(2), U32(0xFFFFFFFF), U32(1), U32(0)}),
        FullBox("csgp", 0, 0x3F, {Text("roll"), U32(1), U32(0xFFFFFFFF), U32(5), U32(1)}),
        FullBox("csgp", 0, 0x3F, {Text("roll"), U32(9), U32(1), U32(5), U32(1)}),
        FullBox("csgp", 1, 0x15, {Text("roll"), U32(0)})}) {
    SampleGroups groups;
    groups.Append(TableOf({Rolls({7}), table}), 0xFFFFFFFF);
    EXPECT_EQ(groups.LeftOut().size(), 1u);
  }
}

TEST(SampleGroups, EqualDescriptionsAreKeptAndRunsAppended) {
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7}), Groups({{10, 1}})}), 10);
  groups.Append(TableOf({Rolls({7}), Groups({{4, 1}, {2, 0}})}), 8);
  EXPECT_EQ(Joined(groups), Rolls({7}) + Groups({{14, 1}, {4, 0}}));
}

TEST(SampleGroups, OtherDescriptionsAreAppendedAndTheirIndexesMoved) {
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7, 8}), Groups({{2, 1}, {1, 2}})}), 3);
  groups.Append(TableOf({Rolls({9, 7}), Groups({{1, 1}, {1, 2}})}), 2);
  EXPECT_EQ(Joined(groups), Rolls({7, 8, 9}) + Groups({{2, 1}, {1, 2}, {1, 3}, {1, 1}}));
}

TEST(SampleGroups, APartWithoutGroupsHasNone) {
  SampleGroups groups;
  groups.Append(TableOf({}), 5);
  groups.Append(TableOf({Rolls({7}), Groups({{3, 1}})}), 3);
  groups.Append(TableOf({}), 5);
  EXPECT_EQ(Joined(groups), Rolls({7}) + Groups({{5, 0}, {3, 1}, {5, 0}}));
}

TEST(SampleGroups, TablesOfOneTypeDifferByTheirParameter) {
  const auto withParameter = [](std::uint32_t parameter, std::uint32_t count) {
    return FullBox("sbgp", 1, 0, {Text("roll"), U32(parameter), U32(1), U32(count), U32(1)});
  };
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7}), withParameter(5, 2), withParameter(6, 1)}), 2);
  groups.Append(TableOf({Rolls({7}), withParameter(6, 2)}), 2);
  EXPECT_EQ(
      Joined(groups),
      Rolls({7}) +
          FullBox("sbgp", 1, 0, {Text("roll"), U32(5), U32(2), U32(2), U32(1), U32(2), U32(0)}) +
          FullBox("sbgp", 1, 0,
                  {Text("roll"), U32(6), U32(3), U32(1), U32(1), U32(1), U32(0), U32(2), U32(1)}));
}

TEST(SampleGroups, LengthsOfTheirOwnAndDefaultsAreKept) {
  const auto described = [](std::uint32_t defaultIndex, const Bytes& entry) {
    return FullBox("sgpd", 2, 0,
                   {Text("abcd"), U32(0), U32(defaultIndex), U32(1),
                    U32(static_cast<std::uint32_t>(entry.size())), entry});
  };
  SampleGroups groups;
  groups.Append(TableOf({described(1, Hex("01"))}), 2);
  groups.Append(TableOf({described(0, Hex("02 03")), Groups({{1, 1}}, "abcd")}), 2);
  EXPECT_EQ(Joined(groups), FullBox("sgpd", 2, 0,
                                    {Text("abcd"), U32(0), U32(1), U32(2), U32(1), Hex("01"),
                                     U32(2), Hex("02 03")}) +
                                Groups({{2, 1}, {1, 2}, {1, 0}}, "abcd"));
}

TEST(SampleGroups, DescriptionsWithoutALengthAreJoinedWhereTheyAreEqual) {
  const Bytes plain = FullBox("sgpd", 0, 0, {Text("abcd"), U32(2), Hex("01 02 03")});
  const Bytes other = FullBox("sgpd", 0, 0, {Text("abcd"), U32(2), Hex("01 02 04")});
  SampleGroups groups;
  groups.Append(TableOf({plain, Groups({{1, 2}}, "abcd")}), 1);
  groups.Append(TableOf({plain, Groups({{1, 1}}, "abcd")}), 1);
  EXPECT_EQ(Joined(groups), plain + Groups({{1, 2}, {1, 1}}, "abcd"));
  groups.Append(TableOf({other, Groups({{1, 1}}, "abcd")}), 1);
  EXPECT_EQ(groups.LeftOut(), std::set<unsigned int>{FourCc("abcd")});
  EXPECT_EQ(Joined(groups), Bytes());
}

TEST(SampleGroups, AFragmentSpeaksOfTheMoviesDescriptionsAndOfItsOwn) {
  SampleGroups groups;
  groups.Append(TableOf({Rolls({7})}), 0);
  groups.AppendFragment(FragmentOf({Groups({{2, 1}})}), 3);
  groups.AppendFragment(FragmentOf({Rolls({8, 7}), Groups({{1, 0x10001}, {1, 0x10002}})}), 2);
  EXPECT_EQ(Joined(groups), Rolls({7, 8}) + Groups({{2, 1}, {1, 0}, {1, 2}, {1, 1}}));
  groups.AppendFragment(FragmentOf({Groups({{1, 2}})}), 1);
  EXPECT_EQ(groups.LeftOut(), std::set<unsigned int>{FourCc("roll")});
}

TEST(SampleGroups, MoreKindsThanAnyFileHasAreLeftOut) {
  Bytes boxes;
  for (std::uint32_t i = 0; i < 65; ++i) {
    boxes = boxes + FullBox("sgpd", 1, 0, {U32(i + 1), U32(1), U32(1), Hex("01")});
  }
  SampleGroups groups;
  groups.Append(TableOf({boxes}), 1);
  EXPECT_EQ(groups.LeftOut(), std::set<unsigned int>{65});
  Bytes parameters = Rolls({7});
  for (std::uint32_t i = 0; i < 65; ++i) {
    parameters = parameters + FullBox("sbgp", 1, 0, {Text("roll"), U32(i), U32(0)});
  }
  SampleGroups other;
  other.Append(TableOf({parameters}), 1);
  EXPECT_EQ(other.LeftOut(), std::set<unsigned int>{FourCc("roll")});
}

TEST(SampleGroups, TablesThatSpeakOfWhatIsNotThereAreLeftOut) {
  for (const Bytes& wrong :
       {Rolls({7}) + Groups({{4, 1}}), Rolls({7}) + Groups({{1, 2}}), Groups({{1, 1}}),
        Rolls({7}) + Groups({{3, 1}}) + Groups({{3, 1}}), Rolls({7}) + Rolls({7}),
        FullBox("sgpd", 1, 0, {Text("roll"), U32(2), U32(9), U16(1)}),
        FullBox("sgpd", 1, 0, {Text("roll"), U32(0), U32(0xFFFFFFFF)}),
        FullBox("sgpd", 3, 0, {Text("roll"), U32(0), U32(0)}),
        Rolls({7}) + FullBox("sbgp", 0, 0, {Text("roll"), U32(2), U32(1), U32(1)})}) {
    SampleGroups groups;
    groups.Append(TableOf({wrong}), 3);
    EXPECT_EQ(groups.LeftOut(), std::set<unsigned int>{FourCc("roll")});
    groups.Append(TableOf({Rolls({7}), Groups({{3, 1}})}), 3);
    EXPECT_EQ(Joined(groups), Bytes());
  }
}

}  // namespace
}  // namespace clipchain
