// The device's system library, as far as images import it.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "tests/device/machine.h"

namespace device {

class Coredll {
 public:
  /// @param failingAllocation  number of the malloc() or realloc() that fails, counted from 0; all
  ///        ones for none
  Coredll(Machine& machine, uint64_t failingAllocation, bool oneStorageForAllThreads);

  /// Address of an imported function; ends the process for one that is not offered.
  uint32_t resolve(const std::string& library, const std::string& name) const;

  /// Offers one more function.
  void offer(const std::string& name, TrapKind kind, CallHandler handler);

  uint64_t allocations() const { return allocations_; }
  /// Slots of thread-local storage that are taken.
  uint32_t slotsTaken() const;

 private:
  void addMemoryFunctions();
  void addTextFunctions();
  void addThreadFunctions();
  void add(const std::string& name, CallHandler handler) {
    offer(name, TrapKind::system, std::move(handler));
  }
  bool allocationFails() { return allocations_++ == failingAllocation_; }

  Machine* machine_;
  uint64_t failingAllocation_;
  uint64_t allocations_ = 0;
  bool oneStorageForAllThreads_;
  std::map<uint32_t, uint32_t> sharedStorage_;
  uint64_t slots_ = 0;  // one bit each
  std::map<std::string, uint32_t> functions_;
};

}  // namespace device
