// ParseOptions: what the caller of a parse wants to know about a file.
#pragma once
#include <cstdint>

namespace atomkit {

using ParseOptions = uint32_t;  // ABI: do not renumber the bits

/// 'stsz', 'stsc', 'stco', 'co64', 'stss', and the 'ctts' of video.
inline constexpr ParseOptions kWantSampleTables = 0x01;
inline constexpr ParseOptions kWantTextTags = 0x02;
inline constexpr ParseOptions kWantCoverArt = 0x08;
inline constexpr ParseOptions kWantAudio = 0x10;  ///< details and tables of audio tracks
inline constexpr ParseOptions kWantVideo = 0x20;  ///< details and tables of video tracks

}  // namespace atomkit
