// Plays arbitrary bytes as a real host does: opens them through the library's entry, describes
// every item, starts items, seeks, and reads packets in the order that the splitter proposes.
// Invariants: every operation answers with a result code, the references of all objects are
// balanced, a described item is described once, and every value that a sink or a packet is given is
// a valid one.
#include <cstdint>
#include <cstring>

#include "tests/support/memory_host.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using vela::TIOResult;

/// Numbers that depend on the input only, so that a crash replays.
class Choices {
 public:
  Choices(const uint8_t* data, size_t size) : state_(size * 0x9e3779b97f4a7c15u + 1) {
    for (size_t i = 0; i < size; i += 97) state_ = state_ * 31 + data[i];
  }
  uint32_t below(uint32_t limit) {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>(state_ >> 33) % limit;
  }

 private:
  uint64_t state_;
};

void describe(vela::IMediaSplitter& splitter) {
  const uint32_t items = splitter.getItemCount();
  REQUIRE(items >= 1 && items <= 1024);
  for (uint32_t i = 0; i <= items && i < 40; ++i) {
    memory_host::Info info;
    const uint32_t id = i < items ? splitter.getItemId(i) : 0;
    if (splitter.describeItem(id, &info, nullptr) != TIOResult::success) continue;
    REQUIRE(info.described == 1 && info.chaptersLeft == 0);
  }
}

void readOn(vela::IMediaSplitterEx& splitter, int packets) {
  memory_host::AudioPacket audio;
  memory_host::VideoPacket video;
  while (packets-- > 0) {
    uint32_t which = 99;
    if (splitter.nextStream(&which) != TIOResult::success) return;
    REQUIRE(which <= 2);
    if (which == vela::kNextNone) return;
    uint8_t end = 2;
    uint64_t time = 0;
    const TIOResult code = which == vela::kNextAudio
                               ? splitter.readAudioPacket(&audio, &end, nullptr)
                               : splitter.readVideoPacket(&video, &end, &time, nullptr);
    REQUIRE(end <= 1);
    if (code != TIOResult::success || end) return;
  }
}

void play(vela::IMediaSplitterEx& splitter, Choices& choices) {
  memory_host::AudioFormat audioFormat;
  memory_host::VideoFormat videoFormat;
  for (int round = 0; round < 3; ++round) {
    const uint32_t wanted = 1 + choices.below(3);
    const uint32_t item = choices.below(splitter.getItemCount() + 1);
    if (splitter.startItem(item, wanted & 1 ? &audioFormat : nullptr,
                           wanted & 2 ? &videoFormat : nullptr, nullptr) != TIOResult::success) {
      continue;
    }
    readOn(splitter, 60);
    for (int seeks = 0; seeks < 4; ++seeks) {
      const uint64_t offset = uint64_t{choices.below(0x40000000)} << choices.below(8);
      memory_host::VideoPacket keyFrame;
      const TIOResult code =
          choices.below(2) ? splitter.seekTo(vela::toWord64(offset), nullptr)
                           : splitter.seekWithKeyFrame(&keyFrame, vela::toWord64(offset), nullptr);
      if (code == TIOResult::success) readOn(splitter, 30);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choices choices(data, size);
  memory_host::Stream stream(data, size);
  stream.seekable = choices.below(8) != 0;
  memory_host::Provider provider(stream);
  memory_host::Context context(provider);

  vela::ISplitterModule* module = VelaEntry();
  REQUIRE(module);
  module->attachHost(&context);
  memory_host::FactorySink sink;
  REQUIRE(module->enumerate(&sink) == 1);
  auto* factory = sink.factory();

  void* splitter = nullptr;
  if (factory->createSplitterEx(&splitter, u"input", nullptr) == TIOResult::success) {
    REQUIRE(splitter && stream.references == 1);
    auto* player = static_cast<vela::IMediaSplitterEx*>(splitter);
    describe(*player);
    play(*player, choices);
    REQUIRE(player->release() == 0);
  } else {
    REQUIRE(!splitter);
  }
  REQUIRE(stream.references == 0 && provider.references == 0);

  splitter = nullptr;
  if (factory->createSplitter(&splitter, u"input", nullptr) == TIOResult::success) {
    describe(*static_cast<vela::IMediaSplitter*>(splitter));
    REQUIRE(static_cast<vela::IMediaSplitter*>(splitter)->release() == 0);
  }
  REQUIRE(stream.references == 0 && provider.references == 0);
  module->deletingDestructor(1);
  return 0;
}
