// AAC packets as an ADTS stream, the form of bare AAC.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace velahost {

inline constexpr size_t kAdtsHeaderSize = 7;

/// What each ADTS header of a stream repeats.
struct AdtsSettings {
  uint8_t profile;         ///< audio object type minus 1: main, LC, SSR, LTP
  uint8_t frequencyIndex;  ///< into the table of sampling rates, 0 to 12
  uint8_t channels;        ///< channel configuration, 1 to 7
};

/// Reads an AudioSpecificConfig:
///   u5 audioObjectType (31: 32 + u6),
///   u4 samplingFrequencyIndex (15: u24 Hz),
///   u4 channelConfiguration,
///   with object type 5 or 29: a second rate in the same coding, the object type of the core,
///   u1 frameLengthFlag (packets of 960 frames)
/// High-efficiency AAC is written as its core; decoders find the extension in the data.
/// @throws Failure (notRepresentable) for what ADTS can't express: object types above 4, rates
///   outside its table, channel layouts given by a program config element, packets of 960 frames
AdtsSettings adtsSettings(const std::vector<uint8_t>& audioSpecificConfig);

/// The header of one packet, without checksum.
/// @throws Failure (notRepresentable) when the packet is longer than the 13-bit length field allows
std::array<uint8_t, kAdtsHeaderSize> adtsHeader(const AdtsSettings& settings, size_t payloadSize);

}  // namespace velahost
