#include "workflow/rescue/attempt.h"

#include <algorithm>

#include "foundation/fourcc.h"
#include "workflow/rescue/picture_facts.h"

namespace clipchain::rescue {

namespace {

// What is walked through to see whether the media begins at a place.
constexpr std::uint64_t kProbe = 8 << 20;

// Of a media box, and room for another one.
constexpr std::uint64_t kHeads = 24;

std::uint64_t SampleCount(const Harvest& harvest) {
  std::uint64_t count = 0;
  for (const TrackHarvest& track : harvest.tracks) count += track.samples;
  return count;
}

class Trier {
 public:
  Trier(FileBytes& file, const WalkProgress& progress, Attempt& attempt)
      : window_(file), progress_(progress), attempt_(attempt) {}

  bool Try() {
    const auto begin = FindBegin();
    if (!begin) {
      Fail("does not fit: none of the media is like its own");
      return false;
    }
    const WalkProgress progress = [&](std::uint64_t position) {
      if (!attempt_.stopped && !progress_(position)) attempt_.stopped = true;
      return !attempt_.stopped;
    };
    attempt_.harvest = Walk(*begin, attempt_.media.end, attempt_.media.ends, progress);
    if (SampleCount(attempt_.harvest) == 0) {
      Fail("does not fit: no sample is sure");
      return false;
    }
    // The walk without records has looked at each picture already.
    if (!attempt_.model.records) return true;
    if (ReadPictures()) return true;
    Fail("does not fit: its video is made otherwise");
    return false;
  }

 private:
  void Fail(const char* why) { attempt_.why = why; }

  Harvest Walk(std::uint64_t begin, std::uint64_t end, bool ends, const WalkProgress& progress) {
    const Model& model = attempt_.model;
    if (model.records)
      return model.records->Walk(window_, attempt_.reference.tracks().size(), {begin, end}, ends,
                                 progress);
    const bool sure = attempt_.media.beginIsSure && begin == attempt_.media.begins.front();
    const bool overrun = attempt_.media.overrun && end == attempt_.media.end;
    return WalkMedia(model, window_, {begin, end, ends, overrun, sure}, progress);
  }

  // The first place where samples begin. A first picture that does not fit the
  // description is of another file.
  std::optional<std::uint64_t> FindBegin() {
    for (const std::uint64_t begin : attempt_.media.begins) {
      if (!IsBegin(begin)) continue;
      std::uint64_t first = begin;
      // A unit may begin there that is not the first one of its sample.
      for (const std::uint64_t other : attempt_.media.begins) {
        if (other < first && begin - other <= kHeads && IsBegin(other)) first = other;
      }
      return first;
    }
    return std::nullopt;
  }

  bool IsBegin(std::uint64_t begin) {
    const std::uint64_t end = std::min(attempt_.media.end, begin + kProbe);
    const bool ends = attempt_.media.ends && end == attempt_.media.end;
    const Harvest harvest = Walk(begin, end, ends, [](std::uint64_t) { return true; });
    return SampleCount(harvest) > 0 && FirstFits(harvest);
  }

  bool FirstFits(const Harvest& harvest) {
    return attempt_.model.records || FirstPictureDecodes(attempt_.model, window_, harvest);
  }

  bool ReadPictures() {
    const Model& model = attempt_.model;
    if (!model.video) return true;
    TrackHarvest& track = attempt_.harvest.tracks[*model.video];
    PictureReader reader(window_, model.syntax, model.habits);
    std::size_t sample = 0;
    for (const SampleRun& run : attempt_.harvest.runs) {
      if (run.track != *model.video) continue;
      std::uint64_t at = run.position;
      for (std::uint64_t i = 0; i < run.samples; ++i, ++sample) {
        const auto facts = reader.Take(at, track.sizes[sample]);
        if (!facts) return false;
        track.pictures.push_back(*facts);
        at += track.sizes[sample];
      }
    }
    return track.pictures.empty() || FirstPictureDecodes(model, window_, attempt_.harvest);
  }

  MediaWindow window_;
  const WalkProgress& progress_;
  Attempt& attempt_;
};

}  // namespace

bool Try(FileBytes& file, std::uint64_t content, const std::string& reference,
         const WalkProgress& progress, Attempt& attempt) {
  attempt.why = attempt.reference.Load(reference);
  if (attempt.why) return false;
  attempt.why = LearnModel(attempt.reference, attempt.model);
  if (attempt.why) return false;
  const std::uint64_t first = attempt.reference.chunks().front().position;
  // Other samples than those of plain sound show by themselves that they are cut.
  const auto& methods = attempt.model.methods;
  bool endsInZeros = false;
  for (std::size_t i = 0; i < methods.size(); ++i) {
    const bool sound = attempt.reference.tracks()[i].kind == FourCc("soun");
    endsInZeros = endsInZeros || (sound && methods[i] != nullptr && methods[i]->UniformSize() != 0);
  }
  attempt.media =
      ExamineBroken(file, content, first, first - attempt.reference.MediaBegin(), endsInZeros);
  return Trier(file, progress, attempt).Try();
}

}  // namespace clipchain::rescue
