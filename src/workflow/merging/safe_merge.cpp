#include "workflow/safe_merge.h"

#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "workflow/checks/fitted_clips.h"
#include "workflow/checks/output_check.h"
#include "workflow/merging/copy_progress.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/following_verification.h"
#include "workflow/merging/image_copy.h"
#include "workflow/merging/input_states.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/merging/out_of_memory.h"
#include "workflow/merging/verify.h"
#include "workflow/system/files.h"
#include "workflow/system/part_file.h"
#include "workflow/system/system_error.h"

namespace clipchain {

namespace {

using Phase = Step::Phase;

// One run. Each step answers whether to go on; a step that does not has said why.
class Run {
 public:
  Run(const std::vector<std::string>& inputs, const SafeMergeOptions& options)
      : inputs_(inputs),
        options_(options),
        progress_(inputs, options.check.progress),
        layout_{options.faststart},
        states_(inputs) {}

  SafeMergeReport Merge() {
    if (Prepare() && Copy() && Complete() && Publish()) report_.done = true;
    GiveUp();
    return std::move(report_);
  }

 private:
  bool Prepare();
  bool CreatePart();
  void FailCreate(const std::error_code& error);

  bool Copy();
  void Follow();
  void FailCopy(const std::string& input, const std::error_code& error);
  void FailWrite(const std::error_code& error);

  bool Complete();
  bool FlushPart();
  bool VerifyPart();
  Findings ComparePart(bool everyByte);
  VerifyTask TaskFor(FileBytes& file, bool everyByte, const Progress& listener) const;
  bool PrepareCompanion();
  bool InputsAreUnchanged();
  void FailChanged(const std::string& input);

  bool Publish();
  bool MayReplaceAll();
  bool MayReplace(const std::string& path);
  void GiveUp();

  void Add(const Findings& findings);
  // Adds what was found.
  void Fail(Message message, const std::string& path, std::string text, std::string remedy,
            HRESULT result = S_OK);
  // Goes on unless the caller wants to stop.
  bool Enter(Phase phase);
  void FailStopped();

