#include "fuzz/host/packets.h"

#include <algorithm>
#include <cstring>

namespace fuzz {

TIOResult takePayload(TestHost& host, const PayloadPlace& place, vela::HostStreamReader* reader,
                      uint32_t count, vela::CancelToken* token) {
  const auto due = host.run.enter(HostCall::payload);
  REQUIRE(count != 0 && (!place.known || count == place.size));
  const TIOResult before = host.run.failure(due, FaultKind::failOnce);
  if (before != TIOResult::success) return before;
  const TIOResult always = host.run.failure(due, FaultKind::failFromThen);
  if (always != TIOResult::success) return always;

  std::vector<uint8_t> buffer(std::min<uint32_t>(count, host.run.script().payloadPiece));
  bool skips = false;
  for (uint32_t taken = 0; taken < count;) {
    const auto wanted = std::min(count - taken, static_cast<uint32_t>(buffer.size()));
    uint32_t done = 0;
    skips = host.run.script().skipsPayload && !skips;
    const TIOResult code = skips ? reader->skip(wanted, &done, token)
                                 : reader->read(buffer.data(), wanted, &done, token);
    if (code != TIOResult::success) return code;
    REQUIRE(done <= wanted);
    if (place.known && host.run.bytesAreTrue) {
      const uint64_t from = place.offset + taken;
      const uint64_t there = from < host.length ? host.length - from : 0;
      REQUIRE(done == std::min<uint64_t>(wanted, there));
      REQUIRE(skips || done == 0 || std::memcmp(buffer.data(), host.bytes + from, done) == 0);
    }
    if (done == 0) return TIOResult::failed;
    taken += done;
  }
  return host.run.failure(due, FaultKind::workThenFail);
}

}  // namespace fuzz
