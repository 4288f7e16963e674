// Tells when a clip was recorded, if it says so.
#pragma once

#include <optional>

#include "clip/vireo_mp4.h"

namespace clipchain {

// Nothing for what is written where there is no clock: nothing at all, or the start of the time
// that the format counts (ISO/IEC 14496-12, clause 8.2.2).
inline std::optional<MP4G::_tagSequenceTimedate> KnownDate(const MP4G::_tagSequenceTimedate& date) {
  constexpr MP4G::_tagSequenceTimedate kStartOfTime{1904, 1, 1, 0, 0, 0};
  if (date == MP4G::_tagSequenceTimedate{} || date == kStartOfTime) return std::nullopt;
  return date;
}

}  // namespace clipchain
