#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "box/box_factory.h"
#include "box/sample_table_boxes.h"
#include "support/box_io.h"

namespace {

using support::Bytes;
using support::FixAndWrite;
using support::FullBox;
using support::operator+;
using support::ParseBox;
using support::U24;
using support::U32;
using support::U64;
using support::Zeros;

// What the tests need to know of a class in the common form: its type, its three sample entries in
// the file, and whether parsing again replaces the table.
template <class T>
struct Traits;

template <>
struct Traits<MP4G::CTimeToSampleBox> {
  static constexpr const char* kType = "stts";
  static constexpr bool kReplaces = false;
  static Bytes Entry(unsigned int n) { return U32(n) + U32(100 + n); }
  static bool Is(const MP4G::_tagDECODING_TIME_TO_SAMPLE& entry, unsigned int n) {
    return entry.sampleCount == n && entry.sampleDelta == 100 + n;
  }
};

template <>
struct Traits<MP4G::CCompositionOffsetBox> {
  static constexpr const char* kType = "ctts";
  static constexpr bool kReplaces = false;
  static Bytes Entry(unsigned int n) { return U32(n) + U32(0xFFFFFF00 + n); }
  static bool Is(const MP4G::_tagCOMPOSITION_TIME_TO_SAMPLE& entry, unsigned int n) {
    return entry.sampleCount == n && entry.sampleOffset == 0xFFFFFF00 + n;
  }
};

template <>
struct Traits<MP4G::CSampleToChunkBox> {
  static constexpr const char* kType = "stsc";
  static constexpr bool kReplaces = false;
  static Bytes Entry(unsigned int n) { return U32(n) + U32(7 * n) + U32(0x01020300 + n); }
  static bool Is(const MP4G::_tagSAMPLE_TO_CHUNK& entry, unsigned int n) {
    return entry.firstChunk == n && entry.samplesPerChunk == 7 * n &&
           entry.sampleDescriptionIndex == 0x01020300 + n;
  }
};

template <>
struct Traits<MP4G::CChunkOffsetBox> {
  static constexpr const char* kType = "stco";
  static constexpr bool kReplaces = false;
  static Bytes Entry(unsigned int n) { return U32(0xF0000000 + n); }
  static bool Is(unsigned int entry, unsigned int n) { return entry == 0xF0000000 + n; }
};

template <>
struct Traits<MP4G::CChunkLargeOffsetBox> {
  static constexpr const char* kType = "co64";
  static constexpr bool kReplaces = false;
  static Bytes Entry(unsigned int n) { return U64(0xF000000012345600 + n); }
  static bool Is(unsigned long long entry, unsigned int n) {
    return entry == 0xF000000012345600 + n;
  }
};

template <>
struct Traits<MP4G::CSyncSampleBox> {
  static constexpr const char* kType = "stss";
  static constexpr bool kReplaces = true;
  static Bytes Entry(unsigned int n) { return U32(0xF0000000 + n); }
  static bool Is(unsigned int entry, unsigned int n) { return entry == 0xF0000000 + n; }
};

template <class T>
class EntryTable : public testing::Test {
 protected:
  using Of = Traits<T>;

  static Bytes Table(unsigned int count, const Bytes& entries, std::uint8_t version = 0,
                     std::uint32_t flags = 0) {
    return FullBox(Of::kType, version, flags, {U32(count), entries});
  }
  static Bytes Entries(unsigned int count) {
    Bytes bytes;
    for (unsigned int n = 1; n <= count; ++n) bytes = bytes + Of::Entry(n);
    return bytes;
  }
  static constexpr unsigned int kCountEnds = 16;

