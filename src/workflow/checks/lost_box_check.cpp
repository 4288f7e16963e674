#include "workflow/checks/lost_box_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <span>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "box/sample_table_boxes.h"
#include "clip/vendor_boxes.h"
#include "reader/typed_views.h"
#include "workflow/clips/track_facts.h"
#include "workflow/findings/clip_words.h"

namespace clipchain {

namespace {

constexpr const char* kKeep = "keep the clip if you need what is lost";

using Types = std::span<const unsigned int>;

// What a merge sums up, appends or looks into, and what says the same of every clip's media: at
// each level, these boxes are no loss.
constexpr unsigned int kOfMovie[] = {FourCc("mvex"), FourCc("mvhd"), FourCc("trak")};
constexpr unsigned int kOfTrack[] = {FourCc("edts"), FourCc("mdia"), FourCc("tkhd")};
constexpr unsigned int kOfMedia[] = {FourCc("hdlr"), FourCc("mdhd"), FourCc("minf")};
constexpr unsigned int kOfInformation[] = {FourCc("dinf"), FourCc("gmhd"), FourCc("hdlr"),
                                           FourCc("hmhd"), FourCc("nmhd"), FourCc("smhd"),
                                           FourCc("stbl"), FourCc("sthd"), FourCc("vmhd")};
constexpr unsigned int kOfTables[] = {
    FourCc("co64"), FourCc("ctts"), FourCc("sdtp"), FourCc("stco"), FourCc("stsc"),
    FourCc("stsd"), FourCc("stss"), FourCc("stsz"), FourCc("stts"), FourCc("stz2")};
constexpr unsigned int kPadding[] = {FourCc("free"), FourCc("skip")};

// Tables that speak of samples one by one, so that equal bytes do not make them superfluous.
constexpr unsigned int kCountingSamples[] = {FourCc("padb"), FourCc("saio"), FourCc("saiz"),
                                             FourCc("sbgp"), FourCc("stdp"), FourCc("stps"),
                                             FourCc("stsh"), FourCc("subs")};

bool IsAmong(Types types, unsigned int type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// The type, and the extended type of a "uuid" box.
using Kind = std::pair<unsigned int, std::string>;

Kind KindOf(const MP4G::CBox& box) {
  // A box that was made by code has no type in its header before it is fixed up.
  const unsigned int type =
      box.GetClassType() != 0 ? box.GetClassType() : std::uint32_t{box.header->type};
  return {type, type == FourCc("uuid") ? GuidWords(box.GetUsertype()) : std::string()};
}

std::string KindWords(const Kind& kind) {
  const std::string type = Quoted(kind.first);
  return kind.second.empty() ? type : type + ' ' + kind.second;
}

// A camera says in it which clip this is, so that it differs from clip to clip.
bool IsCameras(const MP4G::CBox& box) { return box.GetUsertype() == MP4G::VIREO_CLIP_UUID; }

using Boxes = std::vector<const MP4G::CBox*>;

// The children that are not `accountedFor`.
std::map<Kind, Boxes> OthersOf(const MP4G::CBox* parent, Types accountedFor) {
  std::map<Kind, Boxes> others;
  if (parent == nullptr) return others;
  for (const MP4G::CBox* child : parent->children) {
    if (child == nullptr || IsCameras(*child)) continue;
    Kind kind = KindOf(*child);
    if (IsAmong(accountedFor, kind.first) || IsAmong(kPadding, kind.first)) continue;
    others[std::move(kind)].push_back(child);
  }
  return others;
}

// Whether `kept` begins with boxes that are the same as those of the later clip.
bool Keeps(const Boxes& kept, const Boxes& later) {
  return later.size() <= kept.size() &&
         std::equal(later.begin(), later.end(), kept.begin(),
                    [](const MP4G::CBox* a, const MP4G::CBox* b) { return a->IsSameBox(b); });
}

class LostBoxCheck {
 public:
  LostBoxCheck(const std::string& firstName, FileFindings& findings)
      : firstName_(firstName), findings_(findings) {}

  void CompareMovies(const MP4G::CMovieBox* first, const MP4G::CMovieBox* second) {
    Compare(first, second, kOfMovie, nullptr);
  }

  void CompareTracks(const TrackPair& pair) {
    const MP4G::CTrackBox_wr first(pair.first);
    const MP4G::CTrackBox_wr second(pair.second);
    const TrackFacts facts = FactsOf(pair.second);
    Compare(pair.first, pair.second, kOfTrack, &facts);
    Compare(first.MediaBox(), second.MediaBox(), kOfMedia, &facts);
    Compare(first.MediaInformationBox(), second.MediaInformationBox(), kOfInformation, &facts);
    CompareTables(first.SampleTableBox(), second.SampleTableBox(), facts);
  }

 private:
  // `track` is null for the boxes of the movie itself.
  void Compare(const MP4G::CBox* first, const MP4G::CBox* second, Types accountedFor,
               const TrackFacts* track) {
    const std::map<Kind, Boxes> kept = OthersOf(first, accountedFor);
    for (const auto& [kind, boxes] : OthersOf(second, accountedFor)) {
      const auto same = kept.find(kind);
      if (same != kept.end() && Keeps(same->second, boxes)) continue;
      if (!told_.insert({second->header->type, kind}).second) continue;
      const MP4G::CBox* box = boxes.front();
      Finding& finding = findings_.AddAt(
          Message::kFirstBoxOnly,
          fmt::format("{} a box {} of {} bytes, {}",
                      track != nullptr ? fmt::format("in its {} has", TrackWords(*track))
                                       : std::string("has in its movie box"),
                      KindWords(kind), box->GetBoxSize(), Fate(same != kept.end())),
          kKeep, box);
      if (track != nullptr) finding.track = track->id;
    }
  }

  void CompareTables(const MP4G::CBox* first, const MP4G::CBox* second, const TrackFacts& track) {
    const std::map<Kind, Boxes> kept = OthersOf(first, kOfTables);
    const std::map<Kind, Boxes> later = OthersOf(second, kOfTables);
    for (const auto& [kind, boxes] : later) {
      const auto same = kept.find(kind);
      const bool isThere = same != kept.end();
      if (isThere && !IsAmong(kCountingSamples, kind.first) && Keeps(same->second, boxes)) continue;
      AddTable(fmt::format("has a table {}, {}", KindWords(kind), Fate(isThere)), boxes.front(),
               track);
    }
    for (const auto& [kind, boxes] : kept) {
      if (later.count(kind) != 0 || !IsAmong(kCountingSamples, kind.first)) continue;
      AddTable(fmt::format("has no table {}, and that of {} does not speak of its samples",
                           KindWords(kind), firstName_),
               second, track);
    }
  }

  void AddTable(const std::string& text, const MP4G::CBox* box, const TrackFacts& track) {
    findings_
        .AddAt(Message::kFirstTableOnly, fmt::format("in its {} {}", TrackWords(track), text),
               kKeep, box)
        .track = track.id;
  }

  std::string Fate(bool firstHasOne) const {
    return firstHasOne ? fmt::format("of which that of {} alone stays", firstName_)
                       : fmt::format("and {} has none, so that it is lost", firstName_);
  }

  const std::string& firstName_;
  FileFindings& findings_;
  // With the type of the parent.
  std::set<std::pair<unsigned int, Kind>> told_;
};

}  // namespace

void CheckLostBoxes(const MP4G::CMovieBox* first, const MP4G::CMovieBox* second,
                    const std::vector<TrackPair>& pairs, const std::string& firstName,
                    FileFindings& findings) {
  LostBoxCheck check(firstName, findings);
  check.CompareMovies(first, second);
  for (const TrackPair& pair : pairs) check.CompareTracks(pair);
}

}  // namespace clipchain
