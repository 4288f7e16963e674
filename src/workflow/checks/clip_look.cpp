#include "workflow/checks/clip_look.h"

#include "reader/typed_views.h"
#include "workflow/checks/input_check.h"
#include "workflow/checks/kept_check.h"
#include "workflow/checks/match_check.h"
#include "workflow/checks/table_check.h"

namespace clipchain {

ClipLook::ClipLook(const ClipLookTask& task, long long memory)
    : findings(task.path), alone_(task.alone), timed_(task.timed) {
  if (task.fit == nullptr) {
    clip = std::make_unique<ClipFile>(task.path);
  } else {
    int opened = S_OK;
    view = task.fit->View(task.index, opened);
    if (opened < 0) {
      findings.Add(Message::kInputUnreadable, "can't be read", "check the name and the permissions")
          .result = MP4G_E_INPUT_OPEN;
      isDone_ = true;
      return;
    }
    QUIRVA::ComPtr<QUIRVA::IQvFileReader> source;
    // Both hold the view, and each gives it back.
    view->AddRef();
    source.Attach(view.get());
    clip = std::make_unique<ClipFile>(task.path, source);
  }
  const long long bytes = clip->MemoryOfBytes();
  // A look ahead of its turn has a share of the memory: larger clips wait for theirs.
  if (bytes <= memory && clip->MemoryOfBoxes() <= memory - bytes) Look();
}

void ClipLook::Look() {
  if (isDone_) return;
  isDone_ = true;
  isParsed = CheckInput(*clip, findings);
  if (!isParsed) return;
  CheckKept(*clip, findings);
  CheckMergeable(clip->Movie(), alone_, findings);
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(clip->Movie()).Tracks()) {
    CheckTables(*clip, track, findings);
    if (!timed_) continue;
    if (const auto known = TimesOf(track)) times.emplace(track, *known);
  }
  order = OrderFactsOf(*clip);
}

}  // namespace clipchain
