// What a check says about a file as such: what the engine does not read, or not all of.
#include <sys/stat.h>

#include <filesystem>
#include <regex>

#include "box/box.h"
#include "reader/mp4_file.h"
#include "support/allocation_meter.h"
#include "workflow/checks/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::Box;
using support::Bytes;
using support::Join;
using support::MovieBuilder;
using support::U32;
using support::U64;
using support::Zeros;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CheckInput : public support::CheckTest {
 protected:
  // A good clip, and then this one.
  CheckReport CheckBehind(const Bytes& bytes) {
    return CheckAll({Put("good", EvenClip(1)), Put("other", bytes)});
  }
  void ExpectOnly(const CheckReport& report, const char* name) {
    EXPECT_THAT(NamesOf(report), ElementsAre(name));
  }
};

}  // namespace

TEST_F(CheckInput, NamesEveryFileThatCannotBeRead) {
  const std::string missing = (folder / "missing").string();
  const std::string empty = Put("empty", Bytes());
  const std::string aFolder = folder.path().string();
  const std::string pipe = (folder / "pipe").string();
  ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
  const CheckReport report = CheckAll({missing, empty, aFolder, pipe, Put("good", EvenClip())});
  const auto found = Of(report, Message::kInputUnreadable);
  ASSERT_EQ(4u, found.size());
  EXPECT_EQ(missing, found[0].path);
  EXPECT_THAT(found[0].text, HasSubstr("there is no such file"));
  EXPECT_THAT(found[1].text, HasSubstr("it is empty"));
  EXPECT_THAT(found[2].text, HasSubstr("it is a folder"));
  EXPECT_THAT(found[3].text, HasSubstr("it is no regular file"));
  EXPECT_TRUE(report.seams.empty());
}

TEST_F(CheckInput, SaysThatThereIsNothingToMerge) {
  EXPECT_THAT(NamesOf(CheckAll({})), ElementsAre("nothing-to-merge"));
}

TEST_F(CheckInput, FindsAnUnknownBoxOnTop) {
  MovieBuilder clip = EvenClip();
  clip.tail = Box("uuid", {Zeros(20)});
  const CheckReport report = CheckBehind(clip.Build());
  ExpectOnly(report, "top-level-box-unknown");
  const Finding finding = report.findings.front();
  EXPECT_EQ("uuid", finding.box);
  EXPECT_EQ(static_cast<long long>(clip.Build().size() - 28), finding.offset);
  EXPECT_EQ(E_BAD_TYPE, finding.result);
  EXPECT_EQ(Severity::kRefusal, finding.severity);
  clip.tail = Box("skip", {Zeros(20)});
  EXPECT_THAT(NamesOf(CheckBehind(clip.Build())), IsEmpty());
}

TEST_F(CheckInput, TellsWhatIsNoClip) {
  const CheckReport report = CheckBehind(support::Text("This is a letter and no clip at all."));
  EXPECT_THAT(Only(report, Message::kTopLevelBoxUnknown).text, HasSubstr("is no MP4 clip"));
}

TEST_F(CheckInput, FindsMediaThatIsCutOff) {
  MovieBuilder clip = EvenClip();
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  EXPECT_THAT(NamesOf(CheckBehind(bytes)), IsEmpty());
  const std::size_t media = clip.Media().size();
  bytes.resize(bytes.size() - 1);
  const CheckReport report = CheckBehind(bytes);
  ExpectOnly(report, "media-cut-off");
  EXPECT_THAT(report.findings.front().text,
              HasSubstr(std::to_string(media - 1) + " of the " + std::to_string(media) + " bytes"));
  EXPECT_EQ("mdat", report.findings.front().box);
}

TEST_F(CheckInput, FindsThatTheMovieIsGoneWithTheMedia) {
  Bytes bytes = EvenClip().Build();
  bytes.resize(support::FindBox(bytes, "moov") - 1);
  EXPECT_THAT(NamesOf(CheckBehind(bytes)), ElementsAre("media-cut-off", "movie-missing"));
}

