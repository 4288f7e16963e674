#include "workflow/merging/expected_file.h"

#include <utility>

#include "box/top_level_boxes.h"
#include "foundation/fourcc.h"
#include "reader/box_reader.h"
#include "reader/movie_reader.h"

namespace clipchain {

namespace {

// Between the file type box and the media: room for either form of the media's header.
constexpr long long kPlaceholder = 16;

HRESULT Append(MP4G::CBox* box, std::vector<unsigned char>& bytes) {
  MP4G::CBoxReader reader(box);
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  RETURN_IF_NOT_OK(reader.GetData(&data, &size));
  bytes.insert(bytes.end(), data, data + size);
  return S_OK;
}

}  // namespace

HRESULT ExpectedFile::Take(std::unique_ptr<MP4G::CMp4File> input) {
  mediaSize_ += static_cast<unsigned long long>(input->mdatSize);
  if (first_ != nullptr) return merge_.Merge(first_.get(), input.get());
  first_ = std::move(input);
  RETURN_IF(first_->GetFileTypeBox() == nullptr, E_BAD_DATA);
  return merge_.ProcessFirstFile(first_.get(),
                                 first_->GetFileTypeBox()->GetBoxSize() + kPlaceholder);
}

HRESULT ExpectedFile::Finish() {
  RETURN_IF(first_ == nullptr, E_POINTER);
  MP4G::CMovieReader reader(first_->GetMovieBox());
  const HRESULT narrowed = reader.ConvertChunkLargeOffsetToChunkOffset();
  const HRESULT limited = reader.LimitTrackDurationUnderVideoDuration();
  RETURN_IF_NEGATIVE(narrowed | limited);
  RETURN_IF_NOT_OK(MakeHead());
  const HRESULT result = Append(first_->GetMovieBox(), movie_);
  first_.reset();
  return result;
}

// A short header of the media has an empty box in front, so that the media begins at one place.
HRESULT ExpectedFile::MakeHead() {
  RETURN_IF_NOT_OK(Append(first_->GetFileTypeBox(), head_));
  MP4G::CMediaDataBox media;
  media.header->type = FourCc("mdat");
  media.SetMediaDataSize(mediaSize_);
  unsigned char header[kPlaceholder] = {0, 0, 0, 8, 'f', 'r', 'e', 'e'};
  unsigned int rest = media.GetBoxBaseSize();
  unsigned char* out = header + (sizeof header - rest);
  RETURN_IF_NOT_OK(media.GetBoxBaseData(out, rest));
  head_.insert(head_.end(), header, header + sizeof header);
  return S_OK;
}

}  // namespace clipchain
