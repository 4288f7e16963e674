#include "workflow/findings/result_words.h"

#include "clip/exif_library.h"

namespace clipchain {

// The engine has one code for several reasons: the words name all of them, and nothing that only
// some are.
std::string InputWords(HRESULT result, bool first) {
  switch (result) {
    case S_FALSE:
      return "has a box that is shorter than what it must hold";
    case MP4G_E_INPUT_OPEN:
      return "can't be opened";
    case MP4G_E_INPUT_READ:
    case E_FAIL:
      return "can't be read to its end";
    case E_BAD_DATA:
      // The first clip is held against no other.
      return first ? "is no MP4 clip, or is damaged, cut short or without a movie box"
                   : "is no MP4 clip, is damaged or cut short, or lacks a kind of track that the "
                     "first clip has";
    case E_BAD_TYPE:
      return "is no MP4 clip, or has a box at its top level that no clip has there";
    case E_PENDING:
      return "has a box of more than 4 GiB beside its media";
    case MP4G_E_TRACK_COUNT:
      return "has another number of tracks than the first clip";
    case MP4G_E_TIME_SCALE:
      return "counts time in other units than the first clip";
    case MP4G_E_SAMPLE_DESCRIPTION:
    case MP4G_E_SAMPLE_TABLE:
      return "is encoded in another way than the first clip, or lists its samples in another form";
    case E_INVALIDARG:
      return "has an edit list where the first clip has none, or none where that has one";
    case E_OUTOFMEMORY:
      return "needs more memory than there is";
    default:
      return "can't be merged";
  }
}

std::string ClipWords(HRESULT result) {
  switch (result) {
    case E_HANDLE:
      return "can't be opened";
    case S_FALSE:
    case E_BAD_DATA:
    case E_BAD_TYPE:
    case E_PENDING:
    case E_OUTOFMEMORY:
      return InputWords(result, true);
    case EXIFL_ERR_DATA:
      return "has a thumbnail whose Exif data can't be read";
    default:
      return "can't be read";
  }
}

std::string OutputWords(HRESULT result) {
  return result == E_PENDING ? "can't be completed: its movie box would be larger than 4 GiB"
                             : "can't be completed: its movie box contradicts itself";
}

}  // namespace clipchain
