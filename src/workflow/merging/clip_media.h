// Reads the media of a clip by the positions that its boxes speak of.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "foundation/file_reader.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// Of the file itself, or of the view that stands for it.
class ClipMedia {
 public:
  ClipMedia(const std::string& path, QUIRVA::IQvFileReader* view) : file_(path), view_(view) {}

  int error() const { return view_ != nullptr ? 0 : file_.error(); }
  bool Read(unsigned long long position, unsigned char* out, std::size_t size) {
    if (view_ == nullptr) return file_.Read(position, out, size);
    if (view_->GetBufferSize() != kBuffer && view_->SetBufferSize(kBuffer) != S_OK) return false;
    const unsigned char* data = nullptr;
    unsigned int got = 0;
    const HRESULT result = view_->GetData(static_cast<long long>(position),
                                          static_cast<unsigned int>(size), data, got);
    if (result != S_OK || got != size) return false;
    std::copy_n(data, size, out);
    return true;
  }

 private:
  static constexpr unsigned int kBuffer = 1024 * 1024;

  FileBytes file_;
  QUIRVA::IQvFileReader* view_;  // not owned; null where the clip is read as it is
};

}  // namespace clipchain
