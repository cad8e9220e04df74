#include "cli/interrupts.h"

#include <cstddef>
#include <iterator>

namespace cli {
namespace {

volatile std::sig_atomic_t* g_flag = nullptr;

void onSignal(int) {
  if (g_flag) *g_flag = 1;
}

#ifdef _WIN32
constexpr int kSignals[] = {SIGINT, SIGTERM};
using Action = void (*)(int);

Action install(int signal, const Action& action) { return std::signal(signal, action); }
Action flagging() { return onSignal; }
bool isIgnored(const Action& action) { return action == SIG_IGN; }
#else
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
using Action = struct sigaction;

Action install(int signal, const Action& action) {
  Action previous{};
  sigaction(signal, &action, &previous);
  return previous;
}
/// Without SA_RESTART, so that the signal also ends the wait for a slow pipe.
Action flagging() {
  Action action{};
  action.sa_handler = onSignal;
  return action;
}
bool isIgnored(const Action& action) { return action.sa_handler == SIG_IGN; }
#endif

Action g_previous[std::size(kSignals)];

}  // namespace

InterruptsSet::InterruptsSet(volatile std::sig_atomic_t& flag) {
  g_flag = &flag;
  for (size_t i = 0; i < std::size(kSignals); ++i) {
    g_previous[i] = install(kSignals[i], flagging());
    if (isIgnored(g_previous[i])) install(kSignals[i], g_previous[i]);
  }
}

InterruptsSet::~InterruptsSet() {
  for (size_t i = 0; i < std::size(kSignals); ++i) install(kSignals[i], g_previous[i]);
  g_flag = nullptr;
}

}  // namespace cli
