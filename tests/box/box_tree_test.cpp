// Boxes in boxes: children, walks over a tree, nesting.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "box/box.h"
#include "box/data_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CBox;
using MP4G::CListBox;
using support::Box;
using support::Bytes;
using support::FixAndWrite;
using support::Join;
using support::ParseBox;
using support::SizeOf;
using support::Text;
using support::U32;
using support::U64;
using support::WriteBox;
using support::Zeros;

// Writes down what is done to it.
class Probe : public CBox {
 public:
  Probe(std::string name, std::vector<std::string>* log) : name_(std::move(name)), log_(log) {}
  ~Probe() override { log_->push_back("delete " + name_); }

  [[nodiscard]] HRESULT FixParamImpl() override {
    log_->push_back("fix " + name_);
    return fixResult;
  }
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
    log_->push_back("measure " + name_);
    RETURN_IF_NOT_OK(CBox::GetDataSizeImpl(total));
    RETURN_IF_NOT_OK(GetChildrenDataSize(total));
    return sizeResult;
  }
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override {
    log_->push_back("write " + name_);
    RETURN_IF_NOT_OK(CBox::GetDataImpl(out, rest));
    return GetChildrenData(out, rest);
  }

  HRESULT fixResult = S_OK;
  HRESULT sizeResult = S_OK;

 private:
  std::string name_;
  std::vector<std::string>* log_;
};

using Log = std::vector<std::string>;

TEST(ListBox, ReadsItsChildrenInOrder) {
  const Bytes bytes = Box(
      "moov", {Box("zzzz", {Text("1")}), Box("trak", {Box("yyyy")}), Box("free", {Text("23")})});
  MP4G::CMovieBox box;
  box.position = 1000;
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_EQ(3u, box.GetChildBoxNum(0));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CDataMemBox*>(box.GetChildBox(FourCc("zzzz"), 0)));
  CBox* track = box.GetChildBox(FourCc("trak"), 0);
  ASSERT_NE(nullptr, dynamic_cast<MP4G::CTrackBox*>(track));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CFreeBox*>(box.GetChildBox(0, 2)));
  EXPECT_EQ(1008, box.GetChildBox(0, 0)->position);
  EXPECT_EQ(1017, track->position);
  EXPECT_EQ(1025, track->GetChildBox(0, 0)->position);
  EXPECT_EQ(1033, box.GetChildBox(0, 2)->position);
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(ListBox, PositionsWrapInsteadOfOverflowing) {
  CListBox box;
  box.position = 0x7FFFFFFFFFFFFFFF;
  ASSERT_OK(ParseBox(box, Box("moov", {Box("zzzz")})));
  EXPECT_EQ(static_cast<long long>(0x8000000000000007), box.children.front()->position);
}

TEST(ListBox, OneOf8BytesHasNoChildren) {
  CListBox box;
  ASSERT_OK(ParseBox(box, Box("moov")));
  EXPECT_TRUE(box.children.empty());
  EXPECT_EQ(Box("moov"), FixAndWrite(box));
}

TEST(ListBox, ATailTooShortForABoxBecomesZeros) {
  for (unsigned int tail = 1; tail < 8; ++tail) {
    CListBox box;
    ASSERT_OK(ParseBox(box, Box("moov", {Box("zzzz"), support::Fill(tail, 0xFF)})));
    EXPECT_EQ(1u, box.GetChildBoxNum(0));
    EXPECT_EQ(tail, box.restSize);
    EXPECT_EQ(Box("moov", {Box("zzzz"), Zeros(tail)}), FixAndWrite(box));
  }
}

TEST(ListBox, KeepsTheChildThatFailed) {
  for (const unsigned int size : {0u, 1u}) {
    CListBox box;
    EXPECT_RESULT(E_BAD_DATA,
                  ParseBox(box, Box("moov", {Box("free"), U32(size), Text("zzzz"), Zeros(8)})));
    ASSERT_EQ(2u, box.GetChildBoxNum(0));
    EXPECT_EQ(&box, box.GetChildBox(FourCc("zzzz"), 0)->parent);
  }
}

TEST(ListBox, ResultOfAChildGoesUpThroughAllLevels) {
  const Bytes inner = Join({U32(100), Text("zzzz"), Zeros(4)});
  const Bytes bytes = Box("moov", {Box("trak", {Box("mdia", {inner})})});
  CListBox box;
  EXPECT_RESULT(S_FALSE, ParseBox(box, bytes));
  const CBox* track = box.GetChildBox(FourCc("trak"), 0);
  ASSERT_NE(nullptr, track);
  EXPECT_RESULT(S_FALSE, ParseBox(*support::MakeBox("trak"), Box("trak", {inner})));
  EXPECT_NE(nullptr, track->GetChildBox(FourCc("mdia"), 0)->GetChildBox(FourCc("zzzz"), 0));
}

