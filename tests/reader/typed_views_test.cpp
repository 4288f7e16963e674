#include "reader/typed_views.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "box/avc_configuration.h"
#include "box/box_factory.h"
#include "box/data_boxes.h"
#include "box/es_descriptor_box.h"
#include "box/header_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_entry_extras.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "support/box_io.h"
#include "support/movie_tree.h"

namespace {

using MP4G::CMovieBox_wr;
using MP4G::CSampleTableBox_wr;
using MP4G::CTrackBox_wr;

unsigned int Code(const std::string& type) { return support::ReadU32(support::Text(type), 0); }

// A getter of a view, for the box at the root of its path.
struct Getter {
  std::vector<std::string> path;
  std::function<MP4G::CBox*(MP4G::CBox* root)> get;
};

template <class View, class Root, class Child>
Getter Of(std::vector<std::string> path, Child* (View::*get)() const) {
  return {std::move(path), [get](MP4G::CBox* root) -> MP4G::CBox* {
            return (View(dynamic_cast<Root*>(root)).*get)();
          }};
}

template <class Child>
Getter InTable(std::vector<std::string> path, Child* (CSampleTableBox_wr::*get)(unsigned) const) {
  return {std::move(path), [get](MP4G::CBox* root) -> MP4G::CBox* {
            return (CSampleTableBox_wr(dynamic_cast<MP4G::CSampleTableBox*>(root)).*get)(0);
          }};
}

template <class Child>
Getter InTrack(std::vector<std::string> path, Child* (CTrackBox_wr::*get)() const) {
  return Of<CTrackBox_wr, MP4G::CTrackBox>(std::move(path), get);
}

template <class Child>
Getter InTable(std::vector<std::string> path, Child* (CSampleTableBox_wr::*get)() const) {
  return Of<CSampleTableBox_wr, MP4G::CSampleTableBox>(std::move(path), get);
}

using Track = CTrackBox_wr;
using Table = CSampleTableBox_wr;

std::vector<Getter> AllGetters() {
  return {
      Of<CMovieBox_wr, MP4G::CMovieBox>({"moov", "mvhd"}, &CMovieBox_wr::MovieHeaderBox),
      InTrack({"trak", "tkhd"}, &Track::TrackHeaderBox),
      InTrack({"trak", "edts"}, &Track::EditBox),
      InTrack({"trak", "edts", "elst"}, &Track::EditListBox),
      InTrack({"trak", "mdia"}, &Track::MediaBox),
      InTrack({"trak", "mdia", "mdhd"}, &Track::MediaHeaderBox),
      InTrack({"trak", "mdia", "hdlr"}, &Track::HandlerBox),
      InTrack({"trak", "mdia", "minf"}, &Track::MediaInformationBox),
      InTrack({"trak", "mdia", "minf", "vmhd"}, &Track::VideoMediaHeaderBox),
      InTrack({"trak", "mdia", "minf", "smhd"}, &Track::SoundMediaHeaderBox),
      InTrack({"trak", "mdia", "minf", "hmhd"}, &Track::HintMediaHeaderBox),
      InTrack({"trak", "mdia", "minf", "nmhd"}, &Track::NullMediaHeaderBox),
      InTrack({"trak", "mdia", "minf", "dinf"}, &Track::DataInformationBox),
      InTrack({"trak", "mdia", "minf", "dinf", "dref"}, &Track::DataReferenceBox),
      InTrack({"trak", "mdia", "minf", "dinf", "dref", "url "}, &Track::DataEntryUrlBox),
      InTrack({"trak", "mdia", "minf", "dinf", "dref", "urn "}, &Track::DataEntryUrnBox),
      InTrack({"trak", "mdia", "minf", "stbl"}, &Track::SampleTableBox),
      InTable({"stbl", "stts"}, &Table::TimeToSampleBox),
      InTable({"stbl", "ctts"}, &Table::CompositionOffsetBox),
      InTable({"stbl", "stsd"}, &Table::SampleDescriptionBox),
      InTable({"stbl", "stsz"}, &Table::SampleSizeBox),
      InTable({"stbl", "stz2"}, &Table::CompactSampleSizeBox),
      InTable({"stbl", "stsc"}, &Table::SampleToChunkBox),
      InTable({"stbl", "stco"}, &Table::ChunkOffsetBox),
      InTable({"stbl", "co64"}, &Table::ChunkLargeOffsetBox),
      InTable({"stbl", "stss"}, &Table::SyncSampleBox),
      InTable({"stbl", "sdtp"}, &Table::SampleDependencyTypeBox),
      InTable({"stbl", "stsd", "tmcd"}, &Table::SampleEntry),
      InTable({"stbl", "stsd", "jpeg"}, &Table::VisualSampleEntry),
      InTable({"stbl", "stsd", "twos"}, &Table::AudioSampleEntry),
      InTable({"stbl", "stsd", "mp4v"}, &Table::Mp4VisualSampleEntry),
      InTable({"stbl", "stsd", "mp4a"}, &Table::Mp4AudioSampleEntry),
      InTable({"stbl", "stsd", "avc1"}, &Table::AvcSampleEntry),
      InTable({"stbl", "stsd", "avcp"}, &Table::AvcParameterSampleEntry),
      InTable({"stbl", "stsd", "tmcd"}, &Table::TimecodeSampleDescription),
      InTable({"stbl", "stsd", "avc1", "vwid"}, &Table::ViewIdentifierBox),
      InTable({"stbl", "stsd", "avcp", "vwid"}, &Table::ViewIdentifierBox),
      InTable({"stbl", "stsd", "avc1", "avcC"}, &Table::AvcConfigurationBox),
      InTable({"stbl", "stsd", "avcp", "avcC"}, &Table::AvcConfigurationBox),
      InTable({"stbl", "stsd", "avc1", "mvcC"}, &Table::MvcConfigurationBox),
      InTable({"stbl", "stsd", "avcp", "mvcC"}, &Table::MvcConfigurationBox),
      InTable({"stbl", "stsd", "avc1", "btrt"}, &Table::Mpeg4BitRateBox),
      InTable({"stbl", "stsd", "avc1", "clap"}, &Table::CleanApertureBox),
      InTable({"stbl", "stsd", "avc1", "fiel"}, &Table::FielBox),
      InTable({"stbl", "stsd", "mp4a", "esds"}, &Table::ESDBox),
  };
}

MP4G::CBox* Make(const std::string& type) {
  MP4G::CBox* box = nullptr;
  EXPECT_OK(MP4G::CBoxFactory::CreateBox<MP4G::CBox>(Code(type), &box));
  return box;
}

// A box of that type whose class nobody asks for.
MP4G::CBox* MakeOpaque(const std::string& type) {
  MP4G::CBox* box = new MP4G::CDataMemBox;
  box->SetClassType(Code(type));
  return box;
}

// The first `length` boxes of the path inside each other, number `opaque` of another class.
// Returns the root; `last` is the innermost.
std::unique_ptr<MP4G::CBox> Chain(const std::vector<std::string>& path, std::size_t length,
                                  std::size_t opaque, MP4G::CBox*& last) {
  std::unique_ptr<MP4G::CBox> root(Make(path[0]));
  last = root.get();
  for (std::size_t i = 1; i < length; ++i) {
    MP4G::CBox* child = i == opaque ? MakeOpaque(path[i]) : Make(path[i]);
    last->AddChildBox(child);
    last = child;
  }
  return root;
}

TEST(TypedViews, EachGetterFindsTheBoxAtTheEndOfItsPath) {
  for (const Getter& getter : AllGetters()) {
    MP4G::CBox* last = nullptr;
    const auto root = Chain(getter.path, getter.path.size(), 0, last);
    EXPECT_EQ(last, getter.get(root.get())) << testing::PrintToString(getter.path);
  }
}

TEST(TypedViews, EachGetterGivesNullForANullBox) {
  for (const Getter& getter : AllGetters()) {
    EXPECT_EQ(nullptr, getter.get(nullptr)) << testing::PrintToString(getter.path);
  }
}

TEST(TypedViews, EachGetterGivesNullWhereItsPathBreaksOff) {
  for (const Getter& getter : AllGetters()) {
    for (std::size_t length = 1; length < getter.path.size(); ++length) {
      MP4G::CBox* last = nullptr;
      const auto root = Chain(getter.path, length, 0, last);
      EXPECT_EQ(nullptr, getter.get(root.get())) << testing::PrintToString(getter.path) << length;
    }
  }
}

TEST(TypedViews, EachGetterGivesNullWhereABoxOnItsPathIsOfAnotherClass) {
  for (const Getter& getter : AllGetters()) {
    for (std::size_t opaque = 1; opaque < getter.path.size(); ++opaque) {
      MP4G::CBox* last = nullptr;
      const auto root = Chain(getter.path, getter.path.size(), opaque, last);
      EXPECT_EQ(nullptr, getter.get(root.get())) << testing::PrintToString(getter.path) << opaque;
    }
  }
}

TEST(TypedViews, TheSharedStepLeavesTheResultAloneWithoutAParent) {
  MP4G::CBox unrelated;
  MP4G::CTrackBox track;
  MP4G::CBox* found = &unrelated;
  MP4G::CBox_wr::GetChildBoxT(&found, nullptr, 0, 0);
  EXPECT_EQ(&unrelated, found);
  MP4G::CBox_wr::GetChildBoxT<MP4G::CBox>(nullptr, &track, 0, 0);
  MP4G::CBox_wr::GetChildBoxT(&found, &track, 0, 0);
  EXPECT_EQ(nullptr, found);
}

TEST(TrackView, KnowsItsMovieByTheClassOfItsParent) {
  EXPECT_EQ(nullptr, CTrackBox_wr(nullptr).MovieBox());
  MP4G::CTrackBox alone;
  EXPECT_EQ(nullptr, CTrackBox_wr(&alone).MovieBox());
  for (const char* parentType : {"moov", "mdia"}) {
    const std::unique_ptr<MP4G::CBox> parent(Make(parentType));
    auto* track = new MP4G::CTrackBox;
    parent->AddChildBox(track);
    EXPECT_EQ(dynamic_cast<MP4G::CMovieBox*>(parent.get()), CTrackBox_wr(track).MovieBox());
    EXPECT_EQ(parentType == std::string("moov"), CTrackBox_wr(track).MovieBox() != nullptr);
  }
}

class SampleTableView : public testing::Test {
 protected:
  SampleTableView() : description(Make("stsd")) { table.AddChildBox(description); }

