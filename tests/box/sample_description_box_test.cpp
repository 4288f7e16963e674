#include <gtest/gtest.h>

#include <memory>

#include "box/box_factory.h"
#include "box/data_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "support/box_checks.h"
#include "support/box_io.h"
#include "support/small_stack.h"

namespace {

using support::Box;
using support::Bytes;
using support::FixAndWrite;
using support::FullBox;
using support::operator+;
using support::ParseBox;
using support::Text;
using support::U16;
using support::U32;
using support::U64;
using support::WithU32;
using support::Zeros;

Bytes Handler(std::string_view type) {
  return FullBox("hdlr", 0, 0, {U32(0), Text(type), Zeros(12)});
}

// An entry of the smallest kind: reserved bytes and the data reference index.
Bytes Entry(std::string_view type) { return Box(type, {Zeros(6), U16(1)}); }

Bytes VisualEntry(std::string_view type) { return Box(type, {Zeros(6), U16(1), Zeros(70)}); }

Bytes Description(unsigned int count, const Bytes& entries) {
  return FullBox("stsd", 0, 0, {U32(count), entries});
}

class SampleDescriptionBox : public testing::Test {
 protected:
  // Parses a media box that holds the description behind its handler.
  HRESULT Parse(const Bytes& description, std::string_view handler = "vide") {
    return ParseBox(media, Box("mdia", {Handler(handler), description}));
  }
  MP4G::CSampleDescriptionBox* Parsed() const {
    return dynamic_cast<MP4G::CSampleDescriptionBox*>(media.GetChildBox(FourCc("stsd"), 0));
  }
  SampleDescriptionBox() { media.SetClassType(FourCc("mdia")); }

  MP4G::CMediaBox media;
};

TEST_F(SampleDescriptionBox, KeepsItsEntriesInOrderAndWritesTheSameBytes) {
  const Bytes bytes = Box(
      "mdia",
      {Handler("vide"),
       Box("minf", {Box("stbl", {FullBox("stsd", 7, 0x123456,
                                         {U32(2), VisualEntry("avc1"), VisualEntry("mp4v")})})})});
  ASSERT_OK(ParseBox(media, bytes));
  EXPECT_EQ(bytes, FixAndWrite(media));
}

TEST_F(SampleDescriptionBox, ReadsEntriesByItsSizeAndNotByItsCount) {
  ASSERT_OK(Parse(Description(5, VisualEntry("avc1") + VisualEntry("zzzz"))));
  ASSERT_NE(nullptr, Parsed());
  EXPECT_EQ(5u, Parsed()->entryCount);
  EXPECT_EQ(2u, Parsed()->children.size());
  ASSERT_OK(Parsed()->FixParamImpl());
  EXPECT_EQ(2u, Parsed()->entryCount);
  EXPECT_EQ(
      Box("mdia", {Handler("vide"), Description(2, VisualEntry("avc1") + VisualEntry("zzzz"))}),
      FixAndWrite(media));
}

TEST_F(SampleDescriptionBox, ReadsEntriesThatItsCountDoesNotAnnounce) {
  ASSERT_OK(Parse(Description(0, VisualEntry("avc1"))));
  EXPECT_EQ(1u, Parsed()->children.size());
}

TEST_F(SampleDescriptionBox, AcceptsNoEntries) {
  ASSERT_OK(Parse(Description(0, {})));
  EXPECT_TRUE(Parsed()->children.empty());
}

TEST_F(SampleDescriptionBox, LeavesATailTooShortForAnEntryAsZeros) {
  ASSERT_OK(Parse(Description(1, {1, 2, 3, 4, 5, 6, 7})));
  EXPECT_TRUE(Parsed()->children.empty());
  EXPECT_EQ(7u, Parsed()->restSize);
  EXPECT_EQ(Box("mdia", {Handler("vide"), Description(0, Zeros(7))}), FixAndWrite(media));
}

template <class T>
bool IsExactly(const MP4G::CBox* box) {
  return box != nullptr && typeid(*box) == typeid(T);
}

TEST_F(SampleDescriptionBox, TheHandlerDecidesOnEntriesOfUnknownType) {
  ASSERT_OK(Parse(Description(1, VisualEntry("zzzz")), "vide"));
  EXPECT_TRUE(IsExactly<MP4G::CVisualSampleEntry>(Parsed()->GetChildBox(0, 0)));
  EXPECT_EQ(0u, Parsed()->GetChildBox(0, 0)->GetClassType());
  EXPECT_EQ(FourCc("zzzz"), Parsed()->GetChildBox(0, 0)->header->type);
  media.Reset();
  ASSERT_OK(Parse(Description(1, VisualEntry("zzzz")), "soun"));
  EXPECT_TRUE(IsExactly<MP4G::CAudioSampleEntry>(Parsed()->GetChildBox(0, 0)));
  media.Reset();
  ASSERT_OK(Parse(Description(1, Entry("zzzz")), "hint"));
  EXPECT_TRUE(IsExactly<MP4G::CHintSampleEntry>(Parsed()->GetChildBox(0, 0)));
  media.Reset();
  ASSERT_OK(Parse(Description(1, Entry("zzzz")), "meta"));
  EXPECT_TRUE(IsExactly<MP4G::CSampleEntry>(Parsed()->GetChildBox(0, 0)));
}

TEST_F(SampleDescriptionBox, AKnownTypeGetsItsClassWhateverTheHandler) {
  ASSERT_OK(Parse(Description(2, VisualEntry("avc1") + Box("free", {U32(1)})), "soun"));
  EXPECT_TRUE(IsExactly<MP4G::CAvcSampleEntry>(Parsed()->GetChildBox(FourCc("avc1"), 0)));
  EXPECT_TRUE(IsExactly<MP4G::CFreeBox>(Parsed()->GetChildBox(FourCc("free"), 0)));
}

TEST_F(SampleDescriptionBox, ParsesOnlyInsideAMediaBox) {
  MP4G::CSampleDescriptionBox alone;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(alone, Description(0, {})));

