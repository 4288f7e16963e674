// What a check says about clips that do not fit the first one, and about what is lost where they
// do.
#include "support/table_bytes.h"
#include "support/vendor_box.h"
#include "workflow/checks/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::Box;
using support::Bytes;
using support::FullBox;
using support::Hex;
using support::MovieBuilder;
using support::Text;
using support::U16;
using support::U32;
using support::U8;
using support::Zeros;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class CheckMatch : public support::CheckTest {
 protected:
  CheckReport CheckPair(const MovieBuilder& first, const MovieBuilder& second) {
    return CheckAll({Put("first", first), Put("second", second)});
  }
  // A clip that is changed behind one that is not.
  template <class Change>
  CheckReport CheckChanged(Change change) {
    MovieBuilder clip = EvenClip(2);
    change(clip);
    return CheckPair(EvenClip(1), clip);
  }
  std::string First() const { return (folder / "first").string(); }

  // All of both in either direction: the finding, its code and its box.
  template <class Change>
  void ExpectRefused(Change change, Message message, HRESULT code) {
    MovieBuilder changed = EvenClip(2);
    change(changed);
    for (const bool behind : {true, false}) {
      const CheckReport report =
          behind ? CheckPair(EvenClip(1), changed) : CheckPair(changed, EvenClip(1));
      const Finding finding = Only(report, message);
      EXPECT_EQ(code, finding.result);
      EXPECT_EQ((folder / "second").string(), finding.path);
      EXPECT_THAT(finding.text, HasSubstr(First()));
      EXPECT_FALSE(finding.box.empty());
      EXPECT_FALSE(finding.remedy.empty());
    }
  }
};

}  // namespace

TEST_F(CheckMatch, NamesBothMovieTimeScales) {
  ExpectRefused([](MovieBuilder& m) { m.timeScale = 90000; }, Message::kMovieTimeScale,
                MP4G_E_TIME_SCALE);
  const CheckReport report = CheckChanged([](MovieBuilder& m) { m.timeScale = 90000; });
  EXPECT_THAT(report.findings.front().text, AllOf(HasSubstr("90000"), HasSubstr("600")));
}

TEST_F(CheckMatch, NamesBothMediaTimeScales) {
  ExpectRefused([](MovieBuilder& m) { m.tracks[1].timeScale = 44100; }, Message::kMediaTimeScale,
                MP4G_E_TIME_SCALE);
  const CheckReport report = CheckChanged([](MovieBuilder& m) { m.tracks[1].timeScale = 44100; });
  const Finding finding = Only(report, Message::kMediaTimeScale);
  EXPECT_THAT(finding.text, AllOf(HasSubstr("44100"), HasSubstr("48000")));
  EXPECT_EQ(2u, finding.track);
}

TEST_F(CheckMatch, CountsTheTracks) {
  ExpectRefused([](MovieBuilder& m) { m.Add(support::AudioTrack(75, 3)); }, Message::kTrackCount,
                MP4G_E_TRACK_COUNT);
}

TEST_F(CheckMatch, FindsATrackThatIsNotContinued) {
  ExpectRefused([](MovieBuilder& m) { m.tracks[1] = support::VideoTrack(48, 2); },
                Message::kTrackWithoutPartner, E_BAD_DATA);
}

TEST_F(CheckMatch, FindsAnEditListOnOneSide) {
  ExpectRefused(
      [](MovieBuilder& m) {
        m.tracks[0].edits = {{960, 0}};
      },
      Message::kEditListDiffers, E_INVALIDARG);
}

TEST_F(CheckMatch, FindsAnEmptyEditList) {
  MovieBuilder with = EvenClip();
  with.tracks[0].edits = {{960, 0}};
  MovieBuilder empty = EvenClip();
  empty.tracks[0].edits = std::vector<support::Edit>();
  EXPECT_EQ(E_BAD_DATA, Only(CheckPair(with, empty), Message::kEditListDiffers).result);
  EXPECT_EQ(E_BAD_DATA, Only(CheckPair(empty, with), Message::kEditListDiffers).result);
  EXPECT_THAT(NamesOf(CheckPair(with, with)), IsEmpty());
}

