// What holds for every box that the factory knows, on the boxes of tests/golden.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "box/box_factory.h"
#include "support/allocation_meter.h"
#include "support/box_checks.h"
#include "support/bytes.h"
#include "support/golden.h"
#include "support/result_matchers.h"

namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::Golden;
using support::MakeBox;
using support::SizeOf;
using support::Text;
using support::WriteBox;
using support::Zeros;

unsigned int Code(const std::string& type) { return support::ReadU32(Text(type), 0); }

// A box in the place that its parser asks for.
struct Parsed {
  HRESULT result = E_FAIL;
  std::unique_ptr<MP4G::CBox> root;
  MP4G::CBox* box = nullptr;  // the last one of the place; null if none was reached
};

// The type of the box in which such a box stands, and the bytes of that place.
struct Place {
  std::string type;
  Bytes bytes;
};

Place PlaceOf(const std::string& type, const Bytes& bytes) {
  if (type == "stsd")
    return {"mdia",
            Box("mdia", {FullBox("hdlr", 0, 0, {Zeros(4), Text("vide"), Zeros(12)}), bytes})};
  if (type == "sdtp") return {"stbl", Box("stbl", {bytes})};
  return {type, bytes};
}

Parsed Parse(const std::string& type, const Bytes& bytes) {
  Parsed parsed;
  const auto [rootType, block] = PlaceOf(type, bytes);
  parsed.root = MakeBox(rootType);
  // A block of exactly this length, so that a sanitizer sees a read behind it.
  const Bytes exact(block.data(), block.data() + block.size());
  const unsigned char* in = exact.data();
  unsigned int rest = static_cast<unsigned int>(exact.size());
  parsed.result = parsed.root->SetData(in, rest);
  EXPECT_EQ(exact.data() + exact.size(), in + rest);
  if (rootType == type) {
    parsed.box = parsed.root.get();
  } else if (!parsed.root->children.empty()) {
    parsed.box = parsed.root->children.back();
  }
  return parsed;
}

// "tfra" leaves the 12 bytes of its record out of the size it reports, so that it can't be written
// once FixParam has run.
long long MissingFromSize(const Golden& golden) { return golden.type == "tfra" ? 12 : 0; }

// The bytes of a box whose parts are brought up to date. Twice, because the first time gives a
// "uuid" box the type that makes its header longer.
Bytes Fixed(const Golden& golden, MP4G::CBox& box) {
  EXPECT_OK(box.FixParam());
  EXPECT_OK(box.FixParam());
  const long long missing = MissingFromSize(golden);
  Bytes written;
  EXPECT_RESULT(missing == 0 ? S_OK : E_BAD_DATA,
                WriteBox(box, static_cast<std::size_t>(SizeOf(box) + missing), &written));
  return written;
}

class EveryBox : public testing::TestWithParam<Golden> {
 protected:
  const Golden& golden() const { return GetParam(); }
  Parsed ParseGolden() const {
    Parsed parsed = Parse(golden().type, golden().bytes);
    EXPECT_OK(parsed.result);
    return parsed;
  }
};

TEST_P(EveryBox, ComesBackAsItWasRead) {
  const Parsed parsed = ParseGolden();
  Bytes written;
  EXPECT_OK(WriteBox(*parsed.box, golden().bytes.size(), &written));
  EXPECT_EQ(golden().written, written);
}

TEST_P(EveryBox, IsWrittenTheSameTwice) {
  const Parsed parsed = ParseGolden();
  Bytes first;
  Bytes second;
  EXPECT_OK(WriteBox(*parsed.box, golden().bytes.size(), &first));
  EXPECT_OK(WriteBox(*parsed.box, golden().bytes.size(), &second));
  EXPECT_EQ(first, second);
}

TEST_P(EveryBox, SaysHowManyBytesItWrites) {
  const Parsed parsed = ParseGolden();
  EXPECT_EQ(static_cast<long long>(golden().bytes.size()),
            SizeOf(*parsed.box) + MissingFromSize(golden()));
}

TEST_P(EveryBox, KnowsItsTypeAndItsFourCharacters) {
  const Parsed parsed = ParseGolden();
  EXPECT_EQ(Code(golden().type), parsed.box->GetClassType());
  EXPECT_EQ(Code(golden().type), parsed.box->header->type);
}

TEST_P(EveryBox, IsNotChangedByFixingWhatIsRight) {
  const Parsed parsed = ParseGolden();
  ASSERT_OK(parsed.root->FixParam());
  EXPECT_EQ(golden().bytes.size(), parsed.box->header->size + MissingFromSize(golden()));
  const Bytes expected = support::WithU32(golden().written, 0, parsed.box->header->size);
  EXPECT_EQ(expected, Fixed(golden(), *parsed.box));
  EXPECT_EQ(expected, Fixed(golden(), *parsed.box));
}

TEST_P(EveryBox, NeedsRoomForEveryByte) {
  const Parsed parsed = ParseGolden();
  for (std::size_t room = 0; room < golden().bytes.size(); ++room) {
    Bytes written;
    EXPECT_RESULT(S_FALSE, WriteBox(*parsed.box, room, &written)) << room;
    EXPECT_TRUE(std::equal(written.begin(), written.end(), golden().written.begin())) << room;
  }
}

