// Case pairs of single UTF-16 units, for systems without a mapping of their own.
#pragma once

namespace platform {

/// Lower-case partner of `unit`, or `unit` itself. An ASCII letter has ASCII partners only.
char16_t lowerFromTable(char16_t unit) noexcept;

/// Upper-case partner of `unit`, or `unit` itself; otherwise like lowerFromTable().
char16_t upperFromTable(char16_t unit) noexcept;

}  // namespace platform
