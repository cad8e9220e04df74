// The splitter objects: one class for each creation mode, all of one layout.
//   table pointer of the mode's interface; the embedded session; the reference count; and whether
//   an operation is running
#pragma once
#include <cstdint>
#include <cstring>
#include <utility>

#include "frontend/guarded.h"
#include "frontend/interlocked_counter.h"
#include "frontend/object_memory.h"
#include "frontend/out_slot.h"
#include "frontend/splitter_session.h"
#include "frontend/vela_splitter.h"

namespace vela {

/// What the three classes have in common. A new object has the count 0.
template <class Interface, CreationMode mode>
class SplitterObject : public Interface {
 public:
  static constexpr CreationMode kMode = mode;

  explicit SplitterObject(HostContext* hostContext) noexcept : session_(hostContext) {}

  SplitterSession& session() noexcept { return session_; }

  uint32_t addRef() final { return static_cast<uint32_t>(refs_.increment()); }

  uint32_t release() final {
    const int32_t count = refs_.decrement();
    if (count == 0) this->deletingDestructor(kFreeMemory);
    return static_cast<uint32_t>(count);
  }

  uint32_t getItemCount() final { return session_.getItemCount(); }
  uint32_t getItemId(uint32_t index) final { return session_.getItemId(index); }
  TIOResult describeItem(uint32_t itemId, MediaInfo* info, CancelToken* token) final {
    return exclusive([&] { return session_.describeItem(itemId, *info, token); });
  }
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) final {
    return session_.passThroughTwo(first, second);
  }

 protected:
  ~SplitterObject() = default;

  /// Runs an operation that returns a result code. The host's objects that it calls may call the
  /// splitter back, while session and cache are half changed: every such operation is refused from
  /// there.
  template <class Operation>
  TIOResult exclusive(Operation&& operation) noexcept {
    if (running_) return TIOResult::failed;
    running_ = 1;
    const TIOResult result = guarded(std::forward<Operation>(operation));
    running_ = 0;
    return result;
  }

  SplitterSession session_;

 private:
  InterlockedCounter refs_;
  uint8_t running_ = 0;
};

/// Creation mode 0: describes a file.
class InformationSplitter final : public SplitterObject<IMediaSplitter, CreationMode::information> {
 public:
  using SplitterObject::SplitterObject;

  uint32_t queryInterface(const Guid* iid, void** out) override {
    return answerQuery(sameGuid(*iid, kMediaSplitterId), this, out);
  }
  void deletingDestructor(uint32_t flags) override { destroyObject(this, flags); }
};

/// Creation mode 2. Never handed out, because its session refuses to open; the interface is part of
/// the contract all the same.
class RefusedSplitter final : public SplitterObject<IMediaSplitterAlt, CreationMode::refused> {
 public:
  using SplitterObject::SplitterObject;

  uint32_t queryInterface(const Guid* iid, void** out) override {
    return answerQuery(sameGuid(*iid, kMediaSplitterId) || sameGuid(*iid, kMediaSplitterAltId),
                       this, out);
  }
  void deletingDestructor(uint32_t flags) override { destroyObject(this, flags); }

  TIOResult refusedSlot8() override { return TIOResult::failed; }
  TIOResult refusedSlot9() override { return TIOResult::failed; }
};

/// Creation mode 1: plays a file.
class PlaybackSplitter final : public SplitterObject<IMediaSplitterEx, CreationMode::playback> {
 public:
  using SplitterObject::SplitterObject;

  uint32_t queryInterface(const Guid* iid, void** out) override {
    return answerQuery(sameGuid(*iid, kMediaSplitterId) || sameGuid(*iid, kMediaSplitterExId), this,
                       out);
  }
  void deletingDestructor(uint32_t flags) override { destroyObject(this, flags); }

  TIOResult startItem(uint32_t itemId, AudioFormat* audioFormat, VideoFormat* videoFormat,
                      CancelToken*) override {
    return exclusive([&] { return session_.startItem(itemId, audioFormat, videoFormat); });
  }
  TIOResult readAudioPacket(AudioPacket* packet, uint8_t* endOfStream,
                            CancelToken* token) override {
    return exclusive([&] { return session_.readAudioPacket(*packet, *endOfStream, token); });
  }
  TIOResult readVideoPacket(VideoPacket* packet, uint8_t* endOfStream, uint64_t* time,
                            CancelToken* token) override {
    uint64_t presented = 0;
    const TIOResult result = exclusive(
        [&] { return session_.readVideoPacket(*packet, *endOfStream, presented, token); });
    // The host's eight bytes may be unaligned, and are written only with a packet.
    if (result == TIOResult::success && !*endOfStream) {
      std::memcpy(static_cast<void*>(time), &presented, sizeof presented);
    }
    return result;
  }
  TIOResult nextStream(uint32_t* which) override {
    return exclusive([&] { return session_.nextStream(*which); });
  }
  TIOResult seekTo(Word64 offset, CancelToken*) override {
    return exclusive([&] { return session_.seekTo(fromWord64(offset)); });
  }
  TIOResult seekWithKeyFrame(VideoPacket* packet, Word64 offset, CancelToken* token) override {
    return exclusive([&] { return session_.seekWithKeyFrame(*packet, fromWord64(offset), token); });
  }
  uint32_t slot14() override { return 1; }
  uint32_t passThroughOne(uintptr_t argument) override { return session_.passThroughOne(argument); }
};

}  // namespace vela