TEST_P(EveryBox, ReadsNothingBehindACutBuffer) {
  for (std::size_t length = 0; length < golden().bytes.size(); ++length) {
    const Parsed parsed =
        Parse(golden().type, Bytes(golden().bytes.data(), golden().bytes.data() + length));
    // In the middle of a header a cut box can't be told from the odd bytes at a parent's end.
    const bool belowParent = parsed.root->GetClassType() != Code(golden().type);
    EXPECT_RESULT(belowParent && length < 8 ? S_OK : S_FALSE, parsed.result) << length;
  }
}

// A box that takes what is left of its parent would swallow its siblings.
TEST_P(EveryBox, LeavesWhatStandsBehindIt) {
  const Bytes behind = Box("skip", {Text("another box")});
  const Bytes siblings = Box("dinf", {golden().bytes, behind});
  const Bytes block = PlaceOf(golden().type, support::Join({golden().bytes, behind})).bytes;
  const bool belowParent = PlaceOf(golden().type, golden().bytes).type != golden().type;
  const std::unique_ptr<MP4G::CBox> root =
      MakeBox(belowParent ? PlaceOf(golden().type, {}).type : "dinf");
  const Bytes& bytes = belowParent ? block : siblings;
  const unsigned char* in = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  ASSERT_OK(root->SetData(in, rest));
  ASSERT_LE(2u, root->children.size());
  Bytes written;
  EXPECT_OK(WriteBox(*root->children.back(), behind.size(), &written));
  EXPECT_EQ(behind, written);
  // A name keeps what stands behind it too, and is written with it; the sibling is read all the
  // same.
  if (golden().type == "urn ") return;
  EXPECT_OK(WriteBox(**std::prev(root->children.end(), 2), golden().bytes.size(), &written));
  EXPECT_EQ(golden().written, written);
}

TEST_P(EveryBox, StaysWithinMemoryWhateverAByteSays) {
  for (std::size_t offset = 0; offset < golden().bytes.size(); ++offset) {
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      Bytes damaged = golden().bytes;
      damaged[offset] = static_cast<unsigned char>(value);
      const support::AllocationMeter meter;
      const Parsed parsed = Parse(golden().type, damaged);
      // No box of these takes more than the objects of its tree and a few times its bytes.
      EXPECT_LT(meter.Peak(), 32768u) << offset << " is " << value;
      if (parsed.result != S_OK) continue;
      Bytes written;
      ASSERT_OK(parsed.root->FixParam());
      const auto room = static_cast<std::size_t>(SizeOf(*parsed.box));
      EXPECT_LT(room, 2 * damaged.size() + 64);
      const HRESULT result = WriteBox(*parsed.box, room, &written);
      EXPECT_RESULT(MissingFromSize(golden()) == 0 ? S_OK : S_FALSE, result);
    }
  }
}

// Resets a box to what the factory gives out. These three have an object of their own that Init
// makes and Reset takes away.
void ResetForUse(MP4G::CBox& box, const std::string& type) {
  box.Reset();
  const bool needsInit = type == "avcC" || type == "esds" || type == "mvcC";
  EXPECT_OK(needsInit ? box.Init() : S_OK);
}

TEST_P(EveryBox, IsLikeNewAfterReset) {
  const Parsed parsed = ParseGolden();
  ResetForUse(*parsed.box, golden().type);
  const Bytes reset = Fixed(golden(), *parsed.box);
  const Bytes fresh = Fixed(golden(), *MakeBox(golden().type));
  // A handler keeps its name and a compact size box its table.
  if (golden().type == "hdlr" || golden().type == "stz2") {
    EXPECT_NE(fresh, reset);
  } else {
    EXPECT_EQ(fresh, reset);
  }
}

TEST_P(EveryBox, CanBeReadAgainAfterReset) {
  const Parsed parsed = ParseGolden();
  MP4G::CBox* box = parsed.box;
  ResetForUse(*box, golden().type);
  const unsigned char* in = golden().bytes.data();
  unsigned int rest = static_cast<unsigned int>(golden().bytes.size());
  ASSERT_OK(box->SetData(in, rest));
  // A compact size box appends to the entries that it kept.
  const bool grows = golden().type == "stz2";
  Bytes written;
  EXPECT_RESULT(grows ? S_FALSE : S_OK, WriteBox(*box, golden().bytes.size(), &written));
  EXPECT_EQ(golden().written, written);
}

std::string TestName(const testing::TestParamInfo<Golden>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Golden, EveryBox, testing::ValuesIn(support::LoadGoldens("good")),
                         TestName);

TEST(GoldenBoxes, ThereIsOneForEachTypeOfTheFactory) {
  std::set<std::string> missing;
  for (const unsigned int type : MP4G::CBoxFactory::KnownTypes()) missing.insert(FourCcText(type));
  ASSERT_FALSE(missing.empty());
  for (const Golden& golden : support::LoadGoldens("good")) missing.erase(golden.type);
  EXPECT_EQ(std::set<std::string>{}, missing);
}

class DamagedBox : public testing::TestWithParam<Golden> {};

TEST_P(DamagedBox, IsRefusedAndItsSoundTwinIsNot) {
  EXPECT_NE("S_OK", GetParam().result);
  EXPECT_EQ(GetParam().result, ResultName(Parse(GetParam().type, GetParam().bytes).result));
  EXPECT_OK(Parse(GetParam().type, GetParam().sound).result);
}

INSTANTIATE_TEST_SUITE_P(Golden, DamagedBox, testing::ValuesIn(support::LoadGoldens("bad")),
                         TestName);

}  // namespace
