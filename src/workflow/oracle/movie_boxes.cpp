#include "workflow/oracle/movie_boxes.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "foundation/fourcc.h"
#include "workflow/oracle/next_clip.h"
#include "workflow/oracle/sample_description.h"

namespace clipchain::samples {

namespace {

// What a merge may not change of a header. It may of "mvhd" the modification time, time scale,
// duration and the next track's identifier; of "tkhd" and "mdhd" the modification time and the
// duration, of the latter the scale too (ISO/IEC 14496-12, clauses 8.2.2, 8.3.2, 8.4.2).
std::string Constant(std::uint32_t type, View body) {
  std::string bytes(body.begin(), body.end());
  const bool wide = !body.empty() && body[0] == 1;
  const std::size_t times = wide ? 16 : 8;
  const std::size_t duration = wide ? 8 : 4;
  if (type == FourCc("mvhd") && bytes.size() >= 4) bytes.erase(bytes.size() - 4);
  // Creation and modification, scale or identifier, reserved, duration.
  const std::size_t middle = type == FourCc("tkhd") ? 8 : 4;
  if (bytes.size() < 4 + times + middle + duration) return bytes;
  const Number creation = wide ? U64(body, 4) : U32(body, 4);
  // Another version than these two is none of ours to read.
  const std::string version = body[0] > 1 ? std::to_string(body[0]) : "";
  std::string constant = version + bytes.substr(1, 3) + std::to_string(creation) + '/';
  if (type == FourCc("tkhd")) constant += bytes.substr(4 + times, middle);
  return constant + bytes.substr(4 + times + middle + duration);
}

bool IsHeader(std::uint32_t type) {
  return type == FourCc("mvhd") || type == FourCc("tkhd") || type == FourCc("mdhd");
}

bool IsSpace(std::uint32_t type) { return type == FourCc("free") || type == FourCc("skip"); }

// What else is compared than byte for byte, or made anew: whether it is there or not.
bool IsOfMerge(std::uint32_t parent, std::uint32_t type) {
  static const std::set<std::uint32_t> kTables = {
      FourCc("stsd"), FourCc("stts"), FourCc("ctts"), FourCc("cslg"), FourCc("stsz"),
      FourCc("stz2"), FourCc("stsc"), FourCc("stco"), FourCc("co64"), FourCc("stss"),
      FourCc("stps"), FourCc("sdtp"), FourCc("sbgp"), FourCc("csgp"), FourCc("sgpd"),
      FourCc("subs"), FourCc("saiz"), FourCc("saio"), FourCc("senc")};
  static const std::set<std::uint32_t> kOfMovie = {FourCc("trak"), FourCc("mvex"), FourCc("pssh")};
  if (parent == FourCc("moov")) return kOfMovie.count(type) != 0;
  if (parent == FourCc("trak")) return type == FourCc("edts") || type == FourCc("senc");
  return parent == FourCc("stbl") && kTables.count(type) != 0;
}

bool IsCompared(std::uint32_t parent, std::uint32_t type) {
  if (parent == FourCc("trak")) return type == FourCc("mdia");
  if (parent == FourCc("mdia")) return type == FourCc("minf");
  return parent == FourCc("minf") && type == FourCc("stbl");
}

// Whether a camera's box is the same but for the identifiers of the clip that comes next.
bool IsSameButForNextClip(View mine, View theirs) {
  if (mine.size() != theirs.size() || !IsCameras(theirs)) return false;
  std::string ours(mine.begin(), mine.end());
  for (const std::size_t place : NextClipPlaces(theirs))
    std::copy_n(theirs.begin() + static_cast<std::ptrdiff_t>(place), kIdentifierSize,
                ours.begin() + static_cast<std::ptrdiff_t>(place));
  return std::equal(theirs.begin(), theirs.end(), ours.begin(),
                    [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); });
}

// Whether the box has a table of items' places, which are those of the file (clause 8.11.3). It may
// begin with a version and flags.
bool HasPlaces(const BoxView& box) {
  constexpr std::size_t kVersionAndFlags = 4;
  return box.type == FourCc("meta") && box.body.size() >= kVersionAndFlags &&
         (FindBox(box.body, FourCc("iloc")).type != 0 ||
          FindBox(box.body.subspan(kVersionAndFlags), FourCc("iloc")).type != 0);
}

// The boxes in "udta" but those of chapters and those that may be left out, and what stands behind
// them.
std::string UserData(View body, bool withChapters, bool withPlaces, bool withSession) {
  std::string bytes;
  BoxView box;
  View rest = body;
  while (TakeBox(rest, box)) {
    const bool isPassedOver = (!withChapters && box.type == FourCc("chpl")) ||
                              (!withPlaces && HasPlaces(box)) ||
                              (!withSession && box.type == FourCc("hnti"));
    if (!isPassedOver) bytes.append(box.whole.begin(), box.whole.end());
  }
  return bytes.append(rest.begin(), rest.end());
}

class Comparison {
 public:
  Comparison(const Intended& intended, OracleFindings& findings)
      : dropped_(intended.dropped),
        chapters_(!intended.chapters.empty()),
        places_(dropped_.count(FourCc("meta")) == 0),
        findings_(findings) {}

