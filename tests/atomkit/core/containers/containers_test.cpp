// The MP4 library's containers and its exception.
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/node_list.h"
#include "atomkit/core/containers/object_array.h"
#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/containers/shared.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

/// Counts its living instances and remembers whether it was copied.
struct Counted {
  Counted() noexcept { ++living(); }
  Counted(const Counted& other) noexcept : value(other.value) { ++living(); }
  Counted& operator=(const Counted& other) {
    if (other.value == throwOnCopyOf()) throw exception("copy failed");
    value = other.value;
    copied = true;
    return *this;
  }
  ~Counted() { --living(); }

  static int& living() {
    static int count = 0;
    return count;
  }
  static int& throwOnCopyOf() {
    static int value = -1;
    return value;
  }

  int value = 0;
  bool copied = false;
};

// ---- exception

TEST(Exception, IsThrownByValueAndKeepsThePointerToItsText) {
  static const char text[] = "some text";
  try {
    throw exception(text);
  } catch (exception error) {
    EXPECT_EQ(error.message(), text);
  }
  EXPECT_EQ(sizeof(exception), sizeof(void*));
}

// ---- PlainArray

TEST(PlainArray, ResizingToTheSameCountKeepsTheContentsAndAllocatesNothing) {
  FailingAllocation memory;
  PlainArray<uint32_t> words;
  words.resize(3);
  words[0] = 7;
  words[2] = 9;
  words.resize(3);
  EXPECT_EQ(words[0], 7u);
  EXPECT_EQ(words[2], 9u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(PlainArray, ResizingToAnyOtherCountTakesNewStorageOfTheExactSize) {
  FailingAllocation memory;
  PlainArray<uint64_t> words;
  words.resize(3);
  EXPECT_EQ(memory.largestBlock(), 24u);
  words.resize(2);
  EXPECT_EQ(memory.allocations(), 2u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  words.resize(5);
  EXPECT_EQ(memory.largestBlock(), 40u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  EXPECT_EQ(words.count(), 5u);
}

TEST(PlainArray, ResizingToZeroHoldsNoMemory) {
  FailingAllocation memory;
  ByteArray bytes;
  bytes.resize(4);
  bytes.resize(0);
  EXPECT_EQ(bytes.count(), 0u);
  EXPECT_EQ(bytes.data(), nullptr);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(PlainArray, AFailedResizeLeavesItEmpty) {
  FailingAllocation memory(1);
  PlainArray<uint32_t> words;
  words.resize(3);
  EXPECT_THROWS_MESSAGE(words.resize(4), "out of memory when resizing array");
  EXPECT_EQ(words.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_THROWS_MESSAGE(words[0], "array access out of range");
}

TEST(PlainArray, AccessAtTheCountThrows) {
  ByteArray bytes;
  EXPECT_THROWS_MESSAGE(bytes[0], "array access out of range");
  bytes.resize(2);
  bytes[1] = 5;
  EXPECT_EQ(bytes[1], 5);
  EXPECT_THROWS_MESSAGE(bytes[2], "array access out of range");
  EXPECT_THROWS_MESSAGE(bytes[0xffffffff], "array access out of range");
  const ByteArray& constant = bytes;
  EXPECT_EQ(constant[1], 5);
  EXPECT_THROWS_MESSAGE(constant[2], "array access out of range");
}

TEST(PlainArray, SwapExchangesContents) {
  ByteArray left;
  ByteArray right;
  left.resize(1);
  left[0] = 3;
  left.swap(right);
  EXPECT_EQ(left.count(), 0u);
  EXPECT_EQ(right[0], 3);
}

// ---- ObjectArray

TEST(ObjectArray, GrowingFromTwoToThreeCopiesTheOldElementsAndAddsADefaultOne) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[0].value = 10;
  objects[1].value = 11;
  objects.resize(3);
  EXPECT_EQ(objects[0].value, 10);
  EXPECT_EQ(objects[1].value, 11);
  EXPECT_TRUE(objects[1].copied);
  EXPECT_EQ(objects[2].value, 0);
  EXPECT_FALSE(objects[2].copied);
  EXPECT_EQ(Counted::living(), 3);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(ObjectArray, ResizingFromThreeToZeroDestroysAllThree) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(3);
  EXPECT_EQ(Counted::living(), 3);
  objects.resize(0);
  EXPECT_EQ(Counted::living(), 0);
  EXPECT_EQ(objects.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(ObjectArray, ShrinkingKeepsTheFirstElements) {
  ObjectArray<Counted> objects;
  objects.resize(3);
  for (uint32_t i = 0; i < 3; ++i) objects[i].value = static_cast<int>(i) + 20;
  objects.resize(2);
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[0].value, 20);
  EXPECT_EQ(objects[1].value, 21);
  EXPECT_EQ(Counted::living(), 2);
}

TEST(ObjectArray, ResizingToTheSameCountCopiesNothing) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects.resize(2);
  EXPECT_FALSE(objects[0].copied);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(ObjectArray, AFailedResizeLeavesItAsItWas) {
  FailingAllocation memory(1);
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[1].value = 5;
  EXPECT_THROWS_MESSAGE(objects.resize(3), "out of memory when resizing array");
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[1].value, 5);
  EXPECT_EQ(Counted::living(), 2);
}

TEST(ObjectArray, ACopyThatThrowsLeavesItAsItWas) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[1].value = 13;
  Counted::throwOnCopyOf() = 13;
  EXPECT_THROWS_MESSAGE(objects.resize(3), "copy failed");
  Counted::throwOnCopyOf() = -1;
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[1].value, 13);
  EXPECT_EQ(Counted::living(), 2);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(ObjectArray, AccessAtTheCountThrows) {
  ObjectArray<Counted> objects;
  EXPECT_THROWS_MESSAGE(objects[0], "array access out of range");
  objects.resize(1);
  EXPECT_EQ(objects[0].value, 0);
  EXPECT_THROWS_MESSAGE(objects[1], "array access out of range");
}

TEST(ObjectArray, DestroysItsElementsWithItself) {
  {
    ObjectArray<Counted> objects;
    objects.resize(4);
  }
  EXPECT_EQ(Counted::living(), 0);
}

// ---- Handle, LazyHandle

TEST(Handle, CopiesCountAndTheLastReleaseDestroys) {
  FailingAllocation memory;
  {
    Handle<Counted> first = Handle<Counted>::make();
    EXPECT_EQ(first.references(), 1u);
    {
      const Handle<Counted> second = first;
      EXPECT_EQ(first.references(), 2u);
      EXPECT_EQ(&*second, &*first);
    }
    EXPECT_EQ(first.references(), 1u);
    EXPECT_EQ(Counted::living(), 1);
  }
  EXPECT_EQ(Counted::living(), 0);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(Handle, TheReferenceCountIsThe32BitWordInFront) {
  static_assert(std::is_standard_layout_v<Shared<uint32_t>>);
  EXPECT_EQ(offsetof(Shared<uint32_t>, references), 0u);
  EXPECT_EQ(sizeof(Shared<uint32_t>::references), 4u);
}

TEST(Handle, AssigningReleasesTheOldTargetBeforeItTakesTheNewOne) {
  struct Watcher {
    const Handle<Watcher>* watched = nullptr;
    uint32_t* seen = nullptr;
    ~Watcher() {
      if (seen) *seen = watched->references();
    }
  };
  uint32_t referencesToTheNewTarget = 0;
  const Handle<Watcher> fresh = Handle<Watcher>::make();
  Handle<Watcher> handle = Handle<Watcher>::make();
  handle->watched = &fresh;
  handle->seen = &referencesToTheNewTarget;
  handle = fresh;
  EXPECT_EQ(referencesToTheNewTarget, 1u);
  EXPECT_EQ(fresh.references(), 2u);
}

TEST(Handle, AssigningToItselfKeepsTheObject) {
  Handle<Counted> handle = Handle<Counted>::make();
  const Handle<Counted>& alias = handle;
  handle = alias;
  EXPECT_EQ(handle.references(), 1u);
  EXPECT_EQ(Counted::living(), 1);
}

TEST(Handle, AnEmptyHandleHasNoReferences) {
  const Handle<Counted> empty;
  const Handle<Counted> copy = empty;
  EXPECT_FALSE(copy);
  EXPECT_EQ(copy.references(), 0u);
}

TEST(Handle, AFailedAllocationIsOutOfMemory) {
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(Handle<Counted>::make(), "out of memory");
}

TEST(LazyHandle, MakesItsObjectOnFirstAccess) {
  FailingAllocation memory;
  const LazyHandle<Counted> handle;
  EXPECT_EQ(handle.references(), 0u);
  EXPECT_EQ(memory.allocations(), 0u);
  EXPECT_EQ(handle->value, 0);
  EXPECT_EQ(handle.references(), 1u);
  handle->value = 4;
  EXPECT_EQ((*handle).value, 4);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(LazyHandle, AFailedAllocationIsOutOfMemoryAndTheNextAccessTriesAgain) {
  FailingAllocation memory(0);
  const LazyHandle<Counted> handle;
  EXPECT_THROWS_MESSAGE(*handle, "out of memory");
  EXPECT_EQ(handle->value, 0);
}

TEST(LazyHandle, ResizingAnArrayOfThemFillsEveryEmptyOne) {
  ObjectArray<LazyHandle<Counted>> handles;
  handles.resize(2);
  EXPECT_EQ(handles[0].references(), 0u);
  handles.resize(3);
  EXPECT_EQ(handles[0].references(), 1u);
  EXPECT_EQ(handles[1].references(), 1u);
  EXPECT_EQ(handles[2].references(), 0u);
}

// ---- OwnedString

TEST(OwnedString, KeepsACopyThatEndsWithAZeroByte) {
  FailingAllocation memory;
  char original[] = "abc";
  OwnedString text;
  text.assign(original);
  original[0] = 'x';
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.length(), 3u);
  EXPECT_EQ(memory.largestBlock(), 4u);
}

TEST(OwnedString, TheEmptyTextOwnsNoMemoryAndHasLengthZero) {
  FailingAllocation memory;
  OwnedString text;
  EXPECT_EQ(text.length(), 0u);
  text.assign("");
  text.assign(nullptr);
  EXPECT_EQ(memory.allocations(), 0u);
  text.assign("x");
  text.assign("");
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_STREQ(text.text(), "");
  EXPECT_TRUE(text.empty());
}

TEST(OwnedString, AssigningItsOwnStorageChangesNothing) {
  FailingAllocation memory;
  OwnedString text;
  text.assign("same");
  const char* storage = text.text();
  text.assign(storage);
  EXPECT_EQ(text.text(), storage);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(OwnedString, AFailedAssignmentIsOutOfMemoryAndLeavesItEmpty) {
  FailingAllocation memory(1);
  OwnedString text;
  text.assign("old");
  EXPECT_THROWS_MESSAGE(text.assign("new"), "out of memory");
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(OwnedString, CopiesAreIndependent) {
  OwnedString first;
  first.assign("one");
  OwnedString second(first);
  OwnedString third;
  third = first;
  first.assign("two");
  EXPECT_STREQ(second.text(), "one");
  EXPECT_STREQ(third.text(), "one");
}

// ---- comparisons

TEST(CompareIgnoringCase, FindsAKeyWrittenInCapitals) {
  EXPECT_EQ(compareIgnoringCase("TITLE", "title"), 0);
  EXPECT_EQ(compareIgnoringCase("tItLe", "TiTlE"), 0);
  EXPECT_EQ(compareIgnoringCase("", ""), 0);
}

TEST(CompareIgnoringCase, BytesAbove0x7fCompareAsTheyAre) {
  // The same letter in capital and small form, in Latin-1.
  EXPECT_EQ(compareIgnoringCase("\xC4", "\xE4"), -1);
  EXPECT_EQ(compareIgnoringCase("\xE4", "\xC4"), 1);
  EXPECT_EQ(compareIgnoringCase("\xE4", "\xE4"), 0);
}

TEST(CompareIgnoringCase, TheFirstDifferenceDecidesUnsigned) {
  EXPECT_EQ(compareIgnoringCase("abc", "abd"), -1);
  EXPECT_EQ(compareIgnoringCase("abd", "ABC"), 1);
  EXPECT_EQ(compareIgnoringCase("ab", "abc"), -1);
  EXPECT_EQ(compareIgnoringCase("abc", "ab"), 1);
  EXPECT_EQ(compareIgnoringCase("\x80", "z"), 1);
  EXPECT_EQ(compareIgnoringCase("", "\xFF"), -1);
}

TEST(CompareIgnoringCase, OnlyAToZAreFolded) {
  for (int byte = 1; byte < 256; ++byte) {
    const bool capital = byte >= 'A' && byte <= 'Z';
    const char left[] = {static_cast<char>(byte), 0};
    const char right[] = {static_cast<char>(byte ^ 0x20), 0};
    const bool small = byte >= 'a' && byte <= 'z';
    EXPECT_EQ(compareIgnoringCase(left, right) == 0, capital || small) << byte;
  }
}

TEST(ComparePrefixIgnoringCase, AcceptsAnyMixOfCaseAndTheWholePrefixOnly) {
  EXPECT_EQ(comparePrefixIgnoringCase("replaygain_track_gain", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("ReplayGain_", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("REPLAYGAIN_X", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("replaygain", "replaygain_"), -1);
  EXPECT_EQ(comparePrefixIgnoringCase("", "replaygain_"), -1);
  EXPECT_EQ(comparePrefixIgnoringCase("title", "replaygain_"), 1);
}

TEST(ComparePrefixIgnoringCase, TheEmptyPrefixBeginsEveryText) {
  EXPECT_EQ(comparePrefixIgnoringCase("", ""), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("x", ""), 0);
}

// ---- NodeList

struct Payload {
  int value = 0;
  int cleared = 0;
  void clear() noexcept {
    value = 0;
    ++cleared;
  }
};
using List = NodeList<uint32_t, Payload>;

TEST(NodeList, KeepsInsertionOrderAndTakesAKeyTwice) {
  List list;
  list.append(5).payload.value = 1;
  list.append(3).payload.value = 2;
  list.append(5).payload.value = 3;
  EXPECT_EQ(list.count(), 3u);
  std::vector<int> values;
  for (auto* node = list.first(); node; node = node->next) values.push_back(node->payload.value);
  EXPECT_EQ(values, (std::vector<int>{1, 2, 3}));
}

TEST(NodeList, RemovingLinksTheNeighboursAtEveryPlace) {
  for (uint32_t removed = 0; removed < 3; ++removed) {
    List list;
    List::Node* nodes[3];
    for (uint32_t key = 0; key < 3; ++key) nodes[key] = &list.append(key);
    list.remove(*nodes[removed]);
    std::vector<uint32_t> forward;
    const List::Node* last = nullptr;
    for (auto* node = list.first(); node; node = node->next) {
      EXPECT_EQ(node->previous, last);
      forward.push_back(node->key);
      last = node;
    }
    std::vector<uint32_t> expected = {0, 1, 2};
    expected.erase(expected.begin() + removed);
    EXPECT_EQ(forward, expected);
    EXPECT_EQ(list.append(9).previous, last);
  }
}

TEST(NodeList, ARemovedNodeIsClearedAndUsedAgain) {
  FailingAllocation memory;
  List list;
  list.append(1).payload.value = 7;
  list.remove(*list.first());
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(list.pooled(), 1u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  const auto& reused = list.append(2);
  EXPECT_EQ(reused.payload.value, 0);
  EXPECT_EQ(reused.payload.cleared, 1);
  EXPECT_EQ(memory.allocations(), 1u);
  EXPECT_EQ(list.pooled(), 0u);
}

TEST(NodeList, The33rdRemovedNodeIsFreed) {
  FailingAllocation memory;
  List list;
  for (uint32_t key = 0; key < 33; ++key) list.append(key);
  for (int i = 0; i < 32; ++i) list.remove(*list.first());
  EXPECT_EQ(list.pooled(), 32u);
  EXPECT_EQ(memory.blocksHeld(), 33u);
  list.remove(*list.first());
  EXPECT_EQ(list.pooled(), 32u);
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 32u);
}

TEST(NodeList, ClearingFreesEveryNode) {
  FailingAllocation memory;
  List list;
  for (uint32_t key = 0; key < 5; ++key) list.append(key);
  list.remove(*list.first());
  list.clear();
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  list.append(1);
  EXPECT_EQ(list.first()->key, 1u);
}

TEST(NodeList, AFailedInsertionIsOutOfMemoryAndLeavesTheListAsItWas) {
  FailingAllocation memory(1);
  List list;
  list.append(1);
  EXPECT_THROWS_MESSAGE(list.append(2), "out of memory");
  EXPECT_EQ(list.count(), 1u);
  EXPECT_EQ(list.first()->next, nullptr);
}

}  // namespace
}  // namespace atomkit
