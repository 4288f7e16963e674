#include "workflow/clipchain.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "workflow/card_proof.h"
#include "workflow/check.h"
#include "workflow/clips/finding_json.h"
#include "workflow/keep_originals.h"
#include "workflow/keeping/proof_json.h"
#include "workflow/safe_merge.h"
#include "workflow/split.h"
#include "workflow/stream_merge.h"

namespace clipchain {

namespace {

using Options = clipchain_options;
using VerifyOptions = clipchain_verify_options;

bool IsText(const char* text) { return text != nullptr && text[0] != '\0'; }

bool ArePaths(const char* const* paths, std::size_t count) {
  return paths != nullptr && count != 0 && std::all_of(paths, paths + count, IsText);
}

// Programs that were made before there were chapters have shorter ones.
constexpr std::size_t LeastSize(const Options*) { return offsetof(Options, chapters); }
constexpr std::size_t LeastSize(const VerifyOptions*) { return sizeof(VerifyOptions); }

template <class Given>
bool AreOptions(const Given* options) {
  return options == nullptr || options->size >= LeastSize(options);
}

bool WantsChapters(const Options& options) {
  // A field that the caller's structure ends before holds whatever stands behind it.
  return options.size >= sizeof(Options) && options.chapters != 0;
}

bool AreMergeOptions(const Options* options) {
  const bool isKnown = options == nullptr || options->size < sizeof *options ||
                       // Any number fits into the field of a C program.
                       (options->reflink >= CLIPCHAIN_COPY && options->reflink <= CLIPCHAIN_SHARE);
  return AreOptions(options) && isKnown;
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

Progress ProgressOf(clipchain_progress progress, void* context) {
  if (progress == nullptr) return {};
  return [=](const Step& step) {
    return progress(context, PhaseOf(step.phase), step.clip, step.current, step.total) == 0;
  };
}

SafeMergeOptions OptionsOf(const Options* given, const char* output) {
  SafeMergeOptions options;
  if (output != nullptr) options.check.output = output;
  if (given == nullptr) return options;
  options.faststart = given->faststart != 0;
  options.reflink = static_cast<Reflink>(given->reflink);
  options.check.overwrite = given->overwrite != 0;
  options.check.memoryLimit = given->memory_limit;
  options.check.fitting.chapters = WantsChapters(*given);
  options.force = given->force != 0;
  // 0 leaves the usual one, so that options of zeros are what is done without any.
  if (given->verify_all != 0) options.verification = Verification::kFull;
  options.check.progress = ProgressOf(given->progress, given->context);
  return options;
}

KeepOptions KeepOptionsOf(const Options* given) {
  KeepOptions keep;
  if (given == nullptr) return keep;
  keep.originals = given->originals != 0;
  keep.checksums = given->checksums != 0;
  return keep;
}

// Memory of C, which whoever gets it frees by a function of this library.
void Hand(const Json& document, char** report) {
  if (report == nullptr) return;
  const std::string text = JsonText(document);
  *report = static_cast<char*>(std::malloc(text.size() + 1));
  if (*report != nullptr) std::memcpy(*report, text.c_str(), text.size() + 1);
}

int Answer(const SafeMergeReport& merged, char** report) {
  Json document;
  document["done"] = merged.done;
  document["size"] = merged.size;
  document["findings"] = FindingsJson(merged.findings);
  Hand(document, report);
  return merged.done ? CLIPCHAIN_DONE : CLIPCHAIN_REFUSED;
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
  if (!ArePaths(clips, count) || !AreMergeOptions(options)) return CLIPCHAIN_MISUSE;
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
  if (!ArePaths(clips, count) || !IsText(output) || !AreMergeOptions(options))
    return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    const std::vector<std::string> inputs(clips, clips + count);
    SafeMergeOptions merge = OptionsOf(options, output);
    const KeepOptions keep = KeepOptionsOf(options);
    const std::unique_ptr<Companion> companion = keep.Any() ? MakeCompanion(keep) : nullptr;
    merge.companion = companion.get();
    return Answer(SafeMerge(inputs, merge), report);
  });
}

int clipchain_stream(const char* const* clips, size_t count, int descriptor,
                     const clipchain_options* options, char** report) {
  using namespace clipchain;
  if (!ArePaths(clips, count) || descriptor < 0 || !AreMergeOptions(options))
    return CLIPCHAIN_MISUSE;
  // Messages need a name, and a descriptor has none.
  const SafeMergeOptions merge = OptionsOf(options, "the result");
  // A pipe replaces nothing, is not read again and has no blocks: to pass over such a wish would
  // promise what is not done.
  if (merge.check.overwrite || merge.verification == Verification::kFull ||
      merge.reflink != Reflink::kNever || KeepOptionsOf(options).Any())
    return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    const std::vector<std::string> inputs(clips, clips + count);
    return Answer(StreamMerge(inputs, {merge.check, merge.force, descriptor}), report);
  });
}

int clipchain_verify(const char* const* cards, size_t card_count, const char* const* against,
                     size_t against_count, const clipchain_verify_options* options, char** report) {
  using namespace clipchain;
  if (!ArePaths(cards, card_count) || !ArePaths(against, against_count) || !AreOptions(options))
    return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    CardProofOptions verify;
    verify.cards.assign(cards, cards + card_count);
    verify.against.assign(against, against + against_count);
    if (options != nullptr) {
      verify.clipsOnly = options->clips_only != 0;
      verify.whole = options->whole != 0;
      verify.progress = ProgressOf(options->progress, options->context);
    }
    const CardProof proof = ProveCards(verify);
    Hand(ProofJson(verify, proof), report);
    // Without an answer: neither that the cards are kept nor that they are not.
    if (proof.failed) return CLIPCHAIN_REFUSED;
    return proof.kept ? CLIPCHAIN_DONE : CLIPCHAIN_PARTLY;
  });
}

int clipchain_split(const char* merged, const char* folder, clipchain_progress progress,
                    void* context, char** report) {
  using namespace clipchain;
  if (!IsText(merged) || (folder != nullptr && !IsText(folder))) return CLIPCHAIN_MISUSE;
  return Guarded(report, [&] {
    SplitOptions split;
    if (folder != nullptr) split.folder = folder;
    split.progress = ProgressOf(progress, context);
    const SplitReport made = Split(merged, split);
    Hand(SplitJson(merged, made), report);
    if (made.done) return CLIPCHAIN_DONE;
    return made.partly ? CLIPCHAIN_PARTLY : CLIPCHAIN_REFUSED;
  });
}

void clipchain_free(char* report) { std::free(report); }

}  // extern "C"
