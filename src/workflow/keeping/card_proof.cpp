#include "workflow/card_proof.h"

#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "foundation/platform/read_failures.h"
#include "workflow/keeping/card_files.h"
#include "workflow/keeping/card_order.h"
#include "workflow/keeping/copy_proof.h"
#include "workflow/keeping/kept_files.h"
#include "workflow/keeping/result_proof.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

class Proving {
 public:
  explicit Proving(const CardProofOptions& options) : options_(options) {}

  CardProof Run() {
    const bool read = Read();
    if (stopped_) return Stopped();
    if (!read) return Failed();
    Meter meter(options_.progress, BytesToCompare());
    CardOrder order(cards_.Files());
    CopyProof copies(cards_, kept_, meter);
    ProveClips(order, copies, meter);
    if (!options_.clipsOnly) TryCopies(copies, meter, false);
    if (meter.Stopped()) return Stopped();
    Count(order);
    Judge();
    return stopped_ ? Stopped() : std::move(proof_);
  }

 private:
  bool Read();
  CardProof Failed() {
    proof_.failed = true;
    return std::move(proof_);
  }
  // What was found by then is no answer.
  CardProof Stopped() {
    proof_ = {};
    proof_.findings.push_back(MakeFinding(Message::kMergeStopped, options_.cards.front(),
                                          "was not compared to its end: the work was stopped",
                                          "run it again"));
    return Failed();
  }
  // Folders on a slow share take long.
  bool GoesOn(std::size_t files) {
    Step step;
    step.phase = Step::Phase::kSearching;
    step.clip = files;
    stopped_ = stopped_ || (options_.progress && !options_.progress(step));
    return !stopped_;
  }
  void ProveClips(CardOrder& order, CopyProof& copies, Meter& meter);
  void TryResults(ResultProof& results, const Meter& meter, bool withArchive);
  void TryCopies(CopyProof& copies, const Meter& meter, bool clips);
  long long BytesToCompare();
  bool NeedsMore(const CardFile& file) const {
    return file.isClip && (file.keeping == Keeping::kNot ||
                           (options_.whole && file.keeping != Keeping::kEveryByte));
  }
  bool ClipsNeedMore();
  std::string UnkeptWords(const CardFile& file) const;
  void Count(CardOrder& order);
  void Judge();
  void Doubt(const std::vector<ListedPath>& paths) {
    // What can't be searched can't be searched a second time either.
    for (const ListedPath& path : paths) {
      if (doubts_.emplace(path.path, path.reason).second)
        proof_.notKept.push_back({path.path, path.reason});
    }
  }

  const CardProofOptions& options_;
  // From the first call on.
  const QUIRVA::ReadFailures failures_;
  bool stopped_ = false;
  const SearchProgress goOn_ = [this](std::size_t files) { return GoesOn(files); };
  CardFiles cards_;
  KeptFiles kept_;
  // Paths, and why.
  std::set<std::pair<std::string, std::string>> doubts_;
  CardProof proof_;
};

bool Proving::Read() {
  if (proof_.findings = cards_.Read(options_.cards, goOn_); !proof_.findings.empty()) return false;
  if (proof_.findings = kept_.Read(options_.against, cards_, goOn_); !proof_.findings.empty())
    return false;
  bool anyClip = false;
  for (const CardFile& file : cards_.Files()) anyClip = anyClip || file.isClip;
  // Nothing at an empty mount point must not read as "all is kept".
  if (!options_.clipsOnly || anyClip) return true;
  proof_.findings.push_back(MakeFinding(Message::kFolderUnusable, options_.cards.front(),
                                        "has no clip, and neither has any other card",
                                        "see whether the card is mounted there"));
  return false;
}

long long Proving::BytesToCompare() {
  long long sum = 0;
  for (const CardFile& file : cards_.Files()) {
    if (file.isClip || !options_.clipsOnly) sum += file.file.stamp.size;
  }
  return sum;
}

