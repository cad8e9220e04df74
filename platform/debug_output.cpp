#include <utility>

#include "platform/debug_channel.h"
#include "platform/platform.h"

namespace platform {
namespace {

DebugOutputSink g_sink = nullptr;

}  // namespace

void debugOutput(const char16_t* text) noexcept {
  if (g_sink) {
    g_sink(text);
  } else {
    writeDebugChannel(text);
  }
}

DebugOutputSink setDebugOutputSink(DebugOutputSink sink) noexcept {
  return std::exchange(g_sink, sink);
}

}  // namespace platform
