#include "workflow/safe_merge.h"

#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "foundation/com_ptr.h"
#include "merge/live_merge.h"
#include "workflow/boxes/top_level.h"
#include "workflow/checks/fitted_clips.h"
#include "workflow/checks/output_check.h"
#include "workflow/findings/result_words.h"
#include "workflow/merging/copy_progress.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/image_copy.h"
#include "workflow/merging/input_states.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/merging/out_of_memory.h"
#include "workflow/merging/verify.h"
#include "workflow/system/files.h"
#include "workflow/system/part_file.h"

namespace clipchain {

namespace {

using Phase = Step::Phase;

// One run. Each step answers whether to go on; a step that does not has said why.
class Run {
 public:
  Run(const std::vector<std::string>& inputs, const SafeMergeOptions& options)
      : inputs_(inputs),
        options_(options),
        listener_([this](const Step& step) { return Hear(step); }),
        progress_(inputs, listener_),
        layout_{options.faststart},
        states_(inputs) {}

  SafeMergeReport Merge() {
    if (Prepare() && Copy() && Complete() && Publish()) report_.done = true;
    GiveUp();
    return std::move(report_);
  }

 private:
  bool Hear(const Step& step);
  bool Prepare();
  bool NoteInputs();
  bool CreatePart();
  [[nodiscard]] HRESULT StartEngine(const std::wstring& path);
  bool FailCreate(int error);

  bool Copy();
  bool CopyByEngine();
  [[nodiscard]] HRESULT Input(std::size_t index);
  bool PutBack();
  bool FailCopy(const std::string& input, HRESULT result, bool first);
  bool FailWrite(HRESULT result);

  bool Complete();
  bool FlushPart();
  bool VerifyPart();
  Findings ComparePart(bool everyByte);
  bool PrepareCompanion();
  bool InputsAreUnchanged();
  bool FailChanged(const std::string& input);

  bool Publish();
  bool MayReplaceAll();
  bool MayReplace(const std::string& path);
  void GiveUp();

  void Add(const Findings& findings);
  // Adds what was found; false.
  bool Fail(Message message, const std::string& path, std::string text, std::string remedy,
            HRESULT result = S_OK);
  // Goes on unless the caller wants to stop.
  bool Enter(Phase phase);
  bool FailStopped();

