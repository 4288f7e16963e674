#include "workflow/keeping/kept_bytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr std::size_t kBlock = 256 * 1024;

Reason CompareClip(OriginalsReader& reader, const OriginalClip& original, const std::string& path) {
  if (Reason why = reader.NextClip()) return why;
  KeptBytes bytes(path, original.recipe);
  std::vector<unsigned char> mine(kBlock);
  std::vector<unsigned char> theirs(kBlock);
  for (unsigned long long left = original.KeptBytes(); left != 0;) {
    const std::size_t got = bytes.Read(theirs.data(), std::min<unsigned long long>(left, kBlock));
    if (got == 0) return "can't be compared: " + PrintablePath(path) + " can't be read";
    if (Reason why = reader.Read(mine.data(), got)) return why;
    if (std::memcmp(mine.data(), theirs.data(), got) != 0)
      return "does not have the bytes of " + PrintablePath(path);
    left -= got;
  }
  return std::nullopt;
}

Reason CompareAll(OriginalsReader& reader, const Originals& originals,
                  const std::vector<std::string>& clips) {
  // As text, so that no field that is added is forgotten here.
  if (OriginalsText(reader.Contents()) != OriginalsText(originals))
    return "says something else than these clips and their merge";
  for (std::size_t clip = 0; clip < clips.size(); ++clip) {
    if (Reason why = CompareClip(reader, originals.clips[clip], clips[clip])) return why;
  }
  return reader.AtEnd();
}

}  // namespace

std::vector<RecipeStep> RecipeFor(const MergeImage& image, std::size_t clip,
                                  unsigned long long clipSize) {
  std::vector<ImagePiece> pieces;
  for (const ImagePiece& piece : image.pieces) {
    if (piece.clip == clip) pieces.push_back(piece);
  }
  // By their place in the clip, which a split writes from its begin to its end.
  std::sort(pieces.begin(), pieces.end(),
            [](const ImagePiece& a, const ImagePiece& b) { return a.source < b.source; });
  std::vector<RecipeStep> recipe;
  unsigned long long at = 0;
  for (const ImagePiece& piece : pieces) {
    // What stands in the merged file twice is taken from it once.
    const unsigned long long done = std::max(at, piece.source) - piece.source;
    if (done >= piece.size) continue;
    recipe.push_back({piece.source + done - at, piece.position + done, piece.size - done});
    at = piece.source + piece.size;
  }
  if (at < clipSize) recipe.push_back({clipSize - at, 0, 0});
  return recipe;
}

KeptBytes::KeptBytes(const std::string& path, const std::vector<RecipeStep>& recipe)
    : file_(path), recipe_(recipe) {}

std::size_t KeptBytes::Read(void* buffer, std::size_t size) {
  while (step_ < recipe_.size() && in_ == recipe_[step_].kept) {
    at_ += recipe_[step_++].size;
    in_ = 0;
  }
  if (step_ == recipe_.size()) return 0;
  const auto part =
      static_cast<std::size_t>(std::min<unsigned long long>(size, recipe_[step_].kept - in_));
  if (!file_.Read(at_, buffer, part)) return 0;
  at_ += part;
  in_ += part;
  return part;
}

Reason CompareArchive(FileBytes& archive, const Originals& originals,
                      const std::vector<std::string>& clips) {
  OriginalsReader reader;
  if (Reason why = reader.Open(archive)) return why;
  return CompareAll(reader, originals, clips);
}

Reason CompareOlderArchive(FileBytes& archive, Originals originals,
                           const std::vector<std::string>& clips) {
  OriginalsReader reader;
  if (Reason why = reader.Open(archive)) return why;
  const std::vector<OriginalClip>& older = reader.Contents().clips;
  for (std::size_t clip = 0; clip < std::min(older.size(), originals.clips.size()); ++clip) {
    // Clips may have been copied since: their place and time prove nothing, and their bytes are
    // compared.
    originals.clips[clip].place = older[clip].place;
    originals.clips[clip].modified = older[clip].modified;
    if (originals.clips[clip].hashes.sha256.empty())
      originals.clips[clip].hashes.sha256 = older[clip].hashes.sha256;
  }
  return CompareAll(reader, originals, clips);
}

}  // namespace clipchain
