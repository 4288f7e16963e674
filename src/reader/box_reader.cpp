#include "reader/box_reader.h"

#include "box/box.h"

namespace MP4G {

void CBoxReader::Reset() { buffer.reset(); }

HRESULT CBoxReader::GetData(const unsigned char** data, unsigned int* size) {
  Reset();
  RETURN_IF(data == nullptr || size == nullptr || box == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(box->FixParam());
  long long total = 0;
  RETURN_IF_NOT_OK(box->GetDataSize(&total));
  RETURN_IF(total <= 0 || total > 0xFFFFFFFF, E_BAD_DATA);

  buffer = std::make_unique<QUIRVA::CSimpleBuffer>();
  RETURN_IF_NOT_OK(buffer->SetSize(static_cast<unsigned long long>(total)));
  unsigned char* out = buffer->GetData();
  unsigned int rest = static_cast<unsigned int>(total);
  RETURN_IF_NOT_OK(box->GetData(out, rest));
  *data = buffer->GetData();
  *size = static_cast<unsigned int>(total);
  return S_OK;
}

}  // namespace MP4G
