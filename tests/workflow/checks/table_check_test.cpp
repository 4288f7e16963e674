// What a check says about the tables of one clip.
#include "support/table_bytes.h"
#include "workflow/checks/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::Box;
using support::Bytes;
using support::operator+;
using support::FullBox;
using support::MovieBuilder;
using support::Track;
using support::U16;
using support::U32;
using support::U8;
using support::Zeros;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CheckTables : public support::CheckTest {
 protected:
  CheckReport CheckOne(const Bytes& bytes) { return CheckAll({Put("clip", bytes)}); }
  CheckReport CheckOne(const MovieBuilder& movie) { return CheckOne(movie.Build()); }

  // The clip with a number of the box changed, found by its place behind the box's first byte.
  static Bytes With(const char* type, std::size_t index, std::size_t offset, std::uint32_t value) {
    const Bytes bytes = EvenClip().Build();
    return support::WithU32(bytes, support::FindBox(bytes, type, index) + offset, value);
  }

  void ExpectDisagreement(const Bytes& bytes, const char* box, const char* words) {
    const CheckReport report = CheckOne(bytes);
    const Finding finding = Only(report, Message::kTablesDisagree);
    EXPECT_EQ(box, finding.box);
    EXPECT_THAT(finding.text, HasSubstr(words));
    EXPECT_EQ(Severity::kRisk, finding.severity);
    EXPECT_EQ(1u, finding.track);
  }
};

constexpr char kTable[] = "moov/trak[0]/mdia/minf/stbl/";

std::string In(const char* type) { return std::string(kTable) + type; }

}  // namespace

TEST_F(CheckTables, FindsDurationsForOtherSamples) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].stts = {{47, 1000}};
  ExpectDisagreement(clip.Build(), In("stts").c_str(), "durations for 47 samples and sizes for 48");
}

TEST_F(CheckTables, FindsOffsetsForOtherSamples) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].ctts = {{49, 1000}};
  ExpectDisagreement(clip.Build(), In("ctts").c_str(), "offsets for 49 samples and sizes for 48");
  clip.tracks[0].ctts = {{40, 1000}, {8, 0}};
  EXPECT_THAT(NamesOf(CheckOne(clip)), IsEmpty());
}

TEST_F(CheckTables, FindsDependenciesOfOtherSamples) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].sdtp = Bytes(47, 0);
  ExpectDisagreement(clip.Build(), In("sdtp").c_str(),
                     "dependencies of 47 samples and sizes of 48");
  clip.tracks[0].sdtp = Bytes(48, 0);
  EXPECT_THAT(NamesOf(CheckOne(clip)), IsEmpty());
}

TEST_F(CheckTables, FindsSyncSamplesThatAreNot) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].stss = {1, 49};
  ExpectDisagreement(clip.Build(), In("stss").c_str(), "names sample 49 as a sync sample");
  clip.tracks[0].stss = {1, 7, 7};
  ExpectDisagreement(clip.Build(), In("stss").c_str(), "names sample 7 as a sync sample behind");
  clip.tracks[0].stss = {1, 48};
  EXPECT_THAT(NamesOf(CheckOne(clip)), IsEmpty());
}

TEST_F(CheckTables, FindsRunsOfChunksOutOfOrder) {
  ExpectDisagreement(With("stsc", 0, 16, 2), In("stsc").c_str(),
                     "begins at chunk 2 behind chunk 0");
  // Twelve chunks of four samples and one of two.
  MovieBuilder clip = EvenClip();
  clip.tracks[0] = support::VideoTrack(50);
  const Bytes bytes = clip.Build();
  const std::size_t secondRun = support::FindBox(bytes, "stsc") + 28;
  ASSERT_EQ(13u, support::ReadU32(bytes, secondRun));
  ExpectDisagreement(support::WithU32(bytes, secondRun, 1), In("stsc").c_str(),
                     "begins at chunk 1 behind chunk 1");
  // The chunks then hold more samples, too.
  const auto found = Of(CheckOne(support::WithU32(bytes, secondRun, 14)), Message::kTablesDisagree);
  ASSERT_EQ(2u, found.size());
  EXPECT_THAT(found[0].text, HasSubstr("a run that begins at chunk 14 and 13 chunks"));
  EXPECT_THAT(found[1].text, HasSubstr("room for 52 samples"));
}

TEST_F(CheckTables, FindsChunksOfADescriptionThatIsNotThere) {
  ExpectDisagreement(With("stsc", 0, 24, 2), In("stsc").c_str(),
                     "chunks of sample description 2 and 1 descriptions");
}

