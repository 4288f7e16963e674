#include "workflow/sequence_scan.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <utility>

#include "clip/sequence.h"
#include "clip/sequence_creator.h"
#include "foundation/strings.h"
#include "workflow/clips/adapted_clip.h"
#include "workflow/clips/clip_date.h"

namespace clipchain {

namespace {

SequenceClip Clip(const MP4G::CVireoMp4& clip) {
  SequenceClip report{};
  report.path = QUIRVA::PathBytesFromWide(clip.path).value_or("");
  report.volume = clip.volume;
  report.id = clip.uniqueID;
  report.previousID = clip.preID;
  report.nextID = clip.nextID;
  report.date = KnownDate(clip.timedate);
  report.size = clip.fileSize;
  return report;
}

SequenceReport Report(MP4G::CMp4Sequence& sequence) {
  SequenceReport report{};
  MP4G::_tagSequenceTimedate date{};
  if (sequence.GetTimedate(&date) == S_OK) report.date = KnownDate(date);
  report.closedAtHead = sequence.IsClosedAtHead() != 0;
  report.closedAtTail = sequence.IsClosedAtTail() != 0;
  report.cameraStream = sequence.ConsistsOfVireoStream() != 0;
  report.headID = sequence.GetHeadUniqueID();
  report.tailID = sequence.GetTailUniqueID();
  for (const MP4G::CVireoMp4* clip : sequence.clips) {
    report.clips.push_back(Clip(*clip));
    report.volumes.push_back(clip->volume);
  }
  std::sort(report.volumes.begin(), report.volumes.end());
  report.volumes.erase(std::unique(report.volumes.begin(), report.volumes.end()),
                       report.volumes.end());
  return report;
}

// Counts the looks at clips, and asks before each whether to go on.
class Looks {
 public:
  Looks(const std::vector<Volume>& volumes, const ScanOptions& options)
      : progress_(options.progress) {
    for (const Volume& volume : volumes) count_ += volume.clips.size();
    if (options.cards || options.lengths) count_ *= 2;
  }

  // Whether to take the next one.
  bool Next() { return !progress_ || progress_({Step::Phase::kLooking, done_++, 0, 0, count_}); }

