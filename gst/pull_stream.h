// The element's sink pad as a source of the plug-in: what is linked to the pad is read in pull
// mode.
#pragma once
#include <gst/gst.h>

#include "frontend/vela_splitter.h"
#include "gst/reference.h"

namespace velagst {

/// Result of a read that the pad refused for another reason than a flush.
inline constexpr auto kPullFailed = static_cast<vela::TIOResult>(0x80000001);

/// Reads what is upstream of a pad, through gst_pad_pull_range(). Reads that follow each other are
/// served from larger pulls, unless the source says that its bandwidth is limited.
class PullStream final : public Counted<PullStream, vela::HostStream> {
 public:
  /// @param pad  a sink pad that is active in pull mode; borrowed
  explicit PullStream(GstPad* pad);

  uint32_t canSeek() override { return 1; }
  vela::TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  void unusedSlot6() override {}
  vela::TIOResult setLength(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  vela::TIOResult getLength(uint64_t* length, vela::CancelToken* token) override;
  void unusedSlot9() override {}
  vela::TIOResult getPosition(uint64_t* position, vela::CancelToken* token) override;
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  vela::TIOResult read(void* buffer, uint32_t count, uint32_t* done,
                       vela::CancelToken* token) override;
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken* token) override;
  vela::TIOResult write(const void* buffer, uint32_t count, uint32_t* done,
                        vela::CancelToken* token) override;

 private:
  friend class Counted<PullStream, vela::HostStream>;
  ~PullStream();

  GstFlowReturn pull(uint32_t count);
  void dropPulled();
  /// Moves on by what it copies. @return bytes; 0 for a position outside of what was pulled
  uint32_t copyPulled(void* to, uint32_t count);

  GstPad* pad_;
  bool readsAhead_;
  uint64_t position_ = 0;
  GstBuffer* pulled_ = nullptr;  // what the last pull gave, mapped
  GstMapInfo bytes_{};           // of it
  uint64_t pulledFrom_ = 0;      // its place in the file, bytes
};

/// Hands out streams over one pad, whatever name it is asked for.
class PadContext final : public vela::HostContext {
 public:
  /// @param pad  borrowed; outlives the context
  explicit PadContext(GstPad* pad) : pad_(pad) {}
  uint32_t resolveSource(const char16_t* sourceName, void** out) override;

 private:
  GstPad* pad_;
};

}  // namespace velagst
