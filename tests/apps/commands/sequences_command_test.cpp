#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using nlohmann::json;
using support::Bytes;
using support::ChainLink;
using support::Finished;
using testing::HasSubstr;
using testing::Not;

namespace {

class SequencesCommand : public testing::Test {
 protected:
  std::string Put(const std::string& name, const Bytes& bytes) {
    fs::create_directories((folder / name).parent_path());
    support::WriteFile(folder / name, bytes);
    return At(name);
  }
  std::string PutChain(const std::string& name, unsigned int number, unsigned int length,
                       unsigned int base = 0) {
    return Put(name, support::TinyClip(ChainLink(number, length, base), 60 * base + number));
  }
  std::string PutTimed(const std::string& name, std::uint8_t frame,
                       const support::VendorBox& link) {
    support::MovieBuilder movie;
    movie.creationTime = frame;
    movie.Add(support::TimecodeTrack({{1, 0, 0, frame}}));
    return Put(name, support::WithVendorBox(movie.Build(), link));
  }
  std::string At(const std::string& name) const { return (folder / name).string(); }

  static Finished Sequences(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "sequences");
    return Tool(arguments);
  }
  // What the command prints for programs; it must end with that code.
  static json Json(int exitCode, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--json");
    const Finished run = Sequences(arguments);
    EXPECT_EQ(exitCode, run.exitCode);
    EXPECT_EQ("", run.err);
    return json::parse(run.out);
  }
  static std::vector<std::vector<std::string>> FilesOf(const json& document) {
    std::vector<std::vector<std::string>> sequences;
    for (const json& sequence : document["sequences"]) {
      sequences.emplace_back();
      for (const json& file : sequence["files"]) sequences.back().push_back(file["path"]);
    }
    return sequences;
  }

  support::TempDir folder;
};

using Files = std::vector<std::vector<std::string>>;

}  // namespace

TEST_F(SequencesCommand, NeedsAPath) {
  EXPECT_EQ(2, Sequences({}).exitCode);
  EXPECT_EQ(2, Sequences({"--sideways", At("a")}).exitCode);
}

TEST_F(SequencesCommand, PrintsATableWithTheFilesOfEachSequence) {
  const std::string b1 = PutChain("b/1.mp4", 1, 3);
  const std::string a2 = PutChain("a/2.MOV", 2, 3);
  const std::string b3 = PutChain("b/3.m4v", 3, 3);
  const std::string a5 = PutChain("a/5.mp4", 2, 2, 10);
  const Finished run = Sequences({At("a"), At("b")});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_EQ(
      "card 1: " + At("a") + "\ncard 2: " + At("b") +
          "\n\n no.  date                 clips       length       size  state              cards\n"
          "   1  1904-01-01 00:00:01      3        0.0 s      780 B  complete           1, 2\n"
          "      " +
          b1 + "\n      " + a2 + "\n      " + b3 +
          "\n"
          "   2  1904-01-01 00:10:02      1        0.0 s      260 B  open at head       1\n"
          "      " +
          a5 + "\n",
      run.out);
}

TEST_F(SequencesCommand, NamesEachStateOfASequence) {
  PutChain("1.mp4", 1, 1);
  PutChain("2.mp4", 1, 2, 10);
  PutChain("3.mp4", 2, 2, 20);
  PutChain("4.mp4", 2, 3, 30);
  const json document = Json(0, {folder.path()});
  std::vector<std::string> states;
  for (const json& sequence : document["sequences"]) states.push_back(sequence["state"]);
  EXPECT_EQ(
      (std::vector<std::string>{"complete", "open at tail", "open at head", "open at both ends"}),
      states);
  const std::string table = Sequences({folder.path()}).out;
  for (const std::string& state : states) EXPECT_THAT(table, HasSubstr("  " + state + " "));
}

