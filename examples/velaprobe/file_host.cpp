#include "examples/velaprobe/file_host.h"

#include "examples/velaprobe/device_files.h"

namespace probe {
namespace {

using vela::TIOResult;

// Bytes of a payload that are read at once.
constexpr uint32_t kPieceBytes = 4096;
uint8_t g_piece[kPieceBytes];

// Bit by bit: the probe is small rather than fast.
uint32_t continueCrc32(uint32_t crc, const uint8_t* bytes, uint32_t count) {
  crc = ~crc;
  for (uint32_t i = 0; i < count; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

void store(void** out, vela::IObject* object) {
  object->addRef();
  auto* const previous = static_cast<vela::IObject*>(*out);
  *out = object;
  if (previous) previous->release();
}

}  // namespace

FileStream::~FileStream() {
  if (file_) CloseHandle(file_);
}

bool FileStream::open(const char16_t* name) {
  void* const file =
      CreateFileW(name, kReadAccess, kShareReading, nullptr, kOnlyExisting, 0, nullptr);
  if (file == kNoFile) return false;
  file_ = file;
  return true;
}

uint64_t FileStream::size() const {
  uint32_t high = 0;
  const uint32_t low = GetFileSize(file_, &high);
  return uint64_t{high} << 32 | low;
}

TIOResult FileStream::seek(uint32_t low, uint32_t high, vela::CancelToken*) {
  position_ = vela::fromWord64({low, high});
  auto upper = static_cast<int32_t>(high);
  const uint32_t place = SetFilePointer(file_, static_cast<int32_t>(low), &upper, kFromStart);
  return place == low ? TIOResult::success : TIOResult::outOfRange;
}

TIOResult FileStream::setLength(uint32_t, uint32_t, vela::CancelToken*) {
  return TIOResult::failed;
}

TIOResult FileStream::getLength(uint64_t* length, vela::CancelToken*) {
  *length = size();
  return TIOResult::success;
}

TIOResult FileStream::getPosition(uint64_t* position, vela::CancelToken*) {
  *position = position_;
  return TIOResult::success;
}

TIOResult FileStream::read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken*) {
  *done = 0;
  if (!ReadFile(file_, buffer, count, done, nullptr)) return TIOResult::failed;
  position_ += *done;
  return TIOResult::success;
}

TIOResult FileStream::skip(uint32_t count, uint32_t* done, vela::CancelToken* token) {
  const uint64_t left = size() > position_ ? size() - position_ : 0;
  *done = count < left ? count : static_cast<uint32_t>(left);
  const vela::Word64 target = vela::toWord64(position_ + *done);
  return seek(target.low, target.high, token);
}

TIOResult FileStream::write(const void*, uint32_t, uint32_t* done, vela::CancelToken*) {
  *done = 0;
  return TIOResult::failed;
}

TIOResult FileProvider::open(const char16_t*, uint32_t, vela::CancelToken*, void** out) {
  store(out, stream_);
  return TIOResult::success;
}

uint32_t FileContext::resolveSource(const char16_t*, void** out) {
  store(out, provider_);
  return 1;
}

TIOResult Payload::readFrom(vela::HostStreamReader* reader, uint32_t count,
                            vela::CancelToken* token) {
  size = count;
  crc32 = 0;
  while (count > 0) {
    uint32_t done = 0;
    const uint32_t wanted = count < kPieceBytes ? count : kPieceBytes;
    const TIOResult code = reader->read(g_piece, wanted, &done, token);
    if (code != TIOResult::success) return code;
    if (done == 0) return TIOResult::failed;
    crc32 = continueCrc32(crc32, g_piece, done);
    count -= done;
  }
  return TIOResult::success;
}

}  // namespace probe
