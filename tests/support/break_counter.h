// BreakCounter: counts this process's debugger breaks and goes on after each.
#pragma once
#include <signal.h>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <winternl.h>
#endif

/// Takes the breaks while it lives. Not nestable.
class BreakCounter {
 public:
  BreakCounter();
  BreakCounter(const BreakCounter&) = delete;
  BreakCounter& operator=(const BreakCounter&) = delete;
  ~BreakCounter();

  /// Breaks since construction or reset().
  static int count() { return breaks(); }
  static void reset() { breaks() = 0; }

 private:
  static volatile sig_atomic_t& breaks() {
    static volatile sig_atomic_t instance = 0;
    return instance;
  }

#ifdef _WIN32
  static LONG WINAPI onException(EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT) {
      return EXCEPTION_CONTINUE_SEARCH;
    }
    breaks() = breaks() + 1;
    exception->ContextRecord->Rip += 1;  // past the one-byte instruction
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  /// What IsDebuggerPresent() answers.
  static BYTE& debuggerPresent() {
    using CurrentProcess = PEB*(WINAPI*)();
    const auto current = reinterpret_cast<CurrentProcess>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "RtlGetCurrentPeb")));
    return current()->BeingDebugged;
  }
  void* handler_ = nullptr;
#else
  struct sigaction previous_ = {};
#endif
};

#ifdef _WIN32

// The library breaks only where a debugger is present.
inline BreakCounter::BreakCounter() : handler_(AddVectoredExceptionHandler(1, &onException)) {
  reset();
  debuggerPresent() = 1;
}

inline BreakCounter::~BreakCounter() {
  debuggerPresent() = 0;
  RemoveVectoredExceptionHandler(handler_);
}

#else

inline BreakCounter::BreakCounter() {
  reset();
  struct sigaction counting = {};
  counting.sa_handler = [](int) { breaks() = breaks() + 1; };
  ::sigaction(SIGTRAP, &counting, &previous_);
}

inline BreakCounter::~BreakCounter() { ::sigaction(SIGTRAP, &previous_, nullptr); }

#endif
