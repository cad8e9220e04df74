#include "hal/text/text_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "hal/streams/memory_stream.h"
#include "hal/text/vstring.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/hal_streams.h"
#include "tests/support/seeded_random.h"

namespace {

using boxes::Bytes;
using boxes::join;
using boxes::raw;
using boxes::u32;
constexpr uint32_t kUntilNul = 0xFFFFFFFF;

int g_token = 0;
void* const kContext = &g_token;

Bytes counted(const Bytes& text) { return join(u32(static_cast<uint32_t>(text.size())), text); }

Bytes written(const std::u16string& text) {
  ScriptedWriter writer;
  EXPECT_EQ(VTextStream::GWriteUtf8(writer, text.c_str(), kUntilNul, kContext), VResult::KSuccess);
  return writer.bytes;
}

struct ReadBack {
  VelaBase::TIOResult result;
  std::u16string text;
};
ReadBack readBack(const Bytes& bytes) {
  ScriptedReader reader(bytes);
  RecordingString target(u"old");
  const VelaBase::TIOResult result = VTextStream::GReadUtf8(reader, target, kContext);
  return {result, target.content};
}

// Text of `length` units of every encoded length, without NULs.
std::u16string randomText(SeededRandom& random, uint32_t length) {
  std::u16string text(length, 0);
  for (char16_t& unit : text) {
    unit = static_cast<char16_t>(1 + random.word() % (0xFFFF >> random.below(16)));
  }
  return text;
}

}  // namespace

TEST(WriteText, PutsTheByteCountFirst) {
  EXPECT_EQ(written(u"a€"), raw({0, 0, 0, 4, 'a', 0xE2, 0x82, 0xAC}));
}

TEST(WriteText, OfNothingIsTheCountOnly) {
  ScriptedWriter writer;
  EXPECT_EQ(VTextStream::GWriteUtf8(writer, u"", kUntilNul, kContext), VResult::KSuccess);
  EXPECT_EQ(writer.bytes, raw({0, 0, 0, 0}));
  EXPECT_EQ(writer.script.counts, std::vector<uint32_t>{4});
  EXPECT_EQ(readBack(writer.bytes).result, VResult::KSuccess);
  EXPECT_EQ(readBack(writer.bytes).text, u"") << "the old text is gone";
}

TEST(WriteText, IsBounded) {
  ScriptedWriter writer;
  VTextStream::GWriteUtf8(writer, u"abcdef", 2, kContext);
  EXPECT_EQ(writer.bytes, counted(boxes::text("ab")));
}

TEST(WriteText, EncodesSurrogateHalvesOneByOne) {
  EXPECT_EQ(written(u"\U0001F600"), counted(raw({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80})));
}

TEST(WriteText, WritesTheStageWhenNoLongestSequenceFits) {
  ScriptedWriter writer;
  const std::u16string text(300, u'x');
  VTextStream::GWriteUtf8(writer, text.c_str(), kUntilNul, kContext);
  EXPECT_EQ(writer.script.counts, (std::vector<uint32_t>{4, 123, 123, 54}));
  EXPECT_EQ(writer.script.contexts, std::vector<void*>(4, kContext));
  EXPECT_EQ(writer.bytes, counted(Bytes(300, 'x')));
}

TEST(WriteText, WritesNoEmptyPieceAtTheEnd) {
  ScriptedWriter writer;
  const std::u16string text(123, u'x');
  VTextStream::GWriteUtf8(writer, text.c_str(), kUntilNul, kContext);
  EXPECT_EQ(writer.script.counts, (std::vector<uint32_t>{4, 123}));
}

TEST(WriteText, ReturnsTheFirstFailure) {
  const std::u16string text(300, u'x');
  for (uint32_t call = 0; call < 4; ++call) {
    ScriptedWriter failing({.failAtCall = call});
    EXPECT_EQ(VTextStream::GWriteUtf8(failing, text.c_str(), kUntilNul, kContext), kHostCode);
    EXPECT_EQ(failing.script.counts.size(), call + 1) << "nothing is written after a failure";
    StreamScript script;
    script.sizes.assign(call, kWhole);
    script.sizes.push_back(2);
    ScriptedWriter full(script);
    EXPECT_EQ(VTextStream::GWriteUtf8(full, text.c_str(), kUntilNul, kContext),
              VResult::KOutOfRange);
    EXPECT_EQ(full.script.counts.size(), call + 1);
  }
}

