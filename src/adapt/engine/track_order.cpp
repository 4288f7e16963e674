#include "adapt/engine/track_order.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>

#include "adapt/boxes/bit_rates.h"
#include "adapt/boxes/fields.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "foundation/fourcc.h"

namespace clipchain {

namespace {

constexpr const char* kOtherRecording = "leave it out, or merge it with clips of its own kind";
constexpr const char* kCommonTracks =
    "leave it out, or go on with the tracks that all clips have (--common-tracks)";
constexpr const char* kWithoutHints =
    "go on without them, which players do not need (--common-tracks)";
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// By what a track is known again in another clip.
struct TrackLook {
  unsigned int kind = 0;
  unsigned int entryType = 0;
  // Without declared bit rates.
  Bytes descriptions;
  Bytes name;
  Bytes language;
};

Bytes DataOf(const RawBox* box, std::size_t from) {
  if (box == nullptr || box->data.size() < from) return {};
  return Bytes(box->data.begin() + static_cast<std::ptrdiff_t>(from), box->data.end());
}

// Behind version, flags, times, scale and duration (ISO/IEC 14496-12, 8.4.2.2).
Bytes LanguageOf(const RawBox* mdhd) {
  constexpr std::size_t kSize = 2;
  if (mdhd == nullptr || mdhd->data.empty()) return {};
  const std::size_t at = mdhd->data.front() == 1 ? 32 : 20;
  Bytes bytes = DataOf(mdhd, at);
  bytes.resize(std::min(bytes.size(), kSize));
  return bytes;
}

TrackLook LookOf(const RawBox& track) {
  // Version, flags, kind and reserved fields of "hdlr".
  constexpr std::size_t kBeforeName = 24;
  TrackLook look;
  look.kind = TrackKind(track);
  look.entryType = TrackSampleEntryType(track);
  const RawBox* table = SampleTable(track);
  const RawBox* stsd = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
  if (stsd != nullptr) look.descriptions = WithoutRateBoxes(stsd->data);
  look.name = DataOf(track.At({FourCc("mdia"), FourCc("hdlr")}), kBeforeName);
  look.language = LanguageOf(track.At({FourCc("mdia"), FourCc("mdhd")}));
  return look;
}

using Looks = std::vector<TrackLook>;
// For each track of the first clip the place of its partner, or kNone.
using Partners = std::vector<std::size_t>;

bool IsOfOneKind(const TrackLook& a, const TrackLook& b) {
  return a.kind == b.kind && a.entryType == b.entryType;
}

// Whose samples name those of other tracks by their number (ISO/IEC 14496-12, 9.1.3): behind
// another clip's samples these have other numbers.
bool IsOfHints(const TrackLook& look) { return look.kind == FourCc("hint"); }

Partners FindPartners(const Looks& first, const Looks& later) {
  // In three rounds, the most alike first, so that no track takes the partner of one that resembles
  // it more.
  Partners partners(first.size(), kNone);
  std::vector<bool> used(later.size());
  const auto pair = [&](auto fits) {
    for (std::size_t i = 0; i < first.size(); ++i) {
      for (std::size_t k = 0; k < later.size() && partners[i] == kNone; ++k) {
        if (used[k] || !IsOfOneKind(first[i], later[k]) || IsOfHints(first[i]) ||
            !fits(first[i], later[k]))
          continue;
        partners[i] = k;
        used[k] = true;
      }
    }
  };
  pair([](const TrackLook& a, const TrackLook& b) {
    return a.descriptions == b.descriptions && a.name == b.name && a.language == b.language;
  });
  pair([](const TrackLook& a, const TrackLook& b) { return a.descriptions == b.descriptions; });
  pair([](const TrackLook&, const TrackLook&) { return true; });
  return partners;
}

// Lets the tracks at these places stay, in this order.
void KeepTracks(RawBox& movie, const std::vector<std::size_t>& places) {
  std::vector<RawBox> kept;
  const std::vector<RawBox*> tracks = TracksOf(movie);
  for (const std::size_t place : places) kept.push_back(*tracks[place]);
  std::size_t next = 0;
  for (RawBox& child : movie.children) {
    if (child.type != FourCc("trak")) continue;
    child = next < kept.size() ? std::move(kept[next]) : RawBox();
    ++next;
  }
  std::erase_if(movie.children, [](const RawBox& child) { return child.type == 0; });
}

// Takes identifiers out of the references of all tracks, and references that are empty then.
void DropReferences(RawBox& movie, const std::set<unsigned int>& gone) {
  for (RawBox* track : TracksOf(movie)) {
    RawBox* references = track->Child(FourCc("tref"));
    if (references == nullptr) continue;
    for (RawBox& reference : references->children) {
      std::span<const unsigned char> in = reference.data;
      Bytes kept;
      QUIRVA::be32 id;
      while (TakeField(in, id)) {
        if (gone.count(id) == 0) PutField<QUIRVA::be32>(kept, id);
      }
      reference.data = std::move(kept);
    }
    std::erase_if(references->children, [](const RawBox& box) { return box.data.empty(); });
    if (references->children.empty()) track->Remove(FourCc("tref"));
  }
}

// By track: of which type each reference is, and the place of the track that it leads to.
using References = std::set<std::pair<unsigned int, std::size_t>>;

std::vector<References> ReferencesOf(const RawBox& movie) {
  const std::vector<const RawBox*> tracks = TracksOf(movie);
  std::map<unsigned int, std::size_t> places;
  for (std::size_t i = 0; i < tracks.size(); ++i) places.emplace(RawTrackId(*tracks[i]), i);
  std::vector<References> all;
  for (const RawBox* track : tracks) {
    References& found = all.emplace_back();
    const RawBox* box = track->Child(FourCc("tref"));
    if (box == nullptr) continue;
    for (const RawBox& reference : box->children) {
      std::span<const unsigned char> in = reference.data;
      QUIRVA::be32 id;
      while (TakeField(in, id)) {
        const auto target = places.find(id);
        if (target != places.end()) found.emplace(reference.type, target->second);
      }
    }
  }
  return all;
}

class TrackOrder final : public Adaptation {
 public:
  explicit TrackOrder(bool commonTracks) : commonTracks_(commonTracks) {}

