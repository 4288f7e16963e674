#include "box/box_factory.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <typeindex>

#include "box/avc_configuration.h"
#include "box/data_boxes.h"
#include "box/es_descriptor_box.h"
#include "box/fragment_boxes.h"
#include "box/header_boxes.h"
#include "box/sample_entries.h"
#include "box/sample_entry_extras.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "support/box_io.h"

namespace {

using MP4G::CBox;
using MP4G::CBoxFactory;
using support::Text;

unsigned int Code(const std::string& type) { return support::ReadU32(Text(type), 0); }

using Create = HRESULT (*)(unsigned int, CBox**);
constexpr Create kGroups[] = {CBoxFactory::CreateAvcBox, CBoxFactory::CreateMp4Box,
                              CBoxFactory::CreateIsomBox, CBoxFactory::CreateEtcBox};

template <class T>
std::type_index ClassOf() {
  return typeid(T);
}

// What each group knows.
const std::map<std::string, std::type_index> kClasses[] = {
    {
        {"avc1", ClassOf<MP4G::CAvcSampleEntry>()},
        {"avcC", ClassOf<MP4G::CAvcConfigurationBox>()},
        {"avcp", ClassOf<MP4G::CAvcParameterSampleEntry>()},
        {"btrt", ClassOf<MP4G::CMpeg4BitRateBox>()},
        {"mvcC", ClassOf<MP4G::CMvcConfigurationBox>()},
        {"vwid", ClassOf<MP4G::CViewIdentifierBox>()},
    },
    {
        {"esds", ClassOf<MP4G::CESDBox>()},
        {"mp4a", ClassOf<MP4G::CMp4AudioSampleEntry>()},
        {"mp4v", ClassOf<MP4G::CMp4VisualSampleEntry>()},
    },
    {
        {"co64", ClassOf<MP4G::CChunkLargeOffsetBox>()},
        {"ctts", ClassOf<MP4G::CCompositionOffsetBox>()},
        {"dinf", ClassOf<MP4G::CDataInformationBox>()},
        {"dref", ClassOf<MP4G::CDataReferenceBox>()},
        {"edts", ClassOf<MP4G::CEditBox>()},
        {"elst", ClassOf<MP4G::CEditListBox>()},
        {"free", ClassOf<MP4G::CFreeBox>()},
        {"ftyp", ClassOf<MP4G::CFileTypeBox>()},
        {"hdlr", ClassOf<MP4G::CHandlerBox>()},
        {"hmhd", ClassOf<MP4G::CHintMediaHeaderBox>()},
        {"jpeg", ClassOf<MP4G::CVisualSampleEntry>()},
        {"mdat", ClassOf<MP4G::CMediaDataBox>()},
        {"mdhd", ClassOf<MP4G::CMediaHeaderBox>()},
        {"mdia", ClassOf<MP4G::CMediaBox>()},
        {"mehd", ClassOf<MP4G::CMovieExtendsHeaderBox>()},
        {"mfhd", ClassOf<MP4G::CMovieFragmentHeaderBox>()},
        {"mfra", ClassOf<MP4G::CMovieFragmentRandomAccessBox>()},
        {"mfro", ClassOf<MP4G::CMovieFragmentRandomAccessOffsetBox>()},
        {"minf", ClassOf<MP4G::CMediaInformationBox>()},
        {"moof", ClassOf<MP4G::CMovieFragmentBox>()},
        {"moov", ClassOf<MP4G::CMovieBox>()},
        {"mvex", ClassOf<MP4G::CMovieExtendsBox>()},
        {"mvhd", ClassOf<MP4G::CMovieHeaderBox>()},
        {"nmhd", ClassOf<MP4G::CNullMediaHeaderBox>()},
        {"sdtp", ClassOf<MP4G::CSampleDependencyTypeBox>()},
        {"smhd", ClassOf<MP4G::CSoundMediaHeaderBox>()},
        {"stbl", ClassOf<MP4G::CSampleTableBox>()},
        {"stco", ClassOf<MP4G::CChunkOffsetBox>()},
        {"stsc", ClassOf<MP4G::CSampleToChunkBox>()},
        {"stsd", ClassOf<MP4G::CSampleDescriptionBox>()},
        {"stss", ClassOf<MP4G::CSyncSampleBox>()},
        {"stsz", ClassOf<MP4G::CSampleSizeBox>()},
        {"stts", ClassOf<MP4G::CTimeToSampleBox>()},
        {"stz2", ClassOf<MP4G::CCompactSampleSizeBox>()},
        {"tfhd", ClassOf<MP4G::CTrackFragmentHeaderBox>()},
        {"tfra", ClassOf<MP4G::CTrackFragmentRandomAccessBox>()},
        {"tkhd", ClassOf<MP4G::CTrackHeaderBox>()},
        {"traf", ClassOf<MP4G::CTrackFragmentBox>()},
        {"trak", ClassOf<MP4G::CTrackBox>()},
        {"tref", ClassOf<MP4G::CTrackReferenceBox>()},
        {"trex", ClassOf<MP4G::CTrackExtendsBox>()},
        {"trun", ClassOf<MP4G::CTrackRunBox>()},
        {"url ", ClassOf<MP4G::CDataEntryUrlBox>()},
        {"urn ", ClassOf<MP4G::CDataEntryUrnBox>()},
        {"vmhd", ClassOf<MP4G::CVideoMediaHeaderBox>()},
    },
    {
        {"clap", ClassOf<MP4G::CCleanApertureBox>()},
        {"fiel", ClassOf<MP4G::CFielBox>()},
        {"pasp", ClassOf<MP4G::CAspectRatioBox>()},
        {"sowt", ClassOf<MP4G::CAudioSampleEntry>()},
        {"tmcd", ClassOf<MP4G::CTimecodeSampleDescription>()},
        {"twos", ClassOf<MP4G::CAudioSampleEntry>()},
    },
};

// Makes a box that `create` must know and gives its class.
std::type_index Made(Create create, unsigned int type) {
  CBox* made = nullptr;
  EXPECT_OK(create(type, &made));
  const std::unique_ptr<CBox> owner(made);
  if (made == nullptr) return typeid(void);
  EXPECT_EQ(type, made->GetClassType());
  EXPECT_EQ(0u, made->header->type);
  EXPECT_EQ(nullptr, made->parent);
  return typeid(*made);
}

TEST(BoxFactory, EachGroupMakesItsOwnTypesAndNoOther) {
  CBox stranger;
  for (std::size_t group = 0; group < 4; ++group) {
    for (const auto& [type, expected] : kClasses[group]) {
      for (std::size_t other = 0; other < 4; ++other) {
        if (other == group) {
          EXPECT_EQ(expected, Made(kGroups[group], Code(type))) << type;
          continue;
        }
        CBox* untouched = &stranger;
        EXPECT_RESULT(S_FALSE, kGroups[other](Code(type), &untouched)) << type;
        EXPECT_EQ(&stranger, untouched);
      }
    }
  }
}

TEST(BoxFactory, EveryEntryFindsTheTypesOfAllGroups) {
  for (const auto& group : kClasses) {
    for (const auto& [type, expected] : group) {
      EXPECT_EQ(expected, Made(CBoxFactory::CreateSupporedBox, Code(type))) << type;
      EXPECT_EQ(expected, Made(CBoxFactory::CreateDataMemBox, Code(type))) << type;
      EXPECT_EQ(expected, Made(CBoxFactory::CreateBoxImpl, Code(type))) << type;
      EXPECT_EQ(expected, Made(CBoxFactory::CreateBox<CBox>, Code(type))) << type;
    }
  }
}

TEST(BoxFactory, EveryOtherTypeIsKeptAsBytes) {
  CBox stranger;
  for (const unsigned int type : {Code("uuid"), Code("skip"), Code("meta"), Code("pdin"),
                                  Code("zzzz"), Code("MOOV"), 0u, 0xFFFFFFFFu}) {
    CBox* untouched = &stranger;
    EXPECT_RESULT(S_FALSE, CBoxFactory::CreateSupporedBox(type, &untouched));
    EXPECT_EQ(&stranger, untouched);
    EXPECT_EQ(ClassOf<MP4G::CDataMemBox>(), Made(CBoxFactory::CreateDataMemBox, type));
    EXPECT_EQ(ClassOf<MP4G::CDataMemBox>(), Made(CBoxFactory::CreateBoxImpl, type));
    EXPECT_EQ(ClassOf<MP4G::CDataMemBox>(), Made(CBoxFactory::CreateBox<CBox>, type));
  }
}

TEST(BoxFactory, NeedsAPlaceForTheResult) {
  for (const unsigned int type : {Code("moov"), Code("zzzz")}) {
    for (const Create create : kGroups) EXPECT_RESULT(E_POINTER, create(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSupporedBox(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateDataMemBox(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateBoxImpl(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateBox<CBox>(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateBox<MP4G::CMovieBox>(type, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSampleEntryImpl(type, 0, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSampleEntry<CBox>(type, 0, nullptr));
    EXPECT_RESULT(E_POINTER, CBoxFactory::CreateTrackReferenceTypeBoxImpl(type, nullptr));
  }
}

TEST(BoxFactory, GivesABoxOfTheClassThatIsAskedFor) {
  MP4G::CChunkOffsetBox* offsets = nullptr;
  ASSERT_OK(CBoxFactory::CreateBox<MP4G::CChunkOffsetBox>(Code("stco"), &offsets));
  const std::unique_ptr<CBox> owner(offsets);
  EXPECT_EQ(Code("stco"), offsets->GetClassType());
}

TEST(BoxFactory, DeletesABoxOfAnotherClass) {
  MP4G::CChunkOffsetBox standIn;
  MP4G::CChunkOffsetBox* offsets = &standIn;
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateBox<MP4G::CChunkOffsetBox>(Code("co64"), &offsets));
  EXPECT_EQ(nullptr, offsets);
  MP4G::CFreeBox* padding = nullptr;
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateBox<MP4G::CFreeBox>(Code("skip"), &padding));
  EXPECT_EQ(nullptr, padding);
}

std::type_index MadeEntry(const char* type, const char* handler, unsigned int classType) {
  CBox* made = nullptr;
  EXPECT_OK(CBoxFactory::CreateSampleEntry<CBox>(Code(type), Code(handler), &made));
  const std::unique_ptr<CBox> owner(made);
  EXPECT_EQ(classType, made->GetClassType());
  return typeid(*made);
}

TEST(BoxFactory, AnEntryOfAKnownTypeHasItsClassWhateverTheHandler) {
  for (const char* handler : {"vide", "soun", "hint", "tmcd"}) {
    EXPECT_EQ(ClassOf<MP4G::CAvcSampleEntry>(), MadeEntry("avc1", handler, Code("avc1")));
    EXPECT_EQ(ClassOf<MP4G::CAudioSampleEntry>(), MadeEntry("twos", handler, Code("twos")));
    EXPECT_EQ(ClassOf<MP4G::CTimecodeSampleDescription>(),
              MadeEntry("tmcd", handler, Code("tmcd")));
    EXPECT_EQ(ClassOf<MP4G::CFreeBox>(), MadeEntry("free", handler, Code("free")));
  }
}

TEST(BoxFactory, AnEntryOfAnUnknownTypeHasTheClassOfTheHandlerAndNoClassType) {
  EXPECT_EQ(ClassOf<MP4G::CHintSampleEntry>(), MadeEntry("rtp ", "hint", 0));
  EXPECT_EQ(ClassOf<MP4G::CAudioSampleEntry>(), MadeEntry("lpcm", "soun", 0));
  EXPECT_EQ(ClassOf<MP4G::CVisualSampleEntry>(), MadeEntry("hvc1", "vide", 0));
  EXPECT_EQ(ClassOf<MP4G::CSampleEntry>(), MadeEntry("text", "text", 0));
  EXPECT_EQ(ClassOf<MP4G::CSampleEntry>(), MadeEntry("uuid", "VIDE", 0));
}

TEST(BoxFactory, AnEntryIsOfTheClassThatIsAskedFor) {
  MP4G::CVisualSampleEntry* visual = nullptr;
  ASSERT_OK(CBoxFactory::CreateSampleEntry<MP4G::CVisualSampleEntry>(Code("hvc1"), Code("vide"),
                                                                     &visual));
  const std::unique_ptr<CBox> owner(visual);
  MP4G::CAudioSampleEntry standIn;
  MP4G::CAudioSampleEntry* audio = &standIn;
  EXPECT_RESULT(E_POINTER, CBoxFactory::CreateSampleEntry<MP4G::CAudioSampleEntry>(
                               Code("hvc1"), Code("vide"), &audio));
  EXPECT_EQ(nullptr, audio);
}

TEST(BoxFactory, MakesATrackReferenceOfAnyType) {
  for (const char* type : {"hint", "tmcd", "zzzz"}) {
    EXPECT_EQ(ClassOf<MP4G::CTrackReferenceTypeBox>(),
              Made(CBoxFactory::CreateTrackReferenceTypeBoxImpl, Code(type)));
  }
}

}  // namespace
