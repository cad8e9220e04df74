// Splitter objects, their reference counting and their layout; the seam between exceptions and
// codes; the rule of out-slots.
#include "frontend/splitter_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "frontend/splitter_factory.h"
#include "tests/frontend/opening.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"

using namespace boxes;
using vela::CreationMode;
using vela::InformationSplitter;
using vela::PlaybackSplitter;
using vela::RefusedSplitter;
using vela::TIOResult;

namespace {

/// Records its counting in a log that it shares with others.
class CountedObject final : public vela::IObject {
 public:
  CountedObject(std::string name, CallLog& log) { references.logTo(log, std::move(name)); }
  uint32_t addRef() override { return references.add(); }
  uint32_t release() override { return references.drop(); }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override {}

  FakeReferences references;
};

/// A splitter of class `Splitter`, not opened.
template <class Splitter>
Splitter* make() {
  return VMemory::GNew<Splitter>(static_cast<vela::HostContext*>(nullptr));
}

template <class Splitter>
bool answersTo(const vela::Guid& iid) {
  Splitter* const splitter = make<Splitter>();
  splitter->addRef();
  void* out = nullptr;
  const bool answers = splitter->queryInterface(&iid, &out) == 1;
  EXPECT_EQ(out, answers ? splitter : nullptr);
  if (answers) {
    EXPECT_EQ(splitter->release(), 1u) << "the out-slot holds a reference";
  }
  EXPECT_EQ(splitter->release(), 0u);
  return answers;
}

}  // namespace

template <class Splitter>
class EverySplitter : public testing::Test {};
using Splitters = testing::Types<InformationSplitter, RefusedSplitter, PlaybackSplitter>;
TYPED_TEST_SUITE(EverySplitter, Splitters);

