// Merges clips through the object interface, with progress: merge_clips OUT IN...
#include <clipchain/foundation/com_ptr.h>
#include <clipchain/foundation/strings.h>
#include <clipchain/merge/live_merge.h>

#include <cstdio>
#include <filesystem>

namespace {

class PrintedProgress final : public MP4G::IMp4LiveMergeDelegate {
 public:
  [[nodiscard]] HRESULT NotifyProgress(long long current, long long total) override {
    std::printf("%lld of %lld bytes\n", current, total);
    return S_OK;  // any other value stops the merge
  }
};

HRESULT MergeClips(const char* output, int count, char** inputs) {
  PrintedProgress progress;
  MP4G::IMp4LiveMergeDelegate* delegate = &progress;
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
  RETURN_IF_NOT_OK(
      MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()));
  RETURN_IF_NOT_OK(merge->SetDelegate(MP4G::IID_IMp4LiveMergeDelegate, delegate));
  RETURN_IF_NOT_OK(merge->SetOutputPath(QUIRVA::WidePathFromBytes(output).c_str()));
  for (int i = 0; i < count; ++i)
    RETURN_IF_NOT_OK(merge->InputMp4File(QUIRVA::WidePathFromBytes(inputs[i]).c_str()));
  return merge->Finalize();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: merge_clips OUT IN...\n", stderr);
    return 2;
  }
  // The engine replaces what lies there with its first byte, be it a clip.
  if (std::filesystem::exists(argv[1])) {
    std::fprintf(stderr, "%s exists already\n", argv[1]);
    return 1;
  }
  const HRESULT result = MergeClips(argv[1], argc - 2, argv + 2);
  if (result != S_OK) std::fprintf(stderr, "%s\n", ResultName(result).c_str());
  return result == S_OK ? 0 : 1;
}
