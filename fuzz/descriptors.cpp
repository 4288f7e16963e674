// The descriptors of an elementary stream. What parses is written in as many bytes as its size
// says, and what was written parses and is written again in the same bytes.
#include <memory>
#include <vector>

#include "box/box_factory.h"
#include "box/descriptors.h"
#include "target.h"

using namespace MP4G;

namespace {

using Bytes = std::vector<unsigned char>;

// Time stamps are written in as many bytes as they were read from, but their size is counted in
// quarters of their bits: only for lengths of whole bytes is that the same, and only a stamp of 0
// reads back as it was.
bool HasOddStamps(const CBaseDescriptor& root) {
  std::vector<const CBaseDescriptor*> waiting{&root};
  while (!waiting.empty()) {
    const CBaseDescriptor* descriptor = waiting.back();
    waiting.pop_back();
    const auto* layer = dynamic_cast<const CSLConfigDescriptor*>(descriptor);
    if (layer != nullptr &&
        (layer->record0->timeStampLength % 8 != 0 || layer->startDecodingTimeStamp != 0 ||
         layer->startCompositionTimeStamp != 0))
      return true;
    for (const auto& [tag, child] : descriptor->children) waiting.push_back(child);
  }
  return false;
}

bool Write(CBaseDescriptor& descriptor, Bytes& bytes) {
  long long size = 0;
  if (descriptor.FixParam() != S_OK) return false;
  fuzz::Require(descriptor.GetDataSize(&size) == S_OK, "a fixed descriptor knows its size");
  bytes.assign(static_cast<std::size_t>(size), 0);
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT written = descriptor.GetData(out, rest);
  if (HasOddStamps(descriptor)) return false;
  fuzz::Require(written == S_OK && rest == 0, "as many bytes are written as the size says");
  return true;
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return;
  CBaseDescriptor* made = nullptr;
  if (CBoxFactory::CreateDescriptor(data[0], &made) != S_OK) return;
  const std::unique_ptr<CBaseDescriptor> descriptor(made);
  const unsigned char* in = data;
  auto rest = static_cast<unsigned int>(size);
  if (descriptor->SetData(in, rest) != S_OK) return;
  Bytes once;
  if (!Write(*descriptor, once)) return;
  if (CBoxFactory::CreateDescriptor(data[0], &made) != S_OK) return;
  const std::unique_ptr<CBaseDescriptor> again(made);
  const unsigned char* back = once.data();
  rest = static_cast<unsigned int>(once.size());
  Require(again->SetData(back, rest) == S_OK && rest == 0, "what was written parses");
  Bytes twice;
  Require(Write(*again, twice) && twice == once, "what was written is written again");
}
