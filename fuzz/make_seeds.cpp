// Makes what fuzzing starts from: small clips of every shape, each golden box in the place where it
// parses, Exif data, and real files where they are at hand.
//
//   make_seeds FOLDER         a folder for each target is made in it
#include <cstdio>
#include <exception>
#include <filesystem>

#include "support/clip_shapes.h"
#include "support/exif.h"
#include "support/golden.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"

namespace {

namespace fs = std::filesystem;
using support::Box;
using support::Bytes;
using support::FullBox;
using support::operator+;

// Real files up to this size are taken as they are.
constexpr std::uintmax_t kLargestFile = 40000;
// Of the clips that ship, so much of the media.
constexpr std::size_t kMediaKept = 2000;

void Save(const fs::path& folder, const std::string& name, const Bytes& bytes) {
  fs::create_directories(folder);
  support::WriteFile(folder / name, bytes);
}

Bytes FileAround(const support::Golden& golden) {
  const Bytes fileType = Box("ftyp", {support::Text("mp42"), support::U32(0)});
  const Bytes handler =
      FullBox("hdlr", 0, 0, {support::Zeros(4), support::Text("vide"), support::Zeros(13)});
  const Bytes entries = FullBox("stsd", 0, 0, {support::U32(1), golden.bytes});
  return fileType + Box("moov", {golden.bytes, Box("trak", {Box("mdia", {handler, entries})})});
}

void SaveGoldens(const fs::path& out) {
  for (const std::string folder : {"good", "bad"}) {
    for (const support::Golden& golden : support::LoadGoldens(folder)) {
      Save(out / "parse", golden.name, FileAround(golden));
      const Bytes payload = support::Slice(golden.bytes, 8, golden.bytes.size());
      if (golden.type == "avcC") Save(out / "avc", golden.name, payload);
      if (golden.type == "esds" && payload.size() > 4)
        Save(out / "descriptors", golden.name, support::Slice(payload, 4, payload.size()));
    }
  }
}

void SaveClips(const fs::path& out) {
  for (const support::ClipShape& shape : support::ClipShapes()) {
    Save(out / "parse", shape.name, shape.bytes);
    for (const char* target : {"merge", "check", "adapt"})
      Save(out / target, shape.name, shape.bytes + shape.bytes);
    Save(out / "clip", shape.name, shape.bytes);
  }
}

void SaveExif(const fs::path& out) {
  const Bytes tiff = support::ExifWithDate("2024:06:01 10:00:04", support::TiffOrder::kIntel);
  const Bytes block = support::MarkerBox() + support::ThumbnailBox(tiff) +
                      support::PlaceBox(support::Id(1), support::Id(2), support::Id(3));
  Save(out / "clip", "thumbnail", support::ThumbnailStream(tiff));
  Save(out / "clip", "vendor_block", block);
  for (const fs::directory_entry& entry :
       fs::directory_iterator(support::SourcePath("tests/golden/exif")))
    Save(out / "clip", entry.path().stem().string(),
         support::ThumbnailStream(support::ReadHexFile(entry.path())));
}

// A chain of three clips in each of several orders.
void SaveSequences(const fs::path& out) {
  Bytes chain;
  for (const std::uint8_t number : Bytes{1, 3, 2}) {
    const unsigned char before = number == 1 ? 0 : static_cast<unsigned char>(number - 1);
    const unsigned char next = number == 3 ? 0 : static_cast<unsigned char>(number + 1);
    chain = chain + Bytes{9, number, next, before, number, number};
  }
  Save(out / "sequence", "chain", chain);
  Save(out / "sequence", "two_volumes", chain + Bytes{0, 0, 0, 0, 0, 0} + chain);
  Save(out / "sequence", "all_steps",
       Bytes{0, 0, 0, 0, 0, 0} + chain + Bytes{3, 0, 0, 0, 0, 0} + Bytes{2, 0, 0, 0, 0, 0} +
           Bytes{4, 5, 6, 7, 8, 9} + Bytes{1, 0, 0, 0, 0, 0} + chain);
}

// The clip with the start of its media, which stand in front of everything that is read.
Bytes Shortened(const Bytes& clip) {
  const std::size_t media = support::FindBox(clip, "mdat");
  const std::size_t end = media + support::ReadU32(clip, media);
  Bytes head = support::Slice(clip, 0, media + 8 + kMediaKept);
  return support::WithU32(head, media, 8 + kMediaKept) + support::Slice(clip, end, clip.size());
}

void SaveFiles(const fs::path& out) {
  for (const fs::directory_entry& entry :
       fs::directory_iterator(support::SourcePath("examples/clips"))) {
    const Bytes clip = Shortened(support::ReadFile(entry.path()));
    for (const char* target : {"parse", "clip"})
      Save(out / target, entry.path().filename().string(), clip);
  }
  if (support::RealMedia().empty()) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(support::RealMedia() / "clips")) {
    if (!entry.is_regular_file() || entry.file_size() > kLargestFile) continue;
    const Bytes file = support::ReadFile(entry.path());
    for (const char* target : {"parse", "merge", "clip", "check"})
      Save(out / target, entry.path().filename().string(), file);
    if (support::FindBox(file, "moof") != support::kNotFound)
      Save(out / "fragments", entry.path().filename().string(), file);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  try {
    SaveGoldens(argv[1]);
    SaveClips(argv[1]);
    SaveExif(argv[1]);
    SaveSequences(argv[1]);
    SaveFiles(argv[1]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_seeds: %s\n", error.what());
    return 1;
  }
}
