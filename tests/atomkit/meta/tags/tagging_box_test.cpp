#include "atomkit/meta/tags/tagging_box.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/tag_boxes.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;
using testing::AnyOf;

constexpr ParseOptions kWantBoth = kWantTextTags | kWantCoverArt;
constexpr uint32_t kMaxCover = 4 * 1024 * 1024;

using Segments = std::vector<std::pair<uint32_t, Listed>>;

Segments listedSegments(const TaggingBox& box) {
  Segments all;
  for (auto* node = box.segments.first(); node; node = node->next) {
    all.emplace_back(node->key, listed(node->payload));
  }
  return all;
}

/// Reads one 'tags' box as the walk over the user data does.
void readTags(const Bytes& bytes, TaggingBox& target, ParseOptions options = kWantBoth) {
  readBox(bytes, [&](AtomReader& reader, uint64_t size) {
    readTaggingBox(options, target, reader, size);
  });
}

/// The same without the catch: throws the exception that ends inside the reader.
void readContents(const Bytes& bytes, ParseOptions options = kWantBoth) {
  TaggingBox target;
  readBox(bytes, [&](AtomReader& reader, uint64_t size) {
    readTaggingContents(options, target, reader, size);
  });
}

void expectNothing(const TaggingBox& target) {
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.fields.entryCount(), 0u);
  EXPECT_EQ(target.segments.count(), 0u);
  EXPECT_EQ(target.cover.count(), 0u);
}

/// The box fails with `message` and leaves nothing; the file stays readable.
void expectBroken(const Bytes& bytes, const char* message, ParseOptions options = kWantBoth) {
  EXPECT_THROWS_MESSAGE(readContents(bytes, options), message);
  TaggingBox target;
  readTags(bytes, target, options);
  expectNothing(target);
}

/// A box with fields, segments and a cover.
Bytes fullTags() {
  return ztTags(ztFields({{.name = "artist", .values = {"A", "B"}, .type = 1}}),
                tseg(tshd(0), ztFields({{.name = "title", .values = {"First"}}})),
                box("covr", text("picture")),
                tseg(ztFields({{.name = "title", .values = {"Second"}}}), tshd(1)));
}

/// 'meta' with `count` fields without values.
Bytes manyFields(uint32_t count) {
  return ztFields(std::vector<ZtField>(count, ZtField{.name = "n"}));
}
Bytes fieldWithValues(uint32_t count, uint8_t type = 0) {
  return ztFields(
      {{.name = "n", .values = std::vector<std::string>(count, "v"), .type = type}, {.name = "m"}});
}
Bytes fieldWithValueOf(uint32_t bytes, uint8_t type = 0) {
  return ztFields({{.name = "n", .values = {std::string(bytes, 'v')}, .type = type}});
}

// ---- the box as a whole

TEST(TaggingBox, GivesFieldsSegmentsAndCover) {
  TaggingBox target;
  readTags(fullTags(), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(listed(target.fields), Listed{"artist=A|B"});
  EXPECT_EQ(listedSegments(target),
            (Segments{{0, Listed{"title=First"}}, {1, Listed{"title=Second"}}}));
  EXPECT_EQ(bytesOf(target.cover), text("picture"));
}

TEST(TaggingBox, IsNotLookedAtWhenNeitherTagsNorCoverAreWanted) {
  TaggingBox target;
  readTags(fullTags(), target, ~kWantBoth);
  expectNothing(target);
}

TEST(TaggingBox, CoverAloneStoresNoFieldsAndNoSegments) {
  TaggingBox target;
  readTags(fullTags(), target, kWantCoverArt);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.fields.entryCount(), 0u);
  EXPECT_EQ(target.segments.count(), 0u);
  EXPECT_EQ(bytesOf(target.cover), text("picture"));
}

