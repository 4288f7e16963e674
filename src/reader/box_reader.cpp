#include "reader/box_reader.h"

#include "box/box.h"

namespace MP4G {

void CBoxReader::Reset() { buffer.reset(); }

HRESULT CBoxReader::GetData(const unsigned char** data, unsigned int* size) {
  Reset();
  RETURN_IF(data == nullptr || size == nullptr, E_POINTER);
  unsigned int rest = 0;
  RETURN_IF_NOT_OK(Fix(&rest));
  buffer = std::make_unique<QUIRVA::CSimpleBuffer>();
  RETURN_IF_NOT_OK(buffer->SetSize(rest));
  unsigned char* out = buffer->GetData();
  RETURN_IF_NOT_OK(box->GetData(out, rest));
  *data = buffer->GetData();
  *size = buffer->GetSize();
  return S_OK;
}

HRESULT CBoxReader::GetData(std::vector<unsigned char>& bytes) {
  unsigned int rest = 0;
  RETURN_IF_NOT_OK(Fix(&rest));
  bytes.resize(rest);
  unsigned char* out = bytes.data();
  return box->GetData(out, rest);
}

HRESULT CBoxReader::Fix(unsigned int* size) {
  RETURN_IF(box == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(box->FixParam());
  long long total = 0;
  RETURN_IF_NOT_OK(box->GetDataSize(&total));
  RETURN_IF(total <= 0 || total > 0xFFFFFFFF, E_BAD_DATA);
  *size = static_cast<unsigned int>(total);
  return S_OK;
}

}  // namespace MP4G