  T box;
};

using TableClasses =
    testing::Types<MP4G::CTimeToSampleBox, MP4G::CCompositionOffsetBox, MP4G::CSampleToChunkBox,
                   MP4G::CChunkOffsetBox, MP4G::CChunkLargeOffsetBox, MP4G::CSyncSampleBox>;

struct TypeNames {
  template <class T>
  static std::string GetName(int) {
    return Traits<T>::kType;
  }
};
TYPED_TEST_SUITE(EntryTable, TableClasses, TypeNames);

TYPED_TEST(EntryTable, IsMadeByTheFactory) {
  std::uint32_t type = 0;
  for (const char c : std::string(Traits<TypeParam>::kType)) {
    type = type << 8 | static_cast<unsigned char>(c);
  }
  TypeParam* made = nullptr;
  ASSERT_OK(MP4G::CBoxFactory::CreateBox<TypeParam>(type, &made));
  const std::unique_ptr<TypeParam> owned(made);
  EXPECT_EQ(type, made->GetClassType());
  EXPECT_EQ(0u, made->entryCount);
  EXPECT_TRUE(made->entries.empty());
}

TYPED_TEST(EntryTable, ReadsItsEntriesAndWritesTheSameBytes) {
  const Bytes bytes = this->Table(3, this->Entries(3));
  ASSERT_OK(ParseBox(this->box, bytes));
  EXPECT_EQ(3u, this->box.entryCount);
  ASSERT_EQ(3u, this->box.entries.size());
  for (unsigned int n = 1; n <= 3; ++n) {
    EXPECT_TRUE(Traits<TypeParam>::Is(this->box.entries[n - 1], n)) << n;
  }
  EXPECT_EQ(bytes, FixAndWrite(this->box));
}

TYPED_TEST(EntryTable, CarriesAnyVersionAndFlagsThrough) {
  const Bytes bytes = this->Table(2, this->Entries(2), 0xA5, 0x123456);
  ASSERT_OK(ParseBox(this->box, bytes));
  EXPECT_EQ(2u, this->box.entries.size());
  EXPECT_EQ(bytes, FixAndWrite(this->box));
}

TYPED_TEST(EntryTable, AcceptsNoEntries) {
  const Bytes bytes = this->Table(0, {});
  ASSERT_OK(ParseBox(this->box, bytes));
  EXPECT_EQ(0u, this->box.entryCount);
  EXPECT_TRUE(this->box.entries.empty());
  EXPECT_EQ(bytes, FixAndWrite(this->box));
}

TYPED_TEST(EntryTable, KeepsTheEntriesBeforeAShortOne) {
  const Bytes bytes = this->Table(2, this->Entries(1));
  EXPECT_RESULT(S_FALSE, ParseBox(this->box, bytes));
  EXPECT_EQ(2u, this->box.entryCount);
  ASSERT_EQ(1u, this->box.entries.size());
  EXPECT_TRUE(Traits<TypeParam>::Is(this->box.entries[0], 1));
}

TYPED_TEST(EntryTable, AnswersShortAtEveryTruncation) {
  const Bytes whole = this->Table(2, this->Entries(2));
  const std::size_t entrySize = this->Entries(1).size();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    TypeParam parsed;
    const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    unsigned int left = 99;
    EXPECT_RESULT(S_FALSE, ParseBox(parsed, bytes, &left)) << length;
    const std::size_t there =
        length < this->kCountEnds ? 0 : (length - this->kCountEnds) / entrySize;
    EXPECT_EQ(there, parsed.entries.size()) << length;
    if (length >= this->kCountEnds) {
      EXPECT_EQ((length - this->kCountEnds) % entrySize, left) << length;
    }
  }
}

TYPED_TEST(EntryTable, LeavesEntriesBehindTheCountAsZeros) {
  const Bytes bytes = this->Table(1, this->Entries(2));
  ASSERT_OK(ParseBox(this->box, bytes));
  const unsigned int entrySize = static_cast<unsigned int>(this->Entries(1).size());
  EXPECT_EQ(1u, this->box.entries.size());
  EXPECT_EQ(entrySize, this->box.restSize);
  EXPECT_EQ(support::WithU32(this->Table(1, this->Entries(1)) + Zeros(entrySize), 0,
                             static_cast<std::uint32_t>(bytes.size())),
            FixAndWrite(this->box));
}

