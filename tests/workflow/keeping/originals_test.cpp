#include "workflow/keeping/originals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <system_error>

#include "support/temp_dir.h"
#include "workflow/clips/clip_json.h"
#include "workflow/keeping/checksum_file.h"
#include "workflow/keeping/originals_archive.h"
#include "workflow/system/part_file.h"

using namespace clipchain;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string kHash(32, 'a');

Originals Sample() {
  Originals originals;
  originals.resultSize = 100;
  originals.own = {{0, 10, kHash}, {90, 10, kHash}};
  originals.options.exact = true;
  OriginalClip clip;
  clip.name = "a.mp4";
  clip.place = "/media/card/\xFF/a.mp4";
  clip.size = 50;
  clip.modified = {-5, 999'999'999};
  clip.hashes = {kHash, std::string(64, 'b')};
  clip.recipe = {{7, 10, 40}, {3, 0, 0}};
  originals.clips = {clip};
  clip.name = "b\xFE.mp4";
  clip.size = 40;
  clip.hashes.sha256.clear();
  clip.recipe = {{0, 50, 40}};
  originals.clips.push_back(clip);
  return originals;
}

// What reading says about the sample with one thing changed.
clipchain::Reason Reading(const std::function<void(Json&)>& change) {
  Json document = Json::parse(OriginalsText(Sample()));
  change(document);
  Originals read;
  return ReadOriginals(document.dump(), read);
}

TEST(Originals, AreReadAsTheyWereWritten) {
  Originals read;
  EXPECT_EQ(std::nullopt, ReadOriginals(OriginalsText(Sample()), read));
  EXPECT_EQ(OriginalsText(Sample()), OriginalsText(read));
  EXPECT_EQ("b\xFE.mp4", read.clips[1].name);
  EXPECT_EQ(-5, read.clips[0].modified.tv_sec);
  EXPECT_TRUE(read.options.exact);
  EXPECT_EQ(10u, read.clips[0].KeptBytes());
}

