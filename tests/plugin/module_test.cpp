// Module, descriptor and factory of the built plug-in, slot by slot.
#include <malloc.h>

#include "tests/plugin/loaded_plugin.h"
#include "tests/support/movie_builder.h"

using namespace boxes;
using raw_host::Bystander;
using raw_host::ModuleSink;

namespace {

class ModuleSlots : public PluginTest {
 protected:
  void attach(raw_host::Context& host) {
    call<void>(module, module_slot::kAttachHost, static_cast<void*>(&host));
  }
  uint32_t enumerate(ModuleSink& sink) {
    return call<uint32_t>(module, module_slot::kEnumerate, static_cast<void*>(&sink));
  }
  void* descriptor() {
    attach(context);
    ModuleSink sink;
    enumerate(sink);
    return sink.descriptor;
  }
};

class FactorySlots : public PluginTest {
 protected:
  bool matches(const char16_t* name) {
    return call<uint32_t>(factory(), factory_slot::kMatchesFilter, name) != 0;
  }
  static Bytes film() { return movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes; }
};

/// Bytes that this process has allocated and not freed. Always 0 in a sanitizer build, which looks
/// for leaks by itself.
size_t bytesAllocated() {
#ifdef _WIN32
  size_t bytes = 0;
  for (_HEAPINFO block = {}; _heapwalk(&block) == _HEAPOK;) {
    if (block._useflag == _USEDENTRY) bytes += block._size;
  }
  return bytes;
#else
  return mallinfo2().uordblks;
#endif
}

class Deliberate : public FactorySlots {};

}  // namespace

TEST_F(ModuleSlots, Slot0IsTheVersion2BeforeAndAfterAHostIsAttached) {
  EXPECT_EQ(call<uint32_t>(module, 0), 2u);
  attach(context);
  EXPECT_EQ(call<uint32_t>(module, 0), 2u);
}

TEST_F(ModuleSlots, HoldsItsFactoryAfterTheTablePointer) {
  EXPECT_EQ(raw_table::word(module, 1), nullptr);
  void* const reported = descriptor();
  EXPECT_EQ(reported, raw_table::word(module, 1));
}

TEST_F(ModuleSlots, Slot1KeepsTheFirstHostWhenASecondIsAttached) {
  raw_host::Context second;
  attach(context);
  void* const first = raw_table::word(module, 1);
  attach(second);
  EXPECT_EQ(raw_table::word(module, 1), first);
  EXPECT_EQ(raw_table::word(first, 2), &context);
  void* out = nullptr;
  EXPECT_EQ(create(factory_slot::kCreateMode0, &out), 5u) << "an empty file";
  EXPECT_EQ(context.names, std::vector<std::u16string>{u"movie.mp4"});
  EXPECT_EQ(second.names.size(), 0u);
}

TEST_F(ModuleSlots, Slot1TakesANullHostAndKeepsIt) {
  call<void>(module, module_slot::kAttachHost, static_cast<void*>(nullptr));
  ModuleSink sink;
  EXPECT_EQ(enumerate(sink), 0xBEEFu) << "there is a factory";
  Bystander previous;
  previous.count = 1;
  void* out = &previous;
  for (const size_t slot :
       {factory_slot::kCreateMode0, factory_slot::kCreateMode2, factory_slot::kCreateMode1}) {
    EXPECT_EQ(create(slot, &out), 3u) << "the host that is attached now comes too late";
  }
  EXPECT_EQ(out, &previous);
  EXPECT_EQ(previous.count, 1u);
  EXPECT_EQ(context.names.size(), 0u);
}

TEST_F(ModuleSlots, Slot2GivesZeroAndCallsNobodyWithoutAHost) {
  ModuleSink sink;
  EXPECT_EQ(enumerate(sink), 0u);
  EXPECT_EQ(sink.calls, 0u);
}

TEST_F(ModuleSlots, Slot2GivesTheSinkTheDescriptorAndTheCallerItsAnswer) {
  attach(context);
  ModuleSink sink;
  EXPECT_EQ(enumerate(sink), 0xBEEFu);
  EXPECT_EQ(sink.calls, 1u);
  EXPECT_NE(sink.descriptor, nullptr);
}

TEST_F(ModuleSlots, Slot3IsTheClassIdentifier) {
  EXPECT_EQ(idBytes(call<void*>(module, 3)), ids::kModule);
}

