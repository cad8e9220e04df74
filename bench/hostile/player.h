// What one hostile file costs: time by operation, memory and stack.
#pragma once
#include <cstdint>

#include "tests/support/boxes.h"

/// Times are the processor's, in seconds.
struct Cost {
  bool opened = false;      ///< false: the plug-in refused the file
  double open = 0;          ///< creation of a splitter for playback
  double describe = 0;      ///< the dearest description of an item
  double seek = 0;          ///< the dearest seek
  double next = 0;          ///< the dearest answer of nextStream
  double read = 0;          ///< the dearest read of a packet
  uint64_t memory = 0;      ///< most bytes that the plug-in held
  uint64_t memoryLeft = 0;  ///< bytes that it held after all had been released
  uint64_t stack = 0;       ///< most bytes of stack below the host's call
};

/// What a run costs.
Cost costOf(const boxes::Bytes& file);
/// Runs again, and keeps the smaller of each time.
void timeAgain(const boxes::Bytes& file, Cost& cost);
