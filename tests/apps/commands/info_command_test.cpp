#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

using nlohmann::json;
using support::Bytes;
using support::Finished;
using testing::HasSubstr;
using testing::Not;

namespace {

class InfoCommand : public testing::Test {
 protected:
  std::string Put(const Bytes& bytes) {
    support::WriteFile(folder / "clip.mp4", bytes);
    return (folder / "clip.mp4").string();
  }

  // A camera's clip with picture and sound, number 2 of 3.
  std::string CameraClip() {
    support::MovieBuilder movie = support::Clip(30);
    movie.creationTime = 61;
    return Put(support::WithVendorBox(movie.Build(), support::ChainLink(2, 3)));
  }

  static json Json(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"info", "--json"});
    const Finished run = Tool(arguments);
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("", run.err);
    return json::parse(run.out);
  }

  support::TempDir folder;
};

}  // namespace

TEST_F(InfoCommand, NeedsAFile) { EXPECT_EQ(2, Tool({"info"}).exitCode); }

TEST_F(InfoCommand, TakesSeveralFiles) {
  const std::string good = CameraClip();
  const std::string bad = folder / "bad.mp4";
  const Finished both = Tool({"info", good, good});
  EXPECT_EQ(0, both.exitCode);
  const std::string once = Tool({"info", good}).out;
  EXPECT_EQ(once + "\n" + once, both.out);

  const Finished some = Tool({"info", bad, good});
  EXPECT_EQ(3, some.exitCode);
  EXPECT_EQ(once, some.out);
  EXPECT_THAT(some.err, HasSubstr("bad.mp4 can't be read: there is no such file"));
  EXPECT_EQ(1, Tool({"info", bad, bad}).exitCode);
}

TEST_F(InfoCommand, TellsProgramsOfSeveralFilesInAnArray) {
  const std::string good = CameraClip();
  const std::string bad = folder / "bad.mp4";
  const json one = Json({"--tree", good});
  EXPECT_EQ((json{one, one, one}), Json({"--tree", good, good, good}));

  const Finished some = Tool({"info", "--json", bad, good});
  EXPECT_EQ(3, some.exitCode);
  EXPECT_EQ("", some.err);
  const json documents = json::parse(some.out);
  ASSERT_EQ(2u, documents.size());
  EXPECT_EQ(bad, documents[0]["path"]);
  EXPECT_EQ("input-unreadable", documents[0]["findings"][0]["name"]);
  EXPECT_EQ(2u, documents[0].size());
  EXPECT_EQ(good, documents[1]["path"]);
}

TEST_F(InfoCommand, TellsProgramsWhyAFileIsNoClip) {
  support::WriteFile(folder / "cut.mp4", support::Box("ftyp", {support::Zeros(8)}));
  const Finished run = Tool({"info", "--json", (folder / "cut.mp4").string()});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_EQ("movie-missing", json::parse(run.out)["findings"][0]["name"]);
}

namespace {

// A movie of that many small boxes, and that deep below others.
Bytes Crowd(unsigned int count, unsigned int depth) {
  Bytes boxes;
  const Bytes box = support::Box("free");
  for (unsigned int i = 0; i < count; ++i) boxes.insert(boxes.end(), box.begin(), box.end());
  for (unsigned int i = 0; i < depth; ++i) boxes = support::Box("dinf", {boxes});
  support::MovieBuilder movie;
  movie.extraMovieBoxes = boxes;
  return movie.Build();
}

}  // namespace

// Each of its boxes stood behind two thousand blanks, in a document that was held as a whole.
TEST_F(InfoCommand, PrintsAsItWalksAndIndentsNoFurtherThanOneCanFollow) {
  const unsigned int kCount = 50'000;
  const unsigned int kDepth = 990;
  const std::string path = Put(Crowd(kCount, kDepth));
  const auto atMost = [&path](const std::string& memory, const std::string& options) {
    return support::Run({"sh", "-c",
                         "ulimit -v " + memory + "; exec '" + CLIPCHAIN_TOOL_PATH + "' info " +
                             options + " '" + path + "' | wc -c"});
  };
  for (const char* options : {"--tree", "--tree --json"}) {
    const Finished run = atMost("200000", options);
    const long long bytes = std::stoll(run.out);
    EXPECT_EQ("", run.err);
    EXPECT_LT(kCount * 50, bytes) << options;
    EXPECT_GT(kCount * 150, bytes) << options;
  }
}

