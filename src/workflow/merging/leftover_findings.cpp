#include "workflow/merging/leftover_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "foundation/result.h"
#include "workflow/companion.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

Finding Removed(const Leftover& leftover, std::string text) {
  const std::error_code error = RemoveLeftover(leftover);
  if (!error)
    return MakeFinding(Message::kLeftoverRemoved, leftover.path, text + ", and is removed now");
  text += ", and can't be removed: " + ErrorText(error);
  return MakeFinding(Message::kLeftover, leftover.path, std::move(text), "remove it by hand");
}

}  // namespace

Findings LookForLeftovers(const std::string& output,
                          const std::function<bool(const Leftover&)>& remove,
                          const std::string& remedy) {
  Findings findings;
  for (const Leftover& leftover : FindLeftovers(output)) {
    const std::string text =
        fmt::format("was left behind by a run that was killed, with {} bytes in it", leftover.size);
    findings.push_back(remove && remove(leftover)
                           ? Removed(leftover, text)
                           : MakeFinding(Message::kLeftover, leftover.path, text, remedy));
  }
  return findings;
}

// An archive or checksums that do not fit would make the new file count for nothing where cards are
// compared with it, and they may be all that is left of how to make clips again.
std::optional<Finding> FindStranger(const std::string& output,
                                    const std::vector<std::string>& written) {
  for (const std::string_view suffix : {kOriginalsSuffix, kChecksumsSuffix}) {
    const std::string path = output + std::string(suffix);
    if (std::find(written.begin(), written.end(), path) != written.end() || !Exists(path)) continue;
    Finding finding =
        MakeFinding(Message::kOutputExists, path,
                    "belongs to a file that has had the name of the output, and not to a new one",
                    fmt::format("rename or remove it, or let {} replace it",
                                suffix == kOriginalsSuffix ? "--originals" : "--checksums"));
    finding.result = MP4G_E_OUTPUT_OPEN;
    return finding;
  }
  return std::nullopt;
}

}  // namespace clipchain
