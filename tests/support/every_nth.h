// Some tests walk through a very long row of cases. Under a tool that slows them down many times,
// the environment variable VELA_EVERY_NTH keeps them to a part of it.
#pragma once
#include <cstdint>
#include <cstdlib>

/// @return n where only every n-th case runs; 1 without the variable
inline uint32_t everyNth() {
  const char* const value = std::getenv("VELA_EVERY_NTH");
  const long wanted = value ? std::strtol(value, nullptr, 10) : 1;
  return wanted > 1 ? static_cast<uint32_t>(wanted) : 1;
}
