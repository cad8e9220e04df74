// The system's own debug channel, behind debugOutput().
#pragma once

namespace platform {

/// Writes `text` (UTF-16, NUL-terminated, borrowed for the call) to the system's debug channel.
void writeDebugChannel(const char16_t* text) noexcept;

}  // namespace platform
