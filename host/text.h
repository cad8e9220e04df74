// Text at the edges of the program: UTF-16 of the interface against UTF-8 of files and terminals,
// and the ways in which times and identifiers are written.
#pragma once
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velahost {

/// UTF-8 of UTF-16. A surrogate without its partner becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// UTF-16 of UTF-8. A byte that belongs to no character becomes U+FFFD.
std::u16string toUtf16(std::string_view text);

/// Text that came through the interface.
/// @param count  UTF-16 units, or vela::kUntilNul
std::u16string takeText(const char16_t* text, uint32_t count);

/// Terminal columns that UTF-8 text takes, counting one for every character.
size_t columns(std::string_view utf8);

/// The lines of a text, each safe to print: other control characters appear as \xNN.
std::vector<std::string> printableLines(std::string_view utf8);

/// A file's name as text.
std::string pathText(const std::filesystem::path& file);

/// Host units as h:mm:ss.mmm, rounded to the nearest millisecond; "unknown" for kUnknown64.
std::string clockTime(uint64_t hostUnits);

/// Host units as seconds with six decimals, rounded.
std::string secondsText(uint64_t hostUnits);

/// Seconds of a command line in host units, rounded. Negative values and values beyond 2^39 s throw
/// a usage Failure.
uint64_t hostUnitsFromSeconds(double seconds);

/// An identifier in registry notation.
std::string guidText(const vela::Guid& guid);

/// The name of an offered medium, or the identifier in registry notation.
std::string mediaName(const vela::Guid& guid);

/// Bytes as hexadecimal pairs with a separator between them.
std::string hexText(const std::vector<uint8_t>& bytes, std::string_view separator);

bool sameGuid(const vela::Guid& left, const vela::Guid& right);

}  // namespace velahost
