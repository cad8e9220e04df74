#include "hal/text/text_codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/hal_streams.h"
#include "tests/support/seeded_random.h"

namespace {

using boxes::Bytes;
using boxes::join;
using boxes::raw;
constexpr uint32_t kAll = VString::KAll;

struct Decoded {
  uint32_t used;
  uint32_t codePoint;
  bool operator==(const Decoded&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Decoded& decoded) {
  return out << decoded.used << " bytes, code point 0x" << std::hex << decoded.codePoint;
}
constexpr Decoded kFailure = {0, 0};

// Decodes from a block of exactly these bytes, so that the sanitizer sees a read past them.
Decoded decode(const Bytes& bytes) {
  Decoded decoded = {99, 99};
  decoded.used = VTextCodec::GDecodeUtf8(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                         &decoded.codePoint);
  return decoded;
}
uint32_t sequenceLength(const Bytes& bytes) {
  return VTextCodec::GSequenceLength(bytes.data(), static_cast<uint32_t>(bytes.size()));
}
Bytes encode(uint32_t codePoint) {
  uint8_t target[8] = {};
  const uint32_t length = VTextCodec::GEncodeUtf8(codePoint, target);
  EXPECT_EQ(length, VTextCodec::GUtf8Length(codePoint));
  EXPECT_EQ(length, VTextCodec::GEncodeUtf8(codePoint, nullptr));
  return {target, target + length};
}

// The rules of the decoder, by the number of leading one bits.
Decoded modelDecode(const Bytes& bytes) {
  if (bytes.empty() || bytes[0] == 0) return kFailure;
  const uint8_t lead = bytes[0];
  size_t ones = 0;
  while (ones < 8 && (lead >> (7 - ones) & 1)) ++ones;
  if (ones == 0) return {1, lead};
  const size_t length = ones >= 2 && ones <= 6 ? ones : 7;
  if (bytes.size() < length) return kFailure;
  uint64_t bits = lead & ((1u << (7 - length)) - 1);
  for (size_t i = 1; i < length; ++i) {
    if (bytes[i] >> 6 != 2) return kFailure;
    if (i == 2 && bits % 0x100000000 == 0 && bytes[2] - 0x80 < 1 << (7 - length)) return kFailure;
    bits = bits << 6 | (bytes[i] & 0x3F);
  }
  if (length == 2 && lead < 0xC2) return kFailure;
  return {static_cast<uint32_t>(length), static_cast<uint32_t>(bits)};
}

std::u16string fromUtf8(const Bytes& bytes, uint32_t start = 0, std::u16string before = u"") {
  RecordingString target(std::move(before));
  VTextCodec::GFromUtf8(bytes.data(), static_cast<uint32_t>(bytes.size()), target, start);
  return target.content;
}

}  // namespace

TEST(Utf8Decode, TakesOneByte) {
  EXPECT_EQ(decode(raw({0x41})), (Decoded{1, 0x41}));
  EXPECT_EQ(decode(raw({0x7F, 0xFF})), (Decoded{1, 0x7F}));
}

TEST(Utf8Decode, FailsWithoutBytesAndAtANul) {
  EXPECT_EQ(decode({}), kFailure);
  EXPECT_EQ(decode(raw({0})), kFailure);
}

TEST(Utf8Decode, TakesSequencesOfEveryLength) {
  EXPECT_EQ(decode(raw({0xC2, 0x80})), (Decoded{2, 0x80}));
  EXPECT_EQ(decode(raw({0xE2, 0x82, 0xAC})), (Decoded{3, 0x20AC}));
  EXPECT_EQ(decode(raw({0xF0, 0x9F, 0x98, 0x80})), (Decoded{4, 0x1F600}));
  EXPECT_EQ(decode(raw({0xF8, 0x88, 0x80, 0x80, 0x80})), (Decoded{5, 0x200000}));
  EXPECT_EQ(decode(raw({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF})), (Decoded{6, 0x7FFFFFFF}));
}

TEST(Utf8Decode, FailsWhereTheSequenceDoesNotFit) {
  const Bytes longest = raw({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF});
  for (size_t count = 0; count < 6; ++count) {
    EXPECT_EQ(decode({longest.begin(), longest.begin() + static_cast<ptrdiff_t>(count)}), kFailure);
  }
}

TEST(Utf8Decode, RefusesAnOverlongPair) {
  EXPECT_EQ(decode(raw({0xC0, 0x80})), kFailure);
  EXPECT_EQ(decode(raw({0xC1, 0xBF})), kFailure);
  EXPECT_EQ(decode(raw({0xC2, 0x80})), (Decoded{2, 0x80}));
}

TEST(Utf8Decode, RefusesANulInsideASequence) {
  EXPECT_EQ(decode(raw({0xC3, 0x00})), kFailure);
  EXPECT_EQ(decode(raw({0xE2, 0x82, 0x00})), kFailure);
}

TEST(Utf8Decode, RefusesWhatIsNoContinuation) {
  EXPECT_EQ(decode(raw({0xC3, 0x41})), kFailure);
  EXPECT_EQ(decode(raw({0xE2, 0x82, 0xC0})), kFailure);
  EXPECT_EQ(decode(raw({0xE2, 0x42, 0x80})), kFailure);
}

TEST(Deliberate, D111_OverlongFormsAreSeenAtTheThirdByteOnly) {
  EXPECT_EQ(decode(raw({0xE0, 0x80, 0x80})), kFailure);
  EXPECT_EQ(decode(raw({0xE0, 0x80, 0x8F})), kFailure);
  EXPECT_EQ(decode(raw({0xE0, 0x80, 0x90})), (Decoded{3, 0x10}));
  EXPECT_EQ(decode(raw({0xE0, 0x81, 0x80})), (Decoded{3, 0x40}));
  EXPECT_EQ(decode(raw({0xF0, 0x80, 0x87, 0x80})), kFailure);
  EXPECT_EQ(decode(raw({0xF0, 0x80, 0x88, 0x80})), (Decoded{4, 0x200}));
  EXPECT_EQ(decode(raw({0xF8, 0x80, 0x83, 0x80, 0x80})), kFailure);
  EXPECT_EQ(decode(raw({0xF8, 0x80, 0x84, 0x80, 0x80})), (Decoded{5, 0x4000}));
  EXPECT_EQ(decode(raw({0xFC, 0x80, 0x81, 0x80, 0x80, 0x80})), kFailure);
  EXPECT_EQ(decode(raw({0xFC, 0x80, 0x82, 0x80, 0x80, 0x80})), (Decoded{6, 0x80000}));
}

TEST(Deliberate, D110_AByteThatLeadsNothingCountsAsTheLeadOfSeven) {
  const Bytes five(5, 0x81);
  for (const uint8_t lead : raw({0x80, 0xBF, 0xFE, 0xFF})) {
    EXPECT_EQ(decode(join(raw({lead}), five)), kFailure);
    EXPECT_EQ(sequenceLength(join(raw({lead}), five)), 0u);
    EXPECT_EQ(decode(join(raw({lead}), five, raw({0x81}))), (Decoded{7, 0x41041041}));
    EXPECT_EQ(sequenceLength(join(raw({lead}), five, raw({0x81}))), 7u);
  }
  EXPECT_EQ(decode(raw({0x80, 0xBC, 0x80, 0x80, 0x80, 0x80, 0x80})), (Decoded{7, 0}))
      << "seven bytes hold more than 32 bits";
}

TEST(Utf8Decode, AgreesWithItsRulesOnRandomBytes) {
  SeededRandom random(2106);
  int taken[8] = {};
  for (int round = 0; round < 300000; ++round) {
    Bytes bytes(random.below(9));
    for (uint8_t& byte : bytes) {
      const uint32_t kind = random.below(8);
      byte =
          static_cast<uint8_t>(kind == 0 ? random.word() : 0x80 | random.below(kind < 3 ? 64 : 4));
    }
    if (!bytes.empty() && !random.oneIn(8)) bytes[0] = static_cast<uint8_t>(random.word());
    const Decoded expected = modelDecode(bytes);
    ASSERT_EQ(decode(bytes), expected) << testing::PrintToString(bytes);
    ++taken[expected.used];
  }
  for (const int count : taken) EXPECT_GT(count, 100) << "every length occurs";
}

TEST(SequenceLength, DoesNotLookAtTheFormOfContinuations) {
  EXPECT_EQ(sequenceLength({}), 0u);
  EXPECT_EQ(sequenceLength(raw({0})), 0u);
  EXPECT_EQ(sequenceLength(raw({0x41})), 1u);
  EXPECT_EQ(sequenceLength(raw({0xC3, 0x41})), 2u);
  EXPECT_EQ(sequenceLength(raw({0xE0, 0x80, 0x80})), 3u);
  EXPECT_EQ(sequenceLength(raw({0xF0, 1, 2, 3, 0})), 4u);
  EXPECT_EQ(sequenceLength(raw({0xFC, 1, 2, 3, 4, 5})), 6u);
}

TEST(SequenceLength, RefusesNulsOverlongPairsAndWhatDoesNotFit) {
  EXPECT_EQ(sequenceLength(raw({0xE2, 0x82})), 0u);
  EXPECT_EQ(sequenceLength(raw({0xE2, 0x00, 0x80})), 0u);
  EXPECT_EQ(sequenceLength(raw({0xE2, 0x80, 0x00})), 0u);
  EXPECT_EQ(sequenceLength(raw({0xC0, 0x80})), 0u);
  EXPECT_EQ(sequenceLength(raw({0xC1, 0x80})), 0u);
}

TEST(Utf8Encode, HasALengthForEveryRange) {
  const std::vector<std::pair<uint32_t, uint32_t>> firsts = {
      {0, 1}, {0x80, 2}, {0x800, 3}, {0x10000, 4}, {0x200000, 5}, {0x4000000, 6}, {0x80000000, 0}};
  for (const auto& [first, length] : firsts) {
    EXPECT_EQ(VTextCodec::GUtf8Length(first), length);
    if (first == 0) continue;
    EXPECT_EQ(VTextCodec::GUtf8Length(first - 1), length ? length - 1 : 6);
  }
  EXPECT_EQ(VTextCodec::GUtf8Length(0xFFFFFFFF), 0u);
}

TEST(Utf8Encode, WritesTheStandardForm) {
  EXPECT_EQ(encode(0), raw({0}));
  EXPECT_EQ(encode(0x7F), raw({0x7F}));
  EXPECT_EQ(encode(0x7FF), raw({0xDF, 0xBF}));
  EXPECT_EQ(encode(0x20AC), raw({0xE2, 0x82, 0xAC}));
  EXPECT_EQ(encode(0x1F600), raw({0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(encode(0x3FFFFFF), raw({0xFB, 0xBF, 0xBF, 0xBF, 0xBF}));
  EXPECT_EQ(encode(0x7FFFFFFF), raw({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}));
}

TEST(Utf8Encode, WritesNothingAboveItsRange) {
  uint8_t target = 0x55;
  EXPECT_EQ(VTextCodec::GEncodeUtf8(0x80000000, &target), 0u);
  EXPECT_EQ(VTextCodec::GEncodeUtf8(0xFFFFFFFF, &target), 0u);
  EXPECT_EQ(target, 0x55);
}

TEST(Utf8, RoundTripsEveryCodePoint) {
  for (uint32_t codePoint = 1; codePoint <= 0x10FFFF; ++codePoint) {
    uint8_t bytes[6];
    const uint32_t length = VTextCodec::GEncodeUtf8(codePoint, bytes);
    uint32_t back = 0;
    ASSERT_EQ(VTextCodec::GSequenceLength(bytes, length), length);
    ASSERT_EQ(VTextCodec::GDecodeUtf8(bytes, length, &back), length);
    ASSERT_EQ(back, codePoint);
  }
}

TEST(Utf8, RoundTripsTheWholeRangeThatItEncodes) {
  SeededRandom random(2107);
  for (int round = 0; round < 100000; ++round) {
    const uint32_t codePoint = 1 + (random.word() & 0x7FFFFFFF) % 0x7FFFFFFF;
    const Bytes bytes = encode(codePoint);
    ASSERT_EQ(decode(bytes), (Decoded{static_cast<uint32_t>(bytes.size()), codePoint}));
  }
}

TEST(Deliberate, D107_SurrogateHalvesAreCountedAndEncodedOneByOne) {
  const char16_t pair[] = {0xD83D, 0xDE00, 0};
  EXPECT_EQ(VTextCodec::GUtf8Length(pair, kAll), 6u);
  EXPECT_EQ(encode(0xD83D), raw({0xED, 0xA0, 0xBD}));
  EXPECT_EQ(decode(raw({0xED, 0xA0, 0xBD})), (Decoded{3, 0xD83D}));
}

TEST(Utf8Length, AddsUpTheUnitsOfABoundedText) {
  const char16_t text[] = {u'a', 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0};
  EXPECT_EQ(VTextCodec::GUtf8Length(text, kAll), 1u + 1 + 2 + 2 + 3 + 3);
  EXPECT_EQ(VTextCodec::GUtf8Length(text, 3), 4u);
  EXPECT_EQ(VTextCodec::GUtf8Length(text, 0), 0u);
}

TEST(Utf16Decode, TakesOneUnit) {
  char16_t value = 99;
  EXPECT_EQ(VTextCodec::GDecodeUtf16(u"a", &value), 1u);
  EXPECT_EQ(value, u'a');
  EXPECT_EQ(VTextCodec::GDecodeUtf16(u"", &value), 0u);
  EXPECT_EQ(value, 0);
}

TEST(Utf16Decode, TakesALoneHalfAsItIs) {
  const std::vector<std::u16string> texts = {
      {0xD83D, u'x'}, {0xD83D}, {0xDE00, 0xD83D}, {0xD83D, 0xD83D}};
  for (const std::u16string& text : texts) {
    char16_t value = 99;
    EXPECT_EQ(VTextCodec::GDecodeUtf16(text.c_str(), &value), 1u);
    EXPECT_EQ(value, text[0]);
  }
}

TEST(Deliberate, D103_APairIsDecodedTo16Bits) {
  const char16_t pair[] = {0xD83D, 0xDE00, 0};
  char16_t value = 0;
  EXPECT_EQ(VTextCodec::GDecodeUtf16(pair, &value), 2u);
  EXPECT_EQ(value, 0xF600);
  for (uint32_t codePoint = 0x10000; codePoint < 0x100000; codePoint += 77) {
    char16_t units[3] = {};
    ASSERT_EQ(VTextCodec::GEncodeUtf16(codePoint, units), 2u);
    ASSERT_EQ(VTextCodec::GDecodeUtf16(units, &value), 2u);
    ASSERT_EQ(value, codePoint & 0xFFFF);
  }
}

TEST(Utf16Encode, TakesOneUnitOrTwo) {
  char16_t units[2] = {};
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0x20AC, units), 1u);
  EXPECT_EQ(units[0], 0x20AC);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0xFFFF, units), 1u);
  EXPECT_EQ(units[0], 0xFFFF);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0x10000, units), 2u);
  EXPECT_EQ(units[0], 0xD800);
  EXPECT_EQ(units[1], 0xDC00);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0x1F600, units), 2u);
  EXPECT_EQ(units[0], 0xD83D);
  EXPECT_EQ(units[1], 0xDE00);
}

