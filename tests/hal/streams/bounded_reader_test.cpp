#include "hal/streams/bounded_reader.h"

#include <gtest/gtest.h>

#include "tests/support/hal_allocator.h"
#include "tests/support/hal_streams.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

using boxes::Bytes;

namespace {

int g_token = 0;
void* const kContext = &g_token;

Bytes rising(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i);
  return bytes;
}

// Keeps what its adapter says is left, in the middle of a call.
class AskingReader final : public VByteReader {
 public:
  virtual ~AskingReader() = default;
  VelaBase::TIOResult Read(void*, uint32_t p_count, uint32_t* p_done, void* p_context) override {
    return Skip(p_count, p_done, p_context);
  }
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void*) override {
    *p_done = p_count;
    seen.push_back(adapter->GetRemaining());
    return VResult::KSuccess;
  }
  const VBoundedReader* adapter = nullptr;
  std::vector<uint32_t> seen;
};

}  // namespace

TEST(BoundedReader, ChargesBeforeItCallsTheInnerReader) {
  AskingReader inner;
  VBoundedReader reader(inner, 10);
  inner.adapter = &reader;
  uint8_t bytes[4];
  uint32_t done = 0;
  EXPECT_EQ(reader.Read(bytes, 4, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(reader.Skip(1, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(reader.SkipRest(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.seen, (std::vector<uint32_t>{6, 5, 0}));
}

TEST(BoundedReader, ClampsReadsToWhatRemains) {
  ScriptedReader inner(rising(10));
  VBoundedReader reader(inner, 6);
  uint8_t bytes[10] = {};
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(bytes, 4, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(reader.Read(bytes + 4, 4, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(bytes[5], 5);
  EXPECT_EQ(reader.GetRemaining(), 0u);
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{4, 2}));
  EXPECT_EQ(inner.script.contexts, (std::vector<void*>{kContext, kContext}));
}

TEST(BoundedReader, ClampsSkipsToWhatRemains) {
  ScriptedReader inner(rising(10));
  VBoundedReader reader(inner, 6);
  uint32_t done = 99;
  EXPECT_EQ(reader.Skip(0xFFFFFFFF, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 6u);
  EXPECT_EQ(inner.position, 6u);
  EXPECT_EQ(inner.skips, 1u);
}

TEST(BoundedReader, DoesNotAskTheInnerReaderForNothing) {
  ScriptedReader inner(rising(10));
  VBoundedReader reader(inner, 0);
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(nullptr, 4, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  done = 99;
  EXPECT_EQ(reader.Skip(4, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  VBoundedReader open(inner, 3);
  done = 99;
  EXPECT_EQ(open.Read(nullptr, 0, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  EXPECT_TRUE(inner.script.counts.empty());
}

TEST(Deliberate, D109_TheBoundedReaderChargesWhatItAskedFor) {
  ScriptedReader inner(rising(10), {.sizes = {1, 1, kWhole}});
  VBoundedReader reader(inner, 8);
  uint8_t bytes[8];
  uint32_t done = 0;
  reader.Read(bytes, 5, &done, kContext);
  EXPECT_EQ(done, 1u);
  EXPECT_EQ(reader.GetRemaining(), 3u);
  reader.Skip(2, &done, kContext);
  EXPECT_EQ(done, 1u);
  EXPECT_EQ(reader.GetRemaining(), 1u);
}

TEST(BoundedReader, ChargesAFailedCallToo) {
  ScriptedReader inner(rising(10), {.failAtCall = 0});
  VBoundedReader reader(inner, 8);
  uint8_t bytes[8];
  uint32_t done = 0;
  EXPECT_EQ(reader.Read(bytes, 5, &done, kContext), kHostCode);
  EXPECT_EQ(reader.GetRemaining(), 3u);
}

TEST(BoundedReader, SkipsTheRestExactly) {
  ScriptedReader inner(rising(10));
  VBoundedReader reader(inner, 7);
  EXPECT_EQ(reader.SkipRest(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.position, 7u);
  EXPECT_EQ(inner.script.counts, std::vector<uint32_t>{7});
  EXPECT_EQ(inner.script.contexts, std::vector<void*>{kContext});
  EXPECT_EQ(reader.SkipRest(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.skips, 1u) << "nothing remained";
}

TEST(BoundedReader, SkipRestFailsWhenTheInnerReaderEndsOrFails) {
  ScriptedReader ending(rising(3));
  VBoundedReader overlong(ending, 7);
  EXPECT_EQ(overlong.SkipRest(kContext), VResult::KOutOfRange);
  ScriptedReader failing(rising(10), {.failAtCall = 0});
  VBoundedReader reader(failing, 7);
  EXPECT_EQ(reader.SkipRest(kContext), kHostCode);
}

TEST(BoundedReader, NeverPassesItsBoundWhateverTheInnerReaderDelivers) {
  SeededRandom random(4102);
  for (int round = 0; round < 300; ++round) {
    StreamScript script;
    script.sizes.clear();
    for (int i = 0; i < 8; ++i) script.sizes.push_back(random.below(6));
    ScriptedReader inner(rising(64), script);
    const uint32_t bound = random.below(40);
    VBoundedReader reader(inner, bound);
    uint32_t remaining = bound;
    for (int call = 0; call < 12; ++call) {
      uint8_t bytes[16];
      const uint32_t count = random.below(16);
      uint32_t done = 99;
      const size_t before = inner.position;
      const bool skips = random.oneIn(2);
      EXPECT_EQ(
          skips ? reader.Skip(count, &done, nullptr) : reader.Read(bytes, count, &done, nullptr),
          VResult::KSuccess);
      EXPECT_EQ(inner.position, before + done);
      for (uint32_t i = 0; !skips && i < done; ++i) EXPECT_EQ(bytes[i], before + i);
      remaining -= std::min(remaining, count);
      EXPECT_EQ(reader.GetRemaining(), remaining);
    }
    EXPECT_LE(inner.position, bound);
  }
}

TEST(BoundedReader, HasReadSkipAndDestructorAndItsFieldsInOrder) {
  FailingHalAllocation allocation;
  ScriptedReader inner(rising(10));
  auto* reader = new VBoundedReader(inner, 0x01020304);
  EXPECT_EQ(raw_table::field<void*>(reader, sizeof(void*)), static_cast<VByteReader*>(&inner));
  EXPECT_EQ(raw_table::field<uint32_t>(reader, 2 * sizeof(void*)), 0x01020304u);
  uint8_t bytes[2];
  uint32_t done = 0;
  raw_table::call<VelaBase::TIOResult>(reader, 0, static_cast<void*>(bytes), uint32_t{2}, &done,
                                       kContext);
  EXPECT_EQ(inner.reads, 1u);
  raw_table::call<VelaBase::TIOResult>(reader, 1, uint32_t{2}, &done, kContext);
  EXPECT_EQ(inner.skips, 1u);
  raw_table::destroyAndFree(reader, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}