TEST_F(ModuleSlots, Slot4GivesTheMemoryOfModuleAndFactoryBack) {
  const size_t before = bytesAllocated();
  for (int i = 0; i < 4000; ++i) {
    void* const other = plugin.newModule();
    if (i % 2) call<void>(other, module_slot::kAttachHost, static_cast<void*>(&context));
    call<void>(other, 4, uint32_t{1});
  }
  EXPECT_LT(bytesAllocated(), before + 4000) << "less than a byte for each module";
}

TEST_F(ModuleSlots, AreIndependentForTwoModules) {
  void* const other = plugin.newModule();
  EXPECT_NE(other, module);
  attach(context);
  EXPECT_EQ(raw_table::word(other, 1), nullptr);
  call<void>(other, 4, uint32_t{1});
}

TEST_F(ModuleSlots, DescriptorSlot0StoresTheFactoryFaceOnePointerAfterTheDescriptor) {
  Bystander previous;
  previous.count = 1;
  void* out = &previous;
  EXPECT_EQ(call<uint32_t>(descriptor(), 0, &out), 1u);
  EXPECT_EQ(out, static_cast<char*>(descriptor()) + sizeof(void*));
  EXPECT_EQ(previous.timesFreed, 1u);
}

TEST_F(ModuleSlots, DescriptorSlot1IsTheFactoryIdentifier) {
  EXPECT_EQ(idBytes(call<void*>(descriptor(), 1)), ids::kFactory);
}

TEST_F(ModuleSlots, DescriptorSlot2WithoutTheFlagLeavesTheMemoryToItsOwner) {
  void* const factory = descriptor();
  call<void>(factory, 2, uint32_t{0});
  EXPECT_EQ(raw_table::word(factory, 2), &context);
}

TEST_F(FactorySlots, Slots0And1CountNothing) {
  EXPECT_EQ(call<uint32_t>(factory(), 0), 1u);
  EXPECT_EQ(call<uint32_t>(factory(), 0), 1u);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(call<uint32_t>(factory(), 1), 1u);
}

TEST_F(FactorySlots, Slot2AnswersToTheFactoryIdentifierOnly) {
  Bystander previous;
  previous.count = 1;
  void* out = &previous;
  for (const Bytes* id : {&ids::kModule, &ids::kSplitter, &ids::kSplitterEx, &ids::kSplitterAlt}) {
    EXPECT_EQ(call<uint32_t>(factory(), 2, id->data(), &out), 0u);
  }
  EXPECT_EQ(out, &previous);
  EXPECT_EQ(previous.count, 1u);
  EXPECT_EQ(call<uint32_t>(factory(), 2, ids::kFactory.data(), &out), 1u);
  EXPECT_EQ(out, factory());
  EXPECT_EQ(previous.timesFreed, 1u);
}

TEST_F(FactorySlots, Slot3DestroysNothing) {
  call<void>(factory(), 3, uint32_t{1});
  EXPECT_EQ(call<uint32_t>(factory(), 0), 1u);
}

TEST_F(Deliberate, D001_TheMiddleCreationSlotIsModeTwo) {
  stream.bytes = film();
  Bystander previous;
  previous.count = 1;
  void* out = &previous;
  EXPECT_EQ(create(5, &out), 5u);
  EXPECT_EQ(out, &previous) << "the out-slot stays as it was";
  EXPECT_EQ(previous.count, 1u);
  EXPECT_EQ(context.names.size(), 0u) << "the host was not asked";

  const auto answers = [&](size_t slot, const Bytes& id) {
    void* splitter = nullptr;
    EXPECT_EQ(create(slot, &splitter), 0u);
    void* same = nullptr;
    const uint32_t answer = call<uint32_t>(splitter, 2, id.data(), &same);
    if (same) release(same);
    EXPECT_EQ(release(splitter), 0u);
    return answer;
  };
  EXPECT_EQ(answers(4, ids::kSplitter), 1u);
  EXPECT_EQ(answers(4, ids::kSplitterEx), 0u);
  EXPECT_EQ(answers(4, ids::kSplitterAlt), 0u);
  EXPECT_EQ(answers(6, ids::kSplitter), 1u);
  EXPECT_EQ(answers(6, ids::kSplitterEx), 1u);
  EXPECT_EQ(answers(6, ids::kSplitterAlt), 0u);
}

