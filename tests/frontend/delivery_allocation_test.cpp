// Delivery allocates nothing, from the first packet of a playback to the last.
#include <random>

#include "tests/frontend/open_session.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/hal_allocator.h"

using namespace boxes;
using vela::TIOResult;

TEST(DeliveryMemory, NothingIsAllocatedAfterTheItemWasStarted) {
  const BuiltMovie file =
      movieFile({.tracks = {aacTrack({.samples = 200, .sampleSize = 300, .samplesPerChunk = 10}),
                            avcTrack({.samples = 106, .sampleSize = 900, .samplesPerChunk = 5})}});
  FailingHalAllocation halMemory;
  FailingAllocation libraryMemory;
  {
    OpenSession open(file.bytes, ReadPath::throughCache);
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    const uint64_t halBefore = halMemory.allocations();
    const uint64_t libraryBefore = libraryMemory.allocations();
    EXPECT_GT(halBefore, 0u);
    EXPECT_GT(libraryBefore, 0u);

    uint32_t packets = 0;
    for (uint32_t which = open.next(); which != vela::kNextNone; which = open.next()) {
      packets += static_cast<uint32_t>(which == vela::kNextAudio ? playAudio(open, 1).size()
                                                                 : playVideo(open, 1).size());
    }
    EXPECT_EQ(packets, 306u);

    // Seeks allocate nothing either.
    std::mt19937 random(1);
    FakeVideoPacket picture;
    for (int i = 0; i < 50; ++i) {
      ASSERT_EQ(open.seek(random() % (4 * vela::kHostUnitsPerSecond)), TIOResult::success);
      playAudio(open, 3);
      playVideo(open, 3);
      ASSERT_EQ(open.seekWithKeyFrame(picture, random() % (4 * vela::kHostUnitsPerSecond)),
                TIOResult::success);
    }
    EXPECT_EQ(halMemory.allocations(), halBefore);
    EXPECT_EQ(libraryMemory.allocations(), libraryBefore);
  }
  EXPECT_EQ(halMemory.blocksHeld(), 0u);
  EXPECT_EQ(libraryMemory.blocksHeld(), 0u);
}

TEST(DeliveryMemory, ADescriptionGivesBackAllThatItTook) {
  const BuiltMovie file =
      movieFile({.tracks = {aacTrack()},
                 .udta = join(chpl({{0, "One"}}), metaWith(ilstText("\xA9"
                                                                    "ART",
                                                                    "Someone")))});
  FailingHalAllocation halMemory;
  OpenSession open(file.bytes);
  const uint64_t held = halMemory.blocksHeld();
  for (const uint32_t itemId : {0u, 1u}) {
    ASSERT_EQ(open.describe(itemId), TIOResult::success);
    EXPECT_EQ(halMemory.blocksHeld(), held);
  }
}
