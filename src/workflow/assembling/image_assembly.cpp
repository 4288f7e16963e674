#include "workflow/assembling/image_assembly.h"

#include <iterator>
#include <limits>
#include <optional>

#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "workflow/assembling/moved_offsets.h"
#include "workflow/assembling/protection_places.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

void AppendField(Bytes& bytes, Number value, unsigned int size) {
  while (size-- > 0) bytes.push_back(static_cast<unsigned char>(value >> (8 * size)));
}

}  // namespace

bool ImageAssembly::IsCutOff(const MP4G::CMp4File& input) {
  return input.mdatSize < 0 || input.mdatPos > input.fileSize ||
         input.mdatSize > input.fileSize - input.mdatPos;
}

HRESULT ImageAssembly::Take(MP4G::CMp4File& input, const ClipView* view) {
  cutOff_ = cutOff_ || IsCutOff(input);
  isAdapted_ = isAdapted_ || view != nullptr;
  const bool isInView = view != nullptr && input.mdatSize > 0;
  // Blocks are shared where media lies at the same place modulo a block as in the file of the clip,
  // wherever its view shows it.
  const auto inFile =
      static_cast<Number>(isInView ? view->FilePosition(input.mdatPos) : input.mdatPos);
  if (media_.empty()) {
    // The result begins with the file type box of the first clip, so that its media can lie nowhere
    // before that clip is here.
    const auto head = static_cast<Number>(MP4G::CMovieAssembly::HeadSize(input));
    placement_ = MediaPlacement(layout_.block, head + NoteSize());
    firstInFile_ = inFile;
  }
  const Number begin = placement_.Place(inFile, static_cast<Number>(input.mdatSize));
  media_.push_back({begin, RangesOf(input, view)});
  return assembly_.Take(&input, static_cast<long long>(begin));
}

std::vector<ImageAssembly::Range> ImageAssembly::RangesOf(const MP4G::CMp4File& input,
                                                          const ClipView* view) {
  if (view == nullptr) return {{input.mdatPos, input.mdatSize}};
  std::vector<Range> ranges;
  for (const auto& [place, size] : view->PlacesOf(input.mdatPos, input.mdatSize)) {
    // A view may be put together of pieces that follow each other in the file: only whole blocks of
    // one range can be shared, and each range is a read of its own.
    const bool continues = !ranges.empty() && place != Range::kNowhere &&
                           ranges.back().position != Range::kNowhere &&
                           ranges.back().position + ranges.back().size == place;
    if (continues) {
      ranges.back().size += size;
    } else {
      ranges.push_back({place, size});
    }
  }
  return ranges;
}

HRESULT ImageAssembly::CompleteMovie(Bytes& movie) { return assembly_.Finish(head_, movie); }

HRESULT ImageAssembly::Finish(Bytes movie, MergeImage& image) {
  RETURN_IF(cutOff_, MP4G_E_INPUT_READ);
  if (layout_.movieInFront) RETURN_IF_NOT_OK(PutMovieInFront(std::move(movie)));
  RETURN_IF_NOT_OK(AppendMediaHeader());
  image = {};
  image.Add(std::exchange(head_, {}));
  AddMedia(image);
  if (layout_.movieInFront) return S_OK;
  if (isAdapted_) PlaceProtection(movie, image.size);
  image.Add(std::move(movie));
  return S_OK;
}

// The farther the media moves, the larger the tables may become, which moves it farther: each table
// grows once at most.
HRESULT ImageAssembly::PutMovieInFront(Bytes movie) {
  const Number behind = MP4G::kMediaHeaderRoom + NoteSize();
  for (Number size = 0; movie.size() != size;) {
    size = movie.size();
    RETURN_IF(size > std::numeric_limits<std::uint32_t>::max(), E_BAD_DATA);
    MediaPlacement placement(layout_.block, head_.size() + size + behind);
    const Number moved = placement.Place(firstInFile_, 0) - media_.front().begin;
    RETURN_IF(!MoveOffsets(movie, moved - std::exchange(moved_, moved)), E_BAD_DATA);
  }
  if (isAdapted_) PlaceProtection(movie, head_.size());
  head_.reserve(head_.size() + movie.size() + behind);
  head_.insert(head_.end(), movie.begin(), movie.end());
  return S_OK;
}

// What the first clip's media was moved by, to lie as it does in its file, is media of the box.
HRESULT ImageAssembly::AppendMediaHeader() {
  const Number begin = head_.size() + MP4G::kMediaHeaderRoom + NoteSize();
  const Number size = placement_.End() + moved_ - begin;
  if (layout_.block != 0) {
    AppendField(head_, Layout::kBlockNote, 4);
    AppendField(head_, FourCc("free"), 4);
    AppendField(head_, layout_.block, 4);
    // The size of 64 bits behind the type counts (ISO/IEC 14496-12, clause 4.2). However small the
    // box is: where its media begins must not depend on how much there is.
    AppendField(head_, 1, 4);
    AppendField(head_, FourCc("mdat"), 4);
    AppendField(head_, size + MP4G::kMediaHeaderRoom, 8);
    return S_OK;
  }
  unsigned char room[MP4G::kMediaHeaderRoom];
  unsigned int used = 0;
  RETURN_IF_NOT_OK(MP4G::FillMediaRoom(size, room, &used));
  head_.insert(head_.end(), std::begin(room), std::end(room));
  return S_OK;
}

void ImageAssembly::AddMedia(MergeImage& image) const {
  for (std::size_t clip = 0; clip < media_.size(); ++clip) {
    // To lie at its place in a block, media may begin behind a gap.
    image.AddZeros(media_[clip].begin + moved_ - image.size);
    for (const Range& range : media_[clip].ranges) {
      const auto size = static_cast<Number>(range.size);
      if (range.position == Range::kNowhere) {
        image.AddZeros(size);
      } else {
        image.Add(clip, static_cast<Number>(range.position), size);
      }
    }
  }
}

}  // namespace clipchain
