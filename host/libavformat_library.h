// libavformat, loaded when the first MP4 file is written: it and the seventy libraries that it
// needs take longer to load than any other command takes in all.
#pragma once
extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

// The functions in use.
#define VELAHOST_LIBAVFORMAT_FUNCTIONS(USE) \
  USE(av_channel_layout_default)            \
  USE(av_dict_free)                         \
  USE(av_dict_set)                          \
  USE(av_dict_set_int)                      \
  USE(av_free)                              \
  USE(av_freep)                             \
  USE(av_log_set_level)                     \
  USE(av_malloc)                            \
  USE(av_mallocz)                           \
  USE(av_new_packet)                        \
  USE(av_packet_alloc)                      \
  USE(av_packet_free)                       \
  USE(av_packet_unref)                      \
  USE(av_strerror)                          \
  USE(av_write_frame)                       \
  USE(av_write_trailer)                     \
  USE(avformat_alloc_output_context2)       \
  USE(avformat_free_context)                \
  USE(avformat_new_stream)                  \
  USE(avformat_write_header)                \
  USE(avio_alloc_context)                   \
  USE(avio_context_free)                    \
  USE(avio_flush)

namespace velahost {

/// The functions under their own names.
struct Libavformat {
#define VELAHOST_DECLARE(function) decltype(&::function) function = nullptr;
  VELAHOST_LIBAVFORMAT_FUNCTIONS(VELAHOST_DECLARE)
#undef VELAHOST_DECLARE
};

/// The library of the version that this program was built for; loaded by the first call, and never
/// unloaded.
/// @throws Failure (notRepresentable) when it isn't there
const Libavformat& libavformat();

}  // namespace velahost
