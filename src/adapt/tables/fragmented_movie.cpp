#include "adapt/tables/fragmented_movie.h"

#include <algorithm>
#include <array>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/clips/media_map.h"
#include "adapt/tables/fragment_clock.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kCopyAgain = "copy the clip again from the card";
constexpr const char* kUnprotected = "merge clips without protection";
constexpr const char* kRewrap = "rewrap the clip without fragments";

// The one child of that type; null where there is none or more than one.
// Of two that differ nobody says which one counts.
const RawBox* OnlyChild(const RawBox& parent, unsigned int type) {
  const RawBox* only = nullptr;
  for (const RawBox& child : parent.children) {
    if (child.type != type) continue;
    if (only != nullptr) return nullptr;
    only = &child;
  }
  return only;
}

// What the runs of a track fragment have where they do not say.
SampleDefaults Merged(const SampleDefaults& track, const FragmentHeader& header) {
  return {header.description.value_or(track.description), header.duration.value_or(track.duration),
          header.size.value_or(track.size), header.flags.value_or(track.flags)};
}

// Boxes of a user's type (11.1) that say what later editions have boxes of their own for.
using UserType = std::array<unsigned char, 16>;
// When this fragment, and those behind it, begin and how long they last.
constexpr UserType kTimes = {0x6D, 0x1D, 0x9B, 0x05, 0x42, 0xD5, 0x44, 0xE6,
                             0x80, 0xE2, 0x14, 0x1D, 0xAF, 0xF7, 0x57, 0xB2};
constexpr UserType kLaterTimes = {0xD4, 0x80, 0x7E, 0xF2, 0xCA, 0x39, 0x46, 0x95,
                                  0x8E, 0x54, 0x26, 0xCB, 0x9E, 0x46, 0xA7, 0x9F};

bool IsOfUser(const RawBox& box, const UserType& type) {
  return box.type == FourCc("uuid") && box.data.size() >= type.size() &&
         std::equal(type.begin(), type.end(), box.data.begin());
}

// Boxes of a track fragment that go into tables, or say nothing besides them.
bool IsTaken(const RawBox& box) {
  static constexpr unsigned int kTypes[] = {
      FourCc("tfhd"), FourCc("tfdt"), FourCc("trun"), FourCc("sdtp"), FourCc("sgpd"),
      FourCc("sbgp"), FourCc("csgp"), FourCc("subs"), FourCc("saiz"), FourCc("saio"),
      FourCc("senc"), FourCc("free"), FourCc("skip")};
  return std::find(std::begin(kTypes), std::end(kTypes), box.type) != std::end(kTypes) ||
         IsOfUser(box, kTimes) || IsOfUser(box, kLaterTimes);
}

}  // namespace

FragmentedMovie::FragmentedMovie(RawBox movie, std::vector<MediaRange> media, BytesAt bytesAt)
    : movie_(std::move(movie)), media_(std::move(media)), bytesAt_(std::move(bytesAt)) {
  std::sort(media_.begin(), media_.end(),
            [](const MediaRange& a, const MediaRange& b) { return a.position < b.position; });
  for (const MediaRange& range : media_) mediaSize_ += range.size;
}

FitProblem FragmentedMovie::Refused(FitProblemKind kind, std::uint32_t track,
                                    std::string text) const {
  return {kind, 0, track, std::move(text), kRewrap, box_, offset_};
}

FitProblem FragmentedMovie::Damaged(std::uint32_t track, std::string text) const {
  return {FitProblemKind::kBoxDamaged, 0, track, std::move(text), kCopyAgain, box_, offset_};
}

FragmentedTrack* FragmentedMovie::TrackOf(std::uint32_t id) {
  const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                  [=](const FragmentedTrack& track) { return track.id == id; });
  return found != tracks_.end() ? &*found : nullptr;
}

bool FragmentedMovie::HasUntoldFlags() const {
  return std::any_of(tracks_.begin(), tracks_.end(),
                     [](const FragmentedTrack& track) { return track.tables.HasUntoldFlags(); });
}

bool FragmentedMovie::Begin() { return IsDone(BeginAll()); }

bool FragmentedMovie::Add(const RawBox& moof, std::uint64_t position) {
  return IsDone(AddFragment(moof, position));
}

bool FragmentedMovie::IsDone(std::optional<FitProblem> problem) {
  if (!problem) return true;
  problem_ = std::move(*problem);
  return false;
}

