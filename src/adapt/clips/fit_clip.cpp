#include "adapt/clips/fit_clip.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/fields.h"
#include "foundation/fourcc.h"
#include "foundation/platform/file_holes.h"
#include "foundation/strings.h"
#include "reader/mp4_file.h"

namespace clipchain {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

constexpr const char* kCopyAgain = "copy the clip again from the card";
constexpr std::uint64_t kBlock = 1 << 20;

FitProblem& Refuse(FitReport& report, FitProblemKind kind, std::size_t index, std::string text,
                   std::string remedy, long long offset = -1) {
  FitProblem& problem = report.Refuse(kind, index, 0, std::move(text), std::move(remedy));
  problem.offset = offset;
  return problem;
}

// What is needed for each byte of a movie box: its tree, what is shown of it, what the engine makes
// of that and writes. A box takes this much however small it is.
constexpr std::uint64_t kMemoryPerByte = 6;
constexpr std::uint64_t kMemoryPerBox = 800;
// Inside of these the engine makes an object of every few bytes.
constexpr std::uint64_t kMemoryPerDescriptionByte = 250;
// What lies deeper is no box that a movie has, and is counted by its bytes.
constexpr unsigned int kMostDepth = 16;

std::uint64_t MemoryOf(std::span<const unsigned char> bytes, unsigned int depth) {
  std::uint64_t sum = 0;
  while (true) {
    std::span<const unsigned char> in = bytes;
    be32 size;
    be32 type;
    if (!TakeField(in, size) || !TakeField(in, type)) return sum;
    if (size < BoxHeader::kShort || size > bytes.size()) return sum;
    const auto body = bytes.subspan(BoxHeader::kShort, size - BoxHeader::kShort);
    sum += kMemoryPerBox;
    if (type == FourCc("stsd") || type == FourCc("dref"))
      sum += body.size() * kMemoryPerDescriptionByte;
    if (IsRawContainer(type) && depth < kMostDepth) sum += MemoryOf(body, depth + 1);
    bytes = bytes.subspan(size);
  }
}

}  // namespace

FitClip::FitClip(std::string path) : path_(std::move(path)) {}

bool FitClip::Open(std::size_t index, FitReport& report, MemoryBudget& memory) {
  file_ = std::make_unique<QUIRVA::QvFile>();
  long long size = 0;
  const bool isOpen =
      file_->Open(QUIRVA::WidePathFromBytes(path_).c_str(), QUIRVA::QvFile::kRead) == S_OK &&
      file_->GetFileSize(&size) == S_OK;
  if (!isOpen) {
    file_.reset();
    Refuse(report, FitProblemKind::kInputUnreadable, index, "can't be read",
           "check the name and the permissions");
    return false;
  }
  size_ = static_cast<std::uint64_t>(size);
  budget_ = &memory;
  const bool taken = Walk(index, report) && TakeMovie(index, report);
  if (taken) TakeFileType();
  return taken;
}

void FitClip::Close() {
  file_.reset();
  budget_ = nullptr;
}

Bytes FitClip::Read(std::uint64_t position, std::uint64_t size) const {
  if (position > size_ || size > size_ - position || size > MP4G::kLeastUnloadedBoxSize) return {};
  QUIRVA::QvFile own;
  QUIRVA::QvFile& file = file_ != nullptr ? *file_ : own;
  if (file_ == nullptr &&
      own.Open(QUIRVA::WidePathFromBytes(path_).c_str(), QUIRVA::QvFile::kRead) != S_OK)
    return {};
  Bytes bytes(static_cast<std::size_t>(size));
  unsigned int read = 0;
  const bool complete =
      file.Seek(static_cast<long long>(position), QUIRVA::QvFile::kFromStart) == S_OK &&
      file.Read(bytes.data(), static_cast<unsigned int>(size), &read) == S_OK && read == size;
  if (!complete) bytes.clear();
  return bytes;
}

Bytes FitClip::Keep(std::uint64_t position, std::uint64_t size) {
  return HasRoom(size) ? Read(position, size) : Bytes();
}

bool FitClip::HasRoom(std::uint64_t bytes) { return TakeMemory(bytes * kMemoryPerByte); }

const FitBox* FitClip::Place(unsigned int type) const {
  const auto found = std::find_if(layout_.begin(), layout_.end(),
                                  [type](const FitBox& box) { return box.type == type; });
  return found != layout_.end() ? &*found : nullptr;
}

bool FitClip::TakeHeader(std::uint64_t at, FitBox& box) const {
  const auto header =
      TakeBoxHeader(Read(at, std::min<std::uint64_t>(BoxHeader::kLarge, size_ - at)));
  if (!header) return false;
  box = {header->type, at, header->headerSize, header->SizeWithin(size_ - at)};
  return box.size >= box.header;
}