  MP4G::CMediaInformationBox parent;
  parent.SetClassType(FourCc("minf"));
  EXPECT_RESULT(E_BAD_DATA, ParseBox(parent, Box("minf", {Handler("vide"), Description(0, {})})));

  MP4G::CListBox sameTypeOtherClass;
  sameTypeOtherClass.SetClassType(FourCc("mdia"));
  EXPECT_RESULT(E_BAD_DATA,
                ParseBox(sameTypeOtherClass, Box("mdia", {Handler("vide"), Description(0, {})})));
  EXPECT_OK(ParseBox(media, Box("mdia", {Handler("vide"), Description(0, {})})));
}

TEST_F(SampleDescriptionBox, ParsesOnlyBehindAHandler) {
  EXPECT_RESULT(E_BAD_DATA, ParseBox(media, Box("mdia", {Description(0, {})})));
  media.Reset();
  EXPECT_RESULT(E_BAD_DATA, ParseBox(media, Box("mdia", {Description(0, {}), Handler("vide")})));
  media.Reset();
  auto* sameTypeOtherClass = new MP4G::CDataMemBox;
  sameTypeOtherClass->SetClassType(FourCc("hdlr"));
  media.AddChildBox(sameTypeOtherClass);
  EXPECT_RESULT(E_BAD_DATA, Parse(Description(0, {})));
  media.Reset();
  EXPECT_OK(Parse(Description(0, {})));
}

TEST_F(SampleDescriptionBox, AnswersShortAtEveryTruncation) {
  const Bytes whole = Description(1, VisualEntry("avc1"));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    media.Reset();
    ASSERT_OK(ParseBox(media, Box("mdia", {Handler("vide")})));
    auto* box = new MP4G::CSampleDescriptionBox;
    media.AddChildBox(box);
    const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_RESULT(S_FALSE, ParseBox(*box, bytes)) << length;
    EXPECT_EQ(length < 24 ? 0u : 1u, box->children.size()) << length;
    EXPECT_EQ(length < 16 ? 0u : 1u, box->entryCount) << length;
  }
}