TEST(Utf16Encode, RefusesZero) {
  char16_t unit = 0x55;
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0, &unit), 0u);
  EXPECT_EQ(unit, 0x55);
}

TEST(Deliberate, D104_TheLastPlaneIsRefused) {
  char16_t units[2] = {};
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0xFFFFF, units), 2u);
  EXPECT_EQ(units[0], 0xDBBF);
  EXPECT_EQ(units[1], 0xDFFF);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0x100000, units), 0u);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0x10FFFF, units), 0u);
  EXPECT_EQ(VTextCodec::GEncodeUtf16(0xFFFFFFFF, units), 0u);
}

namespace {

std::u16string toUtf16(const Bytes& bytes) {
  std::u16string target(bytes.size() + 1, u'-');
  const uint32_t units =
      VTextCodec::GUtf8ToUtf16(bytes.data(), static_cast<uint32_t>(bytes.size()), target.data());
  EXPECT_EQ(target[units], 0);
  return target.substr(0, units);
}

}  // namespace

TEST(Utf8ToUtf16, WritesSurrogatePairs) {
  EXPECT_EQ(toUtf16(boxes::text("a\xE2\x82\xAC\xF0\x9F\x98\x80z")), u"a€\U0001F600z");
  EXPECT_EQ(toUtf16({}), u"");
}

