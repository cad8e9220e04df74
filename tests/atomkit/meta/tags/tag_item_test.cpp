#include "atomkit/meta/tags/tag_item.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/atomkit/box_reading.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

/// The tags that the items make when they are read one after the other.
template <class... Items>
Listed tagsOf(const Items&... items) {
  TagStore store;
  for (const Bytes& item : {items...}) {
    const FourCC type = fourCCFrom(item.data() + 4);
    readBox(item,
            [&](AtomReader& reader, uint64_t size) { readTagItem(store, type, reader, size); });
  }
  return listed(store);
}

Bytes shortData(size_t payload) { return box("data", zeros(payload)); }

// ---- text items

TEST(TagItem, TextItemsHaveTheirNames) {
  EXPECT_EQ(
      tagsOf(ilstText(itemType("nam"), "a"), ilstText(itemType("ART"), "b"),
             ilstText(itemType("alb"), "c"), ilstText(itemType("wrt"), "d"),
             ilstText(itemType("day"), "e"), ilstText(itemType("cmt"), "f"),
             ilstText(itemType("gen"), "g"), ilstText(itemType("too"), "h"), ilstText("cpil", "i")),
      (Listed{"title=a", "artist=b", "album=c", "writer=d", "year=e", "comment=f", "genre=g",
              "tool=h (single)", "compilation=i"}));
}

TEST(TagItem, TypesWithoutANameAreDropped) {
  EXPECT_EQ(tagsOf(ilstText("aART", "a"), ilstText("desc", "b"), ilstText(itemType("Nam"), "c"),
                   ilstText("----", "d"), ilstText("name", "e")),
            Listed{});
}

TEST(TagItem, TextIsKeptAsBytes) {
  EXPECT_EQ(tagsOf(ilstText(itemType("nam"), "\xc3\xa9\xff\x01 ")),
            Listed{"title=\xc3\xa9\xff\x01 "});
}

TEST(TagItem, RepeatedItemsCollectTheirValuesInFileOrder) {
  EXPECT_EQ(tagsOf(ilstText(itemType("ART"), "First"), ilstText(itemType("alb"), "Album"),
                   ilstText(itemType("ART"), "Second")),
            (Listed{"artist=First|Second", "album=Album"}));
}

TEST(TagItem, LastDataChildCounts) {
  EXPECT_EQ(tagsOf(box(itemType("nam"), data(text("first")), data(text("last")))),
            Listed{"title=last"});
  EXPECT_EQ(tagsOf(box(itemType("nam"), data(text("first")), data({}))), Listed{});
}

TEST(TagItem, ItemWithoutAValueGivesNoTag) {
  EXPECT_EQ(tagsOf(box(itemType("nam"))), Listed{});
  EXPECT_EQ(tagsOf(box(itemType("nam"), data({}))), Listed{});
  EXPECT_EQ(tagsOf(box(itemType("nam"), itemName("x"))), Listed{});
}

TEST(TagItem, ValueEndsAtItsFirstZeroByteAndIsEmptyWhenItBeginsWithOne) {
  EXPECT_EQ(tagsOf(ilstText(itemType("nam"), std::string("ab\0c", 4))), Listed{"title=ab"});
  EXPECT_EQ(tagsOf(ilstText(itemType("nam"), std::string("\0abc", 4))), Listed{});
}

TEST(Deliberate, D345_TypeCodeOfAValueIsNotLookedAt) {
  EXPECT_EQ(tagsOf(box("cpil", data(u8(1), 21))), Listed{"compilation=\x01"});
  EXPECT_EQ(tagsOf(box("cpil", data(u8(0), 21))), Listed{});
  EXPECT_EQ(
      tagsOf(box(itemType("nam"), box("data", u8(7), u24(0xffffff), u32(0xffffffff), text("x")))),
      Listed{"title=x"});
}

TEST(TagItem, OtherChildrenAreSkipped) {
  EXPECT_EQ(
      tagsOf(box(itemType("nam"), box("mean", u8(1)), box("free", text("x")), data(text("a")))),
      Listed{"title=a"});
}

