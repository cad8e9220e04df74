#include "atomkit/meta/tags/item_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "atomkit/meta/tags/cover_art.h"
#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;
using testing::AnyOf;

constexpr ParseOptions kWantBoth = kWantTextTags | kWantCoverArt;
constexpr uint32_t kMaxCover = 8 * 1024 * 1024;

/// Reads one 'meta' box as the walk over the user data does.
void readMeta(const Bytes& bytes, ItemListTags& target, ParseOptions options = kWantBoth) {
  readBox(bytes,
          [&](AtomReader& reader, uint64_t size) { readMetadata(options, target, reader, size); });
}

/// The same without the catch: throws the exception that ends inside the reader.
void readContents(const Bytes& bytes, ParseOptions options = kWantBoth) {
  ItemListTags target;
  readBox(bytes, [&](AtomReader& reader, uint64_t size) {
    readMetadataContents(options, target, reader, size);
  });
}

/// The box fails with `message` and costs the tags, not the file.
void expectBroken(const Bytes& bytes, const char* message) {
  EXPECT_THROWS_MESSAGE(readContents(bytes), message);
  ItemListTags target;
  readMeta(bytes, target);
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(listed(target.tags), Listed{});
}

Bytes title(std::string_view value) { return ilstText(itemType("nam"), value); }

Bytes fullMeta() {
  return box("meta", full(0), box("hdlr", full(0), zeros(20), u8(0)),
             box("ilst", title("Song"), covr(text("picture")), numberPair("trkn", 3, 12),
                 ilstNamed("mood", "calm")),
             box("free", zeros(3)));
}
const Listed kFullTags = {"title=Song", "track=3", "totaltracks=12", "mood=calm"};

// ---- the box as a whole

