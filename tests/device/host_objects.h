// The host's objects as the device code sees them: a table in the emulated memory whose operations
// call the native object.
#pragma once
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "frontend/vela_splitter.h"
#include "tests/device/machine.h"

namespace device {

class PluginObjects;

enum class HostKind {
  token,
  context,
  object,  ///< reference counted, of no known kind
  provider,
  stream,
  audioFormat,
  videoFormat,
  audioPacket,
  videoPacket,
  mediaInfo,
  moduleSink,
  stringSink,
};

/// Translates between native pointers and those of the device code, where both are not of one size.
class HandleTable {
 public:
  uint32_t toDevice(uintptr_t value);
  uintptr_t toNative(uint32_t value) const;

 private:
  mutable std::mutex lock_;
  std::vector<uintptr_t> values_;
};

class HostObjects {
 public:
  HostObjects(Machine& machine, PluginObjects& plugin);

  /// The device's view of `native`, which the host lends for one call; 0 for null.
  uint32_t lend(HostKind kind, void* native);
  /// Ends a loan: the device code must not use the object any more.
  void takeBack(uint32_t object);
  /// The device's view of a reference counted object to which the device code was just given one
  /// reference; 0 for null. The view ends with the last reference of the device code.
  uint32_t give(HostKind kind, void* native);

  /// The native object of a view; null for 0.
  void* native(uint32_t object) const;
  /// Views that the device code still holds references to.
  uint32_t heldObjects() const;
  HandleTable& handles() { return handles_; }

 private:
  struct View {
    HostKind kind;
    void* native;
    uint32_t references;  // of the device code, for objects that are counted
  };

  void buildTables();
  void buildCounted(HostKind kind, const char* name, uint32_t slots);
  void buildStream();
  void buildProvider();
  void buildPackets();
  void buildFormats();
  void buildMediaInfo();
  void buildSinks();

  /// Sets operation `slot` of a table. `face` counts the table pointers before this one.
  void on(HostKind kind, uint32_t slot, const char* name, CallHandler handler, uint32_t face = 0);
  /// Makes a table whose operations all end the process until they are set.
  void table(HostKind kind, const char* name, uint32_t slots, uint32_t face = 0);
  uint32_t makeView(HostKind kind, void* native);
  template <class Interface>
  Interface* self(const CallFrame& frame, uint32_t face = 0) const;
  vela::CancelToken* token(uint32_t object) const;
  uint32_t outSlot(uint32_t slot, HostKind kind, void* before, void* after);

  Machine* machine_;
  PluginObjects* plugin_;
  HandleTable handles_;
  mutable std::mutex lock_;
  std::map<HostKind, std::vector<uint32_t>> tables_;  // addresses, one for each face
  std::map<HostKind, const char*> names_;
  std::map<uint32_t, View> views_;
};

/// A loan for the length of one call.
class Lent {
 public:
  Lent(HostObjects& objects, HostKind kind, void* native)
      : objects_(&objects), address_(objects.lend(kind, native)) {}
  Lent(const Lent&) = delete;
  Lent& operator=(const Lent&) = delete;
  ~Lent() { objects_->takeBack(address_); }
  uint32_t address() const { return address_; }

 private:
  HostObjects* objects_;
  uint32_t address_;
};

}  // namespace device