bool Proving::ClipsNeedMore() {
  for (const CardFile& file : cards_.Files()) {
    if (NeedsMore(file)) return true;
  }
  return false;
}

// What keeps most of a clip is looked at first, so that nothing is read twice.
void Proving::ProveClips(CardOrder& order, CopyProof& copies, Meter& meter) {
  ResultProof results(cards_, kept_, order, meter);
  // With its archive a result keeps every byte, as a copy does; alone it keeps the samples.
  TryResults(results, meter, true);
  TryCopies(copies, meter, true);
  // A result alone never keeps every byte: reading it could not help.
  if (!options_.whole) TryResults(results, meter, false);
  // Two copies of a clip make no second recording.
  for (const auto& [clip, other] : copies.FindTwins()) order.Unite(clip, other);
}

void Proving::TryResults(ResultProof& results, const Meter& meter, bool withArchive) {
  for (KeptFile& file : kept_.Files()) {
    // Results may lie on a slow share: once all clips are kept no other one is read.
    if (!ClipsNeedMore() || meter.Stopped()) return;
    if (file.whyNot || !file.mayBeResult || file.file.stamp.size == 0) continue;
    if (withArchive) {
      results.TryArchive(file);
    } else {
      results.TryContent(file);
    }
  }
}

void Proving::TryCopies(CopyProof& copies, const Meter& meter, bool clips) {
  for (CardFile& file : cards_.Files()) {
    if (meter.Stopped()) return;
    if (file.isClip == clips && file.keeping != Keeping::kEveryByte) copies.Try(file);
  }
}

void Proving::Count(CardOrder& order) {
  for (const CardFile& file : cards_.Files()) {
    if (!file.isClip) {
      ++proof_.others;
      continue;
    }
    ++proof_.clips;
    if (file.keeping == Keeping::kSamples) ++proof_.withoutOtherData;
  }
  proof_.recordings = order.Recordings();
  for (const ListedPath& path : cards_.LeftAside())
    proof_.leftAside.push_back({path.path, path.reason});
  for (const auto& [folder, card] : kept_.BesideCards(cards_)) {
    proof_.besideCards.push_back(
        {options_.against[folder], "lies on the same file system as " +
                                       PrintablePath(options_.cards[card]) +
                                       ": to format it erases both"});
  }
}

std::string Proving::UnkeptWords(const CardFile& file) const {
  if (!file.isClip) return "no file is a copy of it";
  return options_.whole
             ? "no result with its archive of originals has it, and no file is a copy of it"
             : "no result has it, and no file is a copy of it";
}

void Proving::Judge() {
  for (const CardFile& file : cards_.Files()) {
    // What can't be read may be a clip, whatever its name.
    const bool counts = file.isClip || file.isUnread || !options_.clipsOnly;
    const bool kept = file.isClip ? !NeedsMore(file) : file.keeping == Keeping::kEveryByte;
    if (!counts) continue;
    if (!kept) {
      proof_.notKept.push_back(
          {file.file.path, file.reason.empty() ? UnkeptWords(file) : file.reason});
    } else if (const Reason why = WhyDoubtful(file.file, failures_)) {
      // It was compared and found equal, and is doubted all the same: what could not be read once
      // may be lost next time.
      proof_.notKept.push_back({file.file.path, *why});
    }
  }
  // Failures of any read at any time: libraries beneath may take one for the end of a file.
  Doubt(kept_.Failures(failures_));
  Doubt(cards_.Unreadable());
  // What came or changed while all was compared was not compared.
  Doubt(cards_.Changes(options_.cards, goOn_));
  Doubt(kept_.Changes(options_.against, goOn_));
  proof_.kept = proof_.notKept.empty();
}

}  // namespace

CardProof ProveCards(const CardProofOptions& options) {
  try {
    return Proving(options).Run();
  } catch (const std::bad_alloc&) {
    CardProof proof;
    proof.failed = true;
    proof.findings.push_back(
        MakeFinding(Message::kOutOfMemory, "", "there is not enough memory", "free some memory"));
    return proof;
  }
}

}  // namespace clipchain
