#include "workflow/keeping/checksums_beside.h"

#include <fmt/format.h>

#include <optional>
#include <vector>

#include "workflow/companion.h"
#include "workflow/keeping/checksum_file.h"
#include "workflow/keeping/listed_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/part_name.h"

namespace clipchain {

Reason CheckChecksums(KeptFiles& kept, KeptFile& result, PassingHash& hash,
                      const std::string& archiveHash) {
  const std::string sumsPath = result.file.path + std::string(kChecksumsSuffix);
  KeptFile* const sums = kept.At(sumsPath);
  if (sums == nullptr) {
    if (kept.Hides(sumsPath)) return PrintablePath(sumsPath) + " can't be used";
    return std::nullopt;
  }
  constexpr long long kLargest = 1 << 20;
  const std::string misfit = fmt::format("{} does not fit {}", PrintablePath(sums->file.path),
                                         PrintablePath(result.file.path));
  ListedBytes bytes(sums->file);
  if (bytes.Why() || sums->file.stamp.size > kLargest) return misfit;
  // Two lines; whatever is larger was refused above.
  std::string text(static_cast<std::size_t>(sums->file.stamp.size), '\0');
  std::vector<Checksum> found;
  if (!bytes.Bytes().Read(0, text.data(), text.size()) || !ReadChecksums(text, found))
    return misfit;
  const std::string name = NameOf(result.file.path);
  const std::optional<std::string> own = hash.Finish();
  if (!own) return misfit;
  // A merge without an archive writes one line, with an archive two.
  std::vector<Checksum> expected{{*own, name}};
  if (found.size() > 1) expected.push_back({archiveHash, name + std::string(kOriginalsSuffix)});
  if (found != expected) return misfit;
  kept.Count(*sums);
  return std::nullopt;
}

}  // namespace clipchain
