// Measures how fast clips of one recording are registered. Prints a line per case: clips, samples
// of each, seconds of the analysis alone, seconds of the registration; the best of some rounds.
//
//   registration FOLDER ROUNDS
//
// The clips are registered in an order without any, which makes and joins as many sequences as
// possible on the way.
#include <clipchain/clip/sequence_engine.h>
#include <clipchain/clip/vireo_mp4.h>
#include <clipchain/foundation/com_ptr.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "synthetic_clip.h"

namespace {

namespace fs = std::filesystem;

using Paths = std::vector<std::wstring>;

// The clips of a recording, shuffled.
Paths WriteRecording(const fs::path& folder, std::uint32_t clips, std::uint32_t samples) {
  Paths paths;
  for (std::uint32_t number = 1; number <= clips; ++number) {
    const fs::path path = folder / (std::to_string(number) + ".mp4");
    const std::vector<unsigned char> clip = bench::ChainedClip(samples, number, clips);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(clip.data()),
               static_cast<std::streamsize>(clip.size()));
    paths.push_back(path.wstring());
  }
  std::shuffle(paths.begin(), paths.end(), std::mt19937(1));
  return paths;
}

bool Analyse(const Paths& paths) {
  return std::all_of(paths.begin(), paths.end(), [](const std::wstring& path) {
    return MP4G::CVireoMp4(0).ParseFile(path.c_str()) == S_OK;
  });
}

bool Register(const Paths& paths) {
  QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> creator;
  if (MP4G::CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                     creator.Receive()) != S_OK)
    return false;
  for (const std::wstring& path : paths)
    if (creator->RegisterMp4(path.c_str()) != S_OK) return false;
  return creator->GetSequenceCount() == 1 && creator->GetUnclosedSequenceCount() == 0;
}

std::optional<double> Seconds(bool (*work)(const Paths&), const Paths& paths) {
  const auto start = std::chrono::steady_clock::now();
  if (!work(paths)) return std::nullopt;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool Measure(const fs::path& folder, std::uint32_t clips, std::uint32_t samples, int rounds) {
  fs::create_directories(folder);
  const Paths paths = WriteRecording(folder, clips, samples);
  double analysis = std::numeric_limits<double>::max();
  double registration = analysis;
  for (int round = 0; round < rounds; ++round) {
    const std::optional<double> analysed = Seconds(Analyse, paths);
    const std::optional<double> registered = Seconds(Register, paths);
    if (!analysed || !registered) return false;
    analysis = std::min(analysis, *analysed);
    registration = std::min(registration, *registered);
  }
  fs::remove_all(folder);
  std::printf("%u %u %.6f %.6f\n", clips, samples, analysis, registration);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: registration FOLDER ROUNDS\n", stderr);
    return 2;
  }
  const fs::path folder = argv[1];
  const int rounds = std::atoi(argv[2]);
  constexpr std::uint32_t kMegabyteOfTables = 50'000;
  const bool done = Measure(folder, 100, 1, rounds) && Measure(folder, 1000, 1, rounds) &&
                    Measure(folder, 5000, 1, rounds) &&
                    Measure(folder, 1000, kMegabyteOfTables, rounds);
  return done ? 0 : 1;
}