TEST_F(CheckMatch, FindsATableOnOneSide) {
  ExpectRefused(
      [](MovieBuilder& m) {
        m.tracks[0].ctts = {{48, 0}};
      },
      Message::kTableMissing, MP4G_E_SAMPLE_TABLE);
  ExpectRefused([](MovieBuilder& m) { m.tracks[0].stss = {1}; }, Message::kTableMissing,
                MP4G_E_SAMPLE_TABLE);
  ExpectRefused([](MovieBuilder& m) { m.tracks[0].sdtp = Bytes(48, 0); }, Message::kTableMissing,
                MP4G_E_SAMPLE_TABLE);
}

TEST_F(CheckMatch, NamesTheFirstFieldThatDiffers) {
  MovieBuilder other = EvenClip();
  other.tracks[0].sampleEntry = support::AvcEntry(Hex("0164002AFFE1000467640028 01000468EE3CB0"));
  const Finding finding = Only(CheckPair(EvenClip(), other), Message::kSampleDescription);
  EXPECT_EQ("moov/trak[0]/mdia/minf/stbl/stsd/avc1/avcC", finding.box);
  EXPECT_THAT(finding.text, HasSubstr("AVCLevelIndication is 42, and 40 in " + First()));
  EXPECT_EQ(MP4G_E_SAMPLE_TABLE, finding.result);
  EXPECT_EQ(1u, finding.track);
}

TEST_F(CheckMatch, FindsEverythingAtOnce) {
  const CheckReport report = CheckChanged([](MovieBuilder& m) {
    m.timeScale = 601;
    m.tracks[0].timeScale = 25000;
    m.tracks[0].stss = {1};
    m.tracks[0].ctts = {{48, 0}};
    m.tracks[1].edits = {{960, 0}};
    m.tracks[1].sdtp = Bytes(75, 0);
    m.Add(support::TimecodeTrack({{1, 0, 0, 0}}));
  });
  EXPECT_THAT(
      NamesOf(report),
      UnorderedElementsAre("movie-time-scale", "track-count", "media-time-scale", "table-missing",
                           "table-missing", "edit-list-differs", "table-missing"));
}

TEST_F(CheckMatch, GoesOnBehindAClipThatDoesNotFit) {
  MovieBuilder other = EvenClip();
  other.timeScale = 601;
  const std::string a = Put("a", EvenClip());
  const std::string bad = Put("bad", other);
  const std::string missing = (folder / "missing").string();
  const CheckReport report = CheckAll({a, bad, missing, Put("b", EvenClip()), bad + "", missing});
  EXPECT_THAT(NamesOf(report),
              ElementsAre("movie-time-scale", "input-unreadable", "same-input-twice",
                          "movie-time-scale", "input-unreadable"));
}

TEST_F(CheckMatch, ComparesWithTheFirstClipThatCanBeRead) {
  MovieBuilder other = EvenClip();
  other.timeScale = 601;
  const CheckReport report =
      CheckAll({(folder / "missing").string(), Put("a", EvenClip()), Put("b", other)});
  EXPECT_THAT(NamesOf(report), ElementsAre("input-unreadable", "movie-time-scale"));
}

TEST_F(CheckMatch, NeedsHeadersForAMergeOfSeveralClips) {
  const auto without = [](bool MovieBuilder::*header) {
    MovieBuilder clip = EvenClip();
    clip.*header = false;
    return clip;
  };
  const std::string clip = Put("clip", without(&MovieBuilder::withMovieHeader));
  EXPECT_EQ(Severity::kRisk, Only(CheckAll({clip}), Message::kHeaderMissing).severity);
  const CheckReport report = CheckAll({Put("good", EvenClip()), clip});
  EXPECT_EQ(Severity::kRefusal, Only(report, Message::kHeaderMissing).severity);
}

TEST_F(CheckMatch, FindsSizesThatWouldBeLost) {
  MovieBuilder uniform = EvenClip();
  uniform.tracks[1].uniformSize = 11;
  uniform.tracks[1].sampleSizes.assign(75, 11);
  const Finding finding = Only(CheckPair(uniform, EvenClip()), Message::kSampleSizesLost);
  EXPECT_THAT(finding.text, HasSubstr("would give its sample 1 0 bytes in place of 10"));
  EXPECT_EQ(2u, finding.track);
  EXPECT_EQ(Severity::kRisk, finding.severity);
  EXPECT_THAT(NamesOf(CheckPair(EvenClip(), uniform)), IsEmpty());
  EXPECT_THAT(NamesOf(CheckPair(uniform, uniform)), IsEmpty());
}

