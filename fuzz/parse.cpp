// Whatever parses is written in exactly the bytes that its size promised, and no rewrite loses any.
#include <cstdlib>
#include <vector>

#include "foundation/file_buffer.h"
#include "reader/mp4_file.h"

namespace {

std::vector<unsigned char> Serialised(MP4G::CBox& box) {
  long long size = 0;
  if (box.FixParam() != S_OK || box.GetDataSize(&size) != S_OK) return {};
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  // The size was asked for after the fields were brought up to date: it must be the bytes written.
  if (box.GetData(out, rest) != S_OK || rest != 0) std::abort();
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  QUIRVA::CFileBuffer source;
  if (source.SetData(data, static_cast<unsigned int>(size)) != S_OK) return 0;
  MP4G::CMp4File file;
  if (file.SetReader(&source) != S_OK) return 0;
  const std::vector<unsigned char> once = Serialised(*file.GetMovieBox());
  if (once.empty()) return 0;
  MP4G::CMp4Tree again;
  if (again.AddBoxData(once.data(), static_cast<unsigned int>(once.size()), 0) != S_OK) return 0;
  const std::vector<unsigned char> twice = Serialised(*again.GetMovieBox());
  if (!twice.empty() && twice.size() < once.size()) std::abort();
  return 0;
}
