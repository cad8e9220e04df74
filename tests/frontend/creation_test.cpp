// Entry, module and factory where memory runs out or a creation fails.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frontend/splitter_factory.h"
#include "frontend/splitter_module.h"
#include "frontend/vela_splitter.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/fake_host.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/raw_table.h"

using namespace boxes;
using vela::TIOResult;

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using Calls = std::vector<std::string>;

Bytes film() { return movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes; }

struct Host {
  explicit Host(Bytes file) : stream(std::move(file)), provider(stream), context(provider) {}

  FakeHostStream stream;
  FakeSourceProvider provider;
  FakeHostContext context;
  vela::SplitterFactory factory{&context};
  FakeHostStream previous;  // what the caller's out-slot holds before a creation

  vela::ISplitterFactory& creation() { return factory; }
  bool holdsNothing() const {
    return stream.references.count() == 0 && provider.references.count() == 0;
  }
};

}  // namespace

TEST(Creation, LeavesExactlyTheCallersReference) {
  const FailingHalAllocation memory;
  Host host(film());
  void* out = nullptr;
  ASSERT_EQ(host.creation().createSplitterEx(&out, u"movie.mp4", nullptr), TIOResult::success);
  EXPECT_EQ(memory.blocksHeld(), 2u) << "the object and its read cache";
  EXPECT_EQ(static_cast<vela::IObject*>(out)->release(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_TRUE(host.holdsNothing());
  EXPECT_EQ(host.stream.references.timesFreed(), 1u);
}

TEST(Creation, ReplacesWhatTheOutSlotHeld) {
  Host host(film());
  host.previous.addRef();
  void* out = host.previous.control();
  ASSERT_EQ(host.creation().createSplitter(&out, u"movie.mp4", nullptr), TIOResult::success);
  EXPECT_EQ(host.previous.references.timesFreed(), 1u);
  static_cast<vela::IObject*>(out)->release();
}

TEST(Creation, LeavesTheOutSlotAloneAndFreesEverythingWhenItFails) {
  for (uint32_t number = 1;; ++number) {  // call 0 asks for the length, which need not be told
    ASSERT_LT(number, 1000u);
    const FailingHalAllocation memory;
    const FailingAllocation movieMemory;
    Host host(film());
    host.previous.addRef();
    host.stream.failCall("", number, kHostCode);
    void* out = host.previous.control();
    const TIOResult result = host.creation().createSplitterEx(&out, u"movie.mp4", nullptr);
    if (result == TIOResult::success) {
      EXPECT_GT(number, 2u);
      static_cast<vela::IObject*>(out)->release();
      break;
    }
    EXPECT_EQ(result, kHostCode);
    EXPECT_EQ(out, host.previous.control());
    EXPECT_EQ(host.previous.references.count(), 1u);
    EXPECT_EQ(memory.blocksHeld(), 0u);
    EXPECT_EQ(movieMemory.blocksHeld(), 0u);
    EXPECT_TRUE(host.holdsNothing());
  }
}

TEST(Creation, Gives6WithoutMemoryForTheObjectAndAsksTheHostNothing) {
  const FailingHalAllocation noMemory(0, FailingHalAllocation::kNever);
  Host host(film());
  host.previous.addRef();
  void* out = host.previous.control();
  EXPECT_EQ(host.creation().createSplitter(&out, u"movie.mp4", nullptr), TIOResult::outOfMemory);
  EXPECT_EQ(host.creation().createSplitterEx(&out, u"movie.mp4", nullptr), TIOResult::outOfMemory);
  EXPECT_EQ(host.creation().createSplitterAlt(&out, u"movie.mp4", nullptr), TIOResult::outOfMemory);
  EXPECT_EQ(out, host.previous.control());
  EXPECT_EQ(host.context.calls, Calls{});
}

TEST(Creation, SucceedsWithoutMemoryForTheReadCache) {
  const FailingHalAllocation noCache(1);
  Host host(film());
  void* out = nullptr;
  ASSERT_EQ(host.creation().createSplitterEx(&out, u"movie.mp4", nullptr), TIOResult::success);
  EXPECT_TRUE(noCache.failed());
  EXPECT_EQ(noCache.blocksHeld(), 1u);
  static_cast<vela::IObject*>(out)->release();
  EXPECT_EQ(noCache.blocksHeld(), 0u);
  EXPECT_TRUE(host.holdsNothing());
}

TEST(Creation, Gives5ForEveryFailedAllocationOfTheMovieAndLeaksNothing) {
  for (uint64_t number = 0;; ++number) {
    ASSERT_LT(number, 10000u);
    const FailingHalAllocation memory;
    const FailingAllocation movieMemory(number);
    Host host(film());
    void* out = nullptr;
    const TIOResult result = host.creation().createSplitterEx(&out, u"movie.mp4", nullptr);
    if (out) static_cast<vela::IObject*>(out)->release();
    EXPECT_EQ(memory.blocksHeld(), 0u);
    EXPECT_EQ(movieMemory.blocksHeld(), 0u);
    EXPECT_TRUE(host.holdsNothing());
    if (!movieMemory.failed()) {
      EXPECT_EQ(result, TIOResult::success);
      EXPECT_GT(number, 10u);
      break;
    }
    EXPECT_EQ(result, TIOResult::failed) << "allocation " << number;
  }
}

TEST(Creation, FreesTheRefusedObject) {
  const FailingHalAllocation memory;
  Host host(film());
  void* out = nullptr;
  EXPECT_EQ(host.creation().createSplitterAlt(&out, u"movie.mp4", nullptr), TIOResult::failed);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(memory.allocations(), 1u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(Creation, Gives3WithoutAHostInEveryModeEvenWithoutMemory) {
  vela::SplitterFactory factory(nullptr);
  vela::ISplitterFactory& creation = factory;
  FakeHostStream previous;
  previous.addRef();
  void* out = previous.control();
  for (const uint64_t failures : {uint64_t{0}, FailingHalAllocation::kNever}) {
    const FailingHalAllocation memory(0, failures);
    EXPECT_EQ(creation.createSplitter(&out, u"movie.mp4", nullptr), TIOResult::sourceNotFound);
    EXPECT_EQ(creation.createSplitterAlt(&out, u"movie.mp4", nullptr), TIOResult::sourceNotFound);
    EXPECT_EQ(creation.createSplitterEx(&out, u"movie.mp4", nullptr), TIOResult::sourceNotFound);
  }
  EXPECT_EQ(out, previous.control());
  EXPECT_EQ(previous.references.count(), 1u);
}

TEST(Module, IsNullWithoutMemory) {
  const FailingHalAllocation noMemory(0);
  EXPECT_EQ(VelaEntry(), nullptr);
}

TEST(Module, HasNoFactoryWhenThereIsNoMemoryForItAndTriesAgain) {
  FakeHostStream stream;
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  FakeModuleSink sink;
  const FailingHalAllocation noFactory(1);
  vela::ISplitterModule* const module = VelaEntry();
  ASSERT_NE(module, nullptr);
  module->attachHost(&context);
  EXPECT_EQ(raw_table::word(module, 1), nullptr);
  EXPECT_EQ(module->enumerate(&sink), 0u);
  EXPECT_EQ(sink.calls, 0u);
  module->attachHost(&context);
  EXPECT_EQ(module->enumerate(&sink), 1u);
  EXPECT_EQ(noFactory.blocksHeld(), 2u);
  module->deletingDestructor(1);
  EXPECT_EQ(noFactory.blocksHeld(), 0u);
}

TEST(Module, DestroysItsFactoryAndKeepsItsOwnMemoryWhenToldTo) {
  FakeHostStream stream;
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  const FailingHalAllocation memory;
  vela::ISplitterModule* const module = VelaEntry();
  module->attachHost(&context);
  EXPECT_EQ(memory.blocksHeld(), 2u);
  module->deletingDestructor(0);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  VMemory::GFree(module);
}

TEST(Factory, IsTwoFacesAndTheHostContext) {
  FakeHostStream stream;
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  vela::SplitterFactory factory(&context);
  const char* const object = reinterpret_cast<const char*>(&factory);
  vela::IModuleDescriptor* const descriptor = &factory;
  vela::ISplitterFactory* const creation = &factory;
  EXPECT_EQ(reinterpret_cast<const char*>(descriptor), object);
  EXPECT_EQ(reinterpret_cast<const char*>(creation), object + sizeof(void*));
  EXPECT_EQ(raw_table::word(&factory, 2), static_cast<vela::HostContext*>(&context));
}

TEST(Factory, FreesItsMemoryThroughTheDescriptorFaceOnly) {
  const FailingHalAllocation memory;
  auto* const factory =
      VMemory::GNew<vela::SplitterFactory>(static_cast<vela::HostContext*>(nullptr));
  vela::IModuleDescriptor* const descriptor = factory;
  vela::ISplitterFactory* const creation = factory;
  creation->deletingDestructor(1);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  descriptor->deletingDestructor(0);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  descriptor->deletingDestructor(1);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}