TEST_F(SampleDescriptionBox, KeepsTheEntryThatFailed) {
  EXPECT_RESULT(E_BAD_DATA,
                Parse(Description(2, VisualEntry("avc1") + WithU32(VisualEntry("mp4v"), 0, 20))));
  EXPECT_EQ(2u, Parsed()->children.size());
}

TEST_F(SampleDescriptionBox, RefusesAnEntryThatOverrunsIt) {
  const Bytes entry = VisualEntry("avc1");
  const Bytes behind = Box("free", {Zeros(40)});
  Bytes description = Description(1, entry);
  description = WithU32(description, 0, static_cast<std::uint32_t>(description.size() - 4));
  EXPECT_RESULT(E_BAD_DATA, Parse(description + behind));
  EXPECT_EQ(1u, Parsed()->children.size());
}

TEST_F(SampleDescriptionBox, RefusesASizeBelowItsHeaderOrBeyond32Bits) {
  ASSERT_OK(ParseBox(media, Box("mdia", {Handler("vide")})));
  const auto parse = [this](long long size) {
    auto* box = new MP4G::CSampleDescriptionBox;
    media.AddChildBox(box);
    const Bytes bytes =
        U32(1) + Text("stsd") + U64(static_cast<std::uint64_t>(size)) + U32(0) + U32(0);
    const unsigned char* in = bytes.data();
    unsigned int rest = static_cast<unsigned int>(bytes.size());
    return box->SetDataImpl(in, rest);
  };
  EXPECT_RESULT(E_BAD_DATA, parse(23));
  EXPECT_RESULT(E_BAD_DATA, parse(-1));
  EXPECT_OK(parse(24));
  EXPECT_OK(parse(31));
  EXPECT_RESULT(S_FALSE, parse(0xFFFFFFFF));
  EXPECT_RESULT(E_PENDING, parse(0x100000000));
}

TEST_F(SampleDescriptionBox, EndsWhereBoxesNestTooDeep) {
  const auto nested = [](int pairs) {
    Bytes bytes = Description(0, {});
    for (int i = 1; i < pairs; ++i) bytes = Description(1, Box("mdia", {Handler("vide"), bytes}));
    return bytes;
  };
  // These boxes take more of a stack for a level than plain containers.
  support::OnSmallStack([&] {
    EXPECT_OK(Parse(nested(450)));
    EXPECT_OK(Parsed()->FixParam());
    Bytes written;
    EXPECT_OK(
        support::WriteBox(*Parsed(), static_cast<std::size_t>(Parsed()->GetBoxSize()), &written));
    media.Reset();
    EXPECT_RESULT(E_BAD_DATA, Parse(nested(550)));
  });
}

TEST_F(SampleDescriptionBox, ResetDropsTheEntriesAndTheCount) {
  ASSERT_OK(Parse(Description(1, VisualEntry("avc1"))));
  Parsed()->Reset();
  EXPECT_EQ(0u, Parsed()->entryCount);
  EXPECT_TRUE(Parsed()->children.empty());
}

TEST_F(SampleDescriptionBox, AnswersShortWhereTheOutputEnds) {
  const Bytes whole = Description(1, VisualEntry("avc1"));
  ASSERT_OK(Parse(whole));
  for (unsigned int room = 0; room <= whole.size(); ++room) {
    Bytes written(whole.size(), 0xEE);
    unsigned char* out = written.data();
    unsigned int rest = room;
    EXPECT_RESULT(room < whole.size() ? S_FALSE : S_OK, Parsed()->GetData(out, rest)) << room;
  }
  EXPECT_RESULT(E_POINTER, Parsed()->GetDataSizeImpl(nullptr));
}

TEST_F(SampleDescriptionBox, IsMadeByTheFactory) {
  MP4G::CSampleDescriptionBox* made = nullptr;
  ASSERT_OK(MP4G::CBoxFactory::CreateBox<MP4G::CSampleDescriptionBox>(FourCc("stsd"), &made));
  const std::unique_ptr<MP4G::CSampleDescriptionBox> owned(made);
  EXPECT_EQ(0u, made->entryCount);
}

}  // namespace
