// The texts of the interface, and the ways in which times and identifiers are written.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velahost {

/// Text that came through the interface.
/// @param count  UTF-16 units, or vela::kUntilNul
std::u16string takeText(const char16_t* text, uint32_t count);

/// Host units as h:mm:ss.mmm, rounded to the nearest millisecond; "unknown" for kUnknown64.
std::string clockTime(uint64_t hostUnits);

/// Host units as seconds, rounded to a number of decimals from 0 to 9.
std::string secondsText(int64_t hostUnits, int decimals);

/// A time of the command line in host units, rounded: seconds (90.5), m:ss (1:30) or h:mm:ss
/// (0:01:30.5), each with or without a fraction.
/// @return less than 2^63
/// @throws Failure (usage) for any other text and for 2^39 seconds or more
uint64_t hostUnitsFromTime(std::string_view text);

/// An identifier in registry notation.
std::string guidText(const vela::Guid& guid);

/// The name of an offered medium, or the identifier in registry notation.
std::string mediaName(const vela::Guid& guid);

bool sameGuid(const vela::Guid& left, const vela::Guid& right);

}  // namespace velahost