std::optional<FitProblem> FragmentedMovie::BeginAll() {
  box_ = "moov";
  for (const RawBox& child : movie_.children) {
    if (child.type == FourCc("pssh")) systems_.insert(child.data);
    if (child.type != FourCc("trak")) continue;
    if (auto problem = BeginTrack(child)) return problem;
  }
  const RawBox* extends = movie_.Child(FourCc("mvex"));
  if (extends == nullptr) return std::nullopt;
  for (const RawBox& child : extends->children) {
    if (child.type != FourCc("trex")) continue;
    std::uint32_t id = 0;
    const auto defaults = ReadTrackDefaults(child, id);
    if (!defaults) return Damaged(0, "has a box \"trex\" that can't be read");
    FragmentedTrack* track = TrackOf(id);
    if (track == nullptr) continue;
    if (track->defaults) return Damaged(id, "has two boxes \"trex\" for one track");
    track->defaults = defaults;
  }
  return std::nullopt;
}

std::optional<FitProblem> FragmentedMovie::BeginTrack(const RawBox& track) {
  const RawBox* headerBox = track.Child(FourCc("tkhd"));
  const auto header = headerBox != nullptr ? ReadTrackHeader(*headerBox) : std::nullopt;
  const RawBox* table = SampleTable(track);
  const RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  const RawBox* mediaBox = track.At({FourCc("mdia"), FourCc("mdhd")});
  const auto media = mediaBox != nullptr ? ReadTimeHeader(*mediaBox) : std::nullopt;
  if (!header || descriptions == nullptr || !media || media->scale == 0) {
    return Damaged(0, "has a track without a header, a time scale or sample descriptions");
  }
  const std::uint32_t id = header->id;
  if (TrackOf(id) != nullptr) return Damaged(id, "has two tracks of one identifier");
  FragmentedTrack& begun = tracks_.emplace_back();
  begun.id = id;
  begun.descriptions = SampleEntryCount(*descriptions);
  if (const Reason why = begun.tables.TakeTables(*table))
    return Damaged(id, "has a track whose " + *why);
  begun.groups.Append(*table, begun.tables.Count());
  begun.subsamples.Append(*table, begun.tables.Count());
  begun.scheme = ProtectionSchemeOf(track);
  const ProtectedPart part{*table, &track, begun.tables.Count()};
  if (const Reason why = AppendProtection(part, begun.scheme, {}, kAnyBytes, begun.protection))
    return Refused(FitProblemKind::kFragmented, id, "has boxes of protected samples that " + *why);
  return std::nullopt;
}

std::optional<FitProblem> FragmentedMovie::AddFragment(const RawBox& moof, std::uint64_t position) {
  box_ = "moof";
  offset_ = static_cast<long long>(position);
  DataPlace place{position, position, true};
  fragment_ = &moof;
  fragmentBytes_.clear();
  fragmentsSize_ += moof.Size();
  for (const RawBox& child : moof.children) {
    if (child.type == FourCc("traf")) {
      if (auto problem = AddTrackFragment(child, place)) return problem;
      place.isFirstTrack = false;
    } else if (child.type == FourCc("pssh")) {
      TakeSystem(child);
    } else if (child.type != FourCc("mfhd") && !IsTaken(child)) {
      leftOut_.insert(child.type);
    }
  }
  // Behind a box of a wrong size there may be samples that nobody finds.
  if (!moof.data.empty()) return Damaged(0, "has a fragment that holds bytes that are no box");
  return std::nullopt;
}

std::optional<FitProblem> FragmentedMovie::AddTrackFragment(const RawBox& fragment,
                                                            DataPlace& place) {
  const RawBox* headerBox = OnlyChild(fragment, FourCc("tfhd"));
  const auto header = headerBox != nullptr ? ReadFragmentHeader(*headerBox) : std::nullopt;
  if (!header || !fragment.data.empty()) {
    return Damaged(0, "has a fragment of a track without a header that can be read");
  }
  FragmentedTrack* track = TrackOf(header->trackId);
  if (track == nullptr || !track->defaults) {
    return Damaged(header->trackId, "has a fragment of track " + std::to_string(header->trackId) +
                                        ", which its movie box does not announce");
  }
  const SampleDefaults defaults = Merged(*track->defaults, *header);
  std::uint64_t base = place.next;
  // In this order (8.8.7.1): what is said, the fragment, or else the end of the data before.
  if (header->base) {
    base = *header->base;
  } else if (header->baseIsFragment || place.isFirstTrack) {
    base = place.fragment;
  }
  // Nobody knows what such a fragment says; a run of samples may be among it that is damaged.
  const bool isUnknown = fragment.Child(FourCc("trun")) == nullptr && !header->durationIsEmpty &&
                         !std::all_of(fragment.children.begin(), fragment.children.end(),
                                      [](const RawBox& box) { return IsTaken(box); });
  if (isUnknown)
    return Damaged(header->trackId, "has a fragment of a track with unknown boxes and no samples");
  const std::uint32_t before = track->tables.Count();
  if (auto problem = SetTime(fragment, *header, defaults, *track)) return problem;
  if (auto problem = AddRuns(fragment, defaults, base, place, *track)) return problem;
  const std::uint32_t samples = track->tables.Count() - before;
  if (auto problem = TakeTables(fragment, samples, *track)) return problem;
  if (auto problem = TakeProtection(fragment, samples, base, *track)) return problem;
  return TakeDependencies(fragment, samples, *track);
}

