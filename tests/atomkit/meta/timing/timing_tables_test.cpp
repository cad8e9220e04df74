#include "atomkit/meta/timing/timing_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "atomkit/meta/timing/track_record.h"
#include "tests/atomkit/box_reading.h"
#include "tests/atomkit/meta/timing/track_fixture.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/seeded_random.h"
#include "tests/support/throws_message.h"

using namespace atomkit;
using namespace boxes;
using testing::AnyOf;

namespace {

// The sample that plain counting finds for each tick, and its remainder.
std::vector<SampleAtTime> expandedTicks(const std::vector<TimeEntry>& entries) {
  std::vector<SampleAtTime> ticks;
  uint32_t sample = 0;
  for (const auto& [count, delta] : entries) {
    for (uint32_t i = 0; i < count; ++i, ++sample) {
      for (uint64_t tick = 0; tick < delta; ++tick) ticks.push_back({sample, tick});
    }
  }
  return ticks;
}

void expectSampleAt(const TimingTables& timing, uint64_t time, uint32_t sample,
                    uint64_t remainder) {
  const SampleAtTime found = timing.sampleAt(time);
  EXPECT_EQ(found.sample, sample) << time;
  EXPECT_EQ(found.remainder, remainder) << time;
}

// What a search from end to end finds for the one-based number of `sample` among the zero-based
// entries.
uint32_t plainNearest(const std::vector<uint32_t>& zeroBased, uint32_t sample,
                      Direction direction) {
  const uint32_t key = sample + 1;
  if (direction == Direction::forward) {
    for (const uint32_t entry : zeroBased) {
      if (entry >= key) return entry;
    }
    return zeroBased.back();
  }
  uint32_t best = zeroBased.front();
  for (const uint32_t entry : zeroBased) {
    if (entry <= key) best = entry;
  }
  return best;
}

struct TableCase {
  const char* type;
  uint32_t entryBytes;
  void (TimingTables::*read)(AtomReader& reader);
};

constexpr TableCase kAllTables[] = {{"stts", 8, &TimingTables::readTimeToSample},
                                    {"ctts", 8, &TimingTables::readCompositionOffsets},
                                    {"stss", 4, &TimingTables::readSyncSamples}};

// Words that every table accepts as its entries: 1, 2, 3, ….
Bytes risingEntries(const TableCase& table, uint32_t count) {
  Bytes entries;
  for (uint32_t word = 1; word <= count * table.entryBytes / 4; ++word) {
    append(entries, u32(word));
  }
  return entries;
}

std::string_view tableMessage(const TableCase& table, const Bytes& bytes) {
  return messageOf([&] {
    TimingTables timing;
    readBox(bytes, [&](AtomReader& reader, uint64_t) { (timing.*table.read)(reader); });
  });
}

}  // namespace

// ---- time to sample

TEST(TimeToSample, TwoRunsCountFiveSamplesAndEndAtTick4000) {
  TimingTables timing;
  readStts(timing, stts({{3, 1000}, {2, 500}}));
  EXPECT_EQ(timing.sampleCount(), 5u);
  expectSampleAt(timing, 0, 0, 0);
  expectSampleAt(timing, 999, 0, 999);
  expectSampleAt(timing, 1000, 1, 0);
  expectSampleAt(timing, 2999, 2, 999);
  expectSampleAt(timing, 3000, 3, 0);
  expectSampleAt(timing, 3999, 4, 499);
  EXPECT_THROWS_MESSAGE(timing.sampleAt(4000), "frame out of range");
  EXPECT_THROWS_MESSAGE(timing.sampleAt(UINT64_MAX), "frame out of range");
}

TEST(TimeToSample, EmptyTableHoldsNoTime) {
  TimingTables timing;
  EXPECT_EQ(timing.sampleCount(), 0u);
  EXPECT_THROWS_MESSAGE(timing.sampleAt(0), "frame out of range");
  readStts(timing, stts({}));
  EXPECT_THROWS_MESSAGE(timing.sampleAt(0), "frame out of range");
}

