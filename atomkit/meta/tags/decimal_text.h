// Numbers of a file as decimal text.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/shared_string.h"

namespace atomkit {

/// `value` as a shared decimal text of at least `minimumDigits` (at most 10) digits, filled up with
/// leading zeros, and `suffix` (at most 15 bytes) after it. Written without the standard library's
/// formatting, which would bring floating point and files into the plug-in.
/// @throws exception "out of memory"
SharedString makeDecimalText(uint32_t value, uint32_t minimumDigits = 1, const char* suffix = "");

}  // namespace atomkit
