#include "hal/text/vstring.h"

#include <gtest/gtest.h>

#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/hal_streams.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

constexpr uint32_t kAll = VString::KAll;

// What Set() does, on a plain string.
void modelSet(std::u16string& model, const std::u16string& text, uint32_t start) {
  model.resize(std::min<size_t>(start, model.size()));
  model += text;
}

}  // namespace

TEST(BufferString, IsEmptyAndTerminatedWithoutMemory) {
  FailingHalAllocation allocation(0, FailingHalAllocation::kNever);
  VBufferString string;
  EXPECT_EQ(string.GetLength(), 0u);
  EXPECT_EQ(*string.GetBuffer(), 0);
  EXPECT_EQ(string.Set(nullptr, 0, 0), 0u);
  EXPECT_EQ(string.Set(u"", kAll, kAll), 0u);
  EXPECT_EQ(allocation.allocations(), 0u);
}

TEST(BufferString, ReplacesFromTheStartOn) {
  VBufferString string;
  EXPECT_EQ(string.Set(u"abcdef", kAll, 0), 0u);
  EXPECT_EQ(unitsOf(string), u"abcdef");
  EXPECT_EQ(string.Set(u"XY", kAll, 2), 0u);
  EXPECT_EQ(unitsOf(string), u"abXY");
  EXPECT_EQ(string.Set(u"q", kAll, 0), 0u);
  EXPECT_EQ(unitsOf(string), u"q");
}

TEST(BufferString, AppendsAtAnyPlacePastTheEnd) {
  VBufferString string;
  string.Set(u"ab", kAll, kAll);
  string.Set(u"cd", kAll, 77);
  string.Set(u"ef", kAll, 4);
  EXPECT_EQ(unitsOf(string), u"abcdef");
}

TEST(BufferString, TakesACountedText) {
  VBufferString string;
  string.Set(u"abcdef", 3, 0);
  EXPECT_EQ(unitsOf(string), u"abc");
  string.Set(u"a\0b", 3, 0);
  EXPECT_EQ(string.GetLength(), 3u) << "with a count, a NUL is a unit like any other";
  string.Set(u"xyz", 0, 1);
  EXPECT_EQ(unitsOf(string), u"a");
}

TEST(BufferString, IsCutAndEmptiedByNull) {
  VBufferString string;
  string.Set(u"abcdef", kAll, 0);
  EXPECT_EQ(string.Set(nullptr, 0, 4), 0u);
  EXPECT_EQ(unitsOf(string), u"abcd");
  EXPECT_EQ(string.Set(nullptr, 0, 9), 0u);
  EXPECT_EQ(unitsOf(string), u"abcd");
  EXPECT_EQ(string.Set(nullptr, 0, 0), 0u);
  EXPECT_EQ(unitsOf(string), u"");
}

TEST(BufferString, TakesATextOfItsOwn) {
  VBufferString string;
  string.Set(u"abcdefgh", kAll, 0);
  string.Set(string.GetBuffer() + 4, kAll, 1);
  EXPECT_EQ(unitsOf(string), u"aefgh");
  for (int round = 0; round < 8; ++round) {
    const std::u16string before = unitsOf(string);
    string.Set(string.GetBuffer(), string.GetLength(), kAll);
    EXPECT_EQ(unitsOf(string), before + before) << "while it grows";
  }
}

TEST(BufferString, RefusesALengthThatDoesNotFit) {
  VBufferString string;
  string.Set(u"ab", kAll, 0);
  EXPECT_NE(string.Set(u"x", kAll - 1, kAll), 0u);
  EXPECT_NE(string.Set(u"x", kAll - 2, 2), 0u);
  EXPECT_EQ(unitsOf(string), u"ab");
}

TEST(BufferString, AsksForNoMoreBytesThanAnAddressCanName) {
  FailingHalAllocation allocation(0, FailingHalAllocation::kNever);
  VBufferString string;
  EXPECT_NE(string.Set(u"x", 0x80000000, 0), 0u);
  EXPECT_EQ(string.GetLength(), 0u);
  // In 32 bits the size of 2^31 units would wrap; it must not reach the allocator.
  EXPECT_EQ(allocation.allocations(), sizeof(size_t) == 4 ? 0u : 1u);
}

