// The timecode of a clip's first and last moment, and how it runs on.
#pragma once

#include <cstdint>
#include <string>

#include "box/top_level_boxes.h"
#include "foundation/result.h"

namespace QUIRVA {

class QvFile;

// A timecode, field by field.
struct _tagSMPTE_TIME_CODE {
  std::uint8_t sign;  // 1: negative
  std::uint8_t hours;
  std::uint8_t minutes;
  std::uint8_t seconds;
  std::uint8_t frames;

  bool operator==(const _tagSMPTE_TIME_CODE&) const = default;
};

// Arithmetic on timecodes of one track.
class CTimecodeCalc {
 public:
  CTimecodeCalc();
  virtual ~CTimecodeCalc() = default;

  void ResetClass();
  // 1 if both are equal or differ by one frame of the same second, in either direction, else 0.
  // The sign and the two fields play no part.
  signed char CheckContinuity(_tagSMPTE_TIME_CODE first, _tagSMPTE_TIME_CODE second) const;
  // Steps by one frame. A second runs up to and including frame `numberOfFrames`; a carry into the
  // hours keeps an hour that is then a multiple of 24 and turns every other one into 0.
  void IncreaseTimecode(_tagSMPTE_TIME_CODE& timecode) const;

  std::uint8_t numberOfFrames;  // in a second
  std::uint8_t dropFrame;       // 1: frames 0 and 1 are left out of most minutes
};

}  // namespace QUIRVA

namespace MP4G {

// A sample of a "tmcd" track, as it stands in the file.
struct _tagTIME_CODE_SAMPLE {
  std::uint8_t hours;
  std::uint8_t signAndMinutes;  // bit 7: the sign
  std::uint8_t seconds;
  std::uint8_t frames;
};
static_assert(sizeof(_tagTIME_CODE_SAMPLE) == 4);

QUIRVA::_tagSMPTE_TIME_CODE transcodeTimecode(const _tagTIME_CODE_SAMPLE& sample);

// The first and the last sample of a file's timecode track. What was read before a failure stays;
// the rest is zero.
class CTimecodeTrackPsr {
 public:
  CTimecodeTrackPsr();
  virtual ~CTimecodeTrackPsr() = default;
  CTimecodeTrackPsr(const CTimecodeTrackPsr&) = delete;
  CTimecodeTrackPsr& operator=(const CTimecodeTrackPsr&) = delete;

  // Reads the first track whose samples are timecodes. S_FALSE: the file has none. E_BAD_DATA: the
  // track has no description or no samples. E_UNEXPECTED: a sample of no bytes. Where both samples
  // fail the code is the two codes combined by OR.
  [[nodiscard]] HRESULT ParseTimecodeTrack(const wchar_t* path);
  // Whether the first timecode of `next` follows on the last of this: S_OK or S_FALSE. E_POINTER
  // for null.
  [[nodiscard]] HRESULT CheckTimecodeContinuity(CTimecodeTrackPsr* next);

  // Both zero everything but `path`.
  void ResetClass();
  void ResetAtParse();

  // The steps within ParseTimecodeTrack, while `path` and `movieBox` are set.
  [[nodiscard]] HRESULT ParseTimecodeTrackImpl();
  // Reads the start of sample `index`, from 0. Of a sample of less than 4 bytes the others stay as
  // they were; bytes that the file does not have are 0.
  [[nodiscard]] HRESULT ParseTimecodeSample(QUIRVA::QvFile* file, unsigned int index,
                                            _tagTIME_CODE_SAMPLE* sample);

  std::wstring path;            // filled only while the track is parsed
  std::uint32_t trackID;        // of the timecode track
  std::uint8_t dropFrame;       // the lowest bit of the track's flags
  std::uint8_t numberOfFrames;  // in a second
  _tagTIME_CODE_SAMPLE firstSample;
  _tagTIME_CODE_SAMPLE lastSample;
  CMovieBox* movieBox;  // not owned; set only while the track is parsed
};

}  // namespace MP4G
