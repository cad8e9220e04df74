// The C++ runtime's per-thread state of exceptions in flight, in the system's thread-local storage.
#pragma once

namespace wince {

/// Takes a slot of thread-local storage. Called when a process attaches the library, before
/// anything can throw. Without a slot all threads share one state.
void openExceptionGlobals() noexcept;

/// Gives back the slot and the memory of every thread's state. Called when the process detaches the
/// library; nothing may throw afterwards.
void closeExceptionGlobals() noexcept;

}  // namespace wince
