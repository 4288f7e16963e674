// Maps four-character codes to box classes and tags to descriptor classes: the one place that knows
// what the engine understands.
#pragma once

#include <type_traits>
#include <vector>

#include "box/box.h"

namespace MP4G {

class CBaseDescriptor;
class CDecoderSpecificInfo;

// All operations are static and give the new object to the caller. E_POINTER: the place for the
// result is null. A failure of the object's Init deletes it again.
class CBoxFactory {
 public:
  // Makes a box of any type; one that no table knows becomes a CDataMemBox. For T other than CBox
  // the class must fit, else E_POINTER and a null result.
  template <class T>
  [[nodiscard]] static HRESULT CreateBox(unsigned int type, T** box);
  [[nodiscard]] static HRESULT CreateBoxImpl(unsigned int type, CBox** box);
  [[nodiscard]] static HRESULT CreateDataMemBox(unsigned int type, CBox** box);

  // The four groups of known types in turn. S_FALSE: in none of them, `*box` untouched.
  [[nodiscard]] static HRESULT CreateSupporedBox(unsigned int type, CBox** box);
  [[nodiscard]] static HRESULT CreateAvcBox(unsigned int type, CBox** box);
  [[nodiscard]] static HRESULT CreateMp4Box(unsigned int type, CBox** box);
  [[nodiscard]] static HRESULT CreateIsomBox(unsigned int type, CBox** box);
  [[nodiscard]] static HRESULT CreateEtcBox(unsigned int type, CBox** box);

  // The types of all four groups.
  static std::vector<unsigned int> KnownTypes();

  // Makes an entry of "stsd" below a media box of that handler type. A known type gets its own
  // class, even one that is no entry; an unknown one gets the entry class of the handler, with a
  // class type of 0.
  template <class T>
  [[nodiscard]] static HRESULT CreateSampleEntry(unsigned int type, unsigned int handlerType,
                                                 T** box);
  [[nodiscard]] static HRESULT CreateSampleEntryImpl(unsigned int type, unsigned int handlerType,
                                                     CBox** box);
  // Makes a CTrackReferenceTypeBox whatever the type.
  [[nodiscard]] static HRESULT CreateTrackReferenceTypeBoxImpl(unsigned int type, CBox** box);

  // Makes a descriptor of any tag. For T other than CBaseDescriptor the class must fit, else
  // E_POINTER and a null result.
  template <class T>
  [[nodiscard]] static HRESULT CreateDescriptor(unsigned char tag, T** descriptor);
  [[nodiscard]] static HRESULT CreateDescriptorImpl(unsigned char tag,
                                                    CBaseDescriptor** descriptor);
  // Makes the specific info, with tag 5, of a decoder configuration of that object type.
  template <class T>
  [[nodiscard]] static HRESULT CreateSpecificInfo(unsigned char objectType, T** info);
  [[nodiscard]] static HRESULT CreateSpecificInfoImpl(unsigned char objectType,
                                                      CDecoderSpecificInfo** info);

 private:
  template <class T, class Base>
  [[nodiscard]] static HRESULT GiveAs(Base* object, T** target);
};

template <class T, class Base>
HRESULT CBoxFactory::GiveAs(Base* object, T** target) {
  if constexpr (std::is_same_v<T, Base>) {
    *target = object;
  } else {
    *target = dynamic_cast<T*>(object);
    if (*target == nullptr) delete object;
  }
  return *target != nullptr ? S_OK : E_POINTER;
}

template <class T>
HRESULT CBoxFactory::CreateBox(unsigned int type, T** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  CBox* made = nullptr;
  RETURN_IF_NOT_OK(CreateBoxImpl(type, &made));
  return GiveAs(made, box);
}

template <class T>
HRESULT CBoxFactory::CreateSampleEntry(unsigned int type, unsigned int handlerType, T** box) {
  RETURN_IF(box == nullptr, E_POINTER);
  CBox* made = nullptr;
  RETURN_IF_NOT_OK(CreateSampleEntryImpl(type, handlerType, &made));
  return GiveAs(made, box);
}

template <class T>
HRESULT CBoxFactory::CreateDescriptor(unsigned char tag, T** descriptor) {
  RETURN_IF(descriptor == nullptr, E_POINTER);
  CBaseDescriptor* made = nullptr;
  RETURN_IF_NOT_OK(CreateDescriptorImpl(tag, &made));
  return GiveAs(made, descriptor);
}

template <class T>
HRESULT CBoxFactory::CreateSpecificInfo(unsigned char objectType, T** info) {
  RETURN_IF(info == nullptr, E_POINTER);
  CDecoderSpecificInfo* made = nullptr;
  RETURN_IF_NOT_OK(CreateSpecificInfoImpl(objectType, &made));
  return GiveAs(made, info);
}

}  // namespace MP4G
