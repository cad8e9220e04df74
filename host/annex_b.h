// H.264 as a byte stream with start codes, the form of bare H.264.
#pragma once
#include <cstdint>
#include <vector>

namespace velahost {

/// The parameter sets of the video format, each after a start code.
/// @param config  any number of { u16 length, length bytes }, big-endian
/// @throws Failure (notRepresentable) when there are none, or the lengths don't add up
std::vector<uint8_t> annexBParameterSets(const std::vector<uint8_t>& config);

/// Replaces the length before each unit of a packet with a start code, in place. The length is
/// taken to be four bytes wide: the interface doesn't tell the width, writers use four, and a start
/// code of four bytes fits exactly.
/// @throws Failure (notRepresentable) when four-byte lengths don't add up to the packet
void convertToAnnexB(std::vector<uint8_t>& packet);

}  // namespace velahost
