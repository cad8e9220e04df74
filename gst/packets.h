// Packets that the plug-in fills, as buffers of the framework.
#pragma once
#include <gst/gst.h>

#include <memory>

#include "frontend/vela_splitter.h"
#include "gst/audio_clock.h"

namespace velagst {

struct UnrefBuffer {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using BufferPtr = std::unique_ptr<GstBuffer, UnrefBuffer>;

/// Reads a payload into a new buffer. Memory beyond the first 64 KiB is asked for as the bytes
/// arrive, because `count` comes from the file and may exceed what the file holds.
/// @return TIOResult::failed when the reader has fewer bytes
vela::TIOResult readPayloadInto(BufferPtr& buffer, vela::HostStreamReader* reader, uint32_t count,
                                vela::CancelToken* token);

class AudioPacket final : public vela::AudioPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  uint32_t getFrameCount() override { return frames.played; }
  uint32_t getStartOffset() override { return frames.dropped; }
  void unusedSlot4() override {}
  void unusedSlot5() override {}
  void unusedSlot6() override {}
  void setMediaId(const vela::Guid*) override {}
  void setSampleRate(uint32_t hz) override { sampleRate = hz; }
  /// The first count after a payload is that of the whole packet; those that follow cut it.
  void setFrameCount(uint32_t count) override {
    if (frames.whole == 0) frames.whole = count;
    frames.played = count;
  }
  void setStartOffset(uint32_t count) override { frames.dropped = count; }
  void unusedSlot11() override {}
  void setFurtherValue(uint32_t) override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    frames = {};
    return readPayloadInto(buffer, reader, count, token);
  }

  BufferPtr buffer;
  PacketFrames frames;
  uint32_t sampleRate = 0;  // Hz
};

class VideoPacket final : public vela::VideoPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void reset() override { buffer.reset(); }
  void setMediaId(const vela::Guid*) override {}
  void unusedSlot6() override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    return readPayloadInto(buffer, reader, count, token);
  }
  void setPictureSize(int32_t, int32_t) override {}

  BufferPtr buffer;
};

}  // namespace velagst