TEST(TimeToSample, RunsWithoutTimeNeverHoldATick) {
  TimingTables timing;
  readStts(timing, stts({{4, 0}, {0, 100}, {1, 10}, {2, 0}}));
  EXPECT_EQ(timing.sampleCount(), 7u);
  expectSampleAt(timing, 0, 4, 0);
  expectSampleAt(timing, 9, 4, 9);
  EXPECT_THROWS_MESSAGE(timing.sampleAt(10), "frame out of range");
}

TEST(TimeToSample, TimesAreReckonedIn64Bits) {
  TimingTables timing;
  readStts(timing, stts({{0xffffffff, 0xffffffff}, {2, 0xffffffff}}));
  const uint64_t firstRun = uint64_t{0xffffffff} * 0xffffffff;
  expectSampleAt(timing, firstRun - 1, 0xfffffffe, 0xfffffffe);
  expectSampleAt(timing, uint64_t{0xffffffff} * 5 + 7, 5, 7);
  expectSampleAt(timing, firstRun, 0xffffffff, 0);
  // The sample number is kept in 32 bits.
  expectSampleAt(timing, firstRun + 0xffffffff, 0, 0);
}

TEST(TimeToSample, TotalTimeThatWrapsEndsTheTableQuietly) {
  TimingTables timing;
  readStts(timing, stts({{0xffffffff, 0xffffffff}, {0xffffffff, 0xffffffff}}));
  expectSampleAt(timing, 3, 0, 3);
  EXPECT_THROWS_MESSAGE(timing.sampleAt(UINT64_MAX), "frame out of range");
}

TEST(TimeToSample, TotalsWrapAmongRunsOfOneSampleToo) {
  // A run that takes the totals near their end, then more single samples than an index takes at
  // once.
  std::vector<TimeEntry> entries = {{0xffffff00, 1}};
  entries.resize(kBlockEntries, {0, 0});
  entries.resize(kBlockEntries * 7, {1, 10});
  const uint32_t last = 6 * kBlockEntries - 0x100 - 1;
  TimingTables samples;
  readStts(samples, stts(entries));
  EXPECT_EQ(samples.sampleCount(), last + 1);
  expectSampleAt(samples, 0xffffff00, 0xffffff00, 0);
  expectSampleAt(samples, 0xffffff00 + uint64_t{10} * 0xff + 9, 0xffffffff, 9);
  expectSampleAt(samples, 0xffffff00 + uint64_t{10} * 0x100, 0, 0);
  expectSampleAt(samples, 0xffffff00 + uint64_t{10} * 0x100 + 10 * last, last, 0);

  entries = {{0xffffffff, 0xffffffff}, {1, 1}};
  entries.resize(kBlockEntries, {0, 0});
  entries.resize(kBlockEntries * 2, {1, 0xffffffff});
  TimingTables times;
  readStts(times, stts(entries));
  const uint64_t firstRun = uint64_t{0xffffffff} * 0xffffffff;
  expectSampleAt(times, firstRun - 1, 0xfffffffe, 0xfffffffe);
  expectSampleAt(times, firstRun, 0xffffffff, 0);
  expectSampleAt(times, firstRun + 1, 0, 0);
  expectSampleAt(times, firstRun + 0xffffffff, 0, 0xfffffffe);
  // The second sample of this length ends after the last time, and so before it begins.
  EXPECT_THROWS_MESSAGE(times.sampleAt(UINT64_MAX), "frame out of range");
}

TEST(TimeToSample, EveryTickAgreesWithThePlainlyExpandedTable) {
  SeededRandom random(1);
  for (int round = 0; round < 200; ++round) {
    const std::vector<TimeEntry> entries = randomTimeEntries(random);
    TimingTables timing;
    readStts(timing, stts(entries));
    const std::vector<SampleAtTime> ticks = expandedTicks(entries);
    for (uint64_t time = 0; time < ticks.size(); ++time) {
      const SampleAtTime found = timing.sampleAt(time);
      ASSERT_EQ(found.sample, ticks[time].sample) << "round " << round << " tick " << time;
      ASSERT_EQ(found.remainder, ticks[time].remainder) << "round " << round << " tick " << time;
    }
    EXPECT_THROWS_MESSAGE(timing.sampleAt(ticks.size()), "frame out of range");
  }
}

