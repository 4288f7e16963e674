#include "workflow/evidence/media_clock_traits.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>

#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"
#include "workflow/evidence/track_samples.h"

namespace clipchain {

namespace {

constexpr std::uint32_t kMostText = 4096;
// A stamp is of the start or the end of its sample, and samples may be seconds apart.
constexpr Nanoseconds kWorst = 4 * kSecond;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes numbers off a text by a pattern: '0' stands for a digit, any other character for itself.
// Digits of one run make one number.
bool Match(std::string_view text, std::string_view pattern, int* numbers) {
  if (text.size() < pattern.size()) return false;
  int* number = numbers;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '0') {
      if (text[i] != pattern[i]) return false;
      continue;
    }
    if (!IsDigit(text[i])) return false;
    if (i == 0 || pattern[i - 1] != '0') *number++ = 0;
    number[-1] = number[-1] * 10 + (text[i] - '0');
  }
  return true;
}

// What stands behind a point in front of `rest`, in billionths.
Nanoseconds Fraction(std::string_view rest) {
  if (rest.empty() || rest.front() != '.') return 0;
  Nanoseconds sum = 0;
  Nanoseconds unit = kSecond / 10;
  for (std::size_t i = 1; i < rest.size() && IsDigit(rest[i]); ++i, unit /= 10)
    sum += unit * (rest[i] - '0');
  return sum;
}

std::optional<Nanoseconds> Moment(int year, int month, int day, int hour, int minute, int second,
                                  Nanoseconds fraction) {
  using namespace std::chrono;
  const year_month_day date{std::chrono::year(year),
                            std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  const bool isTime = hour < 24 && minute < 60 && second <= 60;
  if (!date.ok() || !isTime || year < 1980 || year > 2200) return std::nullopt;
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return ((days * 24 + hour) * 3600 + minute * 60 + second) * kSecond + fraction;
}

std::optional<Nanoseconds> IsoMoment(std::string_view text) {
  int n[6] = {};
  if (!Match(text, "0000-00-00T00:00:00", n) && !Match(text, "0000-00-00 00:00:00", n))
    return std::nullopt;
  return Moment(n[0], n[1], n[2], n[3], n[4], n[5], Fraction(text.substr(19)));
}

// "$GPRMC,123519.00,A,4807.038,N,01131.000,E,022.4,084.4,230394,…": the time stands behind the
// first comma, the date behind the ninth.
std::optional<Nanoseconds> NmeaMoment(std::string_view text) {
  if (text.size() < 7 || text[0] != '$' || text.substr(3, 4) != "RMC,") return std::nullopt;
  const std::string_view time = text.substr(7);
  std::string_view date = text;
  for (int i = 0; i < 9; ++i) {
    const std::size_t comma = date.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    date.remove_prefix(comma + 1);
  }
  int clock[1] = {};
  int calendar[1] = {};
  if (!Match(time, "000000", clock) || !Match(date, "000000", calendar)) return std::nullopt;
  return Moment(2000 + calendar[0] % 100, calendar[0] / 100 % 100, calendar[0] / 10000,
                clock[0] / 10000, clock[0] / 100 % 100, clock[0] % 100, Fraction(time.substr(6)));
}

bool MayNoteTimes(const RawBox& track) {
  switch (TrackKind(track)) {
    case FourCc("meta"):
    case FourCc("text"):
    case FourCc("sbtl"):
    case FourCc("subt"):
      return true;
    default:
      return false;
  }
}

}  // namespace

std::optional<Nanoseconds> MomentIn(std::string_view text) {
  for (; text.size() >= 19; text.remove_prefix(1)) {
    if (text.front() != '$' && !IsDigit(text.front())) continue;
    if (const auto moment = text.front() == '$' ? NmeaMoment(text) : IsoMoment(text)) return moment;
  }
  return std::nullopt;
}

std::optional<MediaClockTraits> MediaClockOf(const ClipFile& clip, const RawBox& movie,
                                             Nanoseconds length) {
  for (const RawBox& track : movie.children) {
    if (track.type != FourCc("trak") || !MayNoteTimes(track)) continue;
    const auto samples = TrackSamples::Of(track);
    if (!samples || samples->Count() < 2) continue;
    const auto moment = [&](std::uint32_t index) {
      const std::vector<unsigned char> data = samples->Read(clip, index, kMostText);
      return MomentIn(std::string(data.begin(), data.end()));
    };
    const auto first = moment(0);
    const auto last = moment(samples->Count() - 1);
    if (!first || !last || *last <= *first) continue;
    if (std::abs(*last - *first - length) <= kWorst) return MediaClockTraits{*first, *last};
  }
  return std::nullopt;
}

}  // namespace clipchain
