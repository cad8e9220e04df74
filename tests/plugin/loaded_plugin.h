// The built plug-in, loaded as a host loads it, and its objects as raw words.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/plugin/shared_library.h"
#include "tests/support/raw_host.h"
#include "tests/support/raw_table.h"

/// The shared object; the build names it in VELA_PLUGIN_PATH.
class LoadedPlugin {
 public:
  /// A new module, from the exported entry.
  void* newModule() const {
    using Entry = void* (*)();
    void* const symbol = library_.function("VelaEntry");
    return symbol ? reinterpret_cast<Entry>(symbol)() : nullptr;
  }

 private:
  SharedLibrary library_{VELA_PLUGIN_PATH};
};

using raw_table::call;

/// An identifier in memory order.
inline boxes::Bytes idBytes(const void* id) {
  const auto* bytes = static_cast<const uint8_t*>(id);
  return boxes::Bytes(bytes, bytes + 16);
}

namespace ids {  // as they stand in memory
inline const boxes::Bytes kFactory = boxes::raw({0x02, 0x51, 0x14, 0xC9, 0x09, 0xA4, 0x66, 0x40,
                                                 0xAD, 0x20, 0x75, 0x75, 0xD5, 0x51, 0x1C, 0xDF});
inline const boxes::Bytes kSplitter = boxes::raw({0x1E, 0x75, 0xD2, 0x48, 0x5A, 0xEE, 0xCF, 0x49,
                                                  0xAE, 0xE0, 0xF8, 0x99, 0xE0, 0xB8, 0x4D, 0x6A});
inline const boxes::Bytes kSplitterEx =
    boxes::raw({0xBB, 0x7F, 0x95, 0xEA, 0xB7, 0xF3, 0xE3, 0x46, 0xBC, 0x5F, 0xEC, 0x92, 0x82, 0x29,
                0x98, 0x79});
inline const boxes::Bytes kSplitterAlt =
    boxes::raw({0xCC, 0x96, 0x4C, 0x92, 0xBE, 0x56, 0x4D, 0x4C, 0x8C, 0x58, 0x65, 0x14, 0x65, 0xA0,
                0x06, 0xC9});
inline const boxes::Bytes kModule = boxes::raw({0xA4, 0x2F, 0x3B, 0x7C, 0xB7, 0x91, 0x6D, 0x4D,
                                                0x9F, 0x33, 0x9A, 0x98, 0x86, 0x4D, 0x3A, 0x75});
inline const boxes::Bytes kAac = boxes::raw({0x9C, 0x83, 0x5B, 0xE1, 0x8B, 0x8D, 0x5A, 0x49, 0xB6,
                                             0xF6, 0xE3, 0x97, 0x57, 0xB1, 0x40, 0xAB});
inline const boxes::Bytes kMp3 = boxes::raw({0x70, 0xC9, 0x93, 0x8D, 0xFE, 0x0B, 0x86, 0x4D, 0xB7,
                                             0xEE, 0xE2, 0xBF, 0x2F, 0xB5, 0x44, 0x8F});
inline const boxes::Bytes kMpeg4 = boxes::raw({0xD2, 0x65, 0x87, 0x78, 0xD5, 0x9C, 0x9A, 0x4E, 0xB3,
                                               0x51, 0x47, 0xE2, 0x32, 0x1A, 0x3E, 0xFF});
inline const boxes::Bytes kH264 = boxes::raw({0xE3, 0xCF, 0x52, 0x9E, 0x67, 0x15, 0x36, 0x44, 0xA6,
                                              0x81, 0x18, 0xAD, 0x1E, 0x51, 0xF3, 0x29});
}  // namespace ids

namespace module_slot {
inline constexpr size_t kGetVersion = 0, kAttachHost = 1, kEnumerate = 2, kGetClassId = 3,
                        kDestroy = 4;
}
namespace descriptor_slot {
inline constexpr size_t kGetInterface = 0, kGetInterfaceId = 1, kDestroy = 2;
}
namespace object_slot {  // every reference-counted interface
inline constexpr size_t kAddRef = 0, kRelease = 1, kQueryInterface = 2, kDestroy = 3;
}
namespace factory_slot {
inline constexpr size_t kCreateMode0 = 4, kCreateMode2 = 5, kCreateMode1 = 6, kMatchesFilter = 7,
                        kGetFilter = 8;
}
namespace splitter_slot {
inline constexpr size_t kGetItemCount = 4, kGetItemId = 5, kDescribeItem = 6, kPassThroughTwo = 7,
                        kStartItem = 8, kReadAudio = 9, kReadVideo = 10, kNextStream = 11,
                        kSeekTo = 12, kSeekWithKeyFrame = 13, kReturnsOne = 14,
                        kPassThroughOne = 15;
}

/// A plug-in with a module, and a host with one file. Everything must be given back at the end.
class PluginTest : public testing::Test {
 protected:
  void SetUp() override {
    module = plugin.newModule();
    ASSERT_NE(module, nullptr);
    provider.stream = &stream;
    context.provider = &provider;
  }
  void TearDown() override {
    if (module) call<void>(module, module_slot::kDestroy, uint32_t{1});
    EXPECT_EQ(stream.count, 0u) << "references to the host's stream";
    EXPECT_EQ(provider.count, 0u);
  }

  /// The factory's second face.
  void* factory() {
    call<void>(module, module_slot::kAttachHost, static_cast<void*>(&context));
    raw_host::ModuleSink sink;
    call<uint32_t>(module, module_slot::kEnumerate, static_cast<void*>(&sink));
    void* face = nullptr;
    call<uint32_t>(sink.descriptor, descriptor_slot::kGetInterface, &face);
    return face;
  }
  uint32_t create(size_t slot, void** out) {
    return call<uint32_t>(factory(), slot, out, u"movie.mp4", static_cast<void*>(&token));
  }
  /// A splitter of mode 1 over `file`, with one reference.
  void* playbackSplitter(boxes::Bytes file) {
    stream.bytes = std::move(file);
    void* splitter = nullptr;
    EXPECT_EQ(create(factory_slot::kCreateMode1, &splitter), 0u);
    return splitter;
  }
  static uint32_t release(void* object) { return call<uint32_t>(object, object_slot::kRelease); }

  LoadedPlugin plugin;
  void* module = nullptr;
  raw_host::Stream stream;
  raw_host::Provider provider;
  raw_host::Context context;
  raw_host::Token token;
};