TEST(TimeToSample, SecondBoxIsADuplicate) {
  TimingTables timing;
  readStts(timing, stts({{3, 1000}}));
  EXPECT_THROWS_MESSAGE(readStts(timing, stts({{1, 1}})), "duplicate stts data");
  EXPECT_EQ(timing.sampleCount(), 3u);
}

TEST(TimeToSample, DuplicateIsReportedBeforeAnythingIsRead) {
  TimingTables timing;
  readStts(timing, stts({{3, 1000}}));
  EXPECT_THROWS_MESSAGE(readStts(timing, box("stts")), "duplicate stts data");
}

// ---- composition offsets

TEST(CompositionOffsets, WithoutATableEveryOffsetIsZero) {
  TimingTables timing;
  EXPECT_EQ(timing.compositionOffset(0), 0);
  readCtts(timing, ctts({}));
  EXPECT_EQ(timing.compositionOffset(0), 0);
  EXPECT_EQ(timing.compositionRunCount(), 0u);
}

TEST(CompositionOffsets, OffsetsAreSignedInBothVersions) {
  for (const uint8_t version : raw({0, 1})) {
    TimingTables timing;
    readCtts(timing, box("ctts", full(version), u32(1), u32(2), i32(-40)));
    EXPECT_EQ(timing.compositionOffset(1), -40);
    EXPECT_EQ(timing.compositionRunLength(0), 2u);
    EXPECT_EQ(timing.compositionRunOffset(0), -40);
  }
}

TEST(CompositionOffsets, EverySampleAgreesWithThePlainlyExpandedTable) {
  SeededRandom random(2);
  for (int round = 0; round < 200; ++round) {
    const std::vector<OffsetEntry> entries = randomOffsetEntries(random);
    TimingTables timing;
    readCtts(timing, ctts(entries));
    const std::vector<int32_t> offsets = expandedOffsets(entries);
    for (uint32_t sample = 0; sample < offsets.size(); ++sample) {
      ASSERT_EQ(timing.compositionOffset(sample), offsets[sample]) << "round " << round;
    }
    EXPECT_EQ(timing.compositionOffset(static_cast<uint32_t>(offsets.size())), 0);
    EXPECT_EQ(timing.compositionOffset(0xffffffff), 0);
  }
}

TEST(CompositionOffsets, SecondBoxIsADuplicate) {
  TimingTables timing;
  readCtts(timing, ctts({{1, 5}}));
  EXPECT_THROWS_MESSAGE(readCtts(timing, ctts({{1, 6}})), "duplicate ctts data");
  EXPECT_THROWS_MESSAGE(readCtts(timing, box("ctts")), "duplicate ctts data");
  EXPECT_EQ(timing.compositionOffset(0), 5);
}

TEST(CompositionOffsets, RunBeyondTheTableIsOutOfRange) {
  TimingTables timing;
  readCtts(timing, ctts({{1, 5}}));
  for (const uint32_t run : {1u, 0x80000000u, 0xffffffffu}) {
    EXPECT_THROWS_MESSAGE(timing.compositionRunLength(run), "array access out of range");
    EXPECT_THROWS_MESSAGE(timing.compositionRunOffset(run), "array access out of range");
  }
}

TEST(TimeToSample, RunBeyondTheTableIsOutOfRange) {
  TimingTables timing;
  EXPECT_THROWS_MESSAGE(timing.timeRun(0), "array access out of range");
  readStts(timing, stts({{1, 5}}));
  for (const uint32_t run : {1u, 0x80000000u, 0xffffffffu}) {
    EXPECT_THROWS_MESSAGE(timing.timeRun(run), "array access out of range");
  }
}

// ---- sync samples

