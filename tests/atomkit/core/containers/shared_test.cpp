#include "atomkit/core/containers/shared.h"

#include <gtest/gtest.h>

#include "atomkit/core/containers/object_array.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

// Handles make objects whose construction can't throw.
struct Number {
  Number() noexcept { ++living(); }
  Number(const Number&) = delete;
  Number& operator=(const Number&) = delete;
  ~Number() { --living(); }

  static int& living() {
    static int count = 0;
    return count;
  }

  int value = 0;
};

TEST(Objects, AreDestroyedAndFreedAndNoneIsIgnored) {
  FailingAllocation memory;
  destroy(create<Number>());
  EXPECT_EQ(memory.allocations(), 1u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  destroy(static_cast<Number*>(nullptr));
  EXPECT_EQ(Number::living(), 0);
}

TEST(Handle, CopiesCountAndTheLastReleaseDestroys) {
  FailingAllocation memory;
  {
    Handle<Number> first = Handle<Number>::make();
    EXPECT_EQ(first.references(), 1u);
    {
      const Handle<Number> second = first;
      EXPECT_EQ(first.references(), 2u);
      EXPECT_EQ(&*second, &*first);
    }
    EXPECT_EQ(first.references(), 1u);
    EXPECT_EQ(Number::living(), 1);
  }
  EXPECT_EQ(Number::living(), 0);
  EXPECT_EQ(memory.blocksHeld(), 0u);
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
  Handle<Number> handle = Handle<Number>::make();
  const Handle<Number>& alias = handle;
  handle = alias;
  EXPECT_EQ(handle.references(), 1u);
  EXPECT_EQ(Number::living(), 1);
}

TEST(Handle, AnEmptyHandleHasNoReferences) {
  const Handle<Number> empty;
  const Handle<Number> copy = empty;
  EXPECT_FALSE(copy);
  EXPECT_EQ(copy.references(), 0u);
}

TEST(Handle, AFailedAllocationIsOutOfMemory) {
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(Handle<Number>::make(), "out of memory");
}

TEST(LazyHandle, MakesItsObjectOnFirstAccess) {
  FailingAllocation memory;
  const LazyHandle<Number> handle;
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
  const LazyHandle<Number> handle;
  EXPECT_THROWS_MESSAGE(*handle, "out of memory");
  EXPECT_EQ(handle->value, 0);
}

TEST(LazyHandle, ResizingAnArrayOfThemFillsEveryEmptyOne) {
  ObjectArray<LazyHandle<Number>> handles;
  handles.resize(2);
  EXPECT_EQ(handles[0].references(), 0u);
  handles.resize(3);
  EXPECT_EQ(handles[0].references(), 1u);
  EXPECT_EQ(handles[1].references(), 1u);
  EXPECT_EQ(handles[2].references(), 0u);
}

}  // namespace
}  // namespace atomkit
