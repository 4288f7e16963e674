// A tree that was filled by walking a source: an MP4 file on disk, or anything that offers the
// reader interface.
#pragma once

#include <string>

#include "foundation/file_reader.h"
#include "reader/mp4_tree.h"

namespace MP4G {

// A box of this size or more is not loaded; its record holds no box.
inline constexpr long long kLeastUnloadedBoxSize = 50000001;

// Parses everything but the media data. The tree holds copies of all it needs: no file stays open.
// After a failure the tree stays as far as it got; reset or delete it.
//
// E_POINTER: no reader or path. E_BAD_TYPE: a top-level type that CBox::IsTopLevelBox refuses.
// E_BAD_DATA: no "ftyp" or no "moov", a header or box that runs past the end, an empty source. A
// negative code of the reader is passed on and noted in `readError`. Any result of a box that does
// not parse, S_FALSE included, is passed on.
class CMp4File : public CMp4Tree {
 public:
  void Reset();
  void ResetAtSetReader();

  // Opens and parses the file. Only negative results of SetReader count: with S_FALSE the answer is
  // S_OK, `filePath` is set, `fileSize` is 0 and the tree stands as far as it got.
  [[nodiscard]] HRESULT SetFile(const wchar_t* path);
  // Resets, parses, and sets `fileSize`.
  [[nodiscard]] HRESULT SetReader(QUIRVA::IQvFileReader* reader);
  // Walks the top level.
  [[nodiscard]] HRESULT SetReaderImpl(QUIRVA::IQvFileReader* reader);

  std::wstring filePath;     // set by a successful SetFile
  long long fileSize = 0;    // size of the source, set by a successful SetReader
  HRESULT readError = S_OK;  // the last negative result of a read
  long long mdatPos =
      0;  // offset of the first byte of media data, behind the header of the last "mdat"
  long long mdatSize = 0;  // bytes of media data, as that header declares

 private:
  [[nodiscard]] HRESULT PeekHeader(QUIRVA::IQvFileReader* reader, long long at, CBox* peek);
  [[nodiscard]] HRESULT LoadBox(QUIRVA::IQvFileReader* reader, long long at, long long boxSize,
                                unsigned int bufferSize);
};

}  // namespace MP4G
