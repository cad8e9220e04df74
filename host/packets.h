// Packets and formats as a host implements them: they keep what the plug-in sets.
#pragma once
#include <cstdint>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velahost {

/// The bytes of a packet, and where they are in the file.
struct Payload {
  std::vector<uint8_t> bytes;
  uint64_t fileOffset = vela::kUnknown64;  ///< of the first byte
  /// Whether bytes are kept, or passed over by who only wants to know what packets there are.
  enum class Keeping { bytes, nothing };
  Keeping keeping = Keeping::bytes;

  /// Takes `count` bytes from the reader. Memory grows with the bytes that arrive, so a size that
  /// lies costs nothing. A short transfer fails with TIOResult::failed.
  vela::TIOResult read(vela::HostStreamReader* reader, uint32_t count, vela::CancelToken* token);
};

/// The position of the stream that a reader face belongs to. The control face of the same stream,
/// one pointer width before it, knows the position. During readPayload() the stream is the
/// plug-in's read cache, and its position is that of the next byte that it delivers; the position
/// of the file itself is up to a block further.
/// @return kUnknown64 when the stream doesn't know
uint64_t streamPosition(vela::HostStreamReader* reader, vela::CancelToken* token);

/// One packet of audio, refilled each time so that its memory is used again.
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
  uint32_t frames = 0;       ///< to play; a packet of 0 only primes the decoder
  uint32_t startOffset = 0;  ///< frames to drop from the head of the decoded packet
};

/// One packet of video, refilled each time.
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
