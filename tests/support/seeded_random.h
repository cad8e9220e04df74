// Pseudo-random numbers that are the same in every run.
#pragma once
#include <cstdint>
#include <random>

class SeededRandom {
 public:
  explicit SeededRandom(uint32_t seed) : engine_(seed) {}

  uint32_t word() { return static_cast<uint32_t>(engine_()); }
  /// 0 to `limit` - 1.
  uint32_t below(uint32_t limit) { return word() % limit; }
  /// True once in `n` times.
  bool oneIn(uint32_t n) { return below(n) == 0; }

  // What the standard library asks of a generator, for std::shuffle() and the like.
  using result_type = uint32_t;
  static constexpr uint32_t min() { return 0; }
  static constexpr uint32_t max() { return UINT32_MAX; }
  uint32_t operator()() { return word(); }

 private:
  std::mt19937 engine_;
};
