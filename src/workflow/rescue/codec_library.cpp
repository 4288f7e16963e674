#ifdef CLIPCHAIN_WITH_DECODER

#include "workflow/rescue/codec_library.h"

#include <dlfcn.h>

#include <optional>

namespace clipchain::rescue {

namespace {

// The functions' arguments are laid out as the headers of one version say.
constexpr const char* kName = "libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR);

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

// What it finds of its own libraries it finds of those that they stand on, too.
std::optional<CodecLibrary> Load() {
  void* const library = ::dlopen(kName, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  CodecLibrary found;
  const bool isWhole = Find(library, "av_frame_alloc", found.av_frame_alloc) &&
                       Find(library, "av_frame_free", found.av_frame_free) &&
                       Find(library, "av_log_set_level", found.av_log_set_level) &&
                       Find(library, "av_mallocz", found.av_mallocz) &&
                       Find(library, "av_packet_alloc", found.av_packet_alloc) &&
                       Find(library, "av_packet_free", found.av_packet_free) &&
                       Find(library, "avcodec_alloc_context3", found.avcodec_alloc_context3) &&
                       Find(library, "avcodec_find_decoder", found.avcodec_find_decoder) &&
                       Find(library, "avcodec_free_context", found.avcodec_free_context) &&
                       Find(library, "avcodec_open2", found.avcodec_open2) &&
                       Find(library, "avcodec_receive_frame", found.avcodec_receive_frame) &&
                       Find(library, "avcodec_send_packet", found.avcodec_send_packet);
  return isWhole ? std::optional(found) : std::nullopt;
}

}  // namespace

const CodecLibrary* TheCodecLibrary() {
  static const std::optional<CodecLibrary> library = Load();
  return library ? &*library : nullptr;
}

}  // namespace clipchain::rescue

#endif
