// Whatever goes wrong, and whenever: every operation gives a documented code, all that was taken is
// given back, and when nothing goes wrong any more the splitter plays the whole file.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/session_run.h"
#include "tests/support/every_nth.h"
#include "tests/support/rich_files.h"

using faulty_host::Seekable;
using vela::TIOResult;

namespace {

constexpr auto kForeignCode = static_cast<TIOResult>(0x80041234);

struct File {
  std::string name;
  boxes::Bytes bytes;
  bool isMarked = false;  ///< all its samples are marked ones, and lie where its tables say
};

/// Files that hold every box. What a film plays must lie in it, so that a whole playback succeeds.
const std::vector<File>& files() {
  using namespace boxes;
  static const std::vector<File> all = {
      {"film with every box", richFilm()},
      {"film, media first", richFilm(BoxOrder::mediaFirst)},
      {"audio book with every box", richAudioBook()},
      {"film that plays",
       movieFile({.tracks = {aacTrack({.samples = 60}), avcTrack({.samples = 40, .syncEvery = 7})},
                  .udta = join(richTaggingBox(), richItemList(), chpl({{0, "One"}, {5, "Two"}}))})
           .bytes,
       true},
      {"audio book that the read cache can't hold",
       movieFile({.tracks = {aacTrack({.samples = 90, .sampleSize = 2000})},
                  .udta = join(richItemList(), chpl({{0, "One"}, {6'000'000, "Two"}}))})
           .bytes,
       true},
  };
  return all;
}

/// What all runs of a test came to.
class Tally {
 public:
  explicit Tally(const char* what) : what_(what) {}
  ~Tally() {
    std::printf("[ faults   ] %s: %llu runs, %llu with a fault; codes", what_,
                static_cast<unsigned long long>(runs_), static_cast<unsigned long long>(struck_));
    for (const auto& [code, times] : codes_) {
      std::printf(" %u (%llu times)", static_cast<uint32_t>(code),
                  static_cast<unsigned long long>(times));
    }
    std::printf("\n");
  }
  Tally(const Tally&) = delete;
  Tally& operator=(const Tally&) = delete;

  void add(const Outcome& outcome, bool struck) {
    ++runs_;
    struck_ += struck ? 1 : 0;
    for (const auto& [operation, codes] : outcome.codes) {
      for (const auto& [code, times] : codes) codes_[code] += times;
    }
  }
  bool saw(TIOResult code) const { return codes_.contains(code); }
  uint64_t struck() const { return struck_; }