TEST(TagItem, DataAndNameShorterThanTheirHeadersAreAnError) {
  for (size_t payload = 0; payload < 8; ++payload) {
    for (const char* type : {"trkn", "tmpo", "gnre", "cpil"}) {
      EXPECT_THROWS_MESSAGE(tagsOf(box(type, shortData(payload))),
                            "attempting to read past end of atom");
    }
  }
  for (size_t payload = 0; payload < 4; ++payload) {
    EXPECT_THROWS_MESSAGE(tagsOf(box("----", box("name", zeros(payload)))),
                          "attempting to read past end of atom");
  }
  EXPECT_EQ(tagsOf(box("cpil", shortData(8))), Listed{});
}

TEST(TagItem, BrokenChildrenAreAnError) {
  EXPECT_THROWS_MESSAGE(tagsOf(box(itemType("nam"), text("1234567"))), "invalid box/atom header");
  EXPECT_THROWS_MESSAGE(tagsOf(box(itemType("nam"), boxClaiming(18, "data", zeros(9)))),
                        "atom size bigger than expected");
}

// ---- items that carry their name

TEST(TagItem, FreeFormItemsCarryTheirName) {
  EXPECT_EQ(tagsOf(ilstNamed("Mood", "calm"), ilstNamed("mood", "dark")), Listed{"Mood=calm|dark"});
}

TEST(TagItem, FreeFormItemWithoutANameIsDropped) {
  EXPECT_EQ(tagsOf(box("----", box("mean", full(0), text("org.example")), data(text("x")))),
            Listed{});
  EXPECT_EQ(tagsOf(box("----", itemName(""), data(text("x")))), Listed{});
  EXPECT_EQ(tagsOf(box("----", itemName(std::string("\0a", 2)), data(text("x")))), Listed{});
}

TEST(TagItem, NameChildIsHonouredInItemsOfEveryType) {
  EXPECT_EQ(tagsOf(box(itemType("nam"), itemName("mood"), data(text("calm")))),
            Listed{"mood=calm"});
  EXPECT_EQ(tagsOf(box("aART", data(text("x")), itemName("band"))), Listed{"band=x"});
}

TEST(TagItem, LastNameCounts) {
  EXPECT_EQ(tagsOf(box("----", itemName("first"), data(text("x")), itemName("last"))),
            Listed{"last=x"});
  EXPECT_EQ(tagsOf(box(itemType("nam"), itemName("first"), data(text("x")), itemName(""))),
            Listed{"title=x"});
}

TEST(TagItem, DateBecomesYearAndTracknumberBecomesTrack) {
  EXPECT_EQ(tagsOf(ilstNamed("DATE", "1999")), Listed{"year=1999"});
  EXPECT_EQ(tagsOf(ilstNamed("TrackNumber", "7")), Listed{"track=7"});
  EXPECT_EQ(tagsOf(ilstNamed("dates", "a"), ilstNamed("tracknumbers", "b"), ilstNamed("Year", "c")),
            (Listed{"dates=a", "tracknumbers=b", "Year=c"}));
}

TEST(TagItem, RenamedTagsMeetThoseOfOtherItems) {
  EXPECT_EQ(tagsOf(ilstText(itemType("day"), "1999"), ilstNamed("date", "2000"),
                   numberPair("trkn", 3, 0), ilstNamed("tracknumber", "4")),
            (Listed{"year=1999|2000", "track=3|4"}));
}

// ---- numbers

TEST(TagItem, TempoIsWrittenWithFiveDigits) {
  EXPECT_EQ(tagsOf(tmpo(0x0078)), Listed{"tempo=00120 BPM"});
  EXPECT_EQ(tagsOf(tmpo(0)), Listed{"tempo=00000 BPM"});
  EXPECT_EQ(tagsOf(tmpo(65535)), Listed{"tempo=65535 BPM"});
}

