#include "tests/device/plugin_objects.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "tests/device/arguments.h"

namespace device {
namespace {

using vela::CancelToken;
using vela::Guid;
using vela::TIOResult;

TIOResult result(uint64_t value) { return static_cast<TIOResult>(static_cast<uint32_t>(value)); }
uint32_t word(uint64_t value) { return static_cast<uint32_t>(value); }

// The caller's out-slot as a variable in the emulated memory.
class OutSlot {
 public:
  OutSlot(PluginObjects& plugin, void** native)
      : plugin_(&plugin), native_(native), block_(plugin.machine(), 4, kWordAddress) {
    if (!native_) return;
    if (*native_) {
      before_ = plugin.addressOf(*native_);
      if (before_ == 0) before_ = plugin.host().give(HostKind::object, *native_);
    }
    plugin.machine().writeWord(block_.address(), before_);
  }
  uint32_t address() const { return native_ ? block_.address() : 0; }
  void takeBack(PluginKind kind) {
    const uint32_t after = plugin_->machine().readWord(block_.address());
    if (native_ && after != before_) *native_ = plugin_->at(after, kind);
  }

 private:
  PluginObjects* plugin_;
  void** native_;
  ArgumentBlock block_;
  uint32_t before_ = 0;
};

// What every native object of the plug-in's is made of.
template <class Interface>
class Proxy : public Interface {
 public:
  Proxy(PluginObjects& plugin, uint32_t object) : plugin_(&plugin), object_(object) {}

 protected:
  ~Proxy() = default;

  uint64_t call(const char* name, uint32_t slot, const Words& arguments = {}) {
    return plugin_->operation(name, object_, slot, arguments);
  }
  Machine& machine() { return plugin_->machine(); }
  HostObjects& host() { return plugin_->host(); }
  // The sixteen bytes at a device address.
  Guid guidAt(uint32_t address) {
    Guid guid;
    std::memcpy(&guid, machine().bytes(address, sizeof guid, "an identifier"), sizeof guid);
    return guid;
  }

  PluginObjects* plugin_;
  uint32_t object_;
};

template <class Interface>
class CountedProxy : public Proxy<Interface> {
 public:
  CountedProxy(PluginObjects& plugin, uint32_t object, PluginKind kind)
      : Proxy<Interface>(plugin, object), kind_(kind) {}

  uint32_t addRef() override { return word(this->call("addRef", 0)); }
  uint32_t release() override {
    PluginObjects& plugin = *this->plugin_;
    const uint32_t object = this->object_;
    const uint32_t count = word(this->call("release", 1));
    if (count == 0) plugin.forget(object);
    return count;
  }
  uint32_t queryInterface(const Guid* iid, void** out) override {
    Guid copy = *iid;
    ArgumentBytes id(this->machine(), &copy, sizeof copy, kOddAddress);
    OutSlot slot(*this->plugin_, out);
    const uint32_t answer = word(this->call("queryInterface", 2, {id.address(), slot.address()}));
    slot.takeBack(kind_);
    return answer;
  }
  void deletingDestructor(uint32_t flags) override { this->call("deletingDestructor", 3, {flags}); }

 protected:
  ~CountedProxy() = default;

 private:
  PluginKind kind_;
};

template <class Interface>
class SplitterProxy : public CountedProxy<Interface> {
 public:
  using CountedProxy<Interface>::CountedProxy;

  uint32_t getItemCount() override { return word(this->call("getItemCount", 4)); }
  uint32_t getItemId(uint32_t index) override { return word(this->call("getItemId", 5, {index})); }
  TIOResult describeItem(uint32_t itemId, vela::MediaInfo* info, CancelToken* token) override {
    Lent sink(this->host(), HostKind::mediaInfo, info);
    Lent cancel(this->host(), HostKind::token, token);
    return result(this->call("describeItem", 6, {itemId, sink.address(), cancel.address()}));
  }
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) override {
    HandleTable& handles = this->host().handles();
    return word(
        this->call("passThroughTwo", 7, {handles.toDevice(first), handles.toDevice(second)}));
  }

 protected:
  ~SplitterProxy() = default;
};

class InformationProxy final : public SplitterProxy<vela::IMediaSplitter> {
 public:
  InformationProxy(PluginObjects& plugin, uint32_t object)
      : SplitterProxy(plugin, object, PluginKind::splitter) {}
};

class PlaybackProxy final : public SplitterProxy<vela::IMediaSplitterEx> {
 public:
  PlaybackProxy(PluginObjects& plugin, uint32_t object)
      : SplitterProxy(plugin, object, PluginKind::playbackSplitter) {}

