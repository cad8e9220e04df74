// The library's one export, and what the system calls when it loads the library.
#include "frontend/splitter_module.h"
#include "frontend/vela_splitter.h"
#include "hal/memory/memory.h"
#include "platform/platform.h"

#if defined(_WIN32)
#define VELA_EXPORT __declspec(dllexport)
#define VELA_SYSTEM_CALL __stdcall
#else
#define VELA_SYSTEM_CALL
#define VELA_EXPORT __attribute__((visibility("default")))
#endif

extern "C" VELA_EXPORT vela::ISplitterModule* VelaEntry() {
  return VMemory::GNew<vela::SplitterModule>();
}

#if defined(_WIN32) || defined(VELA_WINDOWS_CE)
/// @param reason  1 when a process attaches the library
extern "C" int VELA_SYSTEM_CALL DllMain(void* module, unsigned long reason, void*) {
  constexpr unsigned long kProcessAttach = 1;
  if (reason == kProcessAttach) platform::disableThreadLibraryCalls(module);
  return 1;
}
#endif
