// Several splitters of one factory, each on a thread of its own.
#include <gtest/gtest.h>

#include <barrier>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "frontend/vela_splitter.h"
#include "tests/support/memory_host.h"
#include "tests/support/movie_builder.h"
#include "tests/support/rich_files.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using namespace boxes;
using vela::TIOResult;

constexpr uint32_t kThreads = 4;
constexpr uint32_t kRounds = 60;

/// Resolves the names "0", "1" and so on, each to the source of one thread, so that the threads
/// share the context and nothing else of the host.
class SharedContext final : public vela::HostContext {
 public:
  explicit SharedContext(std::vector<memory_host::Provider>& providers) : providers_(providers) {}
  uint32_t resolveSource(const char16_t* name, void** out) override {
    memory_host::store(out, &providers_[static_cast<uint32_t>(name[0] - u'0')]);
    return 1;
  }

 private:
  std::vector<memory_host::Provider>& providers_;
};

/// What one thread heard and saw in one round.
struct Account {
  uint32_t items = 0;
  uint32_t audioPackets = 0;
  uint32_t videoPackets = 0;
  uint64_t frames = 0;
  uint32_t failures = 0;

  bool operator==(const Account&) const = default;
};

Account playRound(vela::ISplitterFactory& factory, uint32_t source) {
  const char16_t name[] = {static_cast<char16_t>(u'0' + source), 0};
  Account account;
  const auto note = [&](TIOResult code) { account.failures += code == TIOResult::success ? 0 : 1; };
  memory_host::Info info;
  void* out = nullptr;
  note(factory.createSplitter(&out, name, nullptr));
  auto* const described = static_cast<vela::IMediaSplitter*>(out);
  account.items = described->getItemCount();
  for (uint32_t i = 0; i < account.items; ++i) {
    note(described->describeItem(described->getItemId(i), &info, nullptr));
  }
  described->release();

  out = nullptr;
  note(factory.createSplitterEx(&out, name, nullptr));
  auto* const splitter = static_cast<vela::IMediaSplitterEx*>(out);
  memory_host::AudioFormat audioFormat;
  memory_host::VideoFormat videoFormat;
  memory_host::AudioPacket audio;
  memory_host::VideoPacket video;
  note(splitter->startItem(0, &audioFormat, &videoFormat, nullptr));
  note(splitter->seekTo(vela::toWord64(0), nullptr));
  for (bool left = true; left;) {
    uint32_t which = vela::kNextNone;
    uint8_t end = 0;
    uint64_t time = 0;
    note(splitter->nextStream(&which));
    if (which == vela::kNextAudio) {
      note(splitter->readAudioPacket(&audio, &end, nullptr));
      account.audioPackets += end ? 0 : 1;
      account.frames += end ? 0 : audio.frames;
    } else if (which == vela::kNextVideo) {
      note(splitter->readVideoPacket(&video, &end, &time, nullptr));
      account.videoPackets += end ? 0 : 1;
    }
    left = which != vela::kNextNone && !end;
  }
  splitter->release();
  return account;
}

TEST(FactoryThreads, SplittersOfOneFactoryShareNothing) {
  const Bytes film = movieFile({.tracks = {aacTrack({.samples = 40}), avcTrack({.samples = 30})},
                                .udta = join(richTaggingBox(), richItemList())})
                         .bytes;
  const Bytes book = movieFile({.tracks = {aacTrack({.samples = 50})},
                                .udta = join(richItemList(), chpl({{0, "One"}, {5, "Two"}}))})
                         .bytes;
  std::vector<memory_host::Stream> streams;
  std::vector<memory_host::Provider> providers;
  streams.reserve(kThreads);
  providers.reserve(kThreads);
  for (uint32_t i = 0; i < kThreads; ++i) {
    const Bytes& file = i % 2 ? book : film;
    providers.emplace_back(streams.emplace_back(file.data(), file.size()));
  }
  SharedContext context(providers);
  vela::ISplitterModule* const module = VelaEntry();
  module->attachHost(&context);
  memory_host::FactorySink sink;
  module->enumerate(&sink);

  const Account alone[] = {playRound(*sink.factory(), 0), playRound(*sink.factory(), 1)};
  EXPECT_EQ(alone[0].failures + alone[1].failures, 0u);
  EXPECT_GT(alone[0].videoPackets, 0u);
  EXPECT_GT(alone[1].frames, 0u);

  std::vector<uint32_t> differing(kThreads, 0);
  std::barrier together(kThreads);
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (uint32_t round = 0; round < kRounds; ++round) {
        together.arrive_and_wait();
        if (playRound(*sink.factory(), i) != alone[i % 2]) ++differing[i];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(differing, std::vector<uint32_t>(kThreads, 0));
  for (uint32_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(streams[i].references, 0u);
    EXPECT_EQ(providers[i].references, 0u);
  }
  module->deletingDestructor(1);
}

}  // namespace
