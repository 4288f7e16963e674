#include "workflow/merging/verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "adapt/fit.h"
#include "box/header_boxes.h"
#include "box/structural_boxes.h"
#include "merge/free_tracks.h"
#include "reader/mp4_file.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/sample_layout.h"
#include "workflow/boxes/top_level.h"
#include "workflow/findings/result_words.h"
#include "workflow/merging/around_media.h"
#include "workflow/merging/clip_media.h"
#include "workflow/merging/expected_file.h"
#include "workflow/merging/media_placement.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kBlock = 1024 * 1024;
constexpr const char* kDistrustDisk = "write to another disk, or check this one";
constexpr const char* kDistrustClip =
    "leave the clip out, or keep the result as it is with --force";

// The bytes of one sample in a clip and in the output.
struct SamplePair {
  Number inClip;
  Number inOutput;
  Number size;
};

struct OutputTrack {
  explicit OutputTrack(MP4G::CTrackBox* track)
      : box(track),
        entryType(MP4G::CTrackReader(track).GetSampleEntryType()),
        layout(MP4G::CTrackBox_wr(track).SampleTableBox()) {}

  MP4G::CTrackBox* box;
  unsigned int entryType;
  // Stands behind the chunks of the clips so far.
  SampleLayout layout;
  // Of the clips so far.
  TrackSums expected = {};
  // From the first difference on nothing more is said about it.
  bool differs = false;
};

unsigned int IdOf(MP4G::CTrackBox* track) {
  const auto* header = MP4G::CTrackBox_wr(track).TrackHeaderBox();
  return header != nullptr ? static_cast<unsigned int>(header->recordA->trackId) : 0;
}

Number DurationOf(MP4G::CMovieBox* movie) {
  const auto* header = MP4G::CMovieBox_wr(movie).MovieHeaderBox();
  return header != nullptr ? static_cast<Number>(header->recordA->Duration()) : 0;
}

bool LiesIn(const Chunk& chunk, Number begin, Number size) {
  return chunk.position >= begin && chunk.position - begin <= size &&
         chunk.bytes <= size - (chunk.position - begin);
}

// A clip that was merged, and where its media should lie in the output.
struct Clip {
  const std::string& path;
  // Null where it is read as it is.
  QUIRVA::ComPtr<ClipView> view{};
  std::unique_ptr<MP4G::CMp4File> file = std::make_unique<MP4G::CMp4File>();
  Number mediaSize = 0;
  Number target = 0;
};

class Verifier {
 public:
  explicit Verifier(const VerifyTask& task)
      : task_(task), output_(task.file), expected_(task.layout), placement_(0, 0) {}

  Findings Run();

 private:
  bool OpenOutput();
  Findings CompareSamples(bool everyByte, Progress progress);
  Findings CompareAdapted();
  bool Tell(Number done);  // how much of the media was compared; whether to go on
  bool AddClip(std::size_t index);
  bool Open(std::size_t index, Clip& clip);
  static Number PlaceInFile(const Clip& clip);
  bool Expect(Clip& clip);
  // Bytes of media of the clips so far.
  Number Done() const { return placement_.End() - boxes_.media.position; }
  void AddTracks(Clip& clip);
  void AddTrack(const Clip& clip, OutputTrack& output, MP4G::CTrackBox* track);
  void CompareSizes(const Clip& clip, OutputTrack& output, const SampleLayout& layout);
  void CompareChunk(const Clip& clip, OutputTrack& output, const Chunk& chunk, Chunk& copy);
  void CompareTotals();
  void CompareBoxes();
  bool BoxesAreExpected();
  bool CompareEnds(const Clip& clip);
  bool CompareMedia(const Clip& clip);
  bool CompareBytes(ClipMedia& source, const Clip& clip, Number inClip, Number inOutput,
                    std::size_t size);

  bool Damaged(std::string text, Number offset);  // false, for callers that end with it
  bool Unreadable(const std::string& path, int error);
  void Differs(OutputTrack& output, const char* box, std::string text);

  const VerifyTask& task_;
  FileBytes& output_;
  TopLevel boxes_;
  MP4G::CMp4Tree tree_;
  std::vector<OutputTrack> tracks_;
  ExpectedFile expected_;
  // Of the clips so far.
  MediaPlacement placement_;
  // Of the clip at work.
  std::vector<SamplePair> pairs_;
  // Of the clips so far together.
  Number duration_ = 0;
  std::vector<unsigned char> fromClip_ = std::vector<unsigned char>(kBlock);
  std::vector<unsigned char> fromOutput_ = std::vector<unsigned char>(kBlock);
  Findings findings_;
};

