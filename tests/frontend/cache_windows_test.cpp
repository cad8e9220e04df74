// The windows of the read cache: a parse that uses them makes the same calls of the host, and
// leaves the cache as if each value had been read by itself.
#include "frontend/cache_windows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/streams/value_readers.h"
#include "hal/memory/memory.h"
#include "tests/frontend/cache_image.h"
#include "tests/frontend/opening.h"
#include "tests/support/fake_stream.h"
#include "tests/support/rich_files.h"
#include "tests/support/seeded_random.h"

using boxes::Bytes;
using vela::TIOResult;

namespace {

Bytes pattern(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i % 251 + i / 16384);
  return bytes;
}

/// The read cache and the source over it in the plainest form, on a stream that can seek.
class PlainCache {
 public:
  struct Block {
    bool valid = false;
    uint64_t start = 0;
    uint64_t length = 0;
    uint64_t stamp = 0;
  };

  PlainCache(const Bytes& file, uint64_t claimedLength) : file_(file), length_(claimedLength) {}

  Bytes read(uint32_t count) {
    Bytes bytes;
    while (bytes.size() < count) {
      Block* block = find(position);
      if (!block) block = fill();
      if (!block) break;
      block->stamp = ++clock_;
      const uint64_t end = block->start + block->length;
      while (bytes.size() < count && position < end) bytes.push_back(file_[position++]);
    }
    return bytes;
  }

  void skip(uint64_t count) {
    if (count > 256) {
      calls.push_back("canSeek -> 1");
      if (askLength()) {
        position += std::min(count, length_ - position);
        return;
      }
    }
    if (count == 0 || find(position + count - 1)) {
      position += count;
    } else if (askLength()) {
      position += std::min(count, length_ - position);
    } else if (count <= 16384) {
      read(static_cast<uint32_t>(count));
    } else {
      moveHost(position);
      const uint64_t done = std::min(count, file_.size() - position);
      calls.push_back("skip " + std::to_string(count) + " -> " + std::to_string(done));
      position = hostPosition_ = position + done;
    }
  }

  std::array<Block, 4> blocks;
  uint64_t position = 0;
  Calls calls;

 private:
  bool askLength() {
    const bool known = length_ != vela::kUnknown64;
    calls.push_back("getLength -> " + (known ? std::to_string(length_) : "unknown"));
    return known;
  }
  void moveHost(uint64_t place) {
    if (hostPosition_ != place) calls.push_back("seek " + std::to_string(place));
    hostPosition_ = place;
  }
  Block* find(uint64_t place) {
    for (Block& block : blocks) {
      if (block.valid && block.start <= place && place < block.start + block.length) return &block;
    }
    return nullptr;
  }
  Block* fill() {
    Block* chosen = &blocks[0];
    for (Block& block : blocks) {
      if (!block.valid) {
        chosen = &block;
        break;
      }
      if (block.stamp < chosen->stamp) chosen = &block;
    }
    chosen->valid = true;
    chosen->start = position & ~uint64_t{0x2000};
    moveHost(chosen->start);
    const uint64_t left = file_.size() - std::min<uint64_t>(chosen->start, file_.size());
    chosen->length = std::min<uint64_t>(16384, left);
    hostPosition_ += chosen->length;
    calls.push_back("read 16384 -> " + std::to_string(chosen->length));
    return position < chosen->start + chosen->length ? chosen : nullptr;
  }

  Bytes file_;
  uint64_t length_;
  uint64_t hostPosition_ = vela::kUnknown64;
  uint64_t clock_ = 0;
};

/// The blocks in their order, with the rank of each among the times of use.
Calls blocksOf(const std::array<PlainCache::Block, 4>& blocks) {
  Calls lines;
  for (const PlainCache::Block& block : blocks) {
    const auto rank = std::count_if(blocks.begin(), blocks.end(),
                                    [&](const auto& other) { return other.stamp < block.stamp; });
    lines.push_back(block.valid ? std::to_string(block.start) + "+" + std::to_string(block.length) +
                                      " used " + std::to_string(rank)
                                : "free");
  }
  return lines;
}

Calls blocksOf(const vela::ReadCache& cache) {
  std::array<PlainCache::Block, 4> blocks;
  const auto image = imageOf(cache);
  for (size_t i = 0; i < blocks.size(); ++i) {
    const CacheImage::Block& block = image->blocks[i];
    blocks[i] = {block.valid != 0, block.start, block.validLength, block.useStamp};
  }
  return blocksOf(blocks);
}

