// One analysed clip: what a camera wrote into a file about its place in a recording.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "box/top_level_boxes.h"
#include "foundation/guid.h"
#include "foundation/result.h"

namespace MP4G {

class CTimecodeTrackPsr;

// A calendar date and time of day, in no particular time zone. All zero: no date is known. Nothing
// checks the fields.
struct _tagSequenceTimedate {
  std::uint16_t year;
  std::uint8_t month;  // 1 to 12
  std::uint8_t day;    // of the month, from 1
  std::uint8_t hour;
  std::uint8_t minute;
  std::uint8_t second;

  bool operator==(const _tagSequenceTimedate&) const = default;
};

// A camera splits a recording over files and marks each one with its own identifier and those of
// its neighbours, in a "uuid" box of the movie box. This is the record of one such file; it keeps
// neither the file open nor its boxes. A file without the camera's box is a clip too: its
// identifiers are zero and its date is the movie header's.
//
// A parse that fails leaves the fields as far as it got; the next one clears them first.
class CVireoMp4 {
 public:
  explicit CVireoMp4(unsigned int volumeNumber);
  virtual ~CVireoMp4();
  CVireoMp4(const CVireoMp4&) = delete;
  CVireoMp4& operator=(const CVireoMp4&) = delete;

  // Analyses a file. S_FALSE, like any failure, means that it did not parse: a box of the camera's
  // is shorter than it must be. E_BAD_DATA: the bytes contradict themselves, or there is no movie
  // box. Codes of the file, of the Exif layer (clip/exif_library.h) and of ParseMovieBox come
  // through.
  [[nodiscard]] HRESULT ParseFile(const wchar_t* path);
  // Analyses a movie box that stays the caller's. E_UNEXPECTED: the camera's box was made as
  // another class than CDataMemBox.
  [[nodiscard]] HRESULT ParseMovieBox(CMovieBox* movie);
  // Overwrites the next identifier in the camera's box of `movie`: in the block that is written out
  // with it, without a change of any size. Analyses the whole movie box on the way, and its failure
  // is the result. A movie without that identifier is S_OK and stays as it is.
  [[nodiscard]] HRESULT RewriteNextID(CMovieBox* movie, _GUID id);

  // Whether the timecode of `next` runs straight on from this clip's: S_OK, or S_FALSE if it does
  // not or a clip has no timecode track. Opens the files again at the first check of each.
  [[nodiscard]] HRESULT CheckTimecodeContinuity(CVireoMp4* next);
  // Reads the timecode track, once: every call but the first is S_OK, whatever that one gave.
  [[nodiscard]] HRESULT ParseTimecodeTrack();

  // The creation time of the movie header (ISO/IEC 14496-12, clause 8.2.2), which is in UTC. All
  // zero for null or without that header.
  static _tagSequenceTimedate ObtainMovieBoxTimedate(CMovieBox* movie);

  void Reset();
  void ResetAtParse();    // everything but `volume` and the rewrite
  void ResetAtRewrite();  // the rewrite alone

  // The camera's boxes. Each takes the bytes from the box's first one and how many of the enclosing
  // block are left from there on. S_FALSE: too few.
  //
  // The run of boxes that is the payload of the "uuid" box.
  [[nodiscard]] HRESULT ParseVireoUuidBoxChildrenData(const unsigned char* bytes,
                                                      unsigned int count);
  [[nodiscard]] HRESULT ParseVRCVBox(const unsigned char* bytes, unsigned int rest);
  [[nodiscard]] HRESULT ParseVRTHBox(const unsigned char* bytes, unsigned int rest);
  [[nodiscard]] HRESULT ParseVROPBox(const unsigned char* bytes, unsigned int rest);
  [[nodiscard]] HRESULT ParseVRFBBox(const unsigned char* bytes, unsigned int rest);
  // The JPEG stream of the thumbnail: takes the date out of its Exif data.
  [[nodiscard]] HRESULT ParseThumbnailData(const unsigned char* bytes, unsigned int count);

  const std::uint32_t volume;       // number of the volume that the clip was registered on
  std::wstring path;                // of the last file that parsed
  long long fileSize = 0;           // in bytes
  _GUID uniqueID{};                 // this clip
  _GUID nextID{};                   // the clip that follows; zero if none does
  _GUID preID{};                    // the clip that precedes; zero if none does
  std::uint8_t isVireoStream = 0;   // 1: the maker's stream marker was seen
  std::uint8_t hasIDBox = 0;        // 1: the identifiers were read
  _tagSequenceTimedate timedate{};  // of the recording, in the camera's local time if it says so
  std::uint8_t rewriteMode = 0;     // 1 only during RewriteNextID
  _GUID rewriteID{};                // what RewriteNextID writes
  std::unique_ptr<CTimecodeTrackPsr> timecodeTrack;  // null until the first continuity check

 private:
  // The JPEG stream of a thumbnail whose date was not read yet.
  struct Thumbnail {
    const unsigned char* bytes = nullptr;
    unsigned int length = 0;
  };

  [[nodiscard]] HRESULT WalkChildren(const unsigned char* bytes, unsigned int count,
                                     Thumbnail& last);
  [[nodiscard]] static HRESULT FindThumbnail(const unsigned char* bytes, unsigned int rest,
                                             Thumbnail& found);
  [[nodiscard]] HRESULT TakeDate(Thumbnail& thumbnail);
};

}  // namespace MP4G