Findings Verifier::Run() {
  if (task_.everyByte) output_.ForgetCached();
  if (!OpenOutput()) return std::move(findings_);
  for (std::size_t i = 0; i < task_.inputs.size(); ++i) {
    if (!AddClip(i)) return std::move(findings_);
  }
  CompareTotals();
  CompareBoxes();
  if (!findings_.empty()) return std::move(findings_);
  // What is adapted is compared with the clips by a reader that knows nothing of it.
  if (task_.fit != nullptr) return CompareAdapted();
  return CompareSamples(false, [this](const Step&) { return Tell(Done()); });
}

Findings Verifier::CompareSamples(bool everyByte, Progress progress) {
  return clipchain::CompareSamples(
      {task_.inputs, task_.output, task_.file, everyByte, nullptr, std::move(progress)});
}

Findings Verifier::CompareAdapted() {
  const FitReport& report = task_.fit->Report();
  Intended intended;
  for (const FitHold& hold : report.holds)
    intended.stretches.push_back({hold.clip, hold.track, hold.ticks});
  intended.apart = report.apart;
  intended.commonTracks = task_.fit->TakesCommonTracks();
  intended.leftOut = report.leftOut;
  intended.dropped = report.dropped;
  intended.chapters = task_.chapters;
  return clipchain::CompareSamples(
      {task_.inputs, task_.output, task_.file, task_.everyByte, &intended, task_.progress});
}

bool Verifier::Tell(Number done) {
  return !task_.progress ||
         task_.progress({Step::Phase::kVerifying, 0, static_cast<long long>(done),
                         static_cast<long long>(boxes_.media.size)});
}

bool Verifier::Damaged(std::string text, Number offset) {
  if (output_.error() != 0) text += ": " + ErrorText(output_.error());
  Finding finding =
      MakeFinding(Message::kResultDamaged, task_.output, std::move(text), kDistrustDisk);
  finding.offset = static_cast<long long>(offset);
  findings_.push_back(std::move(finding));
  return false;
}

bool Verifier::Unreadable(const std::string& path, int error) {
  std::string text = "can't be read again to compare it";
  if (error != 0) text += ": " + ErrorText(error);
  findings_.push_back(MakeFinding(Message::kInputUnreadable, path, std::move(text),
                                  "copy the clip again from the card"));
  return false;
}

void Verifier::Differs(OutputTrack& output, const char* box, std::string text) {
  if (output.differs) return;
  output.differs = true;
  Finding finding =
      MakeFinding(Message::kResultDiffers, task_.output, std::move(text), kDistrustClip);
  finding.track = IdOf(output.box);
  finding.box = fmt::format("moov/trak[{}]/{}", &output - tracks_.data(), box);
  findings_.push_back(std::move(finding));
}

bool Verifier::OpenOutput() {
  const std::string wrong = boxes_.Read(output_);
  if (!wrong.empty()) return Damaged(wrong, 0);
  if (boxes_.layout != task_.layout)
    return Damaged("has its boxes in another order than its merge gives them", 0);
  placement_ = MediaPlacement(task_.layout.block, boxes_.media.position);
  const Extent& movie = boxes_.movie;
  std::vector<unsigned char> bytes(movie.size);
  if (!output_.Read(movie.position, bytes.data(), bytes.size()))
    return Damaged("has a movie box that can't be read back", movie.position);
  if (task_.fit != nullptr) bytes = task_.fit->EngineForm(bytes).value_or(Bytes());
  if (tree_.AddBoxData(bytes.data(), static_cast<unsigned int>(bytes.size()),
                       static_cast<long long>(movie.position)) != S_OK ||
      tree_.GetMovieBox() == nullptr)
    return Damaged("has a movie box that makes no sense", movie.position);
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(tree_.GetMovieBox()).Tracks())
    tracks_.emplace_back(track);
  return true;
}

bool Verifier::Open(std::size_t index, Clip& clip) {
  if (task_.fit == nullptr) return clip.file->SetFile(Wide(clip.path).c_str()) == S_OK;
  int opened = S_OK;
  clip.view = task_.fit->View(index, opened, task_.layout.block);
  return opened >= 0 && clip.file->SetReader(clip.view.get()) == S_OK;
}

bool Verifier::AddClip(std::size_t index) {
  if (!Tell(Done())) return false;
  Clip clip{task_.inputs[index]};
  if (!Open(index, clip) || clip.file->GetMovieBox() == nullptr) return Unreadable(clip.path, 0);
  clip.mediaSize = static_cast<Number>(clip.file->mdatSize);
  const Number left = boxes_.media.size - Done();
  clip.target = placement_.Place(PlaceInFile(clip), clip.mediaSize);
  if (clip.mediaSize > left || Done() > boxes_.media.size)
    return Damaged(fmt::format("has {} bytes of media, fewer than the clips", boxes_.media.size),
                   boxes_.media.position);
  duration_ += DurationOf(clip.file->GetMovieBox());
  AddTracks(clip);
  const bool isCompared = task_.everyByte && task_.fit == nullptr;
  if (!(isCompared ? CompareMedia(clip) : CompareEnds(clip))) return false;
  return Expect(clip);
}

