// Boxes in boxes in boxes: an application's worker thread may have 512 KiB of stack.
#include <gtest/gtest.h>

#include <memory>

#include "box/box.h"
#include "box/structural_boxes.h"
#include "foundation/cursor.h"
#include "support/box_checks.h"
#include "support/box_io.h"
#include "support/small_stack.h"

namespace {

using MP4G::CBox;
using MP4G::CListBox;
using support::Bytes;
using support::OnSmallStack;
using support::ParseBox;
using support::Text;

// `levels` boxes, each the only child of the one before.
Bytes Nested(const std::string& type, unsigned int levels) {
  Bytes bytes(8u * levels);
  unsigned char* out = bytes.data();
  unsigned int rest = 8 * levels;
  MP4G::_tagBOX_HEADER header;
  header.type = support::ReadU32(Text(type), 0);
  while (rest > 0) {
    header.size = rest;
    EXPECT_OK(QUIRVA::Put(out, rest, header));
  }
  return bytes;
}

std::unique_ptr<CListBox> BuildChain(unsigned int levels) {
  auto root = std::make_unique<CListBox>();
  CBox* box = root.get();
  for (unsigned int level = 1; level < levels; ++level) {
    auto* child = new CListBox;
    box->AddChildBox(child);
    box = child;
  }
  return root;
}

TEST(Nesting, AThousandLevelsAreReadFixedAndWrittenOnASmallStack) {
  OnSmallStack([] {
    const Bytes bytes = Nested("trak", MP4G::kDeepestNesting);
    MP4G::CTrackBox box;
    ASSERT_OK(ParseBox(box, bytes));
    ASSERT_OK(box.FixParam());
    EXPECT_EQ(static_cast<long long>(bytes.size()), support::SizeOf(box));
    Bytes written;
    ASSERT_OK(support::WriteBox(box, bytes.size(), &written));
    EXPECT_EQ(bytes, written);
  });
}

TEST(Nesting, AMillionLevelsAreRefused) {
  OnSmallStack([] {
    MP4G::CTrackBox box;
    EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Nested("trak", 1000000)));
    // The one that was refused is in the tree, as every box that failed is.
    const CBox* deepest = &box;
    while (!deepest->children.empty()) deepest = deepest->children.front();
    EXPECT_EQ(MP4G::kDeepestNesting + 1, deepest->GetDepth());
  });
}

TEST(Nesting, BoundIsTheSameForEveryWalk) {
  const auto fits = BuildChain(MP4G::kDeepestNesting + 1);
  const auto deeper = BuildChain(MP4G::kDeepestNesting + 2);
  long long total = 0;
  ASSERT_OK(fits->FixParam());
  EXPECT_OK(fits->GetDataSize(&total));
  Bytes written;
  EXPECT_OK(support::WriteBox(*fits, static_cast<std::size_t>(total), &written));
  EXPECT_OK(ParseBox(*support::MakeBox("trak"), Nested("trak", MP4G::kDeepestNesting + 1)));

  EXPECT_RESULT(E_BAD_DATA, deeper->FixParam());
  EXPECT_RESULT(E_BAD_DATA, deeper->GetDataSize(&total));
  for (CBox* box = deeper.get(); box != nullptr; box = box->GetChildBox(0, 0)) box->SetBoxSize(8);
  EXPECT_RESULT(E_BAD_DATA, support::WriteBox(*deeper, 8 * MP4G::kDeepestNesting + 16, &written));
  EXPECT_EQ(8 * MP4G::kDeepestNesting + 8, written.size());
  EXPECT_RESULT(E_BAD_DATA, ParseBox(*support::MakeBox("trak"), Nested("trak", 1002)));
}

TEST(Nesting, ABoxTakenOutOfADeepTreeCountsFromItself) {
  const auto root = BuildChain(MP4G::kDeepestNesting);
  ASSERT_OK(root->FixParam());
  CBox* deepest = root.get();
  while (!deepest->children.empty()) deepest = deepest->children.front();
  CBox* const above = deepest->parent;
  above->RemoveChildBox(deepest);
  const std::unique_ptr<CBox> taken(deepest);
  taken->parent = nullptr;
  auto* child = new CListBox;
  child->AddChildBox(new CListBox);
  taken->AddChildBox(child);
  long long total = 0;
  EXPECT_OK(taken->FixParam());
  EXPECT_OK(taken->GetDataSize(&total));
  EXPECT_EQ(24, total);
  EXPECT_OK(ParseBox(*taken, Nested("trak", 4)));
}

TEST(Nesting, ATreeBuiltByCodeIsDestroyedAtAnyDepth) {
  OnSmallStack([] { BuildChain(1000000).reset(); });
}

TEST(Nesting, ResetAndDeletionWorkAtAnyDepth) {
  OnSmallStack([] {
    const auto root = BuildChain(1000000);
    EXPECT_EQ(root->children.end(), root->DeleteChildBox(root->children.front()));
    EXPECT_TRUE(root->children.empty());
    const auto other = BuildChain(1000000);
    other->Reset();
    EXPECT_TRUE(other->children.empty());
  });
}

// Counts its visits.
class CountingBox : public CListBox {
 public:
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
    ++visits;
    return CListBox::GetDataSizeImpl(total);
  }
  mutable unsigned int visits = 0;
};

TEST(Nesting, FixParamVisitsEachBoxOnce) {
  CountingBox root;
  CBox* box = &root;
  for (unsigned int level = 1; level < MP4G::kDeepestNesting; ++level) {
    box->AddChildBox(new CountingBox);
    box = box->children.front();
  }
  ASSERT_OK(root.FixParam());
  EXPECT_EQ(8 * MP4G::kDeepestNesting, root.header->size);
  for (const CBox* each = &root; each != nullptr; each = each->GetChildBox(0, 0)) {
    EXPECT_EQ(1u, dynamic_cast<const CountingBox*>(each)->visits);
  }
}

}  // namespace
