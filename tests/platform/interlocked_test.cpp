#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/platform.h"

TEST(Interlocked, GivesTheNewValue) {
  int32_t value = 0;
  EXPECT_EQ(platform::interlockedIncrement(&value), 1);
  EXPECT_EQ(platform::interlockedIncrement(&value), 2);
  EXPECT_EQ(platform::interlockedDecrement(&value), 1);
  EXPECT_EQ(platform::interlockedDecrement(&value), 0);
  EXPECT_EQ(platform::interlockedDecrement(&value), -1);
  EXPECT_EQ(value, -1);
}

TEST(Interlocked, LosesNoStepBetweenThreads) {
  constexpr int kThreads = 4;
  constexpr int kSteps = 20000;
  int32_t value = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&value] {
      for (int step = 0; step < kSteps; ++step) {
        platform::interlockedIncrement(&value);
        platform::interlockedIncrement(&value);
        platform::interlockedDecrement(&value);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(value, kThreads * kSteps);
}
