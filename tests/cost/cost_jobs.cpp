#include "cost_jobs.h"

#include <memory>
#include <stdexcept>

#include "box/box_factory.h"
#include "clip/sequence_engine.h"
#include "clip/timecode.h"
#include "clip/vireo_mp4.h"
#include "foundation/com_ptr.h"
#include "foundation/file_buffer.h"
#include "merge/live_merge.h"
#include "merge/mp4_merge.h"
#include "reader/mp4_file.h"
#include "reader/sample_table_reader.h"
#include "reader/typed_views.h"
#include "support/memory_disk.h"
#include "support/movie_builder.h"
#include "support/sequences.h"
#include "support/table_bytes.h"

namespace cost {

namespace {

using support::Box;
using support::Bytes;
using support::FullBox;
using support::MemoryDisk;
using support::operator+;
using support::U16;
using support::U32;
using support::U64;
using support::Zeros;

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

unsigned int Size(const Bytes& bytes) { return static_cast<unsigned int>(bytes.size()); }

Bytes Repeated(const Bytes& bytes, unsigned int n) {
  Bytes all;
  all.reserve(bytes.size() * n);
  for (unsigned int i = 0; i < n; ++i) all.insert(all.end(), bytes.begin(), bytes.end());
  return all;
}

const Bytes& FileType() {
  static const Bytes box = Box("ftyp", {support::Text("mp42"), U32(0)});
  return box;
}

// Parses a file, brings its movie up to date and writes it.
void ReadAndWrite(const Bytes& file) {
  QUIRVA::CFileBuffer source;
  Need(source.SetData(file.data(), Size(file)) == S_OK, "the bytes");
  MP4G::CMp4File parsed;
  Need(parsed.SetReader(&source) == S_OK, "the parse");
  MP4G::CMovieBox* movie = parsed.GetMovieBox();
  Need(movie->FixParam() == S_OK, "the fix");
  long long size = 0;
  Need(movie->GetDataSize(&size) == S_OK, "the size");
  Bytes written(static_cast<std::size_t>(size));
  unsigned char* out = written.data();
  unsigned int rest = Size(written);
  Need(movie->GetData(out, rest) == S_OK, "the writing");
}

// A movie box around what `make` gives for n.
template <class Make>
Maker InAMovie(Make make) {
  return [make](unsigned int n) -> std::function<void()> {
    const Bytes file = FileType() + Box("moov", {make(n)});
    return [file] { ReadAndWrite(file); };
  };
}

// A table of n entries of so many bytes behind `head`, a count and perhaps more.
Maker Table(const std::string& type, std::size_t entry, const Bytes& head = {}) {
  return InAMovie([=](unsigned int n) {
    Bytes entries;
    entries.reserve(n * entry);
    for (std::size_t i = 0; i < n * entry; ++i)
      entries.push_back(static_cast<unsigned char>(i * 7));
    const Bytes body = head + (type == "sdtp" ? Bytes() : U32(n)) + entries;
    return Box("stbl", {FullBox(type, 0, 0, {body})});
  });
}

Bytes Handler() { return FullBox("hdlr", 0, 0, {Zeros(4), support::Text("vide"), Zeros(13)}); }
Bytes Stsd() { return FullBox("stsd", 0, 0, {U32(0)}); }

Bytes Descriptors(unsigned int n) {
  const Bytes small = support::Hex("0501AA");
  const Bytes children = Repeated(small, n);
  const auto length = [](std::size_t bytes) {
    Bytes field;
    for (int shift = 21; shift >= 0; shift -= 7)
      field.push_back(
          static_cast<unsigned char>((bytes >> shift & 0x7F) | (shift != 0 ? 0x80 : 0)));
    return field;
  };
  return FullBox(
      "esds", 0, 0,
      {support::Hex("03") + length(3 + children.size()) + support::Hex("000200") + children});
}

Bytes Nested(unsigned int n) {
  Bytes bytes;
  for (unsigned int level = n; level != 0; --level) {
    const Bytes header = U32(8 * level) + support::Text("trak");
    bytes.insert(bytes.end(), header.begin(), header.end());
  }
  return bytes;
}

void MergeAll(const std::vector<Bytes>& clips) {
  MemoryDisk::Get().Clear();
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> merge;
  Need(
      MP4G::CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, merge.Receive()) == S_OK,
      "a merge");
  Need(merge->SetOutputPath(L"output.mp4") == S_OK, "the path");
  for (const Bytes& clip : clips)
    Need(merge->InputMp4Data(clip.data(), Size(clip)) == S_OK, "an input");
  Need(merge->Finalize() == S_OK, "the end");
}

std::function<void()> MergeOf(std::vector<Bytes> clips) {
  return [clips = std::move(clips)] { MergeAll(clips); };
}

Bytes SampleClip(unsigned int samples) {
  support::Track video = support::VideoTrack(samples);
  for (std::size_t i = 0; i < samples; ++i) video.sampleSizes[i] = 1 + i % 2;
  video.samplesPerChunk = 8;
  return support::MovieBuilder().Add(video).Build();
}

Bytes TrackClip(unsigned int tracks) {
  support::MovieBuilder movie;
  for (unsigned int id = 1; id <= tracks; ++id) movie.Add(support::AudioTrack(1, id));
  return movie.Build();
}

// The movie header behind a hundred times n other boxes and in front of n tracks.
Bytes HeaderBehindOthers(unsigned int n) {
  const Bytes clip = TrackClip(n);
  const std::size_t movie = support::FindBox(clip, "moov");
  const Bytes padding = Repeated(Box("free"), 100 * n);
  return support::WithU32(support::Slice(clip, 0, movie + 8), movie,
                          support::ReadU32(clip, movie) + Size(padding)) +
         padding + support::Slice(clip, movie + 8, clip.size());
}

// n tracks of one identifier, of which the first has n chunks.
std::function<void()> MovingTracksOfOneIdentifier(unsigned int n) {
  support::MovieBuilder movie;
  for (unsigned int i = 0; i < n; ++i) {
    support::Track track = support::AudioTrack(i == 0 ? n : 1, 1);
    track.samplesPerChunk = 1;
    movie.Add(track);
  }
  const Bytes clip = movie.Build();
  QUIRVA::CFileBuffer source;
  const auto file = std::make_shared<MP4G::CMp4File>();
  Need(source.SetData(clip.data(), Size(clip)) == S_OK && file->SetReader(&source) == S_OK,
       "a file");
  return [file] {
    MP4G::CMp4Merge merge;
    Need(merge.RewriteOffset(file.get(), 1) == S_OK, "the move");
  };
}

// n tracks without a header, of which the identifier leads to one behind n other boxes.
std::function<void()> LookingForATimecode(unsigned int n) {
  const Bytes header = FullBox("tkhd", 0, 0, {Zeros(80)});
  const Bytes first = Box("trak", {header, Repeated(Box("free"), n)});
  MemoryDisk::Get().Clear();
  MemoryDisk::Get().Put("clip", FileType() + Box("moov", {first, Repeated(Box("trak"), n)}));
  return [] {
    MP4G::CTimecodeTrackPsr timecode;
    Need(timecode.ParseTimecodeTrack(L"clip") == S_FALSE, "no timecode");
  };
}

std::function<void()> Registering(unsigned int n, bool backwards) {
  MemoryDisk::Get().Clear();
  std::vector<std::wstring> paths;
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int number = backwards ? n - i : i + 1;
    support::VendorBox box;
    const auto id = [n](unsigned int of) -> _GUID {
      if (of == 0 || of > n) return {};
      return {of, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
    };
    box.unique = id(number);
    box.pre = id(number - 1);
    box.next = id(number + 1);
    const std::string name = "clip" + std::to_string(number);
    MemoryDisk::Get().Put(name, support::TinyClip(box, 1000 + number));
    paths.emplace_back(name.begin(), name.end());
  }
  return [paths] {
    QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> creator;
    Need(MP4G::CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                        creator.Receive()) == S_OK,
         "a creator");
    for (const std::wstring& path : paths)
      Need(creator->RegisterMp4(path.c_str()) == S_OK, "a registration");
    Need(creator->GetSequenceCount() == 1, "one chain");
  };
}