TEST(BufferString, KeepsItsContentWhenThereIsNoMemory) {
  FailingHalAllocation allocation(1, FailingHalAllocation::kNever);
  {
    VBufferString string;
    EXPECT_EQ(string.Set(u"ab", kAll, 0), 0u);
    EXPECT_NE(string.Set(u"a longer text", kAll, 1), 0u);
    EXPECT_EQ(unitsOf(string), u"ab");
    EXPECT_EQ(string.GetBuffer()[2], 0);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BufferString, TellsThatAPartIsMissingUntilItIsSetAnew) {
  FailingHalAllocation allocation(1, 2);
  VBufferString string;
  string.Set(u"ab", kAll, 0);
  EXPECT_TRUE(string.IsComplete());
  EXPECT_NE(string.Set(u"cdefgh", kAll, kAll), 0u);
  EXPECT_FALSE(string.IsComplete());
  EXPECT_EQ(string.Set(nullptr, 0, 1), 0u);
  EXPECT_FALSE(string.IsComplete()) << "what is left still lacks a part";
  EXPECT_EQ(string.Set(u"xy", kAll, 0), 0u);
  EXPECT_TRUE(string.IsComplete());
}

TEST(BufferString, GrowsByNoMoreThanItNeedsWhenMemoryIsShort) {
  FailingHalAllocation allocation(1, 1);
  VBufferString string;
  string.Set(u"0123456789", kAll, 0);
  EXPECT_EQ(string.Set(u"x", kAll, kAll), 0u);
  EXPECT_EQ(unitsOf(string), u"0123456789x");
  EXPECT_EQ(allocation.lastSize(), 12 * sizeof(char16_t));
}

TEST(BufferString, AgreesWithAPlainStringUnderFailingAllocations) {
  SeededRandom random(2101);
  for (uint64_t failAt = 0; failAt < 40; ++failAt) {
    FailingHalAllocation allocation(failAt);
    {
      VBufferString string;
      std::u16string model;
      for (int call = 0; call < 60; ++call) {
        std::u16string text(random.below(40), u'a');
        for (char16_t& unit : text) unit = static_cast<char16_t>(1 + random.below(0xFFFE));
        const uint32_t start = random.oneIn(3) ? kAll : random.below(60);
        const bool isCounted = random.oneIn(2);
        const uint32_t count = isCounted ? static_cast<uint32_t>(text.size()) : kAll;
        if (string.Set(text.c_str(), count, start) == 0) modelSet(model, text, start);
        ASSERT_EQ(unitsOf(string), model);
        ASSERT_EQ(string.GetBuffer()[string.GetLength()], 0);
      }
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u);
  }
}

TEST(String, HasSetGetBufferGetLengthAndDestructor) {
  FailingHalAllocation allocation;
  auto* string = new VBufferString;
  EXPECT_EQ(raw_table::call<uint64_t>(string, 0, u"hello", kAll, uint32_t{0}), 0u);
  EXPECT_EQ(raw_table::call<const char16_t*>(string, 1)[4], u'o');
  EXPECT_EQ(raw_table::call<uint32_t>(string, 2), 5u);
  raw_table::destroyAndFree(string, 3);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(StringTail, IsThePartAfterItsBase) {
  RecordingString string(u"base");
  VStringTail tail(string);
  EXPECT_EQ(tail.GetLength(), 0u);
  EXPECT_EQ(tail.Set(u"tail", kAll, 0), 0u);
  EXPECT_EQ(string.content, u"basetail");
  EXPECT_EQ(tail.GetLength(), 4u);
  EXPECT_EQ(tail.GetBuffer(), string.GetBuffer() + 4);
  tail.Set(u"X", 1, 2);
  EXPECT_EQ(string.content, u"basetaX");
  tail.Set(nullptr, 0, 0);
  EXPECT_EQ(string.content, u"base");
}

TEST(StringTail, ClampsTheStartToItsOwnLength) {
  RecordingString string(u"base");
  VStringTail tail(string);
  tail.Set(u"ab", kAll, kAll);
  tail.Set(u"c", 1, 9);
  tail.Set(u"d", 1, 3);
  EXPECT_EQ(string.content, u"baseabcd");
  const std::vector<RecordingString::Call> expected = {
      {u"ab", kAll, 4}, {u"c", 1, 6}, {u"d", 1, 7}};
  EXPECT_EQ(string.calls, expected);
}

TEST(StringTail, ReturnsTheStatusOfTheStringBelow) {
  FailingHalAllocation allocation(0);
  VBufferString string;
  VStringTail tail(string);
  EXPECT_NE(tail.Set(u"x", kAll, 0), 0u);
}

TEST(StringTail, NestsInAnotherTail) {
  VBufferString string;
  string.Set(u"a", kAll, 0);
  VStringTail outer(string);
  outer.Set(u"b", kAll, 0);
  VStringTail inner(static_cast<VString&>(outer));
  inner.Set(u"c", kAll, kAll);
  EXPECT_EQ(unitsOf(string), u"abc");
  EXPECT_EQ(unitsOf(outer), u"bc");
  EXPECT_EQ(unitsOf(inner), u"c");
}

namespace {

// A tail whose string has become shorter than the tail's base.
struct ShortenedString {
  RecordingString string{u"base"};
  VStringTail tail{string};
  AssertionCapture capture;
  ShortenedString() { string.content = u"ba"; }

  std::vector<std::u16string> reportOfLine(int line) {
    return {AssertionCapture::report("stdhelpers", line, "m_string->GetLength()>=m_base")};
  }
};

}  // namespace

TEST(StringTail, ReportsASetOnAShortenedStringAndCarriesOn) {
  ShortenedString shortened;
  shortened.tail.Set(u"x", 1, 0);
  EXPECT_EQ(shortened.capture.take(), shortened.reportOfLine(406));
  const std::vector<RecordingString::Call> expected = {{u"x", 1, 4}};
  EXPECT_EQ(shortened.string.calls, expected);
  EXPECT_EQ(shortened.string.content, u"bax");
}

TEST(StringTail, ReportsGetBufferOfAShortenedStringAndCarriesOn) {
  ShortenedString shortened;
  shortened.string.content.reserve(32);
  EXPECT_EQ(shortened.tail.GetBuffer(), shortened.string.GetBuffer() + 4);
  EXPECT_EQ(shortened.capture.breaks(), 1);
  EXPECT_EQ(shortened.capture.take(), shortened.reportOfLine(414));
}

TEST(StringTail, ReportsGetLengthOfAShortenedStringAndCarriesOn) {
  ShortenedString shortened;
  EXPECT_EQ(shortened.tail.GetLength(), 0xFFFFFFFEu);
  EXPECT_EQ(shortened.capture.take(), shortened.reportOfLine(420));
  EXPECT_EQ(shortened.reportOfLine(420)[0],
            u"\r\n*** ASSERTION FAILED in stdhelpers(420):\r\nm_string->GetLength()>=m_base\r\n");
}

TEST(StringTail, HasSetGetBufferGetLengthAndDestructorAndItsFieldsInOrder) {
  FailingHalAllocation allocation;
  RecordingString string(u"base");
  auto* tail = new VStringTail(string);
  EXPECT_EQ(raw_table::field<void*>(tail, sizeof(void*)), static_cast<VString*>(&string));
  EXPECT_EQ(raw_table::field<uint32_t>(tail, 2 * sizeof(void*)), 4u);
  raw_table::call<uint64_t>(tail, 0, u"xyz", uint32_t{2}, uint32_t{0});
  EXPECT_EQ(string.content, u"basexy");
  EXPECT_EQ(raw_table::call<const char16_t*>(tail, 1), string.GetBuffer() + 4);
  EXPECT_EQ(raw_table::call<uint32_t>(tail, 2), 2u);
  raw_table::destroyAndFree(tail, 3);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
  EXPECT_EQ(string.content, u"basexy") << "the string below is borrowed";
}
