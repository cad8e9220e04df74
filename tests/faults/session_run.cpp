#include "tests/faults/session_run.h"

#include <vector>

#include "tests/faults/faulty_memory.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using vela::CancelToken;
using vela::TIOResult;

/// A sum that tells sequences of bytes apart (FNV-1a).
class Digest {
 public:
  void add(const uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) sum_ = (sum_ ^ bytes[i]) * 0x100000001b3;
  }
  void add(uint64_t value) {
    uint8_t bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    add(bytes, sizeof bytes);
  }
  uint64_t sum() const { return sum_; }

 private:
  uint64_t sum_ = 0xcbf29ce484222325;
};

/// Where the bytes of payloads go.
struct PayloadSink {
  Digest digest;
  uint64_t foreign = 0;  ///< payloads that were read whole and are not marked samples
};

/// Every byte of a marked sample after the first two is its number plus its place.
bool isMarkedSample(const std::vector<uint8_t>& payload) {
  for (size_t i = 2; i < payload.size(); ++i) {
    if (payload[i] != static_cast<uint8_t>(payload[1] + i)) return false;
  }
  return true;
}

/// Reads a payload, unless the plan has something else in mind.
TIOResult readPayload(FaultPlan& plan, PayloadSink& sink, vela::HostStreamReader* reader,
                      uint32_t count, CancelToken* token) {
  const bool strikes = plan.strikes();
  if (strikes && plan.fault == Fault::refuses) return plan.code;
  const bool half = strikes && plan.fault != Fault::worksThenRefuses;
  std::vector<uint8_t> payload;
  for (uint32_t left = half ? count / 2 : count; left > 0;) {
    uint8_t buffer[256];
    const auto wanted = std::min<uint32_t>(left, sizeof buffer);
    uint32_t done = 0;
    const TIOResult code = reader->read(buffer, wanted, &done, token);
    if (code != TIOResult::success) return code;
    // The stream itself, which may say anything, stands here where there was no memory for a cache.
    if (done == 0 || done > wanted) return TIOResult::failed;
    payload.insert(payload.end(), buffer, buffer + done);
    left -= done;
  }
  sink.digest.add(payload.data(), payload.size());
  if (!half && !isMarkedSample(payload)) ++sink.foreign;
  const bool refuses =
      plan.fault == Fault::worksThenRefuses || plan.fault == Fault::halvesThenRefuses;
  return strikes && refuses ? plan.code : TIOResult::success;
}

class AudioPacket final : public vela::AudioPacket {
 public:
  AudioPacket(FaultPlan& plan, PayloadSink& sink) : plan_(plan), sink_(sink) {}

  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void setMediaId(const vela::Guid*) override {}
  void setSampleRate(uint32_t) override {}
  void setFrameCount(uint32_t value) override { frames = value; }
  void setStartOffset(uint32_t value) override { startOffset = value; }
  void setFurtherValue(uint32_t) override {}
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    return ::readPayload(plan_, sink_, reader, count, token);
  }
  void unusedSlot0() override { std::abort(); }
  void unusedSlot1() override { std::abort(); }
  void unusedSlot4() override { std::abort(); }
  void unusedSlot5() override { std::abort(); }
  void unusedSlot6() override { std::abort(); }
  void unusedSlot11() override { std::abort(); }

  uint32_t frames = 0;
  uint32_t startOffset = 0;

 private:
  FaultPlan& plan_;
  PayloadSink& sink_;
};

class VideoPacket final : public vela::VideoPacket {
 public:
  VideoPacket(FaultPlan& plan, PayloadSink& sink) : plan_(plan), sink_(sink) {}

  void reset() override {}
  void setMediaId(const vela::Guid*) override {}
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    return ::readPayload(plan_, sink_, reader, count, token);
  }
  void setPictureSize(int32_t, int32_t) override {}
  void unusedSlot0() override { std::abort(); }
  void unusedSlot1() override { std::abort(); }
  void unusedSlot2() override { std::abort(); }
  void unusedSlot3() override { std::abort(); }
  void unusedSlot6() override { std::abort(); }

 private:
  FaultPlan& plan_;
  PayloadSink& sink_;
};

/// The host's side of one splitter.
class Host {
 public:
  Host(Faults& faults, Outcome& outcome) : faults_(faults), outcome_(outcome) {}

  void describeAll(vela::IMediaSplitter& splitter) {
    const uint32_t count = splitter.getItemCount();
    for (uint32_t i = 0; i <= count; ++i) {
      info_.chaptersLeft = 0;
      note("describeItem", splitter.describeItem(splitter.getItemId(i), &info_, &token_));
    }
  }

  /// Packets after a start, seeks over the whole file, a seek with picture and another start: more
  /// places than the read cache holds.
  void play(vela::IMediaSplitterEx& splitter) {
    // A host that goes on after a start that failed gets packets of the file, or codes.
    start(splitter, 0);
    read(splitter, 20);
    for (const uint64_t tenths : {5u, 9u, 2u, 7u}) {
      note("seekTo", splitter.seekTo(vela::toWord64(info_.duration / 10 * tenths), &token_));
      read(splitter, 4);
    }
    note("seekWithKeyFrame",
         splitter.seekWithKeyFrame(&video_, vela::toWord64(info_.duration / 3), &token_));
    read(splitter, 4);
    start(splitter, splitter.getItemId(1));
    read(splitter, 4);
  }

