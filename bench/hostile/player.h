// What one hostile file costs: time by operation, memory and stack.
#pragma once
#include <cstdint>

#include "tests/support/boxes.h"

/// Times are the processor's, in seconds: the smallest of several runs.
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

/// @param repetitions  runs of each timing
Cost costOf(const boxes::Bytes& file, int repetitions);