  const std::vector<std::string>& inputs_;
  const SafeMergeOptions& options_;
  SafeMergeReport report_;
  CopyProgress progress_;
  Layout layout_;
  InputStates states_;
  CheckedMerge merge_;
  PartFile part_;
  // Null where nothing is compared while it is written. Goes ahead of what it reads.
  std::unique_ptr<FollowingVerification> following_;
};

void Run::Add(const Findings& findings) {
  report_.findings.insert(report_.findings.end(), findings.begin(), findings.end());
}

void Run::Fail(Message message, const std::string& path, std::string text, std::string remedy,
               HRESULT result) {
  report_.findings.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
  report_.findings.back().result = result;
}

void Run::FailStopped() {
  Fail(Message::kMergeStopped, options_.check.output, "was not made: the merge was stopped",
       "run it again");
}

bool Run::Enter(Phase phase) {
  if (progress_.Tell(phase)) return true;
  FailStopped();
  return false;
}

bool Run::Prepare() {
  if (inputs_.empty()) {
    Fail(Message::kNothingToMerge, options_.check.output, "was not made: there is no clip",
         "name at least one clip");
    return false;
  }
  if (!Enter(Phase::kChecking)) return false;
  // Ahead of the first look at them: what the check reads of the clips is what is written.
  const std::optional<InputStates::Fault> unknown = states_.Note();
  CheckOptions check = options_.check;
  check.progress = [this](const Step&) { return progress_.Tell(Phase::kChecking); };
  CheckReport checked = CheckFitted(inputs_, check, layout_, merge_);
  report_.findings = std::move(checked.findings);
  report_.adaptations = std::move(checked.adaptations);
  // What is always shared takes no space.
  if (options_.reflink == Reflink::kAlways)
    std::erase_if(report_.findings, [](const Finding& finding) {
      return finding.message == Message::kTooLittleSpace;
    });
  Add(LookForLeftovers(options_.check.output, options_.removeLeftover));
  if (options_.companion != nullptr) {
    for (const std::string& path : options_.companion->Paths(options_.check.output))
      Add(LookForLeftovers(path, options_.removeLeftover));
  }
  if (HoldsUp(report_.findings, options_.force)) return false;
  if (unknown) {
    Fail(Message::kInputUnreadable, unknown->input, "can't be read: " + ErrorText(unknown->error),
         "check the name and the permissions", MP4G_E_INPUT_OPEN);
    return false;
  }
  if (!Enter(Phase::kChecking) || !MayReplaceAll()) return false;
  if (options_.companion != nullptr) options_.companion->Start(inputs_);
  return CreatePart();
}

bool Run::CreatePart() {
  const std::error_code error = part_.Create(options_.check.output);
  if (!error) return true;
  FailCreate(error);
  return false;
}

void Run::FailCreate(const std::error_code& error) {
  Fail(Message::kOutputUnwritable, options_.check.output, "can't be written: " + ErrorText(error),
       error == std::errc::filename_too_long ? "choose a shorter name"
                                             : "choose a folder that can be written",
       MP4G_E_OUTPUT_OPEN);
}

bool Run::Copy() {
  Follow();
  Watermark* const mark = following_ != nullptr ? &following_->Mark() : nullptr;
  const ImageCopy copy =
      CopyImage({inputs_, merge_.fit.get(), options_.reflink, options_.check.output, part_,
                 progress_, mark, options_.companion},
                layout_, merge_.image);
  report_.shared = copy.shared;
  if (!copy.findings.empty()) {
    // A clip that changed explains whatever else is wrong with what was read of it.
    if (const std::string* const changed = states_.Changed(true)) {
      FailChanged(*changed);
      return false;
    }
    report_.result = copy.findings.back().result;
    Add(copy.findings);
    return false;
  }
  switch (copy.fault.side) {
    case WriteFault::Side::kNone:
      return true;
    case WriteFault::Side::kStopped:
      FailStopped();
      return false;
    case WriteFault::Side::kClip:
      FailCopy(inputs_[copy.fault.clip], copy.fault.error);
      return false;
    default:
      FailWrite(copy.fault.error);
      return false;
  }
}

// Copying leaves a processor free that can compare meanwhile. What is to be read off the disk is
// not there yet.
void Run::Follow() {
  if (options_.verification == Verification::kFull || options_.reflink != Reflink::kNever ||
      merge_.image.pieces.empty())
    return;
  FileBytes unread(part_.descriptor());
  try {
    following_ =
        std::make_unique<FollowingVerification>(TaskFor(unread, false, {}), part_.descriptor());
  } catch (const std::system_error&) {
    // Without a thread it is compared afterwards.
  }
}

void Run::FailCopy(const std::string& input, const std::error_code& error) {
  report_.result = MP4G_E_INPUT_READ;
  if (const Reason why = WhyUnreadable(input)) {
    Fail(Message::kInputUnreadable, input, "can't be opened any more: " + *why,
         "copy it again from the card", report_.result);
    return;
  }
  if (const std::string* const changed = states_.Changed(true)) {
    FailChanged(*changed);
    return;
  }
  Fail(Message::kInputUnreadable, input, UncopiedWords(error), "copy it again from the card",
       report_.result);
}

void Run::FailWrite(const std::error_code& error) {
  report_.result = MP4G_E_OUTPUT_WRITE;
  if (error == std::errc::file_too_large) {
    Fail(Message::kTooLargeForFolder, options_.check.output,
         "is larger than a file there may be: " + ErrorText(error),
         "choose a disk with another file system, or a higher limit for files", report_.result);
    return;
  }
  Fail(Message::kOutputUnwritable, options_.check.output, "can't be written: " + ErrorText(error),
       "make room, or choose another folder", report_.result);
}

bool Run::Complete() {
  const bool fromDisk = options_.verification == Verification::kFull;
  // What is read off the disk must be on it first; what is in memory yet is compared before anybody
  // waits for the disk.
  const bool complete = fromDisk ? FlushPart() && VerifyPart() : VerifyPart() && FlushPart();
  return complete && PrepareCompanion() && InputsAreUnchanged();
}

bool Run::PrepareCompanion() {
  if (options_.companion == nullptr) return true;
  const Findings found = options_.companion->Prepare(
      inputs_, FittingOf(options_.check, inputs_), options_.check.output, part_.descriptor(),
      [this](const Step& step) {
        return progress_.Tell(Phase::kVerifying, step.current, step.total);
      });
  if (progress_.Stopped()) {
    FailStopped();
    return false;
  }
  Add(found);
  return !HoldsUp(found, options_.force);
}

// A flush that fails is final: the system may have dropped what it could not write, and a second
// flush would know nothing of it.
bool Run::FlushPart() {
  if (!Enter(Phase::kFlushing)) return false;
  if (!Flush(part_.descriptor())) return true;
  Fail(Message::kOutputUnflushed, options_.check.output,
       "is lost: the disk did not take all that was written",
       "check the disk, or choose another one", MP4G_E_OUTPUT_WRITE);
  return false;
}

bool Run::VerifyPart() {
  if (!Enter(Phase::kVerifying)) return false;
  const Findings found = ComparePart(options_.verification == Verification::kFull);
  if (progress_.Stopped()) {
    FailStopped();
    return false;
  }
  // Of clips that are others by now the result can't be what they give.
  if (HoldsUp(found, options_.force)) {
    if (const std::string* const changed = states_.Changed(true)) {
      FailChanged(*changed);
      return false;
    }
  }
  Add(found);
  return !HoldsUp(found, options_.force);
}

Findings Run::ComparePart(bool everyByte) {
  const Progress listener = [this](const Step& step) {
    return progress_.Tell(Phase::kVerifying, step.current, step.total);
  };
  FileBytes file(part_.descriptor());
  if (everyByte) file.ForgetCached();
  const VerifyTask task = TaskFor(file, everyByte, listener);
  return following_ != nullptr && !everyByte ? following_->Finish(task) : Verify(task);
}

VerifyTask Run::TaskFor(FileBytes& file, bool everyByte, const Progress& listener) const {
  return {inputs_,   merge_.image, options_.check.output, file,
          everyByte, listener,     merge_.fit.get(),      ChapterTitlesOf(options_.check, inputs_)};
}

bool Run::InputsAreUnchanged() {
  if (const std::string* const changed = states_.Changed(false)) {
    FailChanged(*changed);
    return false;
  }
  const std::string* const touched = states_.Changed(true);
  if (touched == nullptr) return true;
  // Whoever writes to a clip and sets its time back leaves no other trace than one who links it.
  const Findings found = ComparePart(true);
  if (progress_.Stopped()) {
    FailStopped();
    return false;
  }
  if (!HoldsUp(found, options_.force)) return true;
  FailChanged(*touched);
  return false;
}

void Run::FailChanged(const std::string& input) {
  Fail(Message::kInputChanged, input, "changed while it was merged",
       "wait until it is complete, then merge again");
}

bool Run::MayReplaceAll() {
  const std::string& output = options_.check.output;
  if (!MayReplace(output)) return false;
  std::vector<std::string> beside;
  if (options_.companion != nullptr) beside = options_.companion->Paths(output);
  for (const std::string& path : beside) {
    if (!MayReplace(path)) return false;
  }
  std::optional<Finding> stranger = FindStranger(output, beside);
  if (stranger) report_.findings.push_back(std::move(*stranger));
  return !stranger;
}

// Whether a name may be taken from what has it: never from an input, whatever name that
// had in the beginning, and never from what is no file.
bool Run::MayReplace(const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return true;
    FailCreate(LastError());
    return false;
  }
  if (!options_.check.overwrite) {
    Fail(Message::kOutputExists, path, "exists already",
         "choose another name, or let --overwrite replace it", MP4G_E_OUTPUT_OPEN);
    return false;
  }
  struct stat target;
  if (::stat(path.c_str(), &target) != 0) target = status;
  const std::string* same = states_.SameAs(status);
  if (same == nullptr) same = states_.SameAs(target);
  if (same != nullptr) {
    Fail(Message::kOutputIsInput, path, "is the same file as the input " + PrintablePath(*same),
         "choose another name", MP4G_E_OUTPUT_OPEN);
    return false;
  }
  const std::optional<OutputFault> fault = WhyIrreplaceable(path);
  if (!fault) return true;
  Fail(Message::kOutputUnwritable, path, "can't be written: " + fault->text, fault->remedy,
       MP4G_E_OUTPUT_OPEN);
  return false;
}

bool Run::Publish() {
  // Others may have taken the names while all was copied.
  if (!Enter(Phase::kFlushing) || !MayReplaceAll()) return false;
  if (options_.companion != nullptr) {
    // What belongs to the result comes first: a result without it would look complete.
    const Findings found = options_.companion->Publish(options_.check.overwrite);
    Add(found);
    if (HoldsUp(found, false)) return false;
  }
  // Of the recording's end, as the last clip has it. Where the file system keeps no such time the
  // result is none the worse.
  const timespec times[] = {{0, UTIME_OMIT}, states_.LastModified()};
  ::futimens(part_.descriptor(), times);
  if (const std::error_code error = part_.Publish(options_.check.overwrite)) {
    if (options_.companion != nullptr) options_.companion->Withdraw();
    if (error == std::errc::file_exists) {
      Fail(Message::kOutputExists, options_.check.output, "exists already",
           "choose another name, or let --overwrite replace it", MP4G_E_OUTPUT_OPEN);
      return false;
    }
    Fail(Message::kOutputUnnamed, options_.check.output, "can't get its name: " + ErrorText(error),
         "choose another folder", MP4G_E_OUTPUT_OPEN);
    return false;
  }
  report_.size = FileSize(options_.check.output);
  const std::error_code error = part_.FlushFolder();
  if (options_.companion != nullptr) options_.companion->Complete();
  if (error) {
    Fail(Message::kOutputNotDurable, options_.check.output,
         "is complete, but its folder can't be flushed: " + ErrorText(error),
         "check the disk before you delete the clips", MP4G_E_OUTPUT_WRITE);
    return false;
  }
  return true;
}

// What stands in the hidden file is of no use any more.
void Run::GiveUp() {
  following_.reset();
  const std::string path = part_.path();
  if (const std::error_code error = part_.Discard())
    Fail(Message::kLeftover, path, "can't be removed: " + ErrorText(error), "remove it by hand");
}

}  // namespace

SafeMergeReport SafeMerge(const std::vector<std::string>& inputs, const SafeMergeOptions& options) {
  try {
    return Run(inputs, options).Merge();
  } catch (const std::bad_alloc&) {
    return OutOfMemoryReport(options.check.output, "was not made");
  }
}

}  // namespace clipchain
