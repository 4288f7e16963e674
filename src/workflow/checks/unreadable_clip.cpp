#include "workflow/checks/unreadable_clip.h"

#include <utility>

#include "workflow/checks/input_check.h"
#include "workflow/checks/rehearsal.h"
#include "workflow/clips/clip_file.h"
#include "workflow/findings/file_findings.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/machine_memory.h"

namespace clipchain {

Findings WhyNoClip(const std::string& path, HRESULT result, long long memoryLimit) {
  ClipFile clip(path);
  FileFindings found(path);
  // Looking for the reason must not take the memory whose lack may be the reason.
  Rehearsal rehearsal(memoryLimit > 0 ? memoryLimit : HalfOfTheMachine());
  if (clip.WhyUnreadable() || rehearsal.HasRoomFor(clip, found))
    static_cast<void>(CheckInput(clip, found));
  Findings refusals;
  for (const Finding& finding : found.All()) {
    if (finding.severity == Severity::kRefusal) refusals.push_back(finding);
  }
  // A merge may well take the clip: it reads no more of the camera's boxes than it must, and a scan
  // reads them all.
  if (refusals.empty()) {
    Finding finding = MakeFinding(Message::kInputUnreadable, path, ClipWords(result),
                                  "copy it again from the card, or leave it out");
    finding.result = result;
    refusals.push_back(std::move(finding));
  }
  return refusals;
}

}  // namespace clipchain
