// The functions of the device's system library (coredll.dll) that the plug-in calls beside the C
// library's. Debian's ARM compiler brings no header of that system, so they are declared here.
// Each name also stands in coredll_imports.txt, from which the import stubs are made.
#pragma once
#include <cstdint>

extern "C" {

/// Writes a NUL-terminated UTF-16 text to the debug channel.
void OutputDebugStringW(const char16_t* text);

/// Map one unit, given in place of the text's address, and return it likewise.
uintptr_t CharLowerW(uintptr_t unit);
uintptr_t CharUpperW(uintptr_t unit);

/// Compares two NUL-terminated texts without regard to case.
int32_t lstrcmpiW(const char16_t* left, const char16_t* right);

/// Add or subtract one indivisibly. @return the new value
int32_t InterlockedIncrement(int32_t* value);
int32_t InterlockedDecrement(int32_t* value);
/// Stores a word indivisibly. @return the word before
int32_t InterlockedExchange(int32_t* place, int32_t value);

/// Stops the notices of threads that start and end. @return not 0 on success
int32_t DisableThreadLibraryCalls(void* module);

/// Takes (kTlsAllocate) or gives back (kTlsFree) a slot of thread-local storage.
/// @return the slot, or kNoTlsSlot when there is none left; for kTlsFree not 0 on success
uint32_t TlsCall(uint32_t function, uint32_t slot);
/// The calling thread's word in `slot`; null when the thread has not set it.
void* TlsGetValue(uint32_t slot);
/// @return not 0 on success
int32_t TlsSetValue(uint32_t slot, void* value);

}  // extern "C"

inline constexpr uint32_t kTlsAllocate = 0;
inline constexpr uint32_t kTlsFree = 1;
inline constexpr uint32_t kNoTlsSlot = 0xffffffff;