TEST(Deliberate, D346_TempoHasLeadingZerosAndItsUnit) {
  EXPECT_EQ(tagsOf(tmpo(7)), Listed{"tempo=00007 BPM"});
}

TEST(TagItem, GenreCodesGiveNames) {
  EXPECT_EQ(tagsOf(gnre(1)), Listed{"genre=Blues"});
  EXPECT_EQ(tagsOf(gnre(148)), Listed{"genre=SynthPop"});
  EXPECT_EQ(tagsOf(gnre(0)), Listed{});
  EXPECT_EQ(tagsOf(gnre(149)), Listed{});
}

TEST(TagItem, GenreCodeWithoutANameEndsTheItemAllTheSame) {
  EXPECT_EQ(tagsOf(box("gnre", data(u16(0)), data(u16(9)))), Listed{});
}

TEST(TagItem, TrackAndDiscNumbersHaveTotals) {
  EXPECT_EQ(tagsOf(numberPair("trkn", 3, 0)), Listed{"track=3"});
  EXPECT_EQ(tagsOf(numberPair("trkn", 3, 12)), (Listed{"track=3", "totaltracks=12"}));
  EXPECT_EQ(tagsOf(numberPair("disk", 1, 2)), (Listed{"disc=1", "totaldiscs=2"}));
  EXPECT_EQ(tagsOf(numberPair("disk", 0, 0)), Listed{"disc=0"});
  EXPECT_EQ(tagsOf(numberPair("trkn", 65535, 65535)), (Listed{"track=65535", "totaltracks=65535"}));
}

TEST(TagItem, OuterWordsOfANumberPairAreIgnored) {
  EXPECT_EQ(tagsOf(box("trkn", data(join(u16(9), u16(3), u16(4), u16(9), text("more"))))),
            (Listed{"track=3", "totaltracks=4"}));
}

TEST(TagItem, NumbersTooShortToReadGiveNothing) {
  EXPECT_EQ(tagsOf(box("tmpo", shortData(9))), Listed{});
  EXPECT_EQ(tagsOf(box("tmpo", shortData(10))), Listed{"tempo=00000 BPM"});
  EXPECT_EQ(tagsOf(box("gnre", shortData(9))), Listed{});
  EXPECT_EQ(tagsOf(box("gnre", data(u16(1)))), Listed{"genre=Blues"});
  EXPECT_EQ(tagsOf(box("trkn", shortData(15))), Listed{});
  EXPECT_EQ(tagsOf(box("trkn", shortData(16))), Listed{"track=0"});
  EXPECT_EQ(tagsOf(box("disk", shortData(15))), Listed{});
  EXPECT_EQ(tagsOf(box("disk", shortData(16))), Listed{"disc=0"});
}

TEST(TagItem, BytesAfterANumberAreIgnored) {
  const Bytes more = text("more");
  EXPECT_EQ(tagsOf(box("tmpo", data(join(u16(120), u8(1))))), Listed{"tempo=00120 BPM"});
  EXPECT_EQ(tagsOf(box("tmpo", data(join(u16(120), more)))), Listed{"tempo=00120 BPM"});
  EXPECT_EQ(tagsOf(box("gnre", data(join(u16(9), u8(1))))), Listed{"genre=Jazz"});
  EXPECT_EQ(tagsOf(box("gnre", data(join(u16(9), more)))), Listed{"genre=Jazz"});
  for (const Bytes& rest : {u8(1), more}) {
    EXPECT_EQ(tagsOf(box("disk", data(join(u16(0), u16(1), u16(2), u16(0), rest)))),
              (Listed{"disc=1", "totaldiscs=2"}));
  }
}

TEST(TagItem, ChildrenAfterAValueTooShortToReadAreStillExamined) {
  EXPECT_EQ(tagsOf(box("tmpo", shortData(9), data(u16(120)))), Listed{"tempo=00120 BPM"});
  EXPECT_EQ(tagsOf(box("gnre", shortData(8), data(u16(1)))), Listed{"genre=Blues"});
  EXPECT_EQ(tagsOf(box("trkn", shortData(15), data(join(u16(0), u16(1), u32(0))))),
            Listed{"track=1"});
}

