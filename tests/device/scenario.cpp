#include "tests/device/scenario.h"

#include "tests/support/fake_packets.h"
#include "tests/support/fake_sinks.h"
#include "tests/support/fake_stream.h"
#include "tests/support/movie_builder.h"

namespace device {
namespace {

using vela::TIOResult;

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

// One run: the host's objects, and what they were told.
class Scenario {
 public:
  explicit Scenario(const boxes::Bytes& file) : stream_(file) {
    for (CallLog* log : std::initializer_list<CallLog*>{&stream_, &provider_, &context_, &info_,
                                                        &audioFormat_, &videoFormat_}) {
      log->alsoTo = &log_;
    }
  }

  Transcript run(Device& device) {
    vela::ISplitterModule* const module = device.newModule();
    if (!module) {
      note("no module", TIOResult::outOfMemory);
      return finish();
    }
    module->attachHost(&context_);
    FakeModuleSink sink;
    module->enumerate(&sink);
    void* out = nullptr;
    if (sink.descriptor && sink.descriptor->getInterface(&out)) {
      auto* const factory = static_cast<vela::ISplitterFactory*>(out);
      describe(*factory);
      play(*factory);
      factory->release();
    } else {
      note("no factory", TIOResult::outOfMemory);
    }
    module->deletingDestructor(1);
    EXPECT_EQ(stream_.references.count(), 0u) << "references to the host's stream";
    EXPECT_EQ(provider_.references.count(), 0u) << "references to the provider";
    return finish();
  }

 private:
  void note(const std::string& operation, TIOResult code) {
    log_.record(operation + " -> " + std::to_string(static_cast<uint32_t>(code)));
    if (code != TIOResult::success) result_.codes.push_back(static_cast<uint32_t>(code));
  }

  void describe(vela::ISplitterFactory& factory) {
    void* out = nullptr;
    note("createSplitter", factory.createSplitter(&out, u"movie.mp4", &token_));
    if (!out) return;
    auto* const splitter = static_cast<vela::IMediaSplitter*>(out);
    note("describeItem", splitter->describeItem(0, &info_, &token_));
    splitter->release();
  }

  void play(vela::ISplitterFactory& factory) {
    void* out = nullptr;
    note("createSplitterEx", factory.createSplitterEx(&out, u"movie.mp4", &token_));
    if (!out) return;
    result_.opened = true;
    auto* const splitter = static_cast<vela::IMediaSplitterEx*>(out);
    note("describeItem", splitter->describeItem(0, &info_, &token_));
    note("startItem", splitter->startItem(0, &audioFormat_, &videoFormat_, &token_));
    for (int packet = 0; packet < 8; ++packet) readNext(*splitter);
    note("seekTo", splitter->seekTo(vela::toWord64(kSecond / 2), &token_));
    for (int packet = 0; packet < 4; ++packet) readNext(*splitter);
    FakeVideoPacket keyFrame;
    note("seekWithKeyFrame",
         splitter->seekWithKeyFrame(&keyFrame, vela::toWord64(kSecond / 4), &token_));
    splitter->release();
  }

  void readNext(vela::IMediaSplitterEx& splitter) {
    uint32_t which = 99;
    note("nextStream", splitter.nextStream(&which));
    uint8_t end = 0;
    if (which == vela::kNextAudio) {
      FakeAudioPacket packet;
      packet.alsoTo = &log_;
      note("readAudioPacket", splitter.readAudioPacket(&packet, &end, &token_));
      noteBytes(packet.payload.bytes);
    } else if (which == vela::kNextVideo) {
      FakeVideoPacket packet;
      packet.alsoTo = &log_;
      uint64_t time = 0;
      note("readVideoPacket", splitter.readVideoPacket(&packet, &end, &time, &token_));
      log_.record("time " + std::to_string(time));
      noteBytes(packet.payload.bytes);
    }
    log_.record("end " + std::to_string(end));
  }

  void noteBytes(const boxes::Bytes& bytes) {
    uint32_t sum = 0;
    for (const uint8_t byte : bytes) sum = sum * 31 + byte;
    log_.record(std::to_string(bytes.size()) + " bytes, sum " + std::to_string(sum));
  }

  Transcript finish() {
    for (const std::string& call : log_.calls) result_.text += call + '\n';
    result_.complete = result_.codes.empty();
    return std::move(result_);
  }

  FakeHostStream stream_;
  FakeSourceProvider provider_{stream_};
  FakeHostContext context_{provider_};
  FakeCancelToken token_;
  FakeMediaInfo info_;
  FakeAudioFormat audioFormat_;
  FakeVideoFormat videoFormat_;
  CallLog log_;
  Transcript result_;
};

}  // namespace

Transcript runScenario(Device& device, const boxes::Bytes& file) {
  return Scenario(file).run(device);
}

boxes::Bytes smallFilm() {
  using namespace boxes;
  return movieFile({.tracks = {aacTrack({.samples = 47}),
                               avcTrack({.samples = 25, .width = 64, .height = 48})},
                    .udta = chpl({{0, "One"}, {5'000'000, "Two"}})})
      .bytes;
}

}  // namespace device
