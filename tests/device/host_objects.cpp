#include "tests/device/host_objects.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/device/plugin_objects.h"

namespace device {
namespace {

constexpr uint32_t kWord = 4;
// Where the device code keeps pointer-sized values that do not fit into its words.
constexpr uint32_t kFirstHandle = 0xF0000000;
constexpr uint32_t kControl = 0, kReader = 1, kWriter = 2;  // faces of a stream

uint32_t code(vela::TIOResult result) { return static_cast<uint32_t>(result); }
int32_t asSigned(uint32_t word) { return static_cast<int32_t>(word); }

}  // namespace

uint32_t HandleTable::toDevice(uintptr_t value) {
  if (value < kFirstHandle) return static_cast<uint32_t>(value);
  const std::lock_guard<std::mutex> lock(lock_);
  values_.push_back(value);
  return kFirstHandle + static_cast<uint32_t>(values_.size() - 1);
}

uintptr_t HandleTable::toNative(uint32_t value) const {
  if (value < kFirstHandle) return value;
  const std::lock_guard<std::mutex> lock(lock_);
  const uint32_t index = value - kFirstHandle;
  return index < values_.size() ? values_[index] : value;
}

HostObjects::HostObjects(Machine& machine, PluginObjects& plugin)
    : machine_(&machine), plugin_(&plugin) {
  buildTables();
}

uint32_t HostObjects::makeView(HostKind kind, void* native) {
  const std::vector<uint32_t>& tables = tables_.at(kind);
  const uint32_t view =
      machine_->arguments().allocate(static_cast<uint32_t>(tables.size()) * kWord, kWord);
  if (view == 0) violation("no room for an object of the host");
  for (size_t face = 0; face < tables.size(); ++face) {
    machine_->writeWord(view + static_cast<uint32_t>(face) * kWord, tables[face]);
  }
  views_[view] = {kind, native, 0};
  return view;
}

uint32_t HostObjects::lend(HostKind kind, void* native) {
  if (!native) return 0;
  const std::lock_guard<std::mutex> lock(lock_);
  return makeView(kind, native);
}

void HostObjects::takeBack(uint32_t object) {
  if (object == 0) return;
  const std::lock_guard<std::mutex> lock(lock_);
  views_.erase(object);
  machine_->arguments().release(object);
}

uint32_t HostObjects::give(HostKind kind, void* native) {
  if (!native) return 0;
  const std::lock_guard<std::mutex> lock(lock_);
  for (auto& [address, view] : views_) {
    if (view.native == native && view.references > 0) {
      ++view.references;
      return address;
    }
  }
  const uint32_t address = makeView(kind, native);
  views_[address].references = 1;
  return address;
}

void* HostObjects::native(uint32_t object) const {
  if (object == 0) return nullptr;
  const std::lock_guard<std::mutex> lock(lock_);
  const auto found = views_.find(object);
  if (found == views_.end()) {
    violation("the host has no object at " + machine_->describe(object) + ", or has taken it back");
  }
  return found->second.native;
}

uint32_t HostObjects::heldObjects() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return static_cast<uint32_t>(std::count_if(
      views_.begin(), views_.end(), [](const auto& view) { return view.second.references > 0; }));
}

template <class Interface>
Interface* HostObjects::self(const CallFrame& frame, uint32_t face) const {
  return static_cast<Interface*>(native(frame.word(0) - face * kWord));
}

vela::CancelToken* HostObjects::token(uint32_t object) const {
  return static_cast<vela::CancelToken*>(native(object));
}

void HostObjects::table(HostKind kind, const char* name, uint32_t slots, uint32_t face) {
  std::vector<uint32_t>& tables = tables_[kind];
  names_[kind] = name;
  if (tables.size() != face) violation("the faces of an object are not in order");
  const uint32_t address = machine_->arguments().allocate(slots * kWord, kWord);
  tables.push_back(address);
  for (uint32_t slot = 0; slot < slots; ++slot) {
    const std::string text = std::string(name) + " slot " + std::to_string(slot);
    machine_->writeWord(address + slot * kWord,
                        machine_->addTrap(text, TrapKind::host, [text](CallFrame&) {
                          violation("a call of " + text + ", which is not used");
                        }));
  }
}