TEST_F(SequencesCommand, PrintsEveryFieldForPrograms) {
  const std::string first = PutChain("card/1.mp4", 1, 2);
  const std::string second = PutChain("2.mp4", 2, 2);
  const json document = Json(0, {At("card"), second});
  const json expected = {{"volumes",
                          {{{"number", 1}, {"path", At("card")}, {"clips", 1}},
                           {{"number", 2}, {"path", nullptr}, {"clips", 1}}}},
                         {"sequences",
                          {{{"number", 1},
                            {"date", "1904-01-01T00:00:01"},
                            {"clips", 2},
                            {"seconds", 0.0},
                            {"state", "complete"},
                            {"closed_at_head", true},
                            {"closed_at_tail", true},
                            {"camera_stream", true},
                            {"head_id", "01010101-0101-0101-0101-010101010101"},
                            {"tail_id", "02020202-0202-0202-0202-020202020202"},
                            {"copy_of", nullptr},
                            {"volumes", {1, 2}},
                            {"files",
                             {{{"path", first},
                               {"volume", 1},
                               {"date", "1904-01-01T00:00:01"},
                               {"seconds", 0.0},
                               {"size", fs::file_size(first)}},
                              {{"path", second},
                               {"volume", 2},
                               {"date", "1904-01-01T00:00:02"},
                               {"seconds", 0.0},
                               {"size", fs::file_size(second)}}}}}}},
                         {"proposals", json::array()},
                         {"rejected", json::array()},
                         {"salvage", nullptr},
                         {"division", nullptr}};
  EXPECT_EQ(expected, document);
}

TEST_F(SequencesCommand, FieldsWithoutAValueAreNull) {
  support::MovieBuilder movie;
  movie.withMovieHeader = false;
  const json sequence = Json(0, {Put("undated.mp4", movie.Build())})["sequences"][0];
  EXPECT_TRUE(sequence["date"].is_null());
  EXPECT_TRUE(sequence["seconds"].is_null());
  EXPECT_TRUE(sequence["files"][0]["date"].is_null());
  EXPECT_TRUE(sequence["files"][0]["seconds"].is_null());
  EXPECT_TRUE(sequence["head_id"].is_null());
  EXPECT_TRUE(sequence["tail_id"].is_null());
  EXPECT_FALSE(sequence["camera_stream"]);
  EXPECT_THAT(Sequences({At("undated.mp4")}).out, HasSubstr("  unknown  "));
}

TEST_F(SequencesCommand, ListsWhatFailsAndGoesOn) {
  const std::string good = PutChain("good.mp4", 1, 1);
  const std::string notes = Put("notes.mp4", support::Text("These are notes about a clip.\n"));
  const std::string empty = Put("empty.mp4", {});
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  fs::create_symlink("nowhere", At("absent"));
  const std::vector<std::string> operands = {At("pipe"), notes, good, At("absent"), empty};
  const Finished run = Sequences(operands);
  EXPECT_EQ(3, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_THAT(run.out, HasSubstr("complete           1\n      " + good + "\nnot registered:\n"));
  EXPECT_THAT(run.out, HasSubstr("  " + At("pipe") + " is no regular file\n"));
  EXPECT_THAT(run.out, HasSubstr("  " + notes + " is no MP4 clip"));
  EXPECT_THAT(run.out, HasSubstr("(top-level-box-unknown)\n    rewrap it "));
  EXPECT_THAT(run.out, HasSubstr("  " + At("absent") +
                                 " can't be read: there is no such file (input-unreadable)\n"));
  EXPECT_THAT(run.out,
              HasSubstr("  " + empty + " can't be read: it is empty (input-unreadable)\n"));

  const json document = Json(3, operands);
  EXPECT_EQ((Files{{good}}), FilesOf(document));
  ASSERT_EQ(4u, document["rejected"].size());
  EXPECT_EQ(At("pipe"), document["rejected"][0]["path"]);
  EXPECT_TRUE(document["rejected"][0]["result"].is_null());
  EXPECT_EQ(notes, document["rejected"][1]["path"]);
  EXPECT_EQ("E_BAD_TYPE", document["rejected"][1]["result"]);
  EXPECT_THAT(document["rejected"][2]["reason"], HasSubstr("there is no such file"));
  EXPECT_EQ(0, Sequences({good}).exitCode);
}

TEST_F(SequencesCommand, ListsAClipWhoseCameraBoxIsCutShort) {
  Bytes stray = support::MarkerBox();
  stray.resize(stray.size() + 3);
  const std::string clip =
      Put("clip.mp4", support::WithVendorBox(support::PlainClip(), support::VendorBoxOf({stray})));
  const json document = Json(3, {clip});
  EXPECT_EQ("S_FALSE", document["rejected"][0]["result"]);
  EXPECT_EQ("has a box that is shorter than what it must hold", document["rejected"][0]["reason"]);
}

TEST_F(SequencesCommand, AFolderWithoutClipsIsNoFailure) {
  const Finished run = Sequences({folder.path()});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("no clips\n", run.out);
}

TEST_F(SequencesCommand, SalvagesOnRequest) {
  const std::string front = PutTimed("1.mp4", 10, ChainLink(1, 2));
  const std::string back = PutTimed("2.mp4", 11, ChainLink(5, 5));
  EXPECT_EQ((Files{{front}, {back}}), FilesOf(Json(0, {front, back})));
  const json document = Json(0, {"--salvage", front, back});
  EXPECT_EQ((Files{{front, back}}), FilesOf(document));
  EXPECT_EQ((json{{"joined", true}, {"result", "S_OK"}}), document["salvage"]);
  EXPECT_THAT(Sequences({"--salvage", front, back}).out,
              HasSubstr("salvage: two recordings were joined by their timecode\n"));

  const json alone = Json(0, {"--salvage", front});
  EXPECT_EQ((json{{"joined", false}, {"result", "S_OK"}}), alone["salvage"]);
  EXPECT_THAT(
      Sequences({"--salvage", front}).out,
      HasSubstr("salvage: nothing was joined: it takes exactly two recordings, and there is 1\n"));
  const std::string other = PutTimed("3.mp4", 20, ChainLink(5, 5, 20));
  EXPECT_THAT(Sequences({"--salvage", front, other}).out,
              HasSubstr("nothing was joined: the timecode of neither recording runs on"));
  const std::string whole = PutTimed("4.mp4", 11, ChainLink(1, 1, 40));
  EXPECT_THAT(Sequences({"--salvage", whole, other}).out,
              HasSubstr("nothing was joined: neither recording says that a clip follows it"));
}

TEST_F(SequencesCommand, SaysThatSalvageCouldNotReadATimecode) {
  support::MovieBuilder movie;
  movie.Add(support::TimecodeTrack({}));
  const std::string damaged = Put("1.mp4", support::WithVendorBox(movie.Build(), ChainLink(1, 2)));
  const std::string back = PutTimed("2.mp4", 11, ChainLink(5, 5));
  const Finished run = Sequences({"--salvage", damaged, back});
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("salvage: failed: the timecode can't be read\n"));
  EXPECT_EQ("E_BAD_DATA", Json(3, {"--salvage", damaged, back})["salvage"]["result"]);
  EXPECT_EQ(0, Sequences({damaged, back}).exitCode);
}

