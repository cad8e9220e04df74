// HostScript: how a host behaves, read from the first bytes of an input.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

/// What a fault counts calls of. `any` counts all of them together.
enum class HostCall : uint8_t {
  any,
  read,
  skip,
  seek,
  getLength,
  getPosition,
  resolve,
  open,
  payload,    // an audio or video packet takes its bytes
  other,      // every further operation of the host's objects
  callKinds,  // their number
};

enum class FaultKind : uint8_t {
  failOnce,
  failFromThen,
  workThenFail,  // the call does its work and gives a code all the same
  half,          // half of the bytes, and success; with an odd argument from here on
  nonsense,      // an out-argument that can't be
  resize,        // the stream becomes shorter or longer
  lieAboutLength,
  callBack,  // the splitter is called from inside the call
  cancel,    // the token says yes from here on
  cancelOnce,
  faultKinds,  // their number
};

struct Fault {
  FaultKind kind = FaultKind::failOnce;
  HostCall call = HostCall::any;
  uint16_t at = 0;  // zero-based number of the call
  uint16_t argument = 0;
};

struct HostScript {
  bool seekable = true;
  bool lengthKnown = true;
  bool refusesSeekPastEnd = false;
  bool hasToken = false;
  bool secondSplitter = false;   // of the same factory, over the same source
  bool slotHoldsObject = false;  // the out-slot of the creation is not empty
  bool releasesInOrder = false;  // the first splitter plays and goes before the second one
  bool skipsPayload = false;     // packets take some of their bytes with skip()
  uint16_t payloadPiece = 4096;  // bytes that a packet reads at a time, at least 1
  uint8_t player = 0;            // seed of the choices of the player
  std::vector<Fault> faults;

  /// @param used  receives the number of bytes that were read; the file follows
  static HostScript read(const uint8_t* bytes, size_t count, size_t& used);
};

}  // namespace fuzz
