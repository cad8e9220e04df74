// The plug-in built for the device: the same answers wherever it is loaded and however its stacks
// are aligned, an answer when memory runs out, and exceptions in flight on two threads.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <thread>

#include "tests/device/device.h"
#include "tests/device/scenario.h"
#include "tests/support/memory_host.h"

namespace device {
namespace {

Options deviceOptions() { return optionsFromEnvironment(); }

Transcript runWith(const Options& options) {
  Device device(options);
  return runScenario(device, smallFilm());
}

TEST(DeviceImage, PlaysTheSameAtThreeAddressesAndBothStackAlignments) {
  const Transcript expected = runWith(deviceOptions());
  ASSERT_TRUE(expected.complete) << expected.text;
  for (const uint32_t base : {0x10000000u, 0x01D40000u, 0x6FF70000u}) {
    for (const uint32_t alignment : {8u, 4u}) {
      Options options = deviceOptions();
      options.base = base;
      options.stackAlignment = alignment;
      EXPECT_EQ(runWith(options).text, expected.text) << std::hex << base << " " << alignment;
    }
  }
}

// An exception that nobody could allocate would end the process; what is left after the detach ends
// it as well.
TEST(DeviceImage, AnswersWithACodeWhicheverAllocationFails) {
  uint64_t allocations = 0;
  {
    Device device(deviceOptions());
    ASSERT_TRUE(runScenario(device, smallFilm()).complete);
    allocations = device.system().allocations();
  }
  ASSERT_GT(allocations, 50u);
  std::map<uint32_t, uint32_t> codes;
  uint32_t complete = 0;
  for (uint64_t failing = 0; failing < allocations; ++failing) {
    Options options = deviceOptions();
    options.failingAllocation = failing;
    const Transcript run = runWith(options);
    complete += run.complete ? 1 : 0;
    for (const uint32_t code : run.codes) {
      EXPECT_TRUE(code == 5 || code == 6) << "allocation " << failing << ": " << code;
      ++codes[code];
    }
  }
  EXPECT_GT(codes[5], 0u);
  EXPECT_GT(codes[6], 0u);
  EXPECT_LT(complete, allocations);
  std::cout << allocations << " allocations made to fail: " << complete
            << " complete results, code 5 " << codes[5] << " times, code 6 " << codes[6]
            << " times, nothing left\n";
}

// ---- exceptions in flight on two threads

// Where two threads wait for each other, each with an exception in flight; then one of them goes on
// to its end before the other does.
class Meeting {
 public:
  void arrive(int thread) {
    std::unique_lock<std::mutex> lock(mutex_);
    ++arrived_;
    ++switches;
    changed_.notify_all();
    changed_.wait(lock, [&] { return arrived_ == 2; });
    changed_.wait(lock, [&] { return thread == first_ || firstIsDone_; });
  }
  void finish(int thread) {
    const std::lock_guard<std::mutex> lock(mutex_);
    firstIsDone_ |= thread == first_;
    changed_.notify_all();
  }
  void reset(int first) {
    arrived_ = 0;
    first_ = first;
    firstIsDone_ = false;
  }
  uint32_t switches = 0;  // times that a thread gave way with an exception in flight

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int arrived_ = 0;
  int first_ = 0;
  bool firstIsDone_ = false;
};

// A stream whose last reference is given back while the failure of open() unwinds the plug-in.
class MeetingStream final : public memory_host::Counted<vela::HostStream> {
 public:
  MeetingStream(Meeting& meeting, int thread) : meeting_(&meeting), thread_(thread) {}

