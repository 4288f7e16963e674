// The check and the merge agree: what the one calls impossible the other refuses, and nothing else.
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <random>

#include "support/vendor_box.h"
#include "workflow/checks/check_fixture.h"

using support::Box;
using support::Bytes;
using support::FullBox;
using support::MovieBuilder;
using support::Track;
using support::U16;
using support::U32;
using support::Zeros;

namespace {

struct Variant {
  const char* name;
  Bytes bytes;
};

MovieBuilder Plain() {
  MovieBuilder clip = support::Clip(12);
  clip.tracks[1].edits.reset();
  return clip;
}

Variant Changed(const char* name, const std::function<void(MovieBuilder&)>& change) {
  MovieBuilder clip = Plain();
  change(clip);
  return {name, clip.Build()};
}

void WithoutBox(Bytes& bytes, const char* type, unsigned int index = 0) {
  const std::size_t at = support::FindBox(bytes, type, index);
  std::copy_n("free", 4, bytes.begin() + static_cast<std::ptrdiff_t>(at) + 4);
}

Variant Without(const char* name, const char* type) {
  Bytes bytes = Plain().Build();
  WithoutBox(bytes, type);
  return {name, bytes};
}

// Of two tracks of one identifier, each without the box in one of them.
Variant WithoutInOneOfTwins(const char* name, const char* type, unsigned int track,
                            std::uint32_t id) {
  MovieBuilder clip = Plain();
  for (Track& twin : clip.tracks) twin.id = id;
  Bytes bytes = clip.Build();
  WithoutBox(bytes, type, track);
  return {name, bytes};
}

std::vector<Variant> Variants() {
  const auto audio = [](MovieBuilder& m) -> Track& { return m.tracks[1]; };
  const auto video = [](MovieBuilder& m) -> Track& { return m.tracks[0]; };
  std::vector<Variant> variants = {
      Changed("plain", [](MovieBuilder&) {}),
      Changed("movie scale", [](MovieBuilder& m) { m.timeScale = 601; }),
      Changed("media scale", [&](MovieBuilder& m) { video(m).timeScale = 25000; }),
      Changed("one track", [](MovieBuilder& m) { m.tracks.pop_back(); }),
      Changed("two pictures", [](MovieBuilder& m) { m.tracks[1] = support::VideoTrack(12, 2); }),
      Changed("other order", [](MovieBuilder& m) { std::swap(m.tracks[0], m.tracks[1]); }),
      Changed("other codec settings",
              [&](MovieBuilder& m) {
                video(m).sampleEntry =
                    support::AvcEntry(support::Hex("01640029FFE1000467640029 01000468EE3CB0"));
              }),
      Changed("edit",
              [&](MovieBuilder& m) {
                video(m).edits = {{240, 0}};
              }),
      Changed("empty edit list",
              [&](MovieBuilder& m) { video(m).edits = std::vector<support::Edit>(); }),
      Changed("two edits",
              [&](MovieBuilder& m) {
                video(m).edits = {{20, -1}, {240, 0}};
              }),
      Changed("ctts",
              [&](MovieBuilder& m) {
                video(m).ctts = {{12, 1000}};
              }),
      Changed("stss",
              [&](MovieBuilder& m) {
                video(m).stss = {1, 7};
              }),
      Changed("sdtp", [&](MovieBuilder& m) { video(m).sdtp = Bytes(12, 0x20); }),
      Changed("uniform",
              [&](MovieBuilder& m) {
                audio(m).uniformSize = 9;
                audio(m).sampleSizes.assign(audio(m).sampleSizes.size(), 9);
              }),
      Changed("other uniform",
              [&](MovieBuilder& m) {
                audio(m).uniformSize = 7;
                audio(m).sampleSizes.assign(audio(m).sampleSizes.size(), 7);
              }),
      Changed("co64", [&](MovieBuilder& m) { audio(m).co64 = true; }),
      Changed("wide headers", [&](MovieBuilder& m) { audio(m).wideHeaders = true; }),
      Changed("no movie header", [](MovieBuilder& m) { m.withMovieHeader = false; }),
      Changed("no track header", [&](MovieBuilder& m) { audio(m).withTrackHeader = false; }),
      Changed("no media header", [&](MovieBuilder& m) { audio(m).withMediaHeader = false; }),
      Changed("no descriptions", [&](MovieBuilder& m) { audio(m).withSampleDescription = false; }),
      Changed("same identifier", [&](MovieBuilder& m) { audio(m).id = 1; }),
      Changed("no tracks", [](MovieBuilder& m) { m.tracks.clear(); }),
      Changed("unknown box on top", [](MovieBuilder& m) { m.tail = Box("wide"); }),
      Changed("meta on top", [](MovieBuilder& m) { m.tail = Box("meta", {Zeros(4)}); }),
      Changed("second media", [](MovieBuilder& m) { m.tail = Box("mdat", {Zeros(9)}); }),
      Changed("stray bytes", [](MovieBuilder& m) { m.tail = Zeros(5); }),
      Changed("odd brands", [](MovieBuilder& m) { m.fileType = Box("ftyp", {Zeros(11)}); }),
      Changed("no file type", [](MovieBuilder& m) { m.fileType = Box("free", {Zeros(8)}); }),
      Changed("fragments", [](MovieBuilder& m) { m.extraMovieBoxes = Box("mvex"); }),
      Changed("movie first", [](MovieBuilder& m) { m.movieFirst = true; }),
      Changed("groups",
              [&](MovieBuilder& m) {
                video(m).extraTableBoxes = FullBox("sbgp", 0, 0, {support::Text("roll"), U32(0)});
              }),
      Without("no stts", "stts"),
      Without("no stsc", "stsc"),
      Without("no stsz", "stsz"),
      Without("no stco", "stco"),
      Without("no stbl", "stbl"),
      Without("no mdia", "mdia"),
      WithoutInOneOfTwins("no stco in the second of twins", "stco", 1, 1),
      WithoutInOneOfTwins("no stco in the first of twins", "stco", 0, 1),
      WithoutInOneOfTwins("no stbl in the second of twins", "stbl", 1, 1),
      WithoutInOneOfTwins("no track header in the second of nameless twins", "tkhd", 1, 0),
      WithoutInOneOfTwins("no track header in the first of nameless twins", "tkhd", 0, 0),
  };
  Bytes cut = Plain().Build();
  cut.resize(cut.size() - 20);
  variants.push_back({"cut in the movie", cut});
  Bytes cutMedia = Plain().Build();
  cutMedia.resize(support::FindBox(cutMedia, "moov") - 20);
  variants.push_back({"cut in the media", cutMedia});
  MovieBuilder front = Plain();
  front.movieFirst = true;
  Bytes cutBehind = front.Build();
  cutBehind.resize(cutBehind.size() - 20);
  variants.push_back({"cut in media behind", cutBehind});
  return variants;
}

class CheckAgreement : public support::CheckTest {
 protected:
  // Every merge flushes its output, and thousands of flushes take their time where there is a disk.
  CheckAgreement() {
    if (std::filesystem::is_directory("/dev/shm"))
      output = "/dev/shm/clipchain-check-" + std::to_string(::getpid());
  }
  ~CheckAgreement() override {
    std::filesystem::remove(output);
    EXPECT_GT(taken_, 0);
    EXPECT_GT(refused_, 0);
  }

