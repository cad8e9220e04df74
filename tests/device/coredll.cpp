#include "tests/device/coredll.h"

#include <bit>
#include <cstdio>
#include <cstring>

#include "platform/case_mapping.h"

namespace device {
namespace {

constexpr uint32_t kMostSlots = 64;
constexpr uint32_t kNoSlot = 0xffffffff;
constexpr uint32_t kTlsAllocate = 0, kTlsFree = 1;
// The system maps a unit that stands in place of an address.
constexpr uint32_t kLargestUnit = 0xffff;

bool overlap(uint32_t a, uint32_t b, uint32_t count) {
  return count > 0 && (a - b < count || b - a < count);
}

}  // namespace

Coredll::Coredll(Machine& machine, uint64_t failingAllocation, bool oneStorageForAllThreads)
    : machine_(&machine),
      failingAllocation_(failingAllocation),
      oneStorageForAllThreads_(oneStorageForAllThreads) {
  addMemoryFunctions();
  addTextFunctions();
  addThreadFunctions();
}

uint32_t Coredll::resolve(const std::string& library, const std::string& name) const {
  const auto found = functions_.find(name);
  if (library != "coredll.dll" || found == functions_.end()) {
    violation("the image imports " + name + " from " + library + ", which is not offered");
  }
  return found->second;
}

uint32_t Coredll::slotsTaken() const { return static_cast<uint32_t>(std::popcount(slots_)); }

void Coredll::offer(const std::string& name, TrapKind kind, CallHandler handler) {
  functions_[name] = machine_->addTrap(name, kind, std::move(handler));
}

void Coredll::addMemoryFunctions() {
  add("malloc", [this](CallFrame& f) {
    if (!allocationFails()) f.result = machine_->heap().allocate(f.word(0));
  });
  add("free", [this](CallFrame& f) {
    if (f.word(0) != 0 && !machine_->heap().release(f.word(0))) {
      violation("free() of " + machine_->describe(f.word(0)) + ", where no block begins");
    }
  });
  add("realloc", [this](CallFrame& f) {
    const uint32_t old = f.word(0);
    const uint32_t count = f.word(1);
    if (old != 0 && !machine_->heap().isLive(old, 1) && machine_->heap().sizeOf(old) != 0) {
      violation("realloc() of a block that is not live");
    }
    if (allocationFails()) return;
    const uint32_t block = machine_->heap().allocate(count);
    if (block == 0) return;
    if (old != 0) {
      const uint32_t kept = std::min(machine_->heap().sizeOf(old), count);
      if (kept > 0) {
        std::memcpy(machine_->bytes(block, kept, "realloc()"),
                    machine_->bytes(old, kept, "realloc()"), kept);
      }
      if (!machine_->heap().release(old)) violation("realloc() of what malloc() did not give");
    }
    f.result = block;
  });
  add("memcpy", [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    if (overlap(f.word(0), f.word(1), count)) {
      violation("memcpy() between places that overlap: " + machine_->describe(f.word(0)) + " and " +
                machine_->describe(f.word(1)) + ", " + std::to_string(count) + " bytes");
    }
    if (count > 0) {
      std::memcpy(machine_->bytes(f.word(0), count, "memcpy()"),
                  machine_->bytes(f.word(1), count, "memcpy()"), count);
    }
    f.result = f.word(0);
  });
  add("memmove", [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    if (count > 0) {
      std::memmove(machine_->bytes(f.word(0), count, "memmove()"),
                   machine_->bytes(f.word(1), count, "memmove()"), count);
    }
    f.result = f.word(0);
  });
  add("memset", [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    if (count > 0) {
      std::memset(machine_->bytes(f.word(0), count, "memset()"), static_cast<int>(f.word(1)),
                  count);
    }
    f.result = f.word(0);
  });
  add("memcmp", [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    if (count == 0) return;
    f.result =
        static_cast<uint32_t>(std::memcmp(machine_->bytes(f.word(0), count, "memcmp()"),
                                          machine_->bytes(f.word(1), count, "memcmp()"), count));
  });
}

void Coredll::addTextFunctions() {
  const auto text = [this](uint32_t address) {
    std::string bytes;
    for (;; ++address) {
      const uint8_t byte = *machine_->bytes(address, 1, "a text of bytes");
      if (byte == 0) return bytes;
      bytes += static_cast<char>(byte);
    }
  };
  add("strlen", [=](CallFrame& f) { f.result = text(f.word(0)).size(); });
  add("strcmp", [=](CallFrame& f) {
    f.result = static_cast<uint32_t>(std::strcmp(text(f.word(0)).c_str(), text(f.word(1)).c_str()));
  });
  add("strcpy", [=, this](CallFrame& f) {
    const std::string source = text(f.word(1));
    std::memcpy(machine_->bytes(f.word(0), static_cast<uint32_t>(source.size() + 1), "strcpy()"),
                source.c_str(), source.size() + 1);
    f.result = f.word(0);
  });
  const auto addMapping = [this](const char* name, char16_t (*map)(char16_t)) {
    add(name, [=](CallFrame& f) {
      if (f.word(0) > kLargestUnit) violation("a case mapping of a whole text is not expected");
      f.result = map(static_cast<char16_t>(f.word(0)));
    });
  };
  addMapping("CharLowerW", &platform::lowerFromTable);
  addMapping("CharUpperW", &platform::upperFromTable);
  add("lstrcmpiW", [this](CallFrame& f) {
    std::u16string left = machine_->readText(f.word(0));
    std::u16string right = machine_->readText(f.word(1));
    for (char16_t& unit : left) unit = platform::lowerFromTable(unit);
    for (char16_t& unit : right) unit = platform::lowerFromTable(unit);
    f.result = static_cast<uint32_t>(left.compare(right));
  });
  add("OutputDebugStringW", [this](CallFrame& f) {
    for (const char16_t unit : machine_->readText(f.word(0))) {
      std::fputc(unit < 0x80 ? unit : '?', stderr);
    }
  });
}

void Coredll::addThreadFunctions() {
  const auto addStep = [this](const char* name, uint32_t step) {
    add(name, [=, this](CallFrame& f) {
      const uint32_t value = machine_->readWord(f.word(0)) + step;
      machine_->writeWord(f.word(0), value);
      f.result = value;
    });
  };
  addStep("InterlockedIncrement", 1);
  addStep("InterlockedDecrement", ~uint32_t{0});
  add("InterlockedExchange", [this](CallFrame& f) {
    f.result = machine_->readWord(f.word(0));
    machine_->writeWord(f.word(0), f.word(1));
  });
  add("DisableThreadLibraryCalls", [](CallFrame& f) { f.result = 1; });
  add("TlsCall", [this](CallFrame& f) {
    if (f.word(0) == kTlsAllocate) {
      const auto slot = static_cast<uint32_t>(std::countr_one(slots_));
      f.result = slot < kMostSlots ? slot : kNoSlot;
      if (slot < kMostSlots) slots_ |= uint64_t{1} << slot;
    } else if (f.word(0) == kTlsFree) {
      const uint64_t bit = uint64_t{1} << f.word(1) % kMostSlots;
      if (!(slots_ & bit)) violation("a slot of thread-local storage is given back twice");
      slots_ &= ~bit;
      f.result = 1;
    } else {
      violation("TlsCall() of an unknown function");
    }
  });
  const auto storage = [this]() -> std::map<uint32_t, uint32_t>& {
    return oneStorageForAllThreads_ ? sharedStorage_ : machine_->threadStorage();
  };
  add("TlsGetValue", [=](CallFrame& f) { f.result = storage()[f.word(0)]; });
  add("TlsSetValue", [=](CallFrame& f) {
    storage()[f.word(0)] = f.word(1);
    f.result = 1;
  });
}

}  // namespace device
