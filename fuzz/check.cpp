// The check before a merge, over two to four files out of the bytes: it says that the engine would
// refuse them exactly where the engine does, says the same twice, and leaves the files as they are.
#include "workflow/check.h"

#include <algorithm>

#include "inputs.h"
#include "merge/m4lm.h"
#include "support/temp_dir.h"
#include "target.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using support::Bytes;

namespace {

// What the engine may take for the boxes of inputs that are this small at most.
constexpr long long kMemoryLimit = 64ll << 20;

bool EngineMerges(const std::vector<std::string>& paths, const std::string& output) {
  void* handle = nullptr;
  fuzz::Require(m4lm_createHandle(&handle) == 0, "a merge can be made");
  bool merges = m4lm_setOutputPath(handle, output.c_str()) == 0;
  for (const std::string& path : paths)
    merges = merges && m4lm_inputMp4File(handle, path.c_str()) == 0;
  merges = merges && m4lm_finalize(handle) == 0;
  static_cast<void>(m4lm_deleteHandle(handle));
  return merges;
}

bool Same(const Finding& a, const Finding& b) {
  return a.message == b.message && a.severity == b.severity && a.path == b.path &&
         a.track == b.track && a.box == b.box && a.offset == b.offset && a.text == b.text &&
         a.remedy == b.remedy && a.result == b.result;
}

bool Refuses(const CheckReport& report) {
  return std::any_of(report.findings.begin(), report.findings.end(), [](const Finding& finding) {
    return finding.severity == clipchain::Severity::kRefusal;
  });
}

bool LacksMemory(const CheckReport& report) {
  return std::any_of(report.findings.begin(), report.findings.end(), [](const Finding& finding) {
    return finding.message == Message::kMemoryLimit;
  });
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  static const support::TempDir folder;
  const std::vector<Bytes> inputs = SplitInputs(data, size);
  if (inputs.empty() || std::any_of(inputs.begin(), inputs.end(), ClaimsManyCommonSizes)) return;
  std::vector<std::string> paths;
  for (const Bytes& input : inputs) {
    paths.push_back(folder / ("clip" + std::to_string(paths.size()) + ".mp4"));
    support::WriteFile(paths.back(), input);
  }
  clipchain::CheckOptions options;
  options.memoryLimit = kMemoryLimit;
  // What the engine itself takes or refuses, without anything that is done for it.
  options.fitting.exact = true;
  const CheckReport report = clipchain::Check(paths, options);
  const CheckReport again = clipchain::Check(paths, options);
  Require(std::equal(report.findings.begin(), report.findings.end(), again.findings.begin(),
                     again.findings.end(), Same),
          "a check says the same twice");
  for (std::size_t i = 0; i < inputs.size(); ++i)
    Require(support::ReadFile(paths[i]) == inputs[i], "a check changes no file");
  if (LacksMemory(report)) return;
  Require(EngineMerges(paths, folder / "output.mp4") != Refuses(report),
          "the check refuses what the engine refuses, and nothing else");
}