  TIOResult startItem(uint32_t itemId, vela::AudioFormat* audioFormat,
                      vela::VideoFormat* videoFormat, CancelToken* token) override {
    Lent audio(host(), HostKind::audioFormat, audioFormat);
    Lent video(host(), HostKind::videoFormat, videoFormat);
    Lent cancel(host(), HostKind::token, token);
    return result(
        call("startItem", 8, {itemId, audio.address(), video.address(), cancel.address()}));
  }
  TIOResult readAudioPacket(vela::AudioPacket* packet, uint8_t* endOfStream,
                            CancelToken* token) override {
    Lent target(host(), HostKind::audioPacket, packet);
    ArgumentBytes end(machine(), endOfStream, 1, kOddAddress);
    Lent cancel(host(), HostKind::token, token);
    const uint64_t code =
        call("readAudioPacket", 9, {target.address(), end.address(), cancel.address()});
    end.takeBack();
    return result(code);
  }
  TIOResult readVideoPacket(vela::VideoPacket* packet, uint8_t* endOfStream, uint64_t* time,
                            CancelToken* token) override {
    Lent target(host(), HostKind::videoPacket, packet);
    ArgumentBytes end(machine(), endOfStream, 1, kOddAddress);
    ArgumentBytes presented(machine(), time, 8, kWordAddress);
    Lent cancel(host(), HostKind::token, token);
    const uint64_t code =
        call("readVideoPacket", 10,
             {target.address(), end.address(), presented.address(), cancel.address()});
    end.takeBack();
    presented.takeBack();
    return result(code);
  }
  TIOResult nextStream(uint32_t* which) override {
    ArgumentBytes answer(machine(), which, 4, kWordAddress);
    const uint64_t code = call("nextStream", 11, {answer.address()});
    answer.takeBack();
    return result(code);
  }
  TIOResult seekTo(vela::Word64 offset, CancelToken* token) override {
    Lent cancel(host(), HostKind::token, token);
    return result(call("seekTo", 12, {offset.low, offset.high, cancel.address()}));
  }
  TIOResult seekWithKeyFrame(vela::VideoPacket* packet, vela::Word64 offset,
                             CancelToken* token) override {
    Lent target(host(), HostKind::videoPacket, packet);
    Lent cancel(host(), HostKind::token, token);
    return result(call("seekWithKeyFrame", 13,
                       {target.address(), offset.low, offset.high, cancel.address()}));
  }
  uint32_t slot14() override { return word(call("slot14", 14)); }
  uint32_t passThroughOne(uintptr_t argument) override {
    return word(call("passThroughOne", 15, {host().handles().toDevice(argument)}));
  }
};

class FactoryProxy final : public CountedProxy<vela::ISplitterFactory> {
 public:
  FactoryProxy(PluginObjects& plugin, uint32_t object)
      : CountedProxy(plugin, object, PluginKind::factory) {}

  // The factory counts nothing: it lives as long as its module.
  uint32_t release() override { return word(call("release", 1)); }

  TIOResult createSplitter(void** out, const char16_t* name, CancelToken* token) override {
    return create("createSplitter", 4, PluginKind::splitter, out, name, token);
  }
  TIOResult createSplitterAlt(void** out, const char16_t* name, CancelToken* token) override {
    return create("createSplitterAlt", 5, PluginKind::splitter, out, name, token);
  }
  TIOResult createSplitterEx(void** out, const char16_t* name, CancelToken* token) override {
    return create("createSplitterEx", 6, PluginKind::playbackSplitter, out, name, token);
  }
  uint32_t matchesFilter(const char16_t* fileName) override {
    ArgumentText name(machine(), fileName);
    return word(call("matchesFilter", 7, {name.address()}));
  }
  uint32_t getFilter(vela::IStringSink* sink) override {
    Lent target(host(), HostKind::stringSink, sink);
    return word(call("getFilter", 8, {target.address()}));
  }

 private:
  TIOResult create(const char* operation, uint32_t slot, PluginKind kind, void** out,
                   const char16_t* sourceName, CancelToken* token) {
    OutSlot target(*plugin_, out);
    ArgumentText name(machine(), sourceName);
    Lent cancel(host(), HostKind::token, token);
    const uint64_t code =
        call(operation, slot, {target.address(), name.address(), cancel.address()});
    target.takeBack(kind);
    return result(code);
  }
};

class DescriptorProxy final : public Proxy<vela::IModuleDescriptor> {
 public:
  using Proxy::Proxy;

