#include "workflow/keeping/copy_proof.h"

#include <memory>
#include <optional>

#include "workflow/companion.h"
#include "workflow/keeping/checksums_beside.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

CopyProof::CopyProof(CardFiles& cards, KeptFiles& kept, Meter& meter)
    : cards_(cards),
      kept_(kept),
      meter_(meter),
      compare_(meter),
      alike_([this](std::size_t i) -> const ListedFile& { return kept_.Files()[i].file; },
             [this](std::size_t i) { return kept_.Files()[i].whyNot.has_value(); }) {
  for (std::size_t i = 0; i < kept_.Files().size(); ++i) alike_.Add(i);
}

void CopyProof::TryEmpty(CardFile& file) {
  if (file.isClip) {
    file.reason = "is a clip without a byte";
    return;
  }
  for (const std::size_t candidate : kept_.EmptyOnesOf(NameOf(file.file.path))) {
    KeptFile& copy = kept_.Files()[candidate];
    // One reason is enough: there may be as many of one name as there are folders.
    if (copy.whyNot && !file.reason.empty()) continue;
    Reason why;
    // There is no byte to compare, but the name must be on the disk, and on no card.
    if (kept_.Open(copy, cards_, why) != nullptr) {
      kept_.Count(copy);
      file.keeping = Keeping::kEveryByte;
      return;
    }
    file.reason = PrintablePath(copy.file.path) + ' ' + *why;
  }
  if (file.reason.empty()) file.reason = "is empty, and there is no empty file of its name";
}

Reason CopyProof::Compare(CardFile& file, KeptFile& candidate) {
  Reason why;
  const std::unique_ptr<ListedBytes> copy = kept_.Open(candidate, cards_, why);
  if (copy == nullptr) return PrintablePath(candidate.file.path) + ' ' + *why;
  ListedBytes bytes(file.file);
  if (bytes.Why()) return bytes.Why();
  // What lies beside a merge of one clip may speak of it, though it is a copy of the clip; whatever
  // has an archive was asked together with it.
  const std::string& path = candidate.file.path;
  const bool asks = file.isClip && kept_.At(path + std::string(kChecksumsSuffix)) != nullptr &&
                    kept_.At(path + std::string(kOriginalsSuffix)) == nullptr;
  PassingHash hash(copy->Bytes());
  why = compare_.Compare({copy->Bytes(), path, 0}, {bytes.Bytes(), file.file.path, 0},
                         static_cast<unsigned long long>(file.file.stamp.size),
                         asks ? &hash : nullptr);
  return why || !asks ? why : CheckChecksums(kept_, candidate, hash, "");
}

void CopyProof::Try(CardFile& file) {
  if (file.file.stamp.size == 0) return TryEmpty(file);
  ListedBytes bytes(file.file);
  if (bytes.Why()) {
    file.reason = *bytes.Why();
    return;
  }
  const auto compare = [&](std::size_t index) {
    KeptFile& copy = kept_.Files()[index];
    const Reason why = Compare(file, copy);
    // Whoever stops it takes nothing for kept.
    if (!why || meter_.Stopped()) return Likeness::kSame;
    file.reason = *why;
    return copy.whyNot ? Likeness::kUseless : Likeness::kOther;
  };
  const std::optional<std::size_t> same = alike_.Find(file.file, bytes.Bytes(), compare);
  if (!same || meter_.Stopped()) return;
  // From the first byte to the last: hashes and ends only choose what is compared.
  kept_.Count(kept_.Files()[*same]);
  file.keeping = Keeping::kEveryByte;
}

std::vector<CopyProof::Twins> CopyProof::FindTwins() {
  std::vector<CardFile>& files = cards_.Files();
  AlikeFiles keptOnes([&](std::size_t i) -> const ListedFile& { return files[i].file; },
                      [](std::size_t) { return false; });
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].isClip && files[i].keeping != Keeping::kNot) keptOnes.Add(i);
  }
  std::vector<Twins> twins;
  for (std::size_t i = 0; i < files.size() && !meter_.Stopped(); ++i) {
    CardFile& file = files[i];
    if (!file.isClip || file.keeping != Keeping::kNot || file.file.stamp.size == 0) continue;
    const auto twin = FindTwin(file, keptOnes);
    if (!twin) continue;
    file.keeping = files[*twin].keeping;
    twins.push_back({i, *twin});
  }
  return twins;
}

std::optional<std::size_t> CopyProof::FindTwin(const CardFile& file, AlikeFiles& keptOnes) {
  ListedBytes mine(file.file);
  // It was told to be unreadable where it was tried first.
  if (mine.Why()) return std::nullopt;
  const auto compare = [&](std::size_t index) {
    const ListedFile& other = cards_.Files()[index].file;
    ListedBytes theirs(other);
    if (theirs.Why()) return Likeness::kOther;
    const Reason why =
        compare_.Compare({mine.Bytes(), file.file.path, 0}, {theirs.Bytes(), other.path, 0},
                         static_cast<unsigned long long>(other.stamp.size), nullptr);
    return why && !meter_.Stopped() ? Likeness::kOther : Likeness::kSame;
  };
  const std::optional<std::size_t> twin = keptOnes.Find(file.file, mine.Bytes(), compare);
  return meter_.Stopped() ? std::nullopt : twin;
}

}  // namespace clipchain
