#include "synthetic_clip.h"

#include <functional>
#include <string_view>

namespace bench {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kSamplesPerChunk = 10;
constexpr std::uint32_t kSamplesPerSync = 30;
constexpr std::uint32_t kFileTypeSize = 16;

// Appends to a file that grows; a box is open for as long as its contents are appended.
class Writer {
 public:
  void Number(std::uint32_t value) {
    for (const int shift : {24, 16, 8, 0})
      file.push_back(static_cast<unsigned char>(value >> shift));
  }
  void Text(std::string_view text) {
    for (const char letter : text) file.push_back(static_cast<unsigned char>(letter));
  }
  void Zeros(std::size_t count) { file.insert(file.end(), count, 0); }

  void Box(std::string_view type, const std::function<void()>& contents) {
    const std::size_t begin = file.size();
    Number(0);
    Text(type);
    contents();
    const std::uint32_t size = static_cast<std::uint32_t>(file.size() - begin);
    for (const unsigned int i : {0u, 1u, 2u, 3u})
      file[begin + i] = static_cast<unsigned char>(size >> (24 - 8 * i));
  }
  void FullBox(std::string_view type, const std::function<void()>& contents) {
    Box(type, [&] {
      Number(0);
      contents();
    });
  }
  // A box of a count and as many entries.
  void Table(std::string_view type, std::uint32_t count,
             const std::function<void(std::uint32_t)>& entry) {
    FullBox(type, [&] {
      Number(count);
      for (std::uint32_t i = 0; i < count; ++i) entry(i);
    });
  }

  Bytes file;
};

void SampleDescription(Writer& out) {
  out.Table("stsd", 1, [&](std::uint32_t) {
    out.Box("mp4v", [&] {
      out.Zeros(6);
      out.Number(1 << 16);  // data reference 1 and the first half of what follows
      out.Zeros(68);
    });
  });
}

void SampleTable(Writer& out, std::uint32_t samples) {
  const std::uint32_t chunks = (samples + kSamplesPerChunk - 1) / kSamplesPerChunk;
  const std::uint32_t syncs = (samples + kSamplesPerSync - 1) / kSamplesPerSync;
  SampleDescription(out);
  out.Table("stts", samples, [&](std::uint32_t i) {
    out.Number(1);
    out.Number(1000 + i % 3);
  });
  out.Table("ctts", samples, [&](std::uint32_t i) {
    out.Number(1);
    out.Number(i % 4 * 1000);
  });
  out.FullBox("stsz", [&] {
    out.Number(0);
    out.Number(samples);
    // The sizes must differ, else the table would collapse into one number.
    for (std::uint32_t i = 0; i < samples; ++i) out.Number(i % 2);
  });
  out.Table("stsc", 1, [&](std::uint32_t) {
    out.Number(1);
    out.Number(kSamplesPerChunk);
    out.Number(1);
  });
  out.Table("stco", chunks,
            [&](std::uint32_t i) { out.Number(kFileTypeSize + 8 + i * kSamplesPerChunk); });
  out.Table("stss", syncs, [&](std::uint32_t i) { out.Number(1 + i * kSamplesPerSync); });
}

void Track(Writer& out, std::uint32_t samples) {
  out.FullBox("tkhd", [&] {
    out.Zeros(8);
    out.Number(1);  // identifier
    out.Zeros(4);
    out.Number(samples);  // duration
    out.Zeros(60);
  });
  out.Box("mdia", [&] {
    out.FullBox("mdhd", [&] {
      out.Zeros(8);
      out.Number(30000);
      out.Number(samples * 1001);
      out.Zeros(4);
    });
    out.FullBox("hdlr", [&] {
      out.Zeros(4);
      out.Text("vide");
      out.Zeros(13);
    });
    out.Box("minf", [&] { out.Box("stbl", [&] { SampleTable(out, samples); }); });
  });
}

void Identifier(Writer& out, std::uint32_t number) {
  out.Number(number);
  out.Zeros(12);
}

// The camera's box with the identifiers of this clip, the next one and the one before.
void CameraBox(Writer& out, std::uint32_t number, std::uint32_t length) {
  out.Box("uuid", [&] {
    for (const std::uint32_t word : {0x85C0B687u, 0x820F11E0u, 0x8111F4CEu, 0x462B6A48u})
      out.Number(word);
    out.Box("VROP", [&] {
      out.FullBox("VRFB", [&] {
        Identifier(out, number);
        Identifier(out, number == length ? 0 : number + 1);
        Identifier(out, number - 1);
      });
    });
  });
}

Bytes Clip(std::uint32_t samples, const std::function<void(Writer&)>& camera) {
  Writer out;
  out.Box("ftyp", [&] {
    out.Text("isom");
    out.Number(0);
  });
  out.Box("mdat", [&] { out.Zeros(samples); });
  out.Box("moov", [&] {
    out.FullBox("mvhd", [&] {
      out.Zeros(8);
      out.Number(30);
      out.Number(samples);
      out.Zeros(80);
    });
    out.Box("trak", [&] { Track(out, samples); });
    camera(out);
  });
  return out.file;
}

}  // namespace

Bytes SyntheticClip(std::uint32_t samples) {
  return Clip(samples, [](Writer&) {});
}

Bytes ChainedClip(std::uint32_t samples, std::uint32_t number, std::uint32_t length) {
  return Clip(samples, [&](Writer& out) { CameraBox(out, number, length); });
}

}  // namespace bench
