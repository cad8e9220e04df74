#include "gst/packets.h"

#include <algorithm>

namespace velagst {
namespace {

using vela::TIOResult;

constexpr uint32_t kFirstPiece = 65536;

}  // namespace

TIOResult readPayloadInto(BufferPtr& buffer, vela::HostStreamReader* reader, uint32_t count,
                          vela::CancelToken* token) {
  buffer.reset();
  uint32_t room = std::min(count, kFirstPiece);
  auto* bytes = static_cast<uint8_t*>(g_try_malloc(std::max(room, 1u)));
  if (!bytes) return TIOResult::outOfMemory;
  uint32_t had = 0;
  TIOResult result = TIOResult::success;
  for (;;) {
    uint32_t done = 0;
    result = reader->read(bytes + had, room - had, &done, token);
    if (result == TIOResult::success && done < room - had) result = TIOResult::failed;
    if (result != TIOResult::success) break;
    had = room;
    if (had == count) break;
    room += std::min(room, count - room);
    auto* const larger = static_cast<uint8_t*>(g_try_realloc(bytes, room));
    if (!larger) {
      result = TIOResult::outOfMemory;
      break;
    }
    bytes = larger;
  }
  if (result != TIOResult::success) {
    g_free(bytes);
    return result;
  }
  buffer.reset(gst_buffer_new_wrapped(bytes, count));
  return TIOResult::success;
}

}  // namespace velagst