/// A cache over a file, read through the streams of a parse, with windows or without.
class Parse {
 public:
  Parse(const Bytes& file, uint64_t claimedLength, bool withWindows) : host(file) {
    host.claimedLength = claimedLength;
    cache.reset(VMemory::GNew<vela::ReadCache>(static_cast<vela::HostStream*>(&host)));
    source.emplace(cache.get(), nullptr);
    windows.emplace(*cache.get(), nullptr);
    lender = withWindows ? &*windows : nullptr;
    begin();
  }
  /// Begins new streams where the cache stands. Their end leaves it where they have come.
  void begin() { stream.emplace(*source, vela::kUnknown64, lender); }

  FakeHostStream host;
  vela::Reference<vela::ReadCache> cache;
  std::optional<vela::SourceStream> source;
  std::optional<vela::CacheWindows> windows;
  atomkit::WindowLender* lender;
  std::optional<atomkit::HostStreamAdapter> stream;
};

enum Kind : uint32_t { kValues, kBlock, kTable };

/// The next bytes, read as values, as a block, or as a table of 32-bit words.
Bytes readSome(atomkit::ByteStream& box, uint32_t count, uint32_t kind) {
  Bytes bytes;
  if (kind == kValues) {
    while (bytes.size() < count) bytes.push_back(atomkit::readU8(box));
  } else if (kind == kBlock) {
    bytes.resize(count);
    box.readExact(bytes.data(), count);
  } else {
    atomkit::PlainArray<uint32_t> words;
    atomkit::readU32Table(box, words, count / 4);
    for (uint32_t i = 0; i < words.count(); ++i) {
      for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<uint8_t>(words[i] >> shift));
      }
    }
  }
  return bytes;
}

void compareOverRandomScripts(uint64_t claimedLength, bool withWindows) {
  const Bytes file = pattern(0x24000);
  for (uint32_t seed = 0; seed < 24; ++seed) {
    SeededRandom random(seed);
    Parse parse(file, claimedLength, withWindows);
    PlainCache plain(file, claimedLength);
    for (int step = 0; step < 120; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      const uint32_t choice = random.below(8);
      const uint64_t left = file.size() - plain.position;
      uint32_t count = random.below(choice == 1 ? 30'000 : choice < 4 ? 1'000 : 40);
      if (choice == 2) count = 250 + random.below(12);
      count = static_cast<uint32_t>(std::min<uint64_t>(count, left));
      if (choice == 0) {
        // The streams end, and others begin elsewhere, so that blocks come to overlap.
        parse.stream.reset();
        ASSERT_EQ(blocksOf(*parse.cache.get()), blocksOf(plain.blocks));
        uint64_t position = 0;
        parse.cache->getPosition(&position, nullptr);
        ASSERT_EQ(position, plain.position);
        plain.position = random.below(0x12000);
        parse.cache->seek(static_cast<uint32_t>(plain.position), 0, nullptr);
        parse.begin();
        continue;
      }
      atomkit::AtomReader outer(*parse.stream, left);
      atomkit::AtomReader inner(outer, count);
      if (choice % 2 == 0) {
        inner.skipExact(count);
        plain.skip(count);
      } else {
        const uint32_t kind = random.below(3);
        if (kind == kTable) count -= count % 4;
        Bytes expected;
        for (uint32_t i = 0; kind == kValues && i < count; ++i) {
          boxes::append(expected, plain.read(1));
        }
        if (kind != kValues) expected = plain.read(count);
        ASSERT_EQ(readSome(inner, count, kind), expected);
      }
      ASSERT_EQ(parse.host.calls, plain.calls);
      ASSERT_EQ(outer.remaining(), left - count);
    }
  }
}

}  // namespace

TEST(CacheWindows, RandomReadsAndSkipsMakeTheCallsAndLeaveTheBlocksOfThePlainCache) {
  compareOverRandomScripts(0x24000, true);
}

TEST(CacheWindows, WithAnUnknownLengthTooTheyMakeTheCallsOfThePlainCache) {
  compareOverRandomScripts(vela::kUnknown64, true);
}

TEST(CacheWindows, WithoutWindowsTheCallsAndBlocksAreThoseOfThePlainCacheToo) {
  compareOverRandomScripts(0x24000, false);
  compareOverRandomScripts(vela::kUnknown64, false);
}