TEST(ListBox, AChildBehindTheEndOfItsParentEndsTheParse) {
  CListBox box;
  const Bytes child = Box("zzzz", {Zeros(8)});
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Join({U32(16), Text("moov"), child, Zeros(8)})));
  EXPECT_EQ(1u, box.GetChildBoxNum(0));
}

TEST(ListBox, ParsesAgainOnlyAfterReset) {
  CListBox box;
  const Bytes bytes = Box("moov", {Box("zzzz")});
  ASSERT_OK(ParseBox(box, bytes));
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(2u, box.GetChildBoxNum(0));
}

TEST(BoxChildren, NeedABoxSizeThatHoldsWhatWasConsumed) {
  const Bytes bytes = Box("zzzz");
  CBox box;
  const unsigned char* in = bytes.data();
  unsigned int rest = 8;
  box.SetBoxSize(7);
  EXPECT_RESULT(E_BAD_DATA, box.SetChildrenData(in, rest, 8));
  box.SetBoxSize(8);
  EXPECT_OK(box.SetChildrenData(in, rest, 8));
  box.SetBoxSize(15);
  EXPECT_OK(box.SetChildrenData(in, rest, 8));
  EXPECT_TRUE(box.children.empty());
  box.SetBoxSize(0x100000000);
  EXPECT_RESULT(E_PENDING, box.SetChildrenData(in, rest, 8));
  EXPECT_EQ(8u, rest);
  box.SetBoxSize(0xFFFFFFFF);
  EXPECT_RESULT(S_FALSE, box.SetChildrenData(in, rest, 8));
  EXPECT_EQ(0u, rest);
  EXPECT_EQ(1u, box.GetChildBoxNum(0));
  box.largeSize = 0xFFFFFFFFFFFFFFFF;
  box.header->size = 1;
  EXPECT_RESULT(E_BAD_DATA, box.SetChildrenData(in, rest, 8));
}

TEST(BoxChildren, SizesAreAddedToWhatIsThere) {
  CListBox box;
  ASSERT_OK(ParseBox(box, Box("moov", {Box("zzzz", {Text("ab")}), Box("trak", {Text("c")})})));
  box.children.push_back(nullptr);
  long long total = 1000;
  EXPECT_OK(box.GetChildrenDataSize(&total));
  EXPECT_EQ(1000 + 10 + 9, total);
  EXPECT_RESULT(E_POINTER, box.GetChildrenDataSize(nullptr));
}

TEST(BoxChildren, FirstFailureOfASizeOrAnOutputIsTheResult) {
  Log log;
  Probe box("root", &log);
  auto* bad = new Probe("bad", &log);
  bad->sizeResult = E_PENDING;
  box.AddChildBox(new Probe("good", &log));
  box.AddChildBox(bad);
  box.AddChildBox(new Probe("late", &log));
  long long total = 0;
  EXPECT_RESULT(E_PENDING, box.GetChildrenDataSize(&total));
  EXPECT_EQ((Log{"measure good", "measure bad"}), log);
  log.clear();
  box.GetChildBox(0, 0)->SetBoxSize(8);
  Bytes written;
  EXPECT_RESULT(E_BAD_DATA, WriteBox(box, 100, &written));
  EXPECT_EQ((Log{"write root", "write good", "write bad"}), log);
}

TEST(BoxChildren, AreAddedAtTheEndAndOwned) {
  Log log;
  {
    CBox box;
    auto* first = new Probe("first", &log);
    auto* second = new Probe("second", &log);
    box.AddChildBox(first);
    box.AddChildBox(nullptr);
    box.AddChildBox(second);
    EXPECT_EQ((std::list<CBox*>{first, second}), box.children);
    EXPECT_EQ(&box, first->parent);
    box.Reset();
    EXPECT_EQ((Log{"delete first", "delete second"}), log);
    EXPECT_TRUE(box.children.empty());
    box.AddChildBox(new Probe("third", &log));
    box.children.push_back(nullptr);
  }
  EXPECT_EQ("delete third", log.back());
}

TEST(BoxChildren, CanBeMadeByType) {
  CBox box;
  EXPECT_OK(box.AddChildBox(FourCc("trak")));
  EXPECT_OK(box.AddChildBox(FourCc("zzzz")));
  EXPECT_NE(nullptr, dynamic_cast<MP4G::CTrackBox*>(box.children.front()));
  EXPECT_EQ(&box, box.children.back()->parent);
  EXPECT_EQ(FourCc("zzzz"), box.children.back()->GetClassType());
}

