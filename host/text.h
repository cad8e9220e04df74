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

/// Columns that UTF-8 text takes on a terminal, one for each character.
size_t columns(std::string_view utf8);

/// A text on one line that can't steer a terminal or change the order of what stands around it.
/// Control characters and bytes that are not UTF-8 appear as \xNN; C1 controls, bidirectional
/// controls and the line and paragraph separators as \uNNNN.
std::string printable(std::string_view utf8);

/// The lines of a text, each made printable.
std::vector<std::string> printableLines(std::string_view utf8);

/// A file's name, made printable.
std::string pathText(const std::filesystem::path& file);
/// A count and what is counted: "1 packet", "2 packets".
std::string counted(uint64_t count, const std::string& one);

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

/// Bytes as hexadecimal pairs with a separator between them.
std::string hexText(const std::vector<uint8_t>& bytes, std::string_view separator);

bool sameGuid(const vela::Guid& left, const vela::Guid& right);

}  // namespace velahost
