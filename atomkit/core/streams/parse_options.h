// ParseOptions: what the caller of a parse wants to know about a file.
#pragma once
#include <cstdint>

namespace atomkit {

using ParseOptions = uint32_t;  // ABI: do not renumber the bits

inline constexpr ParseOptions kWantSampleTables =
    0x01;  ///< stsz, stsc, stco, co64, stss, video ctts
inline constexpr ParseOptions kWantTextTags = 0x02;
inline constexpr ParseOptions kWantCoverArt = 0x08;
inline constexpr ParseOptions kWantAudio = 0x10;  ///< details of audio tracks
inline constexpr ParseOptions kWantVideo = 0x20;  ///< details of video tracks

}  // namespace atomkit