TEST(ReadText, ReplacesTheOldText) {
  const ReadBack back = readBack(counted(boxes::text("h\xC3\xA9llo w\xE2\x82\xACrld")));
  EXPECT_EQ(back.result, VResult::KSuccess);
  EXPECT_EQ(back.text, u"héllo w€rld");
}

TEST(ReadText, PassesTheContextOn) {
  ScriptedReader reader(counted(Bytes(300, 'x')));
  RecordingString target;
  EXPECT_EQ(VTextStream::GReadUtf8(reader, target, kContext), VResult::KSuccess);
  EXPECT_EQ(reader.script.counts, (std::vector<uint32_t>{4, 128, 123, 49}));
  EXPECT_EQ(reader.script.contexts, std::vector<void*>(4, kContext));
  EXPECT_EQ(target.content, std::u16string(300, u'x'));
}

TEST(ReadText, LeavesWhatFollowsInTheStream) {
  ScriptedReader reader(join(counted(boxes::text("abc")), boxes::text("rest")));
  RecordingString target;
  EXPECT_EQ(VTextStream::GReadUtf8(reader, target, kContext), VResult::KSuccess);
  EXPECT_EQ(reader.position, 7u);
}

TEST(ReadText, EmptiesTheTargetWhenTheCountFails) {
  EXPECT_EQ(readBack(raw({0, 0, 0})).result, VResult::KFailed);
  EXPECT_EQ(readBack(raw({0, 0, 0})).text, u"");
  ScriptedReader failing({}, {.failAtCall = 0});
  RecordingString target(u"old");
  EXPECT_EQ(VTextStream::GReadUtf8(failing, target, kContext), kHostCode);
  EXPECT_EQ(target.calls, (std::vector<RecordingString::Call>{{u"", 0, 0}}));
}

TEST(ReadText, EmptiesTheTargetWhenTheTextIsCut) {
  const Bytes whole = counted(Bytes(300, 'x'));
  for (size_t length = 0; length < whole.size(); ++length) {
    const ReadBack back = readBack({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)});
    ASSERT_EQ(back.result, VResult::KFailed) << length;
    ASSERT_EQ(back.text, u"");
  }
}

TEST(ReadText, EmptiesTheTargetWhenAReadFails) {
  for (uint32_t call = 0; call < 4; ++call) {
    ScriptedReader failing(counted(Bytes(300, 'x')), {.failAtCall = call});
    RecordingString target(u"old");
    EXPECT_EQ(VTextStream::GReadUtf8(failing, target, kContext), kHostCode);
    EXPECT_EQ(target.content, u"");
  }
}

TEST(ReadText, TakesNoShortRead) {
  for (uint32_t size = 0; size < 128; size += 3) {
    for (uint32_t call = 1; call < 4; ++call) {
      StreamScript script;
      script.sizes.assign(call, kWhole);
      script.sizes.push_back(std::min(size, call == 3 ? 48u : size));
      ScriptedReader reader(counted(Bytes(300, 'x')), script);
      RecordingString target(u"old");
      ASSERT_EQ(VTextStream::GReadUtf8(reader, target, kContext),
                call == 2 && size >= 123 ? VResult::KSuccess : VResult::KFailed);
      if (call == 2 && size >= 123) continue;
      ASSERT_EQ(target.content, u"");
    }
  }
}

TEST(ReadText, FailsWithOneAtASequenceThatCantBeOne) {
  const std::vector<Bytes> broken = {raw({0xC0, 0x80}), raw({0xC1, 0x80}), raw({0xE2, 0x82, 0x00})};
  for (const Bytes& sequence : broken) {
    const ReadBack back =
        readBack(counted(join(boxes::text("ab"), sequence, boxes::text("cdefg"))));
    EXPECT_EQ(back.result, VResult::KOutOfRange);
    EXPECT_EQ(back.text, u"");
  }
}

TEST(ReadText, LooksAtSequencesFarIntoTheText) {
  const Bytes good(1000, 'x');
  const ReadBack back = readBack(counted(join(good, raw({0xC0, 0x80}), boxes::text("012345"))));
  EXPECT_EQ(back.result, VResult::KOutOfRange);
  EXPECT_EQ(back.text, u"") << "what was read before is gone as well";
}