TEST(TaggingBox, TextAloneStoresNoCover) {
  TaggingBox target;
  readTags(fullTags(), target, kWantTextTags);
  EXPECT_EQ(target.fields.entryCount(), 1u);
  EXPECT_EQ(target.segments.count(), 2u);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(TaggingBox, UnwantedFieldsAreNotLookedAtEvenIfTheyAreBroken) {
  TaggingBox target;
  readTags(ztTags(box("meta", u32(257)), box("tseg", text("?")), box("covr", text("c"))), target,
           kWantCoverArt);
  EXPECT_EQ(bytesOf(target.cover), text("c"));
}

TEST(TaggingBox, MayBeEmptyAndStillCountsAsSeen) {
  TaggingBox target;
  readTags(ztTags(), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.fields.entryCount(), 0u);
}

TEST(TaggingBox, SkipsOtherChildrenAtBothLevels) {
  TaggingBox target;
  readTags(ztTags(box("free", text("?")), ztFields({{.name = "a"}}),
                  tseg(box("covr", text("none")), tshd(3), box("tseg", text("?")))),
           target);
  EXPECT_EQ(listed(target.fields), Listed{"a"});
  EXPECT_EQ(listedSegments(target), (Segments{{3, Listed{}}}));
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(TaggingBox, SeveralFieldListsFollowOneAnother) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "a", .values = {"1"}}}),
                  ztFields({{.name = "A", .values = {"2"}}, {.name = "b"}}),
                  tseg(ztFields({{.name = "c"}}), tshd(0), ztFields({{.name = "c"}}))),
           target);
  EXPECT_EQ(listed(target.fields), (Listed{"a=1", "A=2", "b"}));
  EXPECT_EQ(listedSegments(target), (Segments{{0, Listed{"c", "c"}}}));
}

TEST(TaggingBox, TheSameChapterMayHaveSeveralSegments) {
  TaggingBox target;
  readTags(ztTags(tseg(tshd(2), ztFields({{.name = "a"}})), tseg(tshd(2)), tseg(tshd(0))), target);
  EXPECT_EQ(listedSegments(target), (Segments{{2, Listed{"a"}}, {2, Listed{}}, {0, Listed{}}}));
}

// ---- duplicates

TEST(TaggingBox, SecondBoxIsADuplicate) {
  TaggingBox target;
  target.seen = true;
  const Bytes bytes = fullTags();
  EXPECT_THROWS_MESSAGE(
      readBox(bytes, [&](AtomReader& reader,
                         uint64_t size) { readTaggingContents(kWantBoth, target, reader, size); }),
      "duplicate ZT tagging info found");
}

TEST(Deliberate, D341_SecondTagsBoxClearsAndThirdIsReadAfresh) {
  TaggingBox target;
  readTags(fullTags(), target);
  readTags(ztTags(ztFields({{.name = "second"}})), target);
  expectNothing(target);
  readTags(ztTags(ztFields({{.name = "third"}})), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(listed(target.fields), Listed{"third"});
  EXPECT_EQ(target.segments.count(), 0u);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(TaggingBox, BoxAfterABrokenOneIsReadAfresh) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "a"}}), tshd(0)), target);
  expectNothing(target);
  readTags(fullTags(), target);
  EXPECT_EQ(target.segments.count(), 2u);
}

// ---- the segment header

TEST(TaggingBox, SegmentHeaderAtTheTopIsAnError) {
  expectBroken(ztTags(ztFields({{.name = "a"}}), tshd(0)), "tshd atom not expected here");
  expectBroken(ztTags(tshd(0)), "tshd atom not expected here", kWantCoverArt);
}

TEST(TaggingBox, SecondSegmentHeaderInASegmentIsAnError) {
  expectBroken(ztTags(tseg(tshd(0), tshd(0))), "duplicated tshd atom");
  expectBroken(ztTags(tseg(tshd(0), box("tshd", u8(1)))), "duplicated tshd atom");
}

TEST(TaggingBox, SegmentHeaderHasFourBytes) {
  expectBroken(ztTags(tseg(box("tshd", u24(0)))), "invalid tshd atom");
  expectBroken(ztTags(tseg(box("tshd", u32(0), u8(0)))), "invalid tshd atom");
  expectBroken(ztTags(tseg(box("tshd"))), "invalid tshd atom");
}

TEST(TaggingBox, ChapterNumber1000IsTheLastOne) {
  TaggingBox target;
  readTags(ztTags(tseg(tshd(1000))), target);
  EXPECT_EQ(listedSegments(target), (Segments{{1000, Listed{}}}));
  expectBroken(ztTags(ztFields({{.name = "a"}}), tseg(tshd(1001))),
               "invalid chapter number in tshd");
  expectBroken(ztTags(tseg(tshd(0xffffffff))), "invalid chapter number in tshd");
}

TEST(TaggingBox, SegmentWithoutHeaderIsAnError) {
  expectBroken(ztTags(tseg(ztFields({{.name = "a"}}))), "tseg didn't specify chapter index");
  expectBroken(ztTags(tseg()), "tseg didn't specify chapter index");
}

// ---- the cover

