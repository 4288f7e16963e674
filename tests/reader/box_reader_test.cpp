#include "reader/box_reader.h"

#include <gtest/gtest.h>

#include "box/sample_table_boxes.h"
#include "reader/mp4_tree.h"
#include "support/box_io.h"
#include "support/table_bytes.h"

namespace {

using support::Bytes;

class BoxReader : public testing::Test {
 protected:
  BoxReader() {
    box.SetClassType(FourCc("stco"));
    box.entries = {60, 70};
  }

  MP4G::CChunkOffsetBox box;
  const unsigned char* data = nullptr;
  unsigned int size = 0;
};

TEST_F(BoxReader, LendsTheBytesOfABoxThatItFixesFirst) {
  MP4G::CBoxReader reader(&box);
  EXPECT_EQ(nullptr, reader.buffer);
  ASSERT_OK(reader.GetData(&data, &size));
  EXPECT_EQ(support::Stco({60, 70}), Bytes(data, data + size));
  EXPECT_EQ(24u, box.header->size);
}

TEST_F(BoxReader, LendsANewBlockAtEachCall) {
  MP4G::CBoxReader reader(&box);
  ASSERT_OK(reader.GetData(&data, &size));
  box.entries.push_back(80);
  ASSERT_OK(reader.GetData(&data, &size));
  EXPECT_EQ(support::Stco({60, 70, 80}), Bytes(data, data + size));
}

TEST_F(BoxReader, ForgetsItsBlockOnResetAndOnAWrongCall) {
  MP4G::CBoxReader reader(&box);
  ASSERT_OK(reader.GetData(&data, &size));
  reader.Reset();
  EXPECT_EQ(nullptr, reader.buffer);
  ASSERT_OK(reader.GetData(&data, &size));
  EXPECT_RESULT(E_POINTER, reader.GetData(nullptr, &size));
  EXPECT_EQ(nullptr, reader.buffer);
  EXPECT_RESULT(E_POINTER, reader.GetData(&data, nullptr));
  EXPECT_RESULT(E_POINTER, MP4G::CBoxReader(nullptr).GetData(&data, &size));
}

// A box that says of itself what a test wants.
class OddBox : public MP4G::CBox {
 public:
  HRESULT FixParamImpl() override { return fix; }
  HRESULT GetDataSizeImpl(long long* total) const override {
    const bool fixing = sizeCalls++ == 0;
    *total = fixing ? 8 : length;
    return fixing ? S_OK : lengthResult;
  }
  HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override {
    return write != S_OK ? write : CBox::GetDataImpl(out, rest);
  }

  HRESULT fix = S_OK;
  HRESULT lengthResult = S_OK;  // of the size that is asked for after the fixing
  HRESULT write = S_OK;
  long long length = 8;
  mutable int sizeCalls = 0;
};

TEST_F(BoxReader, PassesOnWhatTheBoxSays) {
  const auto result = [this](auto change) {
    OddBox odd;
    change(odd);
    return MP4G::CBoxReader(&odd).GetData(&data, &size);
  };
  EXPECT_OK(result([](OddBox&) {}));
  EXPECT_RESULT(S_FALSE, result([](OddBox& odd) { odd.fix = S_FALSE; }));
  EXPECT_RESULT(S_FALSE, result([](OddBox& odd) { odd.lengthResult = S_FALSE; }));
  EXPECT_RESULT(S_FALSE, result([](OddBox& odd) { odd.write = S_FALSE; }));
}

TEST_F(BoxReader, RefusesASizeOfZeroOrBeyond32Bits) {
  for (const long long length : {0LL, 0x100000000LL}) {
    OddBox odd;
    odd.length = length;
    EXPECT_RESULT(E_BAD_DATA, MP4G::CBoxReader(&odd).GetData(&data, &size)) << length;
  }
}

TEST_F(BoxReader, KeepsTheBlockOfAFailedWriteForTheNextCall) {
  OddBox odd;
  odd.write = S_FALSE;
  MP4G::CBoxReader reader(&odd);
  EXPECT_RESULT(S_FALSE, reader.GetData(&data, &size));
  EXPECT_NE(nullptr, reader.buffer);
  EXPECT_EQ(nullptr, data);
  odd.write = S_OK;
  odd.sizeCalls = 0;
  EXPECT_OK(reader.GetData(&data, &size));
}

TEST_F(BoxReader, GivesATreeACopyOfABox) {
  MP4G::CMp4Tree tree;
  EXPECT_RESULT(E_POINTER, tree.AddBoxData(nullptr));
  ASSERT_OK(tree.AddBoxData(&box));
  auto* copy = dynamic_cast<MP4G::CChunkOffsetBox*>(tree.GetBox(FourCc("stco"), 0));
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(&box, copy);
  EXPECT_EQ(box.entries, copy->entries);
  EXPECT_EQ(0, copy->position);
  OddBox odd;
  odd.write = E_BAD_DATA;
  EXPECT_RESULT(E_BAD_DATA, tree.AddBoxData(&odd));
  EXPECT_EQ(1u, tree.boxes.size());
}

}  // namespace
