// CallLog: the calls that a fake received, in order, as texts that a test compares.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What every fake is built on. Several fakes can write into one further log, so that the order
/// between them shows.
class CallLog {
 public:
  std::vector<std::string> calls;
  CallLog* alsoTo = nullptr;     ///< receives every call too
  std::function<void()> onCall;  ///< runs inside every recorded call but those that it makes itself

  void record(std::string call) {
    if (alsoTo) alsoTo->record(call);
    calls.push_back(std::move(call));
    if (!onCall || insideOnCall_) return;
    insideOnCall_ = true;
    onCall();
    insideOnCall_ = false;
  }

  /// Hands over the calls up to now and starts again.
  std::vector<std::string> take() { return std::exchange(calls, {}); }

  /// Number of calls that begin with `start`.
  uint32_t count(std::string_view start) const {
    uint32_t found = 0;
    for (const std::string& call : calls) found += call.starts_with(start) ? 1u : 0u;
    return found;
  }

 private:
  bool insideOnCall_ = false;
};

/// UTF-16 text for a log: printable ASCII as it is, everything else as \uXXXX.
inline std::string loggable(std::u16string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (const char16_t unit : text) {
    if (unit >= 0x20 && unit < 0x7f) {
      out += static_cast<char>(unit);
      continue;
    }
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(unit >> shift) & 15];
  }
  return out;
}
