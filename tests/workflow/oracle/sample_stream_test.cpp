#include "workflow/oracle/sample_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "adapt/fragment_boxes.h"
#include "support/temp_dir.h"

namespace clipchain::samples {
namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::U32;
using support::operator+;

// Two samples of four bytes, whose flags say 0x10 and 0x20 of dependencies.
Bytes TwoSamples(const Bytes& dependencies) {
  const Bytes header = FullBox("tfhd", 0, 0x20018, {U32(1), U32(40), U32(4)});
  const std::uint32_t data = 92 + static_cast<std::uint32_t>(dependencies.size());
  const Bytes run =
      FullBox("trun", 0, 0x401, {U32(2), U32(data), U32(0x01000000), U32(0x02000000)});
  return Box("moof", {FullBox("mfhd", 0, 0, {U32(1)}), Box("traf", {header, run, dependencies})}) +
         Box("mdat", {U32(1), U32(2)});
}

std::vector<int> DependenciesOf(const Bytes& rest) {
  const support::TempDir folder;
  const std::string path = folder / "clip";
  support::WriteFile(path, Box("ftyp", {support::Text("iso6"), U32(0)}) +
                               AnnouncingMovie({AnnouncedTrack{}}) + rest);
  const int opened = ::open(path.c_str(), O_RDONLY);
  std::vector<int> found;
  {
    FileBytes bytes(opened);
    SampleFile file(bytes);
    EXPECT_EQ(file.Read(), std::nullopt);
    SampleStream stream(file, file.Tracks().front());
    SampleRun run;
    while (stream.Next(run)) {
      found.insert(found.end(), static_cast<std::size_t>(run.count), run.depends);
      stream.Skip(run.count);
    }
  }
  ::close(opened);
  return found;
}

TEST(SampleStream, FlagsOfAFragmentSayWhatSamplesDependOn) {
  EXPECT_EQ(DependenciesOf(TwoSamples({})), (std::vector<int>{0x10, 0x20}));
}

TEST(SampleStream, ATableInAFragmentGoesBeforeItsFlags) {
  EXPECT_EQ(
      DependenciesOf(TwoSamples(FullBox("sdtp", 0, 0, {support::Hex("18 28")})) + TwoSamples({})),
      (std::vector<int>{0x18, 0x28, 0x10, 0x20}));
}

// The last sample of the tables stays until the first fragment begins.
TEST(SampleStream, TablesLastUntilTheFirstFragment) {
  const auto stepsOf = [](const Bytes& times) {
    AnnouncedTrack track;
    track.tables = FullBox("stts", 0, 0, {U32(1), U32(3), U32(40)}) +
                   FullBox("stsc", 0, 0, {U32(1), U32(1), U32(3), U32(1)}) +
                   FullBox("stsz", 0, 0, {U32(1), U32(3)}) +
                   FullBox("stco", 0, 0, {U32(1), U32(0)});
    const Bytes header = FullBox("tfhd", 0, 0x20018, {U32(1), U32(40), U32(4)});
    const Bytes run = FullBox("trun", 0, 0x1, {U32(2), U32(92)});
    const support::TempDir folder;
    const std::string path = folder / "clip";
    support::WriteFile(path, AnnouncingMovie({track}) +
                                 Box("moof", {Box("traf", {header, times, run})}) +
                                 Box("mdat", {U32(1), U32(2)}));
    FileBytes bytes(path);
    SampleFile file(bytes);
    EXPECT_EQ(file.Read(), std::nullopt);
    SampleStream stream(file, file.Tracks().front());
    std::vector<long long> steps;
    SampleRun found;
    while (stream.Next(found)) {
      steps.insert(steps.end(), static_cast<std::size_t>(found.count), found.step);
      stream.Skip(found.count);
    }
    return steps;
  };
  using Steps = std::vector<long long>;
  EXPECT_EQ(stepsOf({}), (Steps{40, 40, 40, 40, 40}));
  EXPECT_EQ(stepsOf(FullBox("tfdt", 0, 0, {U32(120)})), (Steps{40, 40, 40, 40, 40}));
  EXPECT_EQ(stepsOf(FullBox("tfdt", 0, 0, {U32(150)})), (Steps{40, 40, 70, 40, 40}));
  EXPECT_EQ(stepsOf(FullBox("tfdt", 0, 0, {U32(110)})), (Steps{40, 40, 30, 40, 40}));
}

}  // namespace
}  // namespace clipchain::samples