// Without "tfdt" the samples follow those before.
std::optional<FitProblem> FragmentedMovie::SetTime(const RawBox& fragment,
                                                   const FragmentHeader& header,
                                                   const SampleDefaults& defaults,
                                                   FragmentedTrack& track) {
  std::uint64_t time = 0;
  if (__builtin_add_overflow(track.origin + track.tables.End(), track.emptyTime, &time)) {
    return Damaged(track.id, "has fragments that begin later than any clock counts");
  }
  if (fragment.Child(FourCc("tfdt")) != nullptr) {
    const RawBox* timeBox = OnlyChild(fragment, FourCc("tfdt"));
    const auto told = timeBox != nullptr ? ReadFragmentTime(*timeBox) : std::nullopt;
    // Beyond it sums of times and offsets leave 64 bits.
    if (!told || *told > 1ULL << 62) {
      return Damaged(track.id, "has a fragment whose time can't be read");
    }
    time = *told;
  }
  const bool hasSamples = fragment.Child(FourCc("trun")) != nullptr;
  if (!hasSamples) {
    if (header.durationIsEmpty) track.emptyTime += defaults.duration;
    return std::nullopt;
  }
  track.emptyTime = 0;
  if (track.tables.Count() == 0) {
    track.origin = time;
    return std::nullopt;
  }
  if (time >= track.origin && track.tables.MoveTo(time - track.origin)) return std::nullopt;
  return Refused(FitProblemKind::kFragmented, track.id,
                 "has a fragment of track " + std::to_string(track.id) + " that begins at " +
                     std::to_string(time) + ", and the samples before it last until " +
                     std::to_string(track.origin + track.tables.End()));
}

std::optional<FitProblem> FragmentedMovie::AddRuns(const RawBox& fragment,
                                                   const SampleDefaults& defaults,
                                                   std::uint64_t base, DataPlace& place,
                                                   FragmentedTrack& track) {
  std::uint64_t next = base;
  runs_.clear();
  for (const RawBox& child : fragment.children) {
    if (child.type != FourCc("trun")) continue;
    const auto run = FragmentRun::Read(child, defaults);
    if (!run) return Damaged(track.id, "has a run of samples that can't be read");
    const std::uint64_t size = run->Bytes();
    // Samples that neither the box nor the media has a byte for can be any number.
    if (run->Count() > run->Spelled() && run->Count() > size + child.data.size()) {
      return Damaged(track.id, "has a run of " + std::to_string(run->Count()) +
                                   " samples without a byte for them");
    }
    if (defaults.description == 0 || defaults.description > track.descriptions) {
      return Damaged(track.id, "has samples whose description is not there");
    }
    std::uint64_t position = next;
    if (run->DataOffset())
      position = base + static_cast<std::uint64_t>(std::int64_t{*run->DataOffset()});
    next = position + size;
    runs_.push_back(run->Count());
    if (auto problem = CheckData(track, position, size)) return problem;
    if (!track.tables.AppendRun(*run, position, defaults.description)) {
      return Refused(FitProblemKind::kFragmented, track.id,
                     "has more samples than tables can hold");
    }
  }
  place.next = next;
  return std::nullopt;
}

// Media belongs to one sample: what says otherwise could claim any number of samples.
std::optional<FitProblem> FragmentedMovie::CheckData(const FragmentedTrack& track,
                                                     std::uint64_t& position, std::uint64_t size) {
  auto range = std::upper_bound(
      media_.begin(), media_.end(), position,
      [](std::uint64_t at, const MediaRange& media) { return at < media.position; });
  const bool isInside = range != media_.begin() &&
                        position - std::prev(range)->position <= std::prev(range)->size &&
                        size <= std::prev(range)->size - (position - std::prev(range)->position);
  if (size == 0) {
    if (!isInside) position = media_.empty() ? 0 : media_.front().position;
    return std::nullopt;
  }
  if (!isInside) {
    FitProblem problem =
        Refused(FitProblemKind::kSamplesOutsideMedia, track.id,
                "has samples in a fragment whose " + std::to_string(size) + " bytes from byte " +
                    std::to_string(position) + " on lie outside of its media");
    problem.remedy = kCopyAgain;
    return problem;
  }
  used_ += size;
  if (used_ > mediaSize_) return Damaged(track.id, "has samples that share the same media");
  return std::nullopt;
}

