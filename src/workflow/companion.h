// Writes what a merge leaves beside its output.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "adapt/fit_options.h"
#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

// What lies beside OUT under its name and one of these belongs to OUT, and to no other file.
inline constexpr std::string_view kOriginalsSuffix = ".originals";
inline constexpr std::string_view kChecksumsSuffix = ".xxh";

// Serves one merge. The calls come in the order in which they stand here. A merge that fails may
// end behind any of them: it lets go of the object, which then leaves no file that it has not
// named.
class CLIPCHAIN_API Companion {
 public:
  Companion() = default;
  virtual ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  // The files that it will write.
  virtual std::vector<std::string> Paths(const std::string& output) const = 0;

  // The clips are copied next, one behind the other.
  virtual void Start(const std::vector<std::string>& clips) = 0;
  // These bytes stand there in the clip of that index, and were read to be copied. Told of most
  // media, in the order of the copy, in a thread of the merge; Prepare comes behind the last call.
  virtual void See(std::size_t clip, unsigned long long position,
                   std::span<const unsigned char> bytes) = 0;

  // The output is complete, verified and on the disk; `file` reads it. `options`: as it was merged
  // with. Writes all files under hidden names, verifies and flushes them. `progress` is told how
  // far that is, and false ends it.
  virtual Findings Prepare(const std::vector<std::string>& clips, const FitOptions& options,
                           const std::string& output, int file, const Progress& progress) = 0;
  // Gives the files their names; what has one of them by now is replaced with `overwrite` only.
  virtual Findings Publish(bool overwrite) = 0;
  // The output could not get its name: what Publish did is taken back.
  virtual void Withdraw() = 0;
  // The output has its name, and its folder was flushed: what was replaced goes.
  virtual void Complete() = 0;
};

}  // namespace clipchain
