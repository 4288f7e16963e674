// Puts what clips say into words.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "clip/vireo_mp4.h"
#include "foundation/guid.h"

namespace clipchain {

// "2024-05-06 07:08:09"; "unknown" without a date.
std::string DateWords(const std::optional<MP4G::_tagSequenceTimedate>& date);
// "2024-05-06T07:08:09", as programs read it.
std::string IsoDate(const MP4G::_tagSequenceTimedate& date);
// "none" for zero.
std::string GuidWords(const _GUID& id);
// "2.560 s"; "unknown" without a scale.
std::string DurationWords(long long ticks, unsigned int timeScale);
// A number of bytes: "999 B", "1.5 kB", "12.0 GB".
std::string FormatBytes(long long bytes);
// "2.6 s", "12 min 4 s", "3 h 5 min", "2 d 4 h"; "unknown length" for nothing.
std::string SpanWords(const std::optional<double>& seconds);
// "1 clip", "2 clips".
std::string Counted(std::size_t number, std::string_view what);
// "complete", "open at head", "open at tail", "open at both ends"; "unidentified" for what has no
// identifiers and therefore no ends that anybody knows.
const char* StateWords(bool identified, bool closedAtHead, bool closedAtTail);

}  // namespace clipchain