TEST_F(SequencesCommand, DividesOnRequest) {
  const std::string a1 = PutChain("a/1.mp4", 1, 2);
  const std::string b1 = PutChain("a/2.mp4", 1, 2, 10);
  const std::string a2 = PutChain("b/1.mp4", 2, 2);
  const std::string b2 = PutChain("b/2.mp4", 2, 2, 10);
  EXPECT_EQ((Files{{a1, a2}, {b1, b2}}), FilesOf(Json(0, {At("a"), At("b")})));
  const json document = Json(0, {"--divide", At("a"), At("b")});
  EXPECT_EQ((Files{{a1, a2}, {b1}, {b2}}), FilesOf(document));
  EXPECT_EQ((json{{"result", "S_OK"}}), document["division"]);
  EXPECT_THAT(Sequences({"--divide", At("a"), At("b")}).out, Not(HasSubstr("division")));
}

TEST_F(SequencesCommand, TheSameFolderTwiceIsTwoVolumes) {
  PutChain("a/1.mp4", 1, 1);
  const json document = Json(0, {At("a"), At("a")});
  EXPECT_EQ(2u, document["sequences"].size());
  EXPECT_EQ((json{2}), document["sequences"][1]["volumes"]);
}

TEST_F(SequencesCommand, ShowsPathsThatAreNoTextAndKeepsTheirBytes) {
  PutChain("\xFF\n.mp4", 1, 1);
  const json file = Json(0, {folder.path()})["sequences"][0]["files"][0];
  std::string digits;
  for (const char c : At("\xFF\n.mp4")) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
    digits += pair;
  }
  EXPECT_EQ(digits, file["path_bytes"]);
  EXPECT_THAT(Sequences({folder.path()}).out, HasSubstr("\\x0A.mp4\n"));
}

