#include "tests/device/machine.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace device {
namespace {

constexpr uint32_t kPage = 0x1000;
constexpr uint32_t kTraps = 0x00100000;
constexpr uint32_t kTrapBytes = 0x10000;
constexpr uint32_t kReturn = kTraps;  // where a finished call arrives
constexpr uint32_t kStacks = 0x08000000;
constexpr uint32_t kStackBytes = 0x10000;
constexpr uint32_t kStackStride = 0x20000;  // unmapped pages between two stacks
constexpr uint32_t kHeap = 0x30000000;
constexpr uint32_t kHeapBytes = 0x04000000;
constexpr uint32_t kArguments = 0x50000000;
constexpr uint32_t kArgumentBytes = 0x04000000;
constexpr uint32_t kBranchToItself = 0xEAFFFFFE;
constexpr uint32_t kBreakpoint = 0xE6000010;

const std::array<int, 17> kRegisters = {
    UC_ARM_REG_R0,  UC_ARM_REG_R1, UC_ARM_REG_R2, UC_ARM_REG_R3, UC_ARM_REG_R4,  UC_ARM_REG_R5,
    UC_ARM_REG_R6,  UC_ARM_REG_R7, UC_ARM_REG_R8, UC_ARM_REG_R9, UC_ARM_REG_R10, UC_ARM_REG_R11,
    UC_ARM_REG_R12, UC_ARM_REG_SP, UC_ARM_REG_LR, UC_ARM_REG_PC, UC_ARM_REG_CPSR};
const std::array<int, 8> kKept = {UC_ARM_REG_R4, UC_ARM_REG_R5, UC_ARM_REG_R6,  UC_ARM_REG_R7,
                                  UC_ARM_REG_R8, UC_ARM_REG_R9, UC_ARM_REG_R10, UC_ARM_REG_R11};

std::string hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", value);
  return text;
}

}  // namespace

void violation(const std::string& what) {
  std::fflush(stdout);
  std::fprintf(stderr, "device: %s\n", what.c_str());
  std::fflush(stderr);
  std::_Exit(kViolationStatus);
}

CallFrame::CallFrame(Machine& machine) : machine_(&machine), stack_(machine.reg(UC_ARM_REG_SP)) {
  for (size_t i = 0; i < registers_.size(); ++i) registers_[i] = machine.reg(kRegisters[i]);
}

uint32_t CallFrame::word(uint32_t index) const {
  if (index < 4) return registers_[index];
  return machine_->readWord(stack_ + 4 * (index - 4));
}

Machine::Machine(uint32_t stackAlignment) : stackAlignment_(stackAlignment) {
  if (uc_open(UC_ARCH_ARM, UC_MODE_ARM, &engine_) != UC_ERR_OK ||
      uc_ctl_set_cpu_model(engine_, UC_CPU_ARM_SA1110) != UC_ERR_OK) {
    violation("the emulator can't be had");
  }
  uint8_t* const traps = map(kTraps, kTrapBytes, UC_PROT_READ | UC_PROT_EXEC);
  for (uint32_t i = 0; i < kTrapBytes; i += 4) {
    std::memcpy(traps + i, &kBranchToItself, sizeof kBranchToItself);
  }
  traps_.push_back({"return", TrapKind::system, nullptr});
  heap_ = std::make_unique<GuestHeap>(kHeap, kHeapBytes,
                                      map(kHeap, kHeapBytes, UC_PROT_READ | UC_PROT_WRITE));
  arguments_ = std::make_unique<GuestHeap>(
      kArguments, kArgumentBytes, map(kArguments, kArgumentBytes, UC_PROT_READ | UC_PROT_WRITE));
  nameRange("the heap", kHeap, kHeapBytes);
  nameRange("an argument or table of the host", kArguments, kArgumentBytes);

  uc_hook hook;
  const auto add = [&](int type, auto* function, uint64_t begin, uint64_t end) {
    if (uc_hook_add(engine_, &hook, type, reinterpret_cast<void*>(function), this, begin, end) !=
        UC_ERR_OK) {
      violation("the emulator takes no hook");
    }
  };
  add(UC_HOOK_BLOCK, &onBlock, 1, 0);
  add(UC_HOOK_CODE, &onTrap, kTraps, kTraps + kTrapBytes - 1);
  add(UC_HOOK_MEM_READ | UC_HOOK_MEM_WRITE, &onAccess, 1, 0);
  add(UC_HOOK_MEM_INVALID, &onBadAccess, 1, 0);
}