void HostObjects::on(HostKind kind, uint32_t slot, const char* name, CallHandler handler,
                     uint32_t face) {
  const uint32_t address = tables_.at(kind).at(face) + slot * kWord;
  machine_->writeWord(address, machine_->addTrap(std::string(names_.at(kind)) + "." + name,
                                                 TrapKind::host, std::move(handler)));
}

// The device code's variable holds a view; the host sees one that holds its own object, and may
// replace it. The references that the host took and gave back there are the device code's.
uint32_t HostObjects::outSlot(uint32_t slot, HostKind kind, void* before, void* after) {
  if (after == before) return slot;
  if (before) violation("the host replaces what an out-slot of the plug-in held");
  machine_->writeWord(slot, give(kind, after));
  return slot;
}

void HostObjects::buildTables() {
  table(HostKind::token, "CancelToken", 1);
  on(HostKind::token, 0, "isCancelled",
     [this](CallFrame& f) { f.result = self<vela::CancelToken>(f)->isCancelled(); });
  table(HostKind::context, "HostContext", 1);
  on(HostKind::context, 0, "resolveSource", [this](CallFrame& f) {
    const std::u16string name = machine_->readText(f.word(1));
    void* const before = native(machine_->readWord(f.word(2)));
    void* slot = before;
    f.result = self<vela::HostContext>(f)->resolveSource(name.c_str(), &slot);
    outSlot(f.word(2), HostKind::provider, before, slot);
  });
  buildCounted(HostKind::object, "IObject", 4);
  buildProvider();
  buildStream();
  buildFormats();
  buildPackets();
  buildMediaInfo();
  buildSinks();
}

void HostObjects::buildCounted(HostKind kind, const char* name, uint32_t slots) {
  table(kind, name, slots);
  on(kind, 0, "addRef", [this](CallFrame& f) {
    f.result = self<vela::IObject>(f)->addRef();
    const std::lock_guard<std::mutex> lock(lock_);
    ++views_.at(f.word(0)).references;
  });
  on(kind, 1, "release", [this](CallFrame& f) {
    auto* const object = self<vela::IObject>(f);
    {
      const std::lock_guard<std::mutex> lock(lock_);
      View& view = views_.at(f.word(0));
      if (view.references == 0) violation("a reference is given back that was not had");
      if (--view.references == 0) {
        views_.erase(f.word(0));
        machine_->arguments().release(f.word(0));
      }
    }
    f.result = object->release();
  });
  on(kind, 2, "queryInterface", [this, kind](CallFrame& f) {
    vela::Guid iid;
    std::memcpy(&iid, machine_->bytes(f.word(1), sizeof iid, "an identifier"), sizeof iid);
    void* const before = native(machine_->readWord(f.word(2)));
    void* slot = before;
    f.result = self<vela::IObject>(f)->queryInterface(&iid, &slot);
    outSlot(f.word(2), kind, before, slot);
  });
}

void HostObjects::buildProvider() {
  constexpr HostKind kind = HostKind::provider;
  buildCounted(kind, "SourceProvider", 6);
  on(kind, 5, "open", [this](CallFrame& f) {
    const std::u16string name = machine_->readText(f.word(1));
    void* const before = native(machine_->readWord(f.word(4)));
    void* slot = before;
    f.result =
        code(self<vela::SourceProvider>(f)->open(name.c_str(), f.word(2), token(f.word(3)), &slot));
    outSlot(f.word(4), HostKind::stream, before, slot);
  });
}