TEST_F(CheckMatch, FindsATableOfEqualSizesThatTheThirdClipSpoils) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].sampleSizes.assign(75, 11);
  const std::string a = Put("a", clip);
  const std::string b = Put("b", clip);
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
  const Finding finding = Only(CheckAll({a, b, Put("c", clip)}), Message::kSampleSizesLost);
  EXPECT_THAT(finding.text, HasSubstr("in place of 225"));
}

TEST_F(CheckMatch, SpellsOutNoMoreSizesThanTheMemoryTakes) {
  MovieBuilder first = EvenClip();
  first.tracks[1].uniformSize = 11;
  first.tracks[1].sampleSizes.assign(75, 11);
  MovieBuilder second = EvenClip();
  second.tracks[1].uniformSize = 12;
  second.tracks[1].sampleSizes.assign(75, 12);
  const std::string a = Put("a", first);
  Bytes bytes = second.Build();
  const std::size_t count = support::FindBox(bytes, "stsz", 1) + 16;
  const std::string many = Put("many", support::WithU32(bytes, count, (1u << 28) - 75));
  clipchain::CheckOptions options;
  options.memoryLimit = 1 << 20;
  EXPECT_EQ(many, Only(clipchain::Check({a, many}, options), Message::kMemoryLimit).path);
  const std::string tooMany = Put("tooMany", support::WithU32(bytes, count, (1u << 28) - 74));
  EXPECT_EQ(MP4G_E_SAMPLE_TABLE,
            Only(clipchain::Check({a, tooMany}, options), Message::kSampleSizesTooMany).result);
}

TEST_F(CheckMatch, FindsEditListsOfSeveralEntries) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].edits = {{20, -1}, {940, 0}};
  const std::string a = Put("a", clip);
  EXPECT_THAT(NamesOf(CheckAll({a})), IsEmpty());
  const CheckReport report = CheckAll({a, Put("b", clip)});
  EXPECT_THAT(NamesOf(report), ElementsAre("several-edits", "several-edits"));
  EXPECT_EQ("moov/trak[1]/edts/elst", report.findings.front().box);
}

TEST_F(CheckMatch, FindsWhatEditListsHide) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].edits = {{600, 15000}};
  const std::string a = Put("a", clip);
  EXPECT_THAT(NamesOf(CheckAll({a})), IsEmpty());
  const CheckReport report = CheckAll({a, Put("b", clip)});
  EXPECT_THAT(NamesOf(report), ElementsAre("edits-cut", "edits-cut"));
  const Finding& finding = report.findings.front();
  EXPECT_EQ(
      "hides 15 samples (0.500 s) at the start and 3 samples (0.100 s) at the end of its track 1 "
      "(avc1) by an edit list, and a merge would show it again",
      finding.text);
  EXPECT_EQ("moov/trak[0]/edts/elst", finding.box);
  EXPECT_EQ(1u, finding.track);
  EXPECT_TRUE(clipchain::HoldsUp(report.findings, false));
  // A segment that is shorter than its media.
  clip.tracks[0].edits = {{940, 0}};
  EXPECT_THAT(NamesOf(CheckPair(clip, clip)), ElementsAre("edits-cut", "edits-cut"));
  clip.tracks[0].edits = {{960, 0}};
  EXPECT_THAT(NamesOf(CheckPair(clip, clip)), IsEmpty());
}

TEST_F(CheckMatch, FindsDurationsThatDoNotFitTheHeader) {
  MovieBuilder clip = EvenClip();
  clip.duration = 0x90000000;
  const CheckReport narrow = CheckPair(clip, clip);
  const Finding finding = Only(narrow, Message::kDurationTooLong);
  EXPECT_EQ("moov/mvhd", finding.box);
  EXPECT_EQ((folder / "second").string(), finding.path);
  EXPECT_THAT(finding.text, HasSubstr("to 4831838208"));
  clip.wideMovieHeader = true;
  EXPECT_THAT(NamesOf(CheckPair(clip, clip)), IsEmpty());
}

