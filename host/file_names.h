// Titles as file names.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace velahost {

/// A name that every file system takes, in order and unlike those of the other chapters: the
/// number, with as many digits as the greatest one, then what the title leaves once characters that
/// steer terminals, separate folders or have a meaning somewhere are replaced with "_". At most 120
/// bytes.
/// @param number     one-based
/// @param count      of all chapters
/// @param title      UTF-8
/// @param extension  with its point
std::string chapterFileName(size_t number, size_t count, std::string_view title,
                            std::string_view extension);

}  // namespace velahost
