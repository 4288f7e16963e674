#include "workflow/stream_merge.h"

#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "workflow/assembling/image_bytes.h"
#include "workflow/assembling/merge_image.h"
#include "workflow/checks/fitted_clips.h"
#include "workflow/merging/copy_progress.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/image_writer.h"
#include "workflow/merging/input_states.h"
#include "workflow/merging/out_of_memory.h"
#include "workflow/merging/verify.h"
#include "workflow/system/files.h"
#include "workflow/system/part_file.h"
#include "workflow/system/stream_output.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

using Phase = Step::Phase;
using Side = WriteFault::Side;

// With the movie box in front, as a reader can't go back; with a pipe no block can be shared.
constexpr Layout kInOnePass = {true, 0};

// One run. Each step answers whether to go on; a step that does not has said why.
class Streaming {
 public:
  Streaming(const std::vector<std::string>& inputs, const StreamOptions& options)
      : inputs_(inputs),
        options_(options),
        name_(options.check.output),
        states_(inputs),
        progress_(inputs, options.check.progress) {}

  SafeMergeReport Run() {
    report_.done = CheckInputs() && CheckReader() && MakeImage() && VerifyImage() && Write();
    return std::move(report_);
  }

 private:
  bool CheckInputs();
  bool CheckReader();
  bool MakeImage();
  bool VerifyImage();
  bool Write();
  void FailWrite(const WriteFault& fault);
  bool IsComplete();

  void Fail(Message message, const std::string& path, std::string text, std::string remedy,
            HRESULT result = S_OK) {
    report_.findings.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
    report_.findings.back().result = result;
  }
  void FailStopped() {
    Fail(Message::kMergeStopped, name_, "was not completed: the merge was stopped", "run it again");
  }
  void FailChanged(const std::string& input) {
    Fail(Message::kInputChanged, input,
         "changed while it was merged, so that what was written is of no use",
         "wait until it is complete, then merge again");
  }

  const std::vector<std::string>& inputs_;
  const StreamOptions& options_;
  const std::string& name_;
  SafeMergeReport report_;
  InputStates states_;
  CopyProgress progress_;
  CheckedMerge merge_;
};

bool Streaming::CheckInputs() {
  if (inputs_.empty()) {
    Fail(Message::kNothingToMerge, name_, "was not made: there is no clip",
         "name at least one clip");
    return false;
  }
  // Ahead of the first look at them: what the check reads of the clips is what is written.
  const std::optional<InputStates::Fault> unknown = states_.Note();
  CheckOptions check = options_.check;
  // The name is for messages: no file of it is in the way, nor a disk to be full.
  check.output.clear();
  check.progress = [this](const Step&) { return progress_.Tell(Phase::kChecking); };
  CheckReport checked = CheckFitted(inputs_, check, kInOnePass, merge_);
  report_.findings = std::move(checked.findings);
  report_.adaptations = std::move(checked.adaptations);
  for (Finding& finding : report_.findings) {
    if (finding.path.empty()) finding.path = name_;
  }
  if (HoldsUp(report_.findings, options_.force)) return false;
  if (!unknown) return true;
  Fail(Message::kInputUnreadable, unknown->input, "can't be read: " + ErrorText(unknown->error),
       "check the name and the permissions", MP4G_E_INPUT_OPEN);
  return false;
}

// Nothing may be written to a clip.
bool Streaming::CheckReader() {
  struct stat status;
  if (::fstat(options_.descriptor, &status) != 0) {
    Fail(Message::kOutputUnwritable, name_, "can't be written: " + ErrorText(LastError()),
         "see where it leads", MP4G_E_OUTPUT_OPEN);
    return false;
  }
  const std::string* const same = states_.SameAs(status);
  if (same == nullptr) return true;
  Fail(Message::kOutputIsInput, name_, "leads to the input " + PrintablePath(*same),
       "let it lead somewhere else", MP4G_E_OUTPUT_OPEN);
  return false;
}