TEST_F(InfoCommand, NestsBoxesAsDeepAsTheFileDoes) {
  const std::string path = Put(Crowd(2, 100));
  json boxes = Json({"--tree", path})["boxes"].back()["children"];
  for (unsigned int depth = 0; depth < 100; ++depth) {
    ASSERT_EQ("dinf", boxes.back()["type"]) << depth;
    boxes = json(boxes.back()["children"]);
  }
  ASSERT_EQ(2u, boxes.size());
  EXPECT_EQ("free", boxes[0]["type"]);
  EXPECT_THAT(Tool({"info", "--tree", path}).out, HasSubstr("free  (level 101)\n"));
}

TEST_F(InfoCommand, TakesNoMoreMemoryThanItMay) {
  const std::string path = Put(Crowd(100'000, 0));
  const Finished run = Tool({"info", "--memory-limit", "20M", path});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(memory-limit"));
  EXPECT_THAT(run.err, HasSubstr("\n  raise --memory-limit\n"));
  EXPECT_EQ(0, Tool({"info", "--memory-limit", "100M", path}).exitCode);
}

TEST_F(InfoCommand, TellsAboutAClip) {
  const std::string path = CameraClip();
  const Finished run = Tool({"info", path});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_EQ(0u, run.out.find(path + "\n"));
  for (const char* line : {
           "  date              1904-01-01 00:01:01\n",
           "  duration          1.000 s\n",
           "  camera's stream   yes\n",
           "  has identifiers   yes\n",
           "  identifier        02020202-0202-0202-0202-020202020202\n",
           "  previous clip     01010101-0101-0101-0101-010101010101\n",
           "  next clip         03030303-0303-0303-0303-030303030303\n",
           "  track  handler  samples are     samples  time scale  duration\n",
           "      1  vide     avc1                 30       30000  1.000 s\n",
       }) {
    EXPECT_THAT(run.out, HasSubstr(line));
  }
  EXPECT_THAT(run.out, Not(HasSubstr("damaged")));
  EXPECT_THAT(run.out, Not(HasSubstr("moov")));
}

TEST_F(InfoCommand, PrintsEveryFieldForPrograms) {
  const std::string path = CameraClip();
  const auto size = support::ReadFile(path).size();
  json document = Json({path});
  ASSERT_EQ(2u, document["tracks"].size());
  const json video = {{"id", 1},       {"handler", "vide"},   {"sample_entries", {"avc1"}},
                      {"samples", 30}, {"time_scale", 30000}, {"duration", 30000},
                      {"seconds", 1.0}};
  EXPECT_EQ(video, document["tracks"][0]);
  document.erase("tracks");
  const json expected = {{"path", path},
                         {"size", size},
                         {"date", "1904-01-01T00:01:01"},
                         {"time_scale", 600},
                         {"duration", 600},
                         {"seconds", 1.0},
                         {"camera_stream", true},
                         {"has_identifiers", true},
                         {"id", "02020202-0202-0202-0202-020202020202"},
                         {"previous_id", "01010101-0101-0101-0101-010101010101"},
                         {"next_id", "03030303-0303-0303-0303-030303030303"},
                         {"problems", json::array()},
                         {"findings", json::array()}};
  EXPECT_EQ(expected, document);
}

TEST_F(InfoCommand, ListsTheBoxesOnRequest) {
  const std::string path = CameraClip();
  const Bytes bytes = support::ReadFile(path);
  const Finished run = Tool({"info", "--tree", path});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("      position            size  box\n"
                                 "             0              24  ftyp\n"));
  EXPECT_THAT(run.out, HasSubstr("          1559             129            stsd\n"));
  EXPECT_THAT(run.out, HasSubstr("    uuid 85c0b687-820f-11e0-8111-f4ce462b6a48\n"));

  const json boxes = Json({"--tree", path})["boxes"];
  ASSERT_EQ(3u, boxes.size());
  EXPECT_EQ("ftyp", boxes[0]["type"]);
  EXPECT_TRUE(boxes[0]["children"].empty());
  EXPECT_EQ("mdat", boxes[1]["type"]);
  EXPECT_EQ("moov", boxes[2]["type"]);
  EXPECT_EQ(support::FindBox(bytes, "moov"), boxes[2]["position"]);
  EXPECT_EQ(support::ReadU32(bytes, support::FindBox(bytes, "moov")), boxes[2]["size"]);
  const json& children = boxes[2]["children"];
  ASSERT_EQ(4u, children.size());
  EXPECT_EQ("mvhd", children[0]["type"]);
  EXPECT_EQ("trak", children[1]["type"]);
  EXPECT_EQ("tkhd", children[1]["children"][0]["type"]);
  EXPECT_EQ("uuid", children[3]["type"]);
  EXPECT_EQ("85c0b687-820f-11e0-8111-f4ce462b6a48", children[3]["usertype"]);
  EXPECT_EQ(support::FindBox(bytes, "uuid"), children[3]["position"]);
  EXPECT_FALSE(children[0].contains("usertype"));
}

TEST_F(InfoCommand, FieldsWithoutAValueAreNull) {
  support::MovieBuilder movie;
  movie.withMovieHeader = false;
  movie.extraMovieBoxes = support::Box("trak");
  const std::string path = Put(movie.Build());
  const json document = Json({path});
  for (const char* field : {"date", "seconds", "id", "previous_id", "next_id"}) {
    EXPECT_TRUE(document[field].is_null()) << field;
  }
  EXPECT_TRUE(document["tracks"][0]["handler"].is_null());
  EXPECT_TRUE(document["tracks"][0]["seconds"].is_null());
  const std::string text = Tool({"info", path}).out;
  EXPECT_THAT(text, HasSubstr("  date              unknown\n"));
  EXPECT_THAT(text, HasSubstr("  identifier        none\n"));
  EXPECT_THAT(text, HasSubstr("      0  none     none "));
}

TEST_F(InfoCommand, NamesDamageThatLeavesTheRestReadable) {
  Bytes stray = support::MarkerBox();
  stray.resize(stray.size() + 3);
  const std::string path =
      Put(support::WithVendorBox(support::Clip(3).Build(), support::VendorBoxOf({stray})));
  const Finished run = Tool({"info", path});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("  damaged           what the camera noted can't be read\n"));
  EXPECT_THAT(run.out, HasSubstr("avc1"));
  EXPECT_EQ((json{"what the camera noted can't be read"}), Json({path})["problems"]);

  support::MovieBuilder movie;
  movie.extraMovieBoxes = support::Box(
      "trak", {support::Box("edts", {support::FullBox("elst", 0, 0, {support::U32(9)})})});
  EXPECT_EQ((json{"a box is shorter than what it must hold"}),
            Json({Put(movie.Build())})["problems"]);
}

TEST_F(InfoCommand, RefusesWhatIsNoClip) {
  const auto expectRefused = [](const std::string& path, const std::string& words) {
    const Finished run = Tool({"info", path});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.out);
    EXPECT_EQ(0u, run.err.find("error: " + path + " " + words)) << run.err;
  };
  expectRefused((folder / "absent").string(), "can't be read: there is no such file (");
  expectRefused(folder.path(), "can't be read: it is a folder (");
  expectRefused(Put({}), "can't be read: it is empty (");
  expectRefused(Put(support::Text("These are notes about a clip.\n")),
                "is no MP4 clip: it begins with");
  Bytes clip = support::Clip(3).Build();
  clip.pop_back();
  expectRefused(Put(clip), "ends");
}

TEST_F(InfoCommand, TakesPathsOfAnyBytes) {
  for (const char* name :
       {"caf\xC3\xA9 \xF0\x9F\x8E\xA5.mp4", "\xFF\xFE \xC3.mp4", "-x.mp4", "a\nb"}) {
    SCOPED_TRACE(name);
    const std::string path = (folder / name).string();
    support::WriteFile(path, support::TinyClip(support::ChainLink(1, 1)));
    const Finished run = Tool({"info", path});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("", run.err);
  }
  const std::string odd = (folder / "\xFF\xFE \xC3.mp4").string();
  EXPECT_EQ(0u, Tool({"info", odd}).out.find(odd + '\n'));
  std::string digits;
  for (const char c : odd) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
    digits += pair;
  }
  EXPECT_EQ(digits, Json({odd})["path_bytes"]);
  EXPECT_THAT(Tool({"info", (folder / "\xFF absent").string()}).err,
              HasSubstr("\xFF absent can't be read: there is no such file ("));
  EXPECT_FALSE(Json({(folder / "a\nb").string()}).contains("path_bytes"));
}
