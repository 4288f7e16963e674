#include "clip/timecode.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <vector>

#include "box/sample_entries.h"
#include "foundation/buffers.h"
#include "foundation/qv_file.h"
#include "reader/mp4_file.h"
#include "reader/sample_table_reader.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"

namespace QUIRVA {

namespace {

constexpr std::uint8_t kInASecond = 60;  // and in an hour
constexpr std::uint8_t kHoursOfADay = 24;

std::uint32_t Packed(const _tagSMPTE_TIME_CODE& timecode) {
  return static_cast<std::uint32_t>(timecode.hours) << 24 |
         static_cast<std::uint32_t>(timecode.minutes) << 16 |
         static_cast<std::uint32_t>(timecode.seconds) << 8 | timecode.frames;
}

// One more, in 8 bits.
std::uint8_t Plus1(std::uint8_t value) { return static_cast<std::uint8_t>(value + 1); }

}  // namespace

CTimecodeCalc::CTimecodeCalc() { ResetClass(); }

void CTimecodeCalc::ResetClass() {
  numberOfFrames = 0;
  dropFrame = 0;
}

// On the packed numbers, not on a count of frames: the last frame of a second and the first of the
// next are never neighbours here.
signed char CTimecodeCalc::CheckContinuity(_tagSMPTE_TIME_CODE first,
                                           _tagSMPTE_TIME_CODE second) const {
  const std::uint32_t a = Packed(first);
  const std::uint32_t b = Packed(second);
  return std::max(a, b) - std::min(a, b) < 2 ? 1 : 0;
}

void CTimecodeCalc::IncreaseTimecode(_tagSMPTE_TIME_CODE& timecode) const {
  timecode.frames = Plus1(timecode.frames);
  if (timecode.frames <= numberOfFrames) return;
  timecode.frames = 0;
  timecode.seconds = Plus1(timecode.seconds);
  if (timecode.seconds % kInASecond != 0) return;
  timecode.seconds = 0;
  timecode.minutes = Plus1(timecode.minutes);
  if (timecode.minutes % kInASecond == 0) {
    timecode.minutes = 0;
    timecode.hours = Plus1(timecode.hours);
    if (timecode.hours % kHoursOfADay != 0) timecode.hours = 0;
  }
  if (dropFrame == 1 && timecode.minutes % 10 != 0) timecode.frames = 2;
}

}  // namespace QUIRVA

namespace MP4G {

QUIRVA::_tagSMPTE_TIME_CODE transcodeTimecode(const _tagTIME_CODE_SAMPLE& sample) {
  return {static_cast<std::uint8_t>(sample.signAndMinutes >> 7), sample.hours,
          static_cast<std::uint8_t>(sample.signAndMinutes & 0x7F), sample.seconds, sample.frames};
}

CTimecodeTrackPsr::CTimecodeTrackPsr() { ResetClass(); }

void CTimecodeTrackPsr::ResetClass() {
  trackID = 0;
  dropFrame = 0;
  numberOfFrames = 0;
  firstSample = {};
  lastSample = {};
  movieBox = nullptr;
}

void CTimecodeTrackPsr::ResetAtParse() { ResetClass(); }

HRESULT CTimecodeTrackPsr::ParseTimecodeTrack(const wchar_t* file) {
  ResetAtParse();
  CMp4File source;
  RETURN_IF_NEGATIVE(source.SetFile(file));
  path = file;
  movieBox = source.GetMovieBox();
  const HRESULT result = ParseTimecodeTrackImpl();
  path.clear();
  movieBox = nullptr;
  return result;
}

HRESULT CTimecodeTrackPsr::CheckTimecodeContinuity(CTimecodeTrackPsr* next) {
  RETURN_IF(next == nullptr, E_POINTER);
  QUIRVA::CTimecodeCalc calculator;
  calculator.numberOfFrames = numberOfFrames;
  calculator.dropFrame = dropFrame;
  return calculator.CheckContinuity(transcodeTimecode(lastSample),
                                    transcodeTimecode(next->firstSample)) == 1
             ? S_OK
             : S_FALSE;
}

HRESULT CTimecodeTrackPsr::ParseTimecodeTrackImpl() {
  const CMovieBox_wr movie(movieBox);
  const std::vector<CTrackBox*> tracks = movie.TracksByID();
  // Tracks that share an identifier all lead to the first of them, which is asked once.
  std::unordered_set<const CTrackBox*> asked;
  const auto track = std::find_if(tracks.begin(), tracks.end(), [&asked](CTrackBox* candidate) {
    return asked.insert(candidate).second &&
           CTrackReader(candidate).GetSampleEntryType() == FourCc("tmcd");
  });
  RETURN_IF(track == tracks.end(), S_FALSE);
  trackID = CTrackReader(*track).GetTrackID();

  CSampleTableBox* table = movie.SampleTableBox(trackID);
  const CTimecodeSampleDescription* description =
      CSampleTableBox_wr(table).TimecodeSampleDescription(0);
  RETURN_IF(description == nullptr, E_BAD_DATA);
  dropFrame = description->record->flags & 1;
  numberOfFrames = description->record->numberOfFrames;
  const unsigned int count = CSampleTableReader(table).GetSampleNum();
  RETURN_IF(count == 0, E_BAD_DATA);

  QUIRVA::QvFile file;
  RETURN_IF_NEGATIVE(file.Open(path.c_str(), QUIRVA::QvFile::kRead));
  const HRESULT first = ParseTimecodeSample(&file, 0, &firstSample);
  const HRESULT last = ParseTimecodeSample(&file, count - 1, &lastSample);
  return first | last;
}

HRESULT CTimecodeTrackPsr::ParseTimecodeSample(QUIRVA::QvFile* file, unsigned int index,
                                               _tagTIME_CODE_SAMPLE* sample) {
  RETURN_IF(file == nullptr || sample == nullptr, E_POINTER);
  const CSampleTableReader table(CMovieBox_wr(movieBox).SampleTableBox(trackID));
  long long position = 0;
  unsigned int length = 0;
  RETURN_IF_NEGATIVE(table.SampleIndexToPosSize(index, &position, &length));
  RETURN_IF(length == 0, E_UNEXPECTED);
  RETURN_IF_NEGATIVE(file->Seek(position, QUIRVA::QvFile::kFromStart));

  // A sample may claim more than the file has; what is not there stays 0.
  const unsigned int wanted = std::min<unsigned int>(length, sizeof *sample);
  long long fileSize = 0;
  RETURN_IF_NEGATIVE(file->GetFileSize(&fileSize));
  const long long there = std::clamp<long long>(fileSize - position, wanted, length);
  QUIRVA::CSimpleBuffer buffer;
  RETURN_IF_NEGATIVE(buffer.SetSize(static_cast<unsigned long long>(there)));
  RETURN_IF_NEGATIVE(file->Read(buffer.GetData(), buffer.GetSize(), nullptr));
  std::memcpy(sample, buffer.GetData(), wanted);
  return S_OK;
}

}  // namespace MP4G