 private:
  const Progress& progress_;
  std::size_t done_ = 0;
  std::size_t count_ = 0;
};

using SequencePtr = QUIRVA::ComPtr<MP4G::CMp4Sequence>;

// Registers a clip that a merge takes adapted, with what the engine reads off it then. False: there
// is no such clip.
bool RegisterAdapted(const std::string& path, MP4G::CSequenceCreator& creator) {
  const AdaptedClip adapted(path);
  struct stat status;
  if (adapted.Movie() == nullptr || ::stat(path.c_str(), &status) != 0) return false;
  auto clip = std::make_unique<MP4G::CVireoMp4>(creator.volume);
  SequencePtr sequence;
  if (clip->ParseMovieBox(adapted.Movie()) != S_OK) return false;
  if (creator.PrepareEmptySequence(sequence.Receive()) != S_OK) return false;
  clip->path = QUIRVA::WidePathFromBytes(path);
  clip->fileSize = status.st_size;
  if (!sequence || sequence->TransferMp4(clip.get()) != S_OK) return false;
  // The sequence owns it from here on.
  clip.release();
  MP4G::CMp4Sequence* registered = sequence.Detach();
  creator.InsertSequenceToListWithTimesort(registered);
  return creator.ContinueConnecting(registered) == S_OK;
}

bool Register(const std::vector<Volume>& volumes, MP4G::CSequenceCreator& creator, Looks& looks,
              ScanReport& report) {
  for (const Volume& volume : volumes) {
    for (const std::string& path : volume.clips) {
      if (!looks.Next()) return false;
      const std::wstring wide = QUIRVA::WidePathFromBytes(path);
      const HRESULT result = creator.RegisterMp4(wide.c_str(), _GUID{}, _GUID{});
      if (result != S_OK && !RegisterAdapted(path, creator))
        report.rejected.push_back({path, result});
    }
    ++creator.volume;
  }
  return true;
}

// A clip that was registered can still be gone or changed by now; its card then stays empty, and it
// is told of, for what is said of it is out of date.
bool ReadCards(ScanReport& report, bool pictures, Looks& looks) {
  for (SequenceReport& sequence : report.sequences) {
    for (SequenceClip& clip : sequence.clips) {
      if (!looks.Next()) return false;
      const HRESULT result = ReadClipCard(clip.path, clip.card);
      if (result != S_OK) report.rejected.push_back({clip.path, result});
      // Those of a few thousand clips would fill the memory.
      if (!pictures) clip.card.thumbnail = {};
    }
  }
  return true;
}

// What keeps salvage from joining, known beforehand where it is not the timecode.
std::string UnsalvagedWords(const MP4G::CSequenceCreator& creator) {
  if (creator.sequences.size() != 2)
    return fmt::format("it takes exactly two recordings, and there {} {}",
                       creator.sequences.size() == 1 ? "is" : "are", creator.sequences.size());
  const bool anyFollowed =
      std::any_of(creator.sequences.begin(), creator.sequences.end(),
                  [](MP4G::CMp4Sequence* sequence) { return sequence->NextIDExist() != 0; });
  return anyFollowed ? "the timecode of neither recording runs on from the other's"
                     : "neither recording says that a clip follows it";
}

// Identifier and size.
using ClipKey = std::pair<std::string, long long>;

// Copies of recordings that are complete, or have more clips, or stand in front.
void FindCopies(std::vector<SequenceReport>& sequences) {
  std::vector<std::size_t> order(sequences.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const auto worth = [&](const SequenceReport& sequence) {
      return std::pair(sequence.closedAtHead && sequence.closedAtTail, sequence.clips.size());
    };
    return worth(sequences[a]) > worth(sequences[b]);
  });
  std::map<ClipKey, std::size_t> owners;
  for (const std::size_t i : order) {
    SequenceReport& sequence = sequences[i];
    // Nothing says for sure that two clips without identifiers are one.
    if (!IsIdentified(sequence)) continue;
    std::optional<std::size_t> owner;
    bool isCopy = true;
    for (const SequenceClip& clip : sequence.clips) {
      const auto found = owners.find({QUIRVA::GuidText(clip.id), clip.size});
      isCopy = isCopy && found != owners.end() && (!owner || *owner == found->second);
      if (isCopy) owner = found->second;
    }
    if (isCopy) sequence.copyOf = owner;
    if (isCopy) continue;
    for (const SequenceClip& clip : sequence.clips)
      owners.try_emplace({QUIRVA::GuidText(clip.id), clip.size}, i);
  }
}

ScanReport Stopped() {
  ScanReport report;
  report.stopped = true;
  return report;
}

}  // namespace

bool IsIdentified(const SequenceReport& sequence) {
  return std::any_of(sequence.clips.begin(), sequence.clips.end(),
                     [](const SequenceClip& clip) { return clip.id != _GUID{}; });
}

std::optional<double> Seconds(const SequenceClip& clip) {
  if (clip.card.timeScale == 0) return std::nullopt;
  return static_cast<double>(clip.card.duration) / clip.card.timeScale;
}

std::optional<double> Seconds(const SequenceReport& sequence) {
  double sum = 0;
  for (const SequenceClip& clip : sequence.clips) {
    const std::optional<double> seconds = Seconds(clip);
    if (!seconds) return std::nullopt;
    sum += *seconds;
  }
  return sum;
}

ScanReport Scan(const std::vector<Volume>& volumes, const ScanOptions& options) {
  ScanReport report;
  Looks looks(volumes, options);
  MP4G::CSequenceCreator creator(nullptr);
  if (!Register(volumes, creator, looks, report)) return Stopped();
  if (options.salvage) {
    const std::size_t before = creator.sequences.size();
    report.whyNotJoined = UnsalvagedWords(creator);
    report.salvaged = creator.SalvationProcess();
    report.joined = creator.sequences.size() < before;
    if (report.salvaged < 0) report.whyNotJoined = "the timecode can't be read";
    if (report.joined) report.whyNotJoined.clear();
  }
  if (options.divide) report.divided = creator.DivideRelaySequenceExceptFirstOne();
  for (MP4G::CMp4Sequence* sequence : creator.sequences) {
    report.sequences.push_back(Report(*sequence));
  }
  FindCopies(report.sequences);
  if ((options.cards || options.lengths) && !ReadCards(report, options.cards, looks))
    return Stopped();
  return report;
}

}  // namespace clipchain
