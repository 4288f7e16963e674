#include "merge/merge_core.h"

#include "foundation/file_buffer.h"
#include "foundation/reader_wrapper.h"
#include "merge/live_merge.h"
#include "merge/mp4_merge.h"
#include "merge/mp4_writer.h"

namespace MP4G {

namespace {

constexpr unsigned int kInputBufferSize = 10000;

// A source that can't be read is told apart from one that does not parse.
HRESULT Parse(CMp4File& file, QUIRVA::IQvFileReader* reader) {
  const HRESULT result = file.SetReader(reader);
  return result != S_OK && file.readError != S_OK ? MP4G_E_INPUT_READ : result;
}

}  // namespace

CMergeCore::CMergeCore(CMp4LiveMerge* liveMerge) : owner(liveMerge) {}

CMergeCore::~CMergeCore() { Reset(); }

HRESULT CMergeCore::ProcessFile(const wchar_t* path) {
  RETURN_IF(path == nullptr, MP4G_E_INPUT_OPEN);
  HRESULT opened = S_OK;
  QUIRVA::FileReaderWrapper reader(path, kInputBufferSize, opened);
  RETURN_IF(opened < 0, MP4G_E_INPUT_OPEN);
  return ProcessReader(&reader);
}

HRESULT CMergeCore::ProcessData(const unsigned char* data, unsigned int size) {
  QUIRVA::CFileBuffer buffer;
  RETURN_IF_NOT_OK(buffer.SetData(data, size));
  const HRESULT result = ProcessReader(&buffer);
  return result == S_FALSE ? E_BAD_DATA : result;
}

HRESULT CMergeCore::ProcessReader(QUIRVA::IQvFileReader* reader) {
  const HRESULT result = ProcessReaderImpl(reader);
  if (result != S_OK && writer != nullptr) writer->DeleteFile();
  return result;
}

HRESULT CMergeCore::ProcessReaderImpl(QUIRVA::IQvFileReader* reader) {
  RETURN_IF(owner == nullptr || reader == nullptr, E_POINTER);
  if (merge == nullptr) merge = std::make_unique<CMp4Merge>();
  if (writer == nullptr) writer = std::make_unique<CMp4Writer>(owner);
  return firstFile != nullptr ? ProcessNext(reader) : ProcessFirst(reader);
}

// The first input is copied before its offsets are moved: only the copy tells where its media came
// to lie.
HRESULT CMergeCore::ProcessFirst(QUIRVA::IQvFileReader* reader) {
  firstFile = std::make_unique<CMp4File>();
  RETURN_IF_NOT_OK(Parse(*firstFile, reader));
  RETURN_IF_NOT_OK(writer->ProcessFirstFile(firstFile.get(), reader));
  return merge->ProcessFirstFile(firstFile.get(), writer->mediaDataPos);
}

// A later input is merged before it is copied: one that can't be merged writes nothing.
HRESULT CMergeCore::ProcessNext(QUIRVA::IQvFileReader* reader) {
  CMp4File next;
  RETURN_IF_NOT_OK(Parse(next, reader));
  RETURN_IF_NOT_OK(merge->Merge(firstFile.get(), &next));
  return writer->ProcessNonFirstFile(&next, reader);
}

HRESULT CMergeCore::Finalize() {
  const HRESULT result = FinalizeImpl();
  ResetAtFinalize();
  return result;
}

HRESULT CMergeCore::FinalizeImpl() {
  return writer != nullptr ? writer->Finalize(firstFile.get()) : E_POINTER;
}

void CMergeCore::ResetAtFinalize() {
  firstFile.reset();
  merge.reset();
  writer.reset();
}

void CMergeCore::Reset() { ResetAtFinalize(); }

}  // namespace MP4G
