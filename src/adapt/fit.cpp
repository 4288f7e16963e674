#include "adapt/fit.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "adapt/clips/at_once.h"
#include "adapt/clips/media_map.h"
#include "adapt/descriptions/data_references.h"
#include "adapt/descriptions/protection.h"
#include "adapt/descriptions/sample_descriptions.h"
#include "adapt/engine/engine_movie.h"
#include "adapt/engine/kept_boxes.h"
#include "adapt/engine/media_places.h"
#include "adapt/engine/top_level.h"
#include "adapt/engine/track_order.h"
#include "adapt/tables/fragments.h"
#include "adapt/tables/joined_tables.h"
#include "adapt/tables/spare_entries.h"
#include "adapt/tables/torn_boxes.h"
#include "adapt/times/chapters.h"
#include "adapt/times/clip_times.h"
#include "adapt/times/long_durations.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// A disk answers many questions at once faster than one after the other, more than there are
// processors to ask them.
constexpr std::size_t kOpenedAtOnce = 8;

// In the order in which they see each clip.
constexpr ClipAdaptation kOfEachClip[] = {RefuseTornBoxes, AdaptTopLevel,     AdaptProtection,
                                          AdaptFragments,  AdaptSpareEntries, AdaptMediaPlaces,
                                          AdaptKeptBoxes};

// In the order in which they see the clips.
std::vector<std::unique_ptr<Adaptation>> Row(const FitOptions& options, ClipClocks& clocks) {
  std::vector<std::unique_ptr<Adaptation>> row;
  row.push_back(MakeTrackOrder(options));
  row.push_back(MakeClipTimes(options, clocks));
  row.push_back(MakeJoinedTables());
  row.push_back(MakeJoinedProtection());
  // Average bit rates are reckoned from all sizes.
  row.push_back(MakeSampleDescriptions());
  row.push_back(MakeDataReferences());
  row.push_back(MakeLongDurations());
  row.push_back(MakeChapters(options));
  return row;
}

constexpr std::uint64_t kMediaHeader = 16;

// The header of a media box of that many bytes, with a size of 64 bits.
Bytes MediaHeader(std::uint64_t size) {
  Bytes bytes;
  PutField<QUIRVA::be32>(bytes, 1);
  PutField<QUIRVA::be32>(bytes, FourCc("mdat"));
  PutField<QUIRVA::be64>(bytes, size + kMediaHeader);
  return bytes;
}

std::optional<RawBox> MovieOf(std::span<const unsigned char> bytes) {
  RawBox movie;
  if (!movie.Take(bytes) || !bytes.empty() || movie.type != FourCc("moov")) return std::nullopt;
  return movie;
}

std::uint64_t SizeOfTables(const RawBox& movie) {
  std::uint64_t size = 0;
  for (const RawBox* track : TracksOf(movie)) {
    const RawBox* table = SampleTable(*track);
    if (table != nullptr) size += table->Size();
  }
  return size;
}

// Whether clips need to be adapted is not to depend on how much memory there is.
void RefuseMemory(std::size_t clip, std::uint64_t needed, std::uint64_t limit, FitReport& report) {
  report.Refuse(
      FitProblemKind::kMemoryLimit, clip, 0,
      "would take the memory for movie boxes to about " + std::to_string(needed) + " bytes, and " +
          std::to_string(limit) + " are allowed",
      clip == 0 ? "raise --memory-limit" : "merge fewer clips at once, or raise --memory-limit");
}

}  // namespace

Fit::Fit(const std::vector<std::string>& paths, const FitOptions& options)
    : commonTracks_(options.commonTracks) {
  for (const std::string& path : paths) clips_.emplace_back(path);
  std::vector<Opened> opened = OpenAll(options);
  const bool allUsable = std::all_of(usable_.begin(), usable_.end(), [](bool is) { return is; });
  if (!options.exact && allUsable && !clips_.empty()) AdaptAll(options, std::move(opened));
}

