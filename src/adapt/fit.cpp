#include "adapt/fit.h"

#include <algorithm>
#include <utility>

#include "adapt/at_once.h"
#include "adapt/chapters.h"
#include "adapt/clip_times.h"
#include "adapt/data_references.h"
#include "adapt/engine_movie.h"
#include "adapt/fields.h"
#include "adapt/fragments.h"
#include "adapt/joined_tables.h"
#include "adapt/kept_boxes.h"
#include "adapt/long_durations.h"
#include "adapt/media_places.h"
#include "adapt/sample_descriptions.h"
#include "adapt/spare_entries.h"
#include "adapt/top_level.h"
#include "adapt/track_headers.h"
#include "adapt/track_order.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

// Clips that are opened at once.
constexpr std::size_t kAtOnce = 64;

// In the order in which they see the clips.
std::vector<std::unique_ptr<Adaptation>> Row(const FitOptions& options, ClipClocks& clocks) {
  std::vector<std::unique_ptr<Adaptation>> row;
  row.push_back(MakeTopLevel());
  row.push_back(MakeFragments());
  row.push_back(MakeSpareEntries());
  row.push_back(MakeMediaPlaces());
  row.push_back(MakeKeptBoxes());
  row.push_back(MakeTrackOrder(options));
  row.push_back(MakeClipTimes(options, clocks));
  row.push_back(MakeJoinedTables());
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

Bytes Written(const RawBox& box) {
  Bytes bytes;
  bytes.reserve(static_cast<std::size_t>(box.Size()));
  box.Write(bytes);
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

}  // namespace

Fit::Fit(const std::vector<std::string>& paths, const FitOptions& options)
    : commonTracks_(options.commonTracks) {
  for (const std::string& path : paths) clips_.emplace_back(path);
  OpenAll(options.memoryLimit);
  const bool allUsable = std::all_of(usable_.begin(), usable_.end(), [](bool is) { return is; });
  if (!options.exact && allUsable && !clips_.empty()) AdaptAll(options);
}

void Fit::OpenAll(long long memoryLimit) {
  usable_.assign(clips_.size(), false);
  const auto limit = static_cast<std::uint64_t>(std::max(memoryLimit, 0LL));
  std::uint64_t left = limit;
  for (std::size_t begin = 0; begin < clips_.size(); begin += kAtOnce) {
    const std::size_t end = std::min(begin + kAtOnce, clips_.size());
    std::vector<Opened> opened(end - begin);
    // A card answers many questions at once faster than one after the other.
    const std::uint64_t share = left / opened.size();
    ForEachAtOnce(begin, end, [&](std::size_t i) {
      Opened& clip = opened[i - begin];
      clip.isUsable = clips_[i].Open(i, clip.report, share);
    });
    for (std::size_t i = begin; i < end; ++i) {
      if (!TakeOpened(i, opened[i - begin], share, left)) {
        RefuseMemory(i, limit - left + clips_[i].Memory(), limit);
        return;
      }
    }
  }
}

// One that needs more than its share of the memory may have what is left. False: that is not
// enough.
bool Fit::TakeOpened(std::size_t clip, Opened& opened, std::uint64_t share, std::uint64_t& left) {
  if (clips_[clip].Memory() > share) {
    clips_[clip] = FitClip(clips_[clip].Path());
    opened = {};
    opened.isUsable = clips_[clip].Open(clip, opened.report, left);
  }
  usable_[clip] = opened.isUsable;
  report_.Append(std::move(opened.report));
  if (clips_[clip].Memory() > left) return false;
  left -= clips_[clip].Memory();
  return true;
}

// Whether clips need to be adapted is not to depend on how much memory there is.
void Fit::RefuseMemory(std::size_t clip, std::uint64_t needed, std::uint64_t limit) {
  report_.Refuse(
      FitProblemKind::kMemoryLimit, clip, 0,
      "would take the memory for movie boxes to about " + std::to_string(needed) + " bytes, and " +
          std::to_string(limit) + " are allowed",
      clip == 0 ? "raise --memory-limit" : "merge fewer clips at once, or raise --memory-limit");
}

void Fit::AdaptAll(const FitOptions& options) {
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
  Bytes head = Written(shown.fileType);
  const MediaMap media(shown.media, head.size() + kMediaHeader, block);
  const Bytes header = MediaHeader(media.Size());
  head.insert(head.end(), header.begin(), header.end());
  view->AddBytes(std::move(head));
  for (std::size_t i = 0; i < shown.media.size(); ++i) {
    view->AddBytes(Bytes(static_cast<std::size_t>(media.Gaps()[i])));
    view->AddRange(static_cast<long long>(shown.media[i].position),
                   static_cast<long long>(shown.media[i].size));
  }
  view->AddBytes(Written(EngineMovie(shown.movie, clips_.front().movie, &media)));
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
  return Written(*movie);
}

}  // namespace clipchain
