#include "box/es_descriptor_box.h"

#include "box/box_factory.h"

namespace MP4G {

HRESULT CESDBox::Init() {
  RETURN_IF_NOT_OK(CBox::Init());
  CEsDescriptor* made = nullptr;
  RETURN_IF_NOT_OK(CBoxFactory::CreateDescriptor(kEsDescriptorTag, &made));
  descriptor.reset(made);
  return S_OK;
}

void CESDBox::Reset() {
  descriptor.reset();
  CBox::Reset();
}

HRESULT CESDBox::SetDataImpl(const unsigned char*& in, unsigned int& rest) {
  RETURN_IF(descriptor == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(CFullBox::SetDataImpl(in, rest));
  RETURN_IF_NOT_OK(descriptor->Init());
  return descriptor->SetData(in, rest);
}

HRESULT CESDBox::FixParamImpl() {
  RETURN_IF(descriptor == nullptr, E_POINTER);
  return descriptor->FixParam();
}

HRESULT CESDBox::GetDataSizeImpl(long long* total) const {
  RETURN_IF(total == nullptr || descriptor == nullptr, E_POINTER);
  long long descriptorSize = 0;
  RETURN_IF_NOT_OK(CFullBox::GetDataSizeImpl(total));
  RETURN_IF_NOT_OK(descriptor->GetDataSize(&descriptorSize));
  *total += descriptorSize;
  return S_OK;
}

HRESULT CESDBox::GetDataImpl(unsigned char*& out, unsigned int& rest) const {
  RETURN_IF(descriptor == nullptr, E_POINTER);
  RETURN_IF_NOT_OK(CFullBox::GetDataImpl(out, rest));
  return descriptor->GetData(out, rest);
}

}  // namespace MP4G