std::vector<Fit::Opened> Fit::OpenAll(const FitOptions& options) {
  const auto limit = static_cast<std::uint64_t>(std::max(options.memoryLimit, 0LL));
  MemoryBudget memory(limit);
  std::vector<Opened> opened(clips_.size());
  const auto open = [&](std::size_t i) { opened[i] = Open(i, options.exact, memory); };
  ForEachAtOnce(clips_.size(), open, kOpenedAtOnce);
  const bool lacksMemory = std::any_of(clips_.begin(), clips_.end(),
                                       [](const FitClip& clip) { return clip.LacksMemory(); });
  if (lacksMemory) opened = OpenInOrder(options.exact, limit);
  for (Opened& clip : opened) {
    usable_.push_back(clip.isUsable);
    report_.Append(std::move(clip.report));
  }
  return opened;
}

// Which clip lacks memory where several are opened at once is chance, and what is said of it must
// not be.
std::vector<Fit::Opened> Fit::OpenInOrder(bool exact, std::uint64_t limit) {
  MemoryBudget memory(limit);
  std::uint64_t taken = 0;
  std::vector<Opened> opened(clips_.size());
  for (FitClip& clip : clips_) clip = FitClip(clip.Path());
  for (std::size_t i = 0; i < clips_.size(); ++i) {
    opened[i] = Open(i, exact, memory);
    taken += clips_[i].Memory();
    if (!clips_[i].LacksMemory()) continue;
    RefuseMemory(i, taken, limit, opened[i].report);
    break;
  }
  return opened;
}

Fit::Opened Fit::Open(std::size_t clip, bool exact, MemoryBudget& memory) {
  Opened opened;
  FitClip& taken = clips_[clip];
  opened.isUsable = taken.Open(clip, opened.report, memory);
  if (opened.isUsable && !exact) {
    for (const ClipAdaptation adapt : kOfEachClip)
      if (!taken.LacksMemory()) adapt(taken, clip, opened.adapted.emplace_back());
    opened.isUsable = !taken.LacksMemory();
  }
  taken.Close();
  return opened;
}

// People read of one adaptation after the other, as if each had seen all clips.
void Fit::AdaptAll(const FitOptions& options, std::vector<Opened> opened) {
  for (std::size_t i = 0; i < std::size(kOfEachClip); ++i) {
    for (Opened& clip : opened) report_.Append(std::move(clip.adapted[i]));
  }
  for (auto& adaptation : Row(options, clocks_)) {
    adaptation->Adapt(clips_, report_);
    row_.push_back(std::move(adaptation));
    // Those behind it compare tracks that continue each other.
    if (report_.LacksPartners()) return;
  }
}

QUIRVA::ComPtr<ClipView> Fit::View(std::size_t clip, int& result, unsigned int block) const {
  const FitClip& shown = clips_[clip];
  QUIRVA::ComPtr<ClipView> view;
  view.Attach(new ClipView(shown.Path(), result));
  if (result < 0) return view;
  Bytes head = shown.fileType.Written();
  const MediaMap media(shown.media, head.size() + kMediaHeader, block);
  const Bytes header = MediaHeader(media.Size());
  head.insert(head.end(), header.begin(), header.end());
  view->AddBytes(std::move(head));
  for (std::size_t i = 0; i < shown.media.size(); ++i) {
    view->AddBytes(Bytes(static_cast<std::size_t>(media.Gaps()[i])));
    view->AddRange(static_cast<long long>(shown.media[i].position),
                   static_cast<long long>(shown.media[i].size));
  }
  view->AddBytes(EngineMovie(shown.movie, clips_.front().movie, &media).Written());
  return view;
}

double Fit::Growth() const {
  const std::uint64_t first = IsAdapted() ? SizeOfTables(clips_.front().movie) : 0;
  if (first == 0) return 1;
  std::uint64_t all = 0;
  for (const FitClip& clip : clips_) all += SizeOfTables(clip.movie);
  return static_cast<double>(all) / static_cast<double>(first);
}

// Tables of many clips are large: none is there twice for longer than it takes to write it.
std::optional<Bytes> Fit::Complete(Bytes engineMovie) const {
  auto engines = MovieOf(engineMovie);
  // Braces would leave it its memory.
  engineMovie = Bytes();
  auto movie = engines ? MergedMovie(clips_.front().movie, std::move(*engines)) : std::nullopt;
  if (!movie) return std::nullopt;
  for (const auto& adaptation : row_) adaptation->Complete(*movie);
  return movie->Written();
}

}  // namespace clipchain