 private:
  const char* what_;
  uint64_t runs_ = 0;
  uint64_t struck_ = 0;
  std::map<TIOResult, uint64_t> codes_;
};

/// The codes that each operation may give by itself, without one of the host's.
const std::set<TIOResult>& ownCodes(const std::string& operation) {
  static const std::set<TIOResult> creation = {TIOResult::success, TIOResult::outOfRange,
                                               TIOResult::sourceNotFound, TIOResult::failed,
                                               TIOResult::outOfMemory};
  static const std::set<TIOResult> others = {TIOResult::success, TIOResult::failed};
  return operation.starts_with("create") ? creation : others;
}

void expectDocumentedCodes(const Outcome& outcome, const std::set<TIOResult>& fromOutside) {
  for (const auto& [operation, codes] : outcome.codes) {
    for (const auto& [code, times] : codes) {
      EXPECT_TRUE(ownCodes(operation).contains(code) || fromOutside.contains(code))
          << operation << " gave " << static_cast<uint32_t>(code);
    }
  }
}

void expectNothingLeft(const Outcome& outcome) {
  EXPECT_EQ(outcome.referencesLeft, 0u);
  EXPECT_EQ(outcome.blocksLeft, 0);
}

Outcome faultless(const File& file, Seekable seekable) {
  Faults none;
  const Outcome outcome = runSession(file.bytes, seekable, none);
  expectNothingLeft(outcome);
  return outcome;
}

/// Runs a session again and again, with the fault at the first chance, the second and so on, until
/// no chance is left for it.
/// @param plan  the plan in question
template <class MakePlan>
void atEveryChance(FaultPlan Faults::*plan, Tally& tally, const File& file, Seekable seekable,
                   const std::set<TIOResult>& fromOutside, bool recovers, MakePlan makePlan) {
  const Outcome reference = faultless(file, seekable);
  for (uint64_t at = 0;; at += everyNth()) {
    SCOPED_TRACE(file.name + ", chance " + std::to_string(at));
    Faults faults;
    faults.*plan = makePlan(at);
    const Outcome outcome = runSession(file.bytes, seekable, faults);
    const bool struck = (faults.*plan).timesStruck() > 0;
    tally.add(outcome, struck);
    expectNothingLeft(outcome);
    expectDocumentedCodes(outcome, fromOutside);
    if (file.isMarked && recovers) {
      EXPECT_EQ(outcome.foreignPayloads, 0u) << "a packet held the bytes of another place";
    }
    if (outcome.opened && recovers) {
      EXPECT_EQ(outcome.played, reference.played);
    }
    if (!struck || ::testing::Test::HasFailure()) return;
  }
}

struct HostFault {
  const char* name;
  Fault fault;
  /// The file can still be played afterwards: nothing untrue was said.
  bool recovers;
};

std::ostream& operator<<(std::ostream& out, const HostFault& kind) { return out << kind.name; }

/// One of each class. The two faults that end in success have none.
std::vector<TIOResult> codesOf(Fault fault) {
  if (fault == Fault::halves || fault == Fault::talksNonsense) return {kForeignCode};
  return {kForeignCode,      TIOResult::outOfRange,     TIOResult::cancelled,
          TIOResult::failed, TIOResult::sourceNotFound, TIOResult::outOfMemory};
}

class HostFaults : public testing::TestWithParam<HostFault> {};

TEST_P(HostFaults, AtEveryCallGiveADocumentedCodeAndLeaveNothing) {
  const HostFault& kind = GetParam();
  Tally tally(kind.name);
  for (const TIOResult code : codesOf(kind.fault)) {
    for (const Repeat repeat : {Repeat::once, Repeat::fromThenOn}) {
      for (const Seekable seekable : {Seekable::yes, Seekable::no}) {
        for (const File& file : files()) {
          atEveryChance(&Faults::host, tally, file, seekable, {code},
                        kind.recovers && seekable == Seekable::yes,
                        [&](uint64_t at) { return FaultPlan(at, repeat, kind.fault, code); });
        }
      }
    }
  }
  EXPECT_GT(tally.struck(), 200u / everyNth());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, HostFaults,
    testing::Values(HostFault{"refuses", Fault::refuses, true},
                    HostFault{"works, then refuses", Fault::worksThenRefuses, true},
                    HostFault{"halves", Fault::halves, false},
                    HostFault{"halves, then refuses", Fault::halvesThenRefuses, true},
                    HostFault{"talks nonsense", Fault::talksNonsense, false}),
    [](const auto& kind) {
      std::string name = kind.param.name;
      std::erase_if(name, [](char c) { return c == ' ' || c == ','; });
      return name;
    });

TEST(MemoryFaults, AtEveryAllocationGiveADocumentedCodeAndLeaveNothing) {
  Tally tally("memory runs out");
  for (const Repeat repeat : {Repeat::once, Repeat::fromThenOn}) {
    for (const Seekable seekable : {Seekable::yes, Seekable::no}) {
      for (const File& file : files()) {
        atEveryChance(&Faults::memory, tally, file, seekable, {}, seekable == Seekable::yes,
                      [&](uint64_t at) { return FaultPlan(at, repeat); });
      }
    }
  }
  EXPECT_GT(tally.struck(), 500u / everyNth());
  EXPECT_TRUE(tally.saw(TIOResult::outOfMemory));
}

TEST(Cancellation, AtEveryQuestionGivesItsCodeAndLeavesNothing) {
  Tally tally("cancelled");
  for (const Repeat repeat : {Repeat::once, Repeat::fromThenOn}) {
    for (const Seekable seekable : {Seekable::yes, Seekable::no}) {
      for (const File& file : files()) {
        atEveryChance(&Faults::question, tally, file, seekable, {TIOResult::cancelled},
                      seekable == Seekable::yes,
                      [&](uint64_t at) { return FaultPlan(at, repeat); });
      }
    }
  }
  EXPECT_GT(tally.struck(), 200u / everyNth());
  EXPECT_TRUE(tally.saw(TIOResult::cancelled));
}

TEST(FaultsTests, PlayTheirFilesWholeWhenNothingGoesWrong) {
  uint32_t played = 0;
  for (const File& file : files()) {
    const Outcome outcome = faultless(file, Seekable::yes);
    EXPECT_TRUE(outcome.opened) << file.name;
    if (outcome.played) ++played;
  }
  EXPECT_GE(played, 3u);
}

}  // namespace
