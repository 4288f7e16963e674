// Chains clips into the recordings that they belong to: chain_clips IN...
#include <clipchain/front/creator.h>

#include <cstdio>

namespace {

void PrintSequence(QVMp4SequenceCreator& creator, int index) {
  const _tagQVTimeDate date = creator.timedateOfSequenceAt(index);
  std::printf("%04d-%02d-%02d %02d:%02d:%02d%s\n", date.year, date.month, date.day, date.hour,
              date.minute, date.second, creator.sequenceIsUnclosed(index) ? ", incomplete" : "");
  const int count = static_cast<int>(creator.filecountOfSequenceAt(index));
  for (int i = 0; i < count; ++i)
    std::printf("  %s\n", creator.filepathOfSequenceAt(index, i).value_or("").c_str());
}

}  // namespace

int main(int argc, char** argv) {
  QVMp4SequenceCreator creator;
  if (creator.init() == nullptr) return 1;
  for (int i = 1; i < argc; ++i) {
    const HRESULT result = creator.registerMp4(argv[i]);
    if (result != S_OK) std::fprintf(stderr, "%s: %s\n", argv[i], ResultName(result).c_str());
  }
  const int count = static_cast<int>(creator.sequenceCount());
  for (int i = 0; i < count; ++i) PrintSequence(creator, i);
  return count > 0 ? 0 : 1;
}