// What goes wrong with one clip goes wrong with all behind it.
TEST_F(CheckMatch, SaysOnceWhereDurationsAndSizesBeginToBeWrong) {
  MovieBuilder clip = EvenClip();
  clip.duration = 0x90000000;
  clip.tracks[1].uniformSize = 11;
  clip.tracks[1].sampleSizes.assign(75, 11);
  MovieBuilder other = clip;
  other.tracks[1] = EvenClip().tracks[1];
  const CheckReport report = CheckAll(
      {Put("first", clip), Put("second", other), Put("third", other), Put("fourth", other)});
  EXPECT_THAT(NamesOf(report), UnorderedElementsAre("sample-sizes-lost", "duration-too-long"));
  for (const Finding& finding : report.findings)
    EXPECT_EQ((folder / "second").string(), finding.path);
}

TEST_F(CheckMatch, FindsMediaAndTrackDurationsThatDoNotFit) {
  MovieBuilder clip = EvenClip();
  clip.tracks[0].mediaDuration = 0x90000000;
  EXPECT_EQ("moov/trak[0]/mdia/mdhd", Only(CheckPair(clip, clip), Message::kDurationTooLong).box);
  clip.tracks[0].wideHeaders = true;
  EXPECT_THAT(NamesOf(CheckPair(clip, clip)), IsEmpty());
}

TEST_F(CheckMatch, FindsOffsetsThatWouldBeMisread) {
  MovieBuilder plain = EvenClip();
  plain.tracks[0].ctts = {{48, 1000}};
  MovieBuilder negative = EvenClip();
  negative.tracks[0].ctts = {{48, 0xFFFFFC18}};
  Bytes bytes = negative.Build();
  bytes[support::FindBox(bytes, "ctts") + 8] = 1;
  const std::string a = Put("a", plain);
  const std::string b = Put("b", bytes);
  EXPECT_EQ("moov/trak[0]/mdia/minf/stbl/ctts",
            Only(CheckAll({a, b}), Message::kOffsetsMisread).box);
  EXPECT_THAT(NamesOf(CheckAll({b, a})), IsEmpty());
  EXPECT_THAT(NamesOf(CheckAll({b, Put("c", bytes)})), IsEmpty());
}

TEST_F(CheckMatch, FindsTablesOfWhichTheFirstAloneStays) {
  const auto with = [](const Bytes& box) {
    MovieBuilder clip = EvenClip();
    clip.tracks[0].extraTableBoxes = box;
    return clip;
  };
  for (const char* type : {"sbgp", "saiz", "saio", "subs", "padb", "stdp", "stps"}) {
    const MovieBuilder clip = with(FullBox(type, 0, 0, {Zeros(8)}));
    EXPECT_THAT(NamesOf(CheckPair(clip, EvenClip())), ElementsAre("first-table-only")) << type;
    EXPECT_THAT(NamesOf(CheckPair(EvenClip(), clip)), ElementsAre("first-table-only")) << type;
    EXPECT_THAT(NamesOf(CheckPair(clip, clip)), ElementsAre("first-table-only")) << type;
    EXPECT_THAT(NamesOf(CheckAll({Put("alone", clip)})), IsEmpty()) << type;
  }
  const MovieBuilder groups = with(FullBox("sgpd", 1, 0, {Text("roll"), Zeros(8)}));
  const MovieBuilder others = with(FullBox("sgpd", 1, 0, {Text("rap "), Zeros(8)}));
  EXPECT_THAT(NamesOf(CheckPair(groups, groups)), IsEmpty());
  const CheckReport report = CheckPair(groups, others);
  EXPECT_THAT(NamesOf(report), ElementsAre("first-table-only"));
  EXPECT_EQ(Severity::kWarning, report.findings.front().severity);
  const MovieBuilder padding = with(Box("free", {Zeros(8)}));
  EXPECT_THAT(NamesOf(CheckPair(EvenClip(), padding)), IsEmpty());
}