  void ExpectAgreement(const std::vector<std::string>& inputs, const std::string& what) {
    const clipchain::CheckReport report = CheckAll(inputs);
    const HRESULT merged = Merge(inputs);
    ++(merged == S_OK ? taken_ : refused_);
    EXPECT_EQ(merged != S_OK, IsRefused(report))
        << what << ": " << ResultName(merged) << testing::PrintToString(NamesOf(report));
    if (merged == S_OK && !IsRefused(report)) {
      EXPECT_EQ(static_cast<long long>(support::ReadFile(output).size()), report.outputSize)
          << what;
    }
  }

 private:
  int taken_ = 0;
  int refused_ = 0;
};

}  // namespace

TEST_F(CheckAgreement, HoldsForSingleClips) {
  for (const Variant& variant : Variants())
    ExpectAgreement({Put(variant.name, variant.bytes)}, variant.name);
}

TEST_F(CheckAgreement, HoldsForAllPairs) {
  const std::vector<Variant> variants = Variants();
  std::vector<std::string> paths;
  for (const Variant& variant : variants) paths.push_back(Put(variant.name, variant.bytes));
  for (std::size_t a = 0; a < paths.size(); ++a) {
    for (std::size_t b = 0; b < paths.size(); ++b)
      ExpectAgreement({paths[a], paths[b]},
                      std::string(variants[a].name) + ", then " + variants[b].name);
  }
}

TEST_F(CheckAgreement, HoldsForClipsWithChangedBytes) {
  const Bytes original = Plain().Build();
  const std::size_t movie = support::FindBox(original, "moov");
  const std::string good = Put("good", original);
  std::mt19937 random(7);
  for (int round = 0; round < 600; ++round) {
    Bytes bytes = original;
    const std::size_t from = round % 3 == 0 ? 0 : movie;
    for (int i = 0; i <= round % 2; ++i) {
      const std::size_t at = from + random() % (bytes.size() - from);
      bytes[at] = static_cast<unsigned char>(round % 5 == 0 ? 0xFF : random());
    }
    const std::string bad = Put("bad", bytes);
    const std::string what = "round " + std::to_string(round);
    ExpectAgreement(round % 2 == 0 ? std::vector{good, bad} : std::vector{bad, good}, what);
  }
}
