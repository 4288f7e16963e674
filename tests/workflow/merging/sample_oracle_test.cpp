#include "workflow/merging/sample_oracle.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "support/clip_shapes.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/table_bytes.h"
#include "support/temp_dir.h"
#include "workflow/system/files.h"

using namespace clipchain;
using support::Bytes;
using support::FindBox;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class SampleOracle : public testing::Test {
 protected:
  std::string Put(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return folder / name;
  }
  void Clips(const std::vector<Bytes>& clips) {
    inputs.clear();
    for (const Bytes& clip : clips)
      inputs.push_back(Put("clip" + std::to_string(inputs.size()), clip));
  }
  // What the engine makes of the clips.
  Bytes Merge(const std::vector<Bytes>& clips) {
    Clips(clips);
    QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
    EXPECT_OK(
        MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
    const std::string output = folder / "merged";
    EXPECT_OK(merge->SetOutputPath(Wide(output).c_str()));
    for (const std::string& input : inputs) EXPECT_OK(merge->InputMp4File(Wide(input).c_str()));
    EXPECT_OK(merge->Finalize());
    return support::ReadFile(output);
  }
  Bytes MergeTwo() { return Merge({support::Clip(30, 1).Build(), support::Clip(25, 7).Build()}); }

  Findings Look(const Bytes& merged, bool everyByte = true) {
    const std::string path = Put("looked at", merged);
    const int file = ::open(path.c_str(), O_RDONLY);
    const Findings found =
        CompareSamples({inputs, "out.mp4", file, everyByte, alone ? nullptr : &intended, progress});
    ::close(file);
    return found;
  }

  void ExpectFinding(const Bytes& merged, Message message, const std::string& box,
                     const std::string& words) {
    const Findings found = Look(merged);
    ASSERT_FALSE(found.empty()) << words;
    EXPECT_EQ(MessageName(message), MessageName(found[0].message)) << found[0].text;
    EXPECT_EQ("out.mp4", found[0].path);
    EXPECT_THAT(found[0].box, HasSubstr(box)) << found[0].text;
    EXPECT_THAT(found[0].text, HasSubstr(words));
  }
  static Bytes Flipped(Bytes bytes, std::size_t at) {
    bytes.at(at) ^= 0x10;
    return bytes;
  }

  support::TempDir folder;
  std::vector<std::string> inputs;
  Intended intended;
  bool alone = false;
  Progress progress;
};

// Which box each byte of a movie belongs to, with its offset in that box.
std::map<std::size_t, std::string> Leaves(const Bytes& bytes, std::size_t begin, std::size_t end,
                                          const std::string& place) {
  static const std::set<std::string> kParents = {"moov", "trak", "mdia", "minf", "stbl", "edts"};
  std::map<std::size_t, std::string> leaves;
  for (std::size_t at = begin; at + 8 <= end;) {
    const std::size_t size = support::ReadU32(bytes, at);
    const std::string type(bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
    const std::string path = place + "/" + type;
    for (std::size_t i = 0; i < 8; ++i) leaves[at + i] = path;
    if (kParents.count(type) != 0) {
      leaves.merge(Leaves(bytes, at + 8, at + size, path));
    } else {
      for (std::size_t i = 8; i < size; ++i) leaves[at + i] = path;
    }
    at += size;
  }
  return leaves;
}

std::string Words(const Findings& findings) {
  std::string words;
  for (const Finding& finding : findings) words += finding.box + ": " + finding.text + "\n";
  return words;
}

}  // namespace

TEST_F(SampleOracle, FindsNothingInWhatTheEngineMakes) {
  const Bytes merged = MergeTwo();
  EXPECT_EQ("", Words(Look(merged)));
  EXPECT_EQ("", Words(Look(merged, false)));
  alone = true;
  EXPECT_EQ("", Words(Look(merged)));
}

TEST_F(SampleOracle, FindsNothingInManyForms) {
  for (const support::ClipShape& shape : support::ClipShapes()) {
    // An edit list that cuts, and what no movie should have: the engine carries it.
    alone = shape.name == "reordered" || shape.name == "two_descriptions";
    const Bytes merged = Merge({shape.bytes, shape.bytes});
    EXPECT_EQ("", Words(Look(merged))) << shape.name;
  }
}

// Passed over are times of modification, the next track's identifier, and the last bits of a
// duration, which is no more exact than a tick of the movie.
TEST_F(SampleOracle, FindsEveryByteOfTheMovieThatChanged) {
  const Bytes merged = Merge({support::Clip(7, 1).Build(), support::Clip(5, 7).Build()});
  const std::size_t movie = FindBox(merged, "moov");
  std::map<std::string, int> missed;
  for (const auto& [at, place] : Leaves(merged, movie, merged.size(), "")) {
    if (Look(Flipped(merged, at), false).empty()) ++missed[place];
  }
  const std::map<std::string, int> expected = {
      {"/moov/mvhd", 8}, {"/moov/trak/mdia/mdhd", 10}, {"/moov/trak/tkhd", 8}};
  EXPECT_EQ(expected, missed);
}