// Some programs leave zeros behind the last box.
bool FitClip::IsZeroFrom(std::uint64_t at) const {
  while (at < size_) {
    const std::uint64_t size = std::min(kBlock, size_ - at);
    const Bytes bytes = Read(at, size);
    if (bytes.empty() || std::any_of(bytes.begin(), bytes.end(), [](int b) { return b != 0; }))
      return false;
    // Room that a disk was only told of may be as large as the disk.
    at = QUIRVA::PassHoles(path_.c_str(), at + size, size_);
  }
  return true;
}

bool FitClip::Walk(std::size_t index, FitReport& report) {
  std::uint64_t at = 0;
  while (at < size_) {
    FitBox box{};
    const bool isBox = TakeHeader(at, box);
    if (!isBox || box.type == 0) {
      // A file of nothing but zeros is no clip with room at its end.
      if (at != 0 && IsZeroFrom(at)) return true;
      Refuse(report, FitProblemKind::kFileCutOff, index,
             "has bytes at its top level that are no box, as a file that was cut off has",
             kCopyAgain, static_cast<long long>(at));
      return false;
    }
    if (box.size > size_ - at) {
      const bool isMedia = box.type == FourCc("mdat");
      Refuse(report, isMedia ? FitProblemKind::kMediaCutOff : FitProblemKind::kFileCutOff, index,
             "is cut off: it ends at byte " + std::to_string(size_) + " in the middle of its box " +
                 Quoted(box.type) + ", which begins at " + std::to_string(at),
             kCopyAgain, static_cast<long long>(at))
          .box = FourCcText(box.type);
      return false;
    }
    layout_.push_back(box);
    if (box.type == FourCc("mdat")) media.push_back({box.Body(), box.size - box.header});
    at = box.End();
  }
  return true;
}

// Nothing more is counted for one that lacks memory.
bool FitClip::TakeMemory(std::uint64_t bytes) {
  if (lacksMemory_ || budget_ == nullptr) return false;
  memory_ += bytes;
  lacksMemory_ = !budget_->Take(bytes);
  return !lacksMemory_;
}

bool FitClip::TakeMovie(std::size_t index, FitReport& report) {
  const FitBox* place = Place(FourCc("moov"));
  if (place == nullptr) {
    Refuse(report, FitProblemKind::kMovieMissing, index, "has no movie box \"moov\"",
           "copy the clip again from the card; if its recording was interrupted, run \"clipchain "
           "rescue\" on it");
    return false;
  }
  if (place->size >= static_cast<std::uint64_t>(MP4G::kLeastUnloadedBoxSize)) {
    Refuse(report, FitProblemKind::kMovieTooLarge, index,
           "has a box \"moov\" of " + std::to_string(place->size) + " bytes, and a reader takes " +
               std::to_string(MP4G::kLeastUnloadedBoxSize - 1) + " at most",
           "split the clip", static_cast<long long>(place->position))
        .box = "moov";
    return false;
  }
  std::uint64_t loaded = place->size;
  for (const FitBox& box : layout_) {
    if (box.type == FourCc("moof")) loaded += box.size;
  }
  if (!TakeMemory(loaded * kMemoryPerByte)) return false;
  Bytes bytes = Read(place->position, place->size);
  if (bytes.empty()) {
    Refuse(report, FitProblemKind::kInputUnreadable, index, "can't be read to its end",
           "copy it to another disk and try that copy");
    return false;
  }
  // A size of 0, to the end of the file, is written out.
  be32 size;
  size = static_cast<std::uint32_t>(place->size);
  if (place->header == BoxHeader::kShort)
    std::copy(std::begin(size.bytes), std::end(size.bytes), bytes.begin());
  std::span<const unsigned char> in = bytes;
  if (!TakeMemory(MemoryOf(in, 0))) return false;
  if (movie.Take(in) && movie.Child(FourCc("mvhd")) != nullptr) return true;
  Refuse(report, FitProblemKind::kHeaderMissing, index, "has no movie header \"mvhd\"",
         "copy the clip again, or repair it with a tool for it",
         static_cast<long long>(place->position))
      .box = "moov";
  return false;
}

// Files from before there was a file type box are of the kind that "qt  " names.
void FitClip::TakeFileType() {
  const FitBox* place = Place(FourCc("ftyp"));
  const Bytes bytes = place != nullptr ? Read(place->position, place->size) : Bytes();
  std::span<const unsigned char> in = bytes;
  if (fileType.Take(in) && fileType.type == FourCc("ftyp")) return;
  fileType = RawBox(FourCc("ftyp"), {'q', 't', ' ', ' ', 0, 0, 0, 0, 'q', 't', ' ', ' '});
}

}  // namespace clipchain
