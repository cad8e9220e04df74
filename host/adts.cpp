#include "host/adts.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "host/failure.h"

namespace velahost {
namespace {

Failure cannot(const std::string& what) {
  return Failure(ExitStatus::notRepresentable, "The audio can't be written as ADTS: " + what + ".");
}

/// Reads bits, most significant first.
class BitReader {
 public:
  explicit BitReader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  uint32_t read(int bits) {
    uint32_t value = 0;
    for (; bits > 0; --bits, ++position_) {
      const size_t byte = position_ / 8;
      if (byte >= bytes_.size()) throw cannot("its decoder configuration is cut short");
      const uint32_t whole = bytes_[byte];
      value = value << 1 | (whole >> (7 - position_ % 8) & 1);
    }
    return value;
  }

 private:
  const std::vector<uint8_t>& bytes_;
  size_t position_ = 0;
};

constexpr uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};

uint32_t readObjectType(BitReader& bits) {
  const uint32_t type = bits.read(5);
  return type == 31 ? 32 + bits.read(6) : type;
}

uint8_t readFrequencyIndex(BitReader& bits) {
  const uint32_t index = bits.read(4);
  if (index < std::size(kRates)) return static_cast<uint8_t>(index);
  if (index != 15) throw cannot("its sampling rate is reserved");
  const uint32_t hz = bits.read(24);
  const auto found = std::find(std::begin(kRates), std::end(kRates), hz);
  if (found == std::end(kRates)) {
    throw cannot("a sampling rate of " + std::to_string(hz) + " Hz is not in its table");
  }
  return static_cast<uint8_t>(found - std::begin(kRates));
}

}  // namespace

AdtsSettings adtsSettings(const std::vector<uint8_t>& audioSpecificConfig) {
  constexpr uint32_t kSpectralBandReplication = 5;
  constexpr uint32_t kParametricStereo = 29;

  BitReader bits(audioSpecificConfig);
  uint32_t type = readObjectType(bits);
  const uint8_t frequencyIndex = readFrequencyIndex(bits);
  const uint32_t channels = bits.read(4);
  if (type == kSpectralBandReplication || type == kParametricStereo) {
    readFrequencyIndex(bits);
    type = readObjectType(bits);
  }
  if (type < 1 || type > 4) throw cannot("object type " + std::to_string(type) + " has no profile");
  if (bits.read(1)) throw cannot("its packets hold 960 frames");
  if (channels == 0) throw cannot("its channel layout is given by a program config element");
  if (channels > 7) {
    throw cannot("channel configuration " + std::to_string(channels) + " does not fit");
  }
  return {static_cast<uint8_t>(type - 1), frequencyIndex, static_cast<uint8_t>(channels)};
}

std::array<uint8_t, kAdtsHeaderSize> adtsHeader(const AdtsSettings& settings, size_t payloadSize) {
  // u12 syncword fff, u1 MPEG version (0), u2 layer (0), u1 no checksum (1),
  // u2 profile, u4 sampling frequency index, u1 private, u3 channel configuration, u4 flags,
  // u13 frame length with header, u11 buffer fullness (all ones: variable rate), u2 blocks minus 1
  const size_t length = payloadSize + kAdtsHeaderSize;
  if (length > 0x1fff) {
    throw cannot("a packet of " + std::to_string(payloadSize) + " bytes is too long");
  }
  const auto byte = [](size_t value) { return static_cast<uint8_t>(value & 0xff); };
  return {0xff,
          0xf1,
          byte(size_t{settings.profile} << 6 | size_t{settings.frequencyIndex} << 2 |
               settings.channels >> 2),
          byte(size_t{settings.channels} << 6 | length >> 11),
          byte(length >> 3),
          byte(length << 5 | 0x1f),
          0xfc};
}

}  // namespace velahost
