#include "host/mp4_writer.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "host/failure.h"
#include "host/key_pictures.h"
#include "host/libavformat_library.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr int kBufferBytes = 65536;

Failure cannot(const std::string& what) {
  return Failure(ExitStatus::notRepresentable, "The item can't be written as MP4: " + what + ".");
}

struct FreeContext {
  void operator()(AVFormatContext* context) const { libavformat().avformat_free_context(context); }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { libavformat().av_packet_free(&packet); }
};
/// A place to write to or to read from, with a buffer of its own that libavformat may replace.
struct FreeAccess {
  void operator()(AVIOContext* access) const {
    libavformat().av_freep(&access->buffer);
    libavformat().avio_context_free(&access);
  }
};

AVCodecID codecOf(const vela::Guid& mediaId) {
  if (sameGuid(mediaId, vela::kMediaAac)) return AV_CODEC_ID_AAC;
  if (sameGuid(mediaId, vela::kMediaMp3)) return AV_CODEC_ID_MP3;
  if (sameGuid(mediaId, vela::kMediaMpeg4Visual)) return AV_CODEC_ID_MPEG4;
  if (sameGuid(mediaId, vela::kMediaH264)) return AV_CODEC_ID_H264;
  throw cannot("its medium " + mediaName(mediaId) + " is not known");
}

void setConfiguration(AVCodecParameters& parameters, const std::vector<uint8_t>& config) {
  if (config.empty()) return;
  parameters.extradata =
      static_cast<uint8_t*>(libavformat().av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (!parameters.extradata) throw std::bad_alloc();
  std::memcpy(parameters.extradata, config.data(), config.size());
  parameters.extradata_size = static_cast<int>(config.size());
}

}  // namespace

bool canWriteMp4() { return true; }

/// The C library's callbacks can't throw: a failure is kept, and thrown when the call is back.
struct Mp4Writer::State {
  /// One way into the file: libavformat writes, and at the end reads what it has to move.
  struct Position {
    State* state;
    uint64_t at = 0;
    uint64_t end = 0;
  };

  explicit State(cli::OutputFile& target) : file(target) {}

  template <class Operation>
  int kept(const Operation& operation) noexcept {
    try {
      return operation();
    } catch (...) {
      if (!failure) failure = std::current_exception();
      return AVERROR(EIO);
    }
  }

  static int write(void* opaque, uint8_t* bytes, int count) {
    auto& position = *static_cast<Position*>(opaque);
    return position.state->kept([&] {
      position.state->file.writeAt(position.at, bytes, static_cast<size_t>(count));
      position.at += static_cast<uint64_t>(count);
      position.end = std::max(position.end, position.at);
      return count;
    });
  }

  static int read(void* opaque, uint8_t* bytes, int count) {
    auto& position = *static_cast<Position*>(opaque);
    return position.state->kept([&] {
      const size_t got =
          position.state->file.readAt(position.at, bytes, static_cast<size_t>(count));
      position.at += got;
      return got == 0 ? AVERROR_EOF : static_cast<int>(got);
    });
  }

  static int64_t seek(void* opaque, int64_t offset, int origin) {
    auto& position = *static_cast<Position*>(opaque);
    if (origin == AVSEEK_SIZE) return static_cast<int64_t>(position.end);
    if (origin == SEEK_CUR) offset += static_cast<int64_t>(position.at);
    if (origin == SEEK_END) offset += static_cast<int64_t>(position.end);
    if (offset < 0) return AVERROR(EINVAL);
    position.at = static_cast<uint64_t>(offset);
    return offset;
  }

  static AVIOContext* access(Position& position, bool writes) {
    auto* const buffer = static_cast<uint8_t*>(libavformat().av_malloc(kBufferBytes));
    AVIOContext* const made = buffer ? libavformat().avio_alloc_context(
                                           buffer, kBufferBytes, writes ? 1 : 0, &position,
                                           writes ? nullptr : read, writes ? write : nullptr, seek)
                                     : nullptr;
    if (!made) {
      libavformat().av_free(buffer);
      throw std::bad_alloc();
    }
    return made;
  }

  /// To put the movie box first, libavformat opens its own output again and reads it.
  static int openAgain(AVFormatContext* context, AVIOContext** out, const char*, int flags,
                       AVDictionary**) {
    auto& state = *static_cast<State*>(context->opaque);
    if (flags & AVIO_FLAG_WRITE) return AVERROR(ENOSYS);
    return state.kept([&] {
      state.reading = {&state, 0, state.writing.end};
      *out = access(state.reading, false);
      return 0;
    });
  }
  static int closeAgain(AVFormatContext*, AVIOContext* opened) {
    FreeAccess()(opened);
    return 0;
  }