TYPED_TEST(EverySplitter, BeginsWithACountOfZeroAndIsFreedByItsLastRelease) {
  const FailingHalAllocation memory;
  auto* const splitter = make<TypeParam>();
  EXPECT_EQ(splitter->addRef(), 1u);
  EXPECT_EQ(splitter->addRef(), 2u);
  EXPECT_EQ(splitter->release(), 1u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  EXPECT_EQ(splitter->release(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TYPED_TEST(EverySplitter, KeepsItsMemoryWhenTheDestructorIsToldTo) {
  const FailingHalAllocation memory;
  auto* const splitter = make<TypeParam>();
  splitter->deletingDestructor(0);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  VMemory::GFree(splitter);
}

TYPED_TEST(EverySplitter, HoldsItsSessionAfterTheTablePointerAndItsCountAfterTheSession) {
  auto* const splitter = make<TypeParam>();
  const char* const object = reinterpret_cast<const char*>(splitter);
  constexpr size_t kSessionAt = raw_table::placeAfter<vela::SplitterSession>(sizeof(void*));
  constexpr size_t kCounterAt =
      raw_table::placeAfter<vela::InterlockedCounter>(kSessionAt + sizeof(vela::SplitterSession));
  EXPECT_EQ(reinterpret_cast<const char*>(&splitter->session()), object + kSessionAt);
  constexpr size_t kRunningAt = kCounterAt + sizeof(vela::InterlockedCounter);
  splitter->addRef();
  splitter->addRef();
  EXPECT_EQ(raw_table::field<int32_t>(splitter, kCounterAt + sizeof(void*)), 2);
  EXPECT_EQ(raw_table::field<uint8_t>(splitter, kRunningAt), 0);
  EXPECT_EQ(sizeof(TypeParam), raw_table::placeAfter<TypeParam>(kRunningAt + 1));
  splitter->release();
  splitter->release();
}

TYPED_TEST(EverySplitter, CountsReferencesOfSeveralThreads) {
  auto* const splitter = make<TypeParam>();
  splitter->addRef();
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([splitter] {
        for (int n = 0; n < 20000; ++n) {
          splitter->addRef();
          splitter->release();
        }
      });
    }
  }
  EXPECT_EQ(splitter->addRef(), 2u);
  splitter->release();
  EXPECT_EQ(splitter->release(), 0u);
}

TEST(SplitterObject, AnswersToTheCommonIdentifierAndItsModesOwn) {
  EXPECT_TRUE(answersTo<InformationSplitter>(vela::kMediaSplitterId));
  EXPECT_FALSE(answersTo<InformationSplitter>(vela::kMediaSplitterExId));
  EXPECT_FALSE(answersTo<InformationSplitter>(vela::kMediaSplitterAltId));
  EXPECT_TRUE(answersTo<RefusedSplitter>(vela::kMediaSplitterId));
  EXPECT_FALSE(answersTo<RefusedSplitter>(vela::kMediaSplitterExId));
  EXPECT_TRUE(answersTo<RefusedSplitter>(vela::kMediaSplitterAltId));
  EXPECT_TRUE(answersTo<PlaybackSplitter>(vela::kMediaSplitterId));
  EXPECT_TRUE(answersTo<PlaybackSplitter>(vela::kMediaSplitterExId));
  EXPECT_FALSE(answersTo<PlaybackSplitter>(vela::kMediaSplitterAltId));
  EXPECT_FALSE(answersTo<PlaybackSplitter>(vela::kSplitterFactoryId));
}

TEST(Identifier, IsMadeOfItsPartsWhileTheProgramRunsToo) {
  const std::vector<uint64_t> parts = {0x03020100, 0x0504, 0x0706, 0x08090a0b0c0d0e0f};
  const vela::Guid made =
      vela::makeGuid(static_cast<uint32_t>(parts[0]), static_cast<uint16_t>(parts[1]),
                     static_cast<uint16_t>(parts[2]), parts[3]);
  for (uint8_t i = 0; i < 16; ++i) EXPECT_EQ(made.bytes[i], i);
}

TEST(SplitterObject, ComparesAll16BytesOfAnIdentifier) {
  for (size_t i = 0; i < 16; ++i) {
    vela::Guid nearly = vela::kMediaSplitterId;
    nearly.bytes[i] ^= 1;
    EXPECT_FALSE(answersTo<InformationSplitter>(nearly)) << "byte " << i;
  }
}

TEST(SplitterObject, RefusesBothOperationsOfModeTwoInSlots8And9) {
  RefusedSplitter* const splitter = make<RefusedSplitter>();
  splitter->addRef();
  EXPECT_EQ(raw_table::call<uint32_t>(splitter, 8), 5u);
  EXPECT_EQ(raw_table::call<uint32_t>(splitter, 9), 5u);
  splitter->release();
}

TEST(SplitterObject, TurnsAnExceptionOfTheMovieIntoResult5) {
  const Bytes file =
      movieFile({.tracks = {aacTrack()}, .udta = chpl({{0, "Empty"}, {0, "Whole"}})}).bytes;
  FakeHostStream stream(file);
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  vela::Reference<PlaybackSplitter> splitter(
      VMemory::GNew<PlaybackSplitter>(static_cast<vela::HostContext*>(&context)));
  ASSERT_EQ(splitter->session().openSession(u"movie.mp4", CreationMode::playback, nullptr),
            TIOResult::success);
  FakeMediaInfo info;
  EXPECT_EQ(splitter->describeItem(1, &info, nullptr), TIOResult::failed);
  EXPECT_EQ(splitter->startItem(1, nullptr, nullptr, nullptr), TIOResult::failed);
  EXPECT_EQ(info.calls, Calls{});
}

TEST(SplitterObject, StoresTheTimeOfAVideoPacketAtAnyAddressAndOnlyWithAPacket) {
  FakeHostStream stream(movieFile({.tracks = {avcTrack({.samples = 2})}}).bytes);
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  vela::Reference<PlaybackSplitter> splitter(
      VMemory::GNew<PlaybackSplitter>(static_cast<vela::HostContext*>(&context)));
  ASSERT_EQ(splitter->session().openSession(u"movie.mp4", CreationMode::playback, nullptr),
            TIOResult::success);
  FakeVideoFormat format;
  ASSERT_EQ(splitter->startItem(0, nullptr, &format, nullptr), TIOResult::success);

  uint32_t words[4] = {9, 9, 9, 9};
  struct {
    uint32_t before;
    uint32_t low, high;
    uint32_t after;
  } record{9, 9, 9, 9};
  void* place = &record.low;  // four bytes past an eight-byte boundary, or on one
  FakeVideoPacket packet;
  uint8_t end = 9;
  const auto readInto = [&](void* time) {
    return raw_table::call<uint32_t>(splitter.get(), 10, static_cast<vela::VideoPacket*>(&packet),
                                     &end, time, static_cast<vela::CancelToken*>(nullptr));
  };
  ASSERT_EQ(readInto(place), 0u);
  EXPECT_EQ(record.low, 0u);
  EXPECT_EQ(record.high, 0u);
  EXPECT_EQ(record.before, 9u);
  EXPECT_EQ(record.after, 9u);
  ASSERT_EQ(readInto(words + 1), 0u);
  uint64_t time = 0;
  std::memcpy(&time, words + 1, sizeof time);
  EXPECT_EQ(time, vela::ticksToHostUnits(1000, 25000));
  record.low = 9;
  ASSERT_EQ(readInto(place), 0u);
  EXPECT_EQ(end, 1);
  EXPECT_EQ(record.low, 9u);
}

TEST(InterlockedCounter, HasThreeOperationsAndACountAfterTheTablePointer) {
  vela::InterlockedCounter counter;
  static_assert(sizeof counter <= 2 * sizeof(void*) && sizeof counter >= sizeof(void*) + 4);
  EXPECT_EQ(raw_table::field<int32_t>(&counter, sizeof(void*)), 0);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 0), 1);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 0), 2);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 1), 1);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 2), 1);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 1), 0);
  EXPECT_EQ(raw_table::call<int32_t>(&counter, 1), -1) << "signed";
  EXPECT_EQ(raw_table::field<int32_t>(&counter, sizeof(void*)), -1);
}