  void Adapt(FitClips& clips, FitReport& report) override {
    firstPath_ = clips.front().Path();
    Looks first;
    for (const RawBox* track : TracksOf(std::as_const(clips.front().movie)))
      first.push_back(LookOf(*track));
    std::vector<Partners> partners(clips.size());
    partners.front().resize(first.size());
    std::iota(partners.front().begin(), partners.front().end(), std::size_t{0});
    for (std::size_t i = 1; i < clips.size(); ++i) {
      Looks later;
      for (const RawBox* track : TracksOf(std::as_const(clips[i].movie)))
        later.push_back(LookOf(*track));
      partners[i] = FindPartners(first, later);
      if (!commonTracks_) Judge(clips, i, partners[i], report);
    }
    if (report.LacksPartners()) return;
    Arrange(clips, CommonOf(partners), partners, report);
  }

 private:
  void Judge(const FitClips& clips, std::size_t index, const Partners& partners,
             FitReport& report) const {
    const std::vector<const RawBox*> first = TracksOf(clips.front().movie);
    const std::vector<const RawBox*> later = TracksOf(clips[index].movie);
    const auto found = static_cast<std::size_t>(
        std::count_if(partners.begin(), partners.end(), [](std::size_t p) { return p != kNone; }));
    const char* remedy = found != 0 ? kCommonTracks : kOtherRecording;
    if (first.size() != later.size())
      report
          .Refuse(FitProblemKind::kTrackCount, index, 0,
                  "has " + std::to_string(later.size()) + " tracks, and " + firstPath_ + " has " +
                      std::to_string(first.size()),
                  remedy)
          .box = "moov";
    for (std::size_t i = 0; i < partners.size(); ++i) {
      if (partners[i] != kNone) continue;
      if (IsOfHints(LookOf(*first[i]))) {
        report
            .Refuse(FitProblemKind::kTrackWithoutPartner, index, 0,
                    "can't continue " + RawTrackWords(*first[i]) + " of " + firstPath_ +
                        ", whose hints name samples of other tracks by their number",
                    kWithoutHints)
            .box = "moov";
        continue;
      }
      report
          .Refuse(
              FitProblemKind::kTrackWithoutPartner, index, 0,
              "has no track left that continues " + RawTrackWords(*first[i]) + " of " + firstPath_,
              remedy)
          .box = "moov";
    }
  }