Machine::~Machine() {
  uc_close(engine_);
  for (const Range& range : ranges_) ::munmap(range.memory, range.size);
}

uint8_t* Machine::map(uint32_t address, uint32_t size, uint32_t rights) {
  size = (size + kPage - 1) / kPage * kPage;
  const std::lock_guard<std::recursive_mutex> lock(memoryLock_);
  void* const pages =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) violation("no memory for the device's memory");
  auto* const memory = static_cast<uint8_t*>(pages);
  if (uc_mem_map_ptr(engine_, address, size, rights, memory) != UC_ERR_OK) {
    violation("the pages at " + hex(address) + " can't be mapped");
  }
  ranges_.push_back({"", address, size, memory});
  return memory;
}

void Machine::setRights(uint32_t address, uint32_t size, uint32_t rights) {
  size = (size + kPage - 1) / kPage * kPage;
  if (uc_mem_protect(engine_, address, size, rights) != UC_ERR_OK) {
    violation("the rights of the pages at " + hex(address) + " can't be set");
  }
}

uint8_t* Machine::bytes(uint32_t address, uint32_t count, const char* purpose) {
  const std::lock_guard<std::recursive_mutex> lock(memoryLock_);
  for (const Range& range : ranges_) {
    const uint32_t offset = address - range.address;
    if (offset >= range.size || count > range.size - offset) continue;
    for (const GuestHeap* heap : {heap_.get(), arguments_.get()}) {
      if (heap && heap->holds(address) && !heap->isLive(address, count)) {
        violation(std::string(purpose) + ": " + std::to_string(count) + " bytes at " +
                  describe(address) + " are not all in one live block");
      }
    }
    return range.memory + offset;
  }
  violation(std::string(purpose) + ": " + std::to_string(count) + " bytes at " + describe(address) +
            " are not mapped");
}

uint32_t Machine::readWord(uint32_t address) {
  uint32_t value;
  std::memcpy(&value, bytes(address, sizeof value, "a word read"), sizeof value);
  return value;
}

void Machine::writeWord(uint32_t address, uint32_t value) {
  std::memcpy(bytes(address, sizeof value, "a word written"), &value, sizeof value);
}

std::u16string Machine::readText(uint32_t address) {
  if (address % 2 != 0) violation("a text at the odd address " + describe(address));
  std::u16string text;
  for (;; address += 2) {
    char16_t unit;
    std::memcpy(&unit, bytes(address, sizeof unit, "a text"), sizeof unit);
    if (unit == 0) return text;
    text += unit;
  }
}

uint32_t Machine::addTrap(std::string name, TrapKind kind, CallHandler handler) {
  const auto index = static_cast<uint32_t>(traps_.size());
  if (index * 4 >= kTrapBytes) violation("too many traps");
  traps_.push_back({std::move(name), kind, std::move(handler)});
  return kTraps + 4 * index;
}

Machine::Thread& Machine::thread() {
  const std::lock_guard<std::mutex> lock(threadsLock_);
  Thread& thread = threads_[std::this_thread::get_id()];
  if (thread.stackTop == 0) {
    const uint32_t base = kStacks + kStackStride * static_cast<uint32_t>(threads_.size());
    map(base, kStackBytes, UC_PROT_READ | UC_PROT_WRITE);
    thread.stackTop = base + kStackBytes;
    thread.stackPointer = thread.stackTop;
  }
  return thread;
}

std::map<uint32_t, uint32_t>& Machine::threadStorage() { return thread().storage; }

uint64_t Machine::callSlot(uint32_t object, uint32_t slot, const Words& arguments) {
  Words all = {object};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return call(readWord(readWord(object) + 4 * slot), all);
}

