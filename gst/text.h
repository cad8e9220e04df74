// Text from UTF-16 of the interface to UTF-8 of the framework.
#pragma once
#include <cstdint>
#include <string>

namespace velagst {

/// UTF-8 of UTF-16. A surrogate without its partner becomes U+FFFD.
/// @param text  may be null, which gives an empty text
/// @param count  UTF-16 units, or vela::kUntilNul
std::string toUtf8(const char16_t* text, uint32_t count);

}  // namespace velagst
