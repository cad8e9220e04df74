#include "bench/libavformat_player.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include "frontend/vela_splitter.h"
#include "tests/support/require.h"

namespace bench {

LibavformatPlayer::LibavformatPlayer(const std::string& file)
    : file_(file), packet_(av_packet_alloc()) {
  av_log_set_level(AV_LOG_QUIET);
}

LibavformatPlayer::~LibavformatPlayer() {
  close();
  av_packet_free(&packet_);
}

void LibavformatPlayer::open() {
  format_ = avformat_alloc_context();
  format_->flags |= AVFMT_FLAG_NOPARSE;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_chapters", "1", 0);
  const int result =
      avformat_open_input(&format_, file_.c_str(), av_find_input_format("mp4"), &options);
  av_dict_free(&options);
  REQUIRE(result == 0);
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream* const stream = format_->streams[i];
    const AVMediaType type = stream->codecpar->codec_type;
    if (type != AVMEDIA_TYPE_AUDIO && type != AVMEDIA_TYPE_VIDEO) stream->discard = AVDISCARD_ALL;
  }
}

void LibavformatPlayer::close() {
  if (format_) avformat_close_input(&format_);
}

bool LibavformatPlayer::read() {
  if (av_read_frame(format_, packet_) != 0) return false;
  av_packet_unref(packet_);
  return true;
}

void LibavformatPlayer::seek(uint64_t offset) {
  const auto microseconds =
      static_cast<int64_t>(static_cast<double>(offset) * AV_TIME_BASE / vela::kHostUnitsPerSecond);
  REQUIRE(av_seek_frame(format_, -1, microseconds, AVSEEK_FLAG_BACKWARD) >= 0);
}

}  // namespace bench
