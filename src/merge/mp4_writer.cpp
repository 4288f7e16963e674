#include "merge/mp4_writer.h"

#include <algorithm>

#include "box/box_factory.h"
#include "merge/live_merge.h"
#include "merge/movie_assembly.h"
#include "reader/box_reader.h"

namespace MP4G {

namespace {

constexpr unsigned int kBlockSize = 0x1000000;
// With more media than this the 16-byte header takes the whole placeholder.
constexpr long long kMostMediaWithFreeBox = 0xFFFFFFF6;

}  // namespace

CMp4Writer::CMp4Writer(CMp4LiveMerge* liveMerge) : owner(liveMerge) {}

CMp4Writer::~CMp4Writer() { Reset(); }

void CMp4Writer::Reset() {
  freeBox.reset();
  outputFile.reset();
  ftypSize = 0;
  mediaDataPos = 0;
  mediaDataSize = 0;
}

HRESULT CMp4Writer::ProcessFirstFile(CMp4File* file, QUIRVA::IQvFileReader* reader) {
  RETURN_IF(file == nullptr, E_POINTER);
  CFileTypeBox* fileType = file->GetFileTypeBox();
  RETURN_IF(fileType == nullptr, E_BAD_DATA);
  ftypSize = fileType->GetBoxSize();

  CFreeBox* placeholder = nullptr;
  freeBox.reset();
  RETURN_IF_NOT_OK(CBoxFactory::CreateBox<CFreeBox>(FourCc("free"), &placeholder));
  freeBox.reset(placeholder);
  RETURN_IF_NOT_OK(freeBox->AllocSize(8));

  // Both are tried whatever the first answers, and the codes are combined: callers know the sum of
  // a double failure.
  const HRESULT fileTypeResult = OutputBox(fileType);
  const HRESULT placeholderResult = OutputBox(freeBox.get());
  RETURN_IF_NOT_OK(fileTypeResult | placeholderResult);
  RETURN_IF_NOT_OK(OutputMediaData(file, reader));
  mediaDataPos = ftypSize + freeBox->GetBoxBaseSize() + 8;
  return S_OK;
}

HRESULT CMp4Writer::ProcessNonFirstFile(CMp4File* file, QUIRVA::IQvFileReader* reader) {
  return OutputMediaData(file, reader);
}

HRESULT CMp4Writer::Finalize(CMp4File* firstFile) {
  RETURN_IF(firstFile == nullptr, E_POINTER);
  CMovieBox* movie = firstFile->GetMovieBox();
  RETURN_IF_NOT_OK(CompleteMovie(movie));
  RETURN_IF_NOT_OK(OutputMovieBox(movie));
  return RewriteMediaDataBoxHeader();
}

HRESULT CMp4Writer::OutputBox(CBox* box) {
  RETURN_IF(box == nullptr, E_POINTER);
  CBoxReader reader(box);
  const unsigned char* data = nullptr;
  unsigned int size = 0;
  RETURN_IF_NOT_OK(reader.GetData(&data, &size));
  return WriteData(data, size);
}

HRESULT CMp4Writer::OutputMovieBox(CMovieBox* movie) { return OutputBox(movie); }

HRESULT CMp4Writer::OutputMediaData(CMp4File* file, QUIRVA::IQvFileReader* reader) {
  RETURN_IF(owner == nullptr || file == nullptr || reader == nullptr, E_POINTER);
  const long long start = file->mdatPos;
  const long long total = file->mdatSize;
  const long long end = start + total;
  RETURN_IF_NOT_OK(reader->SetBufferSize(kBlockSize));
  RETURN_IF_NOT_OK(owner->NotifyProgress(0, total));
  long long at = start;
  while (at < end) {
    const unsigned char* data = nullptr;
    unsigned int length = 0;
    RETURN_IF_NEGATIVE(reader->GetData(at, kBlockSize, data, length));
    // A source that ends early delivers nothing for ever. Whoever listens decides; with nobody
    // listening it ends here.
    RETURN_IF(length == 0 && owner->delegate == nullptr, MP4G_E_INPUT_READ);
    RETURN_IF_NOT_OK(
        WriteData(data, static_cast<unsigned int>(std::min<long long>(end - at, length))));
    // By what came, not by what was written: the last report of an input may exceed its total.
    at += length;
    RETURN_IF_NOT_OK(owner->NotifyProgress(std::max(at - start, 0LL), total));
  }
  mediaDataSize += total;
  return S_OK;
}

HRESULT CMp4Writer::RewriteMediaDataBoxHeader() {
  RETURN_IF(freeBox == nullptr, E_POINTER);
  SetWritePos(ftypSize);
  if (mediaDataSize <= kMostMediaWithFreeBox) {
    RETURN_IF_NOT_OK(freeBox->AllocSize(0));
    RETURN_IF_NOT_OK(OutputBox(freeBox.get()));
  }
  unsigned char room[kMediaHeaderRoom];
  unsigned int size = 0;
  RETURN_IF_NOT_OK(FillMediaRoom(static_cast<unsigned long long>(mediaDataSize), room, &size));
  return WriteData(room + kMediaHeaderRoom - size, size);
}

HRESULT CMp4Writer::WriteData(const unsigned char* data, unsigned int size) {
  RETURN_IF(owner == nullptr, E_POINTER);
  if (outputFile == nullptr) RETURN_IF_NOT_OK(CreateOutput());
  const HRESULT result = outputFile->Write(data, size, nullptr);
  return result == S_OK ? S_OK : MP4G_E_OUTPUT_WRITE;
}

HRESULT CMp4Writer::CreateOutput() {
  const wchar_t* path = owner->outputPath.c_str();
  static_cast<void>(QUIRVA::QvFile::Delete(path));
  outputFile = std::make_unique<QUIRVA::QvFile>();
  const HRESULT result = outputFile->Open(path, QUIRVA::QvFile::kWrite);
  return result < 0 ? MP4G_E_OUTPUT_OPEN : S_OK;
}

HRESULT CMp4Writer::ProcessOutput(_tagMP4_OUTPUT* output) {
  RETURN_IF(output == nullptr, E_POINTER);
  return WriteData(output->data, output->size);
}

void CMp4Writer::SetWritePos(long long position) {
  if (outputFile != nullptr)
    static_cast<void>(outputFile->Seek(position, QUIRVA::QvFile::kFromStart));
}

void CMp4Writer::DeleteFile() {
  if (owner == nullptr) return;
  outputFile.reset();
  static_cast<void>(QUIRVA::QvFile::Delete(owner->outputPath.c_str()));
}

}  // namespace MP4G