TEST_F(CheckMatch, FindsBoxesOfTheMovieThatAreLost) {
  const auto with = [](const Bytes& box) {
    MovieBuilder clip = EvenClip();
    clip.extraMovieBoxes = box;
    return clip;
  };
  const Bytes usertype = support::GuidBytes(support::Id(7));
  for (const auto& [type, head] : {std::pair("udta", Bytes()), std::pair("meta", Bytes()),
                                   std::pair("uuid", usertype), std::pair("iods", Bytes())}) {
    const MovieBuilder here = with(Box(type, {head, Text("here")}));
    const MovieBuilder there = with(Box(type, {head, Text("elsewhere")}));
    const Finding lost = Only(CheckPair(EvenClip(), here), Message::kFirstBoxOnly);
    EXPECT_EQ(std::string("moov/") + type, lost.box);
    EXPECT_EQ((folder / "second").string(), lost.path);
    EXPECT_EQ(Severity::kWarning, lost.severity);
    EXPECT_EQ(0u, lost.track);
    EXPECT_THAT(lost.text, AllOf(HasSubstr(type), HasSubstr(First() + " has none")));
    const Finding replaced = Only(CheckPair(there, here), Message::kFirstBoxOnly);
    EXPECT_THAT(replaced.text, HasSubstr("that of " + First() + " alone stays"));
    EXPECT_THAT(NamesOf(CheckPair(here, here)), IsEmpty()) << type;
    EXPECT_THAT(NamesOf(CheckPair(here, EvenClip())), IsEmpty()) << type;
    EXPECT_THAT(NamesOf(CheckAll({Put("alone", here)})), IsEmpty()) << type;
  }
  EXPECT_THAT(NamesOf(CheckPair(EvenClip(), with(Box("free", {Zeros(8)})))), IsEmpty());
  EXPECT_THAT(NamesOf(CheckPair(EvenClip(), with(Box("skip", {Zeros(8)})))), IsEmpty());
}

TEST_F(CheckMatch, ComparesUserTypesEachForItself) {
  MovieBuilder first = EvenClip();
  first.extraMovieBoxes = Box("uuid", {support::GuidBytes(support::Id(7)), Text("notes")});
  MovieBuilder second = first;
  second.extraMovieBoxes = support::Join(
      {first.extraMovieBoxes, Box("uuid", {support::GuidBytes(support::Id(8)), Text("notes")})});
  EXPECT_THAT(Only(CheckPair(first, second), Message::kFirstBoxOnly).text,
              HasSubstr("\"uuid\" 08080808-0808-0808-0808-080808080808"));
}

TEST_F(CheckMatch, SaysOnceThatAKindOfBoxIsLost) {
  MovieBuilder clip = EvenClip();
  clip.extraMovieBoxes =
      support::Join({Box("udta", {Text("movie")}), Box("udta", {Text("again")})});
  for (support::Track& track : clip.tracks) track.extraTrackBoxes = Box("udta", {Text("track")});
  const CheckReport report =
      CheckAll({Put("first", EvenClip()), Put("second", clip), Put("third", clip)});
  std::vector<std::string> places;
  for (const Finding& finding : report.findings)
    places.push_back(finding.path.substr(finding.path.rfind('/') + 1) + ":" + finding.box);
  EXPECT_THAT(places, ElementsAre("second:moov/udta[0]", "second:moov/trak[0]/udta",
                                  "third:moov/udta[0]", "third:moov/trak[0]/udta"));
  EXPECT_THAT(report.findings[1].text, HasSubstr("track 1 (avc1)"));
  EXPECT_EQ(1u, report.findings[1].track);
}

TEST_F(CheckMatch, LosesOneOfTwoBoxesOfAKind) {
  MovieBuilder one = EvenClip();
  one.extraMovieBoxes = Box("udta", {Text("a")});
  MovieBuilder two = EvenClip();
  two.extraMovieBoxes = support::Join({Box("udta", {Text("a")}), Box("udta", {Text("b")})});
  EXPECT_THAT(NamesOf(CheckPair(one, two)), ElementsAre("first-box-only"));
  EXPECT_THAT(NamesOf(CheckPair(two, one)), IsEmpty());
}

