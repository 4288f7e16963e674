#include "workflow/checks/rehearsal.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "box/header_boxes.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"
#include "workflow/boxes/sample_tables.h"
#include "workflow/clips/track_facts.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr std::uint64_t kLargest32Bits = 0xFFFFFFFF;

constexpr const char* kFewer = "merge fewer clips at once";

// Sizes are what files say of themselves: their sum may leave 64 bits.
long long LimitedSum(long long a, long long b) {
  constexpr long long kMost = std::numeric_limits<long long>::max();
  return a > kMost - b ? kMost : a + b;
}

SampleLayout LayoutOf(MP4G::CTrackBox* track) {
  return SampleLayout(MP4G::CTrackBox_wr(track).SampleTableBox());
}

// How many sizes a merge would list one by one because the tracks have different common sizes.
std::uint64_t SpelledOutSizes(const MP4G::CSampleSizeBox* first,
                              const MP4G::CSampleSizeBox* second) {
  if (first == nullptr || second == nullptr) return 0;
  const unsigned int a = first->record->sampleSize;
  const unsigned int b = second->record->sampleSize;
  if (a == b) return 0;
  return (a != 0 ? std::uint64_t{first->record->sampleCount} : 0) + second->record->sampleCount;
}

}  // namespace

// The boxes are counted only where their bytes alone do not exceed the limit.
bool Rehearsal::HasRoomFor(const ClipFile& clip, FileFindings& findings) {
  long long needed = LimitedSum(memory_, clip.MemoryOfBytes());
  boxMemory_ = needed <= memoryLimit_ ? clip.MemoryOfBoxes() : 0;
  needed = LimitedSum(needed, boxMemory_);
  if (needed <= memoryLimit_) return true;
  if (std::exchange(isMemoryTold_, true)) return false;
  findings
      .Add(
          Message::kMemoryLimit,
          fmt::format("would take the memory for movie boxes to about {} bytes, and {} are allowed",
                      needed, memoryLimit_),
          memory_ == 0 ? "raise --memory-limit"
                       : "merge fewer clips at once, or raise --memory-limit")
      .result = E_OUTOFMEMORY;
  return false;
}

void Rehearsal::Take(std::unique_ptr<ClipFile>& clip, const ClipView* view,
                     FileFindings& findings) {
  memory_ = LimitedSum(memory_, clip->MemoryOfBytes());
  mediaBytes_ = LimitedSum(mediaBytes_, clip->file.mdatSize);
  movieBytes_ = LimitedSum(movieBytes_, clip->MoviePlace()->size);
  // Those of the clip before would be told of this one where it has none.
  pairs_.clear();
  if (first_ == nullptr) {
    // Of later clips the tables alone remain.
    memory_ = LimitedSum(memory_, boxMemory_);
    TakeFirst(std::move(clip), view, findings);
    return;
  }
  pairs_ = CheckMatch(first_->Movie(), PrintablePath(first_->Path()), clip->Movie(), findings);
  // A merge that would fail is not gone through: it changes the first clip's tree on the way.
  if (complete_ && !findings.Refused() && CanSpellOutSizes(findings)) Merge(*clip, view, findings);
  complete_ = complete_ && !findings.Refused();
}

void Rehearsal::TakeFirst(std::unique_ptr<ClipFile> clip, const ClipView* view,
                          FileFindings& findings) {
  first_ = std::move(clip);
  hasMovie_ = first_->MoviePlace() != nullptr;
  headBytes_ = MP4G::CMovieAssembly::HeadSize(first_->file);
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(first_->Movie()).Tracks()) {
    samples_[track] = LayoutOf(track).SampleCount();
    pairs_.push_back({track, track});
  }
  complete_ = complete_ && !findings.Refused();
  if (!complete_) return;
  const HRESULT result = assembly_.Take(first_->file, view);
  if (result == S_OK) {
    room_.emplace(first_->Movie(), growth_);
    return;
  }
  complete_ = false;
  findings.Add(Message::kInputRefused, "can't be merged", "leave it out").result = result;
}

