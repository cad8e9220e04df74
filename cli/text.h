// Text at the edges of a program: bytes of files and names, as a terminal may show them.
#pragma once
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// UTF-8 of UTF-16. A surrogate without its partner becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// UTF-16 of UTF-8. A byte that belongs to no character becomes U+FFFD.
std::u16string toUtf16(std::string_view text);

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

/// Bytes as hexadecimal pairs with a separator between them.
std::string hexText(const std::vector<uint8_t>& bytes, std::string_view separator);

}  // namespace cli
