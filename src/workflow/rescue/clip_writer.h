// Writes a rescued clip beside its place and gives it its name once it is
// complete.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "workflow/finding.h"
#include "workflow/rescue.h"
#include "workflow/rescue/harvest.h"
#include "workflow/system/file_bytes.h"
#include "workflow/system/file_output.h"
#include "workflow/system/part_file.h"

namespace clipchain::rescue {

// The layout of the file that is written: a file type, the head of the media,
// the media, the movie.
struct ClipLayout {
  // All in front of the media.
  Bytes head;
  // Of the broken clip, which make the media.
  std::vector<ByteRange> ranges;
  // Bytes of all of them.
  std::uint64_t media = 0;
};
ClipLayout LayOut(const RawBox& fileType, const Harvest& harvest);

class ClipWriter {
 public:
  // Both must outlive this object.
  ClipWriter(const std::string& broken, const RescueOptions& options);

  // Whether the output may be written, before any work is done.
  bool MayWrite();
  // Writes all of it, verifies it, flushes it and gives it its name. False: the
  // findings say why.
  bool Write(const ClipLayout& layout, const RawBox& movie);

  const Findings& findings() const { return findings_; }
  long long size() const { return size_; }

 private:
  bool Fill(const ClipLayout& layout, const Bytes& movie);
  bool CopyMedia(const ClipLayout& layout);
  bool CopyRange(const ByteRange& range, std::uint64_t& done, std::uint64_t total);
  bool Put(const unsigned char* bytes, std::size_t count);
  bool Verify(const ClipLayout& layout, const Bytes& movie);
  bool VerifyRange(const ByteRange& range, std::uint64_t at);
  bool IsSame(std::uint64_t from, std::uint64_t at, std::uint64_t count);
  bool IsUnchanged();
  bool Publish();
  bool Step(RescueStep::Phase phase, std::uint64_t current, std::uint64_t total);
  void Fail(Message message, const std::string& path, std::string text, std::string remedy);
  void FailWrite(const std::error_code& error);

  const std::string& broken_;
  const RescueOptions& options_;
  Findings findings_;
  PartFile part_;
  std::optional<FileOutput> output_;
  // Bytes of it.
  std::uint64_t written_ = 0;
  FileBytes input_;
  struct stat state_ = {};
  std::vector<unsigned char> block_;
  std::vector<unsigned char> other_;
  long long size_ = 0;
};

}  // namespace clipchain::rescue
