#include "merge/movie_assembly.h"

#include <algorithm>
#include <iterator>

#include "box/top_level_boxes.h"
#include "foundation/fourcc.h"
#include "reader/box_reader.h"
#include "reader/movie_reader.h"

namespace MP4G {

// Both are tried whatever the first answers, and the codes are combined: callers know the sum of a
// double failure.
HRESULT CompleteMovie(CMovieBox* movie) {
  CMovieReader reader(movie);
  const HRESULT narrowed = reader.ConvertChunkLargeOffsetToChunkOffset();
  const HRESULT limited = reader.LimitTrackDurationUnderVideoDuration();
  RETURN_IF_NEGATIVE(narrowed | limited);
  return S_OK;
}

HRESULT FillMediaRoom(unsigned long long mediaSize, unsigned char (&room)[kMediaHeaderRoom],
                      unsigned int* headerSize) {
  constexpr unsigned char kEmptyBox[] = {0, 0, 0, 8, 'f', 'r', 'e', 'e'};
  std::copy(std::begin(kEmptyBox), std::end(kEmptyBox), room);
  CMediaDataBox media;
  media.header->type = FourCc("mdat");
  media.SetMediaDataSize(mediaSize);
  *headerSize = media.GetBoxBaseSize();
  unsigned char* out = room + kMediaHeaderRoom - *headerSize;
  unsigned int rest = *headerSize;
  return media.GetBoxBaseData(out, rest);
}

HRESULT CMovieAssembly::Take(CMp4File* input, long long mediaPosition) {
  RETURN_IF(input == nullptr, E_POINTER);
  if (first_ != nullptr) {
    merge_.nextMediaPos = mediaPosition;
    return merge_.Merge(first_, input);
  }
  first_ = input;
  RETURN_IF(first_->GetFileTypeBox() == nullptr, E_BAD_DATA);
  return merge_.ProcessFirstFile(first_, mediaPosition);
}

HRESULT CMovieAssembly::Finish(std::vector<unsigned char>& fileType,
                               std::vector<unsigned char>& movie) {
  RETURN_IF(first_ == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(CompleteMovie(first_->GetMovieBox()));
  RETURN_IF_NOT_OK(CBoxReader(first_->GetFileTypeBox()).GetData(fileType));
  return CBoxReader(first_->GetMovieBox()).GetData(movie);
}

long long CMovieAssembly::HeadSize(const CMp4File& first) {
  const CFileTypeBox* fileType = first.GetFileTypeBox();
  return fileType != nullptr ? fileType->GetBoxSize() + kMediaHeaderRoom : 0;
}

}  // namespace MP4G