TEST(Utf8ToUtf16, StopsAtANulAFailureOrTheEnd) {
  EXPECT_EQ(toUtf16(raw({'a', 0, 'b'})), u"a");
  EXPECT_EQ(toUtf16(raw({'a', 0xC0, 0x80, 'b'})), u"a");
  EXPECT_EQ(toUtf16(raw({'a', 0xE2, 0x82})), u"a");
  EXPECT_EQ(toUtf16(raw({'a', 0xF4, 0x80, 0x80, 0x80, 'b'})), u"a") << "the last plane";
  char16_t target[4] = u"---";
  EXPECT_EQ(VTextCodec::GUtf8ToUtf16(raw({'a', 'b', 'c'}).data(), 2, target), 2u);
  EXPECT_EQ(target[2], 0);
  EXPECT_EQ(target[3], 0) << "of the literal";
}

TEST(Utf8ToUtf16, StopsAtADecodedZero) {
  const Bytes zero = raw({0x80, 0xBC, 0x80, 0x80, 0x80, 0x80, 0x80});
  EXPECT_EQ(toUtf16(join(boxes::text("a"), zero, boxes::text("b"))), u"a");
  EXPECT_EQ(toUtf16(join(zero, boxes::text("b"))), u"");
}

TEST(Utf8ToUtf16, ReadsATextUpToItsNulWithTheOpenCount) {
  const auto openCount = [](const Bytes& bytes) {
    std::u16string target(bytes.size() + 1, u'-');
    const uint32_t units = VTextCodec::GUtf8ToUtf16(bytes.data(), kAll, target.data());
    EXPECT_EQ(target[units], 0);
    return target.substr(0, units);
  };
  EXPECT_EQ(openCount(raw({'t', 0xC3, 0xA9, 0})), u"té");
  EXPECT_EQ(openCount(raw({'t', 0})), u"t");
  EXPECT_EQ(openCount(raw({0})), u"");
  EXPECT_EQ(openCount(raw({'t', 0xE2, 0x82, 0})), u"t") << "and not beyond it";
  EXPECT_EQ(openCount(raw({'t', 0x80, 0x80, 0})), u"t");
}