void Rehearsal::Merge(ClipFile& next, const ClipView* view, FileFindings& findings) {
  // The merge changes the tree, in which places were counted.
  findings.ForgetPlaces();
  const HRESULT result = assembly_.Take(next.file, view);
  if (result != S_OK) {
    findings.Add(Message::kInputRefused, "can't be merged", "leave it out").result = result;
    return;
  }
  for (const TrackPair& pair : pairs_) {
    const std::uint64_t before = samples_[pair.first];
    samples_[pair.first] = before + LayoutOf(pair.second).SampleCount();
    CheckSizes(pair, before, findings);
  }
  CheckDurations(findings);
}

bool Rehearsal::CanSpellOutSizes(FileFindings& findings) {
  for (const TrackPair& pair : pairs_) {
    const SampleTables first(pair.first);
    const std::uint64_t count = SpelledOutSizes(first.sizes, SampleTables(pair.second).sizes);
    if (count == 0) continue;
    const TrackFacts facts = FactsOf(pair.second);
    if (first.sizes->entries.size() + count > MP4G::kMostSampleSizes) {
      Finding& finding = findings.AddAt(
          Message::kSampleSizesTooMany,
          fmt::format(
              "would in its {} make a merge list the sizes of {} samples, of which {} are the "
              "most",
              TrackWords(facts), first.sizes->entries.size() + count, MP4G::kMostSampleSizes),
          "leave it out", SampleTables(pair.second).sizes);
      finding.track = facts.id;
      finding.result = MP4G_E_SAMPLE_TABLE;
      return false;
    }
    memory_ = LimitedSum(memory_, static_cast<long long>(count * sizeof(unsigned int)));
    if (memory_ <= memoryLimit_) continue;
    Finding& finding = findings.AddAt(
        Message::kMemoryLimit,
        fmt::format(
            "would in its {} make a merge list the sizes of {} samples, which takes the memory "
            "for movie boxes to about {} bytes, and {} are allowed",
            TrackWords(facts), count, memory_, memoryLimit_),
        "leave it out, or raise --memory-limit", SampleTables(pair.second).sizes);
    finding.track = facts.id;
    finding.result = E_OUTOFMEMORY;
    return false;
  }
  return true;
}

// A common size that a table of sizes follows makes the merged table say something else than both.
void Rehearsal::CheckSizes(const TrackPair& pair, std::uint64_t before, FileFindings& findings) {
  const SampleLayout merged = LayoutOf(pair.first);
  const SampleLayout second = LayoutOf(pair.second);
  std::string wrong;
  if (merged.SampleCount() != samples_[pair.first]) {
    wrong = fmt::format("would count {} samples up to here in place of {}", merged.SampleCount(),
                        samples_[pair.first]);
  } else if (merged.UniformSize() == 0 || merged.UniformSize() != second.UniformSize()) {
    // With one size on both sides there may be billions of samples, and nothing to compare.
    if (const auto i = DifferentSize(merged, before, second))
      wrong = fmt::format("would give its sample {} {} bytes in place of {}", *i + 1,
                          merged.SizeOf(before + *i), second.SizeOf(*i));
  }
  if (wrong.empty() || !reported_.insert(pair.first).second) return;
  const TrackFacts facts = FactsOf(pair.second);
  findings
      .AddAt(Message::kSampleSizesLost,
             fmt::format(
                 "has in its {} a table of sample sizes behind clips whose samples all have one "
                 "size; a merge {}",
                 TrackWords(facts), wrong),
             "merge clips of this kind with another program", SampleTables(pair.second).SizeBox())
      .track = facts.id;
}

