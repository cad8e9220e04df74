#include "host/interrupts.h"

#include <csignal>
#include <cstddef>
#include <iterator>

namespace velahost {
namespace {

Token* g_cancelled = nullptr;

void onSignal(int) {
  if (g_cancelled) g_cancelled->cancel();
}

#ifdef _WIN32
constexpr int kSignals[] = {SIGINT, SIGTERM};
using Action = void (*)(int);

Action install(int signal, const Action& action) { return std::signal(signal, action); }
Action cancelling() { return onSignal; }
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
Action cancelling() {
  Action action{};
  action.sa_handler = onSignal;
  return action;
}
bool isIgnored(const Action& action) { return action.sa_handler == SIG_IGN; }
#endif

Action g_previous[std::size(kSignals)];

}  // namespace

InterruptsCancel::InterruptsCancel(Token& token) {
  g_cancelled = &token;
  for (size_t i = 0; i < std::size(kSignals); ++i) {
    g_previous[i] = install(kSignals[i], cancelling());
    if (isIgnored(g_previous[i])) install(kSignals[i], g_previous[i]);
  }
}

InterruptsCancel::~InterruptsCancel() {
  for (size_t i = 0; i < std::size(kSignals); ++i) install(kSignals[i], g_previous[i]);
  g_cancelled = nullptr;
}

}  // namespace velahost
