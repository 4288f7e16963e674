#include "workflow/rescue.h"
#include "adapt/boxes/tracks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "adapt/boxes/table_builder.h"
#include "adapt/boxes/track_headers.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"
#include "support/decoder.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"
#include "workflow/check.h"
#include "workflow/rescue/cut_gap.h"
#include "workflow/rescue/gap_patterns.h"
#include "workflow/rescue/reference.h"
#include "workflow/rescue/sound_entry.h"

namespace clipchain {

namespace {

namespace fs = std::filesystem;
using support::Bytes;
using support::ReadFile;
using support::TempDir;
using support::WriteFile;

const std::string kClip2 = support::SourcePath("examples/clips/clip2.mp4");
const std::string kClip3 = support::SourcePath("examples/clips/clip3.mp4");

// Where the top-level box of a type begins; the end if there is none.
std::size_t PlaceOf(const Bytes& clip, const std::string& type) {
  for (std::size_t at = 0; at + 8 <= clip.size(); at += support::ReadU32(clip, at)) {
    if (std::equal(type.begin(), type.end(), clip.begin() + static_cast<std::ptrdiff_t>(at) + 4))
      return at;
    if (support::ReadU32(clip, at) < 8) break;
  }
  return clip.size();
}

Bytes WithoutMovie(const std::string& path) {
  Bytes clip = ReadFile(path);
  clip.resize(PlaceOf(clip, "moov"));
  return clip;
}

std::vector<Message> MessagesOf(const Findings& findings) {
  std::vector<Message> messages;
  for (const Finding& finding : findings) messages.push_back(finding.message);
  return messages;
}

class RescueTest : public testing::Test {
 protected:
  RescueReport Run(const Bytes& broken, std::vector<std::string> references = {kClip2}) {
    WriteFile(folder_ / "broken.mp4", broken);
    RescueOptions options;
    options.references = std::move(references);
    options.output = folder_ / "out.mp4";
    return Rescue(folder_ / "broken.mp4", options);
  }
  bool HasOutput() const { return fs::exists(std::string(folder_ / "out.mp4")); }

