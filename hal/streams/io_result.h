// VResult: the result codes of the helper library itself. Other codes come from the host's streams
// and pass through unchanged.
#pragma once
#include <cstdint>

namespace VelaBase {
// The public header defines the enumerators; this library needs three values only.
enum class TIOResult : uint32_t;
}  // namespace VelaBase

class VResult {
 public:
  static constexpr VelaBase::TIOResult KSuccess{0};     // ABI: do not renumber
  static constexpr VelaBase::TIOResult KOutOfRange{1};  ///< short write or skip, bad sequence
  static constexpr VelaBase::TIOResult KFailed{5};      ///< short read
};
