// clipchain merge -o OUT IN…: puts clips together into one file.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "clipchain/commands.h"
#include "clipchain/merge_progress.h"
#include "clipchain/tool.h"
#include "foundation/com_ptr.h"
#include "foundation/qv_file.h"
#include "reader/mp4_file.h"
#include "workflow/clip_words.h"
#include "workflow/files.h"
#include "workflow/result_words.h"

namespace clipchain {

namespace {

struct MergeOptions {
  std::string output;
  std::vector<std::string> inputs;
  bool overwrite = false;
};

int Fail(const std::string& path, std::string words, const std::string& why, HRESULT result) {
  if (!why.empty()) words += ": " + why;
  std::fputs(fmt::format("clipchain: {} {} ({})\n", Shown(path), words, ResultName(result)).c_str(),
             stderr);
  return kFailed;
}

// Such a clip's movie box names few or none of its samples, and a merge would lose the others.
bool KeepsSamplesInFragments(const std::string& path) {
  MP4G::CMp4File file;
  if (file.SetFile(Wide(path).c_str()) != S_OK) return false;
  const MP4G::CMovieBox* movie = file.GetMovieBox();
  return movie != nullptr && movie->GetChildBox(FourCc("mvex"), 0) != nullptr;
}

// One run of the command. The output belongs to it from the first input that was taken.
class Merge {
 public:
  explicit Merge(const MergeOptions& options)
      : options_(options), line_(stderr), progress_(options.inputs, line_) {}

  int Run() {
    if (const int refused = Refuse(); refused != kDone) return refused;
    HRESULT result = Prepare();
    if (result != S_OK) return FailOutput(result);
    for (const std::string& input : options_.inputs) {
      progress_.StartInput();
      result = merge_->InputMp4File(Wide(input).c_str());
      if (result != S_OK)
        return IsOutputResult(result) ? FailOutput(result) : FailInput(input, result);
      hasOutput_ = true;
    }
    result = merge_->Finalize();
    if (result != S_OK) return FailOutput(result);
    Summarize();
    return kDone;
  }

 private:
  int Refuse() const {
    const std::string& output = options_.output;
    // An output that is an input would be gone before it is read.
    for (const std::string& input : options_.inputs) {
      if (!IsSameFile(output, input)) continue;
      return Fail(output, "is the same file as the input " + Shown(input), "", MP4G_E_OUTPUT_OPEN);
    }
    if (!options_.overwrite && Exists(output))
      return Fail(output, "exists already; --overwrite replaces it", "", MP4G_E_OUTPUT_OPEN);
    for (const std::string& input : options_.inputs) {
      if (KeepsSamplesInFragments(input))
        return Fail(input, "keeps its samples in fragments, which can't be merged", "", E_BAD_DATA);
    }
    return kDone;
  }

  HRESULT Prepare() {
    RETURN_IF_NOT_OK(
        MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge_.Receive()));
    MP4G::IMp4LiveMergeDelegate* delegate = &progress_;
    RETURN_IF_NOT_OK(merge_->SetDelegate(MP4G::IID_IMp4LiveMergeDelegate, delegate));
    return merge_->SetOutputPath(Wide(options_.output).c_str());
  }

  int FailOutput(HRESULT result) {
    Clean();
    return Fail(options_.output, OutputWords(result), WhyUnwritable(options_.output), result);
  }

  int FailInput(const std::string& input, HRESULT result) {
    Clean();
    if (progress_.StoodStill()) return Fail(input, "ends before its media does", "", result);
    return Fail(input, InputWords(result, !hasOutput_), WhyUnreadable(input), result);
  }

  // Leaves no unfinished output behind.
  void Clean() {
    line_.Clear();
    merge_.Reset();
    if (hasOutput_) static_cast<void>(QUIRVA::QvFile::Delete(Wide(options_.output).c_str()));
  }

  void Summarize() {
    line_.Clear();
    const std::size_t clips = options_.inputs.size();
    fmt::print("merged {} {} into {}: {} in {:.2f} s\n", clips, clips == 1 ? "clip" : "clips",
               Shown(options_.output), Amount(FileSize(options_.output)), line_.Seconds());
  }

  const MergeOptions& options_;
  ProgressLine line_;
  MergeProgress progress_;
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge_;
  bool hasOutput_ = false;
};

}  // namespace

void AddMergeCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<MergeOptions>();
  CLI::App* command = tool.add_subcommand(
      "merge", "Put clips together into one file, in the order given, without re-encoding");
  command->add_option("-o,--output", options->output, "The file to write")
      ->required()
      ->type_name("OUT");
  command->add_option("clips", options->inputs, "The clips of one recording")
      ->required()
      ->type_name("IN");
  command->add_flag("--overwrite", options->overwrite,
                    "Replace OUT; it is gone even if the merge fails");
  command->callback([options, &exitCode] { exitCode = Merge(*options).Run(); });
}

}  // namespace clipchain
