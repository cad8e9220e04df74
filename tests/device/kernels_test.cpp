// The table copies of the device, which has a loop of its own for them, against this machine's.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "atomkit/core/streams/word_order.h"
#include "tests/device/device.h"
#include "tests/support/boxes.h"
#include "tests/support/seeded_random.h"

namespace device {
namespace {

using boxes::Bytes;

constexpr uint32_t kMostWords = 70;  // several turns of the loop, and every rest
constexpr uint8_t kUntouched = 0x5a;

// What a copy left in its target, and its sum where it gives one.
struct Copied {
  Bytes target;
  uint64_t sum = 0;

  bool operator==(const Copied&) const = default;
};

class DeviceKernels : public testing::Test {
 protected:
  static Options options() {
    Options options;
    options.dll = VELA_KERNELS_DLL;
    return options;
  }

  /// Bytes of words with their top bits set as often as not, so that sums pass 32 bits.
  Bytes words(uint32_t bytes) {
    Bytes all;
    while (all.size() < bytes) all.push_back(static_cast<uint8_t>(random_.word()));
    return all;
  }

  /// Copies on the device.
  /// @param offset  of the source past a multiple of 8
  Copied onDevice(const std::string& function, const Bytes& source, uint32_t offset,
                  uint32_t count) {
    GuestHeap& heap = device_.machine().heap();
    const auto size = static_cast<uint32_t>(source.size());
    const uint32_t from = heap.allocate(size, offset);
    const uint32_t to = heap.allocate(size + 1);
    std::memcpy(bytes(from, size), source.data(), size);
    std::memset(bytes(to, size + 1), kUntouched, size + 1);
    const uint64_t result = device_.call(function, {to, from, count});
    Copied copied = {Bytes(bytes(to, size + 1), bytes(to, size + 1) + size + 1), result};
    heap.release(from);
    heap.release(to);
    return copied;
  }

  /// Copies words to where they lie.
  Copied inPlaceOnDevice(const std::string& function, const Bytes& source, uint32_t count) {
    GuestHeap& heap = device_.machine().heap();
    const auto size = static_cast<uint32_t>(source.size());
    const uint32_t place = heap.allocate(size);
    std::memcpy(bytes(place, size), source.data(), size);
    const uint64_t result = device_.call(function, {place, place, count});
    Copied copied = {Bytes(bytes(place, size), bytes(place, size) + size), result};
    heap.release(place);
    return copied;
  }

  uint8_t* bytes(uint32_t address, uint32_t count) {
    return device_.machine().bytes(address, count, "the test");
  }

 private:
  Device device_{options()};
  SeededRandom random_{11};
};

template <class Word>
Copied natively(uint64_t (*copy)(Word*, const uint8_t*, uint32_t), const Bytes& source,
                uint32_t count) {
  std::vector<Word> words(source.size() / sizeof(Word));
  const uint64_t sum = copy(words.data(), source.data(), count);
  Bytes target(source.size());
  if (!target.empty()) std::memcpy(target.data(), words.data(), target.size());
  target.push_back(kUntouched);
  return {target, sum};
}

TEST_F(DeviceKernels, CopyAndAddAsThisMachineDoesForEveryCountAndAlignment) {
  for (uint32_t count = 0; count <= kMostWords; ++count) {
    const Bytes source = words(count * 4);
    const Copied expected = natively<uint32_t>(atomkit::copyAddingWords, source, count);
    for (uint32_t offset = 0; offset < 8; ++offset) {
      EXPECT_EQ(onDevice("CopyAddingWords", source, offset, count), expected)
          << count << " at " << offset;
      EXPECT_EQ(onDevice("CopyWords", source, offset, count).target, expected.target)
          << count << " at " << offset;
    }
  }
}

TEST_F(DeviceKernels, CopyWordsToWhereTheyLie) {
  for (uint32_t count = 1; count <= kMostWords; ++count) {
    const Bytes source = words(count * 4);
    Copied expected = natively<uint32_t>(atomkit::copyAddingWords, source, count);
    expected.target.pop_back();
    EXPECT_EQ(inPlaceOnDevice("CopyAddingWords", source, count), expected) << count;
  }
}

TEST_F(DeviceKernels, CopyLongWordsAsThisMachineDoes) {
  const auto copy = [](uint64_t* to, const uint8_t* from, uint32_t count) {
    atomkit::copyLongWords(to, from, count);
    return uint64_t{0};
  };
  for (uint32_t count = 0; count <= 9; ++count) {
    const Bytes source = words(count * 8);
    const Bytes expected = natively<uint64_t>(copy, source, count).target;
    for (uint32_t offset = 0; offset < 8; ++offset) {
      EXPECT_EQ(onDevice("CopyLongWords", source, offset, count).target, expected)
          << count << " at " << offset;
    }
  }
}

}  // namespace
}  // namespace device