TEST_F(CheckInput, FindsABoxThatIsCutOff) {
  Bytes bytes = EvenClip().Build();
  const std::size_t movie = support::FindBox(bytes, "moov");
  bytes.resize(bytes.size() - 1);
  const CheckReport report = CheckBehind(bytes);
  ExpectOnly(report, "file-cut-off");
  EXPECT_EQ("moov", report.findings.front().box);
  EXPECT_EQ(static_cast<long long>(movie), report.findings.front().offset);
}

TEST_F(CheckInput, FindsAHeaderThatIsCutOff) {
  MovieBuilder clip = EvenClip();
  clip.tail = Zeros(7);
  ExpectOnly(CheckBehind(clip.Build()), "file-cut-off");
  clip.tail = Join({U32(1), support::Text("free")});
  ExpectOnly(CheckBehind(clip.Build()), "file-cut-off");
  clip.tail = Box("free");
  EXPECT_THAT(NamesOf(CheckBehind(clip.Build())), IsEmpty());
}

TEST_F(CheckInput, FindsMissingBoxes) {
  MovieBuilder clip = EvenClip();
  clip.fileType = Box("free", {Zeros(16)});
  ExpectOnly(CheckBehind(clip.Build()), "file-type-missing");
  Bytes bytes = EvenClip().Build();
  bytes.resize(support::FindBox(bytes, "moov"));
  ExpectOnly(CheckBehind(bytes), "movie-missing");
  bytes.resize(support::FindBox(bytes, "mdat"));
  ExpectOnly(CheckBehind(bytes), "movie-missing");
}

TEST_F(CheckInput, FindsTheBoxThatDoesNotParse) {
  Bytes bytes = EvenClip().Build();
  const std::size_t table = support::FindBox(bytes, "stsz", 1);
  const Bytes bad = support::WithU32(bytes, table + 16, 0xFFFFFF);
  const CheckReport report = CheckBehind(bad);
  ExpectOnly(report, "box-damaged");
  EXPECT_EQ("moov/trak[1]/mdia/minf/stbl/stsz", report.findings.front().box);
  EXPECT_EQ(static_cast<long long>(table), report.findings.front().offset);
}

TEST_F(CheckInput, SaysThatAReferenceToATimecodeTrackIsWhatAMergeCantRead) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].extraTrackBoxes = Box("tref", {Box("tmcd", {U32(2)})});
  const CheckReport report = CheckBehind(clip.Build());
  ExpectOnly(report, "box-damaged");
  EXPECT_EQ("moov/trak[1]/tref/tmcd", report.findings.front().box);
  EXPECT_THAT(report.findings.front().text, HasSubstr("timecode track"));
  EXPECT_THAT(report.findings.front().remedy, HasSubstr("-map 0:v"));
}

TEST_F(CheckInput, FindsAMovieTooLargeToLoad) {
  const auto limit = static_cast<unsigned int>(MP4G::kLeastUnloadedBoxSize);
  for (const unsigned int size : {limit, limit - 1}) {
    MovieBuilder clip = EvenClip();
    const std::size_t rest =
        clip.Build().size() - support::FindBox(clip.Build(), "moov");  // of the movie box
    clip.extraMovieBoxes = Box("free", {Zeros(size - rest - 8)});
    const CheckReport report = CheckAll({Put("large", clip)});
    if (size < limit) {
      EXPECT_FALSE(IsRefused(report)) << testing::PrintToString(NamesOf(report));
    } else {
      ExpectOnly(report, "movie-too-large");
      EXPECT_EQ(E_BAD_DATA, report.findings.front().result);
    }
  }
}

TEST_F(CheckInput, FindsThatTheResultIsTooLargeToLoad) {
  MovieBuilder clip = EvenClip();
  const std::size_t rest = clip.Build().size() - support::FindBox(clip.Build(), "moov");
  clip.extraMovieBoxes = Box("free", {Zeros(MP4G::kLeastUnloadedBoxSize - rest - 300)});
  const std::string large = Put("large", clip);
  EXPECT_THAT(NamesOf(CheckAll({large})), IsEmpty());
  const CheckReport report = CheckAll({large, Put("b", EvenClip())});
  const Finding finding = Only(report, Message::kMovieTooLarge);
  EXPECT_EQ(Severity::kRisk, finding.severity);
  EXPECT_EQ("", finding.path);
}

