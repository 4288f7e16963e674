// The boxes of configuration and of fragments, as real encoders and muxers write them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "box/avc_configuration.h"
#include "support/box_checks.h"
#include "support/box_io.h"
#include "support/temp_dir.h"

namespace {

using support::Bytes;
using support::FixAndWrite;
using support::MakeBox;
using support::ParseBox;

struct Found {
  std::string type;
  Bytes bytes;
};

// Bytes in front of the first child of the boxes that are looked into.
const std::map<std::string, std::size_t> kParents = {{"moov", 8},  {"trak", 8},  {"mdia", 8},
                                                     {"minf", 8},  {"stbl", 8},  {"stsd", 16},
                                                     {"avc1", 86}, {"mp4v", 86}, {"mp4a", 36}};
const std::vector<std::string> kWanted = {"avcC", "esds", "mvcC", "mvex", "moof", "mfra"};

// Collects the wanted boxes between two offsets; 64-bit sizes and boxes that run over are passed
// by.
void Collect(const Bytes& file, std::size_t from, std::size_t end, std::vector<Found>& found) {
  while (from + 8 <= end) {
    std::size_t size = support::ReadU32(file, from);
    const std::string type(file.begin() + static_cast<std::ptrdiff_t>(from) + 4,
                           file.begin() + static_cast<std::ptrdiff_t>(from) + 8);
    if (size == 1 && from + 16 <= end) size = support::ReadU64(file, from + 8);
    if (size < 8 || size > end - from) return;
    const auto parent = kParents.find(type);
    if (std::find(kWanted.begin(), kWanted.end(), type) != kWanted.end())
      found.push_back({type, Bytes(file.data() + from, file.data() + from + size)});
    else if (parent != kParents.end() && parent->second <= size)
      Collect(file, from + parent->second, from + size, found);
    from += size;
  }
}

std::vector<Found> CollectFrom(const std::filesystem::path& folder) {
  std::vector<Found> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    const Bytes file = support::ReadFile(entry.path());
    Collect(file, 0, file.size(), found);
  }
  return found;
}

bool HasExtension(unsigned char profile) {
  return profile == 100 || profile == 110 || profile == 122 || profile == 144;
}

// "mehd" is written in the narrow form where the duration allows it.
Bytes WithNarrowDuration(Bytes mvex) {
  const bool wide = support::FindBox(mvex, "mehd") == 8 && mvex.at(16) == 1;
  if (!wide || support::ReadU32(mvex, 20) != 0) return mvex;
  mvex = support::WithU32(mvex, 0, support::ReadU32(mvex, 0) - 4);
  mvex = support::WithU32(mvex, 8, 16);
  mvex[16] = 0;
  mvex.erase(mvex.begin() + 20, mvex.begin() + 24);
  return mvex;
}

// What a round trip leaves of a box: all of it, but for what its class says it drops.
Bytes Expected(const Found& box, unsigned int dropped) {
  if (box.type == "moof" || box.type == "mfra")
    EXPECT_EQ(box.bytes.size() - 8, dropped);
  else if (box.type == "avcC" && !HasExtension(box.bytes.at(9)))
    EXPECT_LE(dropped, 4u);
  else
    EXPECT_EQ(0u, dropped);
  Bytes expected = box.type == "mvex" ? WithNarrowDuration(box.bytes) : box.bytes;
  std::fill(expected.end() - static_cast<std::ptrdiff_t>(dropped), expected.end(),
            static_cast<unsigned char>(0));
  return expected;
}

// How many boxes of each type came back as they were expected to.
std::map<std::string, int> CheckAll(const std::vector<Found>& boxes) {
  std::map<std::string, int> checked;
  for (const Found& box : boxes) {
    SCOPED_TRACE(box.type + " " + support::HexDump(box.bytes).substr(0, 600));
    const auto parsed = MakeBox(box.type);
    if (box.bytes.size() < 15) {
      EXPECT_RESULT(S_FALSE, ParseBox(*parsed, box.bytes)) << "an empty configuration";
      continue;
    }
    EXPECT_OK(ParseBox(*parsed, box.bytes));
    EXPECT_EQ(Expected(box, parsed->restSize), FixAndWrite(*parsed));
    ++checked[box.type];
  }
  return checked;
}

TEST(RealBoxes, TheExampleClipsKeepTheirConfigurations) {
  const auto checked = CheckAll(CollectFrom(support::SourcePath("examples/clips")));
  EXPECT_EQ((std::map<std::string, int>{{"avcC", 3}, {"esds", 3}}), checked);
}

TEST(RealBoxes, FilesOfManyMakersKeepTheirConfigurations) {
  if (support::RealMedia().empty()) GTEST_SKIP() << "no folder of real media beside the sources";
  auto checked = CheckAll(CollectFrom(support::RealMedia() / "clips"));
  EXPECT_GT(checked["avcC"], 20);
  EXPECT_GT(checked["esds"], 20);
  EXPECT_GT(checked["mvex"], 3);
  EXPECT_GT(checked["moof"], 3);
}

}  // namespace