TEST(SyncSamples, WithoutATableEverySampleIsItsOwnAnswer) {
  TimingTables timing;
  for (const uint32_t sample : {0u, 7u, 0xffffffffu}) {
    EXPECT_EQ(timing.nearestSyncSample(sample, Direction::forward), sample);
    EXPECT_EQ(timing.nearestSyncSample(sample, Direction::backward), sample);
  }
  readStss(timing, stss({}));
  EXPECT_EQ(timing.nearestSyncSample(3, Direction::backward), 3u);
}

TEST(SyncSamples, Entries1And5And9AnswerForTheFollowingSample) {
  TimingTables timing;
  readStss(timing, stss({1, 5, 9}));
  const struct {
    uint32_t sample, forward, backward;
  } cases[] = {{0, 4, 0}, {1, 4, 0}, {2, 4, 0}, {3, 4, 4}, {4, 8, 4},
               {5, 8, 4}, {6, 8, 4}, {7, 8, 8}, {8, 8, 8}, {20, 8, 8}};
  for (const auto& c : cases) {
    EXPECT_EQ(timing.nearestSyncSample(c.sample, Direction::forward), c.forward) << c.sample;
    EXPECT_EQ(timing.nearestSyncSample(c.sample, Direction::backward), c.backward) << c.sample;
  }
}

TEST(SyncSamples, OneEntryAnswersForEverySample) {
  TimingTables timing;
  readStss(timing, stss({4}));
  for (uint32_t sample = 0; sample < 10; ++sample) {
    EXPECT_EQ(timing.nearestSyncSample(sample, Direction::forward), 3u);
    EXPECT_EQ(timing.nearestSyncSample(sample, Direction::backward), 3u);
  }
}

TEST(SyncSamples, NumberPastTheLargestSampleWrapsToTheFirstEntry) {
  TimingTables timing;
  readStss(timing, stss({3, 9}));
  EXPECT_EQ(timing.nearestSyncSample(0xffffffff, Direction::forward), 2u);
  EXPECT_EQ(timing.nearestSyncSample(0xffffffff, Direction::backward), 2u);
  EXPECT_EQ(timing.nearestSyncSample(0xfffffffe, Direction::backward), 8u);
}

TEST(SyncSamples, EverySampleAgreesWithAPlainSearch) {
  SeededRandom random(3);
  for (int round = 0; round < 300; ++round) {
    std::vector<uint32_t> oneBased;
    std::vector<uint32_t> zeroBased;
    uint32_t number = 0;
    for (uint32_t i = 1 + random.below(20); i > 0; --i) {
      number += 1 + random.below(6);
      oneBased.push_back(number);
      zeroBased.push_back(number - 1);
    }
    TimingTables timing;
    readStss(timing, stss(oneBased));
    for (uint32_t sample = 0; sample < number + 5; ++sample) {
      for (const Direction direction : {Direction::forward, Direction::backward}) {
        ASSERT_EQ(timing.nearestSyncSample(sample, direction),
                  plainNearest(zeroBased, sample, direction))
            << "round " << round << " sample " << sample;
      }
    }
  }
}

TEST(SyncSamples, NumbersMustRiseFromOne) {
  for (const std::vector<uint32_t>& numbers :
       {std::vector<uint32_t>{0}, {2, 2}, {3, 2}, {1, 5, 5, 6}, {0, 1}, {0xffffffff, 0xffffffff}}) {
    TimingTables timing;
    EXPECT_THROWS_MESSAGE(readStss(timing, stss(numbers)), "invalid stss data");
  }
}

TEST(SyncSamples, LargestNumberIsAccepted) {
  TimingTables timing;
  readStss(timing, stss({0xffffffff}));
  EXPECT_EQ(timing.nearestSyncSample(0, Direction::forward), 0xfffffffeu);
}

TEST(SyncSamples, SecondBoxReplacesTheFirst) {
  TimingTables timing;
  readStss(timing, stss({1, 5}));
  readStss(timing, stss({3, 4, 7}));
  EXPECT_EQ(timing.nearestSyncSample(0, Direction::backward), 2u);
  EXPECT_EQ(timing.nearestSyncSample(50, Direction::backward), 6u);
  readStss(timing, stss({}));
  EXPECT_EQ(timing.nearestSyncSample(50, Direction::backward), 50u);
}

