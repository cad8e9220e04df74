// The smallest host that the public header allows: one file, and sinks that write to a log.
#pragma once
#include <cstdint>

#include "examples/velaprobe/log.h"
#include "frontend/vela_splitter.h"

namespace probe {

/// Objects that live on the stack: counting them ends nothing.
template <class Interface>
class Lasting : public Interface {
 public:
  uint32_t addRef() override { return ++count_; }
  uint32_t release() override { return --count_; }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override {}

 protected:
  ~Lasting() = default;

 private:
  uint32_t count_ = 1;  // the stack's own
};

/// A file as the plug-in reads it.
class FileStream final : public Lasting<vela::HostStream> {
 public:
  FileStream() = default;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;
  ~FileStream();

  bool open(const char16_t* name);
  uint64_t size() const;

  uint32_t canSeek() override { return 1; }
  vela::TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken*) override;
  void unusedSlot6() override {}
  vela::TIOResult setLength(uint32_t, uint32_t, vela::CancelToken*) override;
  vela::TIOResult getLength(uint64_t* length, vela::CancelToken*) override;
  void unusedSlot9() override {}
  vela::TIOResult getPosition(uint64_t* position, vela::CancelToken*) override;
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  vela::TIOResult read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken*) override;
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken*) override;
  vela::TIOResult write(const void*, uint32_t, uint32_t*, vela::CancelToken*) override;

 private:
  void* file_ = nullptr;
  uint64_t position_ = 0;
};

class FileProvider final : public Lasting<vela::SourceProvider> {
 public:
  explicit FileProvider(FileStream& stream) : stream_(&stream) {}
  void unusedSlot4() override {}
  vela::TIOResult open(const char16_t*, uint32_t, vela::CancelToken*, void** out) override;

 private:
  FileStream* stream_;
};

class FileContext final : public vela::HostContext {
 public:
  explicit FileContext(FileProvider& provider) : provider_(&provider) {}
  uint32_t resolveSource(const char16_t*, void** out) override;

 private:
  FileProvider* provider_;
};

class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* descriptor) override {
    return descriptor->getInterface(&factory);
  }
  void* factory = nullptr;
};

/// Length and CRC-32 of the payloads that pass through.
struct Payload {
  uint32_t size = 0;
  uint32_t crc32 = 0;
  vela::TIOResult readFrom(vela::HostStreamReader* reader, uint32_t count,
                           vela::CancelToken* token);
};

class AudioPacket final : public vela::AudioPacket {
 public:
  Payload payload;
  uint32_t frames = 0;
  uint32_t startOffset = 0;

  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void setMediaId(const vela::Guid*) override {}
  void setSampleRate(uint32_t) override {}
  void setFrameCount(uint32_t value) override { frames = value; }
  void setStartOffset(uint32_t value) override { startOffset = value; }
  void setFurtherValue(uint32_t) override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    return payload.readFrom(reader, count, token);
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
  Payload payload;

  void reset() override { payload = {}; }
  void setMediaId(const vela::Guid*) override {}
  vela::TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                              vela::CancelToken* token) override {
    return payload.readFrom(reader, count, token);
  }
  void setPictureSize(int32_t, int32_t) override {}
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void unusedSlot6() override {}
};

/// Writes the formats of startItem() to the log.
class AudioFormat final : public vela::AudioFormat {
 public:
  explicit AudioFormat(Log& log) : log_(&log) {}

  bool isPresent = false;

  void clear() override {}
  void set(const vela::Guid*, const uint8_t* config, uint32_t size) override {
    isPresent = true;
    log_->text("audio config ").bytes(config, size).end();
  }

 private:
  Log* log_;
};

class VideoFormat final : public vela::VideoFormat {
 public:
  explicit VideoFormat(Log& log) : log_(&log) {}

  bool isPresent = false;

  void clear() override {}
  void set(const vela::Guid*, const uint8_t* config, uint32_t size, int32_t, int32_t) override {
    isPresent = true;
    log_->text("video config ").bytes(config, size).end();
  }

 private:
  Log* log_;
};

/// Writes a description to the log.
class Description final : public vela::MediaInfo {
 public:
  explicit Description(Log& log) : log_(&log) {}

  uint64_t getDuration() override { return 0; }
  void setDuration(vela::Word64 hostUnits) override {
    log_->text("duration ").number(vela::fromWord64(hostUnits)).end();
  }
  uint32_t getFlags() override { return flags_; }
  void setFlags(uint32_t flags) override { flags_ = flags; }
  int32_t getTrackGain() override { return 0; }
  void setTrackGain(int32_t value) override { gain("track_gain ", value); }
  int32_t getAlbumGain() override { return 0; }
  void setAlbumGain(int32_t value) override { gain("album_gain ", value); }
  int32_t getTrackPeak() override { return 0; }
  void setTrackPeak(int32_t value) override { gain("track_peak ", value); }
  int32_t getAlbumPeak() override { return 0; }
  void setAlbumPeak(int32_t value) override { gain("album_peak ", value); }
  void addTags(uint32_t, uint32_t count, const char16_t* const* keys, const uint32_t*,
               const char16_t* const* values, const uint32_t*) override {
    for (uint32_t i = 0; i < count; ++i) {
      log_->text("tag ").text(keys[i]).text(" = ").text(values[i]).end();
    }
  }
  void beginChapters(uint32_t count) override { log_->text("chapters ").number(count).end(); }
  void addChapter(uint32_t index, vela::Word64 start, const char16_t* title, uint32_t) override {
    log_->text("chapter ").number(index).text(" ").number(vela::fromWord64(start)).text(" ");
    log_->text(title).end();
  }
  void setDescription(const vela::ItemDescription* record) override {
    log_->text("bit_rate ").number(record->bitRate).end();
    if (record->audioFormatName[0]) {
      log_->text("audio ").text(record->audioFormatName).text(" ").number(record->sampleRate);
      log_->text(" Hz ").number(record->channels).text(" channels").end();
    }
    if (record->videoFormatName[0]) {
      log_->text("video ").text(record->videoFormatName).text(" ").number(record->width);
      log_->text("x").number(record->height).end();
    }
  }
  void unusedSlot12() override {}
  void unusedSlot13() override {}
  void unusedSlot14() override {}
  void unusedSlot16() override {}
  void unusedSlot19() override {}
  void unusedSlot20() override {}
  void unusedSlot21() override {}
  void unusedSlot22() override {}

 private:
  void gain(const char* name, int32_t value) {
    log_->text(name);
    if (value < 0) log_->text("-");
    log_->number(value < 0 ? -static_cast<int64_t>(value) : value).end();
  }

  Log* log_;
  uint32_t flags_ = 0;
};

}  // namespace probe