TEST_F(SequencesCommand, WritesAPageAndPrintsAllTheSame) {
  const std::string clip = PutChain("card/1.mp4", 1, 2);
  const std::string table = Sequences({At("card")}).out;
  const Finished run = Sequences({At("card"), "--html", At("page.html")});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_EQ(table + "report: " + At("page.html") + "\n", run.out);
  const Bytes bytes = support::ReadFile(At("page.html"));
  const std::string page(bytes.begin(), bytes.end());
  EXPECT_THAT(page, HasSubstr("<!DOCTYPE html>"));
  EXPECT_THAT(page, HasSubstr("data-path=\"" + clip + "\""));
  EXPECT_THAT(page, HasSubstr("Missing behind"));
  EXPECT_EQ(Json(0, {At("card")}), Json(0, {At("card"), "--html", At("other.html")}));
  static const std::regex kMade("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}(?!:)");
  const Bytes other = support::ReadFile(At("other.html"));
  EXPECT_EQ(std::regex_replace(page, kMade, ""),
            std::regex_replace(std::string(other.begin(), other.end()), kMade, ""));
  EXPECT_NE(page, std::regex_replace(page, kMade, ""));
}

TEST_F(SequencesCommand, NamesWhatARunThatWroteThePageHasLeftBehind) {
  PutChain("card/1.mp4", 1, 1);
  const std::string leftover =
      Put(".page.html.clipchain-4711-0123456789abcdef.part", support::Text("abc"));
  const Finished run = Sequences({At("card"), "--html", At("page.html")});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("warning: " + leftover +
                " was left behind by a run that was killed, with 3 bytes in it (leftover)\n"
                "  remove it\n",
            run.err);
}

TEST_F(SequencesCommand, WritesAPageOfWhatCouldBeRegistered) {
  PutChain("card/1.mp4", 1, 1);
  const std::string bad = Put("card/bad.mp4", support::Text("These are notes about a clip.\n"));
  EXPECT_EQ(3, Sequences({At("card"), "--html", At("page.html")}).exitCode);
  const Bytes page = support::ReadFile(At("page.html"));
  EXPECT_THAT(std::string(page.begin(), page.end()), HasSubstr("data-path=\"" + bad + "\""));
}

