#include <gtest/gtest.h>

#include <memory>

#include "box/descriptors.h"
#include "box/es_descriptor_box.h"
#include "support/box_checks.h"
#include "support/box_io.h"
#include "support/descriptor_io.h"
#include "support/small_stack.h"

namespace {

using MP4G::CBaseDescriptor;
using MP4G::CEsDescriptor;
using support::Bytes;
using support::FullBox;
using support::Hex;
using support::MakeBox;
using support::OnSmallStack;
using support::operator+;
using support::ParseBox;
using support::ParseDescriptor;
using support::SizeOf;
using support::WriteBox;
using support::WriteDescriptor;
using support::Written;

constexpr std::size_t kMillion = 1000000;

// ES descriptors, each the child of the one before it, `levels` below the first.
Bytes NestedBytes(std::size_t levels) {
  Bytes bytes;
  bytes.reserve((levels + 1) * 8);
  for (std::size_t level = 0; level <= levels; ++level) {
    const std::size_t payload = (levels - level) * 8 + 3;
    bytes.push_back(3);
    for (const unsigned int shift : {21u, 14u, 7u, 0u})
      bytes.push_back(
          static_cast<unsigned char>((payload >> shift & 0x7F) | (shift != 0 ? 0x80 : 0)));
    bytes.insert(bytes.end(), {0, 1, 0});  // ES identifier, flags
  }
  return bytes;
}

// A chain of descriptors of that tag, made by code, `levels` below its root.
std::unique_ptr<CEsDescriptor> NestedTree(std::size_t levels, unsigned char tag = 3) {
  auto root = std::make_unique<CEsDescriptor>();
  CBaseDescriptor* deepest = root.get();
  for (std::size_t level = 0; level < levels; ++level) {
    EXPECT_OK(deepest->AddChildDescriptor(tag));
    deepest = deepest->GetChildDescriptor(tag);
  }
  return root;
}

TEST(DescriptorNesting, AThousandLevelsAreReadFixedAndWrittenOnASmallStack) {
  OnSmallStack([] {
    const Bytes bytes = NestedBytes(1000);
    CEsDescriptor root;
    ASSERT_OK(ParseDescriptor(root, bytes));
    ASSERT_OK(root.FixParam());
    EXPECT_EQ(static_cast<long long>(bytes.size()), SizeOf(root));
    EXPECT_EQ(bytes, Written(root));
    ASSERT_OK(root.SetLengthFieldSize(5));
    ASSERT_OK(root.FixParam());
    EXPECT_EQ(9009, SizeOf(root));
  });
}

TEST(DescriptorNesting, OneLevelMoreIsBadDataInEveryWalk) {
  CEsDescriptor read;
  EXPECT_RESULT(E_BAD_DATA, ParseDescriptor(read, NestedBytes(1001)));
  const auto made = NestedTree(1001);
  long long total = 0;
  EXPECT_RESULT(E_BAD_DATA, made->FixParam());
  EXPECT_RESULT(E_BAD_DATA, made->GetDataSize(&total));
  EXPECT_RESULT(E_BAD_DATA, WriteDescriptor(*made, 10000));
  EXPECT_RESULT(E_BAD_DATA, made->SetLengthFieldSize(4));
  const auto control = NestedTree(1000);
  EXPECT_OK(control->FixParam());
  EXPECT_OK(control->GetDataSize(&total));
  EXPECT_OK(WriteDescriptor(*control, 10000));
  EXPECT_OK(control->SetLengthFieldSize(4));
}

TEST(DescriptorNesting, AMillionLevelsAreRefusedOnASmallStack) {
  const Bytes bytes = FullBox("esds", 0, 0, {NestedBytes(kMillion)});
  OnSmallStack([&] {
    const auto box = MakeBox("esds");
    EXPECT_RESULT(E_BAD_DATA, ParseBox(*box, bytes));
  });
}

TEST(DescriptorNesting, AMillionLevelsMadeByCodeAreDestroyedOnASmallStack) {
  OnSmallStack([] {
    long long total = 0;
    auto tree = NestedTree(kMillion, 5);
    EXPECT_RESULT(E_BAD_DATA, tree->FixParam());
    EXPECT_RESULT(E_BAD_DATA, tree->GetDataSize(&total));
    tree.reset();
    tree = NestedTree(kMillion, 10);
    ASSERT_OK(tree->FixParam());
    EXPECT_TRUE(tree->children.empty()) << "an unknown child goes with all that is below it";
  });
}

TEST(DescriptorNesting, DeepDescriptorsInsideDeepBoxesFitASmallStack) {
  constexpr std::size_t kBoxes = 1000;
  const Bytes esds = FullBox("esds", 0, 0, {NestedBytes(1000)});
  Bytes bytes;
  for (std::size_t level = 0; level < kBoxes; ++level) {
    const std::size_t total = 8 * (kBoxes - level) + esds.size();
    bytes = bytes + support::U32(static_cast<std::uint32_t>(total)) + support::Text("mdia");
  }
  bytes = bytes + esds;
  OnSmallStack([&] {
    const auto box = MakeBox("mdia");
    ASSERT_OK(ParseBox(*box, bytes));
    EXPECT_EQ(bytes, support::FixAndWrite(*box));
  });
}

TEST(DescriptorNesting, AMillionLevelsOfSpecificInfosAreOneBlock) {
  Bytes inside;
  for (std::size_t i = 0; i < kMillion; ++i) {
    inside.push_back(5);
    inside.push_back(127);
  }
  const Bytes bytes = support::DecoderConfig(0x40, {support::Descriptor(5, {inside})});
  MP4G::CDecoderConfigDescriptor config;
  ASSERT_OK(ParseDescriptor(config, bytes));
  EXPECT_EQ(1u, config.children.size());
  EXPECT_EQ(bytes, Written(config));
}

TEST(DescriptorNesting, UnknownDescriptorsAreRemovedInOnePass) {
  // Going back to the first child after each removal would take 4 * 10^10 steps.
  constexpr std::size_t kEach = 200000;
  Bytes children;
  for (std::size_t i = 0; i < kEach; ++i) {
    const Bytes pair = Hex("05 00 0A 00");
    children.insert(children.end(), pair.begin(), pair.end());
  }
  CEsDescriptor es;
  ASSERT_OK(ParseDescriptor(es, support::EsDescriptor({children})));
  EXPECT_EQ(2 * kEach, es.children.size());
  ASSERT_OK(es.FixParam());
  EXPECT_EQ(kEach, es.children.size());
}

TEST(DescriptorNesting, FixParamMeasuresEachDescriptorOnce) {
  // A thousand levels, and many children at the deepest: measuring anew at each level would take
  // 10^8 steps and more.
  const auto tree = NestedTree(999);
  CBaseDescriptor* deepest = tree.get();
  while (deepest->GetChildDescriptor(3) != nullptr) deepest = deepest->GetChildDescriptor(3);
  int measured = 0;
  class Counted : public CBaseDescriptor {
   public:
    explicit Counted(int* count) : count_(count) { tag = 5; }
    [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
      ++*count_;
      return CBaseDescriptor::GetDataSizeImpl(total);
    }

   private:
    int* count_;
  };
  for (int i = 0; i < 100; ++i) deepest->AddChildDescriptor(new Counted(&measured));
  ASSERT_OK(tree->FixParam());
  EXPECT_LE(measured, 200);
}

}  // namespace