  uint32_t getInterface(void** out) override {
    OutSlot slot(*plugin_, out);
    const uint32_t answer = word(call("getInterface", 0, {slot.address()}));
    slot.takeBack(PluginKind::factory);
    return answer;
  }
  const Guid* getInterfaceId() override {
    id_ = guidAt(word(call("getInterfaceId", 1)));
    return &id_;
  }
  void deletingDestructor(uint32_t flags) override { call("deletingDestructor", 2, {flags}); }

 private:
  Guid id_{};
};

class ModuleProxy final : public Proxy<vela::ISplitterModule> {
 public:
  using Proxy::Proxy;

  uint32_t getVersion() override { return word(call("getVersion", 0)); }
  void attachHost(vela::HostContext* hostContext) override {
    call("attachHost", 1, {plugin_->context(hostContext)});
  }
  uint32_t enumerate(vela::ModuleSink* sink) override {
    Lent target(host(), HostKind::moduleSink, sink);
    return word(call("enumerate", 2, {target.address()}));
  }
  const Guid* getClassId() override {
    id_ = guidAt(word(call("getClassId", 3)));
    return &id_;
  }
  void deletingDestructor(uint32_t flags) override {
    PluginObjects& plugin = *plugin_;
    call("deletingDestructor", 4, {flags});
    plugin.forgetFreed();
  }

 private:
  Guid id_{};
};

template <class Object>
std::pair<void*, void (*)(void*)> make(PluginObjects& plugin, uint32_t address) {
  return {new Object(plugin, address), [](void* object) { delete static_cast<Object*>(object); }};
}

}  // namespace

PluginObjects::PluginObjects(Machine& machine) : machine_(&machine), host_(machine, *this) {}

PluginObjects::~PluginObjects() {
  while (!objects_.empty()) forget(objects_.begin()->first);
}

void* PluginObjects::at(uint32_t address, PluginKind kind) {
  if (address == 0) return nullptr;
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  const auto found = objects_.find(address);
  if (found != objects_.end()) return found->second.native;
  std::pair<void*, void (*)(void*)> made;
  switch (kind) {
    case PluginKind::module:
      made = make<ModuleProxy>(*this, address);
      break;
    case PluginKind::descriptor:
      made = make<DescriptorProxy>(*this, address);
      break;
    case PluginKind::factory:
      made = make<FactoryProxy>(*this, address);
      break;
    case PluginKind::splitter:
      made = make<InformationProxy>(*this, address);
      break;
    case PluginKind::playbackSplitter:
      made = make<PlaybackProxy>(*this, address);
      break;
  }
  objects_[address] = {made.first, made.second};
  return made.first;
}

uint32_t PluginObjects::addressOf(const void* native) const {
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  for (const auto& [address, object] : objects_) {
    if (object.native == native) return address;
  }
  return 0;
}

void PluginObjects::forget(uint32_t address) {
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  const auto found = objects_.find(address);
  if (found == objects_.end()) return;
  found->second.destroy(found->second.native);
  objects_.erase(found);
}

void PluginObjects::forgetFreed() {
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  std::vector<uint32_t> freed;
  for (const auto& [address, object] : objects_) {
    if (!machine_->heap().isLive(address, sizeof(uint32_t))) freed.push_back(address);
  }
  for (const uint32_t address : freed) forget(address);
}

uint32_t PluginObjects::context(vela::HostContext* context) {
  if (!context) return 0;
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  uint32_t& address = contexts_[context];
  if (address == 0) address = host_.lend(HostKind::context, context);
  return address;
}

uint64_t PluginObjects::operation(const char* name, uint32_t object, uint32_t slot,
                                  const Words& arguments) {
  const uint64_t before = machine_->instructions();
  const uint64_t answer = machine_->callSlot(object, slot, arguments);
  const uint64_t spent = machine_->instructions() - before;
  const std::lock_guard<std::recursive_mutex> lock(lock_);
  OperationCount& count = operations_[name];
  ++count.calls;
  count.instructions += spent;
  count.mostInstructions = std::max(count.mostInstructions, spent);
  return answer;
}

