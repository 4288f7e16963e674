#include "clip/vireo_mp4.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "box/data_boxes.h"
#include "box/header_boxes.h"
#include "clip/exif.h"
#include "clip/exif_library.h"
#include "clip/mp4_util.h"
#include "clip/timecode.h"
#include "clip/vendor_boxes.h"
#include "foundation/cursor.h"
#include "reader/mp4_file.h"
#include "reader/typed_views.h"

namespace MP4G {

namespace {

// Where the next identifier stands in a "VRFB" with the usual header, and where it ends.
constexpr unsigned int kNextIDOffset = 28;
constexpr unsigned int kNextIDEnd = kNextIDOffset + sizeof(QUIRVA::WireGuid);

// A JPEG stream (ISO/IEC 10918-1, annex B) that begins with Exif data (Exif 2.32, clause 4.5.4).
// What is not tested is not named.
struct ThumbnailHead {
  unsigned char startOfImage[2];
  unsigned char marker[2];
  unsigned char length[2];
  unsigned char name[4];
  unsigned char zeros[2];
};
static_assert(sizeof(ThumbnailHead) == 12);
constexpr unsigned char kSegmentMarker[] = {0xFF, 0xE1};
constexpr unsigned char kSegmentName[] = {'E', 'x', 'i', 'f'};

// "YYYY:MM:DD HH:MM:SS", with any separators.
struct DateText {
  unsigned char year[4];
  unsigned char separator1;
  unsigned char month[2];
  unsigned char separator2;
  unsigned char day[2];
  unsigned char separator3;
  unsigned char hour[2];
  unsigned char separator4;
  unsigned char minute[2];
  unsigned char separator5;
  unsigned char second[2];
};
static_assert(sizeof(DateText) == 19);

// The digits as they are, whether they are digits or not, cut to the field at the end: a blank date
// is an odd date, but not an unknown one.
template <class Field, std::size_t count>
Field Number(const unsigned char (&digits)[count]) {
  int value = 0;
  for (const unsigned char digit : digits) value = value * 10 + digit - '0';
  return static_cast<Field>(value);
}

_tagSequenceTimedate DateOf(const DateText& text) {
  return {Number<std::uint16_t>(text.year),  Number<std::uint8_t>(text.month),
          Number<std::uint8_t>(text.day),    Number<std::uint8_t>(text.hour),
          Number<std::uint8_t>(text.minute), Number<std::uint8_t>(text.second)};
}

// The camera's box, or null. Of several only the first counts.
CBox* FindVendorBox(const CMovieBox& movie) {
  const auto found =
      std::find_if(movie.children.begin(), movie.children.end(), [](const CBox* child) {
        return child != nullptr && child->header->type == FourCc("uuid") &&
               child->GetUsertype() == VIREO_CLIP_UUID;
      });
  return found != movie.children.end() ? *found : nullptr;
}

// Moves the cursor from the start of a box to its payload and gives the payload's length, with the
// codes of parsing it as a Box. That object's copy of the payload is not made: a first child may
// run past its container's end, so that many boxes overlap and each would copy most of the block.
template <class Box>
HRESULT EnterBox(const unsigned char*& in, unsigned int& rest, unsigned int& length) {
  const unsigned char* whole = in;
  unsigned int wholeRest = rest;
  CBox box;
  RETURN_IF_NOT_OK(box.Set8Byte(in, rest));
  if (box.header->size == 1) return Box().SetData(whole, wholeRest);  // refuses the 64-bit form
  RETURN_IF_NOT_OK(box.SetData(whole, wholeRest));
  length = box.restSize;
  return QUIRVA::Skip(in, rest, box.GetBoxBaseSize());
}

// Moves the cursor from the start of a "VRTH" to the payload of its first child.
HRESULT EnterThumbnail(const unsigned char*& in, unsigned int& rest, unsigned int& length) {
  RETURN_IF_NOT_OK(EnterBox<CVRTHBox>(in, rest, length));
  return EnterBox<CVRDABox>(in, rest, length);
}

// Moves the cursor from the start of a thumbnail's JPEG stream to its Exif data.
HRESULT SkipToExif(const unsigned char*& in, unsigned int& rest) {
  ThumbnailHead head;
  RETURN_IF_NOT_OK(QUIRVA::Take(in, rest, head));
  const bool isExif = std::memcmp(head.marker, kSegmentMarker, sizeof kSegmentMarker) == 0 &&
                      std::memcmp(head.name, kSegmentName, sizeof kSegmentName) == 0;
  return isExif ? S_OK : E_BAD_DATA;
}

}  // namespace

CVireoMp4::CVireoMp4(unsigned int volumeNumber) : volume(volumeNumber) {}

CVireoMp4::~CVireoMp4() = default;

void CVireoMp4::Reset() {
  ResetAtParse();
  ResetAtRewrite();
}

void CVireoMp4::ResetAtParse() {
  path.clear();
  fileSize = 0;
  uniqueID = {};
  nextID = {};
  preID = {};
  isVireoStream = 0;
  hasIDBox = 0;
  timedate = {};
  timecodeTrack.reset();
}

void CVireoMp4::ResetAtRewrite() {
  rewriteMode = 0;
  rewriteID = {};
}

HRESULT CVireoMp4::ParseFile(const wchar_t* file) {
  std::wstring given = file != nullptr ? file : L"";  // which may be this object's own
  ResetAtParse();
  CMp4File source;
  RETURN_IF_NOT_OK(source.SetFile(file != nullptr ? given.c_str() : nullptr));
  CMovieBox* movie = source.GetMovieBox();
  RETURN_IF(movie == nullptr, E_BAD_DATA);
  RETURN_IF_NOT_OK(ParseMovieBox(movie));
  path = std::move(given);
  fileSize = source.fileSize;
  return S_OK;
}

HRESULT CVireoMp4::ParseMovieBox(CMovieBox* movie) {
  RETURN_IF(movie == nullptr, E_POINTER);
  if (CBox* found = FindVendorBox(*movie); found != nullptr) {
    const auto* block = dynamic_cast<CDataMemBox*>(found);
    RETURN_IF(block == nullptr, E_UNEXPECTED);
    RETURN_IF_NOT_OK(ParseVireoUuidBoxChildrenData(block->data, block->dataSize));
  }
  if (timedate == _tagSequenceTimedate{}) timedate = ObtainMovieBoxTimedate(movie);
  return S_OK;
}

HRESULT CVireoMp4::RewriteNextID(CMovieBox* movie, _GUID id) {
  rewriteMode = 1;
  rewriteID = id;
  const HRESULT result = ParseMovieBox(movie);
  ResetAtRewrite();
  return result;
}

_tagSequenceTimedate CVireoMp4::ObtainMovieBoxTimedate(CMovieBox* movie) {
  const CMovieHeaderBox* header = CMovieBox_wr(movie).MovieHeaderBox();
  if (header == nullptr) return {};
  _tagSequenceTimedate date{};
  CMp4Util::TranslateIsomTime(header->CreationTime(), date.year, date.month, date.day, date.hour,
                              date.minute, date.second);
  return date;
}

HRESULT CVireoMp4::ParseVireoUuidBoxChildrenData(const unsigned char* bytes, unsigned int count) {
  // Of several thumbnails the last one tells the date. Each may run on over those behind it: to
  // read the date of every one would take far more time than the bytes of the block are worth.
  Thumbnail last;
  const HRESULT walked = WalkChildren(bytes, count, last);
  const HRESULT dated = TakeDate(last);
  return dated != S_OK ? dated : walked;
}

HRESULT CVireoMp4::TakeDate(Thumbnail& thumbnail) {
  if (thumbnail.bytes == nullptr) return S_OK;
  const Thumbnail taken = std::exchange(thumbnail, {});
  return ParseThumbnailData(taken.bytes, taken.length);
}

// Answers as reading the date does, without doing so.
HRESULT CVireoMp4::FindThumbnail(const unsigned char* bytes, unsigned int rest, Thumbnail& found) {
  unsigned int length = 0;
  RETURN_IF_NOT_OK(EnterThumbnail(bytes, rest, length));
  const Thumbnail thumbnail{bytes, length};
  RETURN_IF(SkipToExif(bytes, length) != S_OK, E_BAD_DATA);
  RETURN_IF_NOT_OK(EXIFL_CheckExifData(bytes, length));
  found = thumbnail;
  return S_OK;
}

// The size field of a child is no more than the step to the next one: it has no special values, and
// the parser of a known type is given all that is left of the block.
HRESULT CVireoMp4::WalkChildren(const unsigned char* bytes, unsigned int count, Thumbnail& last) {
  CBox peek;
  while (count != 0) {
    RETURN_IF_NOT_OK(peek.Set8Byte(bytes, count));
    switch (peek.header->type) {
      case FourCc("VRTH"):
        RETURN_IF_NOT_OK(FindThumbnail(bytes, count, last));
        break;
      case FourCc("VROP"):
        // What is written may belong to a thumbnail that was found.
        if (rewriteMode == 1) RETURN_IF_NOT_OK(TakeDate(last));
        RETURN_IF_NOT_OK(ParseVROPBox(bytes, count));
        break;
      case FourCc("VRCV"):
        RETURN_IF_NOT_OK(ParseVRCVBox(bytes, count));
        break;
      default:
        break;
    }
    const unsigned int step = std::min<unsigned int>(peek.header->size, count);
    RETURN_IF(step == 0, E_BAD_DATA);
    RETURN_IF_NOT_OK(QUIRVA::Skip(bytes, count, step));
  }
  return S_OK;
}

HRESULT CVireoMp4::ParseVRCVBox(const unsigned char* bytes, unsigned int rest) {
  RETURN_IF_NOT_OK(CVRCVBox::IsVireoStream(bytes, rest));
  isVireoStream = 1;
  return S_OK;
}

// A first child is whatever stands behind the header, up to the end of the enclosing block.
HRESULT CVireoMp4::ParseVRTHBox(const unsigned char* bytes, unsigned int rest) {
  unsigned int length = 0;
  RETURN_IF_NOT_OK(EnterThumbnail(bytes, rest, length));
  const HRESULT result = ParseThumbnailData(bytes, length);
  return result == S_FALSE ? E_BAD_DATA : result;
}

HRESULT CVireoMp4::ParseVROPBox(const unsigned char* bytes, unsigned int rest) {
  unsigned int length = 0;
  RETURN_IF_NOT_OK(EnterBox<CVROPBox>(bytes, rest, length));
  return ParseVRFBBox(bytes, rest);
}

HRESULT CVireoMp4::ParseVRFBBox(const unsigned char* bytes, unsigned int rest) {
  const unsigned char* in = bytes;
  unsigned int left = rest;
  CVRFBBox identifiers;
  RETURN_IF_NOT_OK(identifiers.SetData(in, left));
  uniqueID = identifiers.UniqueID();
  nextID = identifiers.NextID();
  preID = identifiers.PreID();
  if (rewriteMode == 1) {
    RETURN_IF(rest < kNextIDEnd, E_BAD_DATA);
    RETURN_IF_NOT_OK(QUIRVA::Skip(bytes, rest, kNextIDOffset));
    // The bytes are a box's own block, seen through the parsers' read-only cursor.
    unsigned char* out = const_cast<unsigned char*>(bytes);
    RETURN_IF_NOT_OK(QUIRVA::Put(out, rest, QUIRVA::GuidToBigEndian(rewriteID)));
    nextID = rewriteID;
  }
  hasIDBox = 1;
  return S_OK;
}

HRESULT CVireoMp4::ParseThumbnailData(const unsigned char* bytes, unsigned int count) {
  RETURN_IF_NOT_OK(SkipToExif(bytes, count));
  QUIRVA::CQvExif exif;
  RETURN_IF_NOT_OK(exif.InitLibrary());
  RETURN_IF_NOT_OK(exif.SetExifData(bytes, count));
  unsigned char block[EXIFL_DATE_BLOCK_SIZE] = {};
  RETURN_IF_NOT_OK(exif.GetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, block, sizeof block));

  const unsigned char* in = block;
  unsigned int left = sizeof block;
  DateText text;
  RETURN_IF_NOT_OK(QUIRVA::Skip(in, left, EXIFL_DATE_TEXT_OFFSET));
  RETURN_IF_NOT_OK(QUIRVA::Take(in, left, text));
  timedate = DateOf(text);
  return S_OK;
}

HRESULT CVireoMp4::CheckTimecodeContinuity(CVireoMp4* next) {
  RETURN_IF(next == nullptr, E_POINTER);
  const HRESULT own = ParseTimecodeTrack();
  const HRESULT others = next->ParseTimecodeTrack();
  const HRESULT both = own | others;
  RETURN_IF_NEGATIVE(both);
  RETURN_IF(both == S_FALSE, S_FALSE);
  RETURN_IF(timecodeTrack == nullptr, E_POINTER);
  return timecodeTrack->CheckTimecodeContinuity(next->timecodeTrack.get());
}

HRESULT CVireoMp4::ParseTimecodeTrack() {
  if (timecodeTrack != nullptr) return S_OK;
  timecodeTrack = std::make_unique<CTimecodeTrackPsr>();
  return timecodeTrack->ParseTimecodeTrack(path.c_str());
}

}  // namespace MP4G
