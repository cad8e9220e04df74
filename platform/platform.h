// The few calls that reach the operating system. One source file per system implements them;
// nothing else in the plug-in includes a system header.
#pragma once
#include <cstdint>

namespace platform {

/// Writes `text` (UTF-16, NUL-terminated, borrowed for the call) to the debugger's output: the
/// system's debug channel on Windows, standard error as UTF-8 on POSIX.
void debugOutput(const char16_t* text) noexcept;

/// Stops in the debugger; when execution is resumed, the call returns. On POSIX it raises SIGTRAP,
/// but only when a debugger is attached or the process has a handler for it; otherwise it returns
/// at once, so that a report never ends the program. Under a debugger the call changes what the
/// process does on SIGTRAP while it runs, so only one thread at a time may make it there.
void debugBreak() noexcept;

/// Receives what debugOutput() is given instead of the system's channel.
using DebugOutputSink = void (*)(const char16_t* text);

/// Redirects debugOutput() to `sink`; null restores the system's channel.
/// @return the sink that was set before, or null
DebugOutputSink setDebugOutputSink(DebugOutputSink sink) noexcept;

/// Maps one UTF-16 unit to lower case. A unit without a mapping is returned as it is. Covers at
/// least ASCII, Latin-1, Latin Extended-A and -B, Greek and Cyrillic, whatever the locale.
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

/// Tells the system that the library `module` needs no notice when a thread starts or ends. Does
/// nothing on POSIX, which sends none.
void disableThreadLibraryCalls(void* module) noexcept;

}  // namespace platform