TEST(Originals, RefuseWhatContradictsItself) {
  EXPECT_EQ(std::nullopt, Reading([](Json&) {}));
  const auto clip = [](const std::function<void(Json&)>& change) {
    return Reading([&](Json& document) { change(document["clips"][0]); });
  };
  EXPECT_NE(std::nullopt, Reading([](Json& all) { all["format"] = "other"; }));
  EXPECT_NE(std::nullopt, Reading([](Json& all) { all["version"] = 2; }));
  EXPECT_NE(std::nullopt, Reading([](Json& all) { all["clips"] = Json::array(); }));
  EXPECT_NE(std::nullopt, Reading([](Json& all) { all.erase("options"); }));
  EXPECT_NE(std::nullopt, Reading([](Json& all) { all["result"]["size"] = 89; }));
  EXPECT_NE(std::nullopt,
            Reading([](Json& all) { all["clips"][1]["name"] = all["clips"][0]["name"]; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["size"] = 51; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["size"] = 49; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["size"] = -1; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["size"] = 1e300; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["xxh128"] = "short"; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["sha256"] = std::string(64, 'X'); }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["modified"][1] = 1'000'000'000; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["recipe"][0][1] = 61; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["recipe"][0][1] = 18446744073709551615u; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["recipe"][0][2] = 0; }));
  EXPECT_NE(std::nullopt, clip([](Json& one) { one["recipe"].push_back({0, 0, 0}); }));
  Originals read;
  EXPECT_NE(std::nullopt, ReadOriginals("", read));
  EXPECT_NE(std::nullopt, ReadOriginals(std::string(100'000, '['), read));
}

TEST(Originals, OfFewBytesAndManyPartsAreRefusedBeforeTheyAreBuilt) {
  const auto many = [](const std::string& part) {
    std::string text = R"({"format":"clipchain originals","clips":[)";
    for (int i = 0; i < 50'000; ++i) text += part;
    Originals read;
    return ReadOriginals(text + "0]}", read);
  };
  for (const char* part : {"[],", "{},", "0,", R"({"":0},)"})
    EXPECT_THAT(many(part),
                testing::Optional(testing::HasSubstr("more parts than its size allows")))
        << part;
  // Brackets in a name are none.
  Originals originals = Sample();
  originals.clips[0].place = std::string(100'000, '[') + "\\\"" + std::string(100'000, '{');
  Originals read;
  EXPECT_EQ(std::nullopt, ReadOriginals(OriginalsText(originals), read));
  // A recording of many fragments is read in no time.
  originals.clips[1].size = 50'000;
  originals.resultSize = 50'100;
  originals.clips[1].recipe.assign(50'000, {0, 1, 1});
  EXPECT_EQ(std::nullopt, ReadOriginals(OriginalsText(originals), read));
  EXPECT_EQ(50'000u, read.clips[1].recipe.size());
}

TEST(Originals, RefuseNamesThatNoSingleFileCanHave) {
  for (const char* name : {"a/b", "/a", "..", ".", "", "NUL", "con.mp4", "Com1", "lpt9.x", "aux "})
    EXPECT_FALSE(IsFileName(name)) << name;
  EXPECT_FALSE(IsFileName(std::string_view("a\0b", 3)));
  EXPECT_FALSE(IsFileName(std::string(256, 'a')));
  for (const char* name : {"a", "...", "console.mp4", "com.mp4", "com10", " x", "a\\b"})
    EXPECT_TRUE(IsFileName(name)) << name;
  EXPECT_THAT(Reading([](Json& all) { all["clips"][0]["name"]["path"] = "../a"; }),
              testing::Optional(HasSubstr("single file")));
}

TEST(Originals, GiveTheSecondOfEqualNamesANumber) {
  EXPECT_THAT(NamesFor({"x/a.mp4", "y/a.mp4", "z/a.mp4", "b"}),
              ElementsAre("a.mp4", "a-2.mp4", "a-3.mp4", "b"));
  EXPECT_THAT(NamesFor({"x/a.mp4", "y/a.mp4", "a-2.mp4"}),
              ElementsAre("a.mp4", "a-3.mp4", "a-2.mp4"));
  EXPECT_THAT(NamesFor({"clipchain-originals.json", ".a", "x/.a"}),
              ElementsAre("clipchain-originals-2.json", ".a", ".a-2"));
}

TEST(OriginalsArchive, GivesTheBytesOfEachClip) {
  const support::TempDir folder;
  PartFile part;
  ASSERT_EQ(std::error_code(), part.Create(folder / "x"));
  const auto source = [](std::size_t clip, void* buffer, std::size_t size) {
    std::memset(buffer, 'A' + static_cast<int>(clip), size);
    return size;
  };
  ASSERT_EQ(std::error_code(), WriteOriginals(Sample(), source, part.descriptor()));
  FileBytes file(part.descriptor());
  OriginalsReader reader;
  ASSERT_EQ(std::nullopt, reader.Open(file));
  EXPECT_EQ(OriginalsText(Sample()), OriginalsText(reader.Contents()));
  std::string bytes(10, '\0');
  ASSERT_EQ(std::nullopt, reader.NextClip());
  ASSERT_EQ(std::nullopt, reader.Read(bytes.data(), bytes.size()));
  EXPECT_EQ(std::string(10, 'A'), bytes);
  EXPECT_NE(std::nullopt, reader.Read(bytes.data(), 1));
  ASSERT_EQ(std::nullopt, reader.NextClip());
  EXPECT_EQ(std::nullopt, reader.AtEnd());
  EXPECT_EQ(HashFile(file, nullptr), reader.FileHash());
}

TEST(Checksums, AreReadAsTheyWereWritten) {
  const std::vector<Checksum> sums{{kHash, "a b"}, {kHash, " c"}};
  std::vector<Checksum> read;
  EXPECT_TRUE(ReadChecksums(ChecksumText(sums), read));
  EXPECT_EQ(sums, read);
  for (const std::string& text :
       {std::string(), kHash + "  a", kHash + " a\n", kHash + "  \n", "x" + kHash + "  a\n"}) {
    read.clear();
    EXPECT_FALSE(ReadChecksums(text, read)) << text;
  }
}

}  // namespace
