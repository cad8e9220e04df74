// Streams and a string for the helper library's tests: they follow a script and keep a record.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "hal/streams/byte_stream.h"
#include "hal/text/vstring.h"
#include "tests/support/boxes.h"

/// A result code of the host's that the library does not know.
inline constexpr VelaBase::TIOResult kHostCode{77};

/// How many bytes a scripted stream transfers at most in each call; the last entry repeats.
using TransferSizes = std::vector<uint32_t>;
inline constexpr uint32_t kWhole = std::numeric_limits<uint32_t>::max();

/// What all scripted streams have in common.
struct StreamScript {
  TransferSizes sizes = {kWhole};
  uint32_t failAtCall = kWhole;  ///< zero-based number of the call that gives `code`
  VelaBase::TIOResult code = kHostCode;

  // The record
  std::vector<uint32_t> counts = {};  ///< count asked by each call
  std::vector<void*> contexts = {};   ///< context given to each call

  bool begin(uint32_t count, void* context) {
    counts.push_back(count);
    contexts.push_back(context);
    return counts.size() - 1 != failAtCall;
  }
  uint32_t limit() const { return sizes[std::min(counts.size(), sizes.size()) - 1]; }
};

/// Delivers `bytes`.
class ScriptedReader final : public VByteReader {
 public:
  explicit ScriptedReader(boxes::Bytes content, StreamScript given = {})
      : script(std::move(given)), bytes(std::move(content)) {}
  virtual ~ScriptedReader() = default;

  VelaBase::TIOResult Read(void* buffer, uint32_t count, uint32_t* done, void* context) override {
    const size_t from = position;
    const VelaBase::TIOResult result = Skip(count, done, context);
    --skips;
    ++reads;
    if (*done) std::memcpy(buffer, bytes.data() + from, *done);
    return result;
  }
  VelaBase::TIOResult Skip(uint32_t count, uint32_t* done, void* context) override {
    ++skips;
    *done = 0;
    if (!script.begin(count, context)) return script.code;
    const size_t left = bytes.size() - position;
    *done = static_cast<uint32_t>(std::min<size_t>({count, left, script.limit()}));
    position += *done;
    return VResult::KSuccess;
  }

  StreamScript script;
  boxes::Bytes bytes;
  size_t position = 0;
  uint32_t reads = 0;
  uint32_t skips = 0;
};

/// Takes bytes.
class ScriptedWriter final : public VByteWriter {
 public:
  explicit ScriptedWriter(StreamScript given = {}) : script(std::move(given)) {}
  virtual ~ScriptedWriter() = default;

  VelaBase::TIOResult Write(const void* buffer, uint32_t count, uint32_t* done,
                            void* context) override {
    *done = 0;
    if (!script.begin(count, context)) return script.code;
    *done = std::min(count, script.limit());
    const auto* from = static_cast<const uint8_t*>(buffer);
    bytes.insert(bytes.end(), from, from + *done);
    return VResult::KSuccess;
  }

  StreamScript script;
  boxes::Bytes bytes;
};

/// A string that keeps what each Set() was given.
class RecordingString final : public VString {
 public:
  struct Call {
    std::u16string text;  ///< the units that the call stood for
    uint32_t count;
    uint32_t start;
    bool operator==(const Call&) const = default;
  };

  explicit RecordingString(std::u16string initial = {}) : content(std::move(initial)) {}

  uint64_t Set(const char16_t* text, uint32_t count, uint32_t start) override {
    std::u16string units;
    if (text && count == KAll) {
      units = text;
    } else if (text) {
      units.assign(text, count);
    }
    calls.push_back({units, count, start});
    content.resize(std::min<size_t>(start, content.size()));
    content += units;
    return 0;
  }
  const char16_t* GetBuffer() const override { return content.c_str(); }
  uint32_t GetLength() const override { return static_cast<uint32_t>(content.size()); }

  std::u16string content;
  std::vector<Call> calls;
};

/// The units of a string.
inline std::u16string unitsOf(const VString& string) {
  return {string.GetBuffer(), string.GetLength()};
}
