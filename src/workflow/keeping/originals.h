// Holds what an archive of originals says: everything of clips that their merged file does not
// hold, and where in that file the rest of them stands.
//
// The archive of OUT is OUT.originals, a tar archive compressed with zstd: first its table of
// contents, a JSON document, then for each clip, in the order of the merge, an entry with the bytes
// of the clip that the merged file does not have. Behind the compressed data stands a frame that
// decompressors skip, with a hash of all bytes in front of it.
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "adapt/fit_options.h"
#include "adapt/reason.h"
#include "workflow/companion.h"
#include "workflow/keeping/content_hash.h"

namespace clipchain {

inline constexpr std::string_view kContentsName = "clipchain-originals.json";

// A part of a clip: so many bytes of its entry in the archive, then so many of the merged file.
struct RecipeStep {
  unsigned long long kept = 0;
  // In the merged file.
  unsigned long long position = 0;
  // There; 0 only at the end of a clip.
  unsigned long long size = 0;
  bool operator==(const RecipeStep&) const = default;
};

struct OriginalClip {
  // Of its entry, and of the clip that is made again: a single file name.
  std::string name;
  // The path that it had.
  std::string place;
  unsigned long long size = 0;
  timespec modified{};
  ContentHashes hashes;
  // All of the clip, from its beginning to its end.
  std::vector<RecipeStep> recipe;

  unsigned long long KeptBytes() const;
};

// What stands in the merged file and in no clip, by which that file is known again.
struct OwnRange {
  unsigned long long position = 0;
  unsigned long long size = 0;
  std::string xxh128;
};

struct Originals {
  unsigned long long resultSize = 0;
  std::vector<OwnRange> own;
  // Of the merge.
  FitOptions options;
  // In the order of the merge.
  std::vector<OriginalClip> clips;
};

// Whether a file can bear the name wherever clips are made again: it has no folder in it, and means
// neither a folder nor a device to any system.
bool IsFileName(std::string_view name);

// The names of clips in an archive, made of those of the files: of equal ones the second gets "-2".
std::vector<std::string> NamesFor(const std::vector<std::string>& paths);

// The table of contents as text, and back. A text that says anything else than a table of contents
// with sound numbers and names is refused with what is wrong, the rest of a sentence.
std::string OriginalsText(const Originals& originals);
[[nodiscard]] Reason ReadOriginals(const std::string& text, Originals& originals);

}  // namespace clipchain