Number Verifier::PlaceInFile(const Clip& clip) {
  const long long position = clip.file->mdatPos;
  const bool isViewed = clip.view.get() != nullptr && clip.mediaSize > 0;
  return static_cast<Number>(isViewed ? clip.view->FilePosition(position) : position);
}

// The clip's boxes become part of what is expected; nothing is to be asked of them any more.
bool Verifier::Expect(Clip& clip) {
  const bool first = expected_.IsEmpty();
  const HRESULT result = expected_.Take(std::move(clip.file), clip.view.get());
  if (result == S_OK) return true;
  findings_.push_back(MakeFinding(Message::kInputRefused, clip.path, InputWords(result, first),
                                  "leave the clip out, or see what a check says about it"));
  findings_.back().result = result;
  return false;
}

// Each track of the output takes the first track of the clip that is of its kind and not yet taken.
void Verifier::AddTracks(Clip& clip) {
  pairs_.clear();
  MP4G::FreeTracks tracks(clip.file->GetMovieBox());
  for (OutputTrack& output : tracks_) {
    const auto partner = tracks.First(output.entryType);
    if (partner.track == nullptr) {
      Differs(output, "mdia/minf/stbl/stsd",
              fmt::format("has a track that is not in {}", PrintablePath(clip.path)));
      continue;
    }
    tracks.Use(partner.id);
    AddTrack(clip, output, partner.track);
  }
}

void Verifier::AddTrack(const Clip& clip, OutputTrack& output, MP4G::CTrackBox* track) {
  SampleLayout layout(MP4G::CTrackBox_wr(track).SampleTableBox());
  CompareSizes(clip, output, layout);
  const TrackSums sums = SumsOf(track);
  for (const TrackSum& sum : kTrackSums) output.expected.*sum.value += sums.*sum.value;
  Chunk chunk{};
  Chunk copy{};
  std::optional<SamplePair> last;
  while (!output.differs && layout.Next(chunk)) {
    CompareChunk(clip, output, chunk, copy);
    if (output.differs || chunk.samples == 0) continue;
    if (!last) pairs_.push_back({chunk.position, copy.position, layout.SizeOf(chunk.firstSample)});
    const unsigned int size = layout.SizeOf(chunk.firstSample + chunk.samples - 1);
    last = {chunk.position + chunk.bytes - size, copy.position + copy.bytes - size, size};
  }
  if (last) pairs_.push_back(*last);
}

void Verifier::CompareSizes(const Clip& clip, OutputTrack& output, const SampleLayout& layout) {
  constexpr const char* kBox = "mdia/minf/stbl/stsz";
  const Number before = output.expected.samples;
  const Number count = layout.SampleCount();
  if (output.layout.SampleCount() < before + count) {
    Differs(output, kBox,
            fmt::format("has {} samples, fewer than the clips up to {}",
                        output.layout.SampleCount(), PrintablePath(clip.path)));
    return;
  }
  // Where each side has one size for all, the first sample speaks for the others.
  const bool uniform = layout.UniformSize() != 0 && output.layout.UniformSize() != 0;
  for (Number sample = 0; sample < (uniform ? std::min<Number>(count, 1) : count); ++sample) {
    const unsigned int expected = layout.SizeOf(sample);
    const unsigned int found = output.layout.SizeOf(before + sample);
    if (found == expected) continue;
    Differs(output, kBox,
            fmt::format("gives sample {} a size of {}; it has {} in {}", before + sample + 1, found,
                        expected, PrintablePath(clip.path)));
    return;
  }
}

void Verifier::CompareChunk(const Clip& clip, OutputTrack& output, const Chunk& chunk,
                            Chunk& copy) {
  if (!output.layout.Next(copy)) {
    Differs(output, "mdia/minf/stbl/stco",
            fmt::format("has fewer chunks than the clips up to {}", PrintablePath(clip.path)));
    return;
  }
  if (copy.samples != chunk.samples || copy.bytes != chunk.bytes) {
    Differs(output, "mdia/minf/stbl/stsc",
            fmt::format("has {} samples in a chunk that has {} in {}", copy.samples, chunk.samples,
                        PrintablePath(clip.path)));
    return;
  }
  // Modulo 2^64, as positions before the media box would have it.
  const Number expected = chunk.position - static_cast<Number>(clip.file->mdatPos) + clip.target;
  if (copy.position != expected) {
    Differs(output, "mdia/minf/stbl/stco",
            fmt::format("has the chunk of sample {} at byte {}; its media was copied to {}",
                        copy.firstSample + 1, copy.position, expected));
  } else if (copy.samples > 0 && !LiesIn(copy, clip.target, clip.mediaSize)) {
    Differs(output, "mdia/minf/stbl/stco",
            fmt::format("has the chunk of sample {} at byte {}, outside the media",
                        copy.firstSample + 1, copy.position));
  }
}