TEST_F(CheckTables, FindsRoomForSamplesWithoutSizes) {
  ExpectDisagreement(With("stsc", 0, 20, 5), In("stsc").c_str(),
                     "room for 60 samples in its 12 chunks and sizes for 48");
}

TEST_F(CheckTables, FindsSamplesThatNoMediaBacks) {
  const CheckReport report = CheckOne(With("stsc", 0, 20, 3));
  const Finding finding = Only(report, Message::kSamplesWithoutMedia);
  EXPECT_THAT(finding.text, HasSubstr("counts 48 samples, and its 12 chunks hold 36"));
  EXPECT_EQ(In("stsz"), finding.box);
  EXPECT_EQ(Severity::kRisk, finding.severity);
}

TEST_F(CheckTables, FindsAHugeCountOfSamplesAtOnce) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].uniformSize = 20;
  clip.tracks[0].sampleSizes.assign(48, 20);
  Bytes bytes = clip.Build();
  EXPECT_THAT(NamesOf(CheckOne(bytes)), IsEmpty());
  bytes = support::WithU32(bytes, support::FindBox(bytes, "stsz") + 16, 0xFFFFFFFF);
  const CheckReport report = CheckAll({Put("a", bytes), Put("b", bytes)});
  EXPECT_EQ(2u, Of(report, Message::kSamplesWithoutMedia).size());
}

TEST_F(CheckTables, FindsChunksOutsideOfTheMedia) {
  const Bytes bytes = EvenClip().Build();
  const std::size_t table = support::FindBox(bytes, "stco");
  const CheckReport before = CheckOne(support::WithU32(bytes, table + 16, 3));
  Finding finding = Only(before, Message::kSamplesOutsideMedia);
  EXPECT_EQ(In("stco"), finding.box);
  EXPECT_THAT(finding.text, HasSubstr("has 1 of 12 chunks, the first of them at bytes 3 to "));
  const auto end = static_cast<std::uint32_t>(support::FindBox(bytes, "moov"));
  const CheckReport behind = CheckOne(support::WithU32(bytes, table + 16 + 8, end - 5));
  finding = Only(behind, Message::kSamplesOutsideMedia);
  EXPECT_THAT(finding.text, HasSubstr("with the samples 9 to 12 of 48"));
}

TEST_F(CheckTables, FindsSizesThatRunOutOfTheMedia) {
  const Bytes bytes = EvenClip().Build();
  const std::size_t table = support::FindBox(bytes, "stsz", 1);
  EXPECT_EQ(1u, Of(CheckOne(support::WithU32(bytes, table + 20, 0x7FFFFFFF)),
                   Message::kSamplesOutsideMedia)
                    .size());
}

TEST_F(CheckTables, FindsOffsetsOf64BitsOutsideOfTheMedia) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].co64 = true;
  Bytes bytes = clip.Build();
  EXPECT_THAT(NamesOf(CheckOne(bytes)), IsEmpty());
  bytes = support::WithU32(bytes, support::FindBox(bytes, "co64") + 16, 0xFFFFFFFF);
  EXPECT_EQ("moov/trak[1]/mdia/minf/stbl/co64",
            Only(CheckOne(bytes), Message::kSamplesOutsideMedia).box);
}

TEST_F(CheckTables, FindsMediaInAnotherFile) {
  const Bytes bytes = EvenClip().Build();
  const std::size_t url = support::FindBox(bytes, "url ");
  const CheckReport report = CheckOne(support::WithU32(bytes, url + 8, 0));
  EXPECT_EQ("moov/trak[0]/mdia/minf/dinf/dref/url ", Only(report, Message::kMediaElsewhere).box);
}

TEST_F(CheckTables, FindsCompactSizes) {
  const Bytes plain = EvenClip().Build();
  for (const unsigned int bits : {8u, 16u}) {
    const std::size_t old = support::FindBox(plain, "stsz");
    const std::size_t room = support::ReadU32(plain, old);
    Bytes box = FullBox("stz2", 0, 0, {Zeros(3), U8(static_cast<std::uint8_t>(bits)), U32(48)});
    for (std::uint32_t i = 0; i < 48; ++i) {
      const std::uint32_t size = 20 + i % 5;
      box = box + (bits == 8 ? U8(static_cast<std::uint8_t>(size))
                             : U16(static_cast<std::uint16_t>(size)));
    }
    box = support::WithU32(box, 0, static_cast<std::uint32_t>(box.size()));
    const Bytes filled = box + Box("free", {Zeros(room - box.size() - 8)});
    Bytes bytes = plain;
    std::copy(filled.begin(), filled.end(), bytes.begin() + static_cast<std::ptrdiff_t>(old));
    const CheckReport report = CheckOne(bytes);
    EXPECT_THAT(NamesOf(report), ElementsAre("compact-sizes"));
    EXPECT_EQ(bits == 8 ? Severity::kRisk : Severity::kWarning, report.findings.front().severity);
  }
}

