#include "workflow/clips/clip_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/clips/clip_view.h"
#include "foundation/platform/read_failures.h"
#include "workflow/boxes/box_count.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

constexpr unsigned int kLongestPlainHeader = 16;
// What the tree takes for a box at the top level, however small that is.
constexpr long long kLeastTreeBytes = 256;

// The tree, its tables with room to grow and offsets of 64 bits, and the bytes that are written of
// it.
constexpr long long kMemoryPerByte = 4;
// A box by itself, however small: its object and where its parent and the lists of tracks keep it,
// and the same once more for the result that is read again.
constexpr long long kMemoryPerBox = 400;

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) {
    QUIRVA::NoteReadFailure(path.c_str());
    return std::nullopt;
  }
  return FileIdentity{status.st_dev, status.st_ino};
}

ClipFile::ClipFile(std::string path, TopLevelWalk walk)
    : path_(std::move(path)), whyUnreadable_(clipchain::WhyUnreadable(path_)) {
  if (whyUnreadable_) return;
  int opened = S_OK;
  const QUIRVA::ComPtr<ClipView> whole = ClipView::OfWhole(path_, opened);
  if (opened < 0) {
    whyUnreadable_ = "it can't be opened";
    return;
  }
  whole->AddRef();
  reader_.Attach(whole.get());
  WalkTopLevel(walk);
}

ClipFile::ClipFile(std::string path, QUIRVA::ComPtr<QUIRVA::IQvFileReader> source)
    : path_(std::move(path)), reader_(std::move(source)) {
  WalkTopLevel(TopLevelWalk::kOfTheEngine);
}

void ClipFile::WalkTopLevel(TopLevelWalk walk) {
  const long long end = Size();
  long long at = 0;
  while (at < end) {
    const auto bytes = Lend(at, kLongestPlainHeader);
    MP4G::CBox peek;
    if (peek.Set16Byte(bytes.data(), static_cast<unsigned int>(bytes.size())) != S_OK) {
      brokenHeader_ = at;
      return;
    }
    long long size = peek.GetBoxSize();
    if (size == 0) size = end - at;
    // The user type of a "uuid" box was not read, so it does not count.
    const bool isLarge = peek.header->size == 1;
    layout_.push_back(
        {peek.header->type, at, isLarge ? BoxHeader::kLarge : BoxHeader::kShort, size});
    if (walk == TopLevelWalk::kOfTheEngine && !MP4G::CBox::IsTopLevelBox(peek.header->type)) return;
    if (size <= 0 || size > std::numeric_limits<long long>::max() - at) return;
    if (peek.header->type == FourCc("mdat")) media_.push_back(layout_.back());
    at += size;
  }
}

HRESULT ClipFile::Parse() {
  if (!reader_) return MP4G_E_INPUT_OPEN;
  const HRESULT result = file.SetReader(reader_.get());
  // A medium that is failing may have given the headers only the second time.
  if (result == S_OK && MoviePlace() == nullptr) return MP4G_E_INPUT_READ;
  parsed_ = result == S_OK;
  return !parsed_ && file.readError != S_OK ? MP4G_E_INPUT_READ : result;
}

const TopLevelBox* ClipFile::Place(unsigned int type) const {
  const auto found = std::find_if(layout_.begin(), layout_.end(),
                                  [type](const TopLevelBox& box) { return box.type == type; });
  return found != layout_.end() ? &*found : nullptr;
}

const TopLevelBox* ClipFile::MediaAt(std::uint64_t offset) const {
  const auto behind = std::upper_bound(media_.begin(), media_.end(), offset,
                                       [](std::uint64_t at, const TopLevelBox& box) {
                                         return at < static_cast<std::uint64_t>(box.Body());
                                       });
  if (behind == media_.begin()) return nullptr;
  const TopLevelBox& box = *(behind - 1);
  return offset < static_cast<std::uint64_t>(box.End()) ? &box : nullptr;
}

std::span<const unsigned char> ClipFile::Lend(long long position, unsigned int size) const {
  const long long there = std::clamp<long long>(Size() - position, 0, size);
  const auto wanted = static_cast<unsigned int>(there);
  if (position < 0 || wanted == 0) return {};
  if (reader_->GetBufferSize() < wanted && reader_->SetBufferSize(wanted) != S_OK) return {};
  const unsigned char* bytes = nullptr;
  unsigned int got = 0;
  if (reader_->GetData(position, wanted, bytes, got) < 0 || got == 0) return {};
  return {bytes, got};
}

std::vector<unsigned char> ClipFile::Read(long long position, unsigned int size) const {
  const auto bytes = Lend(position, size);
  return {bytes.begin(), bytes.end()};
}

// Of a box at the top level, what the tree holds; 0 of one that is not loaded.
long long ClipFile::LoadedBytes(const TopLevelBox& box) const {
  const bool isLoaded = box.type != FourCc("mdat") && box.size < MP4G::kLeastUnloadedBoxSize;
  return isLoaded ? std::clamp<long long>(box.size, 0, std::max(Size() - box.position, 0LL)) : 0;
}

long long ClipFile::MemoryOfBytes() const { return TreeBytes() * kMemoryPerByte; }
long long ClipFile::MemoryOfBoxes() const { return TreeBoxes() * kMemoryPerBox; }

long long ClipFile::TreeBytes() const {
  long long sum = 0;
  for (const TopLevelBox& box : layout_) sum += kLeastTreeBytes + LoadedBytes(box);
  return sum;
}

long long ClipFile::TreeBoxes() const {
  if (treeBoxes_) return *treeBoxes_;
  std::size_t sum = 0;
  for (const TopLevelBox& box : layout_) {
    if (box.type != FourCc("moov")) continue;
    sum += CountBoxes(Lend(box.position, static_cast<unsigned int>(LoadedBytes(box))));
  }
  treeBoxes_ = static_cast<long long>(sum);
  return *treeBoxes_;
}

}  // namespace clipchain
