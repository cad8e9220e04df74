// The one seam between failures inside the plug-in, which are thrown, and the result codes that a
// host sees.
#pragma once
#include <utility>

#include "frontend/vela_splitter.h"

namespace vela {

/// Runs one interface operation.
/// @param operation  a callable without arguments that returns a TIOResult
/// @return what `operation` returned; the value of a TIOResult that it threw; TIOResult::failed for
///         anything else that it threw
template <class Operation>
TIOResult guarded(Operation&& operation) noexcept {
  try {
    return std::forward<Operation>(operation)();
  } catch (TIOResult code) {
    return code;
  } catch (...) {
    return TIOResult::failed;
  }
}

/// Turns a failure of a host call into an exception that guarded() turns back.
inline void throwOnFailure(TIOResult code) {
  if (code != TIOResult::success) throw code;
}

}  // namespace vela