TEST_F(CheckInput, FindsSeveralMediaBoxes) {
  MovieBuilder clip = EvenClip();
  clip.tail = Box("mdat", {Zeros(50)});
  const CheckReport report = CheckBehind(clip.Build());
  EXPECT_THAT(NamesOf(report),
              ElementsAre("several-media-boxes", "samples-left-out", "samples-left-out"));
  EXPECT_TRUE(clipchain::HoldsUp(report.findings, false));
  clip.tail = Box("mdat");
  EXPECT_THAT(NamesOf(CheckBehind(clip.Build())),
              ElementsAre("samples-left-out", "samples-left-out"));
  MovieBuilder front = EvenClip();
  front.movieFirst = true;
  front.between = Box("mdat", {Zeros(50)});
  EXPECT_THAT(NamesOf(CheckBehind(front.Build())), ElementsAre("several-media-boxes"));
}

TEST_F(CheckInput, FindsFragments) {
  MovieBuilder clip = EvenClip();
  clip.extraMovieBoxes = Box("mvex");
  ExpectOnly(CheckBehind(clip.Build()), "fragmented");
  clip = EvenClip();
  clip.tail = Box("moof");
  const CheckReport report = CheckBehind(clip.Build());
  ExpectOnly(report, "fragmented");
  EXPECT_EQ(Severity::kRisk, report.findings.front().severity);
}

TEST_F(CheckInput, FindsWhatTheResultLacksOfTheTopLevel) {
  MovieBuilder clip = EvenClip();
  clip.tail = Box("meta", {Zeros(4)});
  ExpectOnly(CheckBehind(clip.Build()), "top-level-box-lost");
  clip.tail = Box("moov");
  ExpectOnly(CheckBehind(clip.Build()), "top-level-box-lost");
  clip.tail = Box("free");
  EXPECT_THAT(NamesOf(CheckBehind(clip.Build())), IsEmpty());
}

TEST_F(CheckInput, NamesTheFileThatExceedsTheMemory) {
  const std::string a = Put("a", EvenClip(1));
  const std::string b = Put("b", EvenClip(2));
  clipchain::CheckOptions options;
  options.fitting.exact = true;
  options.memoryLimit = 60'000;
  EXPECT_THAT(NamesOf(clipchain::Check({a, b}, options)), IsEmpty());
  options.memoryLimit = 30'000;
  const Finding finding = Only(clipchain::Check({a, b}, options), Message::kMemoryLimit);
  EXPECT_EQ(b, finding.path);
  EXPECT_THAT(finding.text, HasSubstr("30000 are allowed"));
  EXPECT_EQ(Severity::kRefusal, finding.severity);
  // Nor have those behind it room, of which nothing more is to be said.
  const std::string c = Put("c", EvenClip(3));
  EXPECT_EQ(b, Only(clipchain::Check({a, b, c}, options), Message::kMemoryLimit).path);
}

// What is enough to merge clips as they are is too little to see whether that loses something.
TEST_F(CheckInput, MergesNothingUnadaptedForWantOfMemory) {
  MovieBuilder clip = EvenClip(1);
  clip.tracks[0].extraTableBoxes = support::FullBox("subs", 0, 0, {support::U32(0)});
  const std::vector<std::string> inputs{Put("a", clip), Put("b", clip)};
  clipchain::CheckOptions options;
  EXPECT_FALSE(clipchain::Check(inputs, options).adaptations.empty());
  options.memoryLimit = 60'000;
  const CheckReport report = clipchain::Check(inputs, options);
  EXPECT_TRUE(report.adaptations.empty());
  // What would be lost unadapted is not said.
  EXPECT_EQ(1u, report.findings.size());
  const Finding finding = Only(report, Message::kMemoryLimit);
  EXPECT_THAT(finding.text, HasSubstr("60000 are allowed"));
  EXPECT_EQ(Severity::kRefusal, finding.severity);
}

