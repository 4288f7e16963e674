#include "workflow/boxes/box_place.h"

#include <gtest/gtest.h>

#include "foundation/file_buffer.h"
#include "reader/mp4_file.h"
#include "support/movie_builder.h"
#include "support/parent_boxes.h"

using support::Box;
using support::Bytes;
using support::MovieBuilder;
using support::Text;

namespace {

class BoxPlaces : public testing::Test {
 protected:
  BoxPlaces() {
    MovieBuilder clip = support::Clip(30);
    clip.extraMovieBoxes = support::Join({Box("free", {Text("a")}), Box("udta", {Text("b")}),
                                          Box("free", {Text("cc")}), Box("free", {Text("d")})});
    bytes_ = clip.Build();
    EXPECT_EQ(S_OK, source_.SetData(bytes_.data(), static_cast<unsigned int>(bytes_.size())));
    EXPECT_EQ(S_OK, file_.SetReader(&source_));
  }

  // The box itself and all below it.
  static void Gather(const MP4G::CBox& box, std::vector<const MP4G::CBox*>& boxes) {
    boxes.push_back(&box);
    for (const MP4G::CBox* child : box.children) Gather(*child, boxes);
  }
  std::vector<const MP4G::CBox*> All() {
    std::vector<const MP4G::CBox*> boxes;
    Gather(*file_.GetMovieBox(), boxes);
    return boxes;
  }

  Bytes bytes_;
  QUIRVA::CFileBuffer source_;
  MP4G::CMp4File file_;
};

}  // namespace

TEST_F(BoxPlaces, NumberSiblingsOfOneType) {
  clipchain::BoxPlaces places;
  const MP4G::CMovieBox* movie = file_.GetMovieBox();
  EXPECT_EQ("moov", places.PathOf(*movie));
  EXPECT_EQ("moov/udta", places.PathOf(*movie->GetChildBox(FourCc("udta"), 0)));
  EXPECT_EQ("moov/free[2]", places.PathOf(*movie->GetChildBox(FourCc("free"), 2)));
  EXPECT_EQ("moov/free[0]", places.PathOf(*movie->GetChildBox(FourCc("free"), 0)));
  EXPECT_EQ("moov/trak[1]/mdia",
            places.PathOf(*movie->GetChildBox(FourCc("trak"), 1)->GetChildBox(FourCc("mdia"), 0)));
}

// Whichever order they are asked in, with boxes that do not know where they stand among them.
TEST_F(BoxPlaces, LieWhereTheBytesAre) {
  const std::vector<const MP4G::CBox*> boxes = All();
  ASSERT_GT(boxes.size(), 40u);
  clipchain::BoxPlaces forward;
  for (const MP4G::CBox* box : boxes) {
    const auto at = static_cast<std::size_t>(forward.OffsetOf(*box));
    ASSERT_LE(at + 8, bytes_.size());
    EXPECT_EQ(box->header->size, support::ReadU32(bytes_, at)) << forward.PathOf(*box);
    EXPECT_EQ(box->header->type, support::ReadU32(bytes_, at + 4)) << forward.PathOf(*box);
  }
  clipchain::BoxPlaces backward;
  for (auto box = boxes.rbegin(); box != boxes.rend(); ++box) {
    EXPECT_EQ(forward.OffsetOf(**box), backward.OffsetOf(**box));
    EXPECT_EQ(forward.PathOf(**box), backward.PathOf(**box));
    EXPECT_EQ(forward.PathOf(**box), clipchain::PathOf(**box));
    EXPECT_EQ(forward.OffsetOf(**box), clipchain::OffsetOf(**box));
  }
}

TEST(BoxPlacesOf, KnowEveryBoxThatTakesChildren) {
  const auto parents = support::AllParentBoxes(3);
  EXPECT_GT(parents.size(), 10u);
  for (const support::ParentBox& parent : parents) {
    clipchain::BoxPlaces places;
    long long expected = 8 + parent.fields;
    for (const MP4G::CBox* child : parent.box->children) {
      EXPECT_EQ(expected, places.OffsetOf(*child) - places.OffsetOf(*parent.box))
          << parent.type << " behind " << parent.fields;
      expected += 8;
    }
    EXPECT_EQ(parent.type + "/free[2]", places.PathOf(*parent.box->children.back()));
  }
}
