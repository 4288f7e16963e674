#include "merge/movie_assembly.h"

#include "box/top_level_boxes.h"
#include "foundation/fourcc.h"
#include "reader/box_reader.h"
#include "reader/movie_reader.h"

namespace MP4G {

namespace {

HRESULT GetBytes(CBox* box, std::vector<unsigned char>& bytes) {
  CBoxReader reader(box);
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  RETURN_IF_NOT_OK(reader.GetData(&data, &size));
  bytes.assign(data, data + size);
  return S_OK;
}

}  // namespace

// Both are tried whatever the first answers, and the codes are combined: callers know the sum of a
// double failure.
HRESULT CompleteMovie(CMovieBox* movie) {
  CMovieReader reader(movie);
  const HRESULT narrowed = reader.ConvertChunkLargeOffsetToChunkOffset();
  const HRESULT limited = reader.LimitTrackDurationUnderVideoDuration();
  RETURN_IF_NEGATIVE(narrowed | limited);
  return S_OK;
}

HRESULT PutMediaHeader(unsigned long long mediaSize, unsigned char (&room)[kMediaHeaderRoom],
                       unsigned int* size) {
  CMediaDataBox media;
  media.header->type = FourCc("mdat");
  media.SetMediaDataSize(mediaSize);
  *size = media.GetBoxBaseSize();
  unsigned char* out = room + kMediaHeaderRoom - *size;
  unsigned int rest = *size;
  return media.GetBoxBaseData(out, rest);
}

HRESULT CMovieAssembly::Take(CMp4File* input) {
  RETURN_IF(input == nullptr, E_POINTER);
  mediaSize_ += static_cast<unsigned long long>(input->mdatSize);
  if (first_ != nullptr) return merge_.Merge(first_, input);
  first_ = input;
  RETURN_IF(first_->GetFileTypeBox() == nullptr, E_BAD_DATA);
  return merge_.ProcessFirstFile(first_, HeadSize(*first_));
}

HRESULT CMovieAssembly::Finish(std::vector<unsigned char>& head,
                               std::vector<unsigned char>& movie) {
  RETURN_IF(first_ == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(CompleteMovie(first_->GetMovieBox()));
  RETURN_IF_NOT_OK(GetHead(head));
  return GetBytes(first_->GetMovieBox(), movie);
}

// A short header of the media has an empty box in front, so that the media begins at one place.
HRESULT CMovieAssembly::GetHead(std::vector<unsigned char>& bytes) const {
  RETURN_IF_NOT_OK(GetBytes(first_->GetFileTypeBox(), bytes));
  unsigned char room[kMediaHeaderRoom] = {0, 0, 0, 8, 'f', 'r', 'e', 'e'};
  unsigned int size = 0;
  RETURN_IF_NOT_OK(PutMediaHeader(mediaSize_, room, &size));
  bytes.insert(bytes.end(), room, room + sizeof room);
  return S_OK;
}

long long CMovieAssembly::HeadSize(const CMp4File& first) {
  const CFileTypeBox* fileType = first.GetFileTypeBox();
  return fileType != nullptr ? fileType->GetBoxSize() + kMediaHeaderRoom : 0;
}

}  // namespace MP4G