TEST(BoxChildren, InsertedOnesKeepTheirParent) {
  CBox box;
  auto* last = new CBox;
  box.AddChildBox(last);
  auto* inserted = new CBox;
  const auto place = box.InsertChildBox(box.children.begin(), inserted);
  EXPECT_EQ(box.children.begin(), place);
  EXPECT_EQ((std::list<CBox*>{inserted, last}), box.children);
  EXPECT_EQ(nullptr, inserted->parent);
  EXPECT_EQ(box.children.end(), box.InsertChildBox(box.children.begin(), nullptr));
  EXPECT_EQ(2u, box.GetChildBoxNum(0));
}

TEST(BoxChildren, RemovedOnesGoToTheCaller) {
  Log log;
  CBox box;
  const std::unique_ptr<Probe> first(new Probe("first", &log));
  auto* second = new CBox;
  box.AddChildBox(first.get());
  box.AddChildBox(second);
  const auto behind = box.RemoveChildBox(first.get());
  EXPECT_EQ(box.children.begin(), behind);
  EXPECT_EQ((std::list<CBox*>{second}), box.children);
  EXPECT_EQ(&box, first->parent);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(box.children.end(), box.RemoveChildBox(first.get()));
  EXPECT_EQ(box.children.end(), box.RemoveChildBox(nullptr));
  EXPECT_EQ(1u, box.GetChildBoxNum(0));
}

TEST(BoxChildren, OfAChildListedTwiceTheFirstEntryIsRemoved) {
  CBox box;
  auto* twice = new CBox;
  auto* other = new CBox;
  box.AddChildBox(twice);
  box.AddChildBox(other);
  box.AddChildBox(twice);
  const auto behind = box.RemoveChildBox(twice);
  EXPECT_EQ(other, *behind);
  EXPECT_EQ((std::list<CBox*>{other, twice}), box.children);
}

TEST(BoxChildren, DeletedOnesAreGone) {
  Log log;
  CBox box;
  auto* first = new Probe("first", &log);
  auto* second = new Probe("second", &log);
  box.AddChildBox(first);
  box.AddChildBox(second);
  box.children.push_back(nullptr);
  EXPECT_EQ(box.children.end(), box.DeleteChildBox(nullptr));
  CBox stranger;
  EXPECT_EQ(box.children.end(), box.DeleteChildBox(&stranger));
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(second, *box.DeleteChildBox(first));
  EXPECT_EQ((Log{"delete first"}), log);
  EXPECT_EQ((std::list<CBox*>{second, nullptr}), box.children);
}

TEST(BoxChildren, AreFoundByTheirClassType) {
  CBox box;
  std::vector<CBox*> added;
  for (const unsigned int type : {FourCc("aaaa"), FourCc("bbbb"), FourCc("aaaa"), 0u}) {
    added.push_back(new CBox);
    added.back()->SetClassType(type);
    added.back()->header->type = FourCc("xxxx");
    box.AddChildBox(added.back());
    box.children.push_back(nullptr);
  }
  EXPECT_EQ(added[0], box.GetChildBox(FourCc("aaaa"), 0));
  EXPECT_EQ(added[2], box.GetChildBox(FourCc("aaaa"), 1));
  EXPECT_EQ(nullptr, box.GetChildBox(FourCc("aaaa"), 2));
  EXPECT_EQ(nullptr, box.GetChildBox(FourCc("xxxx"), 0));
  EXPECT_EQ(2u, box.GetChildBoxNum(FourCc("aaaa")));
  EXPECT_EQ(0u, box.GetChildBoxNum(FourCc("xxxx")));
  for (unsigned int i = 0; i < 4; ++i) EXPECT_EQ(added[i], box.GetChildBox(0, i));
  EXPECT_EQ(nullptr, box.GetChildBox(0, 4));
  EXPECT_EQ(8u, box.GetChildBoxNum(0));
}

TEST(BoxChildren, KnowWhatIsAboveThem) {
  CBox root;
  auto* middle = new CBox;
  auto* leaf = new CBox;
  root.AddChildBox(middle);
  middle->AddChildBox(leaf);
  for (CBox* box : {&root, middle, leaf}) box->SetClassType(FourCc("aaaa"));
  EXPECT_EQ(middle, leaf->GetAncestor(FourCc("aaaa")));
  EXPECT_EQ(nullptr, root.GetAncestor(FourCc("aaaa")));
  root.SetClassType(FourCc("bbbb"));
  EXPECT_EQ(&root, leaf->GetAncestor(FourCc("bbbb")));
  EXPECT_EQ(nullptr, leaf->GetAncestor(FourCc("cccc")));
  EXPECT_EQ(0u, root.GetDepth());
  EXPECT_EQ(2u, leaf->GetDepth());
}