void Rehearsal::CheckDuration(const MP4G::CFullBox* box, std::uint64_t duration, BoxPlaces& places,
                              FileFindings& findings) {
  if (box == nullptr || box->fullHeader->version == 1 || duration <= kLargest32Bits) return;
  if (!reported_.insert(box).second || !findings.TakesMore()) return;
  Finding& finding = findings.Add(
      Message::kDurationTooLong,
      fmt::format("takes the duration in \"{}\" to {}, and that box of {}, version {}, holds {} at "
                  "most",
                  FourCcText(box->header->type), duration, PrintablePath(first_->Path()),
                  unsigned{box->fullHeader->version}, kLargest32Bits),
      kFewer);
  finding.box = places.PathOf(*box);
}

void Rehearsal::CheckDurations(FileFindings& findings) {
  BoxPlaces places;
  const MP4G::CMovieBox_wr movie(first_->Movie());
  if (const auto* header = movie.MovieHeaderBox())
    CheckDuration(header, header->recordA->Duration(), places, findings);
  for (MP4G::CTrackBox* track : movie.Tracks()) {
    const MP4G::CTrackBox_wr view(track);
    if (const auto* header = view.TrackHeaderBox())
      CheckDuration(header, header->recordA->Duration(), places, findings);
    if (const auto* header = view.MediaHeaderBox())
      CheckDuration(header, header->recordA->Duration(), places, findings);
    const MP4G::CEditListBox* edits = view.EditListBox();
    if (edits != nullptr && !edits->entries.empty())
      CheckDuration(edits, edits->entries.front().segmentDuration, places, findings);
  }
}

void Rehearsal::Finish(const MovieCompletion& completion, FileFindings& findings,
                       MergeImage* image) {
  room_.reset();
  if (!complete_ || first_ == nullptr) return;
  Bytes movie;
  const HRESULT result = assembly_.CompleteMovie(movie);
  if (result != S_OK) {
    findings.Add(Message::kOutputUnfinished, OutputWords(result), kFewer).result = result;
    return;
  }
  movieBytes_ = static_cast<long long>(movie.size());
  // The tables of all clips are in the bytes now.
  headBytes_ = MP4G::CMovieAssembly::HeadSize(first_->file);
  first_.reset();
  CheckMovie(movie, findings);
  if (completion && !Complete(completion, movie, findings)) return;
  if (image == nullptr || assembly_.Finish(std::move(movie), *image) == S_OK) return;
  *image = {};
}

bool Rehearsal::Complete(const MovieCompletion& completion, Bytes& movie, FileFindings& findings) {
  auto complete = completion(std::move(movie));
  if (!complete) {
    findings.Add(Message::kOutputUnfinished, OutputWords(E_BAD_DATA), kFewer);
    return false;
  }
  movie = std::move(*complete);
  movieBytes_ = static_cast<long long>(movie.size());
  if (movieBytes_ < MP4G::kLeastUnloadedBoxSize) return true;
  findings
      .Add(Message::kMovieTooLarge,
           fmt::format("would have a movie box of {} bytes, and a reader takes {} at most",
                       movieBytes_, MP4G::kLeastUnloadedBoxSize - 1),
           kFewer)
      .severity = Severity::kRisk;
  return true;
}

// Whoever reads the result next has the engine's limits, if it is the engine.
void Rehearsal::CheckMovie(std::span<const unsigned char> bytes, FileFindings& findings) {
  const auto size = static_cast<unsigned int>(bytes.size());
  if (size >= MP4G::kLeastUnloadedBoxSize) {
    findings
        .Add(Message::kMovieTooLarge,
             fmt::format("would have a movie box of {} bytes, and a reader takes {} at most", size,
                         MP4G::kLeastUnloadedBoxSize - 1),
             kFewer)
        .severity = Severity::kRisk;
    return;
  }
  MP4G::CMp4Tree tree;
  const HRESULT result = tree.AddBoxData(bytes.data(), size, 0);
  if (result == S_OK) return;
  findings
      .Add(Message::kMovieUnreadable, "would have a movie box that can't be read again",
           "merge the clips with another program")
      .result = result;
}

long long Rehearsal::OutputSize() const {
  return hasMovie_ ? LimitedSum(LimitedSum(headBytes_, mediaBytes_), movieBytes_) : 0;
}

}  // namespace clipchain
