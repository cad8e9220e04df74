// A library that breaks one rule of the device in each of its functions, to show that the emulator
// sees it.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#define BROKEN extern "C" __attribute__((visibility("default"), noinline)) uint32_t

namespace {

// Keeps the compiler from seeing through a value.
template <class Value>
Value hidden(Value value) {
  __asm__ volatile("" : "+r"(value));
  return value;
}

uint32_t g_word = 0x11223344;

}  // namespace

extern "C" int DllMain(void*, unsigned long, void*) { return 1; }

/// Keeps every rule.
BROKEN Nothing() {
  auto* const block = static_cast<uint8_t*>(std::malloc(100));
  std::memset(block, 7, 100);
  const uint32_t value = block[99];
  std::free(block);
  return value;
}

BROKEN UnalignedRead() {
  auto* const place = reinterpret_cast<uint8_t*>(hidden(&g_word)) + 1;
  uint32_t value;
  __asm__ volatile("ldr %0, [%1]" : "=r"(value) : "r"(place));
  return value;
}

BROKEN WritePastABlock() {
  auto* const block = static_cast<uint8_t*>(std::malloc(100));
  hidden(block)[100] = 1;
  std::free(block);
  return 0;
}

BROKEN CopyPastABlock() {
  auto* const block = static_cast<uint8_t*>(std::malloc(100));
  std::memset(hidden(block), 0, hidden(101u));
  std::free(block);
  return 0;
}

BROKEN ReadAfterFree() {
  auto* const block = static_cast<uint8_t*>(std::malloc(100));
  std::free(block);
  return hidden(block)[5];
}

BROKEN FreeTwice() {
  void* const block = std::malloc(100);
  std::free(block);
  std::free(hidden(block));
  return 0;
}

BROKEN LeaveABlock() { return std::malloc(hidden(100u)) != nullptr; }

__attribute__((naked)) BROKEN LoseARegister() { __asm__ volatile("mov r6, #1\n mov pc, lr"); }

__attribute__((naked)) BROKEN LoseTheStackPointer() {
  __asm__ volatile("sub sp, sp, #8\n mov pc, lr");
}

BROKEN CopyBetweenPlacesThatOverlap() {
  auto* const block = static_cast<uint8_t*>(std::malloc(100));
  std::memset(block, 7, 100);
  using Copy = void* (*)(void*, const void*, size_t);
  const Copy copy = hidden(static_cast<Copy>(std::memcpy));
  copy(block + 1, block, 50);
  std::free(block);
  return 0;
}

BROKEN RunOutsideOfText() {
  static uint32_t code[] = {0xe1a0f00e};  // mov pc, lr
  return hidden(reinterpret_cast<uint32_t (*)()>(reinterpret_cast<uintptr_t>(code)))();
}

BROKEN WriteToConstants() {
  static const uint32_t constants[4] = {1, 2, 3, 4};
  *const_cast<volatile uint32_t*>(hidden(&constants[0])) = 5;
  return 0;
}

BROKEN ReadNowhere() { return *hidden(reinterpret_cast<volatile uint32_t*>(0x10)); }

/// Calls an operation of MediaInfo that nobody implements.
BROKEN CallAnUnusedSlot(void* object) {
  auto* const table = *static_cast<uint32_t (***)(void*)>(object);
  return table[12](object);
}

BROKEN ReadAScratchRegisterAfterACall() {
  uint32_t kept = 0;
  __asm__ volatile(
      "mov r12, #77\n mov r2, #77\n mov r3, #77\n"
      "mov r0, #16\n bl malloc\n bl free\n"
      "eor %0, r2, r12"
      : "=r"(kept)
      :
      : "r0", "r1", "r2", "r3", "r12", "lr", "memory");
  return kept;
}
