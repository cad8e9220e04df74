#include "hal/streams/byte_stream.h"

#include <gtest/gtest.h>

#include "frontend/vela_splitter.h"
#include "tests/support/hal_streams.h"
#include "tests/support/raw_table.h"

using boxes::Bytes;
using boxes::raw;

namespace {
int g_token = 0;
void* const kContext = &g_token;
}  // namespace

TEST(ResultCodes, AreTheHostsOwn) {
  EXPECT_EQ(VResult::KSuccess, VelaBase::TIOResult::success);
  EXPECT_EQ(VResult::KOutOfRange, VelaBase::TIOResult::outOfRange);
  EXPECT_EQ(VResult::KFailed, VelaBase::TIOResult::failed);
}

TEST(ExactRead, DeliversAllBytesAndPassesTheContextOn) {
  ScriptedReader reader(raw({1, 2, 3, 4}));
  uint8_t bytes[3] = {};
  EXPECT_EQ(VExactTransfer::GRead(reader, bytes, 3, kContext), VResult::KSuccess);
  EXPECT_EQ(bytes[2], 3);
  EXPECT_EQ(reader.reads, 1u);
  EXPECT_EQ(reader.script.contexts, std::vector<void*>{kContext});
}

TEST(ExactRead, GivesFiveForThreeOfFourBytes) {
  ScriptedReader reader(raw({1, 2, 3}));
  uint8_t bytes[4] = {};
  EXPECT_EQ(VExactTransfer::GRead(reader, bytes, 4, kContext), VResult::KFailed);
  EXPECT_EQ(static_cast<uint32_t>(VResult::KFailed), 5u);
  EXPECT_EQ(reader.reads, 1u) << "a short read is not repeated";
}

TEST(ExactRead, GivesTheReadersCodeEvenWhenShort) {
  ScriptedReader reader(raw({1, 2, 3}), {.failAtCall = 0});
  uint8_t bytes[4] = {};
  EXPECT_EQ(VExactTransfer::GRead(reader, bytes, 4, kContext), kHostCode);
}

TEST(ExactRead, OfNothingStillAsksTheReader) {
  ScriptedReader reader({});
  EXPECT_EQ(VExactTransfer::GRead(reader, nullptr, 0, kContext), VResult::KSuccess);
  EXPECT_EQ(reader.reads, 1u);
}

TEST(ExactSkip, GivesOneForAShortSkip) {
  ScriptedReader reader(raw({1, 2, 3}));
  EXPECT_EQ(VExactTransfer::GSkip(reader, 2, kContext), VResult::KSuccess);
  EXPECT_EQ(VExactTransfer::GSkip(reader, 2, kContext), VResult::KOutOfRange);
  EXPECT_EQ(static_cast<uint32_t>(VResult::KOutOfRange), 1u);
  EXPECT_EQ(reader.skips, 2u);
  EXPECT_EQ(reader.script.contexts, (std::vector<void*>{kContext, kContext}));
}

TEST(ExactSkip, GivesTheReadersCode) {
  ScriptedReader reader({}, {.failAtCall = 0});
  EXPECT_EQ(VExactTransfer::GSkip(reader, 2, kContext), kHostCode);
}

TEST(ExactWrite, GivesOneForAShortWrite) {
  ScriptedWriter writer({.sizes = {4, 3}});
  EXPECT_EQ(VExactTransfer::GWrite(writer, "abcd", 4, kContext), VResult::KSuccess);
  EXPECT_EQ(VExactTransfer::GWrite(writer, "abcd", 4, kContext), VResult::KOutOfRange);
  EXPECT_EQ(writer.bytes, boxes::text("abcdabc"));
  EXPECT_EQ(writer.script.contexts, (std::vector<void*>{kContext, kContext}));
}

TEST(ExactWrite, GivesTheWritersCode) {
  ScriptedWriter writer({.failAtCall = 0});
  EXPECT_EQ(VExactTransfer::GWrite(writer, "abcd", 4, kContext), kHostCode);
}