TEST(FixParam, FixesAParentBeforeItsChildrenAndMeasuresItBehindThem) {
  Log log;
  Probe root("root", &log);
  auto* child = new Probe("child", &log);
  root.AddChildBox(child);
  root.children.push_back(nullptr);
  child->AddChildBox(new Probe("leaf", &log));
  root.AddChildBox(new Probe("last", &log));
  EXPECT_OK(root.FixParam());
  EXPECT_EQ((Log{"fix root", "fix child", "fix leaf", "measure leaf", "measure child", "fix last",
                 "measure last", "measure root"}),
            log);
  EXPECT_EQ(32, root.GetBoxSize());
  EXPECT_EQ(16, child->GetBoxSize());
}

TEST(FixParam, EndsWithTheFirstFailure) {
  Log log;
  Probe root("root", &log);
  auto* bad = new Probe("bad", &log);
  root.AddChildBox(bad);
  root.AddChildBox(new Probe("late", &log));
  bad->fixResult = S_FALSE;
  EXPECT_RESULT(S_FALSE, root.FixParam());
  EXPECT_EQ((Log{"fix root", "fix bad"}), log);
  EXPECT_EQ(0, root.GetBoxSize());
  log.clear();
  bad->fixResult = S_OK;
  bad->sizeResult = E_POINTER;
  EXPECT_RESULT(E_POINTER, root.FixParam());
  EXPECT_EQ((Log{"fix root", "fix bad", "measure bad"}), log);
  bad->sizeResult = S_OK;
  EXPECT_OK(root.FixParam());
  EXPECT_EQ(24, root.GetBoxSize());
}

TEST(FixParam, RefusesABoxBeyond32BitsAndLeavesItsHeader) {
  CBox box;
  box.SetClassType(FourCc("zzzz"));
  box.restSize = 0xFFFFFFF8;
  EXPECT_RESULT(E_PENDING, box.FixParam());
  EXPECT_EQ(0u, box.header->type);
  EXPECT_EQ(0u, box.header->size);
  box.restSize = 0xFFFFFFF7;
  EXPECT_OK(box.FixParam());
  EXPECT_EQ(FourCc("zzzz"), box.header->type);
  EXPECT_EQ(0xFFFFFFFFu, box.header->size);
}

TEST(FixParam, RefusesAParentOfTooMuch) {
  CListBox box;
  for (int i = 0; i < 2; ++i) {
    box.AddChildBox(new CBox);
    box.children.back()->restSize = 0x80000000;
  }
  EXPECT_RESULT(E_PENDING, box.FixParam());
  EXPECT_EQ(0u, box.header->size);
  EXPECT_EQ(0x80000008u, box.children.back()->header->size);
}

TEST(FixParam, GivesATypeOnlyToABoxWithoutOne) {
  CBox box;
  ASSERT_OK(ParseBox(box, Box("yyyy")));
  box.SetClassType(FourCc("zzzz"));
  EXPECT_OK(box.FixParam());
  EXPECT_EQ(FourCc("yyyy"), box.header->type);
}

TEST(FixParam, TakesABoxOutOfTheLargeForm) {
  CListBox parent;
  parent.AddChildBox(new CBox);
  CBox* box = parent.children.back();
  box->SetBoxSize(0x123456789A);
  EXPECT_OK(parent.FixParam());
  // The size was counted with the 8 bytes that are lost, and comes right the next time; the parent
  // is measured behind the change.
  EXPECT_EQ(16u, box->header->size);
  EXPECT_EQ(16, parent.GetBoxSize());
  EXPECT_EQ(0x123456789Au, box->largeSize);
  EXPECT_EQ(8, SizeOf(*box));
  EXPECT_OK(parent.FixParam());
  EXPECT_EQ(8u, box->header->size);
  EXPECT_EQ(16, parent.GetBoxSize());
}

TEST(FixParam, GivesAnExtendedTypeItsLengthTheSecondTime) {
  CListBox parent;
  parent.AddChildBox(new CBox);
  CBox* box = parent.children.back();
  box->SetClassType(FourCc("uuid"));
  EXPECT_EQ(8, SizeOf(*box));
  EXPECT_OK(parent.FixParam());
  EXPECT_EQ(8u, box->header->size);
  EXPECT_EQ(24, SizeOf(*box));
  EXPECT_EQ(32, parent.GetBoxSize());
  EXPECT_OK(parent.FixParam());
  EXPECT_EQ(24u, box->header->size);
}

}  // namespace
