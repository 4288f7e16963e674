#include "workflow/clips/clip_json.h"

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

TEST(ClipJson, GivesEveryPathBack) {
  for (const std::string path : {"a", "/a b/\xC3\xA9.mp4", "a\xFF", "\xED\xA0\x80", "\xC0\x80",
                                 "\xF4\x90\x80\x80", "a\n\x7F"}) {
    Json object;
    SetPath(object, path);
    EXPECT_EQ(path, PathFrom(Json::parse(JsonText(object))));
  }
}

TEST(ClipJson, FindsNoPathWhereThereIsNone) {
  for (const char* text :
       {"{}", "[]", "null", "\"a\"", R"({"path": 1})", R"({"path": null})", R"({"path": ""})",
        R"({"path": "a\u0000b"})", R"({"path": "a", "path_bytes": 61})",
        R"({"path": "a", "path_bytes": null})", R"({"path": "a", "path_bytes": ""})",
        R"({"path": "a", "path_bytes": "616"})", R"({"path": "a", "path_bytes": "6x"})",
        R"({"path": "a", "path_bytes": "-1"})", R"({"path": "a", "path_bytes": "6100"})"})
    EXPECT_EQ(std::nullopt, PathFrom(Json::parse(text))) << text;
  EXPECT_EQ("a", PathFrom(Json::parse(R"({"path": "a"})")));
  EXPECT_EQ("b", PathFrom(Json::parse(R"({"path": "a", "path_bytes": "62"})")));
  EXPECT_EQ("K", PathFrom(Json::parse(R"({"path_bytes": "4B"})")));
}