  TempDir folder_;
};

TEST_F(RescueTest, FindsEverySampleOfAClipWithoutItsMovie) {
  NEED_DECODER();
  const Bytes broken = WithoutMovie(kClip3);
  const RescueReport report = Run(broken);
  ASSERT_TRUE(report.done);
  EXPECT_TRUE(report.unknown.empty());
  EXPECT_EQ(kClip2, report.reference);
  long long bytes = 0;
  for (const RescuedTrack& track : report.tracks) bytes += track.bytes;
  const std::size_t media = PlaceOf(broken, "mdat");
  EXPECT_EQ(support::ReadU32(broken, media) - 8, bytes);
  EXPECT_EQ(broken, ReadFile(folder_ / "broken.mp4"));
  EXPECT_EQ(static_cast<long long>(fs::file_size(std::string(folder_ / "out.mp4"))), report.size);
}

TEST_F(RescueTest, LeavesOutWhatACutHasLeftOfASample) {
  NEED_DECODER();
  Bytes broken = WithoutMovie(kClip3);
  broken.resize(broken.size() * 2 / 3);
  const RescueReport report = Run(broken);
  ASSERT_TRUE(report.done);
  ASSERT_EQ(1u, report.unknown.size());
  EXPECT_EQ(static_cast<long long>(broken.size()), report.unknown[0].end);
  EXPECT_THAT(MessagesOf(report.findings), testing::Contains(Message::kMediaLeftOut));
}

TEST_F(RescueTest, TakesNoZerosAtTheEndForASample) {
  NEED_DECODER();
  rescue::Reference clip;
  ASSERT_EQ(std::nullopt, clip.Load(kClip3));
  const rescue::ChunkPlace& chunk = clip.tracks()[0].chunks[20];
  Bytes broken = ReadFile(kClip3);
  broken.resize(static_cast<std::size_t>(chunk.position + clip.BytesOf(chunk)));
  const std::size_t media = PlaceOf(broken, "mdat");
  broken = support::WithU32(broken, media, static_cast<std::uint32_t>(broken.size() - media));
  const RescueReport whole = Run(broken);
  ASSERT_TRUE(whole.done);
  EXPECT_TRUE(whole.unknown.empty());
  fs::remove(std::string(folder_ / "out.mp4"));
  // Where other bytes run over its end, the end is none.
  Bytes overrun = broken;
  overrun.insert(overrun.end(), 100, 0x5A);
  EXPECT_EQ(whole.tracks[0].samples - 1, Run(overrun).tracks[0].samples);
  fs::remove(std::string(folder_ / "out.mp4"));
  broken.back() = broken[broken.size() - 2] = 0;
  const RescueReport report = Run(broken);
  ASSERT_TRUE(report.done);
  EXPECT_EQ(whole.tracks[0].samples - 1, report.tracks[0].samples);
  ASSERT_EQ(1U, report.unknown.size());
}

// The intact clip may be the later part of a recording whose first picture has more in front of it.
TEST_F(RescueTest, FindsAFirstPictureWithMoreInFrontOfIt) {
  NEED_DECODER();
  Bytes broken = WithoutMovie(kClip3);
  const long long samples = Run(broken).tracks[0].samples;
  fs::remove(std::string(folder_ / "out.mp4"));
  // A delimiter of access units.
  const Bytes delimiter = {0, 0, 0, 2, 0x09, 0x10};
  const std::size_t media = PlaceOf(broken, "mdat") + 8;
  broken.insert(broken.begin() + static_cast<std::ptrdiff_t>(media), delimiter.begin(),
                delimiter.end());
  broken = support::WithU32(broken, media - 8, 0);
  const RescueReport report = Run(broken);
  ASSERT_TRUE(report.done);
  EXPECT_LE(samples - 1, report.tracks[0].samples);
}

// Behind a whole picture, or a whole frame of sound, another clip of the camera begins.
TEST_F(RescueTest, TakesNoSampleOfAnotherClipThatFollowsAWholeOne) {
  NEED_DECODER();
  rescue::Reference clip;
  ASSERT_EQ(std::nullopt, clip.Load(kClip3));
  rescue::Reference other;
  ASSERT_EQ(std::nullopt, other.Load(kClip2));
  const Bytes whole = ReadFile(kClip3);
  const Bytes foreign = ReadFile(kClip2);
  const auto from = static_cast<std::ptrdiff_t>(other.MediaBegin());
  const auto to = static_cast<std::ptrdiff_t>(other.MediaEnd());
  for (std::size_t chunk = 40; chunk < clip.chunks().size() - 8; chunk += 7) {
    const rescue::ChunkPlace& last = clip.chunks()[chunk];
    const std::uint64_t seam = last.position + clip.BytesOf(last);
    Bytes broken = WithoutMovie(kClip3);
    broken.resize(static_cast<std::size_t>(seam));
    ASSERT_TRUE(std::equal(broken.begin(), broken.end(), whole.begin())) << "moved";
    broken = support::WithU32(broken, PlaceOf(broken, "mdat"), 0);
    broken.insert(broken.end(), foreign.begin() + from, foreign.begin() + to);
    fs::remove(std::string(folder_ / "out.mp4"));
    const RescueReport report = Run(broken);
    ASSERT_TRUE(report.done) << chunk;
    long long bytes = 0;
    for (const RescuedTrack& track : report.tracks) bytes += track.bytes;
    EXPECT_LE(bytes, static_cast<long long>(seam - clip.MediaBegin())) << chunk;
    ASSERT_FALSE(report.unknown.empty());
    EXPECT_LE(report.unknown.back().begin, static_cast<long long>(seam)) << chunk;
    EXPECT_EQ(static_cast<long long>(broken.size()), report.unknown.back().end);
  }
}

// A camera that pauses its sound leaves no other trace.
TEST_F(RescueTest, SaysThatTimesAreEstimatedWhereSoundIsLacking) {
  NEED_DECODER();
  rescue::Reference clip;
  ASSERT_EQ(std::nullopt, clip.Load(kClip3));
  Bytes broken = WithoutMovie(kClip3);
  const RescueReport whole = Run(broken);
  ASSERT_TRUE(whole.done);
  EXPECT_FALSE(whole.tracks[0].timesEstimated);
  fs::remove(std::string(folder_ / "out.mp4"));
  // Far behind the last picture that starts anew.
  std::vector<rescue::ChunkPlace> paused;
  std::uint32_t pictures = 0;
  for (const rescue::ChunkPlace& chunk : clip.chunks()) {
    const bool isVideo = clip.tracks()[chunk.track].kind == FourCc("vide");
    if (isVideo) pictures += chunk.samples;
    if (!isVideo && pictures > 50 && pictures < 57) paused.push_back(chunk);
  }
  ASSERT_FALSE(paused.empty());
  for (auto chunk = paused.rbegin(); chunk != paused.rend(); ++chunk) {
    const auto at = broken.begin() + static_cast<std::ptrdiff_t>(chunk->position);
    broken.erase(at, at + static_cast<std::ptrdiff_t>(clip.BytesOf(*chunk)));
  }
  broken = support::WithU32(broken, PlaceOf(broken, "mdat"), 0);
  const RescueReport report = Run(broken);
  ASSERT_TRUE(report.done);
  EXPECT_TRUE(report.tracks[0].timesEstimated);
  EXPECT_TRUE(report.tracks[1].timesEstimated);
  EXPECT_LE(whole.tracks[0].samples - 1, report.tracks[0].samples);
}

TEST_F(RescueTest, JoinsTheClipBeforeItWhereverItWasCut) {
  NEED_DECODER();
  const Bytes whole = WithoutMovie(kClip3);
  for (std::size_t size = 60'000; size < whole.size(); size += 3'000) {
    fs::remove(std::string(folder_ / "out.mp4"));
    ASSERT_TRUE(Run(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))).done);
    for (const Finding& finding : Check({kClip2, folder_ / "out.mp4"}, {}).findings)
      EXPECT_LT(finding.severity, Severity::kRisk) << size << ": " << finding.text;
  }
}