// ---- all three boxes

TEST(TimingBox, TableIsReadWithOneReadIntoItsFinalArray) {
  constexpr uint32_t kEntries = 64;  // more would add the marks of an index
  for (const TableCase& table : kAllTables) {
    FailingAllocation counting;
    MemorySource source(box(table.type, full(0), u32(kEntries), risingEntries(table, kEntries)));
    {
      TimingTables timing;
      readBox(source, source.size(),
              [&](AtomReader& reader, uint64_t) { (timing.*table.read)(reader); });
    }
    EXPECT_EQ(source.largestRead, kEntries * table.entryBytes);
    EXPECT_LE(source.reads, 5u);  // box header, version, flags, count, entries
    EXPECT_EQ(counting.allocations(), 1u);
    EXPECT_EQ(counting.largestBlock(), kEntries * table.entryBytes);
    EXPECT_EQ(counting.blocksHeld(), 0u);
  }
}

TEST(TimingBox, VersionAndFlagsAreIgnored) {
  for (const TableCase& table : kAllTables) {
    EXPECT_EQ(
        tableMessage(table, box(table.type, full(0xff, 0xffffff), u32(2), risingEntries(table, 2))),
        "");
  }
}

TEST(TimingBox, BytesAfterTheEntriesAreSkipped) {
  for (const TableCase& table : kAllTables) {
    EXPECT_EQ(tableMessage(table, box(table.type, full(0), u32(1), risingEntries(table, 3))), "");
  }
}

TEST(TimingBox, CountLargerThanTheBoxFailsBeforeMemoryIsAllocated) {
  const Bytes following = zeros(64);
  for (const TableCase& table : kAllTables) {
    const auto wrapping = static_cast<uint32_t>(0x100000000 / table.entryBytes);
    for (const uint32_t count :
         {3u, wrapping, wrapping + 1, wrapping + 2, 0x7fffffffu, 0xffffffffu}) {
      FailingAllocation counting;
      EXPECT_EQ(
          tableMessage(table, join(box(table.type, full(0), u32(count), risingEntries(table, 2)),
                                   following)),
          "attempting to read past end of atom")
          << table.type << " " << count;
      EXPECT_EQ(counting.allocations(), 0u);
    }
  }
}

TEST(TimingBox, CountLargerThanTheFileFailsBeforeMemoryIsAllocated) {
  for (const TableCase& table : kAllTables) {
    FailingAllocation counting;
    EXPECT_EQ(tableMessage(table, boxClaiming(0x7fffffff, table.type, full(0), u32(0x01000000),
                                              risingEntries(table, 2))),
              "attempting to read past end of file");
    EXPECT_EQ(counting.allocations(), 0u);
  }
}

TEST(TimingBox, TableOfFourGibibytesInASourceOfUnknownLengthIsOutOfMemory) {
  for (const TableCase& table : kAllTables) {
    const auto count = static_cast<uint32_t>(0x100000000 / table.entryBytes);
    MemorySource source(largeBoxClaiming(0x200000000, table.type, full(0), u32(count)));
    TimingTables timing;
    FailingAllocation counting;
    EXPECT_THROWS_MESSAGE(
        readBox(source, kUnknownLength,
                [&](AtomReader& reader, uint64_t) { (timing.*table.read)(reader); }),
        "out of memory when resizing array");
    EXPECT_EQ(counting.allocations(), 0u);
  }
}

TEST(TimingBox, SourceThatDeliversSingleBytesCountsAsEnded) {
  for (const TableCase& table : kAllTables) {
    OneByteSource source(join(full(0), u32(3), risingEntries(table, 3)));
    HostStreamAdapter stream(source, kUnknownLength);
    AtomReader reader(stream, 8 + 3 * table.entryBytes);
    TimingTables timing;
    EXPECT_THROWS_MESSAGE((timing.*table.read)(reader), "attempting to read past end of file");
  }
}

