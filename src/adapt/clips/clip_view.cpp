#include "adapt/clips/clip_view.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/strings.h"

namespace clipchain {

namespace {

constexpr unsigned int kFirstBuffer = 100000;
constexpr unsigned int kPage = 4096;

}  // namespace

ClipView::ClipView(std::string path, int& result)
    : ReaderWrapperBase(kPage, result), path_(std::move(path)), bufferSize_(kFirstBuffer) {}

HRESULT ClipView::OpenFile() const {
  if (file_.IsOpened()) return S_OK;
  return file_.Open(QUIRVA::WidePathFromBytes(path_).c_str(), QUIRVA::QvFile::kRead);
}

QUIRVA::ComPtr<ClipView> ClipView::OfWhole(const std::string& path, int& result) {
  QUIRVA::ComPtr<ClipView> view;
  view.Attach(new ClipView(path, result));
  long long size = 0;
  if (result >= 0) result = view->OpenFile();
  if (result >= 0) result = view->file_.GetFileSize(&size);
  // A file of no bytes has no piece either, and the walk of its top level ends at once.
  if (result >= 0) view->AddRange(0, size);
  return view;
}

HRESULT ClipView::SetBufferSize(unsigned int size) {
  bufferSize_ = size;
  return ReaderWrapperBase::SetBufferSize(std::min(size, kPage));
}

const unsigned char* ClipView::MadeAt(long long position, unsigned int size) const {
  if (position < 0 || position >= fileSize_) return nullptr;
  const Piece& piece = PieceAt(position);
  const long long skip = position - piece.start;
  return piece.position < 0 && size <= piece.size - skip ? piece.bytes.data() + skip : nullptr;
}

HRESULT ClipView::GetData(long long position, unsigned int size, const unsigned char*& data,
                          unsigned int& got) const {
  if (const unsigned char* made = MadeAt(position, size)) {
    data = made;
    got = size;
    return S_OK;
  }
  const long long skipped = position - bufferPos_;
  const long long cached = buffer_.GetUsedSize();
  const bool isCached =
      position >= 0 && skipped >= 0 && skipped <= cached && size <= cached - skipped;
  if (isCached || position < 0 || position >= fileSize_)
    return ReaderWrapperBase::GetData(position, size, data, got);
  const auto atMost = [&](unsigned int wanted) {
    const unsigned int room = std::min(wanted, buffer_.GetCapacity());
    return static_cast<unsigned int>(std::min<long long>(fileSize_ - position, room));
  };
  if (buffer_.GetCapacity() < bufferSize_) {
    buffer_.Reset();
    RETURN_IF_NOT_OK(buffer_.Allocate(bufferSize_));
  }
  // Headers of boxes are read one by one and lie close together.
  unsigned int count = atMost(std::max(size, kPage));
  // What stands behind may be the part of a card that can't be read.
  if (StoreDataToBuffer(position, count) != S_OK) {
    count = atMost(size);
    RETURN_IF_NOT_OK(StoreDataToBuffer(position, count));
  }
  buffer_.SetUsedSize(count);
  bufferPos_ = position;
  data = buffer_.GetData();
  got = std::min(count, size);
  return count < size ? S_FALSE : S_OK;
}

void ClipView::AddBytes(Bytes bytes) {
  if (bytes.empty()) return;
  const auto size = static_cast<long long>(bytes.size());
  pieces_.push_back({fileSize_, size, -1, std::move(bytes)});
  fileSize_ += size;
}

void ClipView::AddRange(long long position, long long size) {
  if (size <= 0) return;
  pieces_.push_back({fileSize_, size, position, {}});
  fileSize_ += size;
}

const ClipView::Piece& ClipView::PieceAt(long long position) const {
  const auto behind =
      std::upper_bound(pieces_.begin(), pieces_.end(), position,
                       [](long long at, const Piece& piece) { return at < piece.start; });
  return *(behind - 1);
}

long long ClipView::FilePosition(long long position) const {
  // Where nothing of the view stands no file does either.
  if (position < 0 || position >= fileSize_) return -1;
  const Piece& piece = PieceAt(position);
  return piece.position < 0 ? -1 : piece.position + (position - piece.start);
}

std::vector<std::pair<long long, long long>> ClipView::PlacesOf(long long position,
                                                                long long size) const {
  std::vector<std::pair<long long, long long>> places;
  if (position < 0) return places;
  for (size = std::min(size, fileSize_ - position); size > 0;) {
    const Piece& piece = PieceAt(position);
    const long long part = std::min(piece.start + piece.size - position, size);
    places.emplace_back(FilePosition(position), part);
    position += part;
    size -= part;
  }
  return places;
}

void ClipView::CloseReader() { file_.Close(); }

HRESULT ClipView::Fetch(const Piece& piece, long long skip, unsigned int size,
                        unsigned char* out) const {
  if (piece.position < 0) {
    std::memcpy(out, piece.bytes.data() + skip, size);
    return S_OK;
  }
  RETURN_IF_NOT_OK(OpenFile());
  RETURN_IF_NOT_OK(file_.Seek(piece.position + skip, QUIRVA::QvFile::kFromStart));
  unsigned int read = 0;
  RETURN_IF_NOT_OK(file_.Read(out, size, &read));
  return read == size ? S_OK : E_FAIL;
}

HRESULT ClipView::StoreDataToBuffer(long long position, unsigned int size) const {
  unsigned char* out = buffer_.GetData();
  while (size != 0) {
    const Piece& piece = PieceAt(position);
    const long long skip = position - piece.start;
    const auto part = static_cast<unsigned int>(std::min<long long>(piece.size - skip, size));
    if (const HRESULT result = Fetch(piece, skip, part, out); result != S_OK) {
      // What was cached may be overwritten in part, and must not be taken for what it was.
      buffer_.SetUsedSize(0);
      return result < 0 ? result : E_FAIL;
    }
    out += part;
    position += part;
    size -= part;
  }
  return S_OK;
}

}  // namespace clipchain
