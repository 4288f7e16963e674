#include "workflow/evidence/clip_traits.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/evidence/leaf_values.h"
#include "workflow/evidence/media_clock_traits.h"

using clipchain::ClipTraits;
using clipchain::kSecond;
using clipchain::LeafValues;
using clipchain::MomentIn;
using clipchain::ReadClipTraits;
using support::AudioTrack;
using support::Box;
using support::Bytes;
using support::Fill;
using support::FullBox;
using support::Hex;
using support::MovieBuilder;
using support::operator+;
using support::Text;
using support::TimecodeTrack;
using support::U32;
using support::VideoTrack;

namespace {

class Traits : public testing::Test {
 protected:
  std::optional<ClipTraits> Of(const MovieBuilder& movie) {
    support::WriteFile(folder / "clip.mp4", movie.Build());
    return ReadClipTraits((folder / "clip.mp4").string(), 3);
  }

  support::TempDir folder;
};

const Bytes kValue = Hex("00112233 44556677 8899AABB CCDDEEFF");

}  // namespace

TEST_F(Traits, AreReadOffTheMovieBox) {
  MovieBuilder movie;
  movie.creationTime = 3'800'000'000;
  movie.Add(VideoTrack(90)).Add(AudioTrack(140));
  const auto traits = Of(movie);
  ASSERT_TRUE(traits);
  EXPECT_EQ(traits->volume, 3u);
  EXPECT_EQ(traits->size, static_cast<long long>(movie.Build().size()));
  EXPECT_EQ(traits->created, 3'800'000'000u);
  EXPECT_EQ(traits->length, 3 * kSecond);
  EXPECT_NEAR(static_cast<double>(traits->frame), kSecond / 30.0, 1);
  EXPECT_FALSE(traits->isPicture);
  EXPECT_TRUE(traits->written);
  EXPECT_FALSE(traits->timecode);
}

TEST_F(Traits, OfOneSampleAreThoseOfAPicture) {
  EXPECT_TRUE(Of(MovieBuilder().Add(VideoTrack(1)))->isPicture);
}

TEST_F(Traits, OfOneSampleThatLastsLongAreNone) {
  MovieBuilder movie;
  movie.Add(VideoTrack(1));
  const auto last = [&](std::uint32_t ticks) {
    movie.tracks[0].stts = {{1, ticks}};
    movie.tracks[0].mediaDuration = ticks;
  };
  last(60 * 30'000);
  const auto traits = Of(movie);
  EXPECT_FALSE(traits->isPicture);
  EXPECT_EQ(traits->frame, kSecond / 24);
  last(60 * 30'000 - 1);
  EXPECT_TRUE(Of(movie)->isPicture);
}

TEST_F(Traits, HaveAFrameThatReachesFromOneLengthToTheNext) {
  MovieBuilder movie;
  movie.Add(VideoTrack(14'401));
  movie.tracks[0].timeScale = 24'000;
  movie.tracks[0].stts = {{14'401, 1000}};
  movie.tracks[0].mediaDuration = 14'401'000;
  const auto traits = Of(movie);
  EXPECT_GE(traits->frame, *traits->length - 600 * kSecond);
}

TEST_F(Traits, OfFragmentsAreThoseOfAllTheirSamples) {
  MovieBuilder movie;
  movie.Add(VideoTrack(0));
  movie.tracks[0].stts.clear();
  movie.tracks[0].mediaDuration = 0;
  movie.extraMovieBoxes =
      Box("mvex", {FullBox("trex", 0, 0, {U32(1), U32(1), U32(1000), U32(10), U32(0)})});
  // 45 samples each, in the media box behind.
  const Bytes fragment =
      Box("moof", {FullBox("mfhd", 0, 0, {U32(1)}),
                   Box("traf", {FullBox("tfhd", 0, 0x020000, {U32(1)}),
                                FullBox("trun", 0, 0x000001, {U32(45), U32(76)})})}) +
      Box("mdat", {Fill(450, 7)});
  movie.tail = fragment + fragment;
  const auto traits = Of(movie);
  ASSERT_TRUE(traits);
  EXPECT_EQ(traits->length, 3 * kSecond);
  EXPECT_EQ(traits->frame, (kSecond + 29) / 30);
  const auto digest = traits->movieDigest;
  movie.tail = fragment;
  EXPECT_NE(Of(movie)->movieDigest, digest);
}

// Cameras that write QuickTime files put "wide" ahead of the media.
TEST_F(Traits, AreReadWhateverBoxesStandBesideTheMovie) {
  MovieBuilder movie;
  movie.creationTime = 3'800'000'000;
  movie.Add(VideoTrack(90)).Add(TimecodeTrack({Hex("00000064")}));
  movie.fileType =
      movie.fileType + Box("wide") + Box("uuid", {Hex("00112233445566778899AABBCCDDEEFF")});
  const auto traits = Of(movie);
  ASSERT_TRUE(traits);
  EXPECT_EQ(traits->created, 3'800'000'000u);
  EXPECT_EQ(traits->length, 3 * kSecond);
  EXPECT_TRUE(traits->timecode);
}

TEST_F(Traits, AreNoneWithoutAMovie) {
  support::WriteFile(folder / "clip.mp4", Box("ftyp", {Text("mp42"), U32(0)}));
  EXPECT_FALSE(ReadClipTraits((folder / "clip.mp4").string(), 0));
  EXPECT_FALSE(ReadClipTraits((folder / "none.mp4").string(), 0));
}

TEST_F(Traits, DescribeClipsAlikeWhateverTheyDeclareOfBitRates) {
  const auto described = [this](const Bytes& extra, std::uint32_t samples) {
    MovieBuilder movie;
    movie.Add(VideoTrack(samples));
    Bytes& entry = movie.tracks[0].sampleEntry;
    entry =
        support::WithU32(entry + extra, 0, static_cast<std::uint32_t>(entry.size() + extra.size()));
    return Of(movie)->description;
  };
  const auto rate = [](std::uint32_t most) { return Box("btrt", {U32(1), U32(most), U32(9)}); };
  EXPECT_EQ(described(rate(1000), 30), described(rate(2000), 60));
  EXPECT_NE(described(rate(1000), 30), described({}, 30));
  EXPECT_NE(described(Box("pasp", {U32(1), U32(1)}), 30),
            described(Box("pasp", {U32(4), U32(3)}), 30));
}

TEST_F(Traits, DifferInDescriptionByTracksAndTimeScales) {
  MovieBuilder one;
  one.Add(VideoTrack(30));
  MovieBuilder two = one;
  two.Add(AudioTrack(30));
  MovieBuilder scaled = one;
  scaled.tracks[0].timeScale = 60000;
  MovieBuilder uniform = one;
  uniform.tracks[0].uniformSize = 100;
  uniform.tracks[0].sampleSizes.assign(30, 100);
  MovieBuilder turned = two;
  std::swap(turned.tracks[0], turned.tracks[1]);
  EXPECT_EQ(Of(two)->description, Of(turned)->description);
  EXPECT_NE(Of(one)->description, Of(two)->description);
  EXPECT_NE(Of(one)->description, Of(scaled)->description);
  EXPECT_EQ(Of(one)->description, Of(uniform)->description);
}

TEST_F(Traits, HaveTheTimecodeOfASingleSample) {
  MovieBuilder movie;
  movie.Add(VideoTrack(90)).Add(TimecodeTrack({{0, 1, 0xA5, 0xE0}}));
  const auto traits = Of(movie);
  ASSERT_TRUE(traits->timecode);
  EXPECT_EQ(traits->timecode->first, 0x1A5E0);
  EXPECT_EQ(traits->timecode->latestEnd, 0x1A5E0 + 90);
}

TEST_F(Traits, HaveTheTimecodeOfASampleAPicture) {
  MovieBuilder movie;
  movie.Add(VideoTrack(3)).Add(TimecodeTrack({{1, 0, 0, 0}, {1, 0, 0, 1}, {1, 0, 0, 2}}));
  const auto traits = Of(movie);
  ASSERT_TRUE(traits->timecode);
  EXPECT_EQ(traits->timecode->first, 108'000);
  EXPECT_EQ(traits->timecode->earliestEnd, 108'003);
}

TEST_F(Traits, AreEqualForCopiesAlone) {
  MovieBuilder movie;
  movie.Add(VideoTrack(90));
  const auto first = Of(movie)->movieDigest;
  EXPECT_EQ(Of(movie)->movieDigest, first);
  movie.creationTime = 1;
  EXPECT_NE(Of(movie)->movieDigest, first);
}

TEST_F(Traits, OfAnyDamageAreReadWithoutHarm) {
  MovieBuilder movie;
  movie.Add(VideoTrack(4)).Add(TimecodeTrack({{0, 1, 0xA5, 0xE0}}));
  movie.Add(TimecodeTrack({Text("$GPRMC,101112.25,A"), Text("$GPRMC,101113.25,A")}, 4));
  movie.tracks.back().handler = "meta";
  movie.tracks.back().sampleEntry = Box("mett", {U32(0), Hex("0000 0001"), Text("a"), Fill(9, 0)});
  movie.extraMovieBoxes = Box("udta", {Box("ABCD", {kValue}), U32(0)}) +
                          Box("uuid", {Fill(16, 7), kValue}) +
                          FullBox("meta", 0, 0, {Box("IJKL", {kValue})});
  const Bytes good = movie.Build();
  const std::string path = folder / "clip.mp4";
  const auto read = [&](const Bytes& bytes) {
    // A file that is cut and written again is flushed.
    std::filesystem::remove(path);
    support::WriteFile(path, bytes);
    const auto traits = ReadClipTraits(path, 0);
    // What is not there is not made up.
    return !traits || traits->values.size() <= 16;
  };
  ASSERT_EQ(ReadClipTraits((support::WriteFile(path, good), path), 0)->values.size(), 3u);
  const std::size_t begin = support::FindBox(good, "moov");
  for (std::size_t at = begin; at + 4 <= good.size(); ++at) {
    for (const std::uint32_t value : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu})
      EXPECT_TRUE(read(support::WithU32(good, at, value))) << at << ' ' << value;
    EXPECT_TRUE(read({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(at)})) << at;
  }
}

TEST(LeafValues, AreFoundInUserDataAndExtensionsAndMetadata) {
  const Bytes body = Box("udta", {Box("ABCD", {kValue}), Box("EFGH", {U32(0), kValue})}) +
                     Box("uuid", {Fill(16, 7), kValue}) +
                     FullBox("meta", 0, 0, {Box("IJKL", {kValue})}) +
                     Box("trak", {Box("udta", {Box("MNOP", {kValue})})});
  const auto values = LeafValues(body);
  ASSERT_EQ(values.size(), 5u);
  const std::string value(kValue.begin(), kValue.end());
  for (const auto& found : values) EXPECT_EQ(found.value, value) << found.place;
  std::string uuid;
  for (int i = 0; i < 16; ++i) uuid += "07";
  std::vector<std::string> places;
  for (const auto& found : values) places.push_back(found.place);
  EXPECT_EQ(places, (std::vector<std::string>{"meta/IJKL", "trak/udta/MNOP", "udta/ABCD",
                                              "udta/EFGH", "uuid" + uuid}));
}

TEST(LeafValues, AreOf16To32BytesAndNoText) {
  const auto count = [](const Bytes& value) {
    return LeafValues(Box("udta", {Box("ABCD", {value})})).size();
  };
  EXPECT_EQ(count(Fill(15, 1) + Fill(0, 2)), 0u);
  EXPECT_EQ(count(kValue), 1u);
  EXPECT_EQ(count(kValue + kValue), 1u);
  EXPECT_EQ(count(kValue + kValue + Hex("01020304")), 1u);
  EXPECT_EQ(count(kValue + kValue + Hex("0102030405")), 0u);
  EXPECT_EQ(count(Text("HD9.01.01.60.00 X")), 0u);
  EXPECT_EQ(count(Fill(16, 0)), 0u);
  for (std::size_t leading = 0; leading <= 4; ++leading) {
    EXPECT_EQ(count(Fill(leading, 1) + Text("+48.1234+011.567/")), 0u) << leading;
    EXPECT_EQ(count(Fill(leading, 1) + kValue), 1u) << leading;
  }
  // The kind and the country of metadata stand in front of its text.
  const auto metadata = [](const Bytes& value) {
    const Bytes data = Box("data", {U32(1), U32(0), value});
    return LeafValues(Box("udta", {Box("ilst", {Box("ABCD", {data})})})).size();
  };
  EXPECT_EQ(metadata(Text("2024-05-31T11:33:20")), 0u);
  EXPECT_EQ(metadata(kValue), 1u);
}

TEST(LeafValues, AreFoundInBoxesWithSizesOf64Bits) {
  const auto sized = [](std::uint32_t size) {
    return U32(1) + Text("ABCD") + U32(0) + U32(size) + kValue;
  };
  const auto whole = static_cast<std::uint32_t>(16 + kValue.size());
  const auto values = LeafValues(Box("udta", {sized(whole), Box("EFGH", {kValue})}));
  ASSERT_EQ(values.size(), 2u);
  EXPECT_EQ(values[0].place, "udta/ABCD");
  EXPECT_EQ(values[0].value, std::string(kValue.begin(), kValue.end()));
  EXPECT_EQ(values[1].place, "udta/EFGH");
  for (const std::uint32_t wrong : {0u, 15u, whole + 1}) {
    EXPECT_TRUE(LeafValues(Box("udta", {sized(wrong), Box("EFGH", {kValue})})).empty()) << wrong;
  }
  // What is no box is a value itself.
  const auto toTheEnd = LeafValues(Box("udta", {U32(0) + Text("ABCD") + kValue}));
  ASSERT_EQ(toTheEnd.size(), 1u);
  EXPECT_EQ(toTheEnd[0].place, "udta");
}

TEST(LeafValues, OfAnythingAreFoundWithoutHarm) {
  EXPECT_TRUE(LeafValues({}).empty());
  EXPECT_TRUE(LeafValues(Hex("00000000 75647461")).empty());
  EXPECT_TRUE(LeafValues(Hex("FFFFFFFF 75647461 00")).empty());
  Bytes nested = Box("ABCD", {kValue});
  for (int i = 0; i < 100; ++i) nested = Box("udta", {nested});
  EXPECT_TRUE(LeafValues(nested).empty());
}

TEST(MediaClock, ReadsMomentsOfPublicFormats) {
  EXPECT_EQ(MomentIn("1970"), std::nullopt);
  const auto iso = MomentIn("at 2024-05-01T10:11:12.250Z;");
  ASSERT_TRUE(iso);
  EXPECT_EQ(*iso % (60 * kSecond), 12'250'000'000);
  EXPECT_EQ(MomentIn("2024-05-01 10:11:13Z"), *iso + 750'000'000);
  EXPECT_EQ(MomentIn("$GPRMC,101112.25,A,4807.038,N,01131.000,E,022.4,084.4,010524,003.1,W*6A"),
            iso);
  EXPECT_EQ(MomentIn("2024-13-01T10:11:12Z"), std::nullopt);
  EXPECT_EQ(MomentIn("$GPRMC,101112.25,A"), std::nullopt);
}