TEST(Deliberate, D105_TheLastFiveBytesAreNotChecked) {
  const Bytes nul = raw({0});
  for (size_t following = 0; following < 12; ++following) {
    const ReadBack back = readBack(counted(join(boxes::text("abc"), nul, Bytes(following, 'x'))));
    const bool isChecked = 1 + following >= 6;
    EXPECT_EQ(back.result, isChecked ? VResult::KOutOfRange : VResult::KSuccess) << following;
    EXPECT_EQ(back.text, isChecked ? u"" : u"abc") << following;
  }
  EXPECT_EQ(readBack(counted(raw({'a', 'b', 0xC0, 0x80, 'c'}))).text, u"ab");
  EXPECT_EQ(readBack(counted(raw({'a', 'b', 0xE2, 0x82}))).text, u"ab") << "cut at the end";
}

TEST(ReadText, TakesAByteThatLeadsNothingOnlyWithSixAfterIt) {
  const ReadBack cut = readBack(counted(join(raw({0x80}), Bytes(5, 0x81))));
  EXPECT_EQ(cut.result, VResult::KOutOfRange);
  EXPECT_EQ(cut.text, u"");
  const ReadBack whole = readBack(counted(join(raw({0x80}), Bytes(6, 0x81))));
  EXPECT_EQ(whole.result, VResult::KSuccess);
  EXPECT_EQ(whole.text, u"\uFFFF");
}

TEST(ReadText, SetsTheTargetOncePerPieceAndOnceForTheEnd) {
  using Calls = std::vector<RecordingString::Call>;
  constexpr uint32_t append = VString::KAll;
  const auto calls = [](const Bytes& text) {
    ScriptedReader reader(counted(text));
    RecordingString target(u"old");
    EXPECT_EQ(VTextStream::GReadUtf8(reader, target, kContext), VResult::KSuccess);
    return target.calls;
  };
  const auto units = [](uint32_t count, uint32_t start) {
    return RecordingString::Call{std::u16string(count, u'x'), count, start};
  };
  EXPECT_EQ(calls({}), (Calls{{u"", 0, 0}}));
  EXPECT_EQ(calls(boxes::text("abc")), (Calls{{u"", 0, 0}, {u"abc", 3, append}}))
      << "nothing of the first piece is checked";
  EXPECT_EQ(calls(boxes::text("abcdefgh")), (Calls{{u"abc", 3, 0}, {u"defgh", 5, append}}));
  EXPECT_EQ(calls(Bytes(128, 'x')), (Calls{units(123, 0), units(5, append)}));
  EXPECT_EQ(calls(Bytes(300, 'x')),
            (Calls{units(123, 0), units(123, append), units(49, append), units(5, append)}));
}

TEST(ReadText, CountsTheNulsFromTheStartOfItsSequence) {
  for (size_t following = 0; following < 12; ++following) {
    const Bytes sequence = raw({0xE2, 0x82, 0});
    const ReadBack back =
        readBack(counted(join(boxes::text("abc"), sequence, Bytes(following, 'x'))));
    EXPECT_EQ(back.result, 3 + following >= 6 ? VResult::KOutOfRange : VResult::KSuccess)
        << following;
  }
}

TEST(Deliberate, D105_ABadContinuationLosesTheRestOfItsBatch) {
  // Of the first 128 bytes 123 are checked and handed on; the decoder stops after "ab".
  const Bytes text = join(boxes::text("ab"), raw({0xC3, 'x'}), Bytes(200, 'y'));
  const ReadBack back = readBack(counted(text));
  EXPECT_EQ(back.result, VResult::KSuccess);
  EXPECT_EQ(back.text, u"ab" + std::u16string(204 - 123, u'y'));
}

TEST(TextStream, TextsInARowFollowEachOther) {
  ScriptedWriter writer;
  EXPECT_EQ(VTextStream::GWriteUtf8(writer, u"first", VString::KAll, kContext), VResult::KSuccess);
  EXPECT_EQ(VTextStream::GWriteUtf8(writer, u"second", VString::KAll, kContext), VResult::KSuccess);
  ScriptedReader reader(writer.bytes);
  for (const char16_t* const expected : {u"first", u"second"}) {
    RecordingString target;
    EXPECT_EQ(VTextStream::GReadUtf8(reader, target, kContext), VResult::KSuccess);
    EXPECT_EQ(target.content, expected);
  }
  EXPECT_EQ(reader.position, writer.bytes.size());
}

