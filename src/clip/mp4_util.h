// Conversions between the file format's time and calendar fields. The calendar is the Gregorian one
// carried back to year 0, which is a leap year; no time zones and no leap seconds.
#pragma once

#include <cstdint>

namespace MP4G {

class CMp4Util {
 public:
  CMp4Util() = delete;

  // `time` counts seconds since the start of 1904 (ISO/IEC 14496-12, clause 8.2.2). Every value has
  // an answer: the time since year 0 wraps at 64 bits, and `year` keeps the low 16 bits of the
  // year.
  static void TranslateIsomTime(unsigned long long time, unsigned short& year, unsigned char& month,
                                unsigned char& day, unsigned char& hour, unsigned char& minute,
                                unsigned char& second);

  // Seconds since the start of year 0, as a key to sort by. No field is checked: a month outside 1
  // to 12 counts as January and day 0 as day 1; 0 for all zero.
  static std::uint64_t CalcurateTimeFromEra(unsigned short year, unsigned char month,
                                            unsigned char day, unsigned char hour,
                                            unsigned char minute, unsigned char second);
};

}  // namespace MP4G
