// Merges clips with the front object, with progress: merge_clips_front OUT IN...
#include <clipchain/front/merger.h>

#include <cstdio>
#include <filesystem>

namespace {

class PrintedProgress final : public QVMp4MergerDelegate {
 public:
  [[nodiscard]] HRESULT notifyMergeProgress(long long current, long long total) override {
    // The last report of an input may count what stands behind its media data.
    const long long percent = current < total ? current * 100 / total : 100;
    std::printf("\r%3lld %%", percent);
    if (percent == 100) std::printf("\n");
    return S_OK;  // any other value stops the merge
  }
};

HRESULT MergeClips(const char* output, int count, char** inputs) {
  PrintedProgress progress;
  QVMp4Merger merger;
  RETURN_IF(merger.init() == nullptr, E_FAIL);
  RETURN_IF_NOT_OK(merger.setDelegate(&progress));
  RETURN_IF_NOT_OK(merger.setOutputPath(output));
  for (int i = 0; i < count; ++i) RETURN_IF_NOT_OK(merger.inputMp4File(inputs[i]));
  return merger.finalizeMerger();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: merge_clips_front OUT IN...\n", stderr);
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