TEST(FromUtf8, SetsTheTargetFromTheStartOn) {
  EXPECT_EQ(fromUtf8(boxes::text("h\xC3\xA9"), 0, u"old"), u"hé");
  EXPECT_EQ(fromUtf8(boxes::text("x"), 2, u"old"), u"olx");
  EXPECT_EQ(fromUtf8(boxes::text("x"), kAll, u"old"), u"oldx");
}

TEST(FromUtf8, SetsTheTargetForEmptyInputToo) {
  EXPECT_EQ(fromUtf8({}, 0, u"old"), u"");
  EXPECT_EQ(fromUtf8({}, 1, u"old"), u"o");
  EXPECT_EQ(fromUtf8(raw({0, 'x'}), 0, u"old"), u"");
  RecordingString target(u"old");
  VTextCodec::GFromUtf8(static_cast<const char*>(nullptr), 0, target, 0);
  EXPECT_EQ(target.calls, (std::vector<RecordingString::Call>{{u"", 0, 0}}));
}

TEST(FromUtf8, EndsAtANulAFailureOrADecodedZero) {
  EXPECT_EQ(fromUtf8(raw({'a', 'b', 0, 'c'})), u"ab");
  EXPECT_EQ(fromUtf8(raw({'a', 0xE2, 0x82})), u"a");
  EXPECT_EQ(fromUtf8(raw({'a', 0xC3, 'x', 'y'})), u"a");
  EXPECT_EQ(fromUtf8(raw({'a', 0x80, 0xBC, 0x80, 0x80, 0x80, 0x80, 0x80, 'b'})), u"a");
}