TEST(TaggingBox, CoverOfFourMebibytesIsStored) {
  TaggingBox target;
  readTags(ztTags(box("covr", repeat(0xc0, kMaxCover))), target);
  ASSERT_EQ(target.cover.count(), kMaxCover);
  EXPECT_EQ(target.cover[kMaxCover - 1], 0xc0);
}

TEST(TaggingBox, CoverOfOneByteMoreIsSilentlyLeftEmpty) {
  TaggingBox target;
  FailingAllocation counted;
  readTags(ztTags(box("covr", repeat(0xc0, kMaxCover + 1))), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.cover.count(), 0u);
  EXPECT_EQ(counted.allocations(), 0u);
}

TEST(Deliberate, D342_CoverTooBigForTheTaggingBoxCostsNothingElse) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "a"}}), box("covr", text("small")),
                  box("covr", repeat(0xc0, kMaxCover + 1)), tseg(tshd(0))),
           target);
  EXPECT_EQ(bytesOf(target.cover), text("small"));
  EXPECT_EQ(listed(target.fields), Listed{"a"});
  EXPECT_EQ(target.segments.count(), 1u);
}

/// Has zeros without end after its bytes.
class EndlessSource final : public ByteSource {
 public:
  explicit EndlessSource(Bytes bytes) : source_(std::move(bytes)) {}
  uint32_t read(void* buffer, uint32_t count) override { return source_.read(buffer, count); }
  uint64_t skip(uint64_t count) override {
    source_.skip(count);
    return count;
  }

 private:
  MemorySource source_;
};

TEST(TaggingBox, CoverOfMoreThan32BitsIsPassedOverAndAnEarlierOneStays) {
  constexpr uint64_t kCover = (uint64_t{1} << 32) + 5;  // 5 in 32 bits
  const Bytes earlier = box("covr", text("small"));
  EndlessSource source(join(earlier, largeBoxClaiming(kCover + 16, "covr", text("large"))));
  HostStreamAdapter stream(source, kUnknownLength);
  const uint64_t size = earlier.size() + kCover + 16;
  AtomReader reader(stream, size);
  FailingAllocation counted;
  TaggingBox target;
  readTaggingBox(0x08, target, reader, size);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(bytesOf(target.cover), text("small"));
  EXPECT_EQ(counted.allocations(), 1u);  // of the small one
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(TaggingBox, CoverThatEndsWithTheSourceCostsTheBox) {
  MemorySource source(join(box("covr", text("first")), boxClaiming(1008, "covr", zeros(40))));
  HostStreamAdapter stream(source, kUnknownLength);
  const uint64_t size = 13 + 1008;
  AtomReader reader(stream, size);
  TaggingBox target;
  readTaggingBox(kWantBoth, target, reader, size);
  expectNothing(target);
}

TEST(TaggingBox, LastCoverWins) {
  TaggingBox target;
  readTags(ztTags(box("covr", text("first")), box("covr", text("2nd"))), target);
  EXPECT_EQ(bytesOf(target.cover), text("2nd"));
  readTags(ztTags(), target);  // clears
  readTags(ztTags(box("covr", text("first")), box("covr")), target);
  EXPECT_EQ(target.cover.count(), 0u);
}

// ---- the field list

TEST(TagFields, TypesZeroOneAnd128AreReadWithTheirFlags) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "zero", .values = {"a"}, .type = 0x00},
                            {.name = "one", .values = {"b"}, .type = 0x01},
                            {.name = "top", .values = {"c"}, .type = 0x80}})),
           target);
  EXPECT_EQ(listed(target.fields), (Listed{"zero=a (single)", "one=b", "top=c"}));
}

TEST(TagFields, EveryOtherTypeIsSkippedAndTheNextFieldsAreRead) {
  for (unsigned type = 0; type < 256; ++type) {
    if (type == 0 || type == 1 || type == 0x80) continue;
    TaggingBox target;
    readTags(ztTags(ztFields({{.name = "skipped", .values = {"a", "bc"}, .type = uint8_t(type)},
                              {.name = "read", .values = {"d"}}})),
             target);
    EXPECT_EQ(listed(target.fields), Listed{"read=d"}) << type;
  }
}

TEST(Deliberate, D343_FieldType0x81IsSkipped) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "a", .type = 0x81}, {.name = "b", .type = 0x01}})), target);
  EXPECT_EQ(listed(target.fields), Listed{"b"});
}

