#include "atomkit/core/streams/box_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "atomkit/core/streams/value_readers.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr char kInvalid[] = "invalid box/atom header";
constexpr char kTooBig[] = "atom size bigger than expected";

struct HeaderResult {
  bool found = false;
  BoxHeader header;
};

HeaderResult headerOf(const Bytes& bytes) {
  MemorySource source(bytes);
  HostStreamAdapter stream(source, kUnknownLength);
  HeaderResult result;
  result.found = readBoxHeader(stream, result.header);
  return result;
}

/// Remembers what it was handed and reads `readBytes` bytes of each child.
class Collector final : public BoxHandler {
 public:
  explicit Collector(uint32_t bytesToRead = 0) : bytesToRead_(bytesToRead) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    EXPECT_EQ(reader.remaining(), payloadSize);
    seen.push_back({type, payloadSize});
    for (uint32_t i = 0; i < bytesToRead_; ++i) readU8(reader);
  }

  std::vector<std::pair<FourCC, uint64_t>> seen;

 private:
  uint32_t bytesToRead_;
};
using Seen = std::vector<std::pair<FourCC, uint64_t>>;

/// Walks `children` as the payload of a container, in a file that goes on after it.
Seen walk(const Bytes& children, Collector collector = Collector()) {
  MemorySource source(join(children, repeat(0x20, 64)));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader container(file, children.size());
  walkChildren(collector, container, children.size());
  EXPECT_EQ(source.position, children.size());
  return collector.seen;
}

// ---- readBoxHeader

TEST(BoxHeader, IsReadInItsShortForm) {
  const auto [found, header] = headerOf(box("moov", zeros(5)));
  ASSERT_TRUE(found);
  EXPECT_EQ(header.type, fourCC("moov"));
  EXPECT_EQ(header.headerSize, 8u);
  EXPECT_EQ(header.payloadSize, 5u);
  EXPECT_EQ(header.boxSize(), 13u);
}

TEST(BoxHeader, IsReadInItsLongForm) {
  const auto [found, header] = headerOf(largeBoxClaiming(0x123456789abcdef0, "mdat"));
  ASSERT_TRUE(found);
  EXPECT_EQ(header.headerSize, 16u);
  EXPECT_EQ(header.payloadSize, 0x123456789abcdee0u);
}

TEST(BoxHeader, ALargeSizeOfExactly16IsAnEmptyPayload) {
  const auto [found, header] = headerOf(largeBox("free"));
  ASSERT_TRUE(found);
  EXPECT_EQ(header.payloadSize, 0u);
}

TEST(BoxHeader, ALargeSizeBelow16IsInvalid) {
  for (uint64_t size = 0; size < 16; ++size) {
    EXPECT_THROWS_MESSAGE(headerOf(largeBoxClaiming(size, "free", zeros(20))), kInvalid);
  }
}

TEST(BoxHeader, SizesTwoToSevenAreInvalid) {
  for (uint32_t size = 2; size < 8; ++size) {
    EXPECT_THROWS_MESSAGE(headerOf(boxClaiming(size, "free", zeros(20))), kInvalid);
  }
  EXPECT_TRUE(headerOf(boxClaiming(8, "free", zeros(20))).found);
}

TEST(Deliberate, D209_SizeZeroIsInvalidAndNotABoxToTheEndOfTheFile) {
  EXPECT_THROWS_MESSAGE(headerOf(boxClaiming(0, "mdat", zeros(20))), kInvalid);
}

TEST(BoxHeader, FewerThanEightBytesAreNoHeader) {
  for (size_t bytes = 0; bytes < 8; ++bytes) {
    Bytes start = box("free");
    start.resize(bytes);
    EXPECT_FALSE(headerOf(start).found) << bytes;
  }
}

TEST(BoxHeader, ATypeByteBelow0x20IsNoHeaderWhateverTheSize) {
  for (int place = 0; place < 4; ++place) {
    std::string type = "free";
    type[static_cast<size_t>(place)] = '\x1f';
    EXPECT_FALSE(headerOf(boxClaiming(8, type, zeros(8))).found);
    EXPECT_FALSE(headerOf(boxClaiming(0, type, zeros(8))).found);
    type[static_cast<size_t>(place)] = '\0';
    EXPECT_FALSE(headerOf(boxClaiming(1, type, zeros(8))).found);
    type[static_cast<size_t>(place)] = ' ';
    EXPECT_TRUE(headerOf(boxClaiming(8, type, zeros(8))).found);
    type[static_cast<size_t>(place)] = '\xff';
    EXPECT_TRUE(headerOf(boxClaiming(8, type, zeros(8))).found);
  }
}

TEST(BoxHeader, AFileThatEndsInsideTheLargeSizeIsPastTheEndOfTheFile) {
  EXPECT_THROWS_MESSAGE(headerOf(boxClaiming(1, "mdat", zeros(7))),
                        "attempting to read past end of file");
}

TEST(BoxHeader, ABoxThatEndsInsideTheLargeSizeIsPastTheEndOfTheAtom) {
  MemorySource source(boxClaiming(1, "mdat", zeros(20)));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader container(file, 15);
  BoxHeader header;
  EXPECT_THROWS_MESSAGE(readBoxHeader(container, header), "attempting to read past end of atom");
}

// ---- expectBoxHeader

TEST(ExpectedBoxHeader, MayFillItsLimitExactlyButNotByOneByteMore) {
  const Bytes child = box("free", zeros(5));
  MemorySource fits(child);
  HostStreamAdapter stream(fits, kUnknownLength);
  EXPECT_EQ(expectBoxHeader(stream, 13).payloadSize, 5u);
  MemorySource tooBig(child);
  HostStreamAdapter second(tooBig, kUnknownLength);
  EXPECT_THROWS_MESSAGE(expectBoxHeader(second, 12), kTooBig);
}