TEST_F(CheckTables, FindsASampleEntryThatLosesItsConfiguration) {
  MovieBuilder clip = EvenClip();
  const auto entry = [](const Bytes& inside) {
    return Box("hvc1", {Zeros(6), U16(1), Zeros(16), U16(640), U16(360), Zeros(50), inside});
  };
  clip.tracks[0].sampleEntry = entry(Box("hvcC", {support::Fill(23, 1)}) + Box("pasp", {Zeros(8)}));
  CheckReport report = CheckOne(clip);
  EXPECT_THAT(NamesOf(report), ElementsAre("sample-entry-not-kept"));
  EXPECT_THAT(
      report.findings.front().text,
      HasSubstr("loses the boxes \"hvcC\", \"pasp\" of its sample entry \"hvc1\" in a merge"));
  EXPECT_EQ(In("stsd/hvc1"), report.findings.front().box);
  EXPECT_EQ(Severity::kRisk, report.findings.front().severity);
  clip.tracks[0].sampleEntry = entry(Box("pasp", {U32(1), U32(1)}));
  report = CheckOne(clip);
  EXPECT_THAT(NamesOf(report), ElementsAre("sample-entry-not-kept"));
  EXPECT_EQ(Severity::kWarning, report.findings.front().severity);
  clip.tracks[0].sampleEntry = entry(Zeros(4));
  EXPECT_THAT(NamesOf(CheckOne(clip)), IsEmpty());
}

// A timecode can be read without what stands behind its entry, such as the name of the reel.
TEST_F(CheckTables, FindsATimecodeEntryThatLosesWhatIsInside) {
  MovieBuilder clip = EvenClip();
  Track timecode = support::TimecodeTrack({{1, 0, 0, 0}});
  const Bytes entry = timecode.sampleEntry;
  timecode.sampleEntry = support::WithU32(entry + Box("reel", {support::Fill(4, 7)}), 0,
                                          static_cast<std::uint32_t>(entry.size() + 12));
  timecode.stts = {{1, 48000}};
  clip.Add(timecode);
  const CheckReport report = CheckOne(clip);
  EXPECT_THAT(NamesOf(report), ElementsAre("sample-entry-not-kept"));
  EXPECT_EQ(Severity::kWarning, report.findings.front().severity);
  EXPECT_THAT(report.findings.front().text, HasSubstr("the box \"reel\""));
  EXPECT_EQ("keep the clip if you need what is lost", report.findings.front().remedy);
}

TEST_F(CheckTables, KeepsWhatIsInsideAnAvcEntry) {
  MovieBuilder clip = EvenClip();
  const Bytes entry = support::AvcEntry();
  clip.tracks[0].sampleEntry = support::WithU32(entry + Box("colr", {support::Fill(11, 7)}), 0,
                                                static_cast<std::uint32_t>(entry.size() + 19));
  EXPECT_THAT(NamesOf(CheckOne(clip)), IsEmpty());
}

TEST_F(CheckTables, FindsBytesThatTheEngineDrops) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].stss = {1, 2, 3};
  Bytes bytes = clip.Build();
  bytes = support::WithU32(bytes, support::FindBox(bytes, "stss") + 12, 2);
  const CheckReport report = CheckOne(bytes);
  EXPECT_THAT(NamesOf(report), ElementsAre("box-not-kept"));
  EXPECT_EQ(In("stss"), report.findings.front().box);
}

TEST_F(CheckTables, FindsIdentifiersThatAreThereTwice) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].id = 1;
  const CheckReport report = CheckOne(clip);
  EXPECT_THAT(NamesOf(report), ElementsAre("track-id-twice"));
  EXPECT_EQ("moov/trak[1]", report.findings.front().box);
}

TEST_F(CheckTables, FindsAClipWithoutTracks) {
  MovieBuilder clip = EvenClip();
  clip.tracks.clear();
  EXPECT_THAT(NamesOf(CheckOne(clip)), ElementsAre("no-tracks"));
}

TEST_F(CheckTables, KeepsToAReasonableNumberOfFindings) {
  MovieBuilder clip;
  for (std::uint32_t i = 0; i < 1500; ++i) {
    Track track = support::VideoTrack(4, i + 1);
    track.stts = {{3, 1000}};
    clip.Add(track);
  }
  const CheckReport report = CheckOne(clip);
  EXPECT_EQ(1000u, report.findings.size());
  EXPECT_THAT(NamesOf(report), Each("tables-disagree"));
}
