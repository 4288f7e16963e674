// The two shapes that many boxes share: a body of one wire record, and children behind fixed
// fields.
#pragma once

#include "box/box.h"
#include "foundation/cursor.h"

namespace MP4G {

// A record as a new box has it: zero, unless the record itself says otherwise by `New()`.
template <class Record>
Record NewRecord() {
  if constexpr (requires { Record::New(); }) {
    return Record::New();
  } else {
    return {};
  }
}

// Adds one record, copied in and out as it stands. A class below that adds another one hides
// `record`; the fields themselves are inherited too.
template <class Base, class Record>
class CRecordBox : public Base, public Record {
 public:
  CRecordBox() : Record(NewRecord<Record>()), record(this) {}

  void Reset() override {
    *record = NewRecord<Record>();
    Base::Reset();
  }
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override {
    RETURN_IF_NOT_OK(Base::SetDataImpl(in, rest));
    return QUIRVA::Take(in, rest, *record);
  }
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
    RETURN_IF_NOT_OK(Base::GetDataSizeImpl(total));
    *total += sizeof(Record);
    return S_OK;
  }
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override {
    RETURN_IF_NOT_OK(Base::GetDataImpl(out, rest));
    return QUIRVA::Put(out, rest, *record);
  }

  Record* record;  // this object's own base part
};

// Adds children behind what the base reads.
template <class Base>
class CParentBox : public Base {
 public:
  [[nodiscard]] HRESULT SetDataImpl(const unsigned char*& in, unsigned int& rest) override {
    const unsigned int restBefore = rest;
    RETURN_IF_NOT_OK(Base::SetDataImpl(in, rest));
    return this->SetChildrenData(in, rest, restBefore - rest);
  }
  [[nodiscard]] HRESULT GetDataSizeImpl(long long* total) const override {
    RETURN_IF_NOT_OK(Base::GetDataSizeImpl(total));
    return this->GetChildrenDataSize(total);
  }
  [[nodiscard]] HRESULT GetDataImpl(unsigned char*& out, unsigned int& rest) const override {
    RETURN_IF_NOT_OK(Base::GetDataImpl(out, rest));
    return this->GetChildrenData(out, rest);
  }
};

}  // namespace MP4G
