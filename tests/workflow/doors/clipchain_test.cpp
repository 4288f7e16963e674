#include "workflow/clipchain.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using testing::Contains;

class CDoor : public testing::Test {
 protected:
  CDoor() {
    options.size = sizeof options;
    for (unsigned char seed = 1; seed <= 2; ++seed) {
      clips.push_back(folder / (std::to_string(seed) + ".mp4"));
      support::WriteFile(clips.back(), support::Clip(16, seed).Build());
    }
  }

  std::vector<const char*> Names() const {
    std::vector<const char*> names;
    for (const std::string& clip : clips) names.push_back(clip.c_str());
    return names;
  }
  int Merge() {
    char* text = nullptr;
    const int code = clipchain_merge(Names().data(), clips.size(), output.c_str(), &options, &text);
    Take(text);
    return code;
  }
  int Check(const char* target = nullptr) {
    char* text = nullptr;
    const int code = clipchain_check(Names().data(), clips.size(), target, &options, &text);
    Take(text);
    return code;
  }
  int Verify(const std::string& card, const std::string& kept) {
    const char* const cards[] = {card.c_str()};
    const char* const against[] = {kept.c_str()};
    char* text = nullptr;
    const int code = clipchain_verify(cards, 1, against, 1, nullptr, &text);
    Take(text);
    return code;
  }
  int Split(const char* target) {
    char* text = nullptr;
    const int code = clipchain_split(output.c_str(), target, nullptr, nullptr, &text);
    Take(text);
    return code;
  }
  std::vector<std::string> Found() const {
    std::vector<std::string> names;
    for (const auto& finding : report["findings"]) names.push_back(finding["name"]);
    return names;
  }

  void Take(char* text) {
    report = text != nullptr ? nlohmann::json::parse(text) : nlohmann::json();
    clipchain_free(text);
  }

  support::TempDir folder;
  std::vector<std::string> clips;
  std::string output = folder / "out.mp4";
  clipchain_options options{};
  nlohmann::json report;
};

TEST_F(CDoor, MergesClips) {
  EXPECT_EQ(CLIPCHAIN_DONE, Merge());
  EXPECT_TRUE(report["done"]);
  EXPECT_EQ(fs::file_size(output), report["size"]);
}

TEST_F(CDoor, ReplacesAnOutputOnlyIfTold) {
  support::WriteFile(output, support::Text("old"));
  EXPECT_EQ(CLIPCHAIN_REFUSED, Merge());
  EXPECT_FALSE(report["done"]);
  EXPECT_THAT(Found(), Contains("output-exists"));
  EXPECT_EQ(support::Text("old"), support::ReadFile(output));
  options.overwrite = 1;
  EXPECT_EQ(CLIPCHAIN_DONE, Merge());
}

TEST_F(CDoor, NeverWritesToAClip) {
  const support::Bytes before = support::ReadFile(clips[0]);
  output = clips[0];
  options.overwrite = 1;
  options.force = 1;
  EXPECT_EQ(CLIPCHAIN_REFUSED, Merge());
  EXPECT_THAT(Found(), Contains("output-is-input"));
  EXPECT_EQ(before, support::ReadFile(clips[0]));
}

TEST_F(CDoor, ChecksWithoutWriting) {
  EXPECT_EQ(CLIPCHAIN_DONE, Check());
  EXPECT_EQ("fits", report["verdict"]);
  support::WriteFile(output, support::Text("old"));
  EXPECT_EQ(CLIPCHAIN_REFUSED, Check(output.c_str()));
  EXPECT_EQ("refused", report["verdict"]);
  clips.push_back(folder / "missing.mp4");
  EXPECT_EQ(CLIPCHAIN_REFUSED, Check());
  EXPECT_THAT(Found(), Contains("input-unreadable"));
}