TEST(TextStream, RoundTripsEveryLengthOfText) {
  SeededRandom random(2109);
  for (uint32_t length = 0; length < 400; ++length) {
    const std::u16string text = randomText(random, length);
    const ReadBack back = readBack(written(text));
    ASSERT_EQ(back.result, VResult::KSuccess);
    ASSERT_EQ(back.text, text);
  }
}

TEST(TextStream, RoundTripsEveryUnit) {
  std::u16string text;
  for (uint32_t unit = 1; unit < 0x10000; ++unit) text += static_cast<char16_t>(unit);
  EXPECT_EQ(readBack(written(text)).text, text);
}

TEST(TextStream, RoundTripsThroughMemoryWithAnyStage) {
  SeededRandom random(2110);
  for (uint32_t stageBytes = 7; stageBytes <= 140; ++stageBytes) {
    const std::u16string text = randomText(random, random.below(200));
    Bytes block(4 + 3 * text.size());
    Bytes stage(stageBytes);
    VMemoryWriter writer(block.data(), static_cast<uint32_t>(block.size()));
    ASSERT_EQ(VTextStream::GWriteUtf8Staged(stage.data(), stageBytes, writer, text.c_str(),
                                            kUntilNul, nullptr),
              VResult::KSuccess);
    VMemoryReader reader(block.data(), writer.GetPosition());
    VBufferString target;
    ASSERT_EQ(VTextStream::GReadUtf8Staged(stage.data(), stageBytes, reader, target, nullptr),
              VResult::KSuccess);
    ASSERT_EQ(unitsOf(target), text);
  }
}

namespace {

// A model of reading, on a plain vector: pieces of at most 128 bytes; what is not checked stays for
// the next one.
ReadBack modelRead(const Bytes& text) {
  std::u16string content;
  Bytes piece;
  size_t at = 0;
  const auto convert = [&content](const Bytes& bytes) {
    RecordingString converted;
    VTextCodec::GFromUtf8(bytes.data(), static_cast<uint32_t>(bytes.size()), converted, 0);
    content += converted.content;
  };
  while (at < text.size()) {
    while (piece.size() < 128 && at < text.size()) piece.push_back(text[at++]);
    size_t checked = 0;
    while (piece.size() - checked >= 6) {
      const uint32_t length = VTextCodec::GSequenceLength(
          piece.data() + checked, static_cast<uint32_t>(piece.size() - checked));
      if (length == 0) return {VResult::KOutOfRange, u""};
      checked += length;
    }
    const auto end = piece.begin() + static_cast<ptrdiff_t>(checked);
    convert({piece.begin(), end});
    piece.erase(piece.begin(), end);
  }
  convert(piece);
  return {VResult::KSuccess, content};
}

}  // namespace

TEST(ReadText, AgreesWithItsRuleOnRandomBytes) {
  SeededRandom random(2111);
  int failures = 0;
  for (int round = 0; round < 4000; ++round) {
    Bytes bytes = written(randomText(random, random.below(200)));
    bytes.erase(bytes.begin(), bytes.begin() + 4);
    for (uint32_t i = random.below(4); i > 0 && !bytes.empty(); --i) {
      bytes[random.below(static_cast<uint32_t>(bytes.size()))] =
          static_cast<uint8_t>(random.word());
    }
    const ReadBack expected = modelRead(bytes);
    const ReadBack back = readBack(counted(bytes));
    ASSERT_EQ(back.result, expected.result);
    ASSERT_EQ(back.text, expected.text);
    failures += back.result != VResult::KSuccess;
  }
  EXPECT_GT(failures, 20);
}

TEST(ReadText, GivesNoMoreThanItsMemoryTakes) {
  const Bytes bytes = counted(Bytes(1000, 'x'));
  for (uint64_t failAt = 0; failAt < 12; ++failAt) {
    FailingHalAllocation allocation(failAt);
    {
      ScriptedReader reader(bytes);
      VBufferString target;
      EXPECT_EQ(VTextStream::GReadUtf8(reader, target, kContext), VResult::KSuccess);
      EXPECT_LE(target.GetLength(), 1000u);
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u);
  }
}

namespace {

std::vector<std::u16string> stageReport(int line) {
  return {AssertionCapture::report("stdhelpers", line,
                                   "(sizeof(temp)/sizeof(*temp)) > KUTF8MaxLength")};
}

}  // namespace