  MP4G::CBox* Add(MP4G::CBox* parent, const std::string& type) {
    MP4G::CBox* child = Make(type);
    parent->AddChildBox(child);
    return child;
  }

  MP4G::CSampleTableBox table;
  MP4G::CBox* description;  // owned by the table
  CSampleTableBox_wr view{&table};
};

TEST_F(SampleTableView, CountsEntriesOfAnyTypeWhereTheGetterNamesNone) {
  Add(description, "free");
  MP4G::CBox* video = Add(description, "avc1");
  MP4G::CBox* sound = Add(description, "mp4a");
  EXPECT_EQ(nullptr, view.SampleEntry(0));
  EXPECT_EQ(video, view.SampleEntry(1));
  EXPECT_EQ(sound, view.SampleEntry(2));
  EXPECT_EQ(nullptr, view.SampleEntry(3));
  EXPECT_EQ(video, view.VisualSampleEntry(1));
  EXPECT_EQ(nullptr, view.VisualSampleEntry(2));
  EXPECT_EQ(nullptr, view.AudioSampleEntry(1));
  EXPECT_EQ(sound, view.AudioSampleEntry(2));
}

TEST_F(SampleTableView, FindsEntriesOfUnknownType) {
  MP4G::CBox* entry = nullptr;
  ASSERT_OK(MP4G::CBoxFactory::CreateSampleEntryImpl(Code("zzzz"), Code("vide"), &entry));
  description->AddChildBox(entry);
  EXPECT_EQ(entry, view.SampleEntry(0));
  EXPECT_EQ(entry, view.VisualSampleEntry(0));
}

TEST_F(SampleTableView, CountsEntriesOfOneTypeWhereTheGetterNamesIt) {
  Add(description, "mp4a");
  Add(description, "avc1");
  Add(description, "mp4v");
  Add(description, "avcp");
  MP4G::CBox* secondAvc = Add(description, "avc1");
  MP4G::CBox* secondVideo = Add(description, "mp4v");
  MP4G::CBox* secondSound = Add(description, "mp4a");
  MP4G::CBox* secondParameters = Add(description, "avcp");
  Add(description, "tmcd");
  MP4G::CBox* secondTimecode = Add(description, "tmcd");
  EXPECT_EQ(secondAvc, view.AvcSampleEntry(1));
  EXPECT_EQ(nullptr, view.AvcSampleEntry(2));
  EXPECT_EQ(secondVideo, view.Mp4VisualSampleEntry(1));
  EXPECT_EQ(nullptr, view.Mp4VisualSampleEntry(2));
  EXPECT_EQ(secondSound, view.Mp4AudioSampleEntry(1));
  EXPECT_EQ(nullptr, view.Mp4AudioSampleEntry(2));
  EXPECT_EQ(secondParameters, view.AvcParameterSampleEntry(1));
  EXPECT_EQ(nullptr, view.AvcParameterSampleEntry(2));
  EXPECT_EQ(secondTimecode, view.TimecodeSampleDescription(1));
  EXPECT_EQ(nullptr, view.TimecodeSampleDescription(2));
}

TEST_F(SampleTableView, AppliesTheIndexInsideTheEntryToo) {
  for (const char* type : {"btrt", "clap", "fiel", "esds"}) {
    const char* entryType = type == std::string("esds") ? "mp4a" : "avc1";
    MP4G::CSampleTableBox own;
    MP4G::CBox* entries = Add(&own, "stsd");
    MP4G::CBox* first = Add(Add(entries, entryType), type);
    MP4G::CBox* secondEntry = Add(entries, entryType);
    Add(secondEntry, type);
    const CSampleTableBox_wr wr(&own);
    const auto get = [&](unsigned int index) -> MP4G::CBox* {
      if (type == std::string("btrt")) return wr.Mpeg4BitRateBox(index);
      if (type == std::string("clap")) return wr.CleanApertureBox(index);
      if (type == std::string("fiel")) return wr.FielBox(index);
      return wr.ESDBox(index);
    };
    EXPECT_EQ(first, get(0)) << type;
    EXPECT_EQ(nullptr, get(1)) << type;
    MP4G::CBox* secondOfSecond = Add(secondEntry, type);
    EXPECT_EQ(secondOfSecond, get(1)) << type;
  }
}

// The getters that look into an AVC entry of either type, for the first box of a type.
const std::vector<std::pair<const char*, MP4G::CBox* (*)(const Table&, unsigned int)>> kAvcGetters =
    {{"vwid", [](const Table& t, unsigned int i) -> MP4G::CBox* { return t.ViewIdentifierBox(i); }},
     {"avcC",
      [](const Table& t, unsigned int i) -> MP4G::CBox* { return t.AvcConfigurationBox(i); }},
     {"mvcC",
      [](const Table& t, unsigned int i) -> MP4G::CBox* { return t.MvcConfigurationBox(i); }}};

TEST_F(SampleTableView, TakesTheFirstViewsOrConfigurationOfTheEntry) {
  Add(description, "avc1");
  MP4G::CBox* secondEntry = Add(description, "avc1");
  for (const auto& [type, get] : kAvcGetters) {
    MP4G::CBox* first = Add(secondEntry, type);
    Add(secondEntry, type);
    EXPECT_EQ(first, get(view, 1)) << type;
  }
}

TEST_F(SampleTableView, LooksAtTheParameterEntryOnlyWhereThereIsNoAvcEntry) {
  Add(description, "avc1");
  MP4G::CBox* firstParameters = Add(description, "avcp");
  MP4G::CBox* secondParameters = Add(description, "avcp");
  for (const auto& [type, get] : kAvcGetters) {
    Add(firstParameters, type);
    MP4G::CBox* wanted = Add(secondParameters, type);
    EXPECT_EQ(nullptr, get(view, 0)) << type;
    EXPECT_EQ(wanted, get(view, 1)) << type;
    EXPECT_EQ(nullptr, get(view, 2)) << type;
  }
}

class MovieView : public testing::Test {
 protected:
  MP4G::CTrackBox* AddTrack(unsigned int id) {
    MP4G::CTrackBox* track = AddTrackWithoutHeader();
    auto* header = dynamic_cast<MP4G::CTrackHeaderBox*>(Make("tkhd"));
    header->recordA->trackId = id;
    track->AddChildBox(header);
    return track;
  }
  MP4G::CTrackBox* AddTrackWithoutHeader() {
    MP4G::CBox* track = Make("trak");
    movie.AddChildBox(track);
    return dynamic_cast<MP4G::CTrackBox*>(track);
  }

