// FaultPlan: what goes wrong in one run of a session, and when.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

/// How a call goes wrong.
enum class Fault {
  refuses,           ///< does nothing and gives the code
  worksThenRefuses,  ///< does its work and gives the code
  halves,            ///< does half of what was asked for and says so
  halvesThenRefuses,
  talksNonsense,  ///< succeeds with answers that can't be
};

enum class Repeat { once, fromThenOn };

/// Counts chances to go wrong. Every kind of chance (calls of the host, allocations, questions) has
/// a plan of its own.
class FaultPlan {
 public:
  FaultPlan() = default;
  /// @param at  zero-based number of the first chance that is taken
  /// @param given  the code of a call that refuses
  FaultPlan(uint64_t at, Repeat repeat, Fault kind = Fault::refuses,
            vela::TIOResult given = vela::TIOResult::failed)
      : fault(kind), code(given), at_(at), repeat_(repeat) {}

  Fault fault = Fault::refuses;
  vela::TIOResult code = vela::TIOResult::failed;

  /// The next chance: true when it is taken.
  bool strikes() {
    const uint64_t number = chances_++;
    const bool taken = repeat_ == Repeat::once ? number == at_ : number >= at_;
    if (!taken || !armed_) return false;
    ++strikes_;
    return true;
  }
  /// Nothing goes wrong from now on.
  void disarm() { armed_ = false; }
  uint64_t timesStruck() const { return strikes_; }
  uint64_t chances() const { return chances_; }

 private:
  static constexpr uint64_t kNever = ~uint64_t{0};

  uint64_t at_ = kNever;
  Repeat repeat_ = Repeat::once;
  uint64_t chances_ = 0;
  uint64_t strikes_ = 0;
  bool armed_ = true;
};
