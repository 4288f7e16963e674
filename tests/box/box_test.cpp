#include "box/box.h"

#include <gtest/gtest.h>

#include <memory>

#include "box/data_boxes.h"
#include "support/box_checks.h"
#include "support/box_io.h"

namespace {

using MP4G::CBox;
using MP4G::CFullBox;
using support::Box;
using support::Bytes;
using support::FullBox;
using support::Join;
using support::MakeBox;
using support::ParseBox;
using support::SizeOf;
using support::Text;
using support::U32;
using support::U64;
using support::WriteBox;
using support::Zeros;

const Bytes kUsertype = support::Hex("00112233445566778899AABBCCDDEEFF");

HRESULT ReadHeader(CBox& box, const Bytes& bytes, unsigned int* taken) {
  const unsigned char* in = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT result = box.SetDataImpl(in, rest);
  *taken = static_cast<unsigned int>(bytes.size()) - rest;
  EXPECT_EQ(bytes.data() + *taken, in);
  return result;
}

HRESULT WriteHeader(const CBox& box, std::size_t room, Bytes* written) {
  const auto block = std::make_unique<unsigned char[]>(room);
  unsigned char* out = block.get();
  unsigned int rest = static_cast<unsigned int>(room);
  const HRESULT result = box.GetDataImpl(out, rest);
  EXPECT_EQ(block.get() + room, out + rest);
  written->assign(block.get(), out);
  return result;
}

struct HeaderForm {
  Bytes bytes;
  unsigned int steps[4];  // where a cut buffer leaves the cursor, ending with the whole length
};

const HeaderForm kHeaderForms[] = {
    {Join({U32(8), Text("free")}), {0, 8, 8, 8}},
    {Join({U32(1), Text("mdat"), U64(0x123456789A)}), {0, 8, 16, 16}},
    {Join({U32(24), Text("uuid"), kUsertype}), {0, 8, 24, 24}},
    {Join({U32(1), Text("uuid"), U64(32), kUsertype}), {0, 8, 16, 32}},
};

TEST(Box, ReadsAndWritesEachFormOfTheHeader) {
  for (const HeaderForm& form : kHeaderForms) {
    CBox box;
    unsigned int taken = 0;
    EXPECT_OK(ReadHeader(box, form.bytes, &taken));
    EXPECT_EQ(form.bytes.size(), taken);
    EXPECT_EQ(form.bytes.size(), box.GetBoxBaseSize());
    Bytes written;
    EXPECT_OK(WriteHeader(box, form.bytes.size(), &written));
    EXPECT_EQ(form.bytes, written);
  }
}

TEST(Box, StopsWhereAHeaderIsCut) {
  for (const HeaderForm& form : kHeaderForms) {
    for (unsigned int length = 0; length < form.bytes.size(); ++length) {
      CBox box;
      unsigned int taken = 0;
      const Bytes cut(form.bytes.data(), form.bytes.data() + length);
      EXPECT_RESULT(S_FALSE, ReadHeader(box, cut, &taken));
      unsigned int expected = 0;
      for (const unsigned int step : form.steps) expected = step <= length ? step : expected;
      EXPECT_EQ(expected, taken) << length;
    }
  }
}

TEST(Box, WritesTheOptionalFieldsOfAHeaderOnlyWhereTheyFit) {
  for (const HeaderForm& form : kHeaderForms) {
    CBox box;
    unsigned int taken = 0;
    ASSERT_OK(ReadHeader(box, form.bytes, &taken));
    for (unsigned int room = 0; room < form.bytes.size(); ++room) {
      Bytes written;
      EXPECT_RESULT(S_FALSE, WriteHeader(box, room, &written)) << room;
      EXPECT_TRUE(std::equal(written.begin(), written.end(), form.bytes.begin()));
    }
  }
}

TEST(Box, MeasuresItsHeaderByAssigning) {
  CBox box;
  long long total = 1000;
  EXPECT_OK(box.GetDataSizeImpl(&total));
  EXPECT_EQ(8, total);
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
  EXPECT_RESULT(E_POINTER, box.GetDataSize(nullptr));
}

TEST(Box, RefusesASizeBelowWhatItsParserTook) {
  for (const unsigned int size : {0u, 2u, 7u}) {
    CBox box;
    EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Join({U32(size), Text("zzzz"), Zeros(100)}))) << size;
  }
  CBox box;
  EXPECT_OK(ParseBox(box, Join({U32(8), Text("zzzz"), Zeros(100)})));
}

TEST(Box, RefusesTheLargeForm) {
  CBox box;
  unsigned int left = 0;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(box, Join({U32(1), Text("zzzz"), U64(16)}), &left));
  EXPECT_EQ(0u, left);
}

