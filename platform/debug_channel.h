// The system's own debug channel, to which debugOutput() writes.
#pragma once

namespace platform {

/// Writes `text` (UTF-16, NUL-terminated, borrowed for the call) to the system's debug channel.
void writeDebugChannel(const char16_t* text) noexcept;

}  // namespace platform