  // Places of the first clip's tracks that all clips have.
  static std::vector<std::size_t> CommonOf(const std::vector<Partners>& partners) {
    std::vector<std::size_t> common;
    for (std::size_t i = 0; i < partners.front().size(); ++i) {
      if (std::all_of(partners.begin(), partners.end(),
                      [i](const Partners& clip) { return clip[i] != kNone; }))
        common.push_back(i);
    }
    return common;
  }

  void Arrange(FitClips& clips, const std::vector<std::size_t>& common,
               const std::vector<Partners>& partners, FitReport& report) const {
    if (common.empty() && !partners.front().empty()) {
      report.Refuse(FitProblemKind::kTrackWithoutPartner, clips.size() - 1, 0,
                    "has no track that all clips have", kOtherRecording);
      return;
    }
    for (std::size_t i = 0; i < clips.size(); ++i) {
      std::vector<std::size_t> places;
      for (const std::size_t place : common) places.push_back(partners[i][place]);
      ArrangeClip(clips[i], i, places, report);
      if (i != 0) TellReferences(clips, i, report);
    }
  }

  // The result has those of the first clip.
  void TellReferences(const FitClips& clips, std::size_t index, FitReport& report) const {
    const auto kept = ReferencesOf(clips.front().movie);
    const auto later = ReferencesOf(clips[index].movie);
    const std::vector<const RawBox*> tracks = TracksOf(clips[index].movie);
    for (std::size_t i = 0; i < later.size() && i < kept.size(); ++i) {
      if (std::includes(kept[i].begin(), kept[i].end(), later[i].begin(), later[i].end())) continue;
      report
          .Refuse(FitProblemKind::kBoxLost, index, RawTrackId(*tracks[i]),
                  "has in its " + RawTrackWords(*tracks[i]) +
                      " references to other tracks, and those of " + firstPath_ + " alone stay",
                  "keep the clip if you need what is lost")
          .box = "moov/trak/tref";
    }
  }

  static void ArrangeClip(FitClip& clip, std::size_t index, const std::vector<std::size_t>& places,
                          FitReport& report) {
    const std::vector<const RawBox*> tracks = TracksOf(std::as_const(clip.movie));
    std::set<unsigned int> gone;
    bool areHintsGone = false;
    for (std::size_t k = 0; k < tracks.size(); ++k) {
      if (std::find(places.begin(), places.end(), k) != places.end()) continue;
      areHintsGone = areHintsGone || IsOfHints(LookOf(*tracks[k]));
      gone.insert(RawTrackId(*tracks[k]));
      if (index == 0) report.leftOut.insert(RawTrackId(*tracks[k]));
      report.Note(AdaptationKind::kCommonTracks, index, RawTrackId(*tracks[k]),
                  "has a " + RawTrackWords(*tracks[k]) + " that not all clips have, left out");
    }
    const bool isInOrder = std::is_sorted(places.begin(), places.end());
    if (isInOrder && gone.empty()) return;
    if (!isInOrder)
      report.Note(AdaptationKind::kTrackOrder, index, 0,
                  "has its tracks in another order than the first clip");
    KeepTracks(clip.movie, places);
    if (!gone.empty()) DropReferences(clip.movie, gone);
    if (areHintsGone && index == 0) DropSession(clip.movie, report);
  }

  // What a server says of a session with the tracks of hints (ISO/IEC 14496-12, 9.1.4) is true of
  // those alone.
  static void DropSession(RawBox& movie, FitReport& report) {
    RawBox* userData = movie.Child(FourCc("udta"));
    if (userData == nullptr || userData->Child(FourCc("hnti")) == nullptr) return;
    userData->Remove(FourCc("hnti"));
    report.dropped.insert(FourCc("hnti"));
    report.Note(AdaptationKind::kCommonTracks, 0, 0,
                "describes a session with the tracks of hints that are left out (\"hnti\"), left "
                "out, too");
  }

  const bool commonTracks_;
  std::string firstPath_;
};

}  // namespace

std::unique_ptr<Adaptation> MakeTrackOrder(const FitOptions& options) {
  return std::make_unique<TrackOrder>(options.commonTracks);
}

}  // namespace clipchain
