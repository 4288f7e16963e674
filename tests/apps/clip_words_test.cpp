#include "clipchain/clip_words.h"

#include <gtest/gtest.h>

using namespace clipchain;

namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};
constexpr _GUID kGuid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

}  // namespace

TEST(ClipWords, SpellDates) {
  EXPECT_EQ("2024-05-06 07:08:09", DateWords(kDate));
  EXPECT_EQ("unknown", DateWords(std::nullopt));
  EXPECT_EQ("\"2024-05-06T07:08:09\"", DateJson(kDate).dump());
  EXPECT_EQ("null", DateJson(std::nullopt).dump());
}

TEST(ClipWords, SpellIdentifiers) {
  EXPECT_EQ("01020304-0506-0708-090a-0b0c0d0e0f10", GuidWords(kGuid));
  EXPECT_EQ("none", GuidWords(_GUID{}));
  EXPECT_EQ("\"01020304-0506-0708-090a-0b0c0d0e0f10\"", GuidJson(kGuid).dump());
  EXPECT_EQ("null", GuidJson(_GUID{}).dump());
}

TEST(ClipWords, SpellDurations) {
  EXPECT_EQ("2.560 s", DurationWords(32768, 12800));
  EXPECT_EQ("unknown", DurationWords(32768, 0));
  EXPECT_EQ("2.56", SecondsJson(32768, 12800).dump());
  EXPECT_EQ("null", SecondsJson(32768, 0).dump());
}

TEST(ClipWords, KeepPathsThatAreNoTextByteForByte) {
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
