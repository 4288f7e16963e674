#include "workflow/sequence_scan.h"

#include <sys/stat.h>

#include <algorithm>
#include <memory>

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

// The looks at clips.
class Looks {
 public:
  Looks(const std::vector<Volume>& volumes, const ScanOptions& options)
      : progress_(options.progress) {
    for (const Volume& volume : volumes) count_ += volume.clips.size();
    if (options.cards) count_ *= 2;
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
bool ReadCards(ScanReport& report, Looks& looks) {
  for (SequenceReport& sequence : report.sequences) {
    for (SequenceClip& clip : sequence.clips) {
      if (!looks.Next()) return false;
      const HRESULT result = ReadClipCard(clip.path, clip.card);
      if (result != S_OK) report.rejected.push_back({clip.path, result});
    }
  }
  return true;
}

ScanReport Stopped() {
  ScanReport report;
  report.stopped = true;
  return report;
}

}  // namespace

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
    report.salvaged = creator.SalvationProcess();
    report.joined = creator.sequences.size() < before;
  }
  if (options.divide) report.divided = creator.DivideRelaySequenceExceptFirstOne();
  for (MP4G::CMp4Sequence* sequence : creator.sequences) {
    report.sequences.push_back(Report(*sequence));
  }
  if (options.cards && !ReadCards(report, looks)) return Stopped();
  return report;
}

}  // namespace clipchain
