#include "platform/debug_channel.h"
#include "platform/platform.h"
#include "platform/wince/coredll.h"

namespace platform {

void writeDebugChannel(const char16_t* text) noexcept { ::OutputDebugStringW(text); }

// The breakpoint that the device's debugger knows: an undefined instruction with this number. The
// system goes on with the next one when nobody listens.
void debugBreak() noexcept { __asm__ volatile(".word 0xE6000010"); }

char16_t lowerUnit(char16_t unit) noexcept { return static_cast<char16_t>(::CharLowerW(unit)); }

char16_t upperUnit(char16_t unit) noexcept { return static_cast<char16_t>(::CharUpperW(unit)); }

int32_t compareIgnoringCase(const char16_t* left, const char16_t* right) noexcept {
  return ::lstrcmpiW(left, right);
}

int32_t interlockedIncrement(int32_t* value) noexcept { return ::InterlockedIncrement(value); }

int32_t interlockedDecrement(int32_t* value) noexcept { return ::InterlockedDecrement(value); }

void disableThreadLibraryCalls(void* module) noexcept { ::DisableThreadLibraryCalls(module); }

}  // namespace platform