// A vendor block of n boxes that each claim to hold all that is left.
std::function<void()> VendorBlock(unsigned int n) {
  const Bytes block = Repeated(Box("VRXX"), n);
  return [block] {
    MP4G::CVireoMp4 clip(0);
    Need(clip.ParseVireoUuidBoxChildrenData(block.data(), Size(block)) == S_OK, "the block");
  };
}

// The last sample of tables in which nothing repeats.
std::function<void()> LastSample(unsigned int n) {
  const auto file = std::make_shared<MP4G::CMp4File>();
  const Bytes clip = SampleClip(n);
  QUIRVA::CFileBuffer source;
  Need(source.SetData(clip.data(), Size(clip)) == S_OK && file->SetReader(&source) == S_OK,
       "a file");
  return [file, n] {
    MP4G::CSampleTableReader reader(
        MP4G::CTrackBox_wr(MP4G::CMovieBox_wr(file->GetMovieBox()).Tracks().front())
            .SampleTableBox());
    long long position = 0;
    unsigned int size = 0;
    Need(reader.SampleIndexToPosSize(n - 1, &position, &size) == S_OK, "the place");
    Need(reader.SampleIndexToCts(n - 1, &position) == S_OK, "the time");
  };
}

std::map<std::string, Job> Tables() {
  constexpr unsigned int n = 4000;
  return {{"table stts", {n, Table("stts", 8)}},
          {"table ctts", {n, Table("ctts", 8)}},
          {"table stsc", {n, Table("stsc", 12)}},
          {"table stco", {n, Table("stco", 4)}},
          {"table co64", {n, Table("co64", 8)}},
          {"table stss", {n, Table("stss", 4)}},
          {"table stsz", {n, Table("stsz", 4, U32(0))}},
          {"table stz2", {n, Table("stz2", 2, U32(16))}},
          {"table sdtp", {n, Table("sdtp", 1)}},
          {"table elst", {n, Table("elst", 12)}},
          {"table data", {n, InAMovie([](unsigned int m) { return Box("free", {Zeros(m)}); })}}};
}