TEST(ExpectedBoxHeader, CountsTheLongHeader) {
  const Bytes child = largeBox("free", zeros(4));
  MemorySource fits(child);
  HostStreamAdapter stream(fits, kUnknownLength);
  EXPECT_EQ(expectBoxHeader(stream, 20).payloadSize, 4u);
  MemorySource tooBig(child);
  HostStreamAdapter second(tooBig, kUnknownLength);
  EXPECT_THROWS_MESSAGE(expectBoxHeader(second, 19), kTooBig);
}

TEST(ExpectedBoxHeader, TheLargestSizeDoesNotWrap) {
  MemorySource source(largeBoxClaiming(~uint64_t{0}, "free"));
  HostStreamAdapter stream(source, kUnknownLength);
  EXPECT_THROWS_MESSAGE(expectBoxHeader(stream, ~uint64_t{0} - 1), kTooBig);
}

TEST(ExpectedBoxHeader, ThatIsMissingIsInvalid) {
  MemorySource source(zeros(4));
  HostStreamAdapter stream(source, kUnknownLength);
  EXPECT_THROWS_MESSAGE(expectBoxHeader(stream, 100), kInvalid);
}

// ---- walkChildren

TEST(WalkChildren, HandsOverEveryChildInOrder) {
  EXPECT_EQ(walk(join(box("aaaa", zeros(3)), box("bbbb"), largeBox("cccc", zeros(2)))),
            (Seen{{fourCC("aaaa"), 3}, {fourCC("bbbb"), 0}, {fourCC("cccc"), 2}}));
}

TEST(WalkChildren, AnEmptyPayloadHasNoChildrenAndReadsNothing) {
  MemorySource source(box("free"));
  HostStreamAdapter file(source, kUnknownLength);
  Collector collector;
  walkChildren(collector, file, 0);
  EXPECT_TRUE(collector.seen.empty());
  EXPECT_EQ(source.reads, 0u);
}

TEST(WalkChildren, AUuidBoxReachesTheHandlerLikeAnyOther) {
  EXPECT_EQ(walk(box("uuid", repeat(0x41, 16), zeros(4))), (Seen{{fourCC("uuid"), 20}}));
}

TEST(WalkChildren, SkipsWhatTheHandlerLeftUnread) {
  const Bytes children = join(box("aaaa", zeros(6)), box("bbbb", zeros(2)));
  EXPECT_EQ(walk(children, Collector(2)), (Seen{{fourCC("aaaa"), 6}, {fourCC("bbbb"), 2}}));
}

TEST(WalkChildren, AHandlerThatReadsEverythingLeavesNothingToSkip) {
  MemorySource source(box("aaaa", zeros(3)));
  HostStreamAdapter file(source, kUnknownLength);
  Collector collector(3);
  walkChildren(collector, file, source.size());
  EXPECT_EQ(source.skips, 0u);
  EXPECT_EQ(collector.seen.size(), 1u);
}

TEST(WalkChildren, AHandlerThatReadsNothingCausesOneSkip) {
  MemorySource source(box("aaaa", zeros(3)));
  HostStreamAdapter file(source, kUnknownLength);
  Collector collector;
  walkChildren(collector, file, source.size());
  EXPECT_EQ(source.skips, 1u);
}

TEST(WalkChildren, AHandlerCantReadIntoTheNextChild) {
  EXPECT_THROWS_MESSAGE(walk(join(box("aaaa", zeros(1)), box("bbbb")), Collector(2)),
                        "attempting to read past end of atom");
}

TEST(WalkChildren, APayloadThatEndsWithOneToSevenStrayBytesIsInvalid) {
  for (size_t stray = 1; stray < 8; ++stray) {
    EXPECT_THROWS_MESSAGE(walk(join(box("aaaa", zeros(3)), repeat(0x41, stray))), kInvalid);
  }
}

TEST(WalkChildren, AChildTypeThatIsNotPrintableIsInvalid) {
  EXPECT_THROWS_MESSAGE(walk(box(std::string_view("a\0bc", 4))), kInvalid);
}

TEST(WalkChildren, AChildOfSizeZeroIsInvalid) {
  EXPECT_THROWS_MESSAGE(walk(boxClaiming(0, "aaaa")), kInvalid);
}

TEST(WalkChildren, AChildThatFillsTheRestIsAcceptedAndOneByteMoreIsNot) {
  EXPECT_EQ(walk(join(box("aaaa"), boxClaiming(12, "bbbb", zeros(4)))).size(), 2u);
  EXPECT_THROWS_MESSAGE(walk(join(box("aaaa"), boxClaiming(13, "bbbb", zeros(4)))), kTooBig);
}

TEST(WalkChildren, AFileThatEndsInsideAnUnreadChildIsSkippedPastItsEnd) {
  MemorySource source(boxClaiming(20, "aaaa", zeros(4)));
  HostStreamAdapter file(source, kUnknownLength);
  Collector collector;
  EXPECT_THROWS_MESSAGE(walkChildren(collector, file, 20), "attempting to skip past end of file");
}

TEST(WalkChildren, AFileThatEndsInsideAChildThatIsReadIsReadPastItsEnd) {
  MemorySource source(boxClaiming(20, "aaaa", zeros(4)));
  HostStreamAdapter file(source, kUnknownLength);
  Collector collector(5);
  EXPECT_THROWS_MESSAGE(walkChildren(collector, file, 20), "attempting to read past end of file");
}

}  // namespace
}  // namespace atomkit
