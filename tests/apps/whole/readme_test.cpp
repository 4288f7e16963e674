// What the README shows is what the tool prints.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

std::string TextOf(const fs::path& path) {
  const support::Bytes bytes = support::ReadFile(path);
  return {bytes.begin(), bytes.end()};
}

// The blocks that show a session, one after the other.
class Sessions {
 public:
  explicit Sessions(std::string page) : page_(std::move(page)) {}

  // The next command, with what it prints below it; empty at the end.
  std::string Next() {
    static const std::string kStart = "```console\n$ ";
    const std::size_t start = page_.find(kStart, at_);
    if (start == std::string::npos) return "";
    const std::size_t end = page_.find("```\n", start + kStart.size());
    at_ = end;
    return page_.substr(start + kStart.size(), end - start - kStart.size());
  }

 private:
  const std::string page_;
  std::size_t at_ = 0;
};

// Runs each command of a page in that folder, one behind the other, and compares what it prints
// with what the page shows. How many there were.
unsigned int RunSessions(const fs::path& page, const fs::path& folder) {
  Sessions sessions(TextOf(page));
  unsigned int count = 0;
  for (std::string session; !(session = sessions.Next()).empty(); ++count) {
    const std::size_t end = session.find('\n');
    const support::Finished run = support::Run(
        {"bash", "-c", "cd \"$1\"; tool=$2; clipchain() { \"$tool\" \"$@\"; }; eval \"$3\"", "-",
         folder.string(), CLIPCHAIN_TOOL_PATH, session.substr(0, end)});
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ(session.substr(end + 1), run.out);
  }
  return count;
}

// Clips without identifiers: a recording that was split at minutes.
void PutPlainCard(const fs::path& folder) {
  fs::create_directories(folder);
  const auto put = [&](const char* name, std::uint32_t begin, std::uint32_t frames) {
    support::MovieBuilder movie;
    movie.creationTime = 3'800'000'000 + begin;
    movie.Add(support::VideoTrack(frames));
    support::WriteFile(folder / name, movie.Build());
  };
  put("MOVI0012.MP4", 0, 1800);
  put("MOVI0013.MP4", 60, 1800);
  put("MOVI0014.MP4", 120, 200);
}

}  // namespace

TEST(Readme, ShowsWhatTheToolPrints) {
  const support::TempDir folder;
  const fs::path clips = support::SourcePath("examples/clips");
  fs::create_directory(folder / "card1");
  fs::create_directory(folder / "card2");
  fs::copy(clips / "clip2.mp4", folder / "card1");
  fs::copy(clips / "clip1.mp4", folder / "card2");
  fs::copy(clips / "clip3.mp4", folder / "card2");
  PutPlainCard(folder / "card3/DCIM/100MEDIA");
  EXPECT_EQ(4u, RunSessions(support::SourcePath("README.md"), folder.path()));
}

TEST(Readme, LeadsFromACardToAnErasedOneAndBack) {
  const support::TempDir folder;
  const fs::path clips = support::SourcePath("examples/clips");
  fs::create_directory(folder / "card");
  for (const char* name : {"clip1.mp4", "clip2.mp4", "clip3.mp4"})
    fs::copy(clips / name, folder / "card");
  support::WriteFile(folder / "card" / "picture.jpg", {0xFF, 0xD8, 0xFF, 0xD9});
  EXPECT_EQ(6u, RunSessions(support::SourcePath("docs/erasing.md"), folder.path()));
  EXPECT_TRUE(fs::is_empty(folder / "card"));
  for (const char* name : {"clip1.mp4", "clip2.mp4", "clip3.mp4"}) {
    const fs::path again = folder / "kept" / "2024-06-01_10-00-00_clip1" / name;
    EXPECT_EQ(support::ReadFile(clips / name), support::ReadFile(again)) << name;
  }
}
