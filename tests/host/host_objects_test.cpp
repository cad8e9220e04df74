// The objects that the reference host hands to the plug-in.
#include "host/host_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>

#include "host/failure.h"
#include "host/media_info.h"
#include "host/packets.h"
#include "host/splitter_file.h"
#include "tests/programs/media.h"

namespace {

using vela::TIOResult;
using velahost::FileStream;
using velahost::Reference;

/// A file with the given text, opened as a stream.
class FileStreamTest : public testing::Test {
 protected:
  FileStreamTest() {
    std::ofstream(file_, std::ios::binary) << "0123456789";
    stream_ = Reference<FileStream>(FileStream::open(file_, &calls_, error_));
  }

  TIOResult seek(uint64_t position) {
    const vela::Word64 words = vela::toWord64(position);
    return stream_->seek(words.low, words.high, nullptr);
  }

  std::string read(uint32_t count) {
    char buffer[64];
    uint32_t done = 0;
    EXPECT_EQ(stream_->read(buffer, count, &done, nullptr), TIOResult::success);
    return {buffer, done};
  }

  uint64_t position() {
    uint64_t at = 0;
    EXPECT_EQ(stream_->getPosition(&at, nullptr), TIOResult::success);
    return at;
  }

  media::ScratchFolder scratch_;
  std::filesystem::path file_ = scratch_ / "file";
  velahost::StreamCalls calls_;
  std::error_code error_;
  Reference<FileStream> stream_;
};

TEST_F(FileStreamTest, ReadsSkipsAndSeeksWithinTheFile) {
  uint64_t length = 0;
  EXPECT_EQ(stream_->getLength(&length, nullptr), TIOResult::success);
  EXPECT_EQ(length, 10u);
  EXPECT_TRUE(stream_->canSeek());
  EXPECT_EQ(read(4), "0123");
  uint32_t skipped = 0;
  EXPECT_EQ(stream_->skip(3, &skipped, nullptr), TIOResult::success);
  EXPECT_EQ(skipped, 3u);
  EXPECT_EQ(position(), 7u);
  EXPECT_EQ(read(10), "789") << "a short read marks the end";
  EXPECT_EQ(seek(1), TIOResult::success);
  EXPECT_EQ(read(1), "1");
  EXPECT_EQ(calls_.reads, 3u);
  EXPECT_EQ(calls_.seeks, 1u);
  EXPECT_EQ(calls_.skips, 1u);
  EXPECT_EQ(calls_.bytesRead, 8u);
}

TEST_F(FileStreamTest, GoesToItsEndAndNoFurther) {
  EXPECT_EQ(seek(10), TIOResult::success);
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(seek(11), TIOResult::outOfRange);
  EXPECT_EQ(seek(uint64_t{1} << 32), TIOResult::outOfRange) << "the high word counts";
  EXPECT_EQ(position(), 10u);
  uint32_t skipped = 7;
  EXPECT_EQ(stream_->skip(5, &skipped, nullptr), TIOResult::success);
  EXPECT_EQ(skipped, 0u);
}

TEST_F(FileStreamTest, RefusesToWrite) {
  uint32_t done = 7;
  EXPECT_EQ(stream_->write("x", 1, &done, nullptr), TIOResult::failed);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(stream_->setLength(0, 0, nullptr), TIOResult::failed);
}

TEST_F(FileStreamTest, TellsPositionsBeyondFourGigabytes) {
  const uint64_t far = (uint64_t{5} << 32) + 3;
  std::error_code error;
  std::filesystem::resize_file(file_, far + 2, error);
  if (error) GTEST_SKIP() << "skipped: the file system has no files with holes";
  std::ofstream(file_, std::ios::in | std::ios::binary).seekp(static_cast<std::streamoff>(far))
      << "ab";
  stream_ = Reference<FileStream>(FileStream::open(file_, nullptr, error_));
  EXPECT_EQ(seek(far), TIOResult::success);
  EXPECT_EQ(position(), far);
  EXPECT_EQ(read(5), "ab");
}

TEST_F(FileStreamTest, LaysItsThreeFacesOnePointerApart) {
  const auto place = [](auto* face) { return reinterpret_cast<uintptr_t>(face); };
  vela::HostStreamControl* const control = stream_.get();
  vela::HostStreamReader* const reader = stream_.get();
  vela::HostStreamWriter* const writer = stream_.get();
  EXPECT_EQ(place(reader), place(control) + sizeof(void*));
  EXPECT_EQ(place(writer), place(control) + 2 * sizeof(void*));
}

TEST_F(FileStreamTest, GivesAPacketItsPlaceInTheFile) {
  EXPECT_EQ(seek(4), TIOResult::success);
  velahost::Payload payload;
  EXPECT_EQ(payload.read(stream_.get(), 3, nullptr), TIOResult::success);
  EXPECT_EQ(payload.fileOffset, 4u);
  EXPECT_THAT(payload.bytes, testing::ElementsAre('4', '5', '6'));
}

TEST_F(FileStreamTest, FailsAPayloadThatRunsOverTheEndWithoutTakingItsSizeOnTrust) {
  velahost::Payload payload;
  EXPECT_EQ(payload.read(stream_.get(), 0xffffffff, nullptr), TIOResult::failed);
  EXPECT_LT(payload.bytes.capacity(), 1u << 20);
}

#ifndef _WIN32  // where a pipe has no path
TEST(FileStream, CantSeekInAPipeButSkips) {
  std::FILE* const pipe = popen("printf 0123456789", "r");
  const std::string name = "/dev/fd/" + std::to_string(fileno(pipe));
  std::error_code error;
  Reference<FileStream> stream(FileStream::open(name, nullptr, error));
  ASSERT_TRUE(stream);
  EXPECT_FALSE(stream->canSeek());
  uint64_t length = 0;
  EXPECT_EQ(stream->getLength(&length, nullptr), TIOResult::success);
  EXPECT_EQ(length, vela::kUnknown64);
  uint32_t done = 0;
  EXPECT_EQ(stream->skip(6, &done, nullptr), TIOResult::success);
  EXPECT_EQ(done, 6u);
  char rest[8];
  EXPECT_EQ(stream->read(rest, 8, &done, nullptr), TIOResult::success);
  EXPECT_EQ(std::string(rest, done), "6789");
  pclose(pipe);
}
#endif

TEST(FileContext, ResolvesNamesThatAFileBears) {
  velahost::FileContext context;
  const media::ScratchFolder scratch;
  const auto file = scratch / "Größe 𝄞.mp4";
  Reference<vela::SourceProvider> provider;
  EXPECT_EQ(context.resolveSource(file.u16string().c_str(), provider.outSlot()), 0u);
  EXPECT_FALSE(provider);
  std::ofstream(file) << "x";
  EXPECT_NE(context.resolveSource(file.u16string().c_str(), provider.outSlot()), 0u);
  ASSERT_TRUE(provider);
  Reference<vela::HostStreamControl> stream;
  EXPECT_EQ(provider->open(file.u16string().c_str(), 0, nullptr, stream.outSlot()),
            TIOResult::success);
  ASSERT_TRUE(stream);
  EXPECT_TRUE(stream->canSeek());
}

TEST(FileContext, ResolvesNoNameThatCantBeConverted) {
  velahost::FileContext context;
  Reference<vela::SourceProvider> provider;
  EXPECT_EQ(context.resolveSource(u"\xd800", provider.outSlot()), 0u);
}

TEST(Cancelling, EndsWhateverRunsWithTwo) {
  velahost::Session session(media::pluginFile());
  session.token.cancel();
  try {
    session.openForPlaying(media::dataFolder() / "sample.mp4");
    ADD_FAILURE() << "the creation was not cancelled";
  } catch (const velahost::Failure& failure) {
    EXPECT_EQ(failure.status(), 2);
  }
}

TEST(MediaInfoRecord, InsertsTagsWhereItIsTold) {
  velahost::MediaInfoRecord record;
  const auto add = [&record](uint32_t position, const char16_t* key, const char16_t* value) {
    const uint32_t length = vela::kUntilNul;
    record.addTags(position, 1, &key, &length, &value, &length);
  };
  add(0xffffffff, u"a", u"1");
  add(0xffffffff, u"b", u"2");
  add(0, u"c", u"3");
  std::u16string names;
  for (const velahost::Tag& tag : record.tags) names += tag.name;
  EXPECT_EQ(names, u"cab");
}

}  // namespace
