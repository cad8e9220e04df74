// A host without files: objects over one input, as small as the interfaces allow.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "frontend/vela_splitter.h"
#include "tests/support/require.h"

namespace memory_host {

using vela::CancelToken;
using vela::Guid;
using vela::TIOResult;

/// The operations that the plug-in never calls on a host's object, and the count that it must
/// balance.
template <class Interface>
class Counted : public Interface {
 public:
  uint32_t addRef() override { return ++references; }
  uint32_t release() override {
    REQUIRE(references > 0);
    return --references;
  }
  uint32_t queryInterface(const Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override { std::abort(); }  // the host's own operation

  uint32_t references = 0;
};

template <class Object>
void store(void** out, Object* object) {
  object->addRef();
  if (auto* previous = static_cast<vela::IObject*>(std::exchange(*out, object))) {
    previous->release();
  }
}

class Stream final : public Counted<vela::HostStream> {
 public:
  Stream(const uint8_t* data, uint64_t size) : data_(data), size_(size) {}

  uint32_t seekable = 1;

  uint32_t canSeek() override { return seekable; }
  TIOResult seek(uint32_t low, uint32_t high, CancelToken*) override {
    const uint64_t target = vela::fromWord64({low, high});
    if (!seekable) return TIOResult::failed;
    if (target > size_) return TIOResult::outOfRange;
    position_ = target;
    return TIOResult::success;
  }
  void unusedSlot6() override {}
  TIOResult setLength(uint32_t, uint32_t, CancelToken*) override { return TIOResult::failed; }
  TIOResult getLength(uint64_t* length, CancelToken*) override {
    std::memcpy(length, &size_, sizeof size_);
    return TIOResult::success;
  }
  void unusedSlot9() override {}
  TIOResult getPosition(uint64_t* position, CancelToken*) override {
    std::memcpy(position, &position_, sizeof position_);
    return TIOResult::success;
  }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken*) override {
    *done = static_cast<uint32_t>(std::min<uint64_t>(count, size_ - position_));
    if (*done > 0) std::memcpy(buffer, data_ + position_, *done);
    position_ += *done;
    return TIOResult::success;
  }
  TIOResult skip(uint32_t count, uint32_t* done, CancelToken*) override {
    *done = static_cast<uint32_t>(std::min<uint64_t>(count, size_ - position_));
    position_ += *done;
    return TIOResult::success;
  }
  TIOResult write(const void*, uint32_t, uint32_t*, CancelToken*) override {
    return TIOResult::failed;
  }

 private:
  const uint8_t* data_;
  uint64_t size_;
  uint64_t position_ = 0;
};

class Provider final : public Counted<vela::SourceProvider> {
 public:
  explicit Provider(Stream& stream) : stream_(&stream) {}
  void unusedSlot4() override {}
  TIOResult open(const char16_t*, uint32_t mode, CancelToken*, void** out) override {
    REQUIRE(mode == 0);
    store<vela::HostStreamControl>(out, stream_);
    return TIOResult::success;
  }

 private:
  Stream* stream_;
};

class Context final : public vela::HostContext {
 public:
  explicit Context(Provider& provider) : provider_(&provider) {}
  uint32_t resolveSource(const char16_t*, void** out) override {
    store(out, provider_);
    return 1;
  }

 private:
  Provider* provider_;
};

/// Reads a payload through and counts it; nothing is kept.
inline TIOResult drain(vela::HostStreamReader* reader, uint32_t count, CancelToken* token) {
  // Not on the stack, whose use is measured.
  thread_local uint8_t buffer[4096];
  while (count > 0) {
    uint32_t done = 0;
    const auto wanted = std::min<uint32_t>(count, sizeof buffer);
    const TIOResult code = reader->read(buffer, wanted, &done, token);
    if (code != TIOResult::success) return code;
    REQUIRE(done <= wanted);
    if (done == 0) return TIOResult::failed;
    count -= done;
  }
  return TIOResult::success;
}

class AudioPacket final : public vela::AudioPacket {
 public:
  uint32_t frames = 0;
  uint32_t startOffset = 0;

  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void setMediaId(const Guid*) override {}
  void setSampleRate(uint32_t hz) override { REQUIRE(hz != 0); }
  void setFrameCount(uint32_t value) override { frames = value; }
  void setStartOffset(uint32_t value) override { startOffset = value; }
  void setFurtherValue(uint32_t value) override { REQUIRE(value == 0); }
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    REQUIRE(count != 0);
    return drain(reader, count, token);
  }
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot4() override {}
  void unusedSlot5() override {}
  void unusedSlot6() override {}
  void unusedSlot11() override {}
};