TEST(TagItem, ValueTooShortToReadIsNoTextEither) {
  EXPECT_EQ(tagsOf(box("tmpo", itemName("mood"), data(u8('x')))), Listed{});
  EXPECT_EQ(tagsOf(box("trkn", itemName("mood"), data(text("1234567")))), Listed{});
}

TEST(TagItem, NumbersTakeTheFirstReadableChildAndSkipTheRestUnread) {
  EXPECT_EQ(tagsOf(box("tmpo", data(u16(100)), data(u16(120)), shortData(0))),
            Listed{"tempo=00100 BPM"});
  EXPECT_EQ(tagsOf(box("trkn", data(join(u16(0), u16(1), u32(0))), box("name"))),
            Listed{"track=1"});
  EXPECT_THROWS_MESSAGE(tagsOf(box("tmpo", data(u16(100)), text("short"))),
                        "invalid box/atom header");
}

TEST(TagItem, NumbersKeepTheirNamesWhateverANameChildSays) {
  EXPECT_EQ(tagsOf(box("tmpo", itemName("mood"), data(u16(100)))), Listed{"tempo=00100 BPM"});
}

TEST(TagItem, RepeatedNumbersCollectTheirValues) {
  EXPECT_EQ(tagsOf(tmpo(100), tmpo(120), gnre(1), gnre(2), numberPair("trkn", 1, 9),
                   numberPair("trkn", 2, 8), ilstText(itemType("gen"), "Own")),
            (Listed{"tempo=00100 BPM|00120 BPM", "genre=Blues|Classic Rock|Own", "track=1|2",
                    "totaltracks=9|8"}));
}

// ---- which tags keep one value

TEST(TagItem, ReplayGainToolAndCodecKeepTheLastValueOnly) {
  EXPECT_EQ(tagsOf(ilstNamed("replaygain_track_gain", "-1 dB"),
                   ilstNamed("REPLAYGAIN_TRACK_GAIN", "-2 dB"), ilstNamed("ReplayGain_x", "1"),
                   ilstNamed("Codec", "a"), ilstNamed("codec", "b"),
                   ilstText(itemType("too"), "first"), ilstNamed("TOOL", "second")),
            (Listed{"replaygain_track_gain=-2 dB (single)", "ReplayGain_x=1 (single)",
                    "Codec=b (single)", "tool=second (single)"}));
}

TEST(TagItem, NamesThatOnlyResembleThoseCollectTheirValues) {
  EXPECT_EQ(
      tagsOf(ilstNamed("replaygain", "1"), ilstNamed("replaygain", "2"), ilstNamed("tools", "1"),
             ilstNamed("tools", "2"), ilstNamed("codecs", "1"), ilstNamed("codecs", "2"),
             ilstNamed("replaygain_", "1"), ilstNamed("replaygain_", "2")),
      (Listed{"replaygain=1|2", "tools=1|2", "codecs=1|2", "replaygain_=2 (single)"}));
}

TEST(AddTag, DropsAValueForATagThatTakesNoFurtherOnes) {
  TagStore store;
  store.set("Artist", SharedString::copyOf("only"), TagFlag::single);
  addTag(store, "artist", SharedString::copyOf("dropped"));
  EXPECT_EQ(listed(store), Listed{"Artist=only (single)"});
}

TEST(AddTag, ReplacesAllValuesOfAReplayGainTagAndClosesIt) {
  TagStore store;
  store.set("Tool", SharedString::copyOf("a"), TagFlag::extensible);
  store.addValue(0, SharedString::copyOf("b"));
  addTag(store, "tool", SharedString::copyOf("c"));
  EXPECT_EQ(listed(store), Listed{"Tool=c (single)"});
}

}  // namespace
}  // namespace atomkit
