// Loads the decoders' library (libavcodec) when somebody asks for it: most runs need none of it,
// and to load it with all that it stands on takes longer than a small merge.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

namespace clipchain::rescue {

// Its functions, by their own names.
struct CodecLibrary {
  decltype(&::av_frame_alloc) av_frame_alloc;
  decltype(&::av_frame_free) av_frame_free;
  decltype(&::av_log_set_level) av_log_set_level;
  decltype(&::av_mallocz) av_mallocz;
  decltype(&::av_packet_alloc) av_packet_alloc;
  decltype(&::av_packet_free) av_packet_free;
  decltype(&::avcodec_alloc_context3) avcodec_alloc_context3;
  decltype(&::avcodec_find_decoder) avcodec_find_decoder;
  decltype(&::avcodec_free_context) avcodec_free_context;
  decltype(&::avcodec_open2) avcodec_open2;
  decltype(&::avcodec_receive_frame) avcodec_receive_frame;
  decltype(&::avcodec_send_packet) avcodec_send_packet;
};

// The library of the version that this was compiled for, loaded at the first call and kept; null
// where the machine has none.
const CodecLibrary* TheCodecLibrary();

}  // namespace clipchain::rescue