  uint32_t release() override {
    meeting_->arrive(thread_);
    return Counted::release();
  }
  uint32_t canSeek() override { return 0; }
  vela::TIOResult seek(uint32_t, uint32_t, vela::CancelToken*) override { return kNotAsked; }
  void unusedSlot6() override {}
  vela::TIOResult setLength(uint32_t, uint32_t, vela::CancelToken*) override { return kNotAsked; }
  vela::TIOResult getLength(uint64_t*, vela::CancelToken*) override { return kNotAsked; }
  void unusedSlot9() override {}
  vela::TIOResult getPosition(uint64_t*, vela::CancelToken*) override { return kNotAsked; }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  vela::TIOResult read(void*, uint32_t, uint32_t*, vela::CancelToken*) override {
    return kNotAsked;
  }
  vela::TIOResult skip(uint32_t, uint32_t*, vela::CancelToken*) override { return kNotAsked; }
  vela::TIOResult write(const void*, uint32_t, uint32_t*, vela::CancelToken*) override {
    return kNotAsked;
  }

 private:
  static constexpr auto kNotAsked = vela::TIOResult::failed;
  Meeting* meeting_;
  int thread_;
};

class MeetingProvider final : public memory_host::Counted<vela::SourceProvider> {
 public:
  MeetingProvider(MeetingStream& stream, vela::TIOResult code) : stream_(&stream), code_(code) {}
  void unusedSlot4() override {}
  vela::TIOResult open(const char16_t*, uint32_t, vela::CancelToken*, void** out) override {
    memory_host::store<vela::HostStreamControl>(out, stream_);
    return code_;
  }

 private:
  MeetingStream* stream_;
  vela::TIOResult code_;
};

class MeetingContext final : public vela::HostContext {
 public:
  explicit MeetingContext(MeetingProvider& provider) : provider_(&provider) {}
  uint32_t resolveSource(const char16_t*, void** out) override {
    memory_host::store(out, provider_);
    return 1;
  }

 private:
  MeetingProvider* provider_;
};

constexpr int kRounds = 40;

// Two threads open a source each, fail with a code of their own and meet while the failure unwinds.
// @return whether every code was the right one
bool failOnTwoThreads(Device& device, Meeting& meeting) {
  bool right = true;
  for (int round = 0; round < kRounds; ++round) {
    meeting.reset(round % 2);
    vela::TIOResult results[2] = {};
    const auto open = [&](int thread) {
      const auto code = static_cast<vela::TIOResult>(100 + 2 * round + thread);
      MeetingStream stream(meeting, thread);
      MeetingProvider provider(stream, code);
      MeetingContext context(provider);
      vela::ISplitterModule* const module = device.newModule();
      module->attachHost(&context);
      memory_host::FactorySink sink;
      module->enumerate(&sink);
      void* out = nullptr;
      results[thread] = sink.factory()->createSplitterEx(&out, u"movie.mp4", nullptr);
      meeting.finish(thread);
      module->deletingDestructor(1);
    };
    std::thread other(open, 1);
    open(0);
    other.join();
    for (int thread = 0; thread < 2; ++thread) {
      right &= static_cast<int>(results[thread]) == 100 + 2 * round + thread;
    }
  }
  return right;
}

TEST(DeviceImage, KeepsTheExceptionsOfTwoThreadsApart) {
  Device device(deviceOptions());
  Meeting meeting;
  EXPECT_TRUE(failOnTwoThreads(device, meeting));
  EXPECT_EQ(meeting.switches, 2u * kRounds);
  std::cout << meeting.switches
            << " switches between threads with an exception in flight in both\n";
}

TEST(DeviceImageDeathTest, OneExceptionStateForAllThreadsWouldBeNoticed) {
  const auto runOnce = [] {
    Options options = deviceOptions();
    options.oneStorageForAllThreads = true;
    Device device(options);
    Meeting meeting;
    std::_Exit(failOnTwoThreads(device, meeting) ? 0 : 1);
  };
  EXPECT_EXIT(
      runOnce(), [](int status) { return status != 0; }, "");
}

// More threads than there is room for in the image, each with a first exception of its own.
TEST(DeviceImage, ServesMoreThreadsThanTheImageHasRoomFor) {
  Device device(deviceOptions());
  for (int thread = 0; thread < 40; ++thread) {
    std::thread([&] { EXPECT_FALSE(runScenario(device, boxes::text("no movie")).opened); }).join();
  }
}

}  // namespace
}  // namespace device