TEST_F(SequencesCommand, ReplacesAPageOnlyOnRequest) {
  PutChain("card/1.mp4", 1, 1);
  const Bytes old =
      support::Text("<!DOCTYPE html>\n<meta name=\"generator\" content=\"clipchain\">\nold");
  Put("page.html", old);
  const Finished run = Sequences({At("card"), "--html", At("page.html")});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("", run.out);
  EXPECT_EQ("clipchain: " + At("page.html") + " exists already; --overwrite replaces it\n",
            run.err);
  EXPECT_EQ(old, support::ReadFile(At("page.html")));
  EXPECT_EQ(0, Sequences({At("card"), "--html", At("page.html"), "--overwrite"}).exitCode);
  EXPECT_NE(old, support::ReadFile(At("page.html")));
  // A shell may have put a clip in the place of the page.
  const Bytes clip = support::ReadFile(At("card/1.mp4"));
  for (const Bytes& other : {clip, support::Text("<!DOCTYPE html>\n<title>diary</title>")}) {
    Put("other", other);
    const Finished refused = Sequences({At("card"), "--html", At("other"), "--overwrite"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("is no page of clips"));
    EXPECT_EQ(other, support::ReadFile(At("other")));
  }
}

TEST_F(SequencesCommand, EndsByASignalThatComesWhileItReads) {
  ASSERT_TRUE(support::HasProgram("strace")) << "scripts/test installs it";
  PutChain("card/1.mp4", 1, 1);
  const Finished run = support::Run({"strace", "-o", At("trace"), "-e", "inject=openat:signal=INT",
                                     "-P", At("card/1.mp4"), CLIPCHAIN_TOOL_PATH, "sequences",
                                     At("card"), "--html", At("page.html")});
  EXPECT_NE(0, run.exitCode);
  EXPECT_EQ("", run.out);
  EXPECT_FALSE(fs::exists(At("page.html")));
}

TEST_F(SequencesCommand, NeverWritesAPageOverAClip) {
  const std::string clip = PutChain("card/1.mp4", 1, 1);
  const Bytes bytes = support::ReadFile(clip);
  fs::create_hard_link(clip, At("link"));
  fs::create_symlink(clip, At("pointer"));
  for (const std::string& page : {clip, At("link"), At("pointer")}) {
    SCOPED_TRACE(page);
    const Finished run = Sequences({At("card"), "--overwrite", "--html", page});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("clipchain: " + page + " is the same file as the clip " + clip + "\n", run.err);
  }
  EXPECT_EQ(bytes, support::ReadFile(clip));
}

TEST_F(SequencesCommand, SaysWhyAPageCannotBeWritten) {
  PutChain("card/1.mp4", 1, 1);
  const Finished run = Sequences({At("card"), "--html", At("absent/page.html")});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("clipchain: " + At("absent/page.html") + " can't be written: there is no folder " +
                At("absent") + "\n",
            run.err);
}

// Colours are for people who see them and want them.
TEST_F(SequencesCommand, PaintsForATerminalAlone) {
  PutChain("1.mp4", 1, 1);
  PutChain("2.mp4", 1, 2, 10);
  const auto shown = [this](const std::string& colour, const std::string& terminal) {
    return support::RunOnTerminal({"env", "NO_COLOR=" + colour, "TERM=" + terminal,
                                   CLIPCHAIN_TOOL_PATH, "sequences", folder.path()})
        .out;
  };
  EXPECT_THAT(shown("", "xterm"), HasSubstr("\x1B[32mcomplete         \x1B[0m"));
  EXPECT_THAT(shown("", "xterm"), HasSubstr("\x1B[33mopen at tail     \x1B[0m"));
  EXPECT_THAT(shown("1", "xterm"), Not(HasSubstr("\x1B[3")));
  EXPECT_THAT(shown("", "dumb"), Not(HasSubstr("\x1B[3")));
  EXPECT_THAT(shown("", ""), Not(HasSubstr("\x1B[3")));
  EXPECT_THAT(Sequences({folder.path()}).out, Not(HasSubstr("\x1B")));
}

TEST_F(SequencesCommand, ShowsAPathThatCouldTakeOverATerminalOrAPage) {
  const std::string name = "\x1B]0;owned\x07<script>\xC3.mp4";
  PutChain(name, 1, 1);
  EXPECT_EQ(0, Sequences({folder.path(), "--html", At("page.html")}).exitCode);
  EXPECT_THAT(Sequences({folder.path()}).out, HasSubstr("\\x1B]0;owned\\x07<script>\xC3.mp4"));
  const Bytes bytes = support::ReadFile(At("page.html"));
  const std::string page(bytes.begin(), bytes.end());
  EXPECT_THAT(page, HasSubstr("<bdi>\\x1B]0;owned\\x07&lt;script&gt;\\xC3.mp4</bdi>"));
  EXPECT_THAT(page, Not(HasSubstr("<script>")));
}

TEST_F(SequencesCommand, NeverCallsAClipWithoutIdentifiersComplete) {
  const std::string clip = Put("1.mp4", support::PlainClip());
  EXPECT_EQ("unidentified", Json(0, {clip})["sequences"][0]["state"]);
  EXPECT_THAT(Sequences({clip}).out, HasSubstr("  unidentified "));
}

TEST_F(SequencesCommand, KnowsCopies) {
  for (const char* card : {"a", "b"}) {
    PutChain(std::string(card) + "/1.mp4", 1, 2);
    PutChain(std::string(card) + "/2.mp4", 2, 2);
  }
  const json sequences = Json(0, {At("a"), At("b")})["sequences"];
  ASSERT_EQ(2u, sequences.size());
  EXPECT_TRUE(sequences[0]["copy_of"].is_null());
  EXPECT_EQ(1, sequences[1]["copy_of"]);
  EXPECT_THAT(Sequences({At("a"), At("b")}).out, HasSubstr("  a copy of 1\n"));
}

TEST_F(SequencesCommand, SaysOfWhichRecordingABrokenClipIsPerhapsTheEnd) {
  PutChain("a/MOV0001.mp4", 1, 2);
  PutChain("a/OTHER.mp4", 1, 2, 10);
  Put("a/MOV0002.mp4", support::Text("the battery died"));
  Put("a/MOV0007.mp4", support::Text("another one"));
  const std::string out = Sequences({At("a")}).out;
  EXPECT_THAT(out, HasSubstr("perhaps the missing end of recording 1\n"));
  EXPECT_EQ(out.find("perhaps"), out.rfind("perhaps"));
}

TEST_F(SequencesCommand, PrintsTheAnswerAloneWhereItIsToldTo) {
  const std::string clip = PutChain("1.mp4", 1, 1);
  EXPECT_EQ(Sequences({clip}).out, Sequences({"-q", clip, "--html", At("p.html")}).out);
}