void HostObjects::buildStream() {
  constexpr HostKind kind = HostKind::stream;
  buildCounted(kind, "HostStream", 13);
  on(kind, 4, "canSeek", [this](CallFrame& f) { f.result = self<vela::HostStream>(f)->canSeek(); });
  on(kind, 5, "seek", [this](CallFrame& f) {
    f.result = code(self<vela::HostStream>(f)->seek(f.word(1), f.word(2), token(f.word(3))));
  });
  on(kind, 7, "setLength", [this](CallFrame& f) {
    f.result = code(self<vela::HostStream>(f)->setLength(f.word(1), f.word(2), token(f.word(3))));
  });
  const auto outValue = [this](CallFrame& f, auto operation) {
    uint8_t* const place = machine_->bytes(f.word(1), 8, "a 64-bit value");
    uint64_t value;
    std::memcpy(&value, place, sizeof value);
    f.result = code((self<vela::HostStream>(f)->*operation)(&value, token(f.word(2))));
    std::memcpy(place, &value, sizeof value);
  };
  on(kind, 8, "getLength", [=](CallFrame& f) { outValue(f, &vela::HostStream::getLength); });
  on(kind, 10, "getPosition", [=](CallFrame& f) { outValue(f, &vela::HostStream::getPosition); });
  on(kind, 11, "passThroughTwo", [this](CallFrame& f) {
    f.result = self<vela::HostStream>(f)->passThroughTwo(handles_.toNative(f.word(1)),
                                                         handles_.toNative(f.word(2)));
  });
  on(kind, 12, "passThroughOne", [this](CallFrame& f) {
    f.result = self<vela::HostStream>(f)->passThroughOne(handles_.toNative(f.word(1)));
  });

  table(kind, "HostStreamReader", 2, kReader);
  on(
      kind, 0, "read",
      [this](CallFrame& f) {
        const uint32_t count = f.word(2);
        std::vector<uint8_t> buffer(count);
        uint32_t done = machine_->readWord(f.word(3));
        if (count > 0) {
          std::memcpy(buffer.data(), machine_->bytes(f.word(1), count, "the buffer of a read"),
                      count);
        }
        f.result = code(self<vela::HostStream>(f, kReader)
                            ->read(buffer.data(), count, &done, token(f.word(4))));
        if (count > 0) {
          std::memcpy(machine_->bytes(f.word(1), count, "the buffer of a read"), buffer.data(),
                      count);
        }
        machine_->writeWord(f.word(3), done);
      },
      kReader);
  on(
      kind, 1, "skip",
      [this](CallFrame& f) {
        uint32_t done = machine_->readWord(f.word(2));
        f.result =
            code(self<vela::HostStream>(f, kReader)->skip(f.word(1), &done, token(f.word(3))));
        machine_->writeWord(f.word(2), done);
      },
      kReader);

  table(kind, "HostStreamWriter", 1, kWriter);
  on(
      kind, 0, "write",
      [this](CallFrame& f) {
        const uint32_t count = f.word(2);
        std::vector<uint8_t> buffer(count);
        if (count > 0) {
          std::memcpy(buffer.data(), machine_->bytes(f.word(1), count, "the bytes of a write"),
                      count);
        }
        uint32_t done = machine_->readWord(f.word(3));
        f.result = code(self<vela::HostStream>(f, kWriter)
                            ->write(buffer.data(), count, &done, token(f.word(4))));
        machine_->writeWord(f.word(3), done);
      },
      kWriter);
}

