#include <windows.h>

#include "platform/debug_channel.h"
#include "platform/platform.h"

namespace platform {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));
static_assert(sizeof(LONG) == sizeof(int32_t));

const wchar_t* wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }

LONG* interlocked(int32_t* value) { return reinterpret_cast<LONG*>(value); }

// CharLowerW and CharUpperW take a single unit in place of the text's address, and answer likewise.
char16_t mapUnit(LPWSTR(WINAPI* map)(LPWSTR), char16_t unit) {
  const auto mapped = map(reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(unit)));
  return static_cast<char16_t>(reinterpret_cast<ULONG_PTR>(mapped) & 0xFFFF);
}

}  // namespace

void writeDebugChannel(const char16_t* text) noexcept { ::OutputDebugStringW(wide(text)); }

void debugBreak() noexcept {
  // The system ends a program that breaks without a debugger.
  if (!::IsDebuggerPresent()) return;
  ::DebugBreak();
}

char16_t lowerUnit(char16_t unit) noexcept { return mapUnit(::CharLowerW, unit); }

char16_t upperUnit(char16_t unit) noexcept { return mapUnit(::CharUpperW, unit); }

int32_t compareIgnoringCase(const char16_t* left, const char16_t* right) noexcept {
  return ::lstrcmpiW(wide(left), wide(right));
}

int32_t interlockedIncrement(int32_t* value) noexcept {
  return ::InterlockedIncrement(interlocked(value));
}

int32_t interlockedDecrement(int32_t* value) noexcept {
  return ::InterlockedDecrement(interlocked(value));
}

void disableThreadLibraryCalls(void* module) noexcept {
  ::DisableThreadLibraryCalls(static_cast<HMODULE>(module));
}

}  // namespace platform