TEST_F(CheckMatch, FindsBoxesOfTheMediaThatAreLost) {
  const Bytes language = FullBox("elng", 0, 0, {Text("de-CH"), U8(0)});
  EXPECT_EQ("moov/trak[0]/mdia/elng",
            Only(CheckChanged([&](MovieBuilder& m) { m.tracks[0].extraMediaBoxes = language; }),
                 Message::kFirstBoxOnly)
                .box);
  EXPECT_EQ("moov/trak[1]/mdia/minf/note", Only(CheckChanged([](MovieBuilder& m) {
                                                  m.tracks[1].extraInformationBoxes =
                                                      Box("note", {Zeros(4)});
                                                }),
                                                Message::kFirstBoxOnly)
                                               .box);
}

TEST_F(CheckMatch, TheCamerasOwnBoxIsNoLoss) {
  const auto with = [](unsigned char number, unsigned char previous, unsigned char next) {
    const Bytes box = support::VendorBox{
        support::Id(number),
        support::Id(next),
        support::Id(previous),
        {}}.Build();
    return support::WithVendorBox(EvenClip().Build(), box);
  };
  const std::string a = Put("a", with(1, 0, 2));
  const std::string b = Put("b", with(2, 1, 0));
  EXPECT_THAT(NamesOf(CheckAll({a, b})), IsEmpty());
  EXPECT_THAT(NamesOf(CheckAll({Put("plain", EvenClip()), b})), IsEmpty());
}

TEST_F(CheckMatch, FindsAPictureThatIsTurned) {
  Bytes bytes = EvenClip().Build();
  const std::size_t matrix = support::FindBox(bytes, "tkhd") + 48;
  bytes = support::WithU32(bytes, matrix, 0);
  bytes = support::WithU32(bytes, matrix + 4, 0x10000);
  const CheckReport report = CheckAll({Put("a", EvenClip()), Put("b", bytes)});
  EXPECT_THAT(Only(report, Message::kShownOtherwise).text,
              AllOf(HasSubstr("matrix 0 1 0 1 0 0"), HasSubstr("matrix 1 0 0 1 0 0")));
}

TEST_F(CheckMatch, FindsAMovieThatIsTurned) {
  Bytes bytes = EvenClip().Build();
  const std::size_t matrix = support::FindBox(bytes, "mvhd") + 44;
  bytes = support::WithU32(bytes, matrix, 0);
  const CheckReport report = CheckAll({Put("a", EvenClip()), Put("b", bytes)});
  EXPECT_THAT(Only(report, Message::kShownOtherwise).text, HasSubstr("movie header"));
}

TEST_F(CheckMatch, FindsAPictureOfAnotherSize) {
  Bytes bytes = EvenClip().Build();
  const std::size_t width = support::FindBox(bytes, "tkhd") + 84;
  bytes = support::WithU32(bytes, width, 0x00108000);
  const CheckReport report = CheckAll({Put("a", EvenClip()), Put("b", bytes)});
  EXPECT_THAT(Only(report, Message::kShownOtherwise).text, HasSubstr("16.5 x "));
}

TEST_F(CheckMatch, FindsATrackThatIsSwitchedOffOrSilent) {
  const std::string first = Put("a", EvenClip());
  Bytes bytes = EvenClip().Build();
  const std::size_t header = support::FindBox(bytes, "tkhd", 1);
  const std::string off = Put("b", support::WithU32(bytes, header + 8, 0));
  EXPECT_THAT(Only(CheckAll({first, off}), Message::kShownOtherwise).text,
              HasSubstr("switched off, and continues one that is switched on"));
  bytes[header + 44] ^= 1;
  EXPECT_THAT(Only(CheckAll({first, Put("c", bytes)}), Message::kShownOtherwise).text,
              HasSubstr("volume"));
}

