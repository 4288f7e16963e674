// The decoder configuration of AVC, as "avcC" holds it. What parses is written in as many bytes as
// its size says, and what was written parses and is written again in the same bytes.
#include <vector>

#include "box/avc_configuration.h"
#include "target.h"

using MP4G::CAvcDecoderConfigurationRecord;

namespace {

using Bytes = std::vector<unsigned char>;

HRESULT Read(CAvcDecoderConfigurationRecord& record, const unsigned char* in, std::size_t size) {
  auto rest = static_cast<unsigned int>(size);
  record.expectedSize = rest;
  return record.SetData(in, rest);
}

Bytes Write(const CAvcDecoderConfigurationRecord& record) {
  long long size = 0;
  fuzz::Require(record.GetDataSize(&size) == S_OK, "a record knows its size");
  Bytes bytes(static_cast<std::size_t>(size));
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  fuzz::Require(record.GetData(out, rest) == S_OK && rest == 0,
                "as many bytes are written as the size says");
  return bytes;
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  CAvcDecoderConfigurationRecord record;
  if (Read(record, data, size) != S_OK) return;
  const Bytes once = Write(record);
  // The bytes of an extension's sets are taken from another place than they are written to.
  if (!record.spsExtList.empty()) return;
  Require(once.size() <= size, "no record swells");
  CAvcDecoderConfigurationRecord again;
  Require(Read(again, once.data(), once.size()) == S_OK, "what was written parses");
  Require(Write(again) == once, "what was written is written again");
}
