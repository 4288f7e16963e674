#include "workflow/clipchain.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "workflow/check.h"
#include "workflow/clips/finding_json.h"
#include "workflow/safe_merge.h"

namespace clipchain {

namespace {

using Options = clipchain_options;

bool AreClips(const char* const* clips, std::size_t count) {
  if (clips == nullptr || count == 0) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (clips[i] == nullptr || clips[i][0] == '\0') return false;
  }
  return true;
}

bool AreOptions(const Options* options) {
  return options == nullptr || options->size >= sizeof(Options);
}

int PhaseOf(Step::Phase phase) {
  switch (phase) {
    case Step::Phase::kCopying:
      return CLIPCHAIN_COPYING;
    case Step::Phase::kVerifying:
      return CLIPCHAIN_VERIFYING;
    case Step::Phase::kFlushing:
      return CLIPCHAIN_FLUSHING;
    default:
      return CLIPCHAIN_CHECKING;
  }
}

SafeMergeOptions OptionsOf(const Options* given, const char* output) {
  SafeMergeOptions options;
  if (output != nullptr) options.check.output = output;
  if (given == nullptr) return options;
  options.check.overwrite = given->overwrite != 0;
  options.check.memoryLimit = given->memory_limit;
  options.force = given->force != 0;
  if (given->verify_all != 0) options.verification = Verification::kFull;
  if (given->progress != nullptr) {
    options.check.progress = [given](const Step& step) {
      return given->progress(given->context, PhaseOf(step.phase), step.clip, step.current,
                             step.total) == 0;
    };
  }
  return options;
}

// Memory of C, which whoever gets it frees by a function of this library.
void Hand(const Json& document, char** report) {
  if (report == nullptr) return;
  const std::string text = JsonText(document);
  *report = static_cast<char*>(std::malloc(text.size() + 1));
  if (*report != nullptr) std::memcpy(*report, text.c_str(), text.size() + 1);
}

// No exception leaves the library. What throws here is a lack of memory: the work itself reports
// everything else, and has left nothing behind.
template <class Work>
int Guarded(char** report, const Work& work) {
  if (report != nullptr) *report = nullptr;
  try {
    return work();
  } catch (const std::exception&) {
    return CLIPCHAIN_REFUSED;
  }
}

}  // namespace

}  // namespace clipchain

extern "C" {

const char* clipchain_version(void) { return CLIPCHAIN_VERSION; }

int clipchain_check(const char* const* clips, size_t count, const char* output,
                    const clipchain_options* options, char** report) {
  using namespace clipchain;
  if (!AreClips(clips, count) || !AreOptions(options)) return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    const std::vector<std::string> inputs(clips, clips + count);
    const Findings findings = Check(inputs, OptionsOf(options, output).check).findings;
    const bool refused = HoldsUp(findings, false);
    Json document;
    document["verdict"] = refused ? "refused" : "fits";
    document["findings"] = FindingsJson(findings);
    Hand(document, report);
    return refused ? CLIPCHAIN_REFUSED : CLIPCHAIN_DONE;
  });
}

int clipchain_merge(const char* const* clips, size_t count, const char* output,
                    const clipchain_options* options, char** report) {
  using namespace clipchain;
  const bool hasOutput = output != nullptr && output[0] != '\0';
  if (!AreClips(clips, count) || !hasOutput || !AreOptions(options)) return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    const std::vector<std::string> inputs(clips, clips + count);
    const SafeMergeReport merged = SafeMerge(inputs, OptionsOf(options, output));
    Json document;
    document["done"] = merged.done;
    document["size"] = merged.size;
    document["findings"] = FindingsJson(merged.findings);
    Hand(document, report);
    return merged.done ? CLIPCHAIN_DONE : CLIPCHAIN_REFUSED;
  });
}

void clipchain_free(char* report) { std::free(report); }

}  // extern "C"
