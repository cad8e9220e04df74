// Fakes of the packets and formats that a host hands to a splitter for playback.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "frontend/vela_splitter.h"
#include "tests/support/boxes.h"
#include "tests/support/call_log.h"

namespace vela {
inline bool operator==(const Guid& left, const Guid& right) {
  return std::memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
}
}  // namespace vela

/// The name of an identifier in a log.
inline std::string mediaName(const vela::Guid& id) {
  if (id == vela::kMediaAac) return "AAC";
  if (id == vela::kMediaMp3) return "MP3";
  if (id == vela::kMediaMpeg4Visual) return "MPEG-4 Visual";
  if (id == vela::kMediaH264) return "H.264";
  return "unknown";
}

/// The payload of a packet, read in the pieces that the stream delivers.
struct FakePayload {
  boxes::Bytes bytes;
  vela::TIOResult result = vela::TIOResult::success;  ///< given instead of reading, if not success
  vela::HostStreamReader* lastReader = nullptr;
  vela::CancelToken* lastToken = nullptr;

  /// @return what the reader gives; failed when the data ends early
  vela::TIOResult readFrom(vela::HostStreamReader* reader, uint32_t count,
                           vela::CancelToken* token) {
    lastReader = reader;
    lastToken = token;
    if (result != vela::TIOResult::success) return result;
    bytes.assign(count, 0);
    uint32_t total = 0;
    while (total < count) {
      uint32_t done = 0;
      const vela::TIOResult code = reader->read(bytes.data() + total, count - total, &done, token);
      if (code != vela::TIOResult::success) return code;
      if (done == 0) return vela::TIOResult::failed;
      total += done;
    }
    return vela::TIOResult::success;
  }
};

/// The log holds every call: "setMediaId AAC", "readPayload 200", "setSampleRate 44100",
/// "setFrameCount 1024", "setStartOffset 0", "setFurtherValue 0", "getFrameCount",
/// "getStartOffset".
class FakeAudioPacket final : public vela::AudioPacket, public CallLog {
 public:
  FakePayload payload;
  vela::Guid mediaId{};
  uint32_t sampleRate = 0;
  uint32_t frameCount = 0;
  uint32_t startOffset = 0;
  uint32_t furtherValue = 0xffffffff;
  uint32_t mostFrames = 0xffffffff;  ///< a larger frame count is stored as this one
  uint32_t leastStartOffset = 0;     ///< a smaller start offset is stored as this one

  uint32_t getFrameCount() override {
    record("getFrameCount");
    return frameCount;
  }
  uint32_t getStartOffset() override {
    record("getStartOffset");
    return startOffset;
  }
  void setMediaId(const vela::Guid* id) override {
    mediaId = *id;
    record("setMediaId " + mediaName(*id));
  }
  void setSampleRate(uint32_t hz) override { store(sampleRate, hz, "setSampleRate "); }
  void setFrameCount(uint32_t frames) override {
    store(frameCount, frames, "setFrameCount ");
    frameCount = std::min(frameCount, mostFrames);
  }
  void setStartOffset(uint32_t frames) override {
    store(startOffset, frames, "setStartOffset ");
    startOffset = std::max(startOffset, leastStartOffset);
  }
  void setFurtherValue(uint32_t value) override { store(furtherValue, value, "setFurtherValue "); }
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    record("readPayload " + std::to_string(count));
    return payload.readFrom(reader, count, token);
  }

  void unusedSlot0() override { unused(); }
  void unusedSlot1() override { unused(); }
  void unusedSlot4() override { unused(); }
  void unusedSlot5() override { unused(); }
  void unusedSlot6() override { unused(); }
  void unusedSlot11() override { unused(); }

 private:
  void store(uint32_t& field, uint32_t value, const char* call) {
    field = value;
    record(call + std::to_string(value));
  }
  static void unused() { ADD_FAILURE() << "a slot that is not used was called"; }
};

/// The log holds every call: "reset", "setMediaId H.264", "readPayload 200", "setPictureSize
/// 64x48".
class FakeVideoPacket final : public vela::VideoPacket, public CallLog {
 public:
  FakePayload payload;
  vela::Guid mediaId{};
  int32_t width = 0;
  int32_t height = 0;

  void reset() override {
    payload.bytes.clear();
    mediaId = {};
    width = height = 0;
    record("reset");
  }
  void setMediaId(const vela::Guid* id) override {
    mediaId = *id;
    record("setMediaId " + mediaName(*id));
  }
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    record("readPayload " + std::to_string(count));
    return payload.readFrom(reader, count, token);
  }
  void setPictureSize(int32_t newWidth, int32_t newHeight) override {
    width = newWidth;
    height = newHeight;
    record("setPictureSize " + std::to_string(width) + "x" + std::to_string(height));
  }

  void unusedSlot0() override { unused(); }
  void unusedSlot1() override { unused(); }
  void unusedSlot2() override { unused(); }
  void unusedSlot3() override { unused(); }
  void unusedSlot6() override { unused(); }

 private:
  static void unused() { ADD_FAILURE() << "a slot that is not used was called"; }
};

/// The log holds "audio clear" and "audio AAC 2" (the number of configuration bytes).
class FakeAudioFormat final : public vela::AudioFormat, public CallLog {
 public:
  vela::Guid mediaId{};
  boxes::Bytes config;
  const uint8_t* lastConfig = nullptr;  ///< as it was given

  void clear() override {
    mediaId = {};
    config.clear();
    record("audio clear");
  }
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t configSize) override {
    mediaId = *id;
    lastConfig = bytes;
    config.assign(bytes, bytes + configSize);
    record("audio " + mediaName(*id) + " " + std::to_string(configSize));
  }
};

/// The log holds "video clear" and "video H.264 30 64x48" (the number of configuration bytes).
class FakeVideoFormat final : public vela::VideoFormat, public CallLog {
 public:
  vela::Guid mediaId{};
  boxes::Bytes config;
  const uint8_t* lastConfig = nullptr;  ///< as it was given
  int32_t width = 0;
  int32_t height = 0;

  void clear() override {
    mediaId = {};
    config.clear();
    width = height = 0;
    record("video clear");
  }
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t configSize, int32_t newWidth,
           int32_t newHeight) override {
    mediaId = *id;
    lastConfig = bytes;
    config.assign(bytes, bytes + configSize);
    width = newWidth;
    height = newHeight;
    record("video " + mediaName(*id) + " " + std::to_string(configSize) + " " +
           std::to_string(width) + "x" + std::to_string(height));
  }
};