TEST(CacheWindows, AWindowEndsWhereAnEarlierBlockBegins) {
  FakeHostStream host(pattern(0x20000));
  const vela::Reference<vela::ReadCache> cache(
      VMemory::GNew<vela::ReadCache>(static_cast<vela::HostStream*>(&host)));
  const auto readAt = [&](uint32_t place) {
    uint8_t byte = 0;
    uint32_t done = 0;
    cache->seek(place, 0, nullptr);
    EXPECT_EQ(cache->read(&byte, 1, &done, nullptr), TIOResult::success);
  };
  readAt(0x5000);
  readAt(0x4000);
  cache->seek(0x4100, 0, nullptr);
  EXPECT_EQ(cache->window().size(), 0xf00u);
  EXPECT_EQ(cache->window()[0], host.bytes[0x4100]);
  cache->seek(0x5000, 0, nullptr);
  EXPECT_EQ(cache->window().size(), 0x4000u) << "the later block ends sooner, and does not count";
  cache->seek(0x9000, 0, nullptr);
  EXPECT_EQ(cache->window().size(), 0u);
}

TEST(CacheWindows, ABlockWithoutBytesCutsNoWindow) {
  // The fifth fill takes the place of the first block. It fails, or finds the end of the file.
  for (const bool fails : {true, false}) {
    FakeHostStream host(pattern(0x10000));
    const vela::Reference<vela::ReadCache> cache(
        VMemory::GNew<vela::ReadCache>(static_cast<vela::HostStream*>(&host)));
    uint8_t byte = 0;
    uint32_t done = 0;
    for (const uint32_t place : {0u, 0x4000u, 0x8000u, 0xc000u}) {
      cache->seek(place, 0, nullptr);
      ASSERT_EQ(cache->read(&byte, 1, &done, nullptr), TIOResult::success);
    }
    if (fails) host.failCall("read", 0, TIOResult::failed);
    cache->seek(0x10000, 0, nullptr);
    EXPECT_EQ(cache->read(&byte, 1, &done, nullptr),
              fails ? TIOResult::failed : TIOResult::success);
    const auto image = imageOf(*cache.get());
    ASSERT_EQ(image->blocks[0].valid, fails ? 0 : 1);
    ASSERT_TRUE(fails || image->blocks[0].validLength == 0);
    cache->seek(0x5000, 0, nullptr);
    EXPECT_EQ(cache->window().size(), 0x3000u);
  }
}

namespace {

/// Records every question in the log of the host's stream.
class LoggingToken final : public vela::CancelToken {
 public:
  explicit LoggingToken(CallLog& log) : log_(&log) {}
  uint32_t isCancelled() override {
    log_->record("asked");
    return 0;
  }

 private:
  CallLog* log_;
};

}  // namespace

TEST(CacheWindows, TheTokenIsAskedBeforeEveryReadOfTheHostAndForEveryBox) {
  const Bytes file = boxes::richFilm();
  Opening opening(file);
  LoggingToken token(opening.stream);
  opening.stream.expectedToken = &token;
  ASSERT_EQ(opening.session.openSession(u"movie.mp4", vela::CreationMode::playback, &token),
            TIOResult::success);
  bool asked = false;
  for (const std::string& call : opening.stream.calls) {
    if (call == "asked") asked = true;
    if (call.starts_with("read ")) {
      EXPECT_TRUE(asked);
      asked = false;
    }
  }
  uint32_t boxes = 0;
  for (const char* type : {"moov", "mvhd", "trak", "mdia", "mdhd", "minf", "stbl", "stsd", "stts",
                           "stsz", "stsc", "stco", "udta", "ilst"}) {
    const Bytes name = boxes::text(type);
    auto from = file.begin();
    while ((from = std::search(from, file.end(), name.begin(), name.end())) != file.end()) {
      ++boxes;
      ++from;
    }
  }
  EXPECT_GT(boxes, 40u);
  EXPECT_GE(opening.stream.count("asked"), boxes);
}

TEST(CacheWindows, ACancelledQuestionEndsTheOpeningWhereverItIsAsked) {
  for (uint32_t question = 0;; ++question) {
    Opening opening(boxes::richFilm());
    opening.token.cancelAt = question;
    const TIOResult result = opening.open();
    if (opening.token.questions <= question) {
      EXPECT_EQ(result, TIOResult::success);
      EXPECT_GT(question, 40u);
      return;
    }
    ASSERT_EQ(result, TIOResult::cancelled) << question;
  }
}
