// The text layer over arbitrary bytes. Invariants: codecs stay inside their input, what one
// direction writes the other reads back, and matching a pattern or parsing a number comes to an
// end.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/targets/input_head.h"
#include "hal/streams/memory_stream.h"
#include "hal/text/number_text.h"
#include "hal/text/string_pattern.h"
#include "hal/text/text_codec.h"
#include "hal/text/text_stream.h"
#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"
#include "tests/support/require.h"

namespace {

/// The code point that the bits of a sequence of `count` bytes give; seven bytes give none.
uint32_t bitsOf(const uint8_t* bytes, uint32_t count) {
  if (count == 1) return bytes[0];
  uint32_t bits = count >= 7 ? 0 : bytes[0] & (0x7fu >> count);
  for (uint32_t i = 1; i < count; ++i) bits = bits << 6 | (bytes[i] & 0x3fu);
  return bits;
}

void decodeOneByOne(const uint8_t* data, uint32_t size) {
  uint32_t place = 0;
  while (place < size) {
    uint32_t codePoint = 0;
    const uint32_t used = VTextCodec::GDecodeUtf8(data + place, size - place, &codePoint);
    REQUIRE(used <= size - place && used <= 7);
    REQUIRE(used != 0 || codePoint == 0);
    if (used == 0) {
      ++place;
      continue;
    }
    if (used < 7) REQUIRE(codePoint == bitsOf(data + place, used));
    REQUIRE(used != 2 || codePoint >= 0x80);
    uint8_t encoded[VTextCodec::KUTF8MaxLength];
    const uint32_t written = VTextCodec::GEncodeUtf8(codePoint, encoded);
    REQUIRE(written == VTextCodec::GUtf8Length(codePoint));
    place += used;
  }
}

void roundTrip(const char16_t* text, uint32_t units) {
  const uint32_t bytes = VTextCodec::GUtf8Length(text, units);
  std::vector<uint8_t> stored(bytes + 4);
  VMemoryWriter writer(stored.data(), static_cast<uint32_t>(stored.size()));
  REQUIRE(VTextStream::GWriteUtf8(writer, text, units, nullptr) == VResult::KSuccess);
  REQUIRE(writer.GetPosition() == stored.size());

  VBufferString back;
  VMemoryReader reader(stored.data(), static_cast<uint32_t>(stored.size()));
  REQUIRE(VTextStream::GReadUtf8(reader, back, nullptr) == VResult::KSuccess);
  const uint32_t length = VWideText::GLength(text, units);
  REQUIRE(VWideText::GCompare(text, length, back.GetBuffer(), back.GetLength()) == 0);
}

void readAsStream(const uint8_t* data, uint32_t size) {
  VBufferString text;
  VMemoryReader reader(data, size);
  const VelaBase::TIOResult code = VTextStream::GReadUtf8(reader, text, nullptr);
  REQUIRE(code == VResult::KSuccess || text.GetLength() == 0);
}

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t size) { return size; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t inputSize) {
  const auto size = static_cast<uint32_t>(inputSize < 4096 ? inputSize : 4096);
  decodeOneByOne(data, size);
  readAsStream(data, size);

  VBufferString text;
  VTextCodec::GFromUtf8(data, size, text, 0);
  REQUIRE(text.GetLength() <= size);
  roundTrip(text.GetBuffer(), VWideText::KUntilNul);

  std::vector<char16_t> units(size + 1);
  REQUIRE(VTextCodec::GUtf8ToUtf16(data, size, units.data()) <= size);
  if (size > 1) std::memcpy(units.data(), data, size & ~1u);
  units[size / 2] = 0;
  roundTrip(units.data(), size / 2);

  (void)VNumberText::GParseScaledSigned(units.data(), size / 2, 10000);
  (void)VNumberText::GParseFloat(units.data(), static_cast<int32_t>(size / 2));

  // The match tries every place for every '*', so the pattern is kept short.
  const uint32_t patternUnits = size / 2 < 8 ? size / 2 : 8;
  (void)VPattern::GMatchesList(units.data(), size / 2 < 64 ? size / 2 : 64, units.data(),
                               patternUnits, VPattern::ListMode::KList);
  VBufferString title;
  VWideText::GFileTitle(units.data(), size / 2, title);
  REQUIRE(title.GetLength() <= size / 2);
  return 0;
}