TEST(Box, SkipsAndCountsWhatItsParserLeft) {
  CBox box;
  unsigned int left = 0;
  ASSERT_OK(ParseBox(box, Join({Box("zzzz", {Text("abcde")}), Text("fg")}), &left));
  EXPECT_EQ(5u, box.restSize);
  EXPECT_EQ(2u, left);
  EXPECT_EQ(13, SizeOf(box));
  Bytes written;
  EXPECT_OK(WriteBox(box, 13, &written));
  EXPECT_EQ(Box("zzzz", {Zeros(5)}), written);
}

TEST(Box, DoesNotMoveOverARestThatIsNotThere) {
  CBox box;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Join({U32(13), Text("zzzz"), Text("abcd")}), &left));
  EXPECT_EQ(4u, left);
  EXPECT_EQ(0u, box.restSize);
}

TEST(Box, WritesNoZerosWhereTheyDoNotFit) {
  CBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("abc")})));
  Bytes written;
  EXPECT_RESULT(S_FALSE, WriteBox(box, 10, &written));
  EXPECT_EQ(8u, written.size());
}

TEST(Box, RefusesToWriteMoreThanItsSizeFieldSays) {
  const auto box = MakeBox("zzzz");
  Bytes written;
  EXPECT_RESULT(E_BAD_DATA, WriteBox(*box, 8, &written));
  EXPECT_EQ(Zeros(8), written);
  ASSERT_OK(box->FixParam());
  EXPECT_OK(WriteBox(*box, 8, &written));
  EXPECT_EQ(Box("zzzz"), written);
}

TEST(Box, CanNotWriteTheLargeForm) {
  CBox box;
  box.SetBoxSize(0x100000000);
  Bytes written;
  EXPECT_RESULT(E_BAD_DATA, WriteBox(box, 16, &written));
  EXPECT_EQ(Join({U32(1), Zeros(4), U64(0x100000000)}), written);
}

TEST(Box, PeeksAtAHeaderOf8Bytes) {
  CBox box;
  const Bytes bytes = Join({U32(1), Text("mdat"), U64(77)});
  EXPECT_RESULT(S_FALSE, box.Set8Byte(bytes.data(), 7));
  EXPECT_EQ(0u, box.header->type);
  EXPECT_OK(box.Set8Byte(bytes.data(), 8));
  EXPECT_EQ(FourCc("mdat"), box.header->type);
  EXPECT_EQ(0u, box.largeSize);
}

TEST(Box, PeeksAtAHeaderOf16Bytes) {
  const Bytes large = Join({U32(1), Text("mdat"), U64(77)});
  CBox box;
  EXPECT_RESULT(S_FALSE, box.Set16Byte(large.data(), 7));
  EXPECT_EQ(0u, box.header->type);
  EXPECT_RESULT(S_FALSE, box.Set16Byte(large.data(), 15));
  EXPECT_EQ(FourCc("mdat"), box.header->type);
  EXPECT_EQ(0u, box.largeSize);
  EXPECT_OK(box.Set16Byte(large.data(), 16));
  EXPECT_EQ(77u, box.largeSize);
  CBox small;
  const Bytes header = Join({U32(8), Text("free"), U64(77)});
  EXPECT_OK(small.Set16Byte(header.data(), 8));
  EXPECT_OK(small.Set16Byte(header.data(), 16));
  EXPECT_EQ(0u, small.largeSize);
}

TEST(Box, ChoosesTheLargeFormBeyond32BitsOnly) {
  CBox box;
  box.SetBoxSize(0xFFFFFFFF);
  EXPECT_EQ(0xFFFFFFFFu, box.header->size);
  EXPECT_EQ(0u, box.largeSize);
  EXPECT_EQ(0xFFFFFFFF, box.GetBoxSize());
  EXPECT_EQ(8u, box.GetBoxBaseSize());
  box.SetBoxSize(0x100000000);
  EXPECT_EQ(1u, box.header->size);
  EXPECT_EQ(0x100000000u, box.largeSize);
  EXPECT_EQ(0x100000000, box.GetBoxSize());
  EXPECT_EQ(16u, box.GetBoxBaseSize());
  box.SetBoxSize(20);
  EXPECT_EQ(20, box.GetBoxSize());
  EXPECT_EQ(0x100000000u, box.largeSize);
  box.SetBoxSize(0);
  EXPECT_EQ(0, box.GetBoxSize());
  box.SetBoxSize(-1);
  EXPECT_EQ(0xFFFFFFFFu, box.header->size);
}