uint64_t Machine::call(uint32_t function, const Words& arguments) {
  std::unique_lock<std::mutex> turn(turn_);
  Thread& own = thread();
  const Registers before = saveRegisters();
  const uint32_t outerStack = own.stackPointer;

  const auto count = static_cast<uint32_t>(arguments.size());
  const uint32_t onStack = count > 4 ? 4 * (count - 4) : 0;
  uint32_t stack = (own.stackPointer - onStack) / 8 * 8;
  if (stackAlignment_ == 4) stack -= 4;
  uint32_t index = 0;
  for (const uint32_t argument : arguments) {
    if (index < 4) {
      setReg(kRegisters[index], argument);
    } else {
      writeWord(stack + 4 * (index - 4), argument);
    }
    ++index;
  }
  for (; index < 4; ++index) setReg(kRegisters[index], poison_ += 0x01010101);
  std::array<uint32_t, kKept.size()> kept;
  for (size_t i = 0; i < kKept.size(); ++i) setReg(kKept[i], kept[i] = poison_ += 0x10001);
  setReg(UC_ARM_REG_R12, poison_);
  setReg(UC_ARM_REG_SP, stack);
  setReg(UC_ARM_REG_LR, kReturn);
  own.stackPointer = stack;

  run(turn, function);

  const bool returned = !std::exchange(threadEnded_, false);
  for (size_t i = 0; returned && i < kKept.size(); ++i) {
    if (reg(kKept[i]) != kept[i]) {
      violation("the function at " + describe(function) + " does not keep register r" +
                std::to_string(4 + i));
    }
  }
  if (returned && reg(UC_ARM_REG_SP) != stack) {
    violation("the function at " + describe(function) + " does not keep the stack pointer");
  }
  const uint64_t result = uint64_t{reg(UC_ARM_REG_R1)} << 32 | reg(UC_ARM_REG_R0);
  own.stackPointer = outerStack;
  restoreRegisters(before);
  return result;
}

void Machine::run(std::unique_lock<std::mutex>& turn, uint32_t address) {
  for (;;) {
    trapped_ = 0;
    const uc_err error = uc_emu_start(engine_, address, kReturn, 0, 0);
    if (trapped_ == 0 && reg(UC_ARM_REG_PC) == kReturn) return;
    if (trapped_ == kReturn) return;
    if (trapped_ == 0) {
      resumeAfterBreakpoint(address, error);
      continue;
    }
    answer(turn, trapped_);
    if (threadEnded_) return;
    address = reg(UC_ARM_REG_PC);
  }
}

void Machine::resumeAfterBreakpoint(uint32_t& address, uc_err error) {
  address = reg(UC_ARM_REG_PC);
  // The emulator may already stand past the instruction that it refused.
  for (const uint32_t place : {address, address - 4}) {
    uint32_t instruction = 0;
    if (uc_mem_read(engine_, place, &instruction, sizeof instruction) == UC_ERR_OK &&
        instruction == kBreakpoint) {
      ++breakpoints_;
      address = place + 4;
      return;
    }
  }
  violation("the device code stops at " + describe(address) + ": " + uc_strerror(error));
}

void Machine::answer(std::unique_lock<std::mutex>& turn, uint32_t address) {
  const uint32_t index = (address - kTraps) / 4;
  if (index >= traps_.size()) violation("a jump to " + hex(address));
  Trap& trap = traps_[index];
  ++trapCounts_[trap.name];
  Registers registers = saveRegisters();
  const uint32_t stack = reg(UC_ARM_REG_SP);
  const uint32_t back = reg(UC_ARM_REG_LR);
  CallFrame frame(*this);
  if (trap.kind == TrapKind::host) {
    Thread& own = thread();
    const uint32_t outerStack = std::exchange(own.stackPointer, stack);
    turn.unlock();
    trap.handler(frame);
    turn.lock();
    own.stackPointer = outerStack;
  } else {
    trap.handler(frame);
  }
  registers[0] = static_cast<uint32_t>(frame.result);
  registers[1] = static_cast<uint32_t>(frame.result >> 32);
  // A call may change these; code that counts on them is wrong.
  registers[2] = poison_ += 0x01010101;
  registers[3] = poison_ += 0x01010101;
  registers[12] = poison_ += 0x01010101;
  registers[14] = poison_ += 0x01010101;
  registers[15] = back;
  if (frame.endsThread) {
    threadEnded_ = true;
    registers[15] = kReturn;
  }
  restoreRegisters(registers);
}

