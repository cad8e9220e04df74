#include "gst/pull_stream.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace velagst {
namespace {

using vela::TIOResult;

class PadProvider final : public Counted<PadProvider, vela::SourceProvider> {
 public:
  explicit PadProvider(GstPad* pad) : pad_(pad) {}

  void unusedSlot4() override {}
  TIOResult open(const char16_t*, uint32_t, vela::CancelToken*, void** out) override {
    auto* const stream = new (std::nothrow) PullStream(pad_);
    if (!stream) return TIOResult::outOfMemory;
    storeInOutSlot(out, static_cast<vela::HostStreamControl*>(stream));
    return TIOResult::success;
  }

 private:
  friend class Counted<PadProvider, vela::SourceProvider>;
  ~PadProvider() = default;

  GstPad* pad_;
};

// Bytes of a pull that serves several reads, so that the 16 KiB of each don't cost calls and locks.
constexpr uint64_t kAhead = 131072;

TIOResult resultOf(GstFlowReturn flow) {
  return flow == GST_FLOW_FLUSHING ? TIOResult::cancelled : kPullFailed;
}

// From such a source the bytes that are needed now would come later with more after them.
bool isBandwidthLimited(GstPad* pad) {
  GstQuery* const query = gst_query_new_scheduling();
  GstSchedulingFlags flags{};
  if (gst_pad_peer_query(pad, query)) {
    gst_query_parse_scheduling(query, &flags, nullptr, nullptr, nullptr);
  }
  gst_query_unref(query);
  return (flags & GST_SCHEDULING_FLAG_BANDWIDTH_LIMITED) != 0;
}

}  // namespace

PullStream::PullStream(GstPad* pad) : pad_(pad), readsAhead_(!isBandwidthLimited(pad)) {}

PullStream::~PullStream() { dropPulled(); }

// A position past the end is accepted: reads there deliver nothing.
TIOResult PullStream::seek(uint32_t low, uint32_t high, vela::CancelToken*) {
  position_ = vela::fromWord64({low, high});
  return TIOResult::success;
}

TIOResult PullStream::setLength(uint32_t, uint32_t, vela::CancelToken*) {
  return TIOResult::failed;
}

TIOResult PullStream::getLength(uint64_t* length, vela::CancelToken*) {
  gint64 bytes = -1;
  const bool known = gst_pad_peer_query_duration(pad_, GST_FORMAT_BYTES, &bytes) && bytes >= 0;
  *length = known ? static_cast<uint64_t>(bytes) : vela::kUnknown64;
  return TIOResult::success;
}

TIOResult PullStream::getPosition(uint64_t* position, vela::CancelToken*) {
  *position = position_;
  return TIOResult::success;
}

void PullStream::dropPulled() {
  if (!pulled_) return;
  gst_buffer_unmap(pulled_, &bytes_);
  gst_clear_buffer(&pulled_);
}

// Holds the bytes from the position on. None are there after a success at the end.
GstFlowReturn PullStream::pull(uint32_t count) {
  const bool goesOn = pulled_ && position_ == pulledFrom_ + bytes_.size;
  const uint64_t wanted = goesOn && readsAhead_ ? std::max<uint64_t>(count, kAhead) : count;
  dropPulled();
  GstBuffer* pulled = nullptr;
  const GstFlowReturn flow =
      gst_pad_pull_range(pad_, position_, static_cast<guint>(wanted), &pulled);
  if (flow == GST_FLOW_EOS) return GST_FLOW_OK;
  if (flow != GST_FLOW_OK) return flow;
  if (!gst_buffer_map(pulled, &bytes_, GST_MAP_READ)) {
    gst_buffer_unref(pulled);
    return GST_FLOW_ERROR;
  }
  pulled_ = pulled;
  pulledFrom_ = position_;
  return GST_FLOW_OK;
}

uint32_t PullStream::copyPulled(void* to, uint32_t count) {
  if (!pulled_ || position_ < pulledFrom_) return 0;
  const uint64_t offset = position_ - pulledFrom_;
  if (offset >= bytes_.size) return 0;
  const auto copied = static_cast<uint32_t>(std::min<uint64_t>(count, bytes_.size - offset));
  std::memcpy(to, bytes_.data + offset, copied);
  position_ += copied;
  return copied;
}

// A pull that delivers less than was asked for may be one that was cut by the source's own blocks,
// so only an empty one, or the end that the source reports, ends the reading.
TIOResult PullStream::read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken* token) {
  *done = 0;
  while (*done < count) {
    if (token && token->isCancelled()) return TIOResult::cancelled;
    uint8_t* const to = static_cast<uint8_t*>(buffer) + *done;
    uint32_t got = copyPulled(to, count - *done);
    if (got == 0) {
      const GstFlowReturn flow = pull(count - *done);
      if (flow != GST_FLOW_OK) return resultOf(flow);
      got = copyPulled(to, count - *done);
    }
    if (got == 0) break;
    *done += got;
  }
  return TIOResult::success;
}

TIOResult PullStream::skip(uint32_t count, uint32_t* done, vela::CancelToken* token) {
  uint64_t length = vela::kUnknown64;
  getLength(&length, token);
  const uint64_t left = length > position_ ? length - position_ : 0;
  *done = static_cast<uint32_t>(std::min<uint64_t>(count, left));
  position_ += *done;
  return TIOResult::success;
}

TIOResult PullStream::write(const void*, uint32_t, uint32_t* done, vela::CancelToken*) {
  *done = 0;
  return TIOResult::failed;
}

uint32_t PadContext::resolveSource(const char16_t*, void** out) {
  auto* const provider = new (std::nothrow) PadProvider(pad_);
  if (!provider) return 0;
  storeInOutSlot(out, provider);
  return 1;
}

}  // namespace velagst