void HostObjects::buildFormats() {
  const auto guid = [this](uint32_t address) {
    vela::Guid id;
    std::memcpy(&id, machine_->bytes(address, sizeof id, "an identifier"), sizeof id);
    return id;
  };
  const auto config = [this](uint32_t address, uint32_t count) {
    const uint8_t* const bytes =
        count > 0 ? machine_->bytes(address, count, "a decoder configuration") : nullptr;
    return std::vector<uint8_t>(bytes, bytes + count);
  };
  // A configuration of no bytes still has an address.
  const auto dataOf = [](std::vector<uint8_t>& bytes) {
    static uint8_t none = 0;
    return bytes.empty() ? &none : bytes.data();
  };
  table(HostKind::audioFormat, "AudioFormat", 2);
  on(HostKind::audioFormat, 0, "clear",
     [this](CallFrame& f) { self<vela::AudioFormat>(f)->clear(); });
  on(HostKind::audioFormat, 1, "set", [=, this](CallFrame& f) {
    const vela::Guid id = guid(f.word(1));
    std::vector<uint8_t> bytes = config(f.word(2), f.word(3));
    self<vela::AudioFormat>(f)->set(&id, f.word(2) ? dataOf(bytes) : nullptr, f.word(3));
  });
  table(HostKind::videoFormat, "VideoFormat", 2);
  on(HostKind::videoFormat, 0, "clear",
     [this](CallFrame& f) { self<vela::VideoFormat>(f)->clear(); });
  on(HostKind::videoFormat, 1, "set", [=, this](CallFrame& f) {
    const vela::Guid id = guid(f.word(1));
    std::vector<uint8_t> bytes = config(f.word(2), f.word(3));
    self<vela::VideoFormat>(f)->set(&id, f.word(2) ? dataOf(bytes) : nullptr, f.word(3),
                                    asSigned(f.word(4)), asSigned(f.word(5)));
  });
}

void HostObjects::buildPackets() {
  const auto readPayload = [this](CallFrame& f, auto* packet) {
    StreamOfPlugin stream(*plugin_, f.word(1) - kReader * kWord);
    f.result = code(packet->readPayload(&stream, f.word(2), token(f.word(3))));
  };
  const auto setMediaId = [this](CallFrame& f, auto* packet) {
    vela::Guid id;
    std::memcpy(&id, machine_->bytes(f.word(1), sizeof id, "an identifier"), sizeof id);
    packet->setMediaId(&id);
  };
  HostKind kind = HostKind::audioPacket;
  table(kind, "AudioPacket", 14);
  using Audio = vela::AudioPacket;
  on(kind, 2, "getFrameCount",
     [this](CallFrame& f) { f.result = self<Audio>(f)->getFrameCount(); });
  on(kind, 3, "getStartOffset",
     [this](CallFrame& f) { f.result = self<Audio>(f)->getStartOffset(); });
  on(kind, 7, "setMediaId", [=, this](CallFrame& f) { setMediaId(f, self<Audio>(f)); });
  on(kind, 8, "setSampleRate", [this](CallFrame& f) { self<Audio>(f)->setSampleRate(f.word(1)); });
  on(kind, 9, "setFrameCount", [this](CallFrame& f) { self<Audio>(f)->setFrameCount(f.word(1)); });
  on(kind, 10, "setStartOffset",
     [this](CallFrame& f) { self<Audio>(f)->setStartOffset(f.word(1)); });
  on(kind, 12, "setFurtherValue",
     [this](CallFrame& f) { self<Audio>(f)->setFurtherValue(f.word(1)); });
  on(kind, 13, "readPayload", [=, this](CallFrame& f) { readPayload(f, self<Audio>(f)); });

  kind = HostKind::videoPacket;
  table(kind, "VideoPacket", 9);
  using Video = vela::VideoPacket;
  on(kind, 4, "reset", [this](CallFrame& f) { self<Video>(f)->reset(); });
  on(kind, 5, "setMediaId", [=, this](CallFrame& f) { setMediaId(f, self<Video>(f)); });
  on(kind, 7, "readPayload", [=, this](CallFrame& f) { readPayload(f, self<Video>(f)); });
  on(kind, 8, "setPictureSize", [this](CallFrame& f) {
    self<Video>(f)->setPictureSize(asSigned(f.word(1)), asSigned(f.word(2)));
  });
}