TEST(TimingBox, BoxCutAtAnyLengthEndsPastTheAtom) {
  const Bytes following = zeros(64);
  for (const TableCase& table : kAllTables) {
    const Bytes payload = join(full(0), u32(3), risingEntries(table, 3));
    for (size_t size = 0; size < payload.size(); ++size) {
      const Bytes cut = cutTo(payload, size);
      EXPECT_EQ(tableMessage(table, join(box(table.type, cut), following)),
                "attempting to read past end of atom")
          << table.type << " " << size;
    }
  }
}

TEST(TimingBox, FileCutAtAnyLengthIsAnError) {
  for (const TableCase& table : kAllTables) {
    const Bytes good = box(table.type, full(0), u32(3), risingEntries(table, 3));
    for (size_t size = 0; size < good.size(); ++size) {
      EXPECT_EQ(tableMessage(table, cutTo(good, size)),
                size < 8 ? "invalid box/atom header" : "attempting to read past end of file")
          << table.type << " " << size;
    }
  }
}

TEST(TimingBox, FailedAllocationIsReportedAndLeaksNothing) {
  for (const TableCase& table : kAllTables) {
    FailingAllocation failing(0);
    EXPECT_EQ(tableMessage(table, box(table.type, full(0), u32(3), risingEntries(table, 3))),
              "out of memory when resizing array");
    EXPECT_EQ(failing.blocksHeld(), 0u);
  }
}

// ---- odd on purpose

TEST(Deliberate, D320_SampleCountWrapsAt32Bits) {
  TimingTables timing;
  readStts(timing, stts({{0xffffffff, 1}, {3, 1}}));
  EXPECT_EQ(timing.sampleCount(), 2u);
}

TEST(Deliberate, D320_RunningSampleCountsWrapLikeTheTotal) {
  // Samples counted up to the end of each run: 2, 1 (wrapped), 6. The middle run holds no sample
  // number, and sample 1 stays with the first run, which comes first.
  TimingTables timing;
  readStts(timing, stts({{2, 10}, {0xffffffff, 3}, {5, 20}}));
  readCtts(timing, ctts({{2, 100}, {0xffffffff, 200}, {5, 300}}));
  EXPECT_EQ(timing.sampleCount(), 6u);
  const std::vector<int32_t> offsets = {100, 100, 300, 300, 300, 300, 0};
  for (uint32_t sample = 0; sample < offsets.size(); ++sample) {
    EXPECT_EQ(timing.compositionOffset(sample), offsets[sample]) << sample;
  }
  EXPECT_EQ(timing.compositionOffset(0xffffffff), 0);
  const uint64_t thirdRun = 20 + uint64_t{0xffffffff} * 3;
  expectSampleAt(timing, thirdRun - 1, 0, 2);
  expectSampleAt(timing, thirdRun, 1, 0);
  expectSampleAt(timing, thirdRun + 20, 2, 0);
}

TEST(Deliberate, D321_OnlyATableWithEntriesMakesASecondBoxADuplicate) {
  TimingTables timing;
  readStts(timing, stts({}));
  readStts(timing, stts({}));
  readStts(timing, stts({{2, 7}}));
  EXPECT_EQ(timing.sampleCount(), 2u);
  expectSampleAt(timing, 13, 1, 6);
  EXPECT_THROWS_MESSAGE(readStts(timing, stts({})), "duplicate stts data");
  readCtts(timing, ctts({}));
  readCtts(timing, ctts({{1, 1}}));
  EXPECT_THROWS_MESSAGE(readCtts(timing, ctts({})), "duplicate ctts data");
}

TEST(Deliberate, D322_SyncSearchComparesTheOneBasedNumberWithZeroBasedEntries) {
  TimingTables timing;
  readStss(timing, stss({1, 5, 9}));
  // Sample 4 is a sync sample itself, yet the answer forward is the next one; sample 3 is sent
  // forward when the search goes backward.
  EXPECT_EQ(timing.nearestSyncSample(4, Direction::forward), 8u);
  EXPECT_EQ(timing.nearestSyncSample(3, Direction::backward), 4u);
}
