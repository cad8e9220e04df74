// Which packets of video a player can begin with. The interface doesn't tell, so their bytes do.
#pragma once
#include <cstdint>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velahost {

/// Whether a decoder can begin with a packet: H.264 with an IDR picture or a recovery point,
/// MPEG-4 Visual with an intra-coded picture.
/// @param mediaId  vela::kMediaH264 or vela::kMediaMpeg4Visual; false for any other
bool isKeyPicture(const vela::Guid& mediaId, const std::vector<uint8_t>& packet);

/// Whether the lengths before the units of an H.264 packet, four bytes each, add up to the packet.
bool hasFourByteLengths(const std::vector<uint8_t>& packet);

/// The decoder configuration record of H.264 (avcC) for units with four-byte lengths.
/// @param config  the parameter sets as the plug-in tells them: { u16 length, length bytes } each
/// @throws Failure (notRepresentable) when a sequence or a picture parameter set is missing, or the
///   lengths don't add up
std::vector<uint8_t> avcConfiguration(const std::vector<uint8_t>& config);

}  // namespace velahost
