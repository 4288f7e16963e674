// Reads the bytes of clips that an archive of originals has.
#pragma once

#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/assembling/merge_image.h"
#include "workflow/keeping/originals.h"
#include "workflow/keeping/originals_archive.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// The ranges of a clip that stand in the merged file, and what lies between them, as a recipe.
std::vector<RecipeStep> RecipeFor(const MergeImage& image, std::size_t clip,
                                  unsigned long long clipSize);

// Walks through the kept bytes of one clip.
class KeptBytes {
 public:
  KeptBytes(const std::string& path, const std::vector<RecipeStep>& recipe);

  // The next ones, at most `size`; 0 at their end, or where they can't be read.
  std::size_t Read(void* buffer, std::size_t size);
  const std::error_code& error() const { return file_.error(); }

 private:
  FileBytes file_;
  const std::vector<RecipeStep>& recipe_;
  std::size_t step_ = 0;
  // The step's kept bytes, so far.
  unsigned long long in_ = 0;
  // Byte of the file.
  unsigned long long at_ = 0;
};

// Whether an archive says that, and has exactly those bytes of the clips. What is wrong, as the
// rest of a sentence that begins with its path.
[[nodiscard]] Reason CompareArchive(FileBytes& archive, const Originals& originals,
                                    const std::vector<std::string>& clips);
// The same of an archive that an earlier run has made, when the clips may have lain elsewhere.
[[nodiscard]] Reason CompareOlderArchive(FileBytes& archive, Originals originals,
                                         const std::vector<std::string>& clips);

}  // namespace clipchain