TEST_F(CheckMatch, FindsAMovieThatIsPlayedOtherwise) {
  const std::string first = Put("a", EvenClip());
  const Bytes bytes = EvenClip().Build();
  const std::size_t rate = support::FindBox(bytes, "mvhd") + 28;
  EXPECT_THAT(Only(CheckAll({first, Put("b", support::WithU32(bytes, rate, 0x8000))}),
                   Message::kShownOtherwise)
                  .text,
              HasSubstr("at a rate of 0.5 and a volume of 1, and continues"));
  const std::size_t mode = support::FindBox(bytes, "vmhd") + 12;
  EXPECT_THAT(Only(CheckAll({first, Put("c", support::WithU32(bytes, mode, 0x00240000))}),
                   Message::kShownOtherwise)
                  .text,
              HasSubstr("graphics mode 36 with the colour 0, 0, 0, and continues one in mode 0"));
  EXPECT_THAT(
      Only(CheckAll({first, Put("e", support::WithU32(bytes, mode, 7))}), Message::kShownOtherwise)
          .text,
      HasSubstr("graphics mode 0 with the colour 7, 0, 0, and continues one in mode 0 with the "
                "colour 0, 0, 0"));
  const std::size_t balance = support::FindBox(bytes, "smhd") + 12;
  EXPECT_THAT(Only(CheckAll({first, Put("d", support::WithU32(bytes, balance, 0xFF800000))}),
                   Message::kShownOtherwise)
                  .text,
              HasSubstr("a balance of -0.5, and continues one of 0"));
}

// As they are, hints would name the first clip's samples.
TEST_F(CheckMatch, FindsHintsThatNameSamplesByTheirNumber) {
  MovieBuilder clip = EvenClip();
  clip.tracks[1].handler = "hint";
  const std::vector<std::string> inputs = {Put("a", clip), Put("b", clip)};
  clipchain::CheckOptions options;
  for (const CheckReport& report : {CheckAll(inputs), clipchain::Check(inputs, options)}) {
    const Finding found = Only(report, Message::kTrackWithoutPartner);
    EXPECT_EQ(found.severity, Severity::kRisk);
    EXPECT_THAT(found.text, HasSubstr("hints"));
  }
  options.fitting.commonTracks = true;
  EXPECT_THAT(clipchain::Check(inputs, options).findings, IsEmpty());
}

TEST_F(CheckMatch, TellsNothingThatWouldBeAdaptedBesideATrackWithoutPartner) {
  MovieBuilder other = EvenClip();
  other.tracks[0].timeScale /= 2;
  other.tracks[0].stts = {{48, 500}};
  other.tracks[0].mediaDuration /= 2;
  const std::vector<std::string> fitting = {Put("a", EvenClip()), Put("b", other)};
  EXPECT_THAT(NamesOf(clipchain::Check(fitting, {})), IsEmpty());
  other.tracks[1] = support::VideoTrack(48, 2);
  std::vector<std::string> inputs = fitting;
  inputs.push_back(Put("c", other));
  const CheckReport report = clipchain::Check(inputs, {});
  ASSERT_THAT(NamesOf(report), testing::ElementsAre("track-without-partner"));
  EXPECT_EQ(report.findings.front().path, inputs[2]);
  EXPECT_EQ(report.findings.front().severity, Severity::kRefusal);
  EXPECT_THAT(report.findings.front().remedy, HasSubstr("--common-tracks"));
}

TEST_F(CheckMatch, FindsAnotherLanguage) {
  Bytes bytes = EvenClip().Build();
  const std::size_t language = support::FindBox(bytes, "mdhd", 1) + 28;
  bytes = support::WithU32(bytes, language, 0x10C70000);
  const CheckReport report = CheckAll({Put("a", EvenClip()), Put("b", bytes)});
  EXPECT_THAT(Only(report, Message::kShownOtherwise).text,
              AllOf(HasSubstr("dfg"), HasSubstr("und")));
}

TEST_F(CheckMatch, SaysThatTheResultCannotBeCompleted) {
  // The last offset alone decides on the form of 32 bits.
  MovieBuilder clip = EvenClip();
  clip.tracks[0].co64 = true;
  Bytes bytes = clip.Build();
  bytes = support::WithU32(bytes, support::FindBox(bytes, "co64") + 16, 1);
  const std::vector<std::string> inputs = {Put("a", bytes)};
  EXPECT_EQ(E_UNEXPECTED, Only(CheckAll(inputs), Message::kOutputUnfinished).result);
  EXPECT_EQ(E_UNEXPECTED, Merge(inputs));
}