TEST(TagFields, FieldWithAReservedByteIsSkippedAndTheNextFieldsAreRead) {
  for (const uint8_t type : Bytes{0x00, 0x01, 0x80}) {
    TaggingBox target;
    readTags(ztTags(ztFields({{.name = "skipped", .values = {"a"}, .type = type, .reserved = 1},
                              {.name = "x", .values = {}, .type = type, .reserved = 0x80},
                              {.name = "read", .values = {"d"}}})),
             target);
    EXPECT_EQ(listed(target.fields), Listed{"read=d"});
  }
}

TEST(TagFields, KeepNamesAndValuesAsBytes) {
  TaggingBox target;
  readTags(ztTags(ztFields({{.name = "caf\xe9", .values = {"\xff\x01", "", "\xe2\x82\xac"}},
                            {.name = std::string("na\0me", 5), .values = {std::string("v\0x", 3)}},
                            {.name = "", .values = {"unnamed"}},
                            {.name = std::string(255, 'n')}})),
           target);
  EXPECT_EQ(listed(target.fields),
            (Listed{"caf\xe9=\xff\x01||\xe2\x82\xac", "na=v", "=unnamed", std::string(255, 'n')}));
}

TEST(TagFields, CountOfZeroAddsNothing) {
  TaggingBox target;
  readTags(ztTags(ztFields({})), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.fields.entryCount(), 0u);
}

TEST(TagFields, BytesAfterTheLastFieldAreSkipped) {
  TaggingBox target;
  readTags(ztTags(box("meta", u32(1), ztField({.name = "a"}), repeat(0xee, 9)),
                  ztFields({{.name = "b"}})),
           target);
  EXPECT_EQ(listed(target.fields), (Listed{"a", "b"}));
}

TEST(TagFields, Number256AtMost) {
  TaggingBox target;
  readTags(ztTags(manyFields(256)), target);
  EXPECT_EQ(target.fields.entryCount(), 256u);
  expectBroken(ztTags(manyFields(257)), "suspiciously big field count (exploit attempt?)");
  expectBroken(ztTags(box("meta", u32(0xffffffff))),
               "suspiciously big field count (exploit attempt?)");
}

TEST(TagFields, Have256ValuesAtMost) {
  TaggingBox target;
  readTags(ztTags(fieldWithValues(256)), target);
  EXPECT_EQ(target.fields.valueCount(0), 256u);
  EXPECT_EQ(target.fields.entryCount(), 2u);
  expectBroken(ztTags(fieldWithValues(257)), "suspiciously big value count (exploit attempt?)");
}

TEST(TagFields, HaveValuesOf65536BytesAtMost) {
  TaggingBox target;
  readTags(ztTags(fieldWithValueOf(65536)), target);
  EXPECT_EQ(std::strlen(target.fields.value(0, 0).text()), 65536u);
  expectBroken(ztTags(fieldWithValueOf(65537)), "suspiciously long value (exploit attempt?)");
}

TEST(TagFields, LimitsHoldForSkippedFieldsToo) {
  TaggingBox target;
  readTags(ztTags(fieldWithValues(256, 2), fieldWithValueOf(65536, 2)), target);
  EXPECT_EQ(listed(target.fields), Listed{"m"});
  expectBroken(ztTags(fieldWithValues(257, 2)), "suspiciously big value count (exploit attempt?)");
  expectBroken(ztTags(fieldWithValueOf(65537, 2)), "suspiciously long value (exploit attempt?)");
}

TEST(TagFields, LimitsHoldInSegmentsToo) {
  expectBroken(ztTags(tseg(tshd(0), manyFields(257))),
               "suspiciously big field count (exploit attempt?)");
}

TEST(TagFields, LimitsAreLookedAtBeforeTheEndOfTheBox) {
  expectBroken(ztTags(box("meta", u32(1), raw({0, 0}), u8(0), u16(257))),
               "suspiciously big value count (exploit attempt?)");
  expectBroken(ztTags(box("meta", u32(1), raw({0, 0}), u8(0), u16(1), u32(65537))),
               "suspiciously long value (exploit attempt?)");
}

TEST(TagFields, LengthsThatRunPastTheBoxAreAnError) {
  const Bytes head = join(u32(1), raw({0, 0}));
  expectBroken(ztTags(box("meta", head, u8(2), text("a"))), "attempting to read past end of atom");
  expectBroken(ztTags(box("meta", head, u8(0), u16(1), u32(65536), text("a"))),
               "attempting to read past end of atom");
  expectBroken(ztTags(box("meta", u32(256))), "attempting to read past end of atom");
  const Bytes skipped = join(u32(1), raw({2, 0}));
  expectBroken(ztTags(box("meta", skipped, u8(2), text("a"))),
               "attempting to skip past end of atom");
  expectBroken(ztTags(box("meta", skipped, u8(0), u16(1), u32(65536), text("a"))),
               "attempting to skip past end of atom");
}

