// Two inputs split from the bytes: a merge never leaves memory, and two runs give the same answers.
#include <array>
#include <cstdlib>

#include "foundation/com_ptr.h"
#include "merge/live_merge.h"

namespace {

using Answers = std::array<HRESULT, 3>;

Answers Merge(const unsigned char* first, std::size_t firstSize, const unsigned char* second,
              std::size_t secondSize) {
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
  if (MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()) !=
          S_OK ||
      merge->SetOutputPath(L"/dev/null") != S_OK)
    std::abort();
  const HRESULT a = merge->InputMp4Data(first, static_cast<unsigned int>(firstSize));
  const HRESULT b = merge->InputMp4Data(second, static_cast<unsigned int>(secondSize));
  return {a, b, merge->Finalize()};
}

}  // namespace

// The first two bytes say where the second input begins.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t split = (static_cast<std::size_t>(data[0]) << 8 | data[1]) % (size - 1);
  const unsigned char* inputs = data + 2;
  size -= 2;
  const std::size_t firstSize = split < size ? split : size;
  const auto run = [&] { return Merge(inputs, firstSize, inputs + firstSize, size - firstSize); };
  if (run() != run()) std::abort();
  return 0;
}