TEST(BigEndian, ReadsFourBytes) {
  ScriptedReader reader(raw({0x12, 0x34, 0x56, 0xF8}));
  uint32_t value = 0;
  EXPECT_EQ(VExactTransfer::GReadU32(reader, &value, kContext), VResult::KSuccess);
  EXPECT_EQ(value, 0x123456F8u);
  EXPECT_EQ(reader.script.contexts, std::vector<void*>{kContext});
}

TEST(BigEndian, LeavesTheValueAloneWhenTheReadFails) {
  uint32_t value = 99;
  ScriptedReader shortReader(raw({1, 2, 3}));
  EXPECT_EQ(VExactTransfer::GReadU32(shortReader, &value, kContext), VResult::KFailed);
  ScriptedReader failing(raw({1, 2, 3, 4}), {.failAtCall = 0});
  EXPECT_EQ(VExactTransfer::GReadU32(failing, &value, kContext), kHostCode);
  EXPECT_EQ(value, 99u);
}

TEST(BigEndian, WritesFourBytes) {
  ScriptedWriter writer;
  EXPECT_EQ(VExactTransfer::GWriteU32(writer, 0x123456F8, kContext), VResult::KSuccess);
  EXPECT_EQ(writer.bytes, raw({0x12, 0x34, 0x56, 0xF8}));
  EXPECT_EQ(writer.script.counts, std::vector<uint32_t>{4});
  ScriptedWriter full({.sizes = {3}});
  EXPECT_EQ(VExactTransfer::GWriteU32(full, 1, kContext), VResult::KOutOfRange);
}

TEST(ByteOrder, SwapsTheBytesOfALittleEndianSystem) {
  EXPECT_TRUE(VByteOrder::GIsLittleEndian());
  EXPECT_EQ(VByteOrder::GSwap(0xB0B1B2B3), 0xB3B2B1B0u);
  EXPECT_EQ(VByteOrder::GSwap(0x000000FF), 0xFF000000u);
  EXPECT_EQ(VByteOrder::GBigEndian(0x01020304), 0x04030201u);
}

TEST(ByteReader, HasTheSlotsReadAndSkip) {
  ScriptedReader reader(raw({7, 8, 9}));
  uint8_t byte = 0;
  uint32_t done = 0;
  EXPECT_EQ((raw_table::call<VelaBase::TIOResult>(&reader, 0, static_cast<void*>(&byte),
                                                  uint32_t{1}, &done, kContext)),
            VResult::KSuccess);
  EXPECT_EQ(byte, 7);
  EXPECT_EQ(reader.reads, 1u);
  raw_table::call<VelaBase::TIOResult>(&reader, 1, uint32_t{2}, &done, kContext);
  EXPECT_EQ(reader.skips, 1u);
  EXPECT_EQ(done, 2u);
}

TEST(ByteWriter, HasTheSlotWrite) {
  ScriptedWriter writer;
  uint32_t done = 0;
  raw_table::call<VelaBase::TIOResult>(&writer, 0, static_cast<const void*>("xy"), uint32_t{2},
                                       &done, kContext);
  EXPECT_EQ(writer.bytes, boxes::text("xy"));
  EXPECT_EQ(done, 2u);
}

namespace {

class HostFace final : public vela::HostStreamReader {
 public:
  vela::TIOResult read(void*, uint32_t count, uint32_t* done, vela::CancelToken* token) override {
    lastToken = token;
    *done = count;
    return vela::TIOResult::success;
  }
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken*) override {
    *done = count - 1;
    return vela::TIOResult::success;
  }
  vela::CancelToken* lastToken = nullptr;
};

}  // namespace

TEST(ByteReader, HasTheTableOfAHostStreamsReaderFace) {
  HostFace face;
  void* object = &face;
  uint8_t bytes[4];
  uint32_t done = 0;
  raw_table::call<VelaBase::TIOResult>(object, 0, static_cast<void*>(bytes), uint32_t{4}, &done,
                                       kContext);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(static_cast<void*>(face.lastToken), kContext);
  raw_table::call<VelaBase::TIOResult>(object, 1, uint32_t{4}, &done, kContext);
  EXPECT_EQ(done, 3u);
}