TEST(FromUtf8, ReadsATextUpToItsNulWithTheOpenCount) {
  RecordingString target;
  const char text[] = "tag\xC3";
  VTextCodec::GFromUtf8(text, kAll, target, 0);
  EXPECT_EQ(target.content, u"tag") << "and not beyond it, where a sequence is cut";
}

TEST(Deliberate, D108_ACharacterBeyondTheFirstPlaneBecomesFFFF) {
  EXPECT_EQ(fromUtf8(boxes::text("\xF0\x9F\x98\x80")), u"\uFFFF");
  EXPECT_EQ(fromUtf8(raw({0xEF, 0xBF, 0xBF})), u"\uFFFF");
  EXPECT_EQ(fromUtf8(raw({0xF0, 0x90, 0x80, 0x80, 'z'})), u"\uFFFFz");
  EXPECT_EQ(fromUtf8(raw({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF})), u"\uFFFF");
}

TEST(FromUtf8, WritesInPiecesOf128Units) {
  for (const size_t length : {127u, 128u, 129u, 256u, 300u}) {
    RecordingString target(u"kept and cut");
    const Bytes bytes(length, 'x');
    VTextCodec::GFromUtf8(bytes.data(), static_cast<uint32_t>(length), target, 4);
    EXPECT_EQ(target.content, u"kept" + std::u16string(length, u'x'));
    for (size_t i = 0; i < target.calls.size(); ++i) {
      EXPECT_EQ(target.calls[i].start, i == 0 ? 4 : kAll);
      const bool isLast = i + 1 == target.calls.size();
      EXPECT_EQ(target.calls[i].count, isLast ? length % 128 : 128);
    }
    EXPECT_EQ(target.calls.size(), length / 128 + 1);
  }
}