std::map<std::string, Job> Children() {
  return {
      {"children of moov",
       {500, InAMovie([](unsigned int n) { return Repeated(Box("free"), n); })}},
      {"children of dref",
       {500, InAMovie([](unsigned int n) {
          return FullBox("dref", 0, 0, {U32(n), Repeated(FullBox("url ", 0, 1), n)});
        })}},
      {"children of esds", {500, InAMovie(Descriptors)}},
      {"children of a vendor block", {500, VendorBlock}},
      {"entries of stsd",
       {250, InAMovie([](unsigned int n) {
          const Bytes entry = Box("xxxx", {Zeros(78)});
          return Box("mdia", {Handler(), FullBox("stsd", 0, 0, {U32(n), Repeated(entry, n)})});
        })}},
      {"stsd behind others",
       {500, InAMovie([](unsigned int n) {
          return Box("mdia", {Repeated(Box("free"), n), Handler(), Repeated(Stsd(), n)});
        })}},
      {"nesting", {400, InAMovie(Nested)}},
  };
}

std::map<std::string, Job> Merges() {
  return {
      {"merge samples",
       {1000,
        [](unsigned int n) {
          return MergeOf({SampleClip(n), SampleClip(n)});
        }}},
      {"merge clips",
       {30, [](unsigned int n) { return MergeOf(std::vector<Bytes>(n, SampleClip(100))); }}},
      {"merge clips of common sizes",
       {50,
        [](unsigned int n) {
          support::Track sound = support::AudioTrack(100, 1);
          sound.sampleSizes.assign(100, 4);
          return MergeOf(std::vector<Bytes>(n, support::MovieBuilder().Add(sound).Build()));
        }}},
      {"merge clips that differ at the end",
       {50,
        [](unsigned int n) {
          support::Track sound = support::AudioTrack(100, 1);
          sound.sampleSizes.assign(100, 4);
          sound.sampleSizes.back() = 5;
          return MergeOf(std::vector<Bytes>(n, support::MovieBuilder().Add(sound).Build()));
        }}},
      {"merge tracks",
       {100,
        [](unsigned int n) {
          return MergeOf({TrackClip(n), TrackClip(n)});
        }}},
      {"merge tracks behind others",
       {240,
        [](unsigned int n) {
          const Bytes clip = HeaderBehindOthers(n);
          return MergeOf({clip, clip});
        }}},
      {"move tracks of one identifier", {500, MovingTracksOfOneIdentifier}},
      {"look for a timecode among tracks of one identifier", {500, LookingForATimecode}},
      {"register a chain", {40, [](unsigned int n) { return Registering(n, false); }}},
      {"register a chain backwards", {40, [](unsigned int n) { return Registering(n, true); }}},
      {"ask for the last sample", {1000, LastSample}},
  };
}

}  // namespace

const std::map<std::string, Job>& Jobs() {
  static const std::map<std::string, Job> jobs = [] {
    std::map<std::string, Job> all = Tables();
    all.merge(Children());
    all.merge(Merges());
    return all;
  }();
  return jobs;
}

}  // namespace cost