  const std::vector<std::string>& inputs_;
  const SafeMergeOptions& options_;
  SafeMergeReport report_;
  const Progress listener_;
  CopyProgress progress_;
  Layout layout_;
  InputStates states_;
  std::shared_ptr<const Fit> fit_;  // null unless the clips are adapted
  PartFile part_;
  // Below the file that it writes to, so that it lets go of it first.
  QUIRVA::ComPtr<MP4G::CMp4LiveMerge> engine_;
};

bool Run::Hear(const Step& step) {
  if (options_.companion != nullptr && step.phase == Phase::kCopying)
    options_.companion->Follow(step.current);
  return !options_.check.progress || options_.check.progress(step);
}

void Run::Add(const Findings& findings) {
  report_.findings.insert(report_.findings.end(), findings.begin(), findings.end());
}

bool Run::Fail(Message message, const std::string& path, std::string text, std::string remedy,
               HRESULT result) {
  report_.findings.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
  report_.findings.back().result = result;
  return false;
}

bool Run::FailStopped() {
  return Fail(Message::kMergeStopped, options_.check.output, "was not made: the merge was stopped",
              "run it again");
}

bool Run::Enter(Phase phase) { return progress_.Tell(phase) || FailStopped(); }

bool Run::Prepare() {
  if (inputs_.empty())
    return Fail(Message::kNothingToMerge, options_.check.output, "was not made: there is no clip",
                "name at least one clip");
  if (!Enter(Phase::kChecking)) return false;
  CheckOptions check = options_.check;
  check.progress = [this](const Step&) { return progress_.Tell(Phase::kChecking); };
  CheckReport checked = CheckFitted(inputs_, check, fit_);
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
  return Enter(Phase::kChecking) && NoteInputs() && CreatePart();
}

bool Run::NoteInputs() {
  if (const std::string* const input = states_.Note())
    return Fail(Message::kInputUnreadable, *input, "can't be read: " + ErrorText(errno),
                "check the name and the permissions", MP4G_E_INPUT_OPEN);
  if (!MayReplaceAll()) return false;
  if (options_.companion != nullptr) options_.companion->Start(inputs_);
  return true;
}

bool Run::CreatePart() {
  if (const int error = part_.Create(options_.check.output); error != 0) return FailCreate(error);
  report_.result = StartEngine(Wide(part_.path()));
  return report_.result == S_OK ||
         Fail(Message::kOutputUnwritable, options_.check.output, "can't be opened for writing",
              "choose a folder that can be written", MP4G_E_OUTPUT_OPEN);
}

// The engine is handed a file that is open already, so that it need not make one: it would replace
// whatever has the name.
HRESULT Run::StartEngine(const std::wstring& path) {
  auto file = std::make_unique<QUIRVA::QvFile>();
  RETURN_IF_NOT_OK(file->Open(path.c_str(), QUIRVA::QvFile::kWrite));
  RETURN_IF_NOT_OK(MP4G::CMp4LiveMerge::CreateInstance(engine_.Receive()));
  MP4G::IMp4LiveMergeDelegate* delegate = &progress_;
  RETURN_IF_NOT_OK(engine_->SetDelegate(MP4G::IID_IMp4LiveMergeDelegate, delegate));
  RETURN_IF_NOT_OK(engine_->SetOutputPath(path.c_str()));
  engine_->UseOutput(std::move(file));
  return S_OK;
}

bool Run::FailCreate(int error) {
  return Fail(
      Message::kOutputUnwritable, options_.check.output, "can't be written: " + ErrorText(error),
      error == ENAMETOOLONG ? "choose a shorter name" : "choose a folder that can be written",
      MP4G_E_OUTPUT_OPEN);
}

// The engine knows one layout alone; any other is written as its image says.
bool Run::Copy() {
  if (layout_ == Layout() && options_.reflink == Reflink::kNever) return CopyByEngine();
  ImageCopy copy = CopyImage(
      {inputs_, fit_.get(), options_.reflink, options_.check.output, part_, progress_}, layout_);
  report_.shared = copy.shared;
  if (copy.isLeftToTheEngine) return CopyByEngine();
  if (HoldsUp(copy.findings, true)) {
    if (const std::string* const changed = states_.Changed(true)) return FailChanged(*changed);
  }
  Add(copy.findings);
  if (!copy.findings.empty()) report_.result = copy.findings.back().result;
  switch (copy.fault.side) {
    case WriteFault::Side::kNone:
      return copy.findings.empty();
    case WriteFault::Side::kStopped:
      return FailStopped();
    case WriteFault::Side::kClip:
      report_.result = MP4G_E_INPUT_READ;
      return FailCopy(inputs_[copy.fault.clip], MP4G_E_INPUT_READ, copy.fault.clip == 0);
    default:
      report_.result = MP4G_E_OUTPUT_WRITE;
      return FailWrite(MP4G_E_OUTPUT_WRITE);
  }
}

bool Run::CopyByEngine() {
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    progress_.StartInput();
    report_.result = Input(i);
    if (report_.result != S_OK) return FailCopy(inputs_[i], report_.result, i == 0);
  }
  report_.result = engine_->Complete();
  if (report_.result != S_OK) return FailWrite(report_.result);
  return fit_ == nullptr || PutBack();
}

HRESULT Run::Input(std::size_t index) {
  if (fit_ == nullptr) return engine_->InputMp4File(Wide(inputs_[index]).c_str());
  int opened = S_OK;
  const QUIRVA::ComPtr<ClipView> view = fit_->View(index, opened);
  return opened < 0 ? MP4G_E_INPUT_OPEN : engine_->InputReader(view.get());
}

// The movie box stands behind all media, so that no offset changes with its size.
bool Run::PutBack() {
  FileBytes file(part_.descriptor());
  TopLevel boxes;
  std::string wrong = boxes.Read(file);
  Bytes movie(boxes.movie.size);
  if (wrong.empty() && !file.Read(boxes.movie.position, movie.data(), movie.size()))
    wrong = "can't be read back";
  const auto complete = wrong.empty() ? fit_->Complete(movie) : std::nullopt;
  if (wrong.empty() && !complete) wrong = "has a movie box that contradicts itself";
  if (!wrong.empty())
    return Fail(Message::kOutputUnfinished, options_.check.output, std::move(wrong),
                "merge fewer clips at once", E_BAD_DATA);
  const int error = part_.ReplaceEnd(static_cast<long long>(boxes.movie.position), *complete);
  return error == 0 || Fail(Message::kOutputUnwritable, options_.check.output,
                            "can't be written: " + ErrorText(error),
                            "make room, or choose another folder", MP4G_E_OUTPUT_WRITE);
}

bool Run::FailCopy(const std::string& input, HRESULT result, bool first) {
  if (progress_.Stopped()) return FailStopped();
  if (IsOutputResult(result)) return FailWrite(result);
  if (progress_.StoodStill())
    return Fail(Message::kCopyStalled, input, "ends before its media does",
                "copy it again from the card", MP4G_E_INPUT_READ);
  std::string text = InputWords(result, first);
  if (const std::string why = WhyUnreadable(input); !why.empty()) {
    text += ": " + why;
  } else if (const std::string* const changed = states_.Changed(true)) {
    return FailChanged(*changed);
  }
  return Fail(Message::kInputRefused, input, std::move(text),
              "leave the clip out, or see what a check says about it", result);
}

bool Run::FailWrite(HRESULT result) {
  if (!IsOutputResult(result))
    return Fail(Message::kOutputUnfinished, options_.check.output, OutputWords(result),
                "merge fewer clips at once", result);
  // The engine does not keep the cause of a failed write; the next one would have it too.
  const int error = part_.TryToGrow();
  if (error == EFBIG)
    return Fail(Message::kTooLargeForFolder, options_.check.output,
                "is larger than a file there may be: " + ErrorText(error),
                "choose a disk with another file system, or a higher limit for files",
                MP4G_E_OUTPUT_WRITE);
  return Fail(Message::kOutputUnwritable, options_.check.output,
              error != 0 ? "can't be written: " + ErrorText(error) : OutputWords(result),
              "make room, or choose another folder", MP4G_E_OUTPUT_WRITE);
}

bool Run::Complete() {
  const bool fromDisk = options_.verification == Verification::kFull;
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
  if (progress_.Stopped()) return FailStopped();
  Add(found);
  return !HoldsUp(found, options_.force);
}

// A flush that fails is final: the system may have dropped what it could not write, and a second
// flush would know nothing of it.
bool Run::FlushPart() {
  if (!Enter(Phase::kFlushing)) return false;
  const HRESULT closed = engine_->CloseOutput();
  if (closed == S_OK) return true;
  return Fail(Message::kOutputUnflushed, options_.check.output,
              "is lost: the disk did not take all that was written",
              "check the disk, or choose another one", MP4G_E_OUTPUT_WRITE);
}

bool Run::VerifyPart() {
  if (!Enter(Phase::kVerifying)) return false;
  engine_->ForgetMovie();
  const Findings found = ComparePart(options_.verification == Verification::kFull);
  if (progress_.Stopped()) return FailStopped();
  // Of clips that are others by now the result can't be what they give.
  if (HoldsUp(found, options_.force)) {
    if (const std::string* const changed = states_.Changed(true)) return FailChanged(*changed);
  }
  Add(found);
  return !HoldsUp(found, options_.force);
}

Findings Run::ComparePart(bool everyByte) {
  const auto listener = [this](const Step& step) {
    return progress_.Tell(Phase::kVerifying, step.current, step.total);
  };
  FileBytes file(part_.descriptor());
  return Verify({inputs_, options_.check.output, file, everyByte, listener, fit_.get(), layout_,
                 ChapterTitlesOf(options_.check, inputs_)});
}

bool Run::InputsAreUnchanged() {
  if (const std::string* const changed = states_.Changed(false)) return FailChanged(*changed);
  const std::string* const touched = states_.Changed(true);
  if (touched == nullptr) return true;
  // Whoever writes to a clip and sets its time back leaves no other trace than one who links it.
  const Findings found = ComparePart(true);
  if (progress_.Stopped()) return FailStopped();
  return !HoldsUp(found, options_.force) || FailChanged(*touched);
}

bool Run::FailChanged(const std::string& input) {
  return Fail(Message::kInputChanged, input, "changed while it was merged",
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
    return errno == ENOENT || FailCreate(errno);
  }
  if (!options_.check.overwrite)
    return Fail(Message::kOutputExists, path, "exists already",
                "choose another name, or let --overwrite replace it", MP4G_E_OUTPUT_OPEN);
  struct stat target;
  if (::stat(path.c_str(), &target) != 0) target = status;
  const std::string* same = states_.SameAs(status);
  if (same == nullptr) same = states_.SameAs(target);
  if (same != nullptr)
    return Fail(Message::kOutputIsInput, path,
                "is the same file as the input " + PrintablePath(*same), "choose another name",
                MP4G_E_OUTPUT_OPEN);
  const std::optional<OutputFault> fault = WhyIrreplaceable(path);
  return !fault || Fail(Message::kOutputUnwritable, path, "can't be written: " + fault->text,
                        fault->remedy, MP4G_E_OUTPUT_OPEN);
}

bool Run::Publish() {
  if (!Enter(Phase::kFlushing) || !MayReplaceAll()) return false;
  if (options_.companion != nullptr) {
    const Findings found = options_.companion->Publish(options_.check.overwrite);
    Add(found);
    if (HoldsUp(found, false)) return false;
  }
  // Of the recording's end, as the last clip has it. Where the file system keeps no such time the
  // result is none the worse.
  const timespec times[] = {{0, UTIME_OMIT}, states_.LastModified()};
  ::futimens(part_.descriptor(), times);
  if (const int error = part_.Publish(options_.check.overwrite); error != 0) {
    if (options_.companion != nullptr) options_.companion->Withdraw();
    if (error == EEXIST)
      return Fail(Message::kOutputExists, options_.check.output, "exists already",
                  "choose another name, or let --overwrite replace it", MP4G_E_OUTPUT_OPEN);
    return Fail(Message::kOutputUnnamed, options_.check.output,
                "can't get its name: " + ErrorText(error), "choose another folder",
                MP4G_E_OUTPUT_OPEN);
  }
  report_.size = FileSize(options_.check.output);
  const int error = part_.FlushFolder();
  if (options_.companion != nullptr) options_.companion->Complete();
  if (error != 0)
    return Fail(Message::kOutputNotDurable, options_.check.output,
                "is complete, but its folder can't be flushed: " + ErrorText(error),
                "check the disk before you delete the clips", MP4G_E_OUTPUT_WRITE);
  return true;
}

// What stands in the hidden file is of no use any more.
void Run::GiveUp() {
  engine_.Reset();
  const std::string path = part_.path();
  if (const int error = part_.Discard(); error != 0)
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
