// What a camera wrote into a clip: whole files, the contents of its vendor box, or the JPEG stream
// of its thumbnail with Exif data, told apart by their first bytes. Analysing twice gives the same,
// and a rewrite of the next identifier changes that identifier and no size.
#include <algorithm>

#include "clip/timecode.h"
#include "clip/vireo_mp4.h"
#include "foundation/file_buffer.h"
#include "reader/mp4_file.h"
#include "support/memory_disk.h"
#include "target.h"

using MP4G::CVireoMp4;
using support::Bytes;
using support::MemoryDisk;

namespace {

constexpr wchar_t kClip[] = L"clip.mp4";
constexpr _GUID kNewID = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};

bool Same(const CVireoMp4& a, const CVireoMp4& b) {
  return a.uniqueID == b.uniqueID && a.preID == b.preID && a.nextID == b.nextID &&
         a.timedate == b.timedate && a.isVireoStream == b.isVireoStream &&
         a.hasIDBox == b.hasIDBox && a.path == b.path && a.fileSize == b.fileSize;
}

void CheckThumbnail(const unsigned char* data, unsigned int size) {
  CVireoMp4 clip(0);
  CVireoMp4 again(0);
  const HRESULT result = clip.ParseThumbnailData(data, size);
  fuzz::Require(again.ParseThumbnailData(data, size) == result && Same(clip, again),
                "a thumbnail says the same twice");
}

void CheckVendorBlock(const unsigned char* data, unsigned int size) {
  CVireoMp4 clip(0);
  CVireoMp4 again(0);
  const HRESULT result = clip.ParseVireoUuidBoxChildrenData(data, size);
  fuzz::Require(again.ParseVireoUuidBoxChildrenData(data, size) == result && Same(clip, again),
                "a vendor block says the same twice");
}

void CheckRewrite(const unsigned char* data, unsigned int size) {
  QUIRVA::CFileBuffer source;
  MP4G::CMp4File file;
  if (source.SetData(data, size) != S_OK || file.SetReader(&source) != S_OK) return;
  long long before = 0;
  long long after = 0;
  static_cast<void>(file.GetMovieBox()->GetDataSize(&before));
  CVireoMp4 rewriter(0);
  if (rewriter.RewriteNextID(file.GetMovieBox(), kNewID) != S_OK) return;
  static_cast<void>(file.GetMovieBox()->GetDataSize(&after));
  fuzz::Require(before == after, "a rewrite changes no size");
  fuzz::Require(rewriter.hasIDBox == 0 || rewriter.nextID == kNewID, "a rewrite is noted");
}

void CheckFile(const unsigned char* data, std::size_t size) {
  MemoryDisk& disk = MemoryDisk::Get();
  disk.Clear();
  disk.Put("clip.mp4", Bytes(data, data + size));
  CVireoMp4 clip(0);
  CVireoMp4 again(0);
  const HRESULT result = clip.ParseFile(kClip);
  fuzz::Require(again.ParseFile(kClip) == result && Same(clip, again),
                "a clip says the same twice");
  if (result == S_OK) static_cast<void>(clip.CheckTimecodeContinuity(&again));
  fuzz::Require(disk.OpenHandles() == 0, "every file is closed");
  const Bytes* left = disk.Find("clip.mp4");
  fuzz::Require(left != nullptr && std::equal(left->begin(), left->end(), data, data + size),
                "analysis changes no file");
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  const auto length = static_cast<unsigned int>(size);
  if (size >= 2 && data[0] == 0xFF && data[1] == 0xD8) {
    CheckThumbnail(data, length);
  } else if (size >= 8 && data[4] == 'V' && data[5] == 'R') {
    CheckVendorBlock(data, length);
  } else if (size != 0) {
    CheckFile(data, size);
    CheckRewrite(data, length);
  }
}
