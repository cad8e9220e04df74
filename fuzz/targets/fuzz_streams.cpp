// The stream adapters of the helper library under a script of transfers, over an inner stream that
// delivers in pieces and fails: what one side wrote the other side reads, and nothing is read past
// an end.
//   u8 capacity, u8 piece, u8 call that fails, u8 number of operations,
//   operations x { u8 kind, u8 count }; content
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/input_head.h"
#include "hal/streams/bounded_reader.h"
#include "hal/streams/buffered_stream.h"
#include "hal/streams/laced_stream.h"
#include "hal/streams/memory_stream.h"
#include "tests/support/require.h"

namespace {

using Bytes = std::vector<uint8_t>;
using VelaBase::TIOResult;

constexpr TIOResult kInnerFailure{77};
constexpr uint32_t kNever = 0xffffffff;

/// Delivers its bytes; one call fails.
class Inner final : public VByteReader {
 public:
  Inner(Bytes bytes, uint32_t failAt) : bytes_(std::move(bytes)), failAt_(failAt) {}
  virtual ~Inner() = default;

  TIOResult Read(void* buffer, uint32_t count, uint32_t* done, void* context) override {
    REQUIRE(buffer || count == 0);
    const size_t from = position;
    const TIOResult code = Skip(count, done, context);
    if (*done) std::memcpy(buffer, bytes_.data() + from, *done);
    return code;
  }
  TIOResult Skip(uint32_t count, uint32_t* done, void*) override {
    *done = 0;
    if (calls_++ == failAt_) {
      failed = true;
      return kInnerFailure;
    }
    *done = static_cast<uint32_t>(std::min<size_t>(count, bytes_.size() - position));
    position += *done;
    return VResult::KSuccess;
  }

  size_t position = 0;
  bool failed = false;

 private:
  Bytes bytes_;
  uint32_t failAt_;
  uint32_t calls_ = 0;
};

/// Takes bytes; one call fails without taking any.
class Sink final : public VByteWriter {
 public:
  explicit Sink(uint32_t failAt) : failAt_(failAt) {}
  virtual ~Sink() = default;
  TIOResult Write(const void* buffer, uint32_t count, uint32_t* done, void*) override {
    *done = 0;
    if (calls_++ == failAt_) return kInnerFailure;
    const auto* from = static_cast<const uint8_t*>(buffer);
    bytes.insert(bytes.end(), from, from + count);
    *done = count;
    return VResult::KSuccess;
  }
  Bytes bytes;

