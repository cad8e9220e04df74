#include "fuzz/host/host_script.h"

#include <algorithm>

namespace fuzz {
namespace {

constexpr size_t kFixedBytes = 5;
constexpr size_t kFaultBytes = 6;
constexpr size_t kMostFaults = 8;

}  // namespace

// u8 flags, u8 player, u16 payload piece, u8 number of faults,
// faults x { u8 kind, u8 call, u16 at, u16 argument }
HostScript HostScript::read(const uint8_t* bytes, size_t count, size_t& used) {
  HostScript script;
  used = 0;
  if (count < kFixedBytes) return script;
  const auto word = [&](size_t at) {
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
  };
  const uint8_t flags = bytes[0];
  script.seekable = !(flags & 1);
  script.lengthKnown = !(flags & 2);
  script.refusesSeekPastEnd = flags & 4;
  script.hasToken = flags & 8;
  script.secondSplitter = flags & 16;
  script.slotHoldsObject = flags & 32;
  script.releasesInOrder = flags & 64;
  script.skipsPayload = flags & 128;
  script.player = bytes[1];
  script.payloadPiece = std::max<uint16_t>(1, word(2));
  const size_t faults =
      std::min<size_t>(bytes[4] % (kMostFaults + 1), (count - kFixedBytes) / kFaultBytes);
  used = kFixedBytes;
  for (size_t i = 0; i < faults; ++i, used += kFaultBytes) {
    script.faults.push_back(
        {static_cast<FaultKind>(bytes[used] % static_cast<int>(FaultKind::faultKinds)),
         static_cast<HostCall>(bytes[used + 1] % static_cast<int>(HostCall::callKinds)),
         word(used + 2), word(used + 4)});
  }
  return script;
}

}  // namespace fuzz
