// What the system's loader calls, and the start and end of the C++ runtime inside the library.
#include <cstdint>

#include "platform/wince/exception_globals.h"

extern "C" {

// Bounds of the tables of start-up functions; the linker script sets them.
using Initialiser = void (*)();
extern const Initialiser __init_array_start[];
extern const Initialiser __init_array_end[];

// Names this library among those whose termination functions are registered.
void* __dso_handle = nullptr;

// The library's own part of attach and detach; see vela_entry.cpp.
int DllMain(void* module, unsigned long reason, void* reserved);

}  // extern "C"

namespace __gnu_cxx {
void __freeres();  // gives back the reserve of the exception allocator
}

namespace {

using Terminator = void (*)(void*);

struct Termination {
  Terminator function;
  void* object;
};

// Static objects with a destructor; the library and its C++ runtime have a few.
constexpr uint32_t kMostTerminations = 16;
Termination g_terminations[kMostTerminations];
uint32_t g_terminationCount = 0;

int registerTermination(Terminator function, void* object) {
  if (g_terminationCount == kMostTerminations) return -1;
  g_terminations[g_terminationCount++] = {function, object};
  return 0;
}

void attach() {
  wince::openExceptionGlobals();
  for (const Initialiser* initialise = __init_array_start; initialise != __init_array_end;
       ++initialise) {
    (*initialise)();
  }
}

void detach() {
  while (g_terminationCount > 0) {
    const Termination& last = g_terminations[--g_terminationCount];
    last.function(last.object);
  }
  __gnu_cxx::__freeres();
  wince::closeExceptionGlobals();
}

}  // namespace

// The compiler's two ways to register a static object's destructor.
extern "C" int __cxa_atexit(Terminator function, void* object, void*) {
  return registerTermination(function, object);
}
extern "C" int __aeabi_atexit(void* object, Terminator function, void*) {
  return registerTermination(function, object);
}

/// The image's entry point. Threads that start and end are of no interest, and a refusal would only
/// unload the library, so every call succeeds.
extern "C" int libraryEntry(void* module, unsigned long reason, void* reserved) {
  constexpr unsigned long kProcessDetach = 0;
  constexpr unsigned long kProcessAttach = 1;
  if (reason == kProcessAttach) attach();
  DllMain(module, reason, reserved);
  if (reason == kProcessDetach) detach();
  return 1;
}
