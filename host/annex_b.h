// H.264 as a byte stream with start codes, the form in which bare H.264 travels.
#pragma once
#include <cstdint>
#include <vector>

namespace velahost {

/// The parameter sets of the video format, each behind a start code.
/// @param config  any number of { u16 length, length bytes }, big-endian
/// @throws Failure (notRepresentable) when there are none, or the lengths don't add up
std::vector<uint8_t> annexBParameterSets(const std::vector<uint8_t>& config);

/// Replaces the length in front of every unit of a packet by a start code, in place. The length is
/// taken to be four bytes wide: the format doesn't tell the width, four is what writers use, and a
/// start code of four bytes takes exactly its place.
/// @throws Failure (notRepresentable) when four-byte lengths don't add up to the packet
void convertToAnnexB(std::vector<uint8_t>& packet);

}  // namespace velahost