uint32_t Machine::reg(int id) const {
  uint32_t value = 0;
  uc_reg_read(engine_, id, &value);
  return value;
}

void Machine::setReg(int id, uint32_t value) { uc_reg_write(engine_, id, &value); }

Machine::Registers Machine::saveRegisters() const {
  Registers registers;
  for (size_t i = 0; i < kRegisters.size(); ++i) registers[i] = reg(kRegisters[i]);
  return registers;
}

void Machine::restoreRegisters(const Registers& registers) {
  for (size_t i = 0; i < kRegisters.size(); ++i) setReg(kRegisters[i], registers[i]);
}

void Machine::onBlock(uc_engine*, uint64_t address, uint32_t size, void* self) {
  if (address - kTraps < kTrapBytes) return;
  static_cast<Machine*>(self)->instructions_ += size / 4;
}

void Machine::onTrap(uc_engine* engine, uint64_t address, uint32_t, void* self) {
  static_cast<Machine*>(self)->trapped_ = static_cast<uint32_t>(address);
  uc_emu_stop(engine);
}

void Machine::onAccess(uc_engine*, uc_mem_type type, uint64_t address, int size, int64_t,
                       void* self) {
  static_cast<Machine*>(self)->checkAccess(static_cast<uint32_t>(address),
                                           static_cast<uint32_t>(size), type == UC_MEM_WRITE);
}

void Machine::checkAccess(uint32_t address, uint32_t size, bool isWrite) {
  const auto place = [&] {
    return std::string(isWrite ? "a write of " : "a read of ") + std::to_string(size) +
           " bytes at " + describe(address) + ", from " + describe(reg(UC_ARM_REG_PC));
  };
  if (address % size != 0) violation("unaligned: " + place());
  for (const GuestHeap* heap : {heap_.get(), arguments_.get()}) {
    if (heap->holds(address) && !heap->isLive(address, size)) {
      violation("outside of every live block: " + place());
    }
  }
  if (isWrite && address - kStacks < kHeap - kStacks) {
    const uint32_t used = kStackBytes - (address - kStacks) % kStackStride;
    if (used <= kStackBytes) mostStackBytes_ = std::max(mostStackBytes_, used);
  }
}

bool Machine::onBadAccess(uc_engine*, uc_mem_type type, uint64_t address, int size, int64_t,
                          void* self) {
  const auto* machine = static_cast<Machine*>(self);
  const char* what = "an access";
  switch (type) {
    case UC_MEM_READ_UNMAPPED:
      what = "a read where nothing is mapped";
      break;
    case UC_MEM_WRITE_UNMAPPED:
      what = "a write where nothing is mapped";
      break;
    case UC_MEM_FETCH_UNMAPPED:
      what = "execution where nothing is mapped";
      break;
    case UC_MEM_READ_PROT:
      what = "a read without the right to";
      break;
    case UC_MEM_WRITE_PROT:
      what = "a write without the right to";
      break;
    case UC_MEM_FETCH_PROT:
      what = "execution outside of .text";
      break;
    default:
      break;
  }
  const auto at = static_cast<uint32_t>(address);
  violation(std::string(what) + ": " + std::to_string(size) + " bytes at " + machine->describe(at) +
            ", from " + machine->describe(machine->reg(UC_ARM_REG_PC)));
}

void Machine::nameRange(std::string name, uint32_t address, uint32_t size) {
  names_.push_back({std::move(name), address, size, nullptr});
}

std::string Machine::describe(uint32_t address) const {
  for (const Range& range : names_) {
    if (address - range.address >= range.size) continue;
    return hex(address) + " (" + range.name + " + " + hex(address - range.address) + ")";
  }
  return hex(address);
}

}  // namespace device