TEST(TagFields, LengthThatLiesTakesNoMemory) {
  FailingAllocation counted;
  readContents(ztTags(), kWantBoth);
  const uint64_t before = counted.largestBlock();
  EXPECT_THROWS_MESSAGE(
      readContents(ztTags(box("meta", u32(1), raw({0, 0}), u8(0), u16(1), u32(65536), text("a")))),
      "attempting to read past end of atom");
  EXPECT_LT(counted.largestBlock(), before + 200);
}

// ---- what is broken costs the box only

TEST(TaggingBox, BrokenStructureCostsTheBoxOnly) {
  expectBroken(ztTags(ztFields({{.name = "a"}}), text("short")), "invalid box/atom header");
  expectBroken(ztTags(ztFields({{.name = "a"}}), boxClaiming(9, "free")),
               "atom size bigger than expected");
  expectBroken(ztTags(tseg(tshd(0), boxClaiming(0, "free"))), "invalid box/atom header");
  expectBroken(ztTags(tseg(boxClaiming(13, "tshd", u32(0)))), "atom size bigger than expected");
}

TEST(TaggingBox, ReadingGoesOnAfterABrokenBox) {
  const Bytes bytes =
      join(ztTags(ztFields({{.name = "a"}}), tshd(0), repeat(0xee, 50)), text("next"));
  MemorySource source(bytes);
  TaggingBox target;
  readBox(source, source.size(), [&](AtomReader& reader, uint64_t size) {
    readTaggingBox(kWantBoth, target, reader, size);
  });
  expectNothing(target);
  EXPECT_EQ(source.position, bytes.size() - 4);
}

TEST(TaggingBox, CutAtAnyLengthLeavesNothingOfIt) {
  const Bytes good = fullTags();
  std::set<size_t> betweenChildren = {8};
  for (size_t at = 8; at < good.size();) {
    at += size_t{good[at + 2]} << 8 | good[at + 3];
    betweenChildren.insert(at);
  }
  for (size_t size = 8; size < good.size(); ++size) {
    // Only a cut between two children leaves a sound box.
    const Bytes cut = box("tags", Bytes(good.begin() + 8, good.begin() + ptrdiff_t(size)));
    TaggingBox target;
    readTags(cut, target);
    EXPECT_EQ(target.seen, betweenChildren.count(size) == 1) << size;
    if (!target.seen) expectNothing(target);
    // The walk cannot skip to the end of a box that the file does not hold.
    for (const bool lengthKnown : {false, true}) {
      MemorySource source(Bytes(good.begin(), good.begin() + ptrdiff_t(size)));
      TaggingBox cutTarget;
      EXPECT_THROWS_MESSAGE(readBox(source, lengthKnown ? size : kUnknownLength,
                                    [&](AtomReader& reader, uint64_t payload) {
                                      readTaggingBox(kWantBoth, cutTarget, reader, payload);
                                    }),
                            "attempting to skip past end of file");
    }
  }
}

TEST(TaggingBox, SourceThatDeliversSingleBytesLeavesNothing) {
  OneByteSource source(fullTags());
  HostStreamAdapter stream(source, kUnknownLength);
  stream.skipExact(8);
  AtomReader reader(stream, fullTags().size() - 8);
  TaggingBox target;
  readTaggingBox(kWantBoth, target, reader, reader.remaining());
  expectNothing(target);
  EXPECT_NO_THROW(reader.finish());
}

TEST(TaggingBox, WhatTheSourceThrowsPassesThroughFromEveryOperation) {
  expectSourceFailuresToPassThrough(fullTags(), [](AtomReader& reader, uint64_t size) {
    TaggingBox target;
    readTaggingBox(kWantBoth, target, reader, size);
  });
}

TEST(TaggingBox, EveryFailedAllocationCostsTheBoxOnlyAndLeaksNothing) {
  const Bytes good = fullTags();
  for (uint64_t failAt = 0;; ++failAt) {
    FailingAllocation failing(failAt);
    {
      TaggingBox target;
      readTags(good, target);
      if (failing.failed()) {
        expectNothing(target);
      } else {
        EXPECT_TRUE(target.seen);
      }
    }
    EXPECT_EQ(failing.blocksHeld(), 0u);
    if (!failing.failed()) {
      EXPECT_GT(failAt, 10u);
      break;
    }
  }
}

}  // namespace
}  // namespace atomkit