 private:
  uint32_t failAt_;
  uint32_t calls_ = 0;
};

struct Operation {
  uint8_t kind;
  uint32_t count;
};

struct Script {
  uint32_t capacity;
  uint32_t piece;
  uint32_t failAt;
  std::vector<Operation> operations;
  Bytes content;
};

bool read(const uint8_t* data, size_t size, Script& script) {
  if (size < 4) return false;
  script.capacity = data[0];
  script.piece = 1u + data[1];
  script.failAt = data[2] < 128 ? data[2] : kNever;
  size_t at = 4;
  for (int left = data[3]; left > 0 && size - at >= 2; --left, at += 2) {
    const uint32_t count = data[at + 1] < 200 ? data[at + 1] : (data[at + 1] - 199u) * 97;
    script.operations.push_back({data[at], count});
  }
  script.content.assign(data + at, data + size);
  return true;
}

/// Reads and skips as the script says, and holds what comes against `content`.
/// @return how far the reader came
size_t transfer(VByteReader& reader, const Script& script, const Bytes& content,
                const Inner& inner) {
  size_t place = 0;
  Bytes buffer;
  for (const Operation& operation : script.operations) {
    buffer.assign(operation.count + 1, 0xee);
    uint32_t done = 99;
    const TIOResult code = operation.kind & 1
                               ? reader.Skip(operation.count, &done, nullptr)
                               : reader.Read(buffer.data(), operation.count, &done, nullptr);
    REQUIRE(done <= operation.count && done <= content.size() - place);
    REQUIRE(buffer[operation.count] == 0xee);
    if (!(operation.kind & 1) && done > 0) {
      REQUIRE(std::memcmp(buffer.data(), content.data() + place, done) == 0);
    }
    place += done;
    // A failed transfer may have lost what the inner stream had already passed.
    if (code != VResult::KSuccess) {
      REQUIRE(code == kInnerFailure || code == VResult::KFailed || code == VResult::KOutOfRange);
      REQUIRE(inner.failed || code != kInnerFailure);
      return place;
    }
    REQUIRE(done == std::min<size_t>(operation.count, content.size() - (place - done)));
  }
  return place;
}

Bytes laced(const Bytes& content) {
  Bytes all;
  size_t at = 0;
  for (bool last = false; !last;) {
    const size_t count = std::min<size_t>(255, content.size() - at);
    last = count < 255;
    all.push_back(static_cast<uint8_t>(count));
    all.insert(all.end(), content.begin() + static_cast<ptrdiff_t>(at),
               content.begin() + static_cast<ptrdiff_t>(at + count));
    at += count;
  }
  return all;
}

void writeAll(VByteWriter& writer, const Script& script, size_t& taken, bool& failed) {
  while (taken < script.content.size()) {
    const auto count =
        static_cast<uint32_t>(std::min<size_t>(script.piece, script.content.size() - taken));
    uint32_t done = 99;
    const TIOResult code = writer.Write(script.content.data() + taken, count, &done, nullptr);
    REQUIRE(done <= count && (code == VResult::KSuccess || code == kInnerFailure));
    REQUIRE(code != VResult::KSuccess || done == count);
    if (code != VResult::KSuccess && failed) return;
    failed = failed || code != VResult::KSuccess;
    taken += done;
    if (code != VResult::KSuccess && done == 0) return;
  }
}

void lacing(const Script& script) {
  Sink sink(script.failAt);
  VLacedWriter writer(sink);
  size_t taken = 0;
  bool failed = false;
  writeAll(writer, script, taken, failed);
  const TIOResult closed = writer.Close(nullptr);
  REQUIRE(writer.Close(nullptr) == VResult::KSuccess);
  if (!failed && closed == VResult::KSuccess) REQUIRE(sink.bytes == laced(script.content));

  // What follows the last segment is another's.
  Bytes stored = laced(script.content);
  const size_t length = stored.size();
  stored.insert(stored.end(), {1, 2, 3});
  Inner inner(stored, script.failAt);
  VLacedReader reader(inner);
  const size_t place = transfer(reader, script, script.content, inner);
  const TIOResult rest = reader.SkipToEnd(nullptr);
  REQUIRE(inner.position <= length);
  if (!inner.failed) {
    REQUIRE(rest == VResult::KSuccess && inner.position == length);
    uint32_t done = 9;
    uint8_t byte = 0;
    REQUIRE(reader.Read(&byte, 1, &done, nullptr) == VResult::KSuccess && done == 0);
  }
  REQUIRE(place <= script.content.size());
  Inner whole(stored, kNever);
  REQUIRE(VLacedReader::GSkipBlock(whole, nullptr) == VResult::KSuccess &&
          whole.position == length);

  // Any bytes as a laced stream: it ends, well or not.
  Inner wild(script.content, script.failAt);
  VLacedReader wildReader(wild);
  (void)wildReader.SkipToEnd(nullptr);
  REQUIRE(wild.position <= script.content.size());
}

void buffering(const Script& script) {
  Inner inner(script.content, script.failAt);
  VBufferedReader reader(inner, script.capacity);
  const size_t place = transfer(reader, script, script.content, inner);
  REQUIRE(inner.position >= place && (inner.failed || inner.position - place <= script.capacity));

  Sink sink(script.failAt);
  VBufferedWriter writer(sink, script.capacity);
  size_t taken = 0;
  bool failed = false;
  writeAll(writer, script, taken, failed);
  const TIOResult flushed = writer.Flush(nullptr);
  REQUIRE(writer.Flush(nullptr) == VResult::KSuccess);
  if (!failed && flushed == VResult::KSuccess) REQUIRE(sink.bytes == script.content);
}

void bounding(const Script& script) {
  const auto limit = static_cast<uint32_t>(std::min<size_t>(script.content.size(), script.piece));
  Inner inner(script.content, script.failAt);
  VBoundedReader reader(inner, limit);
  const Bytes visible(script.content.begin(),
                      script.content.begin() + static_cast<ptrdiff_t>(limit));
  const size_t place = transfer(reader, script, visible, inner);
  REQUIRE(inner.position <= limit);
  if (inner.failed) return;
  REQUIRE(reader.GetRemaining() == limit - place);
  if (reader.SkipRest(nullptr) == VResult::KSuccess) REQUIRE(inner.position == limit);
}

void inMemory(const Script& script) {
  VMemoryReader reader(script.content.data(), static_cast<uint32_t>(script.content.size()));
  const Inner unused({}, kNever);
  REQUIRE(transfer(reader, script, script.content, unused) == reader.GetPosition());
  Bytes target(script.capacity + 1u, 0xee);
  VMemoryWriter writer(target.data(), script.capacity);
  uint32_t done = 0;
  REQUIRE(writer.Write(script.content.data(), static_cast<uint32_t>(script.content.size()), &done,
                       nullptr) == VResult::KSuccess);
  REQUIRE(done == std::min<size_t>(script.capacity, script.content.size()));
  REQUIRE(target[script.capacity] == 0xee);
}

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t size) { return size; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Script script;
  if (!read(data, std::min<size_t>(size, 8192), script)) return 0;
  fuzz::MemoryMeter meter;
  lacing(script);
  buffering(script);
  bounding(script);
  inMemory(script);
  REQUIRE(meter.heldBlocks() == 0);
  return 0;
}