TEST(Guarded, GivesWhatTheOperationReturns) {
  EXPECT_EQ(vela::guarded([] { return TIOResult::success; }), TIOResult::success);
  EXPECT_EQ(vela::guarded([] { return kHostCode; }), kHostCode);
}

TEST(Guarded, GivesTheValueOfAThrownCodeAnd5ForAnythingElse) {
  const auto throwing = [](auto thrown) {
    return vela::guarded([&]() -> TIOResult { throw thrown; });
  };
  EXPECT_EQ(throwing(kHostCode), kHostCode);
  EXPECT_EQ(throwing(TIOResult::cancelled), TIOResult::cancelled);
  EXPECT_EQ(throwing(atomkit::exception("x")), TIOResult::failed);
  EXPECT_EQ(throwing(2), TIOResult::failed);
  EXPECT_EQ(throwing(std::bad_alloc()), TIOResult::failed);
  static_assert(noexcept(vela::guarded([]() -> TIOResult { throw 1; })));
}

TEST(Guarded, ThrowsTheCodeOfAFailedHostCall) {
  EXPECT_NO_THROW(vela::throwOnFailure(TIOResult::success));
  EXPECT_THROW(vela::throwOnFailure(kHostCode), TIOResult);
}

TEST(OutSlot, ReferencesTheNewValueBeforeItReleasesTheOldOne) {
  CallLog log;
  CountedObject first("first", log);
  CountedObject second("second", log);
  void* slot = nullptr;
  vela::assignOutSlot(&slot, &first);
  vela::assignOutSlot(&slot, &second);
  EXPECT_EQ(slot, &second);
  vela::assignOutSlot(&slot, &second);
  EXPECT_EQ(second.references.count(), 1u);
  EXPECT_EQ(second.references.timesFreed(), 0u);
  vela::assignOutSlot(&slot, static_cast<CountedObject*>(nullptr));
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(log.calls, (Calls{"addRef first", "addRef second", "release first", "addRef second",
                              "release second", "release second"}));
}

TEST(Reference, HoldsOneReferenceAndTakesOverAStoredOne) {
  CallLog log;
  CountedObject first("first", log);
  CountedObject second("second", log);
  {
    vela::Reference<CountedObject> reference(&first);
    EXPECT_EQ(reference.get(), &first);
    reference.reset(&second);
    EXPECT_EQ(first.references.count(), 0u);
    EXPECT_EQ(second.references.count(), 1u);
    first.addRef();
    const auto adopted = vela::Reference<CountedObject>::adopt(&first);
    EXPECT_TRUE(adopted);
    EXPECT_EQ(first.references.count(), 1u);
    EXPECT_FALSE(vela::Reference<CountedObject>::adopt(nullptr));
  }
  EXPECT_EQ(first.references.count(), 0u);
  EXPECT_EQ(second.references.count(), 0u);
}
