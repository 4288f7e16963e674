// Genuine clips of uncommon size. A merge takes no more memory than 32 MiB and four times its
// inputs' movie boxes, whatever the media.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "merge/m4lm.h"
#include "reader/mp4_file.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/result_matchers.h"
#include "support/table_bytes.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using support::Bytes;
using support::TempDir;
using support::operator+;

constexpr std::size_t kMostBesides = 32u << 20;

// A line of /proc/self/status, in bytes.
std::size_t Status(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string key;
    std::size_t kilobytes = 0;
    if (words >> key >> kilobytes && key == name + ":") return kilobytes * 1024;
  }
  ADD_FAILURE() << "no " << name;
  return 0;
}

// The most memory that is held from now on, beyond what is held now.
class PeakMemory {
 public:
  PeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
    before_ = Status("VmRSS");
  }
  std::size_t Bytes() const { return Status("VmHWM") - before_; }

 private:
  std::size_t before_;
};

void MergeFiles(const std::vector<fs::path>& inputs, const fs::path& output) {
  void* handle = nullptr;
  ASSERT_OK(m4lm_createHandle(&handle));
  ASSERT_OK(m4lm_setOutputPath(handle, output.c_str()));
  for (const fs::path& input : inputs) ASSERT_OK(m4lm_inputMp4File(handle, input.c_str()));
  ASSERT_OK(m4lm_finalize(handle));
  ASSERT_OK(m4lm_deleteHandle(handle));
}

Bytes ReadPart(const fs::path& path, std::uint64_t position, std::size_t size) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(position));
  Bytes bytes(size);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  EXPECT_TRUE(file.good());
  return bytes;
}

Bytes Repeated(const Bytes& bytes, std::size_t times) {
  Bytes all;
  for (std::size_t i = 0; i < times; ++i) all.insert(all.end(), bytes.begin(), bytes.end());
  return all;
}

TEST(Giants, FiveThousandChildrenInOneBoxAreKept) {
  const TempDir folder;
  support::MovieBuilder clip = support::Clip(5);
  clip.extraMovieBoxes = Repeated(support::Box("abcd", {support::U32(7)}), 5000);
  support::WriteFile(folder / "clip.mp4", clip.Build());
  ASSERT_NO_FATAL_FAILURE(
      MergeFiles({folder / "clip.mp4", folder / "clip.mp4"}, folder / "merged.mp4"));
  MP4G::CMp4File merged;
  ASSERT_OK(merged.SetFile((folder / "merged.mp4").wstring().c_str()));
  EXPECT_EQ(5000u,
            merged.GetMovieBox()->GetChildBoxNum(support::ReadU32(support::Text("abcd"), 0)));
  const auto movie = support::ReadMovie(support::ReadFile(folder / "merged.mp4"));
  EXPECT_EQ(10u, movie.tracks[0].samples.size());
}

// A clip of so many samples of 1 and 2 bytes, all in one chunk, and of the size of its movie box.
std::size_t WriteManySamples(const fs::path& path, std::uint32_t samples) {
  support::MovieBuilder clip;
  support::Track video = support::VideoTrack(1);
  video.withSampleDescription = true;
  clip.Add(video);
  Bytes sizes = support::U32(0) + support::U32(samples);
  sizes.resize(8 + std::size_t{samples} * 4);
  for (std::size_t i = 0; i < samples; ++i)
    sizes[8 + i * 4 + 3] = static_cast<unsigned char>(1 + i % 2);
  const std::uint32_t media = samples + samples / 2;
  const Bytes head = clip.fileType + support::Box("mdat", {support::Fill(media, 0x5A)});
  const auto offset = static_cast<std::uint32_t>(clip.fileType.size() + 8);
  const Bytes table =
      support::Box("stbl", {support::FullBox("stsd", 0, 0, {support::U32(1), support::AvcEntry()}),
                            support::Stts({{samples, 1000}}), support::Stsc({{1, samples}}),
                            support::FullBox("stsz", 0, 0, {sizes}), support::Stco({offset})});
  // The rest of the movie is that of a clip of one sample.
  const Bytes small = clip.Build();
  const auto piece = [&small](const char* type) {
    const std::size_t at = support::FindBox(small, type);
    return support::Slice(small, at, at + support::ReadU32(small, at));
  };
  const Bytes movie = support::Box(
      "moov",
      {piece("mvhd"),
       support::Box(
           "trak",
           {piece("tkhd"), support::Box("mdia", {piece("mdhd"), piece("hdlr"),
                                                 support::Box("minf", {piece("vmhd"), table})})})});
  support::WriteFile(path, head + movie);
  return movie.size();
}

TEST(HeavyGiants, MillionsOfSamplesInOneTrack) {
  constexpr std::uint32_t kSamples =
      9'200'000;  // twice; a movie box of 50 million bytes is not read
  const TempDir folder;
  const std::size_t movie = WriteManySamples(folder / "clip.mp4", kSamples);
  const PeakMemory peak;
  ASSERT_NO_FATAL_FAILURE(
      MergeFiles({folder / "clip.mp4", folder / "clip.mp4"}, folder / "merged.mp4"));
  EXPECT_LE(peak.Bytes(), kMostBesides + 4 * 2 * movie);

  const Bytes merged = support::ReadFile(folder / "merged.mp4");
  const std::size_t sizes = support::FindBox(merged, "stsz");
  ASSERT_NE(support::kNotFound, sizes);
  EXPECT_EQ(0u, support::ReadU32(merged, sizes + 12));
  ASSERT_EQ(2 * kSamples, support::ReadU32(merged, sizes + 16));
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < 2 * kSamples; ++i) sum += merged[sizes + 20 + i * 4 + 3];
  EXPECT_EQ(2 * (std::uint64_t{kSamples} + kSamples / 2), sum);
}

TEST(HeavyGiants, SixGibibytesOfMedia) {
  constexpr std::uint64_t kMedia = 6ull << 30;
  const TempDir folder;
  support::MovieBuilder clip = support::Clip(6, 1);
  clip.movieFirst = true;
  clip.mediaToEnd = true;
  const Bytes bytes = clip.Build();
  const std::uint64_t head = bytes.size() - clip.Media().size();
  support::WriteFile(folder / "large.mp4", bytes);
  fs::resize_file(folder / "large.mp4", head + kMedia);
  support::WriteFile(folder / "small.mp4", support::Clip(6, 2).Build());

  const PeakMemory peak;
  ASSERT_NO_FATAL_FAILURE(
      MergeFiles({folder / "large.mp4", folder / "small.mp4"}, folder / "merged.mp4"));
  EXPECT_LE(peak.Bytes(), kMostBesides + 4 * bytes.size());

  const std::size_t start = clip.fileType.size() + 16;
  EXPECT_EQ(clip.Media(), ReadPart(folder / "merged.mp4", start, clip.Media().size()));
  const Bytes second = support::Clip(6, 2).Media();
  EXPECT_EQ(second, ReadPart(folder / "merged.mp4", start + kMedia, second.size()));
  EXPECT_EQ(support::U32(1) + support::Text("mdat") + support::U64(16 + kMedia + second.size()),
            ReadPart(folder / "merged.mp4", start - 16, 16));
}

}  // namespace