std::optional<FitProblem> FragmentedMovie::TakeTables(const RawBox& fragment, std::uint32_t samples,
                                                      FragmentedTrack& track) {
  for (const RawBox& child : fragment.children) {
    if (IsUsersProtection(child)) {
      FitProblem problem =
          Refused(FitProblemKind::kFragmented, track.id,
                  "has fragments whose samples are protected by a box of a user's type");
      problem.remedy = kUnprotected;
      return problem;
    }
    if (!IsTaken(child)) leftOut_.insert(child.type);
  }
  track.groups.AppendFragment(fragment, samples);
  track.subsamples.Append(fragment, samples);
  return std::nullopt;
}

std::optional<FitProblem> FragmentedMovie::TakeProtection(const RawBox& fragment,
                                                          std::uint32_t samples, std::uint64_t base,
                                                          FragmentedTrack& track) {
  const ProtectedPart part{fragment, nullptr, samples, base, runs_};
  if (!IsProtectionTold(part)) {
    track.protection.AddSizes(samples, 0);
    return std::nullopt;
  }
  const bool hasGroups = fragment.Child(FourCc("sgpd")) != nullptr;
  ProtectionScheme own = hasGroups ? track.scheme : ProtectionScheme();
  if (hasGroups) own.AddGroups(fragment);
  // Any number of samples may point at the same bytes, which are copied for each of them.
  const std::uint64_t most = mediaSize_ + fragmentsSize_;
  const Reason why = AppendProtection(
      part, hasGroups ? own : track.scheme,
      [this](std::uint64_t position, std::uint64_t size) { return BytesOfFile(position, size); },
      most > track.protection.Size() ? most - track.protection.Size() : 0, track.protection);
  if (!why) return std::nullopt;
  FitProblem problem = Refused(FitProblemKind::kFragmented, track.id,
                               "has a fragment with boxes of protected samples that " + *why);
  problem.remedy = kUnprotected;
  return problem;
}

// It speaks of keys, and holds for the movie wherever it stands.
void FragmentedMovie::TakeSystem(const RawBox& box) {
  if (systems_.insert(box.data).second) movie_.children.push_back(box);
}

Bytes FragmentedMovie::BytesOfFile(std::uint64_t position, std::uint64_t size) {
  if (fragmentBytes_.empty()) fragment_->Write(fragmentBytes_);
  const std::uint64_t begin = static_cast<std::uint64_t>(offset_);
  const std::uint64_t held = fragmentBytes_.size();
  if (position < begin || position - begin >= held || size > held - (position - begin))
    return bytesAt_ ? bytesAt_(position, size) : Bytes();
  // Any number of samples may point at them, and no media speaks against it.
  fragmentsTold_ += size;
  if (fragmentsTold_ > fragmentsSize_) return {};
  const auto from = fragmentBytes_.begin() + static_cast<std::ptrdiff_t>(position - begin);
  return {from, from + static_cast<std::ptrdiff_t>(size)};
}

std::optional<FitProblem> FragmentedMovie::TakeDependencies(const RawBox& fragment,
                                                            std::uint32_t samples,
                                                            FragmentedTrack& track) {
  const RawBox* box = fragment.Child(FourCc("sdtp"));
  const auto dependencies = box != nullptr ? ReadDependencies(*box) : std::nullopt;
  if (!dependencies) return std::nullopt;
  if (dependencies->size() != samples) {
    return Damaged(track.id, "has a table of sample dependencies of another length than its run");
  }
  track.tables.SetDependencies(*dependencies);
  return std::nullopt;
}

std::optional<RawBox> FragmentedMovie::Finish() {
  box_ = "moov";
  offset_ = -1;
  std::size_t index = 0;
  for (RawBox& child : movie_.children) {
    if (child.type != FourCc("trak")) continue;
    const FragmentedTrack& track = tracks_[index++];
    RawBox& table = *SampleTable(child);
    track.groups.Write(table);
    track.subsamples.Write(table);
    track.protection.Write(child, false);
    leftOut_.insert(track.groups.LeftOut().begin(), track.groups.LeftOut().end());
    if (track.subsamples.IsLeftOut()) leftOut_.insert(FourCc("subs"));
    if (!track.tables.Write(table)) {
      problem_ =
          Refused(FitProblemKind::kFragmented, track.id, "has samples that no table can hold");
      return std::nullopt;
    }
  }
  if (const Reason why = SetFragmentClock(movie_, tracks_)) {
    problem_ = Refused(FitProblemKind::kFragmented, 0, *why);
    return std::nullopt;
  }
  movie_.Remove(FourCc("mvex"));
  return std::move(movie_);
}

}  // namespace clipchain
