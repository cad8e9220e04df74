// What the splitter fills: packets that hold the payload against the file, formats, and a
// description that is kept as a list of what was told.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/host/test_host.h"

namespace fuzz {

/// Where a payload must come from; nothing is compared while `known` is false.
struct PayloadPlace {
  bool known = false;
  uint64_t offset = 0;
  uint32_t size = 0;
};

/// Takes `count` bytes as HostScript says, and compares them with the file.
TIOResult takePayload(TestHost& host, const PayloadPlace& place, vela::HostStreamReader* reader,
                      uint32_t count, vela::CancelToken* token);

class TestAudioPacket final : public vela::AudioPacket {
 public:
  explicit TestAudioPacket(TestHost& host) : host_(&host) {}

  PayloadPlace place;
  vela::Guid media{};
  uint32_t rate = 0;
  uint32_t frames = 0;
  uint32_t startOffset = 0;
  uint32_t payloads = 0;

  void unusedSlot0() override { std::abort(); }
  void unusedSlot1() override { std::abort(); }
  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void unusedSlot4() override { std::abort(); }
  void unusedSlot5() override { std::abort(); }
  void unusedSlot6() override { std::abort(); }
  void setMediaId(const vela::Guid* id) override {
    host_->run.enter(HostCall::other);
    media = *id;
  }
  void setSampleRate(uint32_t hz) override { rate = hz; }
  void setFrameCount(uint32_t value) override { frames = value; }
  void setStartOffset(uint32_t value) override { startOffset = value; }
  void unusedSlot11() override { std::abort(); }
  void setFurtherValue(uint32_t value) override { REQUIRE(value == 0); }
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        vela::CancelToken* token) override {
    ++payloads;
    return takePayload(*host_, place, reader, count, token);
  }

 private:
  TestHost* host_;
};

class TestVideoPacket final : public vela::VideoPacket {
 public:
  explicit TestVideoPacket(TestHost& host) : host_(&host) {}

  PayloadPlace place;
  vela::Guid media{};
  int32_t width = 0;
  int32_t height = 0;
  uint32_t payloads = 0;
  bool filled = false;  // since the last reset()

  void unusedSlot0() override { std::abort(); }
  void unusedSlot1() override { std::abort(); }
  void unusedSlot2() override { std::abort(); }
  void unusedSlot3() override { std::abort(); }
  void reset() override {
    host_->run.enter(HostCall::other);
    filled = false;
  }
  void setMediaId(const vela::Guid* id) override { media = *id; }
  void unusedSlot6() override { std::abort(); }
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        vela::CancelToken* token) override {
    ++payloads;
    filled = true;
    return takePayload(*host_, place, reader, count, token);
  }
  void setPictureSize(int32_t wide, int32_t high) override {
    width = wide;
    height = high;
  }

 private:
  TestHost* host_;
};

struct TestAudioFormat final : vela::AudioFormat {
  explicit TestAudioFormat(HostRun& run) : run_(&run) {}
  void clear() override {
    run_->enter(HostCall::other);
    ++cleared;
  }
  void set(const vela::Guid* id, const uint8_t* config, uint32_t size) override {
    run_->enter(HostCall::other);
    REQUIRE(config);
    media = *id;
    bytes.assign(reinterpret_cast<const char*>(config), size);
    ++sets;
  }

  vela::Guid media{};
  std::string bytes;
  int cleared = 0;
  int sets = 0;

 private:
  HostRun* run_;
};

struct TestVideoFormat final : vela::VideoFormat {
  explicit TestVideoFormat(HostRun& run) : run_(&run) {}
  void clear() override {
    run_->enter(HostCall::other);
    ++cleared;
  }
  void set(const vela::Guid* id, const uint8_t* config, uint32_t size, int32_t wide,
           int32_t high) override {
    run_->enter(HostCall::other);
    REQUIRE(config);
    media = *id;
    bytes.assign(reinterpret_cast<const char*>(config), size);
    width = wide;
    height = high;
    ++sets;
  }

  vela::Guid media{};
  std::string bytes;
  int32_t width = 0;
  int32_t height = 0;
  int cleared = 0;
  int sets = 0;

 private:
  HostRun* run_;
};

/// One thing that a description tells.
struct Told {
  enum class What {
    duration,
    record,
    chapterCount,
    chapter,
    flags,
    tag,
    trackGain,
    albumGain,
    trackPeak,
    albumPeak
  } what;
  uint64_t number = 0;
  std::u16string text = {};
  std::u16string more = {};

  bool operator==(const Told&) const = default;
};

/// Keeps what it is told, in order. The description record is kept beside the list.
class TestInfo final : public vela::MediaInfo {
 public:
  explicit TestInfo(HostRun& run) : run_(&run) {}

  std::vector<Told> told;
  vela::ItemDescription record{};

  uint64_t getDuration() override { std::abort(); }
  void setDuration(vela::Word64 units) override { add({Told::What::duration, fromWord64(units)}); }
  uint32_t getFlags() override { return flags_; }
  void setFlags(uint32_t flags) override {
    flags_ = flags;
    add({Told::What::flags, flags});
  }
  int32_t getTrackGain() override { std::abort(); }
  void setTrackGain(int32_t value) override { addGain(Told::What::trackGain, value); }
  int32_t getAlbumGain() override { std::abort(); }
  void setAlbumGain(int32_t value) override { addGain(Told::What::albumGain, value); }
  int32_t getTrackPeak() override { std::abort(); }
  void setTrackPeak(int32_t value) override { addGain(Told::What::trackPeak, value); }
  int32_t getAlbumPeak() override { std::abort(); }
  void setAlbumPeak(int32_t value) override { addGain(Told::What::albumPeak, value); }
  void unusedSlot12() override { std::abort(); }
  void unusedSlot13() override { std::abort(); }
  void unusedSlot14() override { std::abort(); }
  void addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
               const uint32_t* keyLengths, const char16_t* const* values,
               const uint32_t* valueLengths) override {
    REQUIRE(position == vela::kAppendTags && count == 1);
    REQUIRE(*keyLengths == vela::kUntilNul && *valueLengths == vela::kUntilNul);
    add({Told::What::tag, 0, *keys, *values});
  }
  void unusedSlot16() override { std::abort(); }
  void beginChapters(uint32_t count) override { add({Told::What::chapterCount, count}); }
  void addChapter(uint32_t index, vela::Word64 start, const char16_t* title,
                  uint32_t length) override {
    REQUIRE(length == vela::kUntilNul);
    add({Told::What::chapter, fromWord64(start), title,
         std::u16string(1, static_cast<char16_t>(index))});
  }
  void unusedSlot19() override { std::abort(); }
  void unusedSlot20() override { std::abort(); }
  void unusedSlot21() override { std::abort(); }
  void unusedSlot22() override { std::abort(); }
  void setDescription(const vela::ItemDescription* given) override {
    record = *given;
    add({Told::What::record});
  }

 private:
  void add(Told thing) {
    run_->enter(HostCall::other);
    told.push_back(std::move(thing));
  }
  void addGain(Told::What what, int32_t value) {
    add({what, static_cast<uint64_t>(int64_t{value})});
  }

  HostRun* run_;
  uint32_t flags_ = 0;
};

}  // namespace fuzz