TEST(FromUtf8, AgreesWithItsRulesOnRandomBytes) {
  SeededRandom random(2108);
  for (int round = 0; round < 5000; ++round) {
    Bytes bytes;
    for (uint32_t i = random.below(300); i > 0; --i) {
      if (random.oneIn(100)) {
        bytes.push_back(static_cast<uint8_t>(random.word()));
      } else {
        const Bytes piece = encode(1 + ((random.word() & 0x7FFFFFFE) >> random.below(31)));
        bytes.insert(bytes.end(), piece.begin(), piece.end());
      }
    }
    std::u16string expected;
    for (size_t at = 0; at < bytes.size();) {
      const Decoded next = modelDecode({bytes.begin() + static_cast<ptrdiff_t>(at), bytes.end()});
      if (next.codePoint == 0) break;
      expected += static_cast<char16_t>(std::min(next.codePoint, 0xFFFFu));
      at += next.used;
    }
    ASSERT_EQ(fromUtf8(bytes), expected);
  }
}

TEST(FromNarrow, TakesCharactersBelow128AsTheyAre) {
  RecordingString target(u"old");
  VTextCodec::GFromNarrow("a\x7F\x80\xFFz", kAll, target, 1);
  EXPECT_EQ(target.content, u"oa\u007F??z");
  VTextCodec::GFromNarrow("abc", 2, target, 0);
  EXPECT_EQ(target.content, u"ab");
  VTextCodec::GFromNarrow("a\0b", 3, target, 0);
  EXPECT_EQ(target.content, u"a");
  VTextCodec::GFromNarrow(nullptr, 0, target, 0);
  EXPECT_EQ(target.content, u"");
}

TEST(FromNarrow, WritesInPiecesOf128Units) {
  RecordingString target(u"old");
  VTextCodec::GFromNarrow(std::string(300, 'x').c_str(), kAll, target, kAll);
  EXPECT_EQ(target.content, u"old" + std::u16string(300, u'x'));
  ASSERT_EQ(target.calls.size(), 3u);
  EXPECT_EQ(target.calls[0].count, 128u);
  EXPECT_EQ(target.calls[2].count, 44u);
}
