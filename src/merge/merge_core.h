// The driver of a merge: what happens to each input, in which order.
#pragma once

#include <memory>

#include "foundation/file_reader.h"
#include "foundation/result.h"
#include "reader/mp4_file.h"

namespace MP4G {

class CMp4LiveMerge;
class CMp4Merge;
class CMp4Writer;

// Nothing of a later input survives its call. What lives from the first input to Finalize is the
// first file's tree, which is the merged movie, the running output position and the writer's open
// file.
class CMergeCore {
 public:
  explicit CMergeCore(CMp4LiveMerge* liveMerge);
  virtual ~CMergeCore();
  CMergeCore(const CMergeCore&) = delete;
  CMergeCore& operator=(const CMergeCore&) = delete;

  // MP4G_E_INPUT_OPEN leaves merge and output untouched.
  [[nodiscard]] HRESULT ProcessFile(const wchar_t* path);
  // E_INVALIDARG leaves merge and output untouched. A result of 1 becomes E_BAD_DATA, which
  // ProcessFile does not do.
  [[nodiscard]] HRESULT ProcessData(const unsigned char* data, unsigned int size);
  // Any non-zero result deletes the file at the output path.
  [[nodiscard]] HRESULT ProcessReader(QUIRVA::IQvFileReader* reader);
  [[nodiscard]] HRESULT ProcessReaderImpl(QUIRVA::IQvFileReader* reader);
  // Completes the output and drops everything, whatever the result. E_POINTER without an input.
  [[nodiscard]] HRESULT Finalize();
  [[nodiscard]] HRESULT FinalizeImpl();
  void ResetAtFinalize();
  void Reset();

  CMp4LiveMerge* owner;                // not owned
  std::unique_ptr<CMp4Merge> merge;    // made at the first input
  std::unique_ptr<CMp4Writer> writer;  // made at the first input
  std::unique_ptr<CMp4File>
      firstFile;  // set once a first input was started, not only when it succeeded

 private:
  [[nodiscard]] HRESULT ProcessFirst(QUIRVA::IQvFileReader* reader);
  [[nodiscard]] HRESULT ProcessNext(QUIRVA::IQvFileReader* reader);
};

}  // namespace MP4G
