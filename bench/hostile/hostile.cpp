// Prints what hostile files cost, and fails when a bound does not hold.
//
//   vela_hostile [--short] [PART OF A FAMILY'S NAME]
//
// Each family is opened, described and played at sizes that double, to 16 MiB; with --short to
// 1 MiB.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "bench/hostile/families.h"
#include "bench/hostile/player.h"

namespace {

// ---- the bounds

constexpr double kOpenPerByte = 150e-9;     // seconds
constexpr double kDescribePerByte = 15e-9;  // seconds
constexpr double kOnce = 1e-3;              // seconds beside the cost per byte, and for a step
constexpr double kLargestExponent = 1.15;
constexpr uint64_t kStackBytes = 8192;
constexpr uint64_t kMemoryPerByte = 8;
constexpr uint64_t kMemoryPerByteOfShortFields = 16;
constexpr uint64_t kMemoryOnce = 128 * 1024 + 4 * 16384;  // the latter for the read cache
constexpr uint64_t kMemoryOfChapters = 384 * 1024;

constexpr double kMeasurable = 2e-3;             // seconds, of a cost that tells how it grows
constexpr double kWorthWhile = 4 * kMeasurable;  // seconds, of a cost whose growth must be known

constexpr uint64_t kSmallest = uint64_t{64} << 10;
constexpr uint64_t kLargest = uint64_t{16} << 20;
constexpr uint64_t kLargestOfShortRun = uint64_t{1} << 20;
// Seeks, nextStream and reads are bounded for files up to here, by a constant.
constexpr uint64_t kStepsBoundedUpTo = uint64_t{1} << 20;
constexpr uint64_t kHeaders = 16384;  // more than a family adds to the size that it is made for

struct Point {
  double bytes = 0;
  Cost cost;
};

/// Slope of the line through the logarithms: 1 for a cost in proportion. Costs too small to be told
/// from the clock's step and the constant part are left out; without three others there is none.
std::optional<double> exponentOf(const std::vector<Point>& points, double Cost::*time) {
  double n = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (const Point& point : points) {
    if (point.cost.*time < kMeasurable) continue;
    const double x = std::log(point.bytes);
    const double y = std::log(point.cost.*time);
    n += 1;
    sumX += x;
    sumY += y;
    sumXX += x * x;
    sumXY += x * y;
  }
  if (n < 3) return std::nullopt;
  return (n * sumXY - sumX * sumY) / (n * sumXX - sumX * sumX);
}

/// The bounds of one family, and what broke them.
class Judgement {
 public:
  explicit Judgement(const Family& family) : family_(family) {}

  void look(const Point& point) {
    const auto size = static_cast<uint64_t>(point.bytes);
    const Cost& cost = point.cost;
    atMost("open", cost.open, kOpenPerByte * point.bytes + kOnce, point);
    atMost("describe", cost.describe, kDescribePerByte * point.bytes + kOnce, point);
    if (size < kStepsBoundedUpTo) {
      atMost("seek", cost.seek, kOnce, point);
      atMost("nextStream", cost.next, kOnce, point);
      atMost("read", cost.read, kOnce, point);
    }
    const uint64_t perByte =
        family_.hasShortestFields ? kMemoryPerByteOfShortFields : kMemoryPerByte;
    const uint64_t memory =
        perByte * size + kMemoryOnce + (family_.hasChapters ? kMemoryOfChapters : 0);
    atMost("memory", static_cast<double>(cost.memory), static_cast<double>(memory), point);
    atMost("stack", static_cast<double>(cost.stack), static_cast<double>(kStackBytes), point);
    atMost("memory after the last release", static_cast<double>(cost.memoryLeft), 0, point);
  }
  void exponent(const char* what, std::optional<double> value) {
    if (value && *value > kLargestExponent) {
      say(what, "grows with the power", *value, kLargestExponent);
    }
  }

  int broken() const { return broken_; }

 private:
  void atMost(const char* what, double value, double bound, const Point& point) {
    if (value <= bound) return;
    const std::string where =
        "at " + std::to_string(static_cast<uint64_t>(point.bytes)) + " bytes is";
    say(what, where.c_str(), value, bound);
  }
  void say(const char* what, const char* how, double value, double bound) {
    std::printf("  BROKEN: %s %s %g, bound %g\n", what, how, value, bound);
    ++broken_;
  }

  const Family& family_;
  int broken_ = 0;
};

/// Whether larger files must tell how a cost grows: there are too few that took long enough, or a
/// file's records outgrow the processor's caches, which looks like growth.
bool needsLargerFiles(std::optional<double> exponent, double largestCost) {
  if (exponent) return *exponent > kLargestExponent;
  return largestCost > kWorthWhile;
}

int measure(const Family& family, uint64_t largest, int repetitions) {
  std::vector<Point> points;
  for (uint64_t bytes = kSmallest; bytes <= largest; bytes *= 2) {
    const boxes::Bytes file = family.make(bytes);
    points.push_back({static_cast<double>(file.size()), costOf(file, repetitions)});
  }
  const Point& last = points.back();
  const std::optional<double> open = exponentOf(points, &Cost::open);
  const std::optional<double> describe = exponentOf(points, &Cost::describe);
  std::printf("%-32s %-7s %7.2f %5.2f %7.2f %5.2f %8.1f %8.1f %8.1f %6.2f %6llu\n", family.name,
              last.cost.opened ? "opened" : "refused", last.cost.open / last.bytes * 1e9,
              open.value_or(0), last.cost.describe / last.bytes * 1e9, describe.value_or(0),
              last.cost.seek * 1e6, last.cost.next * 1e6, last.cost.read * 1e6,
              static_cast<double>(last.cost.memory) / last.bytes,
              static_cast<unsigned long long>(last.cost.stack));
  Judgement judgement(family);
  for (const Point& point : points) judgement.look(point);
  // Files of a power of two and a few headers would leave out the largest ones whose steps count.
  const boxes::Bytes file = family.make(kStepsBoundedUpTo - kHeaders);
  judgement.look({static_cast<double>(file.size()), costOf(file, repetitions)});
  std::fflush(stdout);
  const bool goesOn =
      needsLargerFiles(open, last.cost.open) || needsLargerFiles(describe, last.cost.describe);
  if (goesOn && largest < kLargest) {
    return judgement.broken() + measure(family, kLargest, repetitions);
  }
  judgement.exponent("open", open);
  judgement.exponent("describe", describe);
  return judgement.broken();
}

}  // namespace

int main(int argc, char** argv) {
  bool shortRun = false;
  const char* part = "";
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--short") == 0) {
      shortRun = true;
    } else {
      part = argv[i];
    }
  }
  const uint64_t largest = shortRun ? kLargestOfShortRun : kLargest;
  std::printf(
      "costs of the largest file of each family, %llu KiB: ns per byte with the exponent of\n"
      "growth, us for a seek, nextStream and a read, memory over size, bytes of stack\n\n"
      "%-32s %-7s %7s %5s %7s %5s %8s %8s %8s %6s %6s\n",
      static_cast<unsigned long long>(largest >> 10), "family", "", "open", "exp", "descr.", "exp",
      "seek", "next", "read", "memory", "stack");
  int families = 0;
  int broken = 0;
  for (const Family& family : hostileFamilies()) {
    if (!std::strstr(family.name, part)) continue;
    ++families;
    broken += measure(family, largest, shortRun ? 3 : 2);
  }
  std::printf("\n%d families, %d bounds broken\n", families, broken);
  return families == 0 || broken > 0;
}