void HostObjects::buildMediaInfo() {
  constexpr HostKind kind = HostKind::mediaInfo;
  using Info = vela::MediaInfo;
  table(kind, "MediaInfo", 24);
  on(kind, 0, "getDuration", [this](CallFrame& f) { f.result = self<Info>(f)->getDuration(); });
  on(kind, 1, "setDuration", [this](CallFrame& f) {
    self<Info>(f)->setDuration({f.word(1), f.word(2)});
  });
  on(kind, 2, "getFlags", [this](CallFrame& f) { f.result = self<Info>(f)->getFlags(); });
  on(kind, 3, "setFlags", [this](CallFrame& f) { self<Info>(f)->setFlags(f.word(1)); });

  struct Value {
    uint32_t slot;
    const char* getName;
    const char* setName;
    int32_t (Info::*get)();
    void (Info::*set)(int32_t);
  };
  for (const Value& value :
       {Value{4, "getTrackGain", "setTrackGain", &Info::getTrackGain, &Info::setTrackGain},
        Value{6, "getAlbumGain", "setAlbumGain", &Info::getAlbumGain, &Info::setAlbumGain},
        Value{8, "getTrackPeak", "setTrackPeak", &Info::getTrackPeak, &Info::setTrackPeak},
        Value{10, "getAlbumPeak", "setAlbumPeak", &Info::getAlbumPeak, &Info::setAlbumPeak}}) {
    on(kind, value.slot, value.getName, [this, get = value.get](CallFrame& f) {
      f.result = static_cast<uint32_t>((self<Info>(f)->*get)());
    });
    on(kind, value.slot + 1, value.setName,
       [this, set = value.set](CallFrame& f) { (self<Info>(f)->*set)(asSigned(f.word(1))); });
  }

  on(kind, 15, "addTags", [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    std::vector<std::u16string> texts;
    std::vector<const char16_t*> pointers;
    std::vector<uint32_t> lengths;
    texts.reserve(2 * size_t{count});
    for (const uint32_t list : {3u, 5u}) {
      for (uint32_t i = 0; i < count; ++i) {
        const uint32_t address = machine_->readWord(f.word(list) + i * kWord);
        const uint32_t length = machine_->readWord(f.word(list + 1) + i * kWord);
        if (length == vela::kUntilNul) {
          texts.push_back(machine_->readText(address));
        } else {
          std::u16string text(length, u'\0');
          if (length > 0) {
            std::memcpy(text.data(), machine_->bytes(address, 2 * length, "a tag"), 2 * length);
          }
          texts.push_back(std::move(text));
        }
        pointers.push_back(texts.back().c_str());
        lengths.push_back(length);
      }
    }
    self<Info>(f)->addTags(f.word(1), count, pointers.data(), lengths.data(),
                           pointers.data() + count, lengths.data() + count);
  });
  on(kind, 17, "beginChapters", [this](CallFrame& f) { self<Info>(f)->beginChapters(f.word(1)); });
  on(kind, 18, "addChapter", [this](CallFrame& f) {
    const std::u16string title = machine_->readText(f.word(4));
    self<Info>(f)->addChapter(f.word(1), {f.word(2), f.word(3)}, title.c_str(), f.word(5));
  });
  on(kind, 23, "setDescription", [this](CallFrame& f) {
    vela::ItemDescription record;
    std::memcpy(&record, machine_->bytes(f.word(1), sizeof record, "a description"), sizeof record);
    self<Info>(f)->setDescription(&record);
  });
}

void HostObjects::buildSinks() {
  table(HostKind::moduleSink, "ModuleSink", 1);
  on(HostKind::moduleSink, 0, "onModule", [this](CallFrame& f) {
    f.result = self<vela::ModuleSink>(f)->onModule(
        static_cast<vela::IModuleDescriptor*>(plugin_->at(f.word(1), PluginKind::descriptor)));
  });
  table(HostKind::stringSink, "IStringSink", 1);
  on(HostKind::stringSink, 0, "set", [this](CallFrame& f) {
    std::u16string text;
    if (f.word(2) == vela::kUntilNul) {
      text = machine_->readText(f.word(1));
    } else if (f.word(2) > 0) {
      text.resize(f.word(2));
      std::memcpy(text.data(), machine_->bytes(f.word(1), 2 * f.word(2), "a text"),
                  2 * size_t{f.word(2)});
    }
    f.result = self<vela::IStringSink>(f)->set(text.c_str(), f.word(2), f.word(3));
  });
}

}  // namespace device
