#include "workflow/keeping/result_proof.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "adapt/boxes/chapter_box.h"
#include "workflow/check.h"
#include "workflow/keeping/checksum_file.h"
#include "workflow/keeping/checksums_beside.h"
#include "workflow/keeping/kept_bytes.h"
#include "workflow/merging/fitting_of.h"
#include "workflow/merging/result_chapters.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

namespace {

// What clips say about their order or each other takes nothing away from a result that has them.
bool IsAboutOrder(Message message) {
  return message == Message::kClipMissing || message == Message::kOrderDoubtful ||
         message == Message::kOtherRecording || message == Message::kSameClipTwice ||
         message == Message::kSameInputTwice;
}

// What is not in the result, or otherwise: samples, tables that speak of them, how a track is
// shown.
bool IsLoss(const Finding& finding) {
  if (IsAboutOrder(finding.message)) return false;
  return finding.severity >= Severity::kRisk || finding.message == Message::kShownOtherwise ||
         finding.message == Message::kFirstTableOnly;
}

// How a result may have been merged that has all samples of its clips. Its chapters, if it has any,
// must have the names of the clips: of other titles nobody could say that they were not changed.
std::vector<FitOptions> Variants(bool chapters) {
  FitOptions usual;
  FitOptions seams;
  seams.seamsAsTheyAre = true;
  FitOptions exact;
  exact.exact = true;
  std::vector<FitOptions> variants{usual, seams, exact};
  if (!chapters) return variants;
  for (FitOptions options : {usual, seams}) {
    options.chapters = true;
    variants.push_back(options);
  }
  return variants;
}

}  // namespace

ResultProof::ResultProof(CardFiles& cards, KeptFiles& kept, CardOrder& order, Meter& meter)
    : cards_(cards), kept_(kept), order_(order), meter_(meter), compare_(meter) {
  std::vector<CardFile>& files = cards_.Files();
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!files[i].isClip || files[i].media.empty()) continue;
    ListedBytes bytes(files[i].file);
    if (bytes.Why()) continue;
    // A merge takes the last media box of a clip as it is, and all of one that it adapts.
    chains_.Add(i, bytes.Bytes(), {files[i].media.back()});
    if (files[i].media.size() > 1) chains_.Add(i, bytes.Bytes(), files[i].media);
  }
}

std::vector<std::string> ResultProof::PathsOf(const std::vector<std::size_t>& clips) const {
  std::vector<std::string> paths;
  for (const std::size_t clip : clips) paths.push_back(cards_.Files()[clip].file.path);
  return paths;
}

void ResultProof::Keep(const std::vector<std::size_t>& clips, Keeping keeping) {
  for (const std::size_t clip : clips) {
    CardFile& file = cards_.Files()[clip];
    file.keeping = std::max(file.keeping, keeping);
    order_.Unite(clips.front(), clip);
  }
}

void ResultProof::Blame(const std::vector<std::size_t>& clips, const std::string& reason) {
  for (const std::size_t clip : clips) cards_.Files()[clip].reason = reason;
}

bool ResultProof::OwnBytesFit(KeptFile& result, ListedBytes& bytes, const MergeImage& image) {
  if (image.size != static_cast<unsigned long long>(result.file.stamp.size)) return false;
  return std::all_of(image.pieces.begin(), image.pieces.end(), [&](const ImagePiece& piece) {
    return piece.clip != ImagePiece::kNoClip ||
           !compare_.CompareWith({bytes.Bytes(), result.file.path, piece.position},
                                 image.Own(piece).data(), piece.size, nullptr);
  });
}

// What a merge of the clips that was forced would have lost of them, as a sentence.
Reason ResultProof::LossOf(const std::vector<std::size_t>& clips, const FitOptions& options) const {
  CheckOptions check;
  SetFitting(check, options);
  // What a merge was told when it was made nobody kept: the clips are asked anew.
  const CheckReport report = Check(PathsOf(clips), check);
  for (const Finding& finding : report.findings) {
    if (IsLoss(finding)) return fmt::format("{} {}", PrintablePath(finding.path), finding.text);
  }
  return std::nullopt;
}

bool ResultProof::IsNamed(std::size_t clip, const std::vector<std::string>& titles,
                          std::size_t chapter) const {
  return chapter < titles.size() &&
         titles[chapter] == ChapterTitleOf(cards_.Files()[clip].file.path);
}

bool ResultProof::AreNamed(const std::vector<std::size_t>& clips,
                           const std::vector<std::string>& titles) const {
  for (std::size_t i = 0; i < clips.size(); ++i) {
    if (!IsNamed(clips[i], titles, i)) return false;
  }
  return true;
}