void Verifier::CompareTotals() {
  if (Done() != boxes_.media.size)
    Damaged(fmt::format("has {} bytes of media; the clips have {}", boxes_.media.size, Done()),
            boxes_.media.position);
  for (OutputTrack& output : tracks_) {
    const TrackSums sums = SumsOf(output.box);
    for (const TrackSum& sum : kTrackSums) {
      const Number found = sums.*sum.value;
      const Number expected = output.expected.*sum.value;
      // Those of headers are made of the tables where clips are adapted, and compared with all
      // other bytes around the media.
      const bool isMade = task_.fit != nullptr && sum.value == &TrackSums::duration;
      if (found == expected || isMade) continue;
      Differs(output, sum.box,
              fmt::format("has {} {}; the clips have {}", found, sum.what, expected));
    }
  }
  if (task_.fit != nullptr) return;
  if (const Number found = DurationOf(tree_.GetMovieBox()); found != duration_) {
    Finding finding = MakeFinding(
        Message::kResultDiffers, task_.output,
        fmt::format("has a duration of {}; the clips have {}", found, duration_), kDistrustClip);
    finding.box = "moov/mvhd";
    findings_.push_back(std::move(finding));
  }
}

// Where the boxes are what the engine makes of the clips' and say something else than the clips, a
// clip is the reason. Where they are not, the disk is, whatever the difference looks like.
void Verifier::CompareBoxes() {
  tracks_.clear();
  tree_.Reset();
  Findings differences = std::exchange(findings_, {});
  const bool expected = BoxesAreExpected();
  if (expected || !differences.empty()) findings_ = std::move(differences);
  if (expected) return;
  for (Finding& finding : findings_) {
    finding.message = Message::kResultDamaged;
    finding.severity = MessageSeverity(finding.message);
    finding.remedy = kDistrustDisk;
  }
}

bool Verifier::BoxesAreExpected() {
  if (const HRESULT result = expected_.Finish(task_.fit); result != S_OK)
    return Damaged(OutputWords(result), boxes_.movie.position);
  const auto fault = CompareAroundMedia(output_, boxes_, expected_);
  return !fault || Damaged(fault->text, fault->offset);
}

bool Verifier::CompareEnds(const Clip& clip) {
  ClipMedia source(clip.path, clip.view.get());
  for (const SamplePair& pair : pairs_) {
    for (Number done = 0; done < pair.size; done += kBlock) {
      const auto size = static_cast<std::size_t>(std::min<Number>(pair.size - done, kBlock));
      if (!CompareBytes(source, clip, pair.inClip + done, pair.inOutput + done, size)) return false;
    }
  }
  return true;
}

bool Verifier::CompareMedia(const Clip& clip) {
  ClipMedia source(clip.path, clip.view.get());
  const auto begin = static_cast<Number>(clip.file->mdatPos);
  for (Number done = 0; done < clip.mediaSize; done += kBlock) {
    const auto size = static_cast<std::size_t>(std::min<Number>(clip.mediaSize - done, kBlock));
    if (!CompareBytes(source, clip, begin + done, clip.target + done, size)) return false;
    if (!Tell(clip.target - boxes_.media.position + done + size)) return false;
  }
  return true;
}

bool Verifier::CompareBytes(ClipMedia& source, const Clip& clip, Number inClip, Number inOutput,
                            std::size_t size) {
  if (!source.Read(inClip, fromClip_.data(), size)) return Unreadable(clip.path, source.error());
  if (!output_.Read(inOutput, fromOutput_.data(), size))
    return Damaged("can't be read back", inOutput);
  const auto [mine, theirs] =
      std::mismatch(fromOutput_.begin(), fromOutput_.begin() + static_cast<std::ptrdiff_t>(size),
                    fromClip_.begin());
  if (theirs == fromClip_.begin() + static_cast<std::ptrdiff_t>(size)) return true;
  const auto at = static_cast<Number>(mine - fromOutput_.begin());
  return Damaged(fmt::format("has a byte {:02X} at {}; it is {:02X} at {} in {}", *mine,
                             inOutput + at, *theirs, inClip + at, PrintablePath(clip.path)),
                 inOutput + at);
}

}  // namespace

Findings Verify(const VerifyTask& task) { return Verifier(task).Run(); }

}  // namespace clipchain
