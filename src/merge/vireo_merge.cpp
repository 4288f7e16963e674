#include "merge/vireo_merge.h"

#include "clip/vireo_mp4.h"

namespace MP4G {

namespace {

constexpr unsigned int kNoVolume = 0;  // a movie in memory was registered on none

}  // namespace

HRESULT CMergeForVireo::MergeVRFBBox(CMovieBox* first, CMovieBox* second) {
  CVireoMp4 appended(kNoVolume);
  const HRESULT result = appended.ParseMovieBox(second);
  if (result < 0) return appended.isVireoStream != 0 ? result : S_FALSE;
  // A soft result with identifiers comes from bytes behind them.
  RETURN_IF(appended.hasIDBox == 0, S_FALSE);
  CVireoMp4 merged(kNoVolume);
  return merged.RewriteNextID(first, appended.nextID);
}

}  // namespace MP4G