TEST_F(FactorySlots, Slots4And6HandOutAnObjectWithACountOfOne) {
  stream.bytes = film();
  for (const size_t slot : {size_t{4}, size_t{6}}) {
    Bystander previous;
    previous.count = 1;
    void* out = &previous;
    ASSERT_EQ(create(slot, &out), 0u);
    EXPECT_EQ(previous.timesFreed, 1u);
    EXPECT_EQ(stream.count, 1u);
    EXPECT_EQ(call<uint32_t>(out, 0), 2u);
    EXPECT_EQ(call<uint32_t>(out, 1), 1u);
    EXPECT_EQ(call<uint32_t>(out, 1), 0u);
    EXPECT_EQ(stream.count, 0u);
  }
  EXPECT_EQ(stream.timesFreed, 2u);
  EXPECT_EQ(provider.hostOpenMode, 0u);
  EXPECT_EQ(provider.token, &token);
}

TEST_F(FactorySlots, Slots4And6Give3ForASourceThatTheHostDoesNotKnow) {
  context.provider = nullptr;
  void* out = nullptr;
  EXPECT_EQ(create(4, &out), 3u);
  EXPECT_EQ(create(6, &out), 3u);
  EXPECT_EQ(out, nullptr);
}

TEST_F(FactorySlots, Slots4And6Give5ForAFileWithoutAUsableTrack) {
  MediaTrack lossless = aacTrack();
  lossless.boxes.stsd = stsd(alac());
  stream.bytes = movieFile({.tracks = {lossless}}).bytes;
  void* out = nullptr;
  EXPECT_EQ(create(4, &out), 5u);
  EXPECT_EQ(create(6, &out), 5u);
  EXPECT_EQ(out, nullptr);
}

TEST_F(FactorySlots, Slots4And6PassHostCodesOnAndLeaveTheOutSlotAlone) {
  Bystander previous;
  previous.count = 1;
  void* out = &previous;
  provider.result = 0x80070005;
  EXPECT_EQ(create(6, &out), 0x80070005u);
  provider.result = 0;
  stream.bytes = film();
  for (uint32_t call = 1;; ++call) {  // call 0 asks for the length, which need not be told
    stream.failAfter = call;
    stream.failCode = 0x9000 + call;
    const uint32_t result = create(call % 2 ? 4 : 6, &out);
    if (result == 0) {
      EXPECT_GT(call, 2u);
      break;
    }
    EXPECT_EQ(result, 0x9000 + call);
    EXPECT_EQ(out, &previous);
    EXPECT_EQ(stream.count, 0u);
  }
  EXPECT_EQ(previous.timesFreed, 1u);
  release(out);
}

TEST_F(FactorySlots, Slots4And6AreCancelled) {
  stream.bytes = film();
  token.answer = 1;
  void* out = nullptr;
  EXPECT_EQ(create(4, &out), 2u);
  EXPECT_EQ(create(6, &out), 2u);
  EXPECT_GT(token.questions, 0u);
}

TEST_F(FactorySlots, Slot7MatchesTheTwoFileTypesInAnyCase) {
  EXPECT_TRUE(matches(u"movie.mp4"));
  EXPECT_TRUE(matches(u"SONG.M4A"));
  EXPECT_TRUE(matches(u"a.b.Mp4"));
  EXPECT_TRUE(matches(u"\\Storage Card\\song.m4a"));
  EXPECT_TRUE(matches(u".mp4"));
  EXPECT_FALSE(matches(u"movie.mp3"));
  EXPECT_FALSE(matches(u"movie.mp4x"));
  EXPECT_FALSE(matches(u"mp4"));
  EXPECT_FALSE(matches(u"movie.m4v"));
  EXPECT_FALSE(matches(u""));
}

TEST_F(FactorySlots, Slot8WritesTheFilterAndGives1) {
  raw_host::StringSink sink;
  EXPECT_EQ(call<uint32_t>(factory(), 8, static_cast<void*>(&sink)), 1u);
  EXPECT_EQ(sink.text, u"*.MP4;*.M4A");
  EXPECT_EQ(sink.count, 0xFFFFFFFFu);
  EXPECT_EQ(sink.start, 0u);
}
