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
#include <utility>
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

constexpr int kFurtherRounds = 20;  // for a family that seems to break a bound

constexpr double kMeasurable = 2e-3;             // seconds, of a cost that tells how it grows
constexpr double kWorthWhile = 4 * kMeasurable;  // seconds, of a cost whose growth must be known

constexpr uint64_t kSmallest = uint64_t{64} << 10;
constexpr uint64_t kLargest = uint64_t{16} << 20;
constexpr uint64_t kLargestOfShortRun = uint64_t{1} << 20;
// Seeks, nextStream and reads are bounded for files up to here, by a constant.
constexpr uint64_t kStepsBoundedUpTo = uint64_t{1} << 20;
constexpr uint64_t kHeaders = 16384;  // more than a family adds to the size that it is made for

/// A file and what it costs.
class Point {
 public:
  explicit Point(boxes::Bytes made) : file_(std::move(made)), cost_(costOf(file_)) {}

  double bytes() const { return static_cast<double>(file_.size()); }
  const Cost& cost() const { return cost_; }
  void timeAgain() { ::timeAgain(file_, cost_); }

 private:
  boxes::Bytes file_;
  Cost cost_;
};

/// Slope of the line through the logarithms: 1 for a cost in proportion. Costs too small to be told
/// from the clock's step and the constant part are left out; without three others there is none.
std::optional<double> exponentOf(const std::vector<Point>& points, double Cost::*time) {
  double n = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (const Point& point : points) {
    if (point.cost().*time < kMeasurable) continue;
    const double x = std::log(point.bytes());
    const double y = std::log(point.cost().*time);
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
    const auto size = static_cast<uint64_t>(point.bytes());
    const Cost& cost = point.cost();
    atMost("open", cost.open, kOpenPerByte * point.bytes() + kOnce, size);
    atMost("describe", cost.describe, kDescribePerByte * point.bytes() + kOnce, size);
    if (size < kStepsBoundedUpTo) {
      atMost("seek", cost.seek, kOnce, size);
      atMost("nextStream", cost.next, kOnce, size);
      atMost("read", cost.read, kOnce, size);
    }
    const uint64_t perByte =
        family_.hasShortestFields ? kMemoryPerByteOfShortFields : kMemoryPerByte;
    const uint64_t memory =
        perByte * size + kMemoryOnce + (family_.hasChapters ? kMemoryOfChapters : 0);
    atMost("memory", static_cast<double>(cost.memory), static_cast<double>(memory), size);
    atMost("stack", static_cast<double>(cost.stack), static_cast<double>(kStackBytes), size);
    atMost("memory after the last release", static_cast<double>(cost.memoryLeft), 0, size);
  }
  void growth(const char* what, std::optional<double> exponent) {
    if (!exponent || *exponent <= kLargestExponent) return;
    say(std::string(what) + " grows with the power", *exponent, kLargestExponent);
  }

  const std::vector<std::string>& broken() const { return broken_; }

 private:
  void atMost(const char* what, double value, double bound, uint64_t bytes) {
    if (value <= bound) return;
    say(std::string(what) + " at " + std::to_string(bytes) + " bytes is", value, bound);
  }
  void say(const std::string& what, double value, double bound) {
    char figures[64];
    std::snprintf(figures, sizeof figures, " %g, bound %g", value, bound);
    broken_.push_back(what + figures);
  }

  const Family& family_;
  std::vector<std::string> broken_;
};

/// A family's files at sizes that double, and whether they keep the bounds.
class Series {
 public:
  Series(const Family& family, uint64_t largest, int rounds) : family_(family) {
    for (uint64_t bytes = kSmallest; bytes <= largest; bytes *= 2) {
      points_.emplace_back(family.make(bytes));
    }
    for (int round = 1; round < rounds; ++round) timeAgain();
  }

  /// A round over all sizes, so that what slows the machine for a while slows them all.
  void timeAgain() {
    for (Point& point : points_) point.timeAgain();
    belowAMebibyte_.timeAgain();
  }

  const Point& largest() const { return points_.back(); }
  std::optional<double> exponentOf(double Cost::*time) const { return ::exponentOf(points_, time); }

  /// One sentence for each bound that does not hold.
  std::vector<std::string> broken() const {
    Judgement judgement(family_);
    for (const Point& point : points_) judgement.look(point);
    judgement.look(belowAMebibyte_);
    judgement.growth("open", exponentOf(&Cost::open));
    judgement.growth("describe", exponentOf(&Cost::describe));
    return judgement.broken();
  }

 private:
  const Family& family_;
  std::vector<Point> points_;
  // Files of a power of two and a few headers would leave out the largest ones whose steps count.
  Point belowAMebibyte_{family_.make(kStepsBoundedUpTo - kHeaders)};
};

/// Whether larger files must tell how a cost grows: there are too few that took long enough, or a
/// file's records outgrow the processor's caches, which looks like growth.
bool needsLargerFiles(const Series& series, double Cost::*time) {
  const std::optional<double> exponent = series.exponentOf(time);
  if (exponent) return *exponent > kLargestExponent;
  return series.largest().cost().*time > kWorthWhile;
}

void print(const Family& family, const Series& series) {
  const double bytes = series.largest().bytes();
  const Cost& cost = series.largest().cost();
  std::printf("%-32s %-7s %7.2f %5.2f %7.2f %5.2f %8.1f %8.1f %8.1f %6.2f %6llu\n", family.name,
              cost.opened ? "opened" : "refused", cost.open / bytes * 1e9,
              series.exponentOf(&Cost::open).value_or(0), cost.describe / bytes * 1e9,
              series.exponentOf(&Cost::describe).value_or(0), cost.seek * 1e6, cost.next * 1e6,
              cost.read * 1e6, static_cast<double>(cost.memory) / bytes,
              static_cast<unsigned long long>(cost.stack));
}

/// @return bounds broken
size_t measure(const Family& family, uint64_t largest, int rounds) {
  Series series(family, largest, rounds);
  const bool goesOn =
      needsLargerFiles(series, &Cost::open) || needsLargerFiles(series, &Cost::describe);
  if (goesOn && largest < kLargest) {
    print(family, series);
    return measure(family, kLargest, rounds);
  }
  // The least time of a file is what it costs: a bound is broken if it stays so.
  int further = 0;
  while (!series.broken().empty() && further < kFurtherRounds) {
    series.timeAgain();
    ++further;
  }
  print(family, series);
  if (further > 0) std::printf("  measured in %d rounds, %d more\n", rounds + further, further);
  for (const std::string& what : series.broken()) std::printf("  BROKEN: %s\n", what.c_str());
  std::fflush(stdout);
  return series.broken().size();
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
  size_t broken = 0;
  for (const Family& family : hostileFamilies()) {
    if (!std::strstr(family.name, part)) continue;
    ++families;
    broken += measure(family, largest, shortRun ? 3 : 2);
  }
  std::printf("\n%d families, %zu bounds broken\n", families, broken);
  return families == 0 || broken > 0;
}