  // The children of one box on both sides; `place` names it.
  void Compare(std::uint32_t parent, View clip, View result, const std::string& place,
               unsigned int track);

 private:
  using Children = std::map<std::uint32_t, std::vector<BoxView>>;
  Children ChildrenOf(std::uint32_t parent, View body) const;
  bool IsOfChapters(const BoxView& box) const;
  bool IsSame(std::uint32_t parent, const BoxView& mine, const BoxView& theirs,
              const std::string& place, unsigned int track);

  const std::set<unsigned int>& dropped_;
  const bool chapters_;
  // Boxes with places in the file are in the result.
  const bool places_;
  OracleFindings& findings_;
  bool nextClipChanged_ = false;
};

Comparison::Children Comparison::ChildrenOf(std::uint32_t parent, View body) const {
  Children children;
  BoxView box;
  while (TakeBox(body, box)) {
    const bool isLeftAlone = IsSpace(box.type) || IsOfMerge(parent, box.type) ||
                             (parent == FourCc("moov") && IsOfChapters(box));
    if (!isLeftAlone) children[box.type].push_back(box);
  }
  return children;
}

// Whether the box was made for chapters, which are compared with the times of the samples.
bool Comparison::IsOfChapters(const BoxView& box) const {
  return chapters_ && box.type == FourCc("udta") && FindBox(box.body, FourCc("chpl")).type != 0 &&
         UserData(box.body, false, true, true).empty();
}

bool Comparison::IsSame(std::uint32_t parent, const BoxView& mine, const BoxView& theirs,
                        const std::string& place, unsigned int track) {
  if (IsCompared(parent, mine.type)) {
    Compare(mine.type, theirs.body, mine.body, place, track);
    return true;
  }
  if (IsHeader(mine.type))
    return Constant(mine.type, mine.body) == Constant(mine.type, theirs.body);
  if (std::equal(mine.body.begin(), mine.body.end(), theirs.body.begin(), theirs.body.end()))
    return true;
  if (mine.type == FourCc("udta")) {
    const bool withChapters = !chapters_ || parent != FourCc("moov");
    // What is left out stands in none but the clip.
    const bool withSession = dropped_.count(FourCc("hnti")) == 0 || parent != FourCc("moov");
    return UserData(mine.body, withChapters, true, true) ==
           UserData(theirs.body, withChapters, places_, withSession);
  }
  // Of several boxes of the camera's the first one alone is changed.
  return mine.type == FourCc("uuid") && parent == FourCc("moov") &&
         IsSameButForNextClip(mine.body, theirs.body) && !std::exchange(nextClipChanged_, true);
}

void Comparison::Compare(std::uint32_t parent, View clip, View result, const std::string& place,
                         unsigned int track) {
  Children expected = ChildrenOf(parent, clip);
  if (!places_) std::erase_if(expected[FourCc("meta")], HasPlaces);
  Children found = ChildrenOf(parent, result);
  for (const auto& [type, boxes] : expected) found.try_emplace(type);
  for (const auto& [type, boxes] : found) {
    const std::vector<BoxView>& wanted = expected[type];
    const std::string path = place + '/' + FourCcText(type);
    if (boxes.empty() && dropped_.count(type) != 0) continue;
    if (boxes.size() != wanted.size()) {
      findings_.Differs(track, path,
                        fmt::format("has {} of this box, of which the first clip has {}",
                                    boxes.size(), wanted.size()));
      continue;
    }
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      if (!IsSame(parent, boxes[i], wanted[i], path, track))
        findings_.Differs(track, path, "does not have this box as the first clip has it");
    }
  }
}

// What is declared about bit rates is that of all clips.
bool SameDescriptions(const TrackView& mine, const TrackView& theirs) {
  constexpr std::size_t kFields = 8;
  const View ours = FindBox(mine.table, FourCc("stsd")).body;
  const View clips = FindBox(theirs.table, FourCc("stsd")).body;
  if (ours.size() != clips.size() || ours.size() < kFields ||
      !std::equal(ours.begin(), ours.begin() + kFields, clips.begin())) {
    return false;
  }
  return std::equal(mine.entries.begin(), mine.entries.end(), theirs.entries.begin(),
                    theirs.entries.end(), [&](View a, View b) {
                      return DescriptionOf(a, mine.handler).bare ==
                             DescriptionOf(b, theirs.handler).bare;
                    });
}

}  // namespace

void CompareMovieBoxes(const SampleFile& clip, const SampleFile& result,
                       const std::vector<TrackPair>& tracks, const Intended& intended,
                       OracleFindings& findings) {
  Comparison comparison(intended, findings);
  comparison.Compare(FourCc("moov"), clip.Movie(), result.Movie(), "moov", 0);
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const auto& [mine, theirs] = tracks[i];
    const std::string place = fmt::format("moov/trak[{}]", i);
    comparison.Compare(FourCc("trak"), mine->body, theirs->body, place, theirs->id);
    if (!SameDescriptions(*mine, *theirs)) {
      findings.Differs(theirs->id, place + "/mdia/minf/stbl/stsd",
                       "does not have these sample descriptions as the first clip has them");
    }
  }
}

}  // namespace clipchain::samples
