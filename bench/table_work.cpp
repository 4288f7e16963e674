// Measures what a merge does with tables, apart from copying media: parse, merge and write, through
// the memory door, on one core. Prints a line per case: clips, samples of each, best seconds.
//
//   table_work OUTPUT ROUNDS
#include <clipchain/merge/m4lm.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "synthetic_clip.h"

namespace {

bool MergeClips(const char* output, const std::vector<unsigned char>& clip, unsigned int clips) {
  void* merge = nullptr;
  bool ok = m4lm_createHandle(&merge) == 0 && m4lm_setOutputPath(merge, output) == 0;
  const unsigned int size = static_cast<unsigned int>(clip.size());
  for (unsigned int i = 0; ok && i < clips; ++i)
    ok = m4lm_inputMp4Data(merge, clip.data(), size) == 0;
  ok = ok && m4lm_finalize(merge) == 0;
  return m4lm_deleteHandle(merge) == 0 && ok;
}

// The shortest time of some rounds; negative if a merge failed.
double BestSeconds(const char* output, unsigned int clips, std::uint32_t samples, int rounds) {
  const std::vector<unsigned char> clip = bench::SyntheticClip(samples);
  double best = std::numeric_limits<double>::max();
  for (int round = 0; round < rounds; ++round) {
    std::remove(output);
    const auto start = std::chrono::steady_clock::now();
    if (!MergeClips(output, clip, clips)) return -1;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  std::remove(output);
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: table_work OUTPUT ROUNDS\n", stderr);
    return 2;
  }
  struct Case {
    unsigned int clips;
    std::uint32_t samples;
  };
  for (const Case& c :
       {Case{2, 250'000}, Case{2, 500'000}, Case{2, 1'000'000}, Case{2, 2'000'000},
        Case{250, 2'000}, Case{500, 2'000}, Case{1'000, 2'000}, Case{2'000, 2'000}}) {
    const double seconds = BestSeconds(argv[1], c.clips, c.samples, std::atoi(argv[2]));
    if (seconds < 0) return 1;
    std::printf("%u %u %.6f\n", c.clips, static_cast<unsigned int>(c.samples), seconds);
  }
  return 0;
}
