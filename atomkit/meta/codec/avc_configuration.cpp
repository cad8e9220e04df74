#include "atomkit/meta/codec/avc_configuration.h"

#include <algorithm>
#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// Bits of the byte that holds the NAL length size, and of the one that counts the sequence sets.
constexpr uint8_t kLengthSizeReserved = 0xfc;
constexpr uint8_t kSequenceReserved = 0xe0;
constexpr uint8_t kSequenceCount = 0x1f;

// Writes parameter sets into a configuration one after the other, each after its length. Their
// total is known only once the last one was read, so the array doubles instead of being copied for
// every set; at the end, and after a failure, it is cut to what was written. At most 31 + 255 sets
// of 65,537 bytes: 32-bit sizes don't wrap.
class ParameterSetWriter {
 public:
  /// @param target  what it holds is overwritten; borrowed until the writer is destroyed
  explicit ParameterSetWriter(DecoderConfig& target) noexcept : target_(target) {}
  ParameterSetWriter(const ParameterSetWriter&) = delete;
  ParameterSetWriter& operator=(const ParameterSetWriter&) = delete;
  ~ParameterSetWriter() { target_.truncate(used_); }

  /// Reads a length and as many bytes from `reader`.
  void readOne(AtomReader& reader) {
    const uint16_t length = readU16(reader);
    uint8_t* const end = reserve(kLengthBytes);
    end[0] = static_cast<uint8_t>(length >> 8);
    end[1] = static_cast<uint8_t>(length);
    used_ += kLengthBytes;
    if (length == 0) return;
    reader.requireBytes(length);
    reader.readExact(reserve(length), length);
    used_ += length;
  }

 private:
  static constexpr uint32_t kLengthBytes = 2;

  // Room for `count` more bytes after those in use. The caller counts them as used once they are
  // filled.
  uint8_t* reserve(uint32_t count) {
    const uint32_t needed = used_ + count;
    if (needed > target_.count()) {
      ByteArray grown;
      grown.resize(std::max(needed, 2 * target_.count()));
      if (used_ > 0) std::memcpy(grown.data(), target_.data(), used_);
      target_.swap(grown);
    }
    return target_.data() + used_;
  }

  DecoderConfig& target_;
  uint32_t used_ = 0;
};

}  // namespace

// 'avcC' AVCDecoderConfigurationRecord
//   u8 version, u8 profile, u8 compatibility, u8 level (all ignored), u6 reserved (all ones),
//   u2 NAL length size - 1, u3 reserved (all ones), u5 sequence set count,
//   count x { u16 length, bytes }, u8 picture set count, count x { u16 length, bytes };
//   extensions of the high profiles follow (not read)
//
// DELIBERATE D-310: only the reserved bits of the NAL length size are checked; the size is dropped
// like the profile and the level, and a reader of the samples must assume one.
// DELIBERATE D-309: the count of the picture sets is the whole byte, that of the sequence sets only
// the low five bits of its byte.
void readAvcConfiguration(DecoderConfig& decoderConfig, AtomReader& reader) {
  readU32(reader);
  if ((readU8(reader) & kLengthSizeReserved) != kLengthSizeReserved) {
    throw exception("invalid avcC chunk (1)");
  }
  const uint8_t sequenceByte = readU8(reader);
  if ((sequenceByte & kSequenceReserved) != kSequenceReserved) {
    throw exception("invalid avcC chunk (2)");
  }

  ParameterSetWriter sets(decoderConfig);
  for (uint32_t left = sequenceByte & kSequenceCount; left > 0; --left) sets.readOne(reader);
  for (uint32_t left = readU8(reader); left > 0; --left) sets.readOne(reader);
}

}  // namespace atomkit
