// Building sequences: the bytes are a list of steps, of which most register a small clip. Every
// clip that was taken is in exactly one sequence, clips that the identifiers joined point at each
// other, and two runs give the same.
#include <algorithm>
#include <array>
#include <map>
#include <string>

#include "clip/sequence_creator.h"
#include "clip/sequence_engine.h"
#include "clip/vireo_mp4.h"
#include "foundation/com_ptr.h"
#include "support/memory_disk.h"
#include "support/movie_builder.h"
#include "support/vendor_box.h"
#include "target.h"

using namespace MP4G;
using support::Bytes;
using support::MemoryDisk;

namespace {

// What a step takes of the input.
struct Step {
  unsigned char kind;
  unsigned char unique;
  unsigned char next;
  unsigned char previous;
  unsigned char time;
  unsigned char timecode;
};
static_assert(sizeof(Step) == 6);

// Registrations cost a walk over the sequences each.
constexpr std::size_t kMostSteps = 200;

// How many identifiers there are: few, so that clips meet.
_GUID IdOf(unsigned char byte) { return support::Id(byte % 24); }

// Clips cost more to make than to register.
constexpr std::size_t kMostKeptClips = 4096;

Bytes MakeClip(const Step& step) {
  support::MovieBuilder movie;
  movie.creationTime = 3786825600u + step.time % 16 * 60u;
  if (step.timecode != 0)
    movie.Add(support::TimecodeTrack({{10, 0, static_cast<unsigned char>(step.timecode / 30),
                                       static_cast<unsigned char>(step.timecode % 30)}}));
  support::VendorBox box;
  box.unique = IdOf(step.unique);
  box.next = IdOf(step.next);
  box.pre = IdOf(step.previous);
  return support::WithVendorBox(movie.Build(), box);
}

const Bytes& ClipOf(const Step& step) {
  static std::map<std::array<unsigned char, 5>, Bytes> kept;
  const std::array<unsigned char, 5> key{
      static_cast<unsigned char>(step.unique % 24), static_cast<unsigned char>(step.next % 24),
      static_cast<unsigned char>(step.previous % 24), static_cast<unsigned char>(step.time % 16),
      static_cast<unsigned char>(step.timecode)};
  if (kept.size() >= kMostKeptClips) kept.clear();
  const auto [place, isNew] = kept.try_emplace(key);
  if (isNew) place->second = MakeClip(step);
  return place->second;
}

class Run {
 public:
  Run() {
    MemoryDisk::Get().Clear();
    fuzz::Require(CMp4SequenceCreator::CreateInstance(engine_.Receive()) == S_OK, "an engine");
  }

  void Take(const Step& step) {
    switch (step.kind % 32) {
      case 0:
        engine_->NotifyNewVolume();
        break;
      case 1:
        engine_->ClearSequences();
        taken_ = 0;
        break;
      case 2:
        joinedByTime_ = true;
        codes_.push_back(engine_->SalvationProcess());
        break;
      case 3:
        divided_ = true;
        codes_.push_back(engine_->DivideRelaySequenceExceptFirstOne());
        break;
      default:
        Register(step);
    }
  }

  // What can be asked for, in order.
  std::wstring Listing() {
    std::wstring text;
    for (const HRESULT code : codes_) text += std::to_wstring(code) + L' ';
    text += std::to_wstring(engine_->GetRelaySequenceCount()) + L' ' +
            std::to_wstring(engine_->GetUnclosedSequenceCount());
    for (unsigned int i = 0; i < engine_->GetSequenceCount(); ++i) text += ListingOf(i);
    return text;
  }

  void Check() {
    std::map<std::wstring, unsigned int> seen;
    unsigned int count = 0;
    for (unsigned int i = 0; i < engine_->GetSequenceCount(); ++i) {
      CMp4Sequence* sequence = engine_->sequenceCreator->GetSequenceAtIndex(i);
      const CVireoMp4* before = nullptr;
      for (const CVireoMp4* clip : sequence->clips) {
        fuzz::Require(++seen[clip->path] == 1, "no clip is in two places");
        if (before != nullptr) CheckPair(*before, *clip);
        before = clip;
        ++count;
      }
    }
    fuzz::Require(count == taken_, "no clip is lost");
    fuzz::Require(engine_->GetTotalFileCount() == taken_, "the clips are counted");
  }

 private:
  void Register(const Step& step) {
    const std::string name = "clip" + std::to_string(number_++);
    MemoryDisk::Get().Put(name, ClipOf(step));
    const std::wstring path(name.begin(), name.end());
    const bool renamed = step.kind % 32 == 4;
    named_ = named_ || renamed;
    codes_.push_back(
        renamed ? engine_->RegisterMp4WithID(path.c_str(), IdOf(step.next), IdOf(step.time))
                : engine_->RegisterMp4(path.c_str()));
    // The files are sound, so the clip was taken, whatever came of joining it.
    ++taken_;
  }

  void CheckPair(const CVireoMp4& first, const CVireoMp4& second) const {
    if (named_ || joinedByTime_ || divided_) return;
    // Where both ends of a chain fit, the clip comes behind, though it was the head that agreed.
    fuzz::Require(first.nextID == second.uniqueID || second.preID == first.uniqueID,
                  "of two neighbours one points at the other");
  }

  std::wstring ListingOf(unsigned int index) {
    QUIRVA::ComPtr<IMp4Sequence> sequence;
    fuzz::Require(engine_->GetSequenceAtIndex(index, sequence.Receive()) == S_OK, "a sequence");
    std::wstring text = L"\n";
    for (unsigned int i = 0; i < sequence->GetFileCount(); ++i)
      text += std::wstring(sequence->GetFilePathAtIndex(i)) + L' ';
    _tagSequenceTimedate date{};
    text += std::to_wstring(sequence->GetTimedate(&date)) + std::to_wstring(date.minute);
    text += std::to_wstring(sequence->IsClosedAtHead() + 2 * sequence->IsClosedAtTail() +
                            4 * sequence->IsRelaySequence());
    return text;
  }

  QUIRVA::ComPtr<CMp4SequenceCreator> engine_;
  std::vector<HRESULT> codes_;
  unsigned int number_ = 0;
  unsigned int taken_ = 0;
  bool named_ = false;         // by identifiers that are not the clips' own
  bool joinedByTime_ = false;  // by their timecodes alone
  bool divided_ = false;
};

std::wstring Build(const unsigned char* data, std::size_t steps) {
  Run run;
  for (std::size_t i = 0; i < steps; ++i) {
    const unsigned char* at = data + i * sizeof(Step);
    run.Take({at[0], at[1], at[2], at[3], at[4], at[5]});
  }
  run.Check();
  return run.Listing();
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  const std::size_t steps = std::min(size / sizeof(Step), kMostSteps);
  const std::wstring listing = Build(data, steps);
  Require(Build(data, steps) == listing, "two runs give the same");
}
