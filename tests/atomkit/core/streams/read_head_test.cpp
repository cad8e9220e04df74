// What the streams take from the windows of a source, and what they leave to its operations.
#include "atomkit/core/streams/read_head.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/streams/value_readers.h"
#include "tests/support/boxes.h"
#include "tests/support/lending_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;
using Log = std::vector<std::string>;

Bytes counting(uint32_t count) {
  Bytes bytes;
  for (uint32_t i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(i));
  return bytes;
}

TEST(ReadHead, ValuesComeFromTheWindowAndTheSourceIsToldAtItsEnd) {
  LendingSource source(counting(100), 64);
  {
    HostStreamAdapter file(source, 100, &source);
    AtomReader box(file, 90);
    EXPECT_EQ(readU8(box), 0u) << "there is no window yet";
    EXPECT_EQ(source.take(), (Log{"read 1"}));
    EXPECT_EQ(readU32(box), 0x01020304u);
    EXPECT_EQ(readU16(box), 0x0506u);
    box.skipExact(3);
    EXPECT_EQ(readU8(box), 10u);
    EXPECT_EQ(box.remaining(), 79u);
    EXPECT_EQ(source.take(), Log{});
    EXPECT_EQ(source.position, 1u);
  }
  EXPECT_EQ(source.take(), (Log{"used 10"}));
  EXPECT_EQ(source.position, 11u);
}

TEST(ReadHead, AWindowThatWasOnlySkippedInIsToldApart) {
  LendingSource source(counting(100), 64);
  HostStreamAdapter file(source, 100, &source);
  AtomReader box(file, 100);
  readU8(box);
  source.log.clear();
  box.skipExact(20);
  box.skipExact(10);
  box.skipExact(50);  // past the window
  EXPECT_EQ(source.take(), (Log{"passed 30", "skip 50"}));
  EXPECT_EQ(box.remaining(), 19u);
}

TEST(ReadHead, AWindowOfWhichNothingWasTakenIsNotTold) {
  LendingSource source(counting(100), 64);
  {
    HostStreamAdapter file(source, 100, &source);
    readU8(file);
  }
  EXPECT_EQ(source.take(), (Log{"read 1"}));
}

TEST(ReadHead, LongSkipsAreTheSourcesEvenInAWindow) {
  LendingSource source(counting(250), 512);
  HostStreamAdapter file(source, 250, &source);
  AtomReader box(file, 250);
  readU8(box);
  source.log.clear();
  box.skipExact(LendingSource::kLongestSkip);
  EXPECT_EQ(source.take(), Log{});
  box.skipExact(LendingSource::kLongestSkip + 1);
  EXPECT_EQ(source.take(), (Log{"passed 100", "skip 101"}));
}

TEST(ReadHead, AValueInTwoWindowsIsReadByTheSource) {
  LendingSource source(counting(100), 16);
  HostStreamAdapter file(source, 100, &source);
  AtomReader box(file, 100);
  readU8(box);
  box.skipExact(13);
  source.log.clear();
  EXPECT_EQ(readU32(box), 0x0e0f1011u);
  EXPECT_EQ(source.take(), (Log{"passed 13", "read 4"}));
  EXPECT_EQ(readU8(box), 0x12u) << "from the next window";
  EXPECT_EQ(source.take(), Log{});
}

TEST(ReadHead, ABoxKeepsItsTypeWhenItsLongSizeLiesPastTheWindow) {
  LendingSource source(join(box("free"), largeBoxClaiming(16, "moov")), 16);
  HostStreamAdapter file(source, 24, &source);
  BoxHeader header;
  ASSERT_TRUE(readBoxHeader(file, header));
  source.log.clear();
  ASSERT_TRUE(readBoxHeader(file, header));
  EXPECT_EQ(source.take(), (Log{"poll", "used 8", "read 8"}));
  EXPECT_EQ(header.type, fourCC("moov"));
  EXPECT_EQ(header.headerSize, 16u);
}

TEST(ReadHead, EveryEnclosingBoxCountsWhatTheInnermostTakes) {
  LendingSource source(counting(100), 64);
  HostStreamAdapter file(source, 100, &source);
  AtomReader outer(file, 60);
  readU8(outer);
  AtomReader inner(outer, 20);
  readU32(inner);
  inner.skipExact(5);
  EXPECT_EQ(inner.remaining(), 11u);
  EXPECT_EQ(outer.remaining(), 50u);
  inner.finish();
  EXPECT_EQ(outer.remaining(), 39u);
  EXPECT_EQ(source.take(), (Log{"read 1"}));
}

