// What the workflow makes of many clips, many tracks and much that is wrong.
#include <fmt/format.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "cost_jobs.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/check.h"
#include "workflow/checks/order_check.h"
#include "workflow/pages/html_parts.h"

namespace cost {

namespace {

using support::Box;
using support::Bytes;
using support::MovieBuilder;

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Checks these clips, of which something is to be said or nothing.
std::function<void()> Checking(const std::vector<Bytes>& clips, bool isWrong) {
  auto folder = std::make_shared<support::TempDir>();
  std::vector<std::string> paths;
  for (const Bytes& clip : clips) {
    paths.push_back((*folder / fmt::format("{:06}", paths.size())).string());
    support::WriteFile(paths.back(), clip);
  }
  return [folder, paths, isWrong] {
    Need(clipchain::Check(paths, {}).findings.empty() != isWrong, "the findings");
  };
}

// Tracks that hold nothing, so that something is wrong with each, among boxes that are not: there
// are no more findings than are kept.
Bytes EmptyTracks(unsigned int n) {
  MovieBuilder clip;
  for (unsigned int i = 0; i < n; ++i) {
    clip.extraMovieBoxes.insert(clip.extraMovieBoxes.end(), {0, 0, 0, 8, 't', 'r', 'a', 'k'});
    for (unsigned int j = 0; j < 100; ++j)
      clip.extraMovieBoxes.insert(clip.extraMovieBoxes.end(), {0, 0, 0, 8, 'f', 'r', 'e', 'e'});
  }
  return clip.Build();
}

Bytes SoundTracks(unsigned int n, bool backward) {
  MovieBuilder clip;
  for (unsigned int i = 0; i < n; ++i) clip.Add(support::AudioTrack(4, backward ? n - i : i + 1));
  return clip.Build();
}

std::function<void()> Ordering(unsigned int n) {
  std::vector<clipchain::OrderFacts> clips(n);
  for (unsigned int i = 0; i < n; ++i) clips[i].timecode = {(n - i) * 10, 10, 30};
  return [clips] {
    std::vector<clipchain::FileFindings> findings;
    for (std::size_t i = 0; i < clips.size(); ++i) findings.emplace_back("clip");
    clipchain::CheckOrder(clips, findings);
    Need(findings.front().All().size() == 1, "the order");
  };
}

// Recordings of one day that all run at the same time.
std::function<void()> DrawingATimeLine(unsigned int n) {
  clipchain::ScanReport report;
  for (unsigned int i = 0; i < n; ++i) {
    clipchain::SequenceReport sequence{};
    sequence.date = {2024, 5, 6, 7, 8, static_cast<unsigned char>(i % 60)};
    sequence.clips.resize(1);
    sequence.clips.front().card.timeScale = 1;
    sequence.clips.front().card.duration = 100000;
    report.sequences.push_back(sequence);
  }
  return [report] { Need(!clipchain::HtmlTimeline(report).empty(), "the time line"); };
}

}  // namespace

const std::map<std::string, Job>& Jobs() {
  static const std::map<std::string, Job> jobs = {
      {"check tracks that are all wrong",
       {150, [](unsigned int n) { return Checking({EmptyTracks(n)}, true); }}},
      {"check tracks",
       {100,
        [](unsigned int n) {
          return Checking({SoundTracks(n, false), SoundTracks(n, false)}, false);
        }}},
      {"check tracks in another order",
       {100,
        [](unsigned int n) {
          return Checking({SoundTracks(n, false), SoundTracks(n, true)}, false);
        }}},
      {"check clips",
       {50,
        [](unsigned int n) {
          MovieBuilder clip;
          clip.Add(support::AudioTrack(20));
          return Checking(std::vector<Bytes>(n, clip.Build()), false);
        }}},
      {"order clips by their timecodes", {500, Ordering}},
      {"draw a time line", {6000, DrawingATimeLine}},
  };
  return jobs;
}

}  // namespace cost
