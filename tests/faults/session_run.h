// SessionRun: all that a host does with one file, while something goes wrong.
#pragma once
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "frontend/vela_splitter.h"
#include "tests/faults/fault_plan.h"
#include "tests/faults/faulty_host.h"
#include "tests/support/boxes.h"

/// What goes wrong in one run; by default nothing.
struct Faults {
  FaultPlan host;      ///< calls of the context, the provider, the stream and the packets
  FaultPlan memory;    ///< allocations
  FaultPlan question;  ///< questions to the cancel token
};

/// How a run ended.
struct Outcome {
  /// How often each code was given, by operation.
  std::map<std::string, std::map<vela::TIOResult, uint64_t>> codes;
  bool opened = false;  ///< a splitter for playback was made
  /// Sum over every packet of the file, played when nothing goes wrong any more; none when it could
  /// not be played.
  std::optional<uint64_t> played;
  /// Payloads that were read whole and were not those of boxes::markedSamples().
  uint64_t foreignPayloads = 0;
  uint64_t referencesLeft = 0;  ///< to the host's objects
  int64_t blocksLeft = 0;       ///< of memory
};

Outcome runSession(const boxes::Bytes& file, faulty_host::Seekable seekable, Faults& faults);
