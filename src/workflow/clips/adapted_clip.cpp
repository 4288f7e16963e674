#include "workflow/clips/adapted_clip.h"

#include <utility>
#include <vector>

namespace clipchain {

AdaptedClip::AdaptedClip(const std::string& path)
    : fit_(std::vector<std::string>{path}, FitOptions{}) {
  // There is nothing to show of a clip that is taken as it is, or by nobody.
  if (!fit_.IsAdapted() || !fit_.HasView(0) || fit_.Report().Refused()) return;
  int result = 0;
  QUIRVA::ComPtr<ClipView> view = fit_.View(0, result);
  if (result < 0 || !view) return;
  QUIRVA::ComPtr<QUIRVA::IQvFileReader> source;
  source.Attach(view.Detach());
  auto shown = std::make_unique<ClipFile>(path, source);
  if (shown->Parse() == S_OK) shown_ = std::move(shown);
}

}  // namespace clipchain
