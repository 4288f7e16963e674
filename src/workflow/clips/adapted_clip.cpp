#include "workflow/clips/adapted_clip.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "foundation/fourcc.h"

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

bool SaysMoreAdapted(const MP4G::CMp4File& file, HRESULT result) {
  // Whoever can't read a file is not helped by another view of it.
  if (file.readError != S_OK) return false;
  const MP4G::CMovieBox* movie = file.GetMovieBox();
  if (result < 0 || movie == nullptr) return true;
  // Tables of fragmented movies speak of no samples, and headers of no duration (8.8.1).
  return std::any_of(movie->children.begin(), movie->children.end(),
                     [](const MP4G::CBox* box) { return box->header->type == FourCc("mvex"); });
}

}  // namespace clipchain
