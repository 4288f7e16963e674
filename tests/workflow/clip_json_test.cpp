#include "workflow/clip_json.h"

#include <gtest/gtest.h>

using namespace clipchain;

namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};
constexpr _GUID kGuid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

}  // namespace

TEST(ClipJson, SpellsDates) {
  EXPECT_EQ("\"2024-05-06T07:08:09\"", DateJson(kDate).dump());
  EXPECT_EQ("null", DateJson(std::nullopt).dump());
}

TEST(ClipJson, SpellsIdentifiers) {
  EXPECT_EQ("\"01020304-0506-0708-090a-0b0c0d0e0f10\"", GuidJson(kGuid).dump());
  EXPECT_EQ("null", GuidJson(_GUID{}).dump());
}

TEST(ClipJson, SpellsDurations) {
  EXPECT_EQ("2.56", SecondsJson(32768, 12800).dump());
  EXPECT_EQ("null", SecondsJson(32768, 0).dump());
}

TEST(ClipJson, KeepsPathsThatAreNoTextByteForByte) {
  Json object;
  SetPath(object, "clip-\xC3\xA9.mp4");
  EXPECT_EQ("{\"path\":\"clip-\xC3\xA9.mp4\"}", object.dump());
  object = {};
  SetPath(object, "a\xFF");
  EXPECT_EQ("61ff", object["path_bytes"]);
  const std::string text = JsonText(object);
  EXPECT_EQ("a\xEF\xBF\xBD", Json::parse(text)["path"]);
  EXPECT_EQ('\n', text.back());
}