TEST(ReadHead, TheWindowDoesNotReachPastAnyEnclosingBox) {
  LendingSource source(counting(100), 64);
  HostStreamAdapter file(source, 100, &source);
  AtomReader outer(file, 4);
  readU8(outer);
  AtomReader inner(outer, 50);  // claims more than the outer box has
  EXPECT_EQ(inner.remaining(), 50u);
  EXPECT_THROWS_MESSAGE(readU32(inner), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(inner.skipExact(4), "attempting to skip past end of atom");
  EXPECT_EQ(outer.remaining(), 3u);
  EXPECT_EQ(readU24(inner), 0x010203u);
  EXPECT_THROWS_MESSAGE(readU8(inner), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(inner.finish(), "attempting to skip past end of atom");
}

TEST(ReadHead, ASizeThatClaimsNearly2To64BytesDoesNotWrap) {
  LendingSource source(counting(100), 64);
  HostStreamAdapter file(source, 100, &source);
  readU32(file);
  AtomReader box(file, UINT64_MAX - 2);
  EXPECT_EQ(box.remaining(), UINT64_MAX - 2);
  EXPECT_EQ(readU8(box), 4u);
  EXPECT_EQ(box.remaining(), UINT64_MAX - 3);
}

TEST(ReadHead, TheEndOfTheSourceInAWindowIsPastTheEndOfTheFile) {
  LendingSource source(counting(10), 64);
  HostStreamAdapter file(source, kUnknownLength, &source);
  AtomReader box(file, 50);
  readU8(box);
  box.skipExact(7);
  EXPECT_THROWS_MESSAGE(readU32(box), "attempting to read past end of file");
  EXPECT_EQ(box.remaining(), 42u) << "a value that is not there as a whole is not counted";
}

TEST(ReadHead, EveryHeaderTakenFromAWindowIsPolledForOnce) {
  const Bytes child = box("chil", u32(1), u32(2));
  LendingSource source(join(u8(0), child, child, child), 512);
  HostStreamAdapter file(source, kUnknownLength, &source);
  readU8(file);
  source.log.clear();
  class Reader final : public BoxHandler {
   public:
    void handleBox(AtomReader& reader, FourCC, uint64_t) override { readU32(reader); }
  } handler;
  walkChildren(handler, file, 3 * child.size());
  EXPECT_EQ(source.take(), (Log{"poll", "poll", "poll"}));
}

TEST(ReadHead, TablesAreTakenWindowByWindow) {
  Bytes bytes = u8(0);
  for (uint32_t i = 0; i < 20; ++i) append(bytes, u32(i * 0x01010101));
  for (const uint32_t windowSize : {1u, 3u, 4u, 8u, 30u, 32u, 33u, 4096u}) {
    LendingSource source(bytes, windowSize);
    HostStreamAdapter file(source, bytes.size(), &source);
    AtomReader box(file, bytes.size());
    readU8(box);
    PlainArray<uint32_t> table;
    readU32Table(box, table, 20);
    ASSERT_EQ(table.count(), 20u);
    for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(table[i], i * 0x01010101) << windowSize;
    EXPECT_EQ(box.remaining(), 0u);
  }
}

TEST(ReadHead, ATableOf64BitsIsTakenWindowByWindow) {
  Bytes bytes = u8(0);
  for (uint32_t i = 0; i < 20; ++i) append(bytes, u64(uint64_t{i} << 40 | i));
  for (const uint32_t windowSize : {1u, 8u, 30u, 32u, 33u, 4096u}) {
    LendingSource source(bytes, windowSize);
    HostStreamAdapter file(source, bytes.size(), &source);
    AtomReader box(file, bytes.size());
    readU8(box);
    PlainArray<uint64_t> table;
    readU64Table(box, table, 20);
    ASSERT_EQ(table.count(), 20u);
    for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(table[i], uint64_t{i} << 40 | i) << windowSize;
  }
}

TEST(ReadHead, ATableThatEndsEarlyIsFetchedForOnceAndIsPastTheEndOfTheFile) {
  LendingSource source(counting(32), 16);
  HostStreamAdapter file(source, kUnknownLength, &source);
  AtomReader box(file, 400);
  PlainArray<uint32_t> table;
  EXPECT_THROWS_MESSAGE(readU32Table(box, table, 100), "attempting to read past end of file");
  EXPECT_EQ(source.take(), (Log{"fetch", "used 16", "fetch", "used 16", "fetch"}));
  EXPECT_EQ(table.count(), 0u);
}

TEST(ReadHead, ACountOfZeroTakesNothing) {
  LendingSource source(counting(32), 16);
  HostStreamAdapter file(source, kUnknownLength, &source);
  AtomReader box(file, 32);
  readU8(box);
  source.log.clear();
  uint8_t none;
  box.readExact(&none, 0);
  box.skipExact(0);
  EXPECT_EQ(source.take(), Log{});
  EXPECT_EQ(box.remaining(), 31u);
}

}  // namespace
}  // namespace atomkit
