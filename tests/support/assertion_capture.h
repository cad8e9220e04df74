// AssertionCapture: takes the reports of the helper library's checks, counts the breaks, and
// resumes.
#pragma once
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/break_counter.h"

/// While it lives, a failed check is recorded here and the program goes on after it. Not nestable.
class AssertionCapture {
 public:
  AssertionCapture() {
    state() = {};
    previousSink_ = platform::setDebugOutputSink([](const char16_t* text) {
      state().reports.emplace_back(text);
      state().breaksAtReport = BreakCounter::count();
    });
  }
  ~AssertionCapture() { platform::setDebugOutputSink(previousSink_); }
  AssertionCapture(const AssertionCapture&) = delete;
  AssertionCapture& operator=(const AssertionCapture&) = delete;

  /// Every report since construction or take(), in order, to the letter.
  const std::vector<std::u16string>& reports() const { return state().reports; }
  /// Debugger breaks since construction or take(); one for each report.
  int breaks() const { return BreakCounter::count(); }
  /// Breaks that came before the last report; a report precedes its break.
  int breaksAtReport() const { return state().breaksAtReport; }

  /// Returns the reports and forgets them and the breaks.
  std::vector<std::u16string> take() {
    std::vector<std::u16string> taken = std::move(state().reports);
    state() = {};
    BreakCounter::reset();
    return taken;
  }

  /// The text that a failed check writes, for comparison.
  static std::u16string report(const std::string& source, int line, const std::string& condition) {
    const std::string text = "\r\n*** ASSERTION FAILED in " + source + "(" + std::to_string(line) +
                             "):\r\n" + condition + "\r\n";
    return {text.begin(), text.end()};
  }

 private:
  struct State {
    std::vector<std::u16string> reports;
    int breaksAtReport = 0;
  };
  static State& state() {
    static State instance;
    return instance;
  }

  BreakCounter breaks_;
  platform::DebugOutputSink previousSink_ = nullptr;
};
