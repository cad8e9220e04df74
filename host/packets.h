// Packets and formats as a host implements them: they keep what the plug-in tells.
#pragma once
#include <cstdint>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velahost {

/// Bytes of a packet and where the file holds them.
struct Payload {
  std::vector<uint8_t> bytes;
  uint64_t fileOffset = vela::kUnknown64;  ///< of the first byte

  /// Takes `count` bytes from the reader. Memory grows with what really arrives, so a size that
  /// lies costs nothing. A short transfer gives TIOResult::failed.
  vela::TIOResult read(vela::HostStreamReader* reader, uint32_t count, vela::CancelToken* token);
};

/// The position of the stream that a reader face belongs to. The reader face lies one pointer width
/// behind the control face of the same stream, and the control face tells the position. What is
/// asked here is the plug-in's read cache, whose position is the place in the file of the next byte
/// that it gives; the position of the file itself runs ahead of it by up to a block.
/// @return kUnknown64 when the stream doesn't tell
uint64_t streamPosition(vela::HostStreamReader* reader, vela::CancelToken* token);

/// One packet of audio. Refilled for every packet, so that its memory is allocated once.
class AudioPacketRecord final : public vela::AudioPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void unusedSlot4() override {}
  void unusedSlot5() override {}
  void unusedSlot6() override {}
  void setMediaId(const vela::Guid* id) override { mediaId = *id; }
  void setSampleRate(uint32_t hz) override { sampleRate = hz; }
  void setFrameCount(uint32_t count) override { frames = count; }
  void setStartOffset(uint32_t count) override { startOffset = count; }
  void unusedSlot11() override {}
  void setFurtherValue(uint32_t) override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    return payload.read(reader, count, token);
  }

  Payload payload;
  vela::Guid mediaId{};
  uint32_t sampleRate = 0;   ///< Hz
  uint32_t frames = 0;       ///< to be played; 0 only primes the decoder
  uint32_t startOffset = 0;  ///< frames to drop from the head of the decoded packet
};

/// One packet of video. Refilled for every packet.
class VideoPacketRecord final : public vela::VideoPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void reset() override;
  void setMediaId(const vela::Guid* id) override { mediaId = *id; }
  void unusedSlot6() override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    return payload.read(reader, count, token);
  }
  void setPictureSize(int32_t newWidth, int32_t newHeight) override {
    width = newWidth;
    height = newHeight;
  }

  Payload payload;
  vela::Guid mediaId{};
  int32_t width = -1;   ///< pixels, -1 unknown
  int32_t height = -1;  ///< pixels, -1 unknown
};

class AudioFormatRecord final : public vela::AudioFormat {
 public:
  void clear() override;
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t count) override;

  bool present = false;
  vela::Guid mediaId{};
  std::vector<uint8_t> config;
};

class VideoFormatRecord final : public vela::VideoFormat {
 public:
  void clear() override;
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t count, int32_t newWidth,
           int32_t newHeight) override;

  bool present = false;
  vela::Guid mediaId{};
  std::vector<uint8_t> config;
  int32_t width = -1;   ///< pixels, -1 unknown
  int32_t height = -1;  ///< pixels, -1 unknown
};

}  // namespace velahost
