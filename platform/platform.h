// The few calls that reach the operating system. One source file per system implements them;
// nothing else in the plug-in includes a system header.
#pragma once
#include <cstdint>

namespace platform {

/// Writes `text` (UTF-16, NUL-terminated, borrowed for the call) to the debugger's output: the
/// system's debug channel on Windows, standard error as UTF-8 on POSIX.
void debugOutput(const char16_t* text) noexcept;

/// Stops in the debugger. Execution may be resumed, and then goes on behind the call. On POSIX this
/// is a SIGTRAP, raised only when a debugger is attached or the process has a handler for it;
/// otherwise the call returns at once, so that a report never ends the program. Under a tracer the
/// call changes the process's SIGTRAP disposition while it runs, so one thread at a time may make
/// it there.
void debugBreak() noexcept;

/// Receives what debugOutput() is given instead of the system's channel.
using DebugOutputSink = void (*)(const char16_t* text);

/// Redirects debugOutput() to `sink`; null restores the system's channel.
/// @return the sink that was set before, or null
DebugOutputSink setDebugOutputSink(DebugOutputSink sink) noexcept;

/// Maps one UTF-16 unit to lower case, independent of the locale; a unit without a mapping is
/// returned as it is. Covers ASCII, Latin-1, Latin Extended-A and -B, Greek and Cyrillic at least.
char16_t lowerUnit(char16_t unit) noexcept;

/// Maps one UTF-16 unit to upper case; otherwise like lowerUnit().
char16_t upperUnit(char16_t unit) noexcept;

/// Compares two NUL-terminated UTF-16 texts without regard to case.
/// @return negative, 0 or positive
int32_t compareIgnoringCase(const char16_t* left, const char16_t* right) noexcept;

/// Adds one to `*value` as one indivisible step. @return the new value
int32_t interlockedIncrement(int32_t* value) noexcept;

/// Subtracts one from `*value` as one indivisible step. @return the new value
int32_t interlockedDecrement(int32_t* value) noexcept;

/// Tells the system that the library `module` wants no notice of threads that start and end. Does
/// nothing on POSIX, which sends none.
void disableThreadLibraryCalls(void* module) noexcept;

}  // namespace platform