TEST(WriteText, ReportsAStageThatIsNoLargerThanTheLongestSequence) {
  AssertionCapture capture;
  uint8_t stage[6];
  ScriptedWriter writer;
  EXPECT_EQ(VTextStream::GWriteUtf8Staged(stage, 6, writer, u"a€c", kUntilNul, nullptr),
            VResult::KSuccess);
  EXPECT_EQ(writer.bytes, counted(boxes::text("a\xE2\x82\xAC"
                                              "c")))
      << "it carries on";
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.take(), stageReport(493));
  VTextStream::GWriteUtf8(writer, u"abc", kUntilNul, nullptr);
  EXPECT_TRUE(capture.reports().empty());
}

TEST(ReadText, ReportsAStageThatIsNoLargerThanTheLongestSequence) {
  AssertionCapture capture;
  uint8_t stage[6];
  const std::u16string text = u"abc€def€ghi";
  ScriptedReader reader(written(text));
  RecordingString target;
  EXPECT_EQ(VTextStream::GReadUtf8Staged(stage, 6, reader, target, nullptr), VResult::KSuccess);
  EXPECT_EQ(target.content, text) << "it carries on";
  EXPECT_EQ(capture.take(), stageReport(526));
  EXPECT_EQ(stageReport(526)[0],
            u"\r\n*** ASSERTION FAILED in stdhelpers(526):\r\n"
            u"(sizeof(temp)/sizeof(*temp)) > KUTF8MaxLength\r\n");
}

TEST(Deliberate, D160_AWriteWithAStageThatCantHoldEverySequenceFails) {
  AssertionCapture capture;
  for (uint32_t stageBytes = 0; stageBytes < VTextCodec::KUTF8MaxLength; ++stageBytes) {
    // Of exactly these bytes, so that the sanitizer sees a write past them.
    Bytes stage(stageBytes);
    ScriptedWriter writer;
    EXPECT_EQ(VTextStream::GWriteUtf8Staged(stage.data(), stageBytes, writer, u"a€c€", kUntilNul,
                                            nullptr),
              VResult::KFailed);
    EXPECT_TRUE(writer.script.counts.empty()) << "not even the count is written";
    EXPECT_EQ(capture.take(), stageReport(493));
  }
}

TEST(Deliberate, D160_AReadWithAStageThatCantHoldEverySequenceFails) {
  AssertionCapture capture;
  for (uint32_t stageBytes = 0; stageBytes < VTextCodec::KUTF8MaxLength; ++stageBytes) {
    Bytes stage(stageBytes);
    ScriptedReader reader(written(u"abc€def€ghi"));
    RecordingString target(u"old");
    EXPECT_EQ(VTextStream::GReadUtf8Staged(stage.data(), stageBytes, reader, target, nullptr),
              VResult::KFailed);
    EXPECT_EQ(target.calls, (std::vector<RecordingString::Call>{{u"", 0, 0}}));
    EXPECT_TRUE(reader.script.counts.empty());
    EXPECT_EQ(capture.take(), stageReport(526));
  }
}

TEST(Deliberate, D160_AStageIsConsumedOnlyAsFarAsItIsFilled) {
  AssertionCapture capture;
  uint8_t bytes[8];
  VTextStage stage(bytes, 8);
  ScriptedReader reader(boxes::text("abcdef"));
  ASSERT_EQ(stage.Fill(reader, 4, nullptr), VResult::KSuccess);
  stage.Consume(4);
  EXPECT_TRUE(capture.reports().empty());
  stage.Consume(1);
  EXPECT_EQ(stage.GetCount(), 0u);
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.take(), (std::vector<std::u16string>{AssertionCapture::report(
                                "stdhelpers", 560, "temp_ptr<=temp_size")}));
}

TEST(TextStage, MovesWhatIsLeftToTheFront) {
  uint8_t bytes[4];
  VTextStage stage(bytes, 4);
  ScriptedReader reader(boxes::text("abcdef"));
  ASSERT_EQ(stage.Fill(reader, 4, nullptr), VResult::KSuccess);
  stage.Consume(1);
  EXPECT_EQ(stage.GetRoom(), 1u);
  ASSERT_EQ(stage.Fill(reader, 1, nullptr), VResult::KSuccess);
  EXPECT_EQ(std::string(stage.GetBytes(), stage.GetBytes() + stage.GetCount()), "bcde");
  stage.Consume(3);
  EXPECT_EQ(stage.Fill(reader, 2, nullptr), VResult::KFailed);
  EXPECT_EQ(std::string(stage.GetBytes(), stage.GetBytes() + stage.GetCount()), "e")
      << "a fill adds all bytes or none";
}
