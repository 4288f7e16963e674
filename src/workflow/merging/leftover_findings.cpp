#include "workflow/merging/leftover_findings.h"

#include <fmt/format.h>

#include <utility>

#include "workflow/system/files.h"

namespace clipchain {

namespace {

Finding Removed(const Leftover& leftover, std::string text) {
  const int error = RemoveLeftover(leftover);
  if (error == 0)
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

}  // namespace clipchain
