// Lays out the output of a merge: media data first, the movie box behind it, the media header last.
#pragma once

#include <memory>

#include "box/data_boxes.h"
#include "box/top_level_boxes.h"
#include "foundation/file_reader.h"
#include "foundation/qv_file.h"
#include "reader/mp4_file.h"

namespace MP4G {

class CMp4LiveMerge;

// One piece of output.
struct _tagMP4_OUTPUT {
  long long unused;  // not read
  const unsigned char* data;
  unsigned int size;
};

// Nobody knows at the start how much media there will be. The file therefore begins with "ftyp" and
// a 16-byte "free" box, which holds either form of the "mdat" header later: 8 bytes of "free" and
// an 8-byte header, or a 16-byte header.
class CMp4Writer {
 public:
  explicit CMp4Writer(CMp4LiveMerge* liveMerge);
  virtual ~CMp4Writer();
  CMp4Writer(const CMp4Writer&) = delete;
  CMp4Writer& operator=(const CMp4Writer&) = delete;

  // Closes the file, drops the placeholder and zeroes the counters.
  void Reset();
  // Writes the head of the output and the first input's media data, and sets `mediaDataPos`.
  [[nodiscard]] HRESULT ProcessFirstFile(CMp4File* file, QUIRVA::IQvFileReader* reader);
  [[nodiscard]] HRESULT ProcessNonFirstFile(CMp4File* file, QUIRVA::IQvFileReader* reader);
  // Writes the movie box and rewrites the media header. A failure leaves the file in the state in
  // which it stopped.
  [[nodiscard]] HRESULT Finalize(CMp4File* firstFile);

  // Fixes up and serialises one box at the current position, in one write. E_BAD_DATA if it is
  // empty or beyond 32 bits.
  [[nodiscard]] HRESULT OutputBox(CBox* box);
  [[nodiscard]] HRESULT OutputMovieBox(CMovieBox* movie);
  // Copies one input's media data in blocks of 16 MiB, with a progress call before the first and
  // after each.
  [[nodiscard]] HRESULT OutputMediaData(CMp4File* file, QUIRVA::IQvFileReader* reader);
  [[nodiscard]] HRESULT RewriteMediaDataBoxHeader();
  // Every byte of the output passes here; the first one deletes what lies at the output path and
  // creates the file. MP4G_E_OUTPUT_OPEN, MP4G_E_OUTPUT_WRITE.
  [[nodiscard]] HRESULT WriteData(const unsigned char* data, unsigned int size);
  [[nodiscard]] HRESULT ProcessOutput(_tagMP4_OUTPUT* output);
  // Seeks the open file to an absolute position; does nothing without one.
  void SetWritePos(long long position);
  // Closes the output and removes the file at the output path.
  void DeleteFile();

  CMp4LiveMerge* owner;                        // not owned
  std::unique_ptr<QUIRVA::QvFile> outputFile;  // null until the first write and after DeleteFile
  std::unique_ptr<CFreeBox> freeBox;           // the placeholder
  long long ftypSize = 0;                      // of the first input's file type box
  long long mediaDataPos = 0;                  // output position of the first media byte
  long long mediaDataSize = 0;                 // of all inputs so far

 private:
  [[nodiscard]] HRESULT CreateOutput();
};

}  // namespace MP4G
