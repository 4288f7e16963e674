// Shows a clip to the engine as another file than it is.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "foundation/com_ptr.h"
#include "foundation/qv_file.h"
#include "foundation/reader_wrapper.h"

namespace clipchain {

// A source made of pieces, each a stretch of the clip's file or bytes in memory. Media is read from
// the file when it is asked for, into the reader's one buffer, and never kept. A stretch that the
// file does not have to its end fails like a file that can't be read.
class ClipView final : public QUIRVA::ReaderWrapperBase {
 public:
  // `result` is negative if there is no memory for it. The file is opened when bytes of it are
  // asked for first. The object has one reference.
  ClipView(std::string path, int& result);

  // The file as it is. `result` is negative if it can't be opened; the object is then of no use.
  static QUIRVA::ComPtr<ClipView> OfWhole(const std::string& path, int& result);

  // Both append to what is there. Empty pieces count nothing.
  void AddBytes(Bytes bytes);
  void AddRange(long long position, long long size);

  // Where that byte of the view stands in the file; -1 if it is made in memory or is not there.
  long long FilePosition(long long position) const;

  // As any reader lends its bytes, but those made in memory where they are, and reads no more of
  // the file than is asked for, or a page: boxes stand far apart, and what is around them is media.
  [[nodiscard]] HRESULT GetData(long long position, unsigned int size, const unsigned char*& data,
                                unsigned int& got) const override;

  // Takes memory only once the file is read.
  [[nodiscard]] HRESULT SetBufferSize(unsigned int size) override;
  unsigned int GetBufferSize() const override { return bufferSize_; }

  // The places in the file of a stretch of the view, in its order, each with its size; -1 for what
  // is made in memory. Ends where the view does.
  std::vector<std::pair<long long, long long>> PlacesOf(long long position, long long size) const;

  void CloseReader() override;

 protected:
  [[nodiscard]] HRESULT StoreDataToBuffer(long long position, unsigned int size) const override;

 private:
  struct Piece {
    // In the view.
    long long start;
    long long size;
    // In the file; -1 for one in memory.
    long long position;
    Bytes bytes;
  };

  // Bytes of one piece in memory; null where not all of them are.
  const unsigned char* MadeAt(long long position, unsigned int size) const;
  // The piece that holds that byte of the view, which there must be.
  const Piece& PieceAt(long long position) const;
  [[nodiscard]] HRESULT Fetch(const Piece& piece, long long skip, unsigned int size,
                              unsigned char* out) const;
  [[nodiscard]] HRESULT OpenFile() const;

  std::string path_;
  unsigned int bufferSize_;
  mutable QUIRVA::QvFile file_;
  std::vector<Piece> pieces_;
};

}  // namespace clipchain