  MP4G::CMovieBox movie;
  CMovieBox_wr view{&movie};
};

TEST_F(MovieView, HasNoTracksWithoutAMovie) {
  const CMovieBox_wr none(nullptr);
  EXPECT_EQ(nullptr, none.MovieHeaderBox());
  EXPECT_EQ(nullptr, none.TrackBox(1));
  EXPECT_EQ(0xFFFFFFFFu, none.TrackIDtoIndex(1));
  EXPECT_EQ(0u, none.TrackIndexToID(0));
  EXPECT_EQ(0u, none.GetTrackNum());
  EXPECT_EQ(nullptr, none.SampleTableBox(1));
  EXPECT_TRUE(none.Tracks().empty());
  EXPECT_TRUE(none.TracksByID().empty());
}

TEST_F(MovieView, FindsTracksByTheirIdentifier) {
  movie.AddChildBox(Make("free"));
  MP4G::CTrackBox* seven = AddTrack(7);
  MP4G::CTrackBox* three = AddTrack(3);
  AddTrack(7);
  EXPECT_EQ(3u, view.GetTrackNum());
  EXPECT_EQ(seven, view.TrackBox(7));
  EXPECT_EQ(three, view.TrackBox(3));
  EXPECT_EQ(nullptr, view.TrackBox(4));
  EXPECT_EQ(0u, view.TrackIDtoIndex(7));
  EXPECT_EQ(1u, view.TrackIDtoIndex(3));
  EXPECT_EQ(0xFFFFFFFFu, view.TrackIDtoIndex(4));
  EXPECT_EQ(7u, view.TrackIndexToID(0));
  EXPECT_EQ(3u, view.TrackIndexToID(1));
  EXPECT_EQ(7u, view.TrackIndexToID(2));
  EXPECT_EQ(0u, view.TrackIndexToID(3));
}

TEST_F(MovieView, ATrackWithoutHeaderHasNoIdentifierNotEvenZero) {
  AddTrackWithoutHeader();
  EXPECT_EQ(1u, view.GetTrackNum());
  EXPECT_EQ(0u, view.TrackIndexToID(0));
  EXPECT_EQ(nullptr, view.TrackBox(0));
  EXPECT_EQ(0xFFFFFFFFu, view.TrackIDtoIndex(0));
  MP4G::CTrackBox* zero = AddTrack(0);
  EXPECT_EQ(zero, view.TrackBox(0));
  EXPECT_EQ(1u, view.TrackIDtoIndex(0));
}

TEST_F(MovieView, CountsABoxOfTypeTrakThatIsNoTrackButFindsNothingInIt) {
  movie.AddChildBox(MakeOpaque("trak"));
  MP4G::CTrackBox* track = AddTrack(7);
  EXPECT_EQ(2u, view.GetTrackNum());
  EXPECT_EQ(0u, view.TrackIndexToID(0));
  EXPECT_EQ(7u, view.TrackIndexToID(1));
  EXPECT_EQ(1u, view.TrackIDtoIndex(7));
  EXPECT_EQ((std::vector<MP4G::CTrackBox*>{nullptr, track}), view.Tracks());
}

TEST_F(MovieView, FindsTheSampleTableOfATrack) {
  support::Track withDependencies = support::VideoTrack(2, 6);
  withDependencies.sdtp = {1, 2};
  const auto parsed = support::MovieTree(
      support::MovieBuilder().Add(support::VideoTrack(1, 5)).Add(withDependencies));
  ASSERT_NE(nullptr, parsed);
  const CMovieBox_wr wr(parsed.get());
  EXPECT_EQ(CTrackBox_wr(wr.TrackBox(6)).SampleTableBox(), wr.SampleTableBox(6));
  EXPECT_NE(nullptr, CSampleTableBox_wr(wr.SampleTableBox(6)).SampleDependencyTypeBox());
  EXPECT_EQ(nullptr, CSampleTableBox_wr(wr.SampleTableBox(5)).SampleDependencyTypeBox());
  EXPECT_EQ(nullptr, wr.SampleTableBox(7));
}

TEST_F(MovieView, GivesAllTracksInOnePassAsOneByOne) {
  std::mt19937 random(20240601);
  for (int round = 0; round < 200; ++round) {
    movie.Reset();
    for (unsigned int left = random() % 8; left > 0; --left) {
      switch (random() % 5) {
        case 0:
          AddTrackWithoutHeader();
          break;
        case 1:
          movie.AddChildBox(MakeOpaque("trak"));
          break;
        default:
          AddTrack(random() % 4);
      }
    }
    const std::vector<MP4G::CTrackBox*> tracks = view.Tracks();
    const std::vector<MP4G::CTrackBox*> byID = view.TracksByID();
    ASSERT_EQ(view.GetTrackNum(), tracks.size());
    ASSERT_EQ(view.GetTrackNum(), byID.size());
    for (unsigned int i = 0; i < tracks.size(); ++i) {
      EXPECT_EQ(dynamic_cast<MP4G::CTrackBox*>(movie.GetChildBox(Code("trak"), i)), tracks[i]);
      EXPECT_EQ(view.TrackBox(view.TrackIndexToID(i)), byID[i]);
    }
  }
}

}  // namespace