class VideoPacket final : public vela::VideoPacket {
 public:
  void reset() override {}
  void setMediaId(const Guid*) override {}
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    REQUIRE(count != 0);
    return drain(reader, count, token);
  }
  void setPictureSize(int32_t width, int32_t height) override {
    REQUIRE(width != 0 && height != 0);
  }
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void unusedSlot6() override {}
};

class AudioFormat final : public vela::AudioFormat {
 public:
  void clear() override { set_ = false; }
  void set(const Guid*, const uint8_t* config, uint32_t size) override {
    for (uint32_t i = 0; i < size; ++i) sum_ += config[i];
    set_ = true;
  }

 private:
  bool set_ = false;
  uint32_t sum_ = 0;
};

class VideoFormat final : public vela::VideoFormat {
 public:
  void clear() override {}
  void set(const Guid*, const uint8_t* config, uint32_t size, int32_t, int32_t) override {
    for (uint32_t i = 0; i < size; ++i) sum_ += config[i];
  }

 private:
  uint32_t sum_ = 0;
};

class Info final : public vela::MediaInfo {
 public:
  uint64_t duration = 0;
  uint32_t flags = 0xffffffff;
  uint32_t chaptersLeft = 0;
  uint32_t described = 0;
  bool measuresTexts = true;  ///< false: none of a measured time is the host's

  uint64_t getDuration() override { return duration; }
  void setDuration(vela::Word64 value) override { duration = vela::fromWord64(value); }
  uint32_t getFlags() override { return flags; }
  void setFlags(uint32_t value) override {
    REQUIRE(value <= 15);
    flags = value;
  }
  int32_t getTrackGain() override { return 0; }
  void setTrackGain(int32_t) override { REQUIRE(flags & vela::kTrackGainPresent); }
  int32_t getAlbumGain() override { return 0; }
  void setAlbumGain(int32_t) override { REQUIRE(flags & vela::kAlbumGainPresent); }
  int32_t getTrackPeak() override { return 0; }
  void setTrackPeak(int32_t) override { REQUIRE(flags & vela::kTrackPeakPresent); }
  int32_t getAlbumPeak() override { return 0; }
  void setAlbumPeak(int32_t) override { REQUIRE(flags & vela::kAlbumPeakPresent); }
  void unusedSlot12() override {}
  void unusedSlot13() override {}
  void unusedSlot14() override {}
  void addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
               const uint32_t* keyLengths, const char16_t* const* values,
               const uint32_t* valueLengths) override {
    REQUIRE(position == 0xffffffff && count == 1);
    REQUIRE(keys[0] && values[0]);
    REQUIRE(keyLengths[0] == vela::kUntilNul && valueLengths[0] == vela::kUntilNul);
    REQUIRE(!measuresTexts || length(keys[0]) + length(values[0]) < 0x1000000);
  }
  void unusedSlot16() override {}
  void beginChapters(uint32_t count) override {
    REQUIRE(count > 0);
    chaptersLeft = count;
  }
  void addChapter(uint32_t, vela::Word64, const char16_t* title, uint32_t titleLength) override {
    REQUIRE(chaptersLeft > 0 && title && titleLength == vela::kUntilNul);
    REQUIRE(!measuresTexts || length(title) < 0x1000000);
    --chaptersLeft;
  }
  void unusedSlot19() override {}
  void unusedSlot20() override {}
  void unusedSlot21() override {}
  void unusedSlot22() override {}
  void setDescription(const vela::ItemDescription* record) override {
    REQUIRE(record->reserved == 0);
    REQUIRE(record->audioFormatName[31] == 0 && record->videoFormatName[31] == 0);
    ++described;
  }

 private:
  static uint64_t length(const char16_t* text) {
    uint64_t units = 0;
    while (text[units]) ++units;
    return units;
  }
};

/// Takes the factory out of the module that it is enumerated with.
class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* descriptor) override {
    return descriptor->getInterface(&factory_);
  }
  vela::ISplitterFactory* factory() const { return static_cast<vela::ISplitterFactory*>(factory_); }

 private:
  void* factory_ = nullptr;
};

}  // namespace memory_host
