#include "workflow/findings/clip_words.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

#include "foundation/strings.h"

namespace clipchain {

namespace {

std::string DateText(const MP4G::_tagSequenceTimedate& date, char between) {
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", date.year, date.month, date.day,
                     between, date.hour, date.minute, date.second);
}

}  // namespace

std::string DateWords(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  return date ? DateText(*date, ' ') : "unknown";
}

std::string IsoDate(const MP4G::_tagSequenceTimedate& date) { return DateText(date, 'T'); }

std::string GuidWords(const _GUID& id) { return id == _GUID{} ? "none" : QUIRVA::GuidText(id); }

std::string DurationWords(long long ticks, unsigned int timeScale) {
  return timeScale != 0 ? fmt::format("{:.3f} s", static_cast<double>(ticks) / timeScale)
                        : "unknown";
}

std::string FormatBytes(long long bytes) {
  // As disks are sold: 1 kB is 1000 bytes.
  static constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB", "PB"};
  if (bytes < 1000) return fmt::format("{} B", bytes);
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  // What would round up to 1000.0 takes the next unit.
  while (value >= 999.95 && unit + 1 < std::size(kUnits)) {
    value /= 1000;
    ++unit;
  }
  return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string SpanWords(const std::optional<double>& seconds) {
  if (!seconds) return "unknown length";
  // As it is rounded: "60.0 s" would be a minute.
  if (*seconds < 59.95) return fmt::format("{:.1f} s", *seconds);
  const double whole = std::floor(*seconds + 0.5);
  if (whole < 3600)
    return fmt::format("{:.0f} min {:.0f} s", std::floor(whole / 60), std::fmod(whole, 60));
  if (whole < 86400)
    return fmt::format("{:.0f} h {:.0f} min", std::floor(whole / 3600),
                       std::floor(std::fmod(whole, 3600) / 60));
  return fmt::format("{:.0f} d {:.0f} h", std::floor(whole / 86400),
                     std::floor(std::fmod(whole, 86400) / 3600));
}

std::string Counted(std::size_t number, std::string_view what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

const char* StateWords(bool identified, bool closedAtHead, bool closedAtTail) {
  // A clip that names no neighbours lacks none, and yet nobody knows whether it is all.
  if (!identified && closedAtHead && closedAtTail) return "unidentified";
  if (closedAtHead) return closedAtTail ? "complete" : "open at tail";
  return closedAtTail ? "open at head" : "open at both ends";
}

}  // namespace clipchain
