#include "bench/hostile/player.h"

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "frontend/vela_splitter.h"
#include "tests/support/memory_host.h"
#include "tests/support/memory_meter.h"
#include "tests/support/require.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

double now() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Operation>
double secondsOf(Operation operation) {
  const double start = now();
  operation();
  return now() - start;
}

/// The plug-in over a file in memory.
class Session {
 public:
  explicit Session(const boxes::Bytes& file)
      : stream_(file.data(), file.size()), provider_(stream_), context_(provider_) {
    module_->attachHost(&context_);
    module_->enumerate(&sink_);
    info_.measuresTexts = false;
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    close();
    module_->deletingDestructor(1);
  }

  bool open() {
    void* out = nullptr;
    if (sink_.factory()->createSplitterEx(&out, u"file", nullptr) != vela::TIOResult::success) {
      return false;
    }
    splitter_ = static_cast<vela::IMediaSplitterEx*>(out);
    return true;
  }
  void close() {
    if (splitter_) splitter_->release();
    splitter_ = nullptr;
  }

  uint32_t items() { return splitter_->getItemCount(); }
  void describe(uint32_t item) {
    info_.chaptersLeft = 0;
    splitter_->describeItem(item, &info_, nullptr);
  }
  uint64_t duration() { return info_.duration; }
  bool start() {
    return splitter_->startItem(0, &audioFormat_, &videoFormat_, nullptr) ==
           vela::TIOResult::success;
  }
  void seek(uint64_t target) {
    const vela::Word64 words = vela::toWord64(target);
    splitter_->seekTo(words, nullptr);
  }
  uint32_t next() {
    uint32_t which = vela::kNextNone;
    splitter_->nextStream(&which);
    return which;
  }
  void read(uint32_t which) {
    uint8_t end = 0;
    uint64_t time = 0;
    if (which == vela::kNextAudio) splitter_->readAudioPacket(&audio_, &end, nullptr);
    if (which == vela::kNextVideo) splitter_->readVideoPacket(&video_, &end, &time, nullptr);
  }

 private:
  memory_host::Stream stream_;
  memory_host::Provider provider_;
  memory_host::Context context_;
  memory_host::FactorySink sink_;
  vela::ISplitterModule* module_ = VelaEntry();
  vela::IMediaSplitterEx* splitter_ = nullptr;
  memory_host::Info info_;
  memory_host::AudioFormat audioFormat_;
  memory_host::VideoFormat videoFormat_;
  memory_host::AudioPacket audio_;
  memory_host::VideoPacket video_;
};

/// The items that are described: the file, and up to three of its chapters.
std::vector<uint32_t> someItems(uint32_t count) {
  std::vector<uint32_t> items = {0};
  for (const uint32_t item : {uint32_t{1}, count / 2, count}) {
    if (item > items.back()) items.push_back(item);
  }
  return items;
}

constexpr uint64_t kSeeks = 17;
constexpr int kPacketsAfterASeek = 6;

/// One run of everything that a host does, each operation timed by itself.
class Run {
 public:
  explicit Run(const boxes::Bytes& file) : session_(file) {
    cost_.open = secondsOf([&] { cost_.opened = session_.open(); });
    if (!cost_.opened) return;
    for (const uint32_t item : someItems(session_.items())) {
      keepLongest(cost_.describe, [&] { session_.describe(item); });
    }
    session_.describe(0);
    if (!session_.start()) return;
    for (uint64_t i = 0; i < kSeeks; ++i) play(session_.duration() / kSeeks * (i * 7 % kSeeks));
  }

  const Cost& cost() const { return cost_; }

 private:
  template <class Operation>
  static void keepLongest(double& longest, Operation operation) {
    longest = std::max(longest, secondsOf(operation));
  }

  void play(uint64_t target) {
    keepLongest(cost_.seek, [&] { session_.seek(target); });
    for (int i = 0; i < kPacketsAfterASeek; ++i) {
      uint32_t which = vela::kNextNone;
      keepLongest(cost_.next, [&] { which = session_.next(); });
      keepLongest(cost_.read, [&] { session_.read(which); });
    }
  }

  Session session_;
  Cost cost_;
};

// ---- stack: a thread whose stack is filled with a pattern beforehand

constexpr size_t kStackBytes = size_t{1} << 20;
constexpr uint8_t kPattern = 0xA5;

/// Most bytes of stack that `operation` takes below the frame that calls it.
template <class Operation>
uint64_t stackOf(Operation operation) {
  struct Task {
    Operation* operation;
    const uint8_t* top;
    const uint8_t* stack;
    uint64_t used;
  };
  std::vector<uint8_t> stack(kStackBytes + 4096, kPattern);
  void* aligned = stack.data();
  size_t room = stack.size();
  REQUIRE(std::align(4096, kStackBytes, aligned, room));
  Task task{&operation, nullptr, static_cast<const uint8_t*>(aligned), 0};
  const auto body = [](void* argument) -> void* {
    auto* const work = static_cast<Task*>(argument);
    const volatile uint8_t here = 0;
    work->top = const_cast<const uint8_t*>(&here);
    (*work->operation)();
    const uint8_t* lowest = work->stack;
    while (*lowest == kPattern) ++lowest;
    work->used = static_cast<uint64_t>(work->top - lowest);
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  REQUIRE(pthread_attr_setstack(&attributes, aligned, kStackBytes) == 0);
  pthread_t thread{};
  REQUIRE(pthread_create(&thread, &attributes, body, &task) == 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  return task.used;
}

}  // namespace

Cost costOf(const boxes::Bytes& file) {
  Cost cost = Run(file).cost();
  MemoryMeter memory;
  std::optional<Run> run;
  cost.stack = stackOf([&] { run.emplace(file); });
  run.reset();
  cost.memory = memory.mostBytesHeld();
  cost.memoryLeft = memory.bytesHeld();
  return cost;
}

void timeAgain(const boxes::Bytes& file, Cost& cost) {
  const Cost again = Run(file).cost();
  for (double Cost::*time : {&Cost::open, &Cost::describe, &Cost::seek, &Cost::next, &Cost::read}) {
    cost.*time = std::min(cost.*time, again.*time);
  }
}
