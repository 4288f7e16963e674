#include "workflow/merging/expected_file.h"

#include <limits>
#include <optional>
#include <utility>

#include "box/top_level_boxes.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "merge/movie_assembly.h"
#include "reader/box_reader.h"
#include "workflow/merging/moved_offsets.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

HRESULT Append(MP4G::CBox* box, std::vector<unsigned char>& bytes) {
  MP4G::CBoxReader reader(box);
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  RETURN_IF_NOT_OK(reader.GetData(&data, &size));
  bytes.insert(bytes.end(), data, data + size);
  return S_OK;
}

void AppendField(std::vector<unsigned char>& bytes, Number value, unsigned int size) {
  while (size-- > 0) bytes.push_back(static_cast<unsigned char>(value >> (8 * size)));
}

}  // namespace

HRESULT ExpectedFile::Take(std::unique_ptr<MP4G::CMp4File> input, const ClipView* view) {
  const long long begin =
      view != nullptr && input->mdatSize > 0 ? view->FilePosition(input->mdatPos) : input->mdatPos;
  const auto inFile = static_cast<Number>(begin);
  if (first_ == nullptr) return TakeFirst(std::move(input), inFile);
  merge_.nextMediaPos = Place(inFile, *input);
  return merge_.Merge(first_.get(), input.get());
}

HRESULT ExpectedFile::TakeFirst(std::unique_ptr<MP4G::CMp4File> input, Number inFile) {
  first_ = std::move(input);
  RETURN_IF(first_->GetFileTypeBox() == nullptr, E_BAD_DATA);
  headSize_ = static_cast<Number>(first_->GetFileTypeBox()->GetBoxSize()) + Layout::kPlaceholder +
              (layout_.block != 0 ? Layout::kBlockNote : 0);
  firstInFile_ = inFile;
  placement_ = MediaPlacement(layout_.block, headSize_);
  return merge_.ProcessFirstFile(first_.get(), Place(inFile, *first_));
}

long long ExpectedFile::Place(Number inFile, const MP4G::CMp4File& input) {
  const Number begin = placement_.Place(inFile, static_cast<Number>(input.mdatSize));
  media_.push_back({begin, placement_.End()});
  return static_cast<long long>(begin);
}

HRESULT ExpectedFile::Finish(const Fit* fit) {
  RETURN_IF(first_ == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(MP4G::CompleteMovie(first_->GetMovieBox()));
  RETURN_IF_NOT_OK(Append(first_->GetFileTypeBox(), head_));
  RETURN_IF_NOT_OK(Append(first_->GetMovieBox(), movie_));
  first_.reset();
  if (fit != nullptr) {
    std::optional<Bytes> complete = fit->Complete(movie_);
    RETURN_IF(!complete, E_BAD_DATA);
    movie_ = std::move(*complete);
  }
  if (layout_.movieInFront) RETURN_IF_NOT_OK(PutMovieInFront());
  return AppendMediaHeader();
}

// The farther the media moves, the larger the tables may become, which moves it farther: each table
// grows once at most.
HRESULT ExpectedFile::PutMovieInFront() {
  const std::vector<unsigned char> movie = std::move(movie_);
  for (Number size = movie.size();; size = movie_.size()) {
    RETURN_IF(size > std::numeric_limits<std::uint32_t>::max(), E_BAD_DATA);
    MediaPlacement placement(layout_.block, headSize_ + size);
    moved_ = placement.Place(firstInFile_, 0) - media_.front().begin;
    std::optional<Bytes> moved = WithMovedOffsets(movie, moved_);
    RETURN_IF(!moved, E_BAD_DATA);
    movie_ = std::move(*moved);
    if (movie_.size() == size) break;
  }
  head_.insert(head_.end(), movie_.begin(), movie_.end());
  for (MediaStretch& media : media_) {
    media.begin += moved_;
    media.end += moved_;
  }
  return S_OK;
}

// A short header of the media has an empty box in front, so that the media begins at one place.
HRESULT ExpectedFile::AppendMediaHeader() {
  const Number size = MediaEnd() - (head_.size() + Layout::kPlaceholder +
                                    (layout_.block != 0 ? Layout::kBlockNote : 0));
  if (layout_.block != 0) {
    AppendField(head_, Layout::kBlockNote, 4);
    AppendField(head_, FourCc("free"), 4);
    AppendField(head_, layout_.block, 4);
    AppendField(head_, 1, 4);
    AppendField(head_, FourCc("mdat"), 4);
    AppendField(head_, size + Layout::kPlaceholder, 8);
    return S_OK;
  }
  unsigned char header[MP4G::kMediaHeaderRoom] = {0, 0, 0, 8, 'f', 'r', 'e', 'e'};
  unsigned int used = 0;
  RETURN_IF_NOT_OK(MP4G::PutMediaHeader(size, header, &used));
  head_.insert(head_.end(), header, header + sizeof header);
  return S_OK;
}

}  // namespace clipchain