TEST_F(RescueTest, NamesATrackOfWhichNothingIsLeft) {
  NEED_DECODER();
  const Bytes whole = WithoutMovie(kClip3);
  RescueReport report;
  for (std::size_t size = 1024; !report.done && size < whole.size(); size += 1024)
    report = Run(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
  ASSERT_TRUE(report.done);
  EXPECT_THAT(MessagesOf(report.findings), testing::Contains(Message::kTrackNotRescued));
}

TEST_F(RescueTest, SaysWhereItOnlyGuessesTimes) {
  NEED_DECODER();
  // The first track of the reference with samples of two lengths.
  Bytes uneven = ReadFile(kClip2);
  const std::size_t table = support::FindBox(uneven, "stts");
  ASSERT_EQ(1u, support::ReadU32(uneven, table + 12)) << "entries";
  const std::uint32_t samples = support::ReadU32(uneven, table + 16);
  const std::uint32_t length = support::ReadU32(uneven, table + 20);
  uneven = support::WithU32(uneven, table + 12, 2);
  uneven = support::WithU32(uneven, table + 16, 1);
  const Bytes second = support::Join({support::U32(samples - 1), support::U32(length + 1)});
  uneven.insert(uneven.begin() + static_cast<std::ptrdiff_t>(table) + 24, second.begin(),
                second.end());
  for (const char* box : {"moov", "trak", "mdia", "minf", "stbl", "stts"}) {
    const std::size_t place = support::FindBox(uneven, box);
    uneven = support::WithU32(uneven, place, support::ReadU32(uneven, place) + 8);
  }
  WriteFile(folder_ / "uneven.mp4", uneven);
  const RescueReport report = Run(WithoutMovie(kClip3), {folder_ / "uneven.mp4"});
  ASSERT_TRUE(report.done);
  EXPECT_THAT(MessagesOf(report.findings), testing::Contains(Message::kTimesEstimated));
}

TEST_F(RescueTest, FindsNothingInForeignBytes) {
  Bytes broken = WithoutMovie(kClip3);
  unsigned int seed = 1;
  for (std::size_t i = PlaceOf(broken, "mdat") + 8; i < broken.size(); ++i) {
    seed = seed * 1664525 + 1013904223;
    broken[i] = static_cast<unsigned char>(seed >> 24);
  }
  const RescueReport report = Run(broken);
  EXPECT_FALSE(report.done);
  EXPECT_FALSE(HasOutput());
  EXPECT_THAT(MessagesOf(report.findings),
              testing::ElementsAre(Message::kReferenceUnusable, Message::kNothingRescued));
}

TEST_F(RescueTest, FindsNothingInZeros) {
  Bytes broken = WithoutMovie(kClip3);
  std::fill(broken.begin() + static_cast<std::ptrdiff_t>(PlaceOf(broken, "mdat")) + 8, broken.end(),
            static_cast<unsigned char>(0));
  EXPECT_FALSE(Run(broken).done);
  EXPECT_FALSE(HasOutput());
}

TEST_F(RescueTest, FindsEverySampleBehindWhateverStandsInFront) {
  NEED_DECODER();
  const RescueReport whole = Run(WithoutMovie(kClip3));
  const Bytes clip = ReadFile(kClip3);
  const std::size_t movie = PlaceOf(clip, "moov");
  Bytes blank = clip;
  std::fill(blank.begin() + static_cast<std::ptrdiff_t>(movie) + 8, blank.end(), 0);
  Bytes behindOthers(777, 0x5A);
  const Bytes broken = WithoutMovie(kClip3);
  behindOthers.insert(behindOthers.end(), broken.begin(), broken.end());
  for (const Bytes& file : {blank, behindOthers}) {
    fs::remove(std::string(folder_ / "out.mp4"));
    const RescueReport report = Run(file);
    ASSERT_TRUE(report.done);
    EXPECT_EQ(whole.tracks[0].samples, report.tracks[0].samples);
  }
}

TEST_F(RescueTest, LeavesAWholeClipAlone) {
  const RescueReport report = Run(ReadFile(kClip3));
  EXPECT_FALSE(report.done);
  EXPECT_THAT(MessagesOf(report.findings), testing::ElementsAre(Message::kRescueUnneeded));
}

TEST_F(RescueTest, NeedsAClipToLearnFrom) {
  const RescueReport report = Run(WithoutMovie(kClip3), {});
  EXPECT_THAT(MessagesOf(report.findings), testing::ElementsAre(Message::kReferenceMissing));
}

// Pieces of it stand between the pictures, which can't be found without it either.
TEST_F(RescueTest, NamesTheFormatThatItHasNoWayFor) {
  NEED_DECODER();
  Bytes like = ReadFile(kClip2);
  const std::string type = "mp4a";
  const auto entry = std::search(like.begin() + static_cast<std::ptrdiff_t>(PlaceOf(like, "moov")),
                                 like.end(), type.begin(), type.end());
  ASSERT_NE(entry, like.end());
  std::fill_n(entry, 4, static_cast<unsigned char>('z'));
  WriteFile(folder_ / "like.mp4", like);
  const RescueReport report = Run(WithoutMovie(kClip3), {folder_ / "like.mp4"});
  EXPECT_FALSE(report.done);
  ASSERT_EQ(MessagesOf(report.findings).front(), Message::kReferenceUnusable);
  EXPECT_THAT(report.findings.front().text, testing::HasSubstr("sound of the format zzzz"));
}

#ifndef CLIPCHAIN_WITH_DECODER
TEST_F(RescueTest, SaysThatItHasNoDecoder) {
  const RescueReport report = Run(WithoutMovie(kClip3));
  EXPECT_FALSE(report.done);
  ASSERT_EQ(MessagesOf(report.findings).front(), Message::kReferenceUnusable);
  EXPECT_THAT(report.findings.front().text, testing::HasSubstr("made without a decoder"));
}
#endif

TEST_F(RescueTest, LearnsFromTheClipBesideIt) {
  NEED_DECODER();
  WriteFile(folder_ / "a.mp4", ReadFile(kClip2));
  const RescueReport report = Run(WithoutMovie(kClip3), {});
  EXPECT_TRUE(report.done);
  EXPECT_EQ(std::string(folder_ / "a.mp4"), report.reference);
}

TEST_F(RescueTest, ReplacesNoFile) {
  WriteFile(folder_ / "out.mp4", Bytes{1, 2, 3});
  const RescueReport report = Run(WithoutMovie(kClip3));
  EXPECT_FALSE(report.done);
  EXPECT_THAT(MessagesOf(report.findings), testing::ElementsAre(Message::kOutputExists));
  EXPECT_EQ((Bytes{1, 2, 3}), ReadFile(folder_ / "out.mp4"));
}

TEST_F(RescueTest, LeavesNothingBehindWhenItIsStopped) {
  WriteFile(folder_ / "broken.mp4", WithoutMovie(kClip3));
  RescueOptions options;
  options.references = {kClip2};
  options.output = folder_ / "out.mp4";
  options.progress = [](const RescueStep& step) {
    return step.phase != RescueStep::Phase::kCopying;
  };
  EXPECT_FALSE(Rescue(folder_ / "broken.mp4", options).done);
  EXPECT_EQ(1, std::distance(fs::directory_iterator(std::string(folder_ / "")), {}));
}

TEST_F(RescueTest, KnowsAClipThatNeedsIt) {
  WriteFile(folder_ / "broken.mp4", WithoutMovie(kClip3));
  EXPECT_TRUE(NeedsRescue(folder_ / "broken.mp4"));
  EXPECT_FALSE(NeedsRescue(kClip3));
  EXPECT_FALSE(NeedsRescue(folder_ / "missing.mp4"));
}

// A clip with a picture before each piece of sound; these have so many samples of 4 bytes, of each
// track.
Bytes WithPieces(const std::vector<std::uint32_t>& pieces, std::size_t tracks = 1) {
  const auto count = static_cast<std::uint32_t>(pieces.size());
  support::Track sound = support::AudioTrack(0);
  sound.sampleSizes.assign(std::accumulate(pieces.begin(), pieces.end(), std::size_t{0}), 4);
  sound.stts = {{static_cast<std::uint32_t>(sound.sampleSizes.size()), 1}};
  support::Track pictures = support::VideoTrack(count);
  pictures.sampleSizes.assign(count, 10);
  support::MovieBuilder builder;
  builder.Add(pictures);
  for (std::size_t i = 0; i < tracks; ++i) builder.Add(sound);
  Bytes clip = builder.Build();
  const std::size_t at = PlaceOf(clip, "moov");
  std::span<const unsigned char> in(clip.data() + at, clip.size() - at);
  RawBox movie;
  EXPECT_TRUE(movie.Take(in));
  std::uint64_t place = PlaceOf(clip, "mdat") + 8;
  std::vector<std::uint64_t> ofPictures;
  std::vector<std::vector<std::uint64_t>> ofSound(tracks);
  ChunkRuns runs;
  for (const std::uint32_t piece : pieces) {
    ofPictures.push_back(place);
    place += 10;
    for (auto& offsets : ofSound) {
      offsets.push_back(place);
      place += std::uint64_t{piece} * 4;
    }
    AppendChunk(runs, static_cast<std::uint32_t>(ofPictures.size()), piece, 1);
  }
  RawBox& pictureTable = *SampleTable(*TracksOf(movie)[0]);
  ReplaceChild(pictureTable, ChunkRunsBox({{1, 1, 1}}));
  ReplaceChild(pictureTable, ChunkOffsetsBox(ofPictures));
  for (std::size_t i = 0; i < tracks; ++i) {
    RawBox& soundTable = *SampleTable(*TracksOf(movie)[1 + i]);
    ReplaceChild(soundTable, ChunkRunsBox(runs));
    ReplaceChild(soundTable, ChunkOffsetsBox(ofSound[i]));
  }
  clip.resize(at);
  movie.Write(clip);
  return clip;
}

// Whatever stands behind it.
TEST(SoundDecoder, TellsHowLongAFrameIs) {
  NEED_DECODER();
  rescue::Reference clip;
  ASSERT_EQ(std::nullopt, clip.Load(kClip3));
  const rescue::ReferenceTrack& track = clip.tracks()[1];
  ASSERT_EQ(FourCc("mp4a"), track.entryType);
  const Bytes file = ReadFile(kClip3);
  const auto frame = [&](std::size_t chunk) {
    const auto from = file.begin() + static_cast<std::ptrdiff_t>(track.chunks[chunk].position);
    return Bytes(from, from + track.sizes.At(track.chunks[chunk].firstSample));
  };
  rescue::SoundDecoder decoder(rescue::DescribeStream(track.entry).specific, frame(9));
  ASSERT_TRUE(decoder.good());
  for (std::size_t chunk = 10; chunk < track.chunks.size(); ++chunk) {
    Bytes bytes = frame(chunk);
    const std::size_t size = bytes.size();
    for (unsigned int i = 0; i < 500; ++i) bytes.push_back(static_cast<unsigned char>(i * 37));
    EXPECT_EQ(size, decoder.SizeOf(bytes, false)) << chunk;
    EXPECT_EQ(0u, decoder.SizeOf({bytes.data(), size - 1}, false)) << chunk;
  }
}

class FourBytes final : public rescue::FrameMethod {
 public:
  std::string_view Name() const override { return "four bytes"; }
  std::uint32_t UniformSize() const override { return 4; }
  std::optional<rescue::SampleSpan> Fill(rescue::MediaWindow&, rescue::ByteRange range) override {
    const std::uint64_t bytes = range.end - range.begin;
    if (bytes % 4 != 0) return std::nullopt;
    return rescue::SampleSpan{bytes / 4, bytes, {}};
  }
  rescue::SampleSpan Begin(rescue::MediaWindow&, rescue::ByteRange range,
                           rescue::BeginsOther&) override {
    const std::uint64_t count = (range.end - range.begin) / 4;
    return {count, count * 4, {}};
  }
};

class NoOther final : public rescue::BeginsOther {
 public:
  Answer At(std::uint64_t) override { return Answer::kNo; }
};

namespace {

// What the pieces of sound of one clip teach about others.
class LearnedPieces {
 public:
  clipchain::Reason Learn(const std::vector<std::uint32_t>& pieces, std::uint32_t tracks = 1) {
    const std::string path = folder_ / "clip";
    WriteFile(path, WithPieces(pieces, tracks));
    if (clipchain::Reason why = reference_.Load(path)) return why;
    patterns_.Learn(reference_, 0);
    methods_.resize(reference_.tracks().size());
    found_.resize(methods_.size());
    for (std::size_t i = 1; i < methods_.size(); ++i) methods_[i] = std::make_unique<FourBytes>();
    return std::nullopt;
  }
  const rescue::GapPatterns& patterns() const { return patterns_; }
  // Whether so many samples fill a piece between two pictures, the latter of which others follow.
  bool Fill(std::uint64_t samples, rescue::Followers followers = rescue::Followers::kFew) {
    return !PiecesOf(samples, followers).empty();
  }
  // The samples of each piece.
  std::vector<std::uint64_t> PiecesOf(std::uint64_t samples, rescue::Followers followers) {
    rescue::MediaWindow window(reference_.file());
    return CountsOf(rescue::SolveGap(Rules(followers), window, {100, 100 + samples * 4},
                                     rescue::GapPlace::kInside)
                        .value_or(std::vector<rescue::GapPiece>()));
  }
  // The same where the media was cut behind so many.
  std::vector<std::uint64_t> CutBehind(std::uint64_t samples) {
    rescue::MediaWindow window(reference_.file());
    NoOther other;
    return CountsOf(rescue::SolveCutGap(Rules(rescue::Followers::kFew), window,
                                        {{100, 100 + samples * 4}, false}, other));
  }

 private:
  rescue::GapRules Rules(rescue::Followers followers) const {
    return {patterns_, methods_, order_, found_, [=] { return followers; }};
  }
  static std::vector<std::uint64_t> CountsOf(const std::vector<rescue::GapPiece>& pieces) {
    std::vector<std::uint64_t> counts;
    for (const rescue::GapPiece& piece : pieces) counts.push_back(piece.span.count);
    return counts;
  }

  const TempDir folder_;
  rescue::Reference reference_;
  rescue::GapPatterns patterns_;
  rescue::FrameMethods methods_;
  rescue::SoundOrder order_;
  std::vector<rescue::TrackHarvest> found_;
};

}  // namespace

// Packets of 100 samples, of which the reference happens to have no two in a row.
TEST(GapPatterns, OfPacketsAreFilledByAnyFewOfThem) {
  for (const bool isRegular : {true, false}) {
    std::vector<std::uint32_t> pieces;
    for (std::uint32_t i = 0; i < 12; ++i) pieces.push_back(i % 4 == 0 ? 400 : 300);
    pieces.push_back(isRegular ? 100 : 101);
    pieces.push_back(6);  // where the recording ended
    LearnedPieces learned;
    ASSERT_EQ(std::nullopt, learned.Learn(pieces));
    // Those at the end count, too: the recording may end with the longest one.
    EXPECT_EQ(400u, learned.patterns().MostOf(1, false));
    EXPECT_EQ(0u, learned.patterns().MostOf(1, true));
    const auto fills = [&learned](std::uint64_t samples) { return learned.Fill(samples); };
    EXPECT_TRUE(fills(300));
    EXPECT_EQ(fills(200), isRegular);
    EXPECT_EQ(fills(500), isRegular);
    EXPECT_FALSE(fills(201));
    EXPECT_FALSE(fills(600));
  }
}

// A piece and the first one of another recording are never longer than two.
TEST(GapPatterns, OfLongPacketsAreFilledBySoundWhosePicturesWereNotRecorded) {
  std::vector<std::uint32_t> pieces(12, 1000);
  pieces.push_back(2000);
  pieces.push_back(6);  // where the recording ended
  LearnedPieces learned;
  ASSERT_EQ(std::nullopt, learned.Learn(pieces));
  EXPECT_TRUE(learned.Fill(3000));
  EXPECT_FALSE(learned.Fill(4000));
  EXPECT_TRUE(learned.Fill(5000));
  EXPECT_FALSE(learned.Fill(5500));
}

// A clip has few pieces of half a second.
TEST(GapPatterns, OfChunksOfOneLengthAreFilledWherePicturesFollow) {
  LearnedPieces learned;
  ASSERT_EQ(std::nullopt, learned.Learn({3000, 3000, 6000, 3000, 700}));
  using rescue::Followers;
  EXPECT_TRUE(learned.Fill(6000));
  // Another clip of the camera may stand behind a piece, be it whole or cut.
  EXPECT_FALSE(learned.Fill(9000, Followers::kEnough));
  EXPECT_FALSE(learned.Fill(9000, Followers::kAll));
  EXPECT_FALSE(learned.Fill(9001, Followers::kAll));
  EXPECT_FALSE(learned.Fill(1200, Followers::kEnough));
  EXPECT_TRUE(learned.Fill(1200, Followers::kAll));
}

// Of packets of 300 samples; one of them more is no part of another clip's sound.
TEST(GapPatterns, OfAChunkThatIsALittleLongerAreFilledWherePicturesFollow) {
  LearnedPieces learned;
  ASSERT_EQ(std::nullopt, learned.Learn({3000, 3000, 3300, 3900, 700}));
  EXPECT_FALSE(learned.Fill(3600));
  EXPECT_TRUE(learned.Fill(3600, rescue::Followers::kEnough));
  EXPECT_FALSE(learned.Fill(2700, rescue::Followers::kEnough));
  EXPECT_FALSE(learned.Fill(6000, rescue::Followers::kEnough));
  EXPECT_TRUE(learned.Fill(2750, rescue::Followers::kAll));
  EXPECT_FALSE(learned.Fill(3950, rescue::Followers::kAll));
}

// As from several microphones.
TEST(GapPatterns, OfTracksBesideEachOtherAreFilledInTheirProportion) {
  LearnedPieces learned;
  ASSERT_EQ(std::nullopt, learned.Learn({3000, 3000, 3000, 3000, 3000}, 2));
  using rescue::Followers;
  using Counts = std::vector<std::uint64_t>;
  EXPECT_EQ((Counts{3000, 3000}), learned.PiecesOf(6000, Followers::kFew));
  EXPECT_EQ(Counts(), learned.PiecesOf(2400, Followers::kEnough));
  EXPECT_EQ((Counts{1200, 1200}), learned.PiecesOf(2400, Followers::kAll));
  EXPECT_EQ(Counts(), learned.PiecesOf(2401, Followers::kAll));
  EXPECT_EQ(Counts(), learned.PiecesOf(12000, Followers::kAll)) << "they may take turns";
  EXPECT_EQ(Counts(), learned.CutBehind(4200)) << "another clip's sound may stand there";
}

// Where two pieces fit into one, what looks like a picture in the sound could part it.
TEST(GapPatterns, OfManyLengthsFillOthersOnlyWhereNoTwoFitIntoOne) {
  for (const auto& [least, isFilled] : {std::pair{200u, true}, {100u, false}}) {
    std::vector<std::uint32_t> pieces;
    for (std::uint32_t i = 0; i < 70; ++i) pieces.push_back(least + 2 * i);
    pieces.push_back(6);  // where the recording ended
    LearnedPieces learned;
    ASSERT_EQ(std::nullopt, learned.Learn(pieces));
    const auto fills = [&learned](std::uint64_t samples) { return learned.Fill(samples); };
    EXPECT_TRUE(fills(least + 8));
    EXPECT_EQ(fills(least + 9), isFilled);
    EXPECT_FALSE(fills(least - 1));
    EXPECT_FALSE(fills(least + 2 * 70));
  }
}

}  // namespace

}  // namespace clipchain
