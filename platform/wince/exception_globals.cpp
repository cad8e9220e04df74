#include "platform/wince/exception_globals.h"

#include <cstdint>
#include <cstdlib>

#include "platform/wince/coredll.h"

namespace {

// What the C++ runtime keeps for each thread: the exceptions that are being handled, the number of
// those that are not caught yet, and those that a forced unwind passes on. The layout is the ARM
// C++ ABI's.
struct ExceptionGlobals {
  void* caught;
  uint32_t uncaughtCount;
  void* propagating;
};

// One thread's state and the chain of all that were taken from the heap.
struct ThreadState {
  ExceptionGlobals globals;
  ThreadState* next;
};

// A thread's first exception may be thrown because there is no memory left, so the first threads
// find their state in the image.
constexpr int32_t kStatesInImage = 32;
ThreadState g_states[kStatesInImage];
int32_t g_statesTaken = 0;

uint32_t g_slot = kNoTlsSlot;
int32_t g_heapStates = 0;  // address of the first state of the chain

ThreadState* stateAt(int32_t address) { return reinterpret_cast<ThreadState*>(address); }

ThreadState* takeState() {
  // The count is not touched once it is past the end, so that it cannot wrap.
  if (g_statesTaken < kStatesInImage) {
    const int32_t index = InterlockedIncrement(&g_statesTaken) - 1;
    if (index < kStatesInImage) return &g_states[index];
  }
  auto* const state = static_cast<ThreadState*>(std::malloc(sizeof(ThreadState)));
  if (!state) std::abort();
  *state = {};
  // The chain is followed only when the library is detached, so that a thread may be stopped
  // between the exchange and the store.
  state->next = stateAt(InterlockedExchange(&g_heapStates, reinterpret_cast<int32_t>(state)));
  return state;
}

ExceptionGlobals* globalsOfThread() {
  if (g_slot == kNoTlsSlot) return &g_states[0].globals;
  auto* state = static_cast<ThreadState*>(TlsGetValue(g_slot));
  if (!state) {
    state = takeState();
    TlsSetValue(g_slot, state);
  }
  return &state->globals;
}

}  // namespace

// The two places where the C++ runtime asks for the state. The fast one is meant for a thread that
// has one already, which a caller cannot know here.
extern "C" ExceptionGlobals* __cxa_get_globals() noexcept { return globalsOfThread(); }
extern "C" ExceptionGlobals* __cxa_get_globals_fast() noexcept { return globalsOfThread(); }

namespace wince {

void openExceptionGlobals() noexcept { g_slot = TlsCall(kTlsAllocate, 0); }

void closeExceptionGlobals() noexcept {
  if (g_slot != kNoTlsSlot) TlsCall(kTlsFree, g_slot);
  g_slot = kNoTlsSlot;
  for (ThreadState* state = stateAt(g_heapStates); state;) {
    ThreadState* const next = state->next;
    std::free(state);
    state = next;
  }
  g_heapStates = 0;
}

}  // namespace wince
