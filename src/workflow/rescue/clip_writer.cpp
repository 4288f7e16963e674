#include "workflow/rescue/clip_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "adapt/boxes/fields.h"
#include "foundation/big_endian.h"
#include "foundation/fourcc.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/same_time.h"
#include "workflow/system/system_error.h"

namespace clipchain::rescue {

namespace {

using QUIRVA::be32;
using QUIRVA::be64;

// Larger ones leave the cache before they are written.
constexpr std::size_t kBlock = 256 << 10;
// What is compared on both sides of a place where two parts meet.
constexpr std::uint64_t kSeam = 4096;

}  // namespace

ClipLayout LayOut(const RawBox& fileType, const Harvest& harvest) {
  ClipLayout layout;
  for (const SampleRun& run : harvest.runs) {
    layout.media += run.bytes;
    // Neighbours are one range, which is read in large blocks and has two ends to compare.
    if (!layout.ranges.empty() && layout.ranges.back().end == run.position) {
      layout.ranges.back().end += run.bytes;
    } else {
      layout.ranges.push_back({run.position, run.position + run.bytes});
    }
  }
  // A reference of the QuickTime kind may have no "ftyp", and a clip like it needs none.
  if (fileType.type != 0) fileType.Write(layout.head);
  // A short header says its size with 32 bits, its own 8 bytes counted (ISO/IEC 14496-12, 4.2).
  constexpr std::uint64_t kMost = 0xFFFFFFFF;
  const bool large = layout.media > kMost - 8;
  if (large) {
    PutField<be32>(layout.head, 1);
    PutField<be32>(layout.head, FourCc("mdat"));
    PutField<be64>(layout.head, layout.media + 16);
  } else {
    PutField<be32>(layout.head, static_cast<std::uint32_t>(layout.media + 8));
    PutField<be32>(layout.head, FourCc("mdat"));
  }
  return layout;
}

ClipWriter::ClipWriter(const std::string& broken, const RescueOptions& options)
    : broken_(broken), options_(options), input_(broken) {}

void ClipWriter::Fail(Message message, const std::string& path, std::string text,
                      std::string remedy) {
  findings_.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
}

void ClipWriter::FailWrite(const std::error_code& error) {
  Fail(Message::kOutputUnwritable, options_.output, "can't be written: " + ErrorText(error),
       error == std::errc::filename_too_long ? "choose a shorter name"
                                             : "make room, or choose another folder");
}

bool ClipWriter::Step(RescueStep::Phase phase, std::uint64_t current, std::uint64_t total) {
  const RescueStep step{phase, static_cast<long long>(current), static_cast<long long>(total)};
  if (!options_.progress || options_.progress(step)) return true;
  Fail(Message::kMergeStopped, options_.output, "was not made: the rescue was stopped",
       "run it again");
  return false;
}

// An output that exists is replaced only on demand, and the broken clip and its
// references never.
bool ClipWriter::MayWrite() {
  if (::stat(broken_.c_str(), &state_) != 0) {
    Fail(Message::kInputUnreadable, broken_, "can't be read: " + ErrorText(LastError()),
         "check the name and the permissions");
    return false;
  }
  std::vector<std::string> inputs = options_.references;
  inputs.push_back(broken_);
  for (const std::string& input : inputs) {
    if (!IsSameFile(input, options_.output)) continue;
    Fail(Message::kOutputIsInput, options_.output,
         "is the same file as the input " + PrintablePath(input), "choose another name");
    return false;
  }
  struct stat status;
  // A link that leads nowhere is there too: to publish the clip would replace the link.
  if (::lstat(options_.output.c_str(), &status) != 0) {
    if (errno == ENOENT) return true;
    FailWrite(LastError());
    return false;
  }
  if (!options_.overwrite) {
    Fail(Message::kOutputExists, options_.output, "exists already",
         "choose another name, or let --overwrite replace it");
    return false;
  }
  if (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)) return true;
  Fail(Message::kOutputUnwritable, options_.output, "can't be written: it is no regular file",
       "choose another name");
  return false;
}

bool ClipWriter::Write(const ClipLayout& layout, const RawBox& movie) {
  const Bytes bytes = movie.Written();
  block_.resize(kBlock);
  if (const std::error_code error = part_.Create(options_.output)) {
    FailWrite(error);
    return false;
  }
  output_.emplace(part_.descriptor());
  output_->Reserve(layout.head.size() + layout.media + bytes.size());
  const bool full = options_.verification == Verification::kFull;
  if (!Fill(layout, bytes)) return false;
  // The quick look takes what the system still has in memory; the full one must see what the disk
  // has, and so comes behind the flush.
  if (!full && !Verify(layout, bytes)) return false;
  if (!Step(RescueStep::Phase::kFlushing, 0, 0)) return false;
  if (Flush(part_.descriptor())) {
    Fail(Message::kOutputUnflushed, options_.output,
         "is lost: the disk did not take all that was written",
         "check the disk, or choose another one");
    return false;
  }
  if (full) FileBytes(part_.descriptor()).ForgetCached();
  // A copy to the card or to this disk that still ran has changed the clip below the reader: then
  // what was made gets no name.
  return (!full || Verify(layout, bytes)) && IsUnchanged() && Publish();
}