TEST(Box, WritesItsHeaderAlone) {
  MP4G::CDataMemBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("payload")})));
  EXPECT_EQ(8u, box.GetBoxBaseSize());
  Bytes block(20, 0xEE);
  unsigned char* out = block.data();
  unsigned int rest = 20;
  EXPECT_OK(box.GetBoxBaseData(out, rest));
  EXPECT_EQ(12u, rest);
  EXPECT_EQ(Join({U32(15), Text("zzzz"), support::Fill(12, 0xEE)}), block);
  rest = 7;
  EXPECT_OK(box.GetBoxBaseData(out, rest));
  EXPECT_EQ(7u, rest);
}

TEST(Box, GivesItsUsertypeAsAnIdentifier) {
  CBox box;
  ASSERT_OK(ParseBox(box, Join({U32(24), Text("uuid"), kUsertype})));
  const _GUID expected = {
      0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_TRUE(expected == box.GetUsertype());
}

TEST(Box, ClassTypeAndHeaderTypeAreTwoThings) {
  CBox box;
  box.SetClassType(0x61626364);
  EXPECT_EQ(0x61626364u, box.GetClassType());
  EXPECT_EQ(Text("abcd"), Bytes(box.classType.bytes, box.classType.bytes + 4));
  EXPECT_EQ(0u, box.header->type);
  ASSERT_OK(ParseBox(box, Box("zzzz")));
  EXPECT_EQ(0x61626364u, box.GetClassType());
  EXPECT_EQ(FourCc("zzzz"), box.header->type);
}

TEST(Box, NewOneIsEmpty) {
  CBox box;
  EXPECT_EQ(nullptr, box.parent);
  EXPECT_TRUE(box.children.empty());
  EXPECT_EQ(0u, box.GetClassType());
  EXPECT_EQ(0u, box.restSize);
  EXPECT_EQ(0, box.position);
  EXPECT_EQ(0, box.GetBoxSize());
  EXPECT_EQ(0u, box.header->type);
  EXPECT_TRUE(_GUID{} == box.GetUsertype());
  EXPECT_EQ(8, SizeOf(box));
}

TEST(Box, ResetKeepsItsIdentityAndItsPlace) {
  CBox parent;
  auto* box = new CBox;
  parent.AddChildBox(box);
  box->SetClassType(FourCc("uuid"));
  box->position = 99;
  ASSERT_OK(ParseBox(*box, Join({U32(27), Text("uuid"), kUsertype, Text("abc")})));
  box->AddChildBox(new CBox);
  box->largeSize = 5;
  box->Reset();
  EXPECT_EQ(&parent, box->parent);
  EXPECT_EQ(FourCc("uuid"), box->GetClassType());
  EXPECT_TRUE(box->children.empty());
  EXPECT_EQ(0u, box->restSize);
  EXPECT_EQ(0, box->position);
  EXPECT_EQ(0u, box->header->size);
  EXPECT_EQ(0u, box->header->type);
  EXPECT_EQ(0u, box->largeSize);
  EXPECT_TRUE(_GUID{} == box->GetUsertype());
}

TEST(Box, InitResets) {
  CBox box;
  ASSERT_OK(ParseBox(box, Box("zzzz", {Text("abc")})));
  EXPECT_OK(box.Init());
  EXPECT_EQ(0u, box.restSize);
  EXPECT_EQ(0u, box.header->type);
}

TEST(Box, KnowsTheNineTypesOfTheTopLevel) {
  for (const char* type :
       {"free", "ftyp", "mdat", "meta", "mfra", "moof", "moov", "pdin", "skip"}) {
    EXPECT_TRUE(CBox::IsTopLevelBox(support::ReadU32(Text(type), 0))) << type;
  }
  for (const char* type : {"uuid", "trak", "wide", "FTYP", "ftyq", "styp"}) {
    EXPECT_FALSE(CBox::IsTopLevelBox(support::ReadU32(Text(type), 0))) << type;
  }
  EXPECT_FALSE(CBox::IsTopLevelBox(0));
}

TEST(Box, SaysWhatIsLeftOfABox) {
  unsigned int left = 77;
  EXPECT_RESULT(E_POINTER, CBox::CalcurateBoxRestSize(1, 2, 0, nullptr));
  EXPECT_RESULT(E_UNEXPECTED, CBox::CalcurateBoxRestSize(1, 2, 0, &left));
  EXPECT_RESULT(E_BAD_DATA, CBox::CalcurateBoxRestSize(10, 1, 8, &left));
  EXPECT_RESULT(E_BAD_DATA, CBox::CalcurateBoxRestSize(10, 9, 0, &left));
  EXPECT_RESULT(E_BAD_DATA, CBox::CalcurateBoxRestSize(10, 10, -1, &left));
  EXPECT_RESULT(E_PENDING, CBox::CalcurateBoxRestSize(10, 10, 0, &left));
  EXPECT_RESULT(E_PENDING, CBox::CalcurateBoxRestSize(10, 1, 0x100000000, &left));
  EXPECT_EQ(77u, left);
  EXPECT_OK(CBox::CalcurateBoxRestSize(10, 1, 9, &left));
  EXPECT_EQ(0u, left);
  EXPECT_OK(CBox::CalcurateBoxRestSize(10, 1, 0xFFFFFFFF, &left));
  EXPECT_EQ(0xFFFFFFF6u, left);
}

TEST(Box, SaysHowLongAHeaderAPayloadNeeds) {
  EXPECT_EQ(8u, CBox::CalcurateBoxBaseSize(0));
  EXPECT_EQ(8u, CBox::CalcurateBoxBaseSize(0xFFFFFFF7));
  EXPECT_EQ(16u, CBox::CalcurateBoxBaseSize(0xFFFFFFF8));
}

TEST(Box, ComparesByBytes) {
  const Bytes bytes = Box("zzzz", {Text("abcd")});
  const auto parse = [](const Bytes& source) {
    auto box = std::make_unique<MP4G::CDataMemBox>();
    EXPECT_OK(ParseBox(*box, source));
    return box;
  };
  const auto box = parse(bytes);
  EXPECT_TRUE(box->IsSameBox(parse(bytes).get()));
  EXPECT_TRUE(box->IsSameBox(box.get()));
  EXPECT_FALSE(box->IsSameBox(nullptr));
  EXPECT_FALSE(box->IsSameBox(parse(Box("zzzz", {Text("abce")})).get()));
  EXPECT_FALSE(box->IsSameBox(parse(Box("zzzy", {Text("abcd")})).get()));
  EXPECT_FALSE(box->IsSameBox(parse(Box("zzzz", {Text("abcde")})).get()));
}

TEST(Box, IsNotTheSameAsAnythingWhileItCanNotBeWritten) {
  const auto sized = [](long long size) {
    auto box = std::make_unique<MP4G::CDataMemBox>();
    box->SetBoxSize(size);
    return box;
  };
  EXPECT_TRUE(sized(8)->IsSameBox(sized(8).get()));
  EXPECT_FALSE(sized(0)->IsSameBox(sized(0).get()));
  EXPECT_FALSE(sized(7)->IsSameBox(sized(7).get()));
  EXPECT_FALSE(sized(0x100000000)->IsSameBox(sized(0x100000000).get()));
  const auto tooSmall = sized(8);
  ASSERT_OK(tooSmall->AllocSize(1));
  EXPECT_FALSE(tooSmall->IsSameBox(sized(8).get()));
  EXPECT_FALSE(sized(8)->IsSameBox(tooSmall.get()));
}

TEST(FullBox, AddsVersionAndFlags) {
  CFullBox box;
  const Bytes bytes = FullBox("zzzz", 7, 0xABCDEF);
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(7u, box.fullHeader->version);
  EXPECT_EQ(0xABCDEFu, box.fullHeader->flags);
  EXPECT_EQ(12, SizeOf(box));
  Bytes written;
  EXPECT_OK(WriteBox(box, 12, &written));
  EXPECT_EQ(bytes, written);
  EXPECT_RESULT(S_FALSE, WriteBox(box, 11, &written));
  EXPECT_EQ(8u, written.size());
  EXPECT_RESULT(E_POINTER, box.GetDataSizeImpl(nullptr));
}

TEST(FullBox, NeedsFourBytesBehindItsHeader) {
  CFullBox box;
  unsigned int left = 0;
  EXPECT_RESULT(S_FALSE, ParseBox(box, Join({U32(12), Text("zzzz"), Zeros(3)}), &left));
  EXPECT_EQ(3u, left);
  CFullBox behindItsEnd;
  EXPECT_RESULT(E_BAD_DATA, ParseBox(behindItsEnd, Join({U32(11), Text("zzzz"), Zeros(4)})));
}

TEST(FullBox, ResetClearsVersionAndFlags) {
  CFullBox box;
  ASSERT_OK(ParseBox(box, FullBox("zzzz", 7, 0xABCDEF)));
  box.Reset();
  EXPECT_EQ(0u, box.fullHeader->version);
  EXPECT_EQ(0u, box.fullHeader->flags);
  EXPECT_EQ(0u, box.header->type);
}

}  // namespace