  /// All packets of the file: their bytes, frames and times. None when a packet can't be read.
  std::optional<uint64_t> playAll(vela::IMediaSplitterEx& splitter) {
    sink_.digest = {};
    if (!start(splitter, 0)) return std::nullopt;
    for (bool audioEnded = false, videoEnded = false; !audioEnded || !videoEnded;) {
      bool* const ended = !audioEnded ? &audioEnded : &videoEnded;
      if (!readOne(splitter, ended == &audioEnded, *ended)) return std::nullopt;
    }
    return sink_.digest.sum();
  }

  uint64_t foreignPayloads() const { return sink_.foreign; }
  CancelToken* token() { return &token_; }
  void note(const char* operation, TIOResult code) { ++outcome_.codes[operation][code]; }

 private:
  bool start(vela::IMediaSplitterEx& splitter, uint32_t item) {
    const TIOResult code = splitter.startItem(item, &audioFormat_, &videoFormat_, &token_);
    note("startItem", code);
    return code == TIOResult::success;
  }

  void read(vela::IMediaSplitterEx& splitter, int packets) {
    for (int i = 0; i < packets; ++i) {
      uint32_t which = vela::kNextNone;
      note("nextStream", splitter.nextStream(&which));
      bool ended = false;
      if (which != vela::kNextNone) readOne(splitter, which == vela::kNextAudio, ended);
    }
  }

  /// A stream that the file does not have counts as ended.
  bool readOne(vela::IMediaSplitterEx& splitter, bool audio, bool& ended) {
    uint8_t end = 0;
    uint64_t time = 0;
    const TIOResult code = audio ? splitter.readAudioPacket(&audio_, &end, &token_)
                                 : splitter.readVideoPacket(&video_, &end, &time, &token_);
    note(audio ? "readAudioPacket" : "readVideoPacket", code);
    const bool missing = audio ? !audioFormat_.isSet() : !videoFormat_.isSet();
    ended = end != 0 || missing;
    if (!ended) sink_.digest.add(audio ? uint64_t{audio_.frames} << 32 | audio_.startOffset : time);
    return code == TIOResult::success || missing;
  }

  template <class Base>
  class Format : public Base {
   public:
    void clear() override { set_ = false; }
    bool isSet() const { return set_; }

   protected:
    bool set_ = false;
  };
  class AudioFormat final : public Format<vela::AudioFormat> {
    void set(const vela::Guid*, const uint8_t*, uint32_t) override { set_ = true; }
  };
  class VideoFormat final : public Format<vela::VideoFormat> {
    void set(const vela::Guid*, const uint8_t*, uint32_t, int32_t, int32_t) override {
      set_ = true;
    }
  };

  Faults& faults_;
  Outcome& outcome_;
  PayloadSink sink_;
  faulty_host::Token token_{faults_.question};
  memory_host::Info info_;
  AudioFormat audioFormat_;
  VideoFormat videoFormat_;
  AudioPacket audio_{faults_.host, sink_};
  VideoPacket video_{faults_.host, sink_};
};

void useFactory(vela::ISplitterFactory& factory, Host& host, Faults& faults, Outcome& outcome) {
  void* out = nullptr;
  const TIOResult described = factory.createSplitter(&out, u"file", host.token());
  host.note("createSplitter", described);
  if (described == TIOResult::success) {
    auto* const splitter = static_cast<vela::IMediaSplitter*>(out);
    host.describeAll(*splitter);
    splitter->release();
  }
  out = nullptr;
  const TIOResult opened = factory.createSplitterEx(&out, u"file", host.token());
  host.note("createSplitterEx", opened);
  if (opened != TIOResult::success) return;
  outcome.opened = true;
  auto* const splitter = static_cast<vela::IMediaSplitterEx*>(out);
  host.describeAll(*splitter);
  host.play(*splitter);
  for (FaultPlan* plan : {&faults.host, &faults.memory, &faults.question}) plan->disarm();
  outcome.played = host.playAll(*splitter);
  splitter->release();
}

}  // namespace

Outcome runSession(const boxes::Bytes& file, faulty_host::Seekable seekable, Faults& faults) {
  Outcome outcome;
  FaultyMemory memory(faults.memory);
  faulty_host::Stream stream(file, seekable, faults.host);
  faulty_host::Provider provider(stream, faults.host);
  faulty_host::Context context(provider, faults.host);
  Host host(faults, outcome);
  if (vela::ISplitterModule* const module = VelaEntry()) {
    module->attachHost(&context);
    memory_host::FactorySink sink;
    module->enumerate(&sink);
    if (sink.factory()) useFactory(*sink.factory(), host, faults, outcome);
    module->deletingDestructor(1);
  }
  outcome.foreignPayloads = host.foreignPayloads();
  outcome.referencesLeft = stream.references + provider.references;
  outcome.blocksLeft = memory.blocksHeld();
  return outcome;
}
