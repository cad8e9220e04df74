// The plug-in's objects as a native host sees them: native objects whose operations call the ones
// in the emulated memory.
#pragma once
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "frontend/vela_splitter.h"
#include "tests/device/host_objects.h"
#include "tests/device/machine.h"

namespace device {

enum class PluginKind { module, descriptor, factory, splitter, playbackSplitter };

/// All native objects that stand for the plug-in's, by the address of the object that they stand
/// for.
class PluginObjects {
 public:
  explicit PluginObjects(Machine& machine);
  PluginObjects(const PluginObjects&) = delete;
  PluginObjects& operator=(const PluginObjects&) = delete;
  ~PluginObjects();

  Machine& machine() { return *machine_; }
  HostObjects& host() { return host_; }

  /// The native object for the one at `address`, made when there is none yet; null for 0.
  void* at(uint32_t address, PluginKind kind);
  /// Address of the object that `native` stands for; 0 when it is no object of the plug-in.
  uint32_t addressOf(const void* native) const;
  /// Ends the native object of `address`.
  void forget(uint32_t address);
  /// Ends the native objects of those whose memory was given back, after a module has ended.
  void forgetFreed();
  /// The device's view of the host, which outlives every splitter.
  uint32_t context(vela::HostContext* context);

  /// Calls an operation and counts it under `name`.
  uint64_t operation(const char* name, uint32_t object, uint32_t slot, const Words& arguments);
  const std::map<std::string, OperationCount>& operations() const { return operations_; }

 private:
  struct Object {
    void* native;
    void (*destroy)(void*);
  };

  Machine* machine_;
  mutable std::recursive_mutex lock_;
  std::map<uint32_t, Object> objects_;
  std::map<void*, uint32_t> contexts_;
  std::map<std::string, OperationCount> operations_;
  HostObjects host_;
};

/// A stream of the plug-in, as readPayload() hands it to the host, for the time of that call.
class StreamOfPlugin final : public vela::HostStream {
 public:
  /// @param control  address of its control face
  StreamOfPlugin(PluginObjects& plugin, uint32_t control) : plugin_(&plugin), control_(control) {}

  uint32_t addRef() override;
  uint32_t release() override;
  uint32_t queryInterface(const vela::Guid* iid, void** out) override;
  void deletingDestructor(uint32_t flags) override;
  uint32_t canSeek() override;
  vela::TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  void unusedSlot6() override {}
  vela::TIOResult setLength(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  vela::TIOResult getLength(uint64_t* length, vela::CancelToken* token) override;
  void unusedSlot9() override {}
  vela::TIOResult getPosition(uint64_t* position, vela::CancelToken* token) override;
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) override;
  uint32_t passThroughOne(uintptr_t argument) override;
  vela::TIOResult read(void* buffer, uint32_t count, uint32_t* done,
                       vela::CancelToken* token) override;
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken* token) override;
  vela::TIOResult write(const void* buffer, uint32_t count, uint32_t* done,
                        vela::CancelToken* token) override;

 private:
  vela::TIOResult value(const char* name, uint32_t slot, uint64_t* out, vela::CancelToken* token);

  PluginObjects* plugin_;
  uint32_t control_;
};

}  // namespace device