TEST_F(CDoor, TellsHowFarItIsAndStops) {
  struct Seen {
    std::vector<int> phases;
    int last = 0;
  } seen;
  options.context = &seen;
  options.progress = [](void* context, int phase, std::size_t, int64_t current, int64_t total) {
    auto* told = static_cast<Seen*>(context);
    told->phases.push_back(phase);
    return current > total || phase == told->last ? 1 : 0;
  };
  EXPECT_EQ(CLIPCHAIN_DONE, Merge());
  for (const int phase :
       {CLIPCHAIN_CHECKING, CLIPCHAIN_COPYING, CLIPCHAIN_VERIFYING, CLIPCHAIN_FLUSHING})
    EXPECT_THAT(seen.phases, Contains(phase));
  fs::remove(output);
  seen.last = CLIPCHAIN_COPYING;
  EXPECT_EQ(CLIPCHAIN_REFUSED, Merge());
  EXPECT_THAT(Found(), Contains("merge-stopped"));
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(CDoor, LeadsFromCardToErasedCardAndBack) {
  options.originals = options.checksums = 1;
  fs::create_directory(folder / "kept");
  output = folder / "kept" / "out.mp4";
  const std::string card = folder / "card";
  fs::create_directory(card);
  for (std::string& clip : clips) {
    fs::rename(clip, fs::path(card) / fs::path(clip).filename());
    clip = fs::path(card) / fs::path(clip).filename();
  }
  ASSERT_EQ(CLIPCHAIN_DONE, Merge());
  EXPECT_TRUE(fs::exists(output + ".xxh"));
  const std::string kept = folder / "kept";
  EXPECT_EQ(CLIPCHAIN_DONE, Verify(card, kept));
  EXPECT_EQ(true, report["safe"]);
  EXPECT_EQ(0, report["without_other_data"]);
  const support::Bytes first = support::ReadFile(clips[0]);
  const support::Bytes second = support::ReadFile(clips[1]);
  support::WriteFile(clips[0], support::Text("something else"));
  EXPECT_EQ(CLIPCHAIN_PARTLY, Verify(card, kept));
  EXPECT_EQ(CLIPCHAIN_REFUSED, Verify(folder / "none", kept));
  for (const std::string& clip : clips) fs::remove(clip);
  EXPECT_EQ(CLIPCHAIN_DONE, Split(nullptr));
  EXPECT_EQ(first, support::ReadFile(folder.path() / "kept" / "out" / "1.mp4"));
  EXPECT_EQ(second, support::ReadFile(folder.path() / "kept" / "out" / "2.mp4"));
  EXPECT_EQ(CLIPCHAIN_REFUSED, Split(nullptr));
  support::Bytes damaged = support::ReadFile(output);
  damaged[60] ^= 1;
  support::WriteFile(output, damaged);
  EXPECT_EQ(CLIPCHAIN_PARTLY, Split((folder / "again").c_str()));
  EXPECT_EQ(second, support::ReadFile(folder.path() / "again" / "2.mp4"));
}

TEST_F(CDoor, PutsTheMovieInFrontOfAFileAndOfAStream) {
  options.faststart = 1;
  options.reflink = CLIPCHAIN_SHARE_OR_COPY;
  ASSERT_EQ(CLIPCHAIN_DONE, Merge());
  const support::Bytes front = support::ReadFile(output);
  EXPECT_LT(support::FindBox(front, "moov"), support::FindBox(front, "mdat"));
  const std::string streamed = folder / "streamed";
  const int file = ::open(streamed.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  options.reflink = CLIPCHAIN_COPY;
  char* text = nullptr;
  EXPECT_EQ(CLIPCHAIN_DONE, clipchain_stream(Names().data(), clips.size(), file, &options, &text));
  Take(text);
  EXPECT_EQ(fs::file_size(streamed), report["size"]);
  EXPECT_EQ(front, support::ReadFile(streamed));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_stream(Names().data(), 2, -1, &options, nullptr));
  options.overwrite = 1;
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_stream(Names().data(), 2, file, &options, nullptr));
  options.overwrite = 0;
  options.reflink = CLIPCHAIN_SHARE + 1;
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_stream(Names().data(), 2, file, &options, nullptr));
  EXPECT_EQ(front, support::ReadFile(streamed));
  ::close(file);
}

TEST_F(CDoor, RefusesToBeMisused) {
  const std::vector<const char*> names = Names();
  const char* const holes[] = {names[0], nullptr};
  const char* const empty[] = {names[0], ""};
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(nullptr, 2, output.c_str(), nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(names.data(), 0, output.c_str(), nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(holes, 2, output.c_str(), nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(empty, 2, output.c_str(), nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(names.data(), 2, nullptr, nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_merge(names.data(), 2, "", nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_check(holes, 2, nullptr, nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_verify(holes, 2, names.data(), 2, nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_verify(names.data(), 2, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(CLIPCHAIN_MISUSE, clipchain_split("", nullptr, nullptr, nullptr, nullptr));
  options.size = sizeof(std::size_t);
  EXPECT_EQ(CLIPCHAIN_MISUSE, Merge());
  EXPECT_FALSE(fs::exists(output));
  EXPECT_EQ(CLIPCHAIN_DONE, clipchain_merge(names.data(), 2, output.c_str(), nullptr, nullptr));
  clipchain_free(nullptr);
}

TEST_F(CDoor, PutsChaptersInOnlyWhereTheOptionsReachThatFar) {
  options.chapters = 1;
  options.overwrite = 1;
  options.size = offsetof(clipchain_options, chapters);
  EXPECT_EQ(CLIPCHAIN_DONE, Merge());
  const auto without = fs::file_size(output);
  options.size = sizeof options;
  EXPECT_EQ(CLIPCHAIN_DONE, Merge());
  EXPECT_GT(fs::file_size(output), without);
}

TEST_F(CDoor, SaysItsVersion) {
  EXPECT_THAT(clipchain_version(), testing::MatchesRegex("[0-9]+[.][0-9]+[.][0-9]+"));
}

}  // namespace