  /// @throws what a callback kept, or Failure when libavformat refuses by itself
  void require(int result, const char* what) {
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result >= 0) return;
    char reason[AV_ERROR_MAX_STRING_SIZE] = "";
    libavformat().av_strerror(result, reason, sizeof reason);
    throw cannot(std::string(what) + " (" + reason + ")");
  }

  AVStream& addStream(AVMediaType type, const vela::Guid& mediaId, uint32_t ticks) {
    AVStream* const stream = libavformat().avformat_new_stream(context.get(), nullptr);
    if (!stream) throw std::bad_alloc();
    stream->codecpar->codec_type = type;
    stream->codecpar->codec_id = codecOf(mediaId);
    stream->time_base = {1, static_cast<int>(ticks)};
    return *stream;
  }

  void addAudio(const Mp4Settings::Audio& settings) {
    if (settings.sampleRate == 0 || settings.sampleRate > 1000000) {
      throw cannot("its sampling rate is unknown");
    }
    AVStream& stream = addStream(AVMEDIA_TYPE_AUDIO, settings.format.mediaId, settings.sampleRate);
    AVCodecParameters& parameters = *stream.codecpar;
    parameters.sample_rate = static_cast<int>(settings.sampleRate);
    const int channels = std::clamp(static_cast<int>(settings.channels & 0xff), 1, 64);
    libavformat().av_channel_layout_default(&parameters.ch_layout, channels);
    parameters.frame_size = static_cast<int>(settings.packetFrames);
    setConfiguration(parameters, settings.format.config);
    audio = &stream;
  }

  void addVideo(const Mp4Settings::Video& settings) {
    if (settings.format.width <= 0 || settings.format.height <= 0) {
      throw cannot("the size of its pictures is unknown");
    }
    AVStream& stream = addStream(AVMEDIA_TYPE_VIDEO, settings.format.mediaId, kVideoTicks);
    stream.codecpar->width = settings.format.width;
    stream.codecpar->height = settings.format.height;
    mediaOfVideo = settings.format.mediaId;
    avc = sameGuid(mediaOfVideo, vela::kMediaH264);
    setConfiguration(*stream.codecpar,
                     avc ? avcConfiguration(settings.format.config) : settings.format.config);
    video = &stream;
  }

  void writePacket(const AVStream& stream, const std::vector<uint8_t>& bytes, int64_t shown,
                   int64_t decoded, int64_t duration, bool key) {
    libavformat().av_packet_unref(packet.get());
    if (libavformat().av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
      throw std::bad_alloc();
    if (!bytes.empty()) std::memcpy(packet->data, bytes.data(), bytes.size());
    packet->stream_index = stream.index;
    packet->pts = shown;
    packet->dts = decoded;
    packet->duration = duration;
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    require(libavformat().av_write_frame(context.get(), packet.get()), "a packet is refused");
  }

  cli::OutputFile& file;
  Position writing{this};
  Position reading{this};
  std::unique_ptr<AVIOContext, FreeAccess> output;
  std::unique_ptr<AVFormatContext, FreeContext> context;
  std::unique_ptr<AVPacket, FreePacket> packet;
  AVStream* audio = nullptr;  ///< the context's
  AVStream* video = nullptr;  ///< the context's
  vela::Guid mediaOfVideo{};
  bool avc = false;
  bool anyVideo = false;
  std::exception_ptr failure;
};

Mp4Writer::Mp4Writer(cli::OutputFile& file, const Mp4Settings& settings)
    : state_(std::make_unique<State>(file)) {
  State& state = *state_;
  libavformat().av_log_set_level(AV_LOG_QUIET);
  // The brand "M4A " is for sound alone, and has no place for MP3.
  const bool m4a = !settings.video && settings.audio &&
                   sameGuid(settings.audio->format.mediaId, vela::kMediaAac);
  AVFormatContext* made = nullptr;
  state.require(
      libavformat().avformat_alloc_output_context2(&made, nullptr, m4a ? "ipod" : "mp4", "out"),
      "the library can't write it");
  state.context.reset(made);
  state.output.reset(State::access(state.writing, true));
  state.packet.reset(libavformat().av_packet_alloc());
  if (!state.packet) throw std::bad_alloc();
  made->pb = state.output.get();
  made->opaque = &state;
  made->io_open = State::openAgain;
  made->io_close2 = State::closeAgain;
  // The same input gives the same bytes, and packets stay as they are. They are not written one by
  // one: that is for players that follow a growing file.
  made->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_CUSTOM_IO;
  made->flags &= ~(AVFMT_FLAG_AUTO_BSF | AVFMT_FLAG_FLUSH_PACKETS);
  made->flush_packets = 0;
  if (settings.video) state.addVideo(*settings.video);
  if (settings.audio) state.addAudio(*settings.audio);
  for (const auto& [name, value] : settings.tags) {
    libavformat().av_dict_set(&made->metadata, name.c_str(), value.c_str(), 0);
  }
  AVDictionary* options = nullptr;
  libavformat().av_dict_set(&options, "movflags", "+faststart", 0);
  // Edits are counted in the movie's unit: with the sound's own they are exact.
  const uint32_t ticks = settings.audio ? settings.audio->sampleRate : kVideoTicks;
  libavformat().av_dict_set_int(&options, "movie_timescale", ticks, 0);
  const int result = libavformat().avformat_write_header(made, &options);
  libavformat().av_dict_free(&options);
  state.require(result, "the library refuses its streams");
}

Mp4Writer::~Mp4Writer() = default;

void Mp4Writer::writeAudio(const std::vector<uint8_t>& packet, int64_t start, uint32_t frames) {
  state_->writePacket(*state_->audio, packet, start, start, frames, true);
}

void Mp4Writer::writeVideo(const std::vector<uint8_t>& packet, int64_t shown, int64_t decoded,
                           int64_t duration) {
  State& state = *state_;
  if (state.avc && !hasFourByteLengths(packet)) {
    throw cannot("its units do not carry lengths of four bytes that add up to the packet");
  }
  const bool key = !state.anyVideo || isKeyPicture(state.mediaOfVideo, packet);
  state.anyVideo = true;
  state.writePacket(*state.video, packet, shown, decoded, duration, key);
}

void Mp4Writer::finish() {
  State& state = *state_;
  state.require(libavformat().av_write_trailer(state.context.get()), "its movie box can't be made");
  libavformat().avio_flush(state.output.get());
  state.require(state.output->error, "the last bytes can't be written");
}

}  // namespace velahost