// The movie box comes last, so that its size moves no sample that it tells of.
bool ClipWriter::Fill(const ClipLayout& layout, const Bytes& movie) {
  return Put(layout.head.data(), layout.head.size()) && CopyMedia(layout) &&
         Put(movie.data(), movie.size());
}

bool ClipWriter::Put(const unsigned char* bytes, std::size_t count) {
  if (const std::error_code error = output_->Write(written_, bytes, count)) {
    FailWrite(error);
    return false;
  }
  written_ += count;
  return true;
}

bool ClipWriter::CopyMedia(const ClipLayout& layout) {
  std::uint64_t done = 0;
  for (const ByteRange& range : layout.ranges) {
    if (!CopyRange(range, done, layout.media)) return false;
  }
  return true;
}

bool ClipWriter::CopyRange(const ByteRange& range, std::uint64_t& done, std::uint64_t total) {
  for (std::uint64_t at = range.begin; at < range.end;) {
    if (!Step(RescueStep::Phase::kCopying, done, total)) return false;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, range.end - at));
    if (!input_.Read(at, block_.data(), count)) {
      Fail(Message::kInputUnreadable, broken_,
           "can't be read: " +
               (input_.error() ? ErrorText(input_.error()) : std::string("it ends too early")),
           "copy it again from the card");
      return false;
    }
    if (!Put(block_.data(), count)) return false;
    at += count;
    done += count;
  }
  return true;
}

bool ClipWriter::Verify(const ClipLayout& layout, const Bytes& movie) {
  FileBytes output(part_.descriptor());
  const auto holds = [&](std::uint64_t at, const Bytes& expected) {
    Bytes bytes(expected.size());
    return output.Read(at, bytes.data(), bytes.size()) && bytes == expected;
  };
  const std::uint64_t behind = layout.head.size() + layout.media;
  bool same =
      output.Size() == behind + movie.size() && holds(0, layout.head) && holds(behind, movie);
  other_.resize(kBlock);
  std::uint64_t at = layout.head.size();
  for (const ByteRange& range : layout.ranges) {
    if (!same) break;
    if (!Step(RescueStep::Phase::kVerifying, at, behind)) return false;
    same = VerifyRange(range, at);
    at += range.end - range.begin;
  }
  if (same) return true;
  Fail(Message::kResultDamaged, options_.output,
       "is not what was written: reading it back gave other bytes",
       "check the disk, or choose another one");
  return false;
}

bool ClipWriter::VerifyRange(const ByteRange& range, std::uint64_t at) {
  const std::uint64_t size = range.end - range.begin;
  // Of a range that small both ends together are all of it.
  if (options_.verification == Verification::kFull || size <= 2 * kSeam)
    return IsSame(range.begin, at, size);
  return IsSame(range.begin, at, kSeam) && IsSame(range.end - kSeam, at + size - kSeam, kSeam);
}

bool ClipWriter::IsSame(std::uint64_t from, std::uint64_t at, std::uint64_t count) {
  FileBytes output(part_.descriptor());
  while (count > 0) {
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count));
    // What can't be read again is not known to be the same.
    if (!input_.Read(from, block_.data(), step) || !output.Read(at, other_.data(), step) ||
        std::memcmp(block_.data(), other_.data(), step) != 0)
      return false;
    from += step;
    at += step;
    count -= step;
  }
  return true;
}

bool ClipWriter::IsUnchanged() {
  struct stat status;
  const bool same = ::stat(broken_.c_str(), &status) == 0 && status.st_size == state_.st_size &&
                    status.st_dev == state_.st_dev && status.st_ino == state_.st_ino &&
                    IsSameTime(status.st_mtim, state_.st_mtim);
  if (same) return true;
  Fail(Message::kInputChanged, broken_, "changed while it was read",
       "wait until it is complete, then run the rescue again");
  return false;
}

bool ClipWriter::Publish() {
  // The last moment to stop: from here on the clip has its name.
  if (!Step(RescueStep::Phase::kFlushing, 0, 0)) return false;
  if (const std::error_code error = part_.Publish(options_.overwrite)) {
    if (error == std::errc::file_exists) {
      Fail(Message::kOutputExists, options_.output, "exists already",
           "choose another name, or let --overwrite replace it");
      return false;
    }
    Fail(Message::kOutputUnnamed, options_.output, "can't get its name: " + ErrorText(error),
         "choose another folder");
    return false;
  }
  size_ = FileSize(options_.output);
  if (const std::error_code error = part_.FlushFolder()) {
    Fail(Message::kOutputNotDurable, options_.output,
         "is complete, but its folder can't be flushed: " + ErrorText(error),
         "check the disk before you delete the clips");
    return false;
  }
  return true;
}

}  // namespace clipchain::rescue
