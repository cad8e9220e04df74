// The emulated device: an SA-1110 with the memory of one process, and the rules that code on it
// must keep. A broken rule ends the process with a message and kViolationStatus.
#pragma once
#include <unicorn/unicorn.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/device/guest_heap.h"

namespace device {

/// Exit status of a process whose device code broke a rule.
inline constexpr int kViolationStatus = 97;

/// Says what rule was broken and ends the process.
[[noreturn]] void violation(const std::string& what);

class Machine;

/// Arguments of a call into the device code, a word each.
using Words = std::vector<uint32_t>;

/// The arguments of a call that the device code makes, and the place for its result.
class CallFrame {
 public:
  explicit CallFrame(Machine& machine);

  /// Word `index` of the arguments: four in registers, then the stack.
  uint32_t word(uint32_t index) const;
  uint64_t words(uint32_t index) const { return uint64_t{word(index + 1)} << 32 | word(index); }
  uint64_t result = 0;
  bool endsThread = false;  ///< the call does not return: the thread ends with `result`

 private:
  Machine* machine_;
  std::array<uint32_t, 4> registers_;
  uint32_t stack_;
};

using CallHandler = std::function<void(CallFrame&)>;

/// Who runs while a call of the device code is answered.
enum class TrapKind {
  system,  ///< the system library: nothing else runs meanwhile
  host,    ///< the host: other threads may run device code meanwhile
};

/// How often and how long the device code ran for one operation.
struct OperationCount {
  uint64_t calls = 0;
  uint64_t instructions = 0;
  uint64_t mostInstructions = 0;
};

class Machine {
 public:
  /// @param stackAlignment  8, or 4 for stacks as the device has them
  explicit Machine(uint32_t stackAlignment);
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  // ---- memory

  /// Maps pages of zeros. @param rights  of UC_PROT_*
  uint8_t* map(uint32_t address, uint32_t size, uint32_t rights);
  void setRights(uint32_t address, uint32_t size, uint32_t rights);
  /// Native address of `count` mapped bytes, which must be the device code's to use.
  /// @param purpose  for the message when they are not
  uint8_t* bytes(uint32_t address, uint32_t count, const char* purpose);
  uint32_t readWord(uint32_t address);
  void writeWord(uint32_t address, uint32_t value);
  /// A text up to its NUL.
  std::u16string readText(uint32_t address);

  /// The heap that malloc() serves.
  GuestHeap& heap() { return *heap_; }
  const GuestHeap& heap() const { return *heap_; }
  /// Blocks for arguments and for the tables of the host's objects.
  GuestHeap& arguments() { return *arguments_; }

  // ---- calls

  /// Makes an address that answers calls. @param name  for messages
  uint32_t addTrap(std::string name, TrapKind kind, CallHandler handler);

  /// Runs device code until it returns. May be used by several threads and from inside a host trap;
  /// device code runs on one thread at a time, and threads take turns at the host's traps.
  /// @return r0 and r1
  uint64_t call(uint32_t function, const Words& arguments);
  /// Calls operation `slot` of the table that `object` points to, with `object` first.
  uint64_t callSlot(uint32_t object, uint32_t slot, const Words& arguments);

  /// Words that the calling thread has stored; see TlsSetValue().
  std::map<uint32_t, uint32_t>& threadStorage();

  // ---- figures

  uint64_t instructions() const { return instructions_; }
  uint32_t mostStackBytes() const { return mostStackBytes_; }
  uint64_t breakpoints() const { return breakpoints_; }
  /// How often each function and operation was called from the device code, by its name.
  const std::map<std::string, uint64_t>& trapCounts() const { return trapCounts_; }
  /// Ranges that a message names in place of a bare address.
  void nameRange(std::string name, uint32_t address, uint32_t size);
  std::string describe(uint32_t address) const;

 private:
  friend class CallFrame;
  struct Trap {
    std::string name;
    TrapKind kind;
    CallHandler handler;
  };
  struct Thread {
    uint32_t stackTop = 0;
    uint32_t stackPointer = 0;
    std::map<uint32_t, uint32_t> storage;
  };
  struct Range {
    std::string name;
    uint32_t address;
    uint32_t size;
    uint8_t* memory;
  };
  using Registers = std::array<uint32_t, 17>;

  Thread& thread();
  void run(std::unique_lock<std::mutex>& turn, uint32_t address);
  void answer(std::unique_lock<std::mutex>& turn, uint32_t address);
  void resumeAfterBreakpoint(uint32_t& address, uc_err error);
  uint32_t reg(int id) const;
  void setReg(int id, uint32_t value);
  Registers saveRegisters() const;
  void restoreRegisters(const Registers& registers);
  void checkAccess(uint32_t address, uint32_t size, bool isWrite);

  static void onBlock(uc_engine*, uint64_t address, uint32_t size, void* self);
  static void onTrap(uc_engine*, uint64_t address, uint32_t size, void* self);
  static void onAccess(uc_engine*, uc_mem_type type, uint64_t address, int size, int64_t value,
                       void* self);
  static bool onBadAccess(uc_engine*, uc_mem_type type, uint64_t address, int size, int64_t value,
                          void* self);

  uc_engine* engine_ = nullptr;
  uint32_t stackAlignment_;
  std::mutex turn_;  // held by the thread whose device code runs
  std::mutex threadsLock_;
  std::map<std::thread::id, Thread> threads_;
  mutable std::recursive_mutex memoryLock_;
  std::vector<Range> ranges_;  // all that is mapped
  std::vector<Range> names_;
  std::unique_ptr<GuestHeap> heap_;
  std::unique_ptr<GuestHeap> arguments_;
  std::vector<Trap> traps_;
  std::map<std::string, uint64_t> trapCounts_;
  bool threadEnded_ = false;
  uint32_t trapped_ = 0;  // address of the trap that stopped the emulator; 0 for none
  uint32_t poison_ = 0x5EED0001;
  uint64_t instructions_ = 0;
  uint32_t mostStackBytes_ = 0;
  uint64_t breakpoints_ = 0;
};

}  // namespace device
