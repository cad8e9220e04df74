#include "host/packets.h"

#include <algorithm>
#include <new>

namespace velahost {

using vela::TIOResult;

uint64_t streamPosition(vela::HostStreamReader* reader, vela::CancelToken* token) {
  void* const controlFace = reinterpret_cast<void**>(reader) - 1;
  auto* const control = static_cast<vela::HostStreamControl*>(controlFace);
  uint64_t position = vela::kUnknown64;
  return control->getPosition(&position, token) == TIOResult::success ? position : vela::kUnknown64;
}

TIOResult Payload::read(vela::HostStreamReader* reader, uint32_t count, vela::CancelToken* token) {
  constexpr uint32_t kPiece = 65536;
  fileOffset = streamPosition(reader, token);
  bytes.clear();
  if (keeping == Keeping::nothing) {
    uint32_t done = 0;
    const TIOResult result = reader->skip(count, &done, token);
    if (result != TIOResult::success) return result;
    return done < count ? TIOResult::failed : TIOResult::success;
  }
  while (bytes.size() < count) {
    const size_t had = bytes.size();
    const auto wanted = static_cast<uint32_t>(std::min<size_t>(count - had, kPiece));
    try {
      bytes.resize(had + wanted);
    } catch (const std::bad_alloc&) {
      return TIOResult::outOfMemory;
    }
    uint32_t done = 0;
    const TIOResult result = reader->read(bytes.data() + had, wanted, &done, token);
    if (result != TIOResult::success) return result;
    if (done < wanted) return TIOResult::failed;
  }
  return TIOResult::success;
}

void VideoPacketRecord::reset() {
  payload.bytes.clear();
  payload.fileOffset = vela::kUnknown64;
  width = height = -1;
}

void AudioFormatRecord::clear() { *this = AudioFormatRecord(); }

void AudioFormatRecord::set(const vela::Guid* id, const uint8_t* bytes, uint32_t count) {
  present = true;
  mediaId = *id;
  config.assign(bytes, bytes + count);
}

void VideoFormatRecord::clear() { *this = VideoFormatRecord(); }

void VideoFormatRecord::set(const vela::Guid* id, const uint8_t* bytes, uint32_t count,
                            int32_t newWidth, int32_t newHeight) {
  present = true;
  mediaId = *id;
  config.assign(bytes, bytes + count);
  width = newWidth;
  height = newHeight;
}

}  // namespace velahost