TYPED_TEST(EntryTable, AllocatesForTheBytesAndNotForTheCount) {
  EXPECT_RESULT(S_FALSE, ParseBox(this->box, this->Table(0xFFFFFFFF, this->Entries(1))));
  EXPECT_EQ(0xFFFFFFFFu, this->box.entryCount);
  EXPECT_EQ(1u, this->box.entries.size());
  EXPECT_LT(this->box.entries.capacity(), 100u);
}

TYPED_TEST(EntryTable, ParsingAgainAppendsUnlessTheClassReplaces) {
  ASSERT_OK(ParseBox(this->box, this->Table(2, this->Entries(2))));
  ASSERT_OK(ParseBox(this->box, this->Table(1, this->Entries(1))));
  EXPECT_EQ(1u, this->box.entryCount);
  EXPECT_EQ(Traits<TypeParam>::kReplaces ? 1u : 3u, this->box.entries.size());
  EXPECT_TRUE(Traits<TypeParam>::Is(this->box.entries.back(), 1));
}

TYPED_TEST(EntryTable, KeepsItsEntriesWhenTheSecondParseHasNoCount) {
  ASSERT_OK(ParseBox(this->box, this->Table(2, this->Entries(2))));
  EXPECT_RESULT(S_FALSE, ParseBox(this->box, FullBox(Traits<TypeParam>::kType, 0, 0, {U24(0)})));
  EXPECT_EQ(2u, this->box.entryCount);
  EXPECT_EQ(2u, this->box.entries.size());
}

TYPED_TEST(EntryTable, WritesTheCountAsStoredUntilFixParamDerivesIt) {
  ASSERT_OK(ParseBox(this->box, this->Table(2, this->Entries(2))));
  this->box.entries.pop_back();
  Bytes written(this->kCountEnds + this->Entries(1).size());
  unsigned char* out = written.data();
  unsigned int rest = static_cast<unsigned int>(written.size());
  ASSERT_OK(this->box.GetDataImpl(out, rest));
  EXPECT_EQ(0u, rest);
  EXPECT_EQ(2u, support::ReadU32(written, 12));

  ASSERT_OK(this->box.FixParam());
  EXPECT_EQ(1u, this->box.entryCount);
  EXPECT_EQ(this->Table(1, this->Entries(1)), FixAndWrite(this->box));
}

TYPED_TEST(EntryTable, SaysItsSizeByItsEntries) {
  long long total = -1;
  ASSERT_OK(this->box.GetDataSizeImpl(&total));
  EXPECT_EQ(16, total);
  ASSERT_OK(ParseBox(this->box, this->Table(3, this->Entries(3))));
  ASSERT_OK(this->box.GetDataSizeImpl(&total));
  EXPECT_EQ(static_cast<long long>(16 + this->Entries(3).size()), total);
  EXPECT_RESULT(E_POINTER, this->box.GetDataSizeImpl(nullptr));
}

TYPED_TEST(EntryTable, AnswersShortWhereTheOutputEnds) {
  const Bytes whole = this->Table(2, this->Entries(2));
  ASSERT_OK(ParseBox(this->box, whole));
  for (unsigned int room = 0; room <= whole.size(); ++room) {
    Bytes written(whole.size(), 0xEE);
    unsigned char* out = written.data();
    unsigned int rest = room;
    EXPECT_RESULT(room < whole.size() ? S_FALSE : S_OK, this->box.GetDataImpl(out, rest)) << room;
    for (std::size_t i = room; i < written.size(); ++i) EXPECT_EQ(0xEE, written[i]) << room;
  }
}

TYPED_TEST(EntryTable, ResetEmptiesIt) {
  ASSERT_OK(ParseBox(this->box, this->Table(2, this->Entries(2), 1, 1)));
  this->box.Reset();
  EXPECT_EQ(0u, this->box.entryCount);
  EXPECT_TRUE(this->box.entries.empty());
  TypeParam fresh;
  EXPECT_EQ(FixAndWrite(fresh), FixAndWrite(this->box));
}

}  // namespace
