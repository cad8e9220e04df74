// The ends that the C++ runtime may come to: none of them is reached while no exception leaves an
// operation. They write nothing, so that neither stdio nor the demangler is in the image.
#include <cstdlib>
#include <exception>

/// Ends the process with a fault: the instruction is undefined on every ARM.
extern "C" [[noreturn]] void abort() {
  for (;;) __asm__ volatile(".word 0xE7F000F0");
}

extern "C" [[noreturn]] void __cxa_pure_virtual() { abort(); }

namespace __cxxabiv1 {
// Instead of the runtime's own handler, which describes the exception on standard error.
extern std::terminate_handler __terminate_handler;
std::terminate_handler __terminate_handler = abort;
}  // namespace __cxxabiv1

// Storage comes from malloc() and goes back to free(); the runtime's own operators would bring its
// new-handler along.
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
