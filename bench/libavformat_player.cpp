#include "bench/libavformat_player.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace bench {
namespace {

constexpr int kBufferSize = 16384;  // bytes, as large as a block of the plug-in

int readFrom(void* opaque, uint8_t* buffer, int count) {
  vela::HostStreamReader& reader = *static_cast<FileStream*>(opaque);
  uint32_t done = 0;
  const TIOResult result = reader.read(buffer, static_cast<uint32_t>(count), &done, nullptr);
  if (result != TIOResult::success) return AVERROR(EIO);
  return done == 0 ? AVERROR_EOF : static_cast<int>(done);
}

int64_t seekIn(void* opaque, int64_t offset, int whence) {
  auto& stream = *static_cast<FileStream*>(opaque);
  if (whence == AVSEEK_SIZE) return static_cast<int64_t>(stream.size());
  if (whence != SEEK_SET) return AVERROR(EINVAL);
  const vela::Word64 target = vela::toWord64(static_cast<uint64_t>(offset));
  if (stream.seek(target.low, target.high, nullptr) != TIOResult::success) return AVERROR(EIO);
  return offset;
}

}  // namespace

LibavformatPlayer::LibavformatPlayer(FileStream& stream)
    : stream_(stream), packet_(av_packet_alloc()) {
  av_log_set_level(AV_LOG_QUIET);
}

LibavformatPlayer::~LibavformatPlayer() {
  close();
  av_packet_free(&packet_);
}

void LibavformatPlayer::open() {
  REQUIRE(stream_.seek(0, 0, nullptr) == TIOResult::success);
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  io_ = avio_alloc_context(buffer, kBufferSize, 0, &stream_, readFrom, nullptr, seekIn);
  format_ = avformat_alloc_context();
  format_->pb = io_;
  format_->flags |= AVFMT_FLAG_NOPARSE;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_chapters", "1", 0);
  const int result = avformat_open_input(&format_, nullptr, av_find_input_format("mp4"), &options);
  av_dict_free(&options);
  REQUIRE(result == 0);
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream* const stream = format_->streams[i];
    const AVMediaType type = stream->codecpar->codec_type;
    if (type != AVMEDIA_TYPE_AUDIO && type != AVMEDIA_TYPE_VIDEO) stream->discard = AVDISCARD_ALL;
  }
}

void LibavformatPlayer::close() {
  if (!format_) return;
  avformat_close_input(&format_);
  av_freep(&io_->buffer);
  avio_context_free(&io_);
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
