// The floor of an open: the calls that were written down, once more, and every table byte copied.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "bench/floor.h"
#include "tests/bench/written_file.h"

namespace {

using bench::HostCall;
using bench::TableCopy;
using Kind = HostCall::Kind;

boxes::Bytes counting(size_t size) {
  boxes::Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
  return bytes;
}

const std::vector<HostCall> kCalls = {{Kind::length, 0, 0},
                                      {Kind::read, 0, bench::kBlockSize},
                                      {Kind::seek, bench::kBlockSize, 0},
                                      {Kind::read, bench::kBlockSize, bench::kBlockSize}};

TEST(OpenFloor, MakesTheSameCallsAgain) {
  const WrittenFile file(counting(2 * bench::kBlockSize));
  bench::FileStream stream(file.name());
  bench::OpenFloor floor(kCalls, {});
  for (const TableCopy copy : {TableCopy::fast, TableCopy::bytewise}) {
    std::vector<HostCall> made;
    stream.seek(0, 0, nullptr);
    stream.record(&made);
    floor.replay(stream, copy);
    stream.record(nullptr);
    EXPECT_EQ(made, kCalls);
  }
}

TEST(OpenFloor, CopiesATableThatLiesInTwoBlocks) {
  const boxes::Bytes bytes = counting(2 * bench::kBlockSize);
  const WrittenFile file(bytes);
  bench::FileStream stream(file.name());
  const bench::Range table = {bench::kBlockSize - 100, 300};
  bench::OpenFloor floor(kCalls, {.sampleTables = {{10, 20}, table}});
  for (const TableCopy copy : {TableCopy::fast, TableCopy::bytewise}) {
    stream.seek(0, 0, nullptr);
    floor.replay(stream, copy);
    boxes::Bytes expected(bytes.begin() + 10, bytes.begin() + 30);
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(table.start);
    expected.insert(expected.end(), start, start + 300);
    EXPECT_EQ(floor.tables(), expected);
  }
}

TEST(OpenFloor, ATableThatNoCallHasReadIsAFault) {
  const std::vector<HostCall> firstBlockOnly(kCalls.begin(), kCalls.begin() + 2);
  const bench::MediaLayout layout = {.sampleTables = {{bench::kBlockSize - 4, 8}}};
  EXPECT_THROW(bench::OpenFloor(firstBlockOnly, layout), std::runtime_error);
}

}  // namespace
