// Names of the numbered music genres.
#pragma once
#include <cstdint>

namespace atomkit {

inline constexpr uint32_t kGenreCount = 148;

/// Name of a genre by the code of a 'gnre' item: the ID3v1 number plus one.
/// @return null for 0 and for codes above kGenreCount
const char* genreName(uint32_t code) noexcept;

}  // namespace atomkit
