#include "workflow/rescue/sound_decoder.h"

#include <algorithm>
#include <cstring>

#ifdef CLIPCHAIN_WITH_DECODER
#include "workflow/rescue/codec_library.h"
#endif

namespace clipchain::rescue {

#ifdef CLIPCHAIN_WITH_DECODER

namespace {

struct FreeContext {
  void operator()(AVCodecContext* context) const {
    TheCodecLibrary()->avcodec_free_context(&context);
  }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { TheCodecLibrary()->av_packet_free(&packet); }
};
struct FreeFrame {
  void operator()(AVFrame* frame) const { TheCodecLibrary()->av_frame_free(&frame); }
};
using Context = std::unique_ptr<AVCodecContext, FreeContext>;
using Packet = std::unique_ptr<AVPacket, FreePacket>;
using Frame = std::unique_ptr<AVFrame, FreeFrame>;

// More pixels than any camera has.
constexpr std::int64_t kMostPixels = std::int64_t{1} << 28;

Context Open(AVCodecID id, std::span<const unsigned char> configuration) {
  const CodecLibrary* const library = TheCodecLibrary();
  if (library == nullptr) return nullptr;
  library->av_log_set_level(AV_LOG_QUIET);
  const AVCodec* codec = library->avcodec_find_decoder(id);
  if (codec == nullptr) return nullptr;
  Context context(library->avcodec_alloc_context3(codec));
  if (context == nullptr) return nullptr;
  auto* extra = static_cast<unsigned char*>(
      library->av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (extra == nullptr) return nullptr;
  std::copy(configuration.begin(), configuration.end(), extra);
  context->extradata = extra;
  context->extradata_size = static_cast<int>(configuration.size());
  // With more threads frames come late, and where one began could not be told.
  context->thread_count = 1;
  context->max_pixels = kMostPixels;
  // A decoder that hides errors would find sound in anything.
  context->err_recognition = AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER;
  if (library->avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  return context;
}

}  // namespace

struct SoundDecoder::Decoder {
  Context context;
  Packet packet;
  Frame frame;

  // False where there is no library, or no memory.
  bool Start(std::span<const unsigned char> configuration) {
    context = Open(AV_CODEC_ID_AAC, configuration);
    if (context == nullptr) return false;
    packet.reset(TheCodecLibrary()->av_packet_alloc());
    frame.reset(TheCodecLibrary()->av_frame_alloc());
    return packet != nullptr && frame != nullptr;
  }
};

bool HasDecoder() {
  const CodecLibrary* const library = TheCodecLibrary();
  return library != nullptr && library->avcodec_find_decoder(AV_CODEC_ID_AAC) != nullptr;
}

SoundDecoder::SoundDecoder(std::span<const unsigned char> configuration,
                           std::span<const unsigned char> witness)
    : witness_(witness.begin(), witness.end()), decoder_(std::make_unique<Decoder>()) {
  if (!decoder_->Start(configuration) || witness_.empty()) {
    decoder_ = nullptr;
    return;
  }
  WarmUp();
}

SoundDecoder::~SoundDecoder() = default;

// The first frame that a decoder is given yields nothing.
void SoundDecoder::WarmUp() {
  for (int i = 0; i < 2; ++i) static_cast<void>(Starts({}, true));
}

// The decoder is given all bytes at once and takes one frame after the other
// off them; how many bytes were left when it began one says where that one
// starts. The end counts as a start where nothing is left.
std::vector<std::size_t> SoundDecoder::Starts(std::span<const unsigned char> bytes, bool witness) {
  buffer_.assign(bytes.begin(), bytes.end());
  if (witness) buffer_.insert(buffer_.end(), witness_.begin(), witness_.end());
  const std::size_t size = buffer_.size();
  // Decoders read beyond the end in steps, by as much as this.
  buffer_.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
  AVPacket* packet = decoder_->packet.get();
  packet->data = buffer_.data();
  packet->size = static_cast<int>(size);
  std::vector<std::size_t> starts;
  AVCodecContext* context = decoder_->context.get();
  const CodecLibrary& library = *TheCodecLibrary();
  if (library.avcodec_send_packet(context, packet) < 0) return starts;
  AVFrame* frame = decoder_->frame.get();
  while (library.avcodec_receive_frame(context, frame) >= 0) {
    const auto left = static_cast<std::size_t>(std::max(frame->pkt_size, 0));
    if (left > size) break;
    starts.push_back(size - left);
  }
  packet->data = nullptr;
  packet->size = 0;
  return starts;
}

namespace {

// The sizes of frames by where they start; empty where they do not follow one
// another.
std::vector<std::uint32_t> SizesOf(std::vector<std::size_t> starts, bool silentFirst) {
  std::vector<std::uint32_t> sizes;
  if (starts.empty()) return sizes;
  if (silentFirst && starts.front() != 0) starts.insert(starts.begin(), 0);
  if (starts.front() != 0) return sizes;
  for (std::size_t i = 1; i < starts.size() && starts[i] > starts[i - 1]; ++i) {
    sizes.push_back(static_cast<std::uint32_t>(starts[i] - starts[i - 1]));
  }
  return sizes;
}

}  // namespace

std::vector<std::uint32_t> SoundDecoder::Fill(std::span<const unsigned char> bytes,
                                              bool silentFirst) {
  if (bytes.empty()) return {};
  const std::vector<std::size_t> starts = Starts(bytes, true);
  if (starts.empty() || starts.back() != bytes.size()) return {};
  auto sizes = SizesOf(starts, silentFirst);
  std::uint64_t sum = 0;
  for (const std::uint32_t size : sizes) sum += size;
  if (sum != bytes.size()) sizes.clear();
  return sizes;
}

std::vector<std::uint32_t> SoundDecoder::Begin(std::span<const unsigned char> bytes,
                                               bool silentFirst) {
  return SizesOf(Starts(bytes, false), silentFirst);
}

bool SoundDecoder::HoldsFrame(std::span<const unsigned char> bytes) {
  const std::vector<std::size_t> starts = Starts(bytes, false);
  return !starts.empty() && starts.front() == 0;
}

// A frame can be decoded as soon as all of it is there. One without sound yields nothing, and ends
// where the witness is found behind it.
std::uint32_t SoundDecoder::SizeOf(std::span<const unsigned char> bytes, bool silentFirst) {
  constexpr std::size_t kLargestSilent = 256;
  for (std::size_t size = 1; silentFirst && size <= std::min(bytes.size(), kLargestSilent);
       ++size) {
    if (Fill(bytes.first(size), true).size() == 1) return static_cast<std::uint32_t>(size);
  }
  if (silentFirst || !HoldsFrame(bytes)) return 0;
  std::size_t least = 0;
  std::size_t most = bytes.size();
  while (most - least > 1) {
    const std::size_t middle = least + (most - least) / 2;
    (HoldsFrame(bytes.first(middle)) ? most : least) = middle;
  }
  return Fill(bytes.first(most), false).size() == 1 ? static_cast<std::uint32_t>(most) : 0;
}

namespace {

AVCodecID IdOf(Codec codec) {
  switch (codec) {
    case Codec::kAvc:
      return AV_CODEC_ID_H264;
    case Codec::kHevc:
      return AV_CODEC_ID_HEVC;
    case Codec::kJpeg:
      break;
  }
  return AV_CODEC_ID_MJPEG;
}

}  // namespace

bool DecodesPicture(Codec codec, std::span<const unsigned char> configuration,
                    std::span<const unsigned char> accessUnit) {
  const Context context = Open(IdOf(codec), configuration);
  if (context == nullptr) return false;
  const CodecLibrary& library = *TheCodecLibrary();
  const Packet packet(library.av_packet_alloc());
  const Frame frame(library.av_frame_alloc());
  if (packet == nullptr || frame == nullptr) return false;
  std::vector<unsigned char> bytes(accessUnit.begin(), accessUnit.end());
  bytes.resize(accessUnit.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  packet->data = bytes.data();
  packet->size = static_cast<int>(accessUnit.size());
  packet->flags = AV_PKT_FLAG_KEY;
  if (library.avcodec_send_packet(context.get(), packet.get()) < 0) return false;
  // Without an end the decoder would wait for the pictures behind before it shows this one.
  if (library.avcodec_send_packet(context.get(), nullptr) < 0) return false;
  return library.avcodec_receive_frame(context.get(), frame.get()) >= 0 &&
         frame->decode_error_flags == 0 && (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0;
}

#else

struct SoundDecoder::Decoder {};

bool HasDecoder() { return false; }

SoundDecoder::SoundDecoder(std::span<const unsigned char>, std::span<const unsigned char>) {}
SoundDecoder::~SoundDecoder() = default;

std::vector<std::uint32_t> SoundDecoder::Fill(std::span<const unsigned char>, bool) { return {}; }
std::vector<std::uint32_t> SoundDecoder::Begin(std::span<const unsigned char>, bool) { return {}; }
std::uint32_t SoundDecoder::SizeOf(std::span<const unsigned char>, bool) { return 0; }

bool DecodesPicture(Codec, std::span<const unsigned char>, std::span<const unsigned char>) {
  return false;
}

#endif

}  // namespace clipchain::rescue
