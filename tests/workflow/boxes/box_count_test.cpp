#include "workflow/boxes/box_count.h"

#include <gtest/gtest.h>

#include "foundation/file_buffer.h"
#include "reader/mp4_file.h"
#include "support/movie_builder.h"
#include "support/parent_boxes.h"

using clipchain::CountBoxes;
using support::Box;
using support::Bytes;
using support::FullBox;
using support::Join;
using support::MovieBuilder;
using support::Text;
using support::U32;
using support::U64;
using support::Zeros;

namespace {

std::size_t Parsed(const MP4G::CBox& box) {
  std::size_t count = 1;
  for (const MP4G::CBox* child : box.children) count += Parsed(*child);
  return count;
}

Bytes Empty(unsigned int n) {
  Bytes all;
  for (unsigned int i = 0; i < n; ++i) all.insert(all.end(), {0, 0, 0, 8, 'f', 'r', 'e', 'e'});
  return all;
}

}  // namespace

TEST(BoxCount, IsThatOfTheTree) {
  MovieBuilder clip = support::Clip(30);
  clip.Add(support::TimecodeTrack({{1, 0, 0, 0}}));
  clip.tracks[1].edits = {{960, 0}};
  clip.extraMovieBoxes = Join({Box("udta", {Box("name")}), Box("mvex", {Box("free")})});
  // In an entry of each kind that has boxes, 100 of them.
  clip.tracks[0].sampleEntry = Box("avc1", {Zeros(78), Empty(100)});
  clip.tracks[1].sampleEntry = Box("mp4a", {Zeros(28), Empty(100)});
  MovieBuilder older = clip;
  older.tracks[1].sampleEntry = Box("mp4a", {Zeros(8), Bytes{0, 1}, Zeros(18 + 16), Empty(100)});
  older.tracks[0].sampleEntry = Box("mp4v", {Zeros(78), Empty(100)});
  for (const MovieBuilder& builder : {clip, older}) {
    const Bytes bytes = builder.Build();
    QUIRVA::CFileBuffer source;
    ASSERT_EQ(S_OK, source.SetData(bytes.data(), static_cast<unsigned int>(bytes.size())));
    MP4G::CMp4File file;
    ASSERT_EQ(S_OK, file.SetReader(&source));
    const std::size_t begin = support::FindBox(bytes, "moov");
    const std::size_t count = Parsed(*file.GetMovieBox());
    EXPECT_GT(count, 200u);
    EXPECT_EQ(count, CountBoxes(support::Slice(bytes, begin, bytes.size())));
  }
}

TEST(BoxCount, GoesAsFarAsAParser) {
  EXPECT_EQ(0u, CountBoxes({}));
  EXPECT_EQ(0u, CountBoxes(Zeros(7)));
  EXPECT_EQ(3u, CountBoxes(Box("moov", {Empty(2)})));
  EXPECT_EQ(3u, CountBoxes(Box("moov", {Empty(2), Zeros(7)})));
  EXPECT_EQ(4u, CountBoxes(Box("moov", {Empty(2), U32(7), Text("free"), Empty(5)})));
  EXPECT_EQ(2u, CountBoxes(Box("moov", {U32(0), Text("trak"), Empty(5)})));
  // A track that runs past the movie box, and one whose size says nothing.
  EXPECT_EQ(7u, CountBoxes(Join({Box("moov", {U32(48), Text("trak"), Empty(2)}), Empty(3)})));
  EXPECT_EQ(7u, CountBoxes(Box("moov", {U32(0xFFFFFFFF), Text("trak"), Empty(5)})));
  EXPECT_EQ(5u, CountBoxes(Box("moov", {U32(1), Text("trak"), U64(40), Empty(3)})));
  EXPECT_EQ(2u, CountBoxes(Box("moov", {U32(1), Text("trak"), U32(0)})));
}

TEST(BoxCount, KnowsEveryBoxThatTakesChildren) {
  const auto parents = support::AllParentBoxes(3);
  EXPECT_GT(parents.size(), 10u);
  for (const support::ParentBox& parent : parents)
    EXPECT_EQ(4u, CountBoxes(parent.bytes)) << parent.type << " behind " << parent.fields;
}

TEST(BoxCount, TakesDescriptorsForWhatTheyNeed) {
  EXPECT_GT(CountBoxes(Box("moov", {Box("esds", {Zeros(4000)})})), 1000u);
  EXPECT_EQ(2u, CountBoxes(Box("moov", {Box("udta", {Zeros(4000)})})));
}