bool ResultProof::Fits(KeptFile& result, ListedBytes& bytes, const Layout& layout,
                       const std::vector<std::size_t>& clips, MergeImage& image) {
  const std::string name = PrintablePath(result.file.path);
  if (!order_.Allows(clips)) {
    Blame(clips,
          name + " has its media, but the clips in another order than their identifiers say");
    return false;
  }
  const std::vector<std::string> titles = ChapterTitlesIn(bytes.Bytes());
  // Another number of chapters is not of a merge, but what the first clip brought.
  const bool chapters = titles.size() == clips.size();
  for (const FitOptions& options : Variants(chapters)) {
    if (!MakeMergeImage(PathsOf(clips), options, layout, image).empty() ||
        !OwnBytesFit(result, bytes, image))
      continue;
    const Reason loss = LossOf(clips, options);
    if (!loss) return true;
    Blame(clips, name + " is a merge that lost something: " + *loss);
    return false;
  }
  Blame(clips, name + (chapters && !AreNamed(clips, titles)
                           ? " has its media, but chapters of other names than the clips have"
                           : " has its media, but is not what a merge of these clips gives"));
  return false;
}

bool ResultProof::HasAny(const PlacedClips& others, const MergeImage& image,
                         const std::vector<std::size_t>& clips) {
  return std::any_of(image.pieces.begin(), image.pieces.end(), [&](const ImagePiece& piece) {
    return piece.clip != ImagePiece::kNoClip &&
           others.contains({piece.position, clips[piece.clip]});
  });
}

Reason ResultProof::CompareContent(KeptFile& result, ListedBytes& bytes,
                                   const std::vector<std::size_t>& clips, const MergeImage& image,
                                   PlacedClips& others) {
  PassingHash hash(bytes.Bytes());
  PassingHash* const passing =
      kept_.At(result.file.path + std::string(kChecksumsSuffix)) != nullptr ? &hash : nullptr;
  std::unique_ptr<ListedBytes> source;
  std::size_t open = ImagePiece::kNoClip;
  for (const ImagePiece& piece : image.pieces) {
    const NamedRange mine{bytes.Bytes(), result.file.path, piece.position};
    Reason why;
    if (piece.clip == ImagePiece::kNoClip) {
      why = compare_.CompareWith(mine, image.Own(piece).data(), piece.size, passing);
    } else {
      const ListedFile& clip = cards_.Files()[clips[piece.clip]].file;
      if (piece.clip != open) source = std::make_unique<ListedBytes>(clip);
      open = piece.clip;
      if (source->Why()) return PrintablePath(clip.path) + ' ' + *source->Why();
      why = compare_.Compare(mine, {source->Bytes(), clip.path, piece.source}, piece.size, passing);
      if (why) others.emplace(piece.position, clips[piece.clip]);
    }
    if (why) return why;
  }
  return CheckChecksums(kept_, result, hash, "");
}

void ResultProof::TryContent(KeptFile& result) {
  Reason why;
  const std::unique_ptr<ListedBytes> bytes = kept_.Open(result, cards_, why);
  if (bytes == nullptr) return BlameUnusable(result);
  TopLevel boxes;
  if (why = boxes.Read(bytes->Bytes()); why)
    return BlameAllOf(*bytes, PrintablePath(result.file.path) + " has its media, but " + *why);
  const auto kept = [this](std::size_t clip) {
    return cards_.Files()[clip].keeping != Keeping::kNot;
  };
  MergeImage image;
  std::vector<std::size_t> row;
  PlacedClips others;
  bool needless = false;
  // Clips whose media begins and ends alike may all fit: only their bytes tell which it is.
  const auto accept = [&](const std::vector<std::size_t>& clips) {
    const bool known = std::all_of(clips.begin(), clips.end(), kept);
    needless = needless || known;
    if (known || meter_.Stopped()) return false;
    row = clips;
    if (!Fits(result, *bytes, boxes.layout, clips, image)) return false;
    // Why was told then, with the byte.
    if (HasAny(others, image, clips)) return false;
    why = CompareContent(result, *bytes, clips, image, others);
    if (why) Blame(clips, *why);
    return !why;
  };
  std::optional<std::vector<std::string>> titles;
  const auto isNamed = [&](std::size_t clip, std::size_t place) {
    if (!titles) titles = ChapterTitlesIn(bytes->Bytes());
    return IsNamed(clip, *titles, place);
  };
  const bool found = chains_.Find(bytes->Bytes(), boxes, accept, isNamed);
  if (!found) {
    // A second result of clips that are kept is no fault of any other.
    if (row.empty() && !needless)
      Blame(chains_.Beginning(),
            PrintablePath(result.file.path) +
                " begins with media like that of this clip, but is no merge of clips of the cards");
    return;
  }
  kept_.Count(result);
  Keep(row, Keeping::kSamples);
}

}  // namespace clipchain