uint32_t StreamOfPlugin::addRef() {
  return word(plugin_->operation("stream.addRef", control_, 0, {}));
}
uint32_t StreamOfPlugin::release() {
  return word(plugin_->operation("stream.release", control_, 1, {}));
}
uint32_t StreamOfPlugin::queryInterface(const Guid* iid, void** out) {
  Guid copy = *iid;
  ArgumentBytes id(plugin_->machine(), &copy, sizeof copy, kOddAddress);
  ArgumentBlock slot(plugin_->machine(), 4, kWordAddress);
  plugin_->machine().writeWord(slot.address(), 0);
  const uint32_t answer = word(
      plugin_->operation("stream.queryInterface", control_, 2, {id.address(), slot.address()}));
  if (plugin_->machine().readWord(slot.address()) != 0) *out = this;
  return answer;
}
void StreamOfPlugin::deletingDestructor(uint32_t) {
  violation("the host destroys a stream of the plug-in");
}
uint32_t StreamOfPlugin::canSeek() {
  return word(plugin_->operation("stream.canSeek", control_, 4, {}));
}
TIOResult StreamOfPlugin::seek(uint32_t low, uint32_t high, CancelToken* token) {
  Lent cancel(plugin_->host(), HostKind::token, token);
  return result(plugin_->operation("stream.seek", control_, 5, {low, high, cancel.address()}));
}
TIOResult StreamOfPlugin::setLength(uint32_t low, uint32_t high, CancelToken* token) {
  Lent cancel(plugin_->host(), HostKind::token, token);
  return result(plugin_->operation("stream.setLength", control_, 7, {low, high, cancel.address()}));
}
TIOResult StreamOfPlugin::getLength(uint64_t* length, CancelToken* token) {
  return value("stream.getLength", 8, length, token);
}
TIOResult StreamOfPlugin::getPosition(uint64_t* position, CancelToken* token) {
  return value("stream.getPosition", 10, position, token);
}
TIOResult StreamOfPlugin::value(const char* name, uint32_t slot, uint64_t* out,
                                CancelToken* token) {
  ArgumentBytes place(plugin_->machine(), out, 8, kWordAddress);
  Lent cancel(plugin_->host(), HostKind::token, token);
  const uint64_t code =
      plugin_->operation(name, control_, slot, {place.address(), cancel.address()});
  place.takeBack();
  return result(code);
}
uint32_t StreamOfPlugin::passThroughTwo(uintptr_t first, uintptr_t second) {
  HandleTable& handles = plugin_->host().handles();
  return word(plugin_->operation("stream.passThroughTwo", control_, 11,
                                 {handles.toDevice(first), handles.toDevice(second)}));
}
uint32_t StreamOfPlugin::passThroughOne(uintptr_t argument) {
  return word(plugin_->operation("stream.passThroughOne", control_, 12,
                                 {plugin_->host().handles().toDevice(argument)}));
}
TIOResult StreamOfPlugin::read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) {
  ArgumentBytes bytes(plugin_->machine(), buffer, count, kOddAddress);
  ArgumentBytes delivered(plugin_->machine(), done, 4, kWordAddress);
  Lent cancel(plugin_->host(), HostKind::token, token);
  const uint64_t code =
      plugin_->operation("stream.read", control_ + 4, 0,
                         {bytes.address(), count, delivered.address(), cancel.address()});
  bytes.takeBack();
  delivered.takeBack();
  return result(code);
}
TIOResult StreamOfPlugin::skip(uint32_t count, uint32_t* done, CancelToken* token) {
  ArgumentBytes skipped(plugin_->machine(), done, 4, kWordAddress);
  Lent cancel(plugin_->host(), HostKind::token, token);
  const uint64_t code = plugin_->operation("stream.skip", control_ + 4, 1,
                                           {count, skipped.address(), cancel.address()});
  skipped.takeBack();
  return result(code);
}
TIOResult StreamOfPlugin::write(const void* buffer, uint32_t count, uint32_t* done,
                                CancelToken* token) {
  ArgumentBlock bytes(plugin_->machine(), count, kOddAddress);
  if (count > 0) std::memcpy(bytes.bytes(), buffer, count);
  ArgumentBytes written(plugin_->machine(), done, 4, kWordAddress);
  Lent cancel(plugin_->host(), HostKind::token, token);
  const uint64_t code =
      plugin_->operation("stream.write", control_ + 8, 0,
                         {bytes.address(), count, written.address(), cancel.address()});
  written.takeBack();
  return result(code);
}

}  // namespace device