bool Streaming::MakeImage() {
  if (!merge_.image.pieces.empty()) return true;
  const Findings faults = MakeMergeImage({inputs_, kInOnePass, merge_.fit.get()}, merge_.image);
  if (faults.empty()) return true;
  if (const std::string* const changed = states_.Changed(true)) {
    FailChanged(*changed);
    return false;
  }
  report_.result = faults.back().result;
  report_.findings.insert(report_.findings.end(), faults.begin(), faults.end());
  return false;
}

// Before anything is written, for nothing can be taken back.
bool Streaming::VerifyImage() {
  if (!progress_.Tell(Phase::kVerifying)) {
    FailStopped();
    return false;
  }
  ImageBytes bytes(inputs_, merge_.image);
  const auto listener = [this](const Step& step) {
    return progress_.Tell(Phase::kVerifying, step.current, step.total);
  };
  const Findings found = Verify({inputs_, merge_.image, name_, bytes, false, listener,
                                 merge_.fit.get(), ChapterTitlesOf(options_.check, inputs_)});
  if (progress_.Stopped()) {
    FailStopped();
    return false;
  }
  // A clip that changed explains whatever else is wrong with what was read of it.
  if (HoldsUp(found, options_.force)) {
    if (const std::string* const changed = states_.Changed(true)) {
      FailChanged(*changed);
      return false;
    }
  }
  report_.findings.insert(report_.findings.end(), found.begin(), found.end());
  return !HoldsUp(found, options_.force);
}

bool Streaming::Write() {
  const NoPipeSignal noSignal;
  ReaderOutput output(options_.descriptor);
  const auto goOn = [this] { return progress_.Ask(); };
  const auto write = [&](const unsigned char* bytes, std::size_t size) {
    // Also where it fails: what went out can't be taken back, and the report tells how much it was.
    report_.size += static_cast<long long>(size);
    return output.Write(bytes, size, goOn);
  };
  // The movie box goes ahead of the first clip, and may wait for its reader.
  if (!progress_.Tell(Phase::kCopying)) {
    FailStopped();
    return false;
  }
  const WriteFault fault = ImageWriter(inputs_, merge_.image, progress_).WriteThrough(write);
  if (fault.side == Side::kNone) return IsComplete();
  FailWrite(fault);
  return false;
}

void Streaming::FailWrite(const WriteFault& fault) {
  if (progress_.Stopped()) {
    FailStopped();
    return;
  }
  if (fault.side == Side::kOutput) {
    report_.result = MP4G_E_OUTPUT_WRITE;
    if (fault.error == std::errc::broken_pipe) {
      Fail(Message::kOutputUnwritable, name_, "is not complete: nobody reads it any more",
           "see why the program that read it ended", report_.result);
      return;
    }
    Fail(Message::kOutputUnwritable, name_, "can't be written: " + ErrorText(fault.error),
         "see where it leads", report_.result);
    return;
  }
  report_.result = MP4G_E_INPUT_READ;
  const std::string& input = inputs_[fault.clip];
  if (const std::string* const changed = states_.Changed(true)) {
    FailChanged(*changed);
    return;
  }
  Fail(Message::kInputUnreadable, input, UncopiedWords(fault.error),
       "copy the clip again from the card", report_.result);
}

// What was written can't be read again; the clips of which it was made are still what they were.
bool Streaming::IsComplete() {
  if (!progress_.Tell(Phase::kFlushing)) {
    FailStopped();
    return false;
  }
  if (const std::string* const changed = states_.Changed(true)) {
    FailChanged(*changed);
    return false;
  }
  // A pipe has nothing to flush, which is no failure; a file that it leads to has.
  if (!Flush(options_.descriptor)) return true;
  Fail(Message::kOutputUnflushed, name_, "is lost: the disk did not take all that was written",
       "check the disk, or choose another one", MP4G_E_OUTPUT_WRITE);
  return false;
}

}  // namespace

SafeMergeReport StreamMerge(const std::vector<std::string>& inputs, const StreamOptions& options) {
  try {
    return Streaming(inputs, options).Run();
  } catch (const std::bad_alloc&) {
    return OutOfMemoryReport(options.check.output, "is not complete");
  }
}

}  // namespace clipchain
