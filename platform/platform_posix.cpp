#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/case_mapping.h"
#include "platform/debug_channel.h"
#include "platform/platform.h"

namespace platform {
namespace {

void writeAll(const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t done = ::write(STDERR_FILENO, bytes, count);
    if (done < 0 && errno == EINTR) continue;  // a signal came before the first byte was taken
    if (done <= 0) return;
    bytes += done;
    count -= static_cast<size_t>(done);
  }
}

bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// One code point as UTF-8, for a terminal: a lone surrogate half becomes U+FFFD.
// @return the number of bytes written to `bytes`, at most 4
size_t encodeForTerminal(uint32_t codePoint, char* bytes) {
  if (codePoint < 0x80) {
    bytes[0] = static_cast<char>(codePoint);
    return 1;
  }
  if (codePoint >= 0xD800 && codePoint < 0xE000) codePoint = 0xFFFD;
  const size_t length = codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
  for (size_t i = length - 1; i > 0; --i, codePoint >>= 6) {
    bytes[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
  }
  bytes[0] = static_cast<char>((0xF00u >> length & 0xFF) | codePoint);
  return length;
}

// Linux names the tracing process in /proc/self/status; elsewhere no debugger is ever found.
bool isTraced() {
  const int file = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char status[4096];
  const ssize_t length = ::read(file, status, sizeof(status) - 1);
  ::close(file);
  if (length <= 0) return false;
  status[length] = 0;
  static const char kField[] = "\nTracerPid:";
  const char* field = std::strstr(status, kField);
  return field && std::atoi(field + sizeof(kField) - 1) != 0;
}

}  // namespace

void writeDebugChannel(const char16_t* text) noexcept {
  char stage[256];
  size_t used = 0;
  while (*text) {
    uint32_t codePoint = *text++;
    if (isHighSurrogate(static_cast<char16_t>(codePoint)) && isLowSurrogate(*text)) {
      codePoint = 0x10000 + ((codePoint & 0x3FF) << 10 | (*text++ & 0x3FFu));
    }
    used += encodeForTerminal(codePoint, stage + used);
    if (used + 4 > sizeof(stage)) {
      writeAll(stage, used);
      used = 0;
    }
  }
  writeAll(stage, used);
}

void debugBreak() noexcept {
  struct sigaction current;
  if (::sigaction(SIGTRAP, nullptr, &current) != 0) return;
  // Both kinds of handler share their place, so this finds either.
  const bool isHandled = current.sa_handler != SIG_DFL && current.sa_handler != SIG_IGN;
  if (isHandled) {
    ::raise(SIGTRAP);
    return;
  }
  if (!isTraced()) return;
  // A tracer sees an ignored signal too, but one that passes the signal on does not end the
  // program with it.
  struct sigaction ignoring = {};
  ignoring.sa_handler = SIG_IGN;
  ::sigaction(SIGTRAP, &ignoring, nullptr);
  ::raise(SIGTRAP);
  ::sigaction(SIGTRAP, &current, nullptr);
}

char16_t lowerUnit(char16_t unit) noexcept { return lowerFromTable(unit); }

char16_t upperUnit(char16_t unit) noexcept { return upperFromTable(unit); }

int32_t compareIgnoringCase(const char16_t* left, const char16_t* right) noexcept {
  for (;; ++left, ++right) {
    const int32_t difference = int32_t{lowerUnit(*left)} - int32_t{lowerUnit(*right)};
    if (difference != 0 || *left == 0) return difference;
  }
}

int32_t interlockedIncrement(int32_t* value) noexcept {
  return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
}

int32_t interlockedDecrement(int32_t* value) noexcept {
  return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
}

void disableThreadLibraryCalls(void*) noexcept {}

}  // namespace platform