TEST(ItemList, GivesTagsAndCover) {
  ItemListTags target;
  readMeta(fullMeta(), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(listed(target.tags), kFullTags);
  EXPECT_EQ(bytesOf(target.cover), text("picture"));
}

TEST(ItemList, IsNotLookedAtWhenNeitherTagsNorCoverAreWanted) {
  ItemListTags target;
  readMeta(fullMeta(), target, ~kWantBoth);
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(ItemList, CoverAloneStoresNoTags) {
  ItemListTags target;
  readMeta(fullMeta(), target, kWantCoverArt);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(bytesOf(target.cover), text("picture"));
}

TEST(ItemList, TextAloneStoresNoCover) {
  ItemListTags target;
  readMeta(fullMeta(), target, kWantTextTags);
  EXPECT_EQ(listed(target.tags), kFullTags);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(ItemList, CoverIsNoTagEvenWhenItIsNotWanted) {
  ItemListTags target;
  readMeta(metaWith(box("covr", itemName("picture"), data(text("x")))), target, kWantTextTags);
  EXPECT_EQ(target.tags.entryCount(), 0u);
}

TEST(ItemList, VersionAndFlagsAreIgnored) {
  ItemListTags target;
  readMeta(box("meta", u32(0xffffffff), box("ilst", title("a"))), target);
  EXPECT_EQ(listed(target.tags), Listed{"title=a"});
}

TEST(ItemList, SeveralListsFollowOneAnother) {
  ItemListTags target;
  readMeta(box("meta", full(0), box("ilst", title("a")), box("ilst", title("b"))), target);
  EXPECT_EQ(listed(target.tags), Listed{"title=a|b"});
}

TEST(ItemList, OtherChildrenAreSkippedUnread) {
  ItemListTags target;
  readMeta(box("meta", full(0), box("hdlr", text("?")), box("free", title("no")),
               box("ilst", title("yes"))),
           target);
  EXPECT_EQ(listed(target.tags), Listed{"title=yes"});
}

TEST(ItemList, SecondBoxIsIgnored) {
  ItemListTags target;
  readMeta(metaWith(title("first")), target);
  readMeta(metaWith(title("second"), covr(text("c"))), target);
  EXPECT_EQ(listed(target.tags), Listed{"title=first"});
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(ItemList, SecondBoxIsIgnoredEvenIfTheFirstGaveNothing) {
  ItemListTags target;
  readMeta(box("meta", full(0)), target);
  EXPECT_TRUE(target.seen);
  readMeta(fullMeta(), target);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(Deliberate, D348_BoxAfterABrokenOneIsRead) {
  ItemListTags target;
  readMeta(metaWith(title("lost"), text("short")), target);
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  readMeta(metaWith(title("found")), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(listed(target.tags), Listed{"title=found"});
}

// ---- the cover

TEST(CoverArt, OfEightMebibytesIsKept) {
  ItemListTags target;
  readMeta(metaWith(title("a"), covr(repeat(0xc0, kMaxCover))), target);
  ASSERT_EQ(target.cover.count(), kMaxCover);
  EXPECT_EQ(target.cover[kMaxCover - 1], 0xc0);
  EXPECT_EQ(listed(target.tags), Listed{"title=a"});
}

TEST(CoverArt, OfOneByteMoreIsTooBigAndClearsTheTags) {
  const Bytes meta = metaWith(title("a"), covr(repeat(0xc0, kMaxCover + 1)));
  EXPECT_THROWS_MESSAGE(readContents(meta), "cover art atom too big");
  FailingAllocation counted;
  ItemListTags target;
  readMeta(meta, target);
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(target.cover.count(), 0u);
  EXPECT_LT(counted.largestBlock(), 1000u);
}

TEST(CoverArt, OfMoreThan32BitsIsTooBig) {
  // The boxes claim more than the file has; the limit is checked first.
  const uint64_t picture = uint64_t{1} << 32;
  MemorySource source(join(largeBoxClaiming(picture + 16 + 8, "data", zeros(8))));
  HostStreamAdapter stream(source, kUnknownLength);
  AtomReader reader(stream, picture + 24);
  ByteArray cover;
  EXPECT_THROWS_MESSAGE(readCoverArt(cover, reader, picture + 24), "cover art atom too big");
}

TEST(Deliberate, D347_CoverTooBigRemovesTheTextTagsButKeepsTheEarlierCover) {
  ItemListTags target;
  readMeta(
      metaWith(title("a"), box("covr", data(text("earlier")), data(repeat(0xc0, kMaxCover + 1))),
               title("b")),
      target);
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(bytesOf(target.cover), text("earlier"));
}

TEST(CoverArt, OfAnEarlierBoxStaysWhenALaterBoxBreaks) {
  ItemListTags target;
  readMeta(metaWith(covr(text("first")), text("short")), target);
  EXPECT_EQ(bytesOf(target.cover), text("first"));
  readMeta(metaWith(title("a"), text("short")), target);
  EXPECT_EQ(bytesOf(target.cover), text("first"));
}

TEST(CoverArt, LastPictureWins) {
  ItemListTags target;
  readMeta(metaWith(box("covr", data(text("one")), data(text("two"))), covr(text("three"))),
           target);
  EXPECT_EQ(bytesOf(target.cover), text("three"));
}

TEST(CoverArt, DataBelowEightBytesAndOtherChildrenAreSkipped) {
  ItemListTags target;
  readMeta(metaWith(box("covr", data(text("kept")), box("data", zeros(7)), box("name", u8(0)))),
           target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(bytesOf(target.cover), text("kept"));
}

TEST(CoverArt, MayBeEmpty) {
  ItemListTags target;
  readMeta(metaWith(box("covr", data(text("x")), box("data", zeros(8)))), target);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.cover.count(), 0u);
}

TEST(CoverArt, ThatTheBoxCannotHoldTakesNoMemory) {
  FailingAllocation counted;
  expectBroken(metaWith(box("covr", boxClaiming(kMaxCover, "data", zeros(8)))),
               "atom size bigger than expected");
  EXPECT_EQ(counted.allocations(), 0u);
}

TEST(CoverArt, ThatTheFileCannotHoldTakesNoMemory) {
  FailingAllocation counted;
  MemorySource source(boxClaiming(kMaxCover, "data", zeros(8)));
  HostStreamAdapter stream(source, source.size());
  AtomReader reader(stream, kMaxCover);
  ByteArray cover;
  EXPECT_THROWS_MESSAGE(readCoverArt(cover, reader, kMaxCover),
                        "attempting to read past end of file");
  EXPECT_EQ(counted.allocations(), 0u);
}

TEST(CoverArt, ThatEndsWithTheSourceLeavesNoCover) {
  MemorySource source(
      join(covr(text("first")), boxClaiming(1016, "covr", boxClaiming(1008, "data", zeros(40)))));
  HostStreamAdapter stream(source, kUnknownLength);
  ByteArray cover;
  const auto readNext = [&] {
    const BoxHeader header = expectBoxHeader(stream, UINT64_MAX);
    AtomReader reader(stream, header.payloadSize);
    readCoverArt(cover, reader, header.payloadSize);
  };
  readNext();
  EXPECT_EQ(bytesOf(cover), text("first"));
  EXPECT_THROWS_MESSAGE(readNext(), "attempting to read past end of file");
  EXPECT_EQ(cover.count(), 0u);
}

// ---- what is broken costs the tags only

TEST(ItemList, BrokenStructureCostsTheTagsOnly) {
  expectBroken(box("meta", u24(0)), "attempting to read past end of atom");
  expectBroken(box("meta"), "attempting to read past end of atom");
  expectBroken(box("meta", full(0), text("short")), "invalid box/atom header");
  expectBroken(metaWith(title("a"), boxClaiming(0, "free")), "invalid box/atom header");
  expectBroken(metaWith(title("a"), boxClaiming(9, "free")), "atom size bigger than expected");
  expectBroken(box("meta", full(0), box("ilst", title("a")), boxClaiming(9, "ilst")),
               "atom size bigger than expected");
  expectBroken(metaWith(title("a"), box("----", box("name", u24(0)))),
               "attempting to read past end of atom");
}

TEST(ItemList, OverlappingBoxesAreAnError) {
  // The inner 'data' reaches into the next item.
  expectBroken(
      metaWith(box(itemType("nam"), boxClaiming(30, "data", zeros(8), text("x"))), title("b")),
      "atom size bigger than expected");
}

TEST(ItemList, ReadingGoesOnAfterABrokenBox) {
  const Bytes bytes = join(metaWith(title("a"), repeat(0x01, 50), title("b")), text("next"));
  MemorySource source(bytes);
  ItemListTags target;
  readBox(source, source.size(), [&](AtomReader& reader, uint64_t size) {
    readMetadata(kWantBoth, target, reader, size);
  });
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(source.position, bytes.size() - 4);
}

TEST(ItemList, BoxCutAtAnyLengthGivesAllUpToACutBetweenBoxesOrNothing) {
  const Bytes good = fullMeta();
  for (size_t size = 8; size < good.size(); ++size) {
    ItemListTags target;
    readMeta(box("meta", Bytes(good.begin() + 8, good.begin() + ptrdiff_t(size))), target);
    // Whole children of 'meta': header word, 'hdlr', 'ilst'.
    const size_t afterHandler = 8 + 4 + 33;
    const size_t afterItems = good.size() - 11;
    EXPECT_EQ(target.seen, size == 12 || size == afterHandler || size == afterItems) << size;
    EXPECT_EQ(listed(target.tags), size == afterItems ? kFullTags : Listed{}) << size;
  }
}

TEST(ItemList, FileCutAtAnyLengthCannotBeFinished) {
  const Bytes good = fullMeta();
  for (size_t size = 8; size < good.size(); ++size) {
    for (const bool lengthKnown : {false, true}) {
      MemorySource source(Bytes(good.begin(), good.begin() + ptrdiff_t(size)));
      ItemListTags target;
      EXPECT_THROWS_MESSAGE(readBox(source, lengthKnown ? size : kUnknownLength,
                                    [&](AtomReader& reader, uint64_t payload) {
                                      readMetadata(kWantBoth, target, reader, payload);
                                    }),
                            "attempting to skip past end of file");
    }
  }
}

TEST(ItemList, SourceThatDeliversSingleBytesGivesNoTags) {
  OneByteSource source(fullMeta());
  HostStreamAdapter stream(source, kUnknownLength);
  stream.skipExact(8);
  AtomReader reader(stream, fullMeta().size() - 8);
  ItemListTags target;
  readMetadata(kWantBoth, target, reader, reader.remaining());
  EXPECT_FALSE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
}

TEST(ItemList, WhatTheSourceThrowsPassesThroughFromEveryOperation) {
  expectSourceFailuresToPassThrough(fullMeta(), [](AtomReader& reader, uint64_t size) {
    ItemListTags target;
    readMetadata(kWantBoth, target, reader, size);
  });
}

TEST(ItemList, TextThatTheBoxCannotHoldTakesNoMemory) {
  FailingAllocation counted;
  expectBroken(metaWith(box(itemType("nam"), boxClaiming(0x7fffffff, "data", zeros(8)))),
               "atom size bigger than expected");
  EXPECT_EQ(counted.allocations(), 0u);
}

TEST(ItemList, TextThatTheFileCannotHoldTakesNoMemory) {
  // All boxes agree on a size that the file does not have.
  constexpr uint32_t kClaimed = 0x70000000;
  const Bytes bytes = boxClaiming(
      kClaimed + 44, "meta", full(0),
      boxClaiming(kClaimed + 32, "ilst",
                  boxClaiming(kClaimed + 24, itemType("nam"),
                              boxClaiming(kClaimed + 16, "data", zeros(8), text("x")))));
  MemorySource source(bytes);
  FailingAllocation counted;
  ItemListTags target;
  EXPECT_THROWS_MESSAGE(readBox(source, source.size(),
                                [&](AtomReader& reader, uint64_t size) {
                                  readMetadata(kWantBoth, target, reader, size);
                                }),
                        "attempting to skip past end of file");
  EXPECT_LT(counted.largestBlock(), 1000u);
}

TEST(ItemList, TextThatASourceOfUnknownLengthCannotHoldTakesLittleMemory) {
  // Nested boxes of almost 4 GiB.
  constexpr uint32_t kClaimed = 0xffffff00;
  MemorySource source(boxClaiming(
      kClaimed + 44, "meta", full(0),
      boxClaiming(kClaimed + 32, "ilst",
                  boxClaiming(kClaimed + 24, itemType("nam"),
                              boxClaiming(kClaimed + 16, "data", zeros(8), text("x"))))));
  FailingAllocation counted;
  ItemListTags target;
  EXPECT_THROWS_MESSAGE(readBox(source, kUnknownLength,
                                [&](AtomReader& reader, uint64_t size) {
                                  readMetadata(kWantBoth, target, reader, size);
                                }),
                        "attempting to skip past end of file");
  // What has arrived earns 1 3/4 of its size besides.
  EXPECT_LE(counted.largestBlock(), 65'536u + 2 * source.size());
}

TEST(ItemList, TextOfMoreThan32BitsIsOutOfMemory) {
  // Neither the boxes nor the length of the source say that the text is not there.
  constexpr uint64_t kClaimed = uint64_t{1} << 32;
  const Bytes bytes = join(
      full(0), largeBoxClaiming(
                   kClaimed + 56, "ilst",
                   largeBoxClaiming(kClaimed + 40, itemType("nam"),
                                    largeBoxClaiming(kClaimed + 24, "data", zeros(8), text("x")))));
  MemorySource source(bytes);
  HostStreamAdapter stream(source, kUnknownLength);
  AtomReader reader(stream, kClaimed + 60);
  ItemListTags target;
  FailingAllocation counted;
  EXPECT_THROWS_MESSAGE(readMetadataContents(kWantBoth, target, reader, kClaimed + 60),
                        "out of memory");
  EXPECT_LT(counted.largestBlock(), 1000u);
}

TEST(ItemList, EveryFailedAllocationCostsTheTagsOnlyAndLeaksNothing) {
  const Bytes good = fullMeta();
  for (uint64_t failAt = 0;; ++failAt) {
    FailingAllocation failing(failAt);
    {
      ItemListTags target;
      readMeta(good, target);
      EXPECT_EQ(target.seen, !failing.failed());
      EXPECT_EQ(listed(target.tags), failing.failed() ? Listed{} : kFullTags);
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