// By what boxes take beside their bytes: many small ones take much more.
TEST_F(CheckInput, KeepsToTheMemoryThatIsAllowed) {
  MovieBuilder small = EvenClip();
  for (int i = 0; i < 50'000; ++i)
    small.extraMovieBoxes.insert(small.extraMovieBoxes.end(), {0, 0, 0, 8, 's', 'k', 'i', 'p'});
  MovieBuilder tracks;
  for (std::uint32_t i = 0; i < 300; ++i) tracks.Add(support::AudioTrack(4, i + 1));
  MovieBuilder wrong;
  for (int i = 0; i < 50'000; ++i)
    wrong.extraMovieBoxes.insert(wrong.extraMovieBoxes.end(), {0, 0, 0, 8, 't', 'r', 'a', 'k'});
  MovieBuilder samples;
  samples.Add(support::AudioTrack(100'000));
  MovieBuilder descriptors = EvenClip();
  Bytes many = {3, 0xFF, 0xFF, 0x7F, 0, 0, 0};
  for (int i = 0; i < 500'000; ++i) many.insert(many.end(), {0x80, 0});
  descriptors.tracks[1].sampleEntry =
      Box("mp4a", {Zeros(28), support::FullBox("esds", 0, 0, {many})});
  for (const MovieBuilder& clip : {small, tracks, wrong, samples, descriptors}) {
    const std::vector<std::string> inputs = {Put("clip", clip)};
    clipchain::CheckOptions options;
    options.fitting.exact = true;
    options.memoryLimit = 1;
    Finding refused = Only(clipchain::Check(inputs, options), Message::kMemoryLimit);
    // The bytes alone are said first, where these are too many.
    std::smatch number;
    const std::regex about("about ([0-9]+) bytes");
    ASSERT_TRUE(std::regex_search(refused.text, number, about));
    options.memoryLimit = std::stoll(number[1]);
    const CheckReport report = clipchain::Check(inputs, options);
    if (!Of(report, Message::kMemoryLimit).empty()) {
      refused = Only(report, Message::kMemoryLimit);
      ASSERT_TRUE(std::regex_search(refused.text, number, about));
      options.memoryLimit = std::stoll(number[1]);
    }
    const support::AllocationMeter meter;
    EXPECT_TRUE(Of(clipchain::Check(inputs, options), Message::kMemoryLimit).empty());
    EXPECT_LT(meter.Peak(), static_cast<std::size_t>(options.memoryLimit) + 200'000);
    EXPECT_GT(meter.Peak() * 5, static_cast<std::size_t>(options.memoryLimit));
  }
}

TEST_F(CheckInput, TakesALargeFileAsItIs) {
  // A sparse file with 6 GB of media.
  MovieBuilder clip = EvenClip();
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  const std::size_t media = support::FindBox(bytes, "mdat");
  bytes = support::WithU32(bytes, media, 0);
  const std::string large = Put("large", bytes);
  std::filesystem::resize_file(large, 6'000'000'000);
  const CheckReport report = CheckAll({large, large});
  EXPECT_THAT(NamesOf(report), ElementsAre("same-input-twice"));
  EXPECT_GT(report.outputSize, 11'999'000'000);
}

TEST_F(CheckInput, FindsAFileThatIsNamedTwice) {
  const std::string a = Put("a", EvenClip(1));
  const std::string link = (folder / "link").string();
  std::filesystem::create_symlink(a, link);
  const std::string hard = (folder / "hard").string();
  std::filesystem::create_hard_link(a, hard);
  const CheckReport report = CheckAll({a, Put("b", EvenClip(1)), link, hard});
  const auto found = Of(report, Message::kSameInputTwice);
  ASSERT_EQ(2u, found.size());
  EXPECT_EQ(link, found[0].path);
  EXPECT_EQ(hard, found[1].path);
  EXPECT_EQ(2u, report.findings.size());
}
