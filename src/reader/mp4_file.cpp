#include "reader/mp4_file.h"

#include <limits>
#include <utility>

#include "foundation/reader_wrapper.h"

namespace MP4G {

namespace {

constexpr unsigned int kLeastBufferSize = 100000;
// Enough to see the large size of a top-level header.
constexpr unsigned int kHeaderPeek = 16;

}  // namespace

void CMp4File::Reset() { ResetAtSetReader(); }

void CMp4File::ResetAtSetReader() {
  filePath.clear();
  fileSize = 0;
  readError = S_OK;
  mdatPos = 0;
  mdatSize = 0;
  ResetTree();
}

HRESULT CMp4File::SetFile(const wchar_t* path) {
  RETURN_IF(path == nullptr, E_POINTER);
  std::wstring given = path;  // which may be this object's own
  HRESULT opened = S_OK;
  QUIRVA::FileReaderWrapper reader(given.c_str(), kLeastBufferSize, opened);
  if (opened < 0) ResetAtSetReader();
  RETURN_IF_NEGATIVE(opened);
  RETURN_IF_NEGATIVE(SetReader(&reader));
  filePath = std::move(given);
  return S_OK;
}

HRESULT CMp4File::SetReader(QUIRVA::IQvFileReader* reader) {
  ResetAtSetReader();
  RETURN_IF_NOT_OK(SetReaderImpl(reader));
  fileSize = reader->GetFileSize();
  return S_OK;
}

HRESULT CMp4File::SetReaderImpl(QUIRVA::IQvFileReader* reader) {
  RETURN_IF(reader == nullptr, E_POINTER);
  unsigned int bufferSize = reader->GetBufferSize();
  if (bufferSize < kLeastBufferSize) {
    RETURN_IF_NOT_OK(reader->SetBufferSize(kLeastBufferSize));
    bufferSize = kLeastBufferSize;
  }
  const long long sourceSize = reader->GetFileSize();
  long long at = 0;
  while (at < sourceSize) {
    CBox peek;
    RETURN_IF_NOT_OK(PeekHeader(reader, at, &peek));
    const unsigned int type = peek.header->type;
    RETURN_IF(!CBox::IsTopLevelBox(type), E_BAD_TYPE);
    long long boxSize = peek.GetBoxSize();
    if (boxSize == 0) boxSize = sourceSize - at;

    if (type == FourCc("mdat")) {
      const unsigned int headerSize = peek.GetBoxBaseSize();
      mdatPos = at + headerSize;
      mdatSize = boxSize > headerSize ? boxSize - headerSize : 0;
      AddBoxType(type);
    } else if (boxSize >= kLeastUnloadedBoxSize) {
      AddBoxType(type);
    } else if (boxSize > 0) {
      RETURN_IF_NOT_OK(LoadBox(reader, at, boxSize, bufferSize));
    }
    // A size that counts as negative would send the walk backward for ever.
    RETURN_IF(boxSize < 0 || boxSize > std::numeric_limits<long long>::max() - at, E_BAD_DATA);
    at += boxSize;
  }
  RETURN_IF(GetFileTypeBox() == nullptr || GetMovieBox() == nullptr, E_BAD_DATA);
  return S_OK;
}

HRESULT CMp4File::PeekHeader(QUIRVA::IQvFileReader* reader, long long at, CBox* peek) {
  const unsigned char* bytes = nullptr;
  unsigned int got = 0;
  const HRESULT result = reader->GetData(at, kHeaderPeek, bytes, got);
  if (result < 0) {
    readError = result;
    return result;
  }
  RETURN_IF(result == S_FALSE && got < 8, E_BAD_DATA);
  return peek->Set16Byte(bytes, got);
}

HRESULT CMp4File::LoadBox(QUIRVA::IQvFileReader* reader, long long at, long long boxSize,
                          unsigned int bufferSize) {
  const unsigned int size = static_cast<unsigned int>(boxSize);
  if (bufferSize < size) RETURN_IF_NOT_OK(reader->SetBufferSize(size));
  const unsigned char* bytes = nullptr;
  unsigned int got = 0;
  const HRESULT result = reader->GetData(at, size, bytes, got);
  if (result < 0) {
    readError = result;
    return result;
  }
  RETURN_IF(result == S_FALSE, E_BAD_DATA);
  return AddBoxData(bytes, got, at);
}

}  // namespace MP4G
