// Creations over a host's stream that fails a single call and then works again: the code of that
// call comes out of the factory, whichever call it was, even where a broken tag costs only the
// tags.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "frontend/splitter_factory.h"
#include "frontend/vela_splitter.h"
#include "tests/support/fake_host.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/rich_files.h"

using namespace boxes;
using vela::TIOResult;

namespace {

using Creation = TIOResult (vela::ISplitterFactory::*)(void**, const char16_t*, vela::CancelToken*);
constexpr Creation kCreations[] = {&vela::ISplitterFactory::createSplitter,
                                   &vela::ISplitterFactory::createSplitterEx};

enum class Cache {
  yes,
  no,  ///< memory for it is short, so that each small read of the parse is a call of the host
};

/// Names of the calls that failed, as "read" or "seek".
using Operations = std::set<std::string>;

/// Lets each call of the host's stream that a creation makes fail in turn, but for the first: that
/// one asks for the length, which counts as unknown when the call fails.
Operations failEachCall(const Bytes& file, Creation creation, Seekable seekable, Cache cache) {
  Operations failed;
  for (uint32_t number = 0;; ++number) {
    FakeHostStream stream(file, seekable);
    FakeSourceProvider provider(stream);
    FakeHostContext context(provider);
    vela::SplitterFactory factory(&context);
    vela::ISplitterFactory& face = factory;
    stream.failCall("", number, kHostCode);
    void* out = nullptr;
    TIOResult result = TIOResult::success;
    {
      const FailingHalAllocation memory(cache == Cache::no ? 1 : FailingHalAllocation::kNever);
      result = (face.*creation)(&out, u"movie.mp4", nullptr);
      if (out) static_cast<vela::IObject*>(out)->release();
    }
    EXPECT_EQ(stream.references.count(), 0u) << "call " << number;
    const std::string ending = " failed " + std::to_string(static_cast<uint32_t>(kHostCode));
    const std::string* failedCall = nullptr;
    for (const std::string& call : stream.calls) {
      if (call.find(ending) != std::string::npos) failedCall = &call;
    }
    if (!failedCall) {
      EXPECT_EQ(result, TIOResult::success);
      return failed;
    }
    if (number == 0) {
      EXPECT_EQ(*failedCall, "getLength" + ending);
      EXPECT_EQ(result, TIOResult::success);
      continue;
    }
    EXPECT_EQ(result, kHostCode) << "call " << number << ": " << *failedCall;
    EXPECT_EQ(stream.calls.back(), *failedCall) << "nothing is asked after the failure";
    failed.insert(failedCall->substr(0, failedCall->find(' ')));
  }
}

/// Far apart, so that the read cache needs a new block for each.
Bytes spread(const Bytes& first, const Bytes& second, const Bytes& third) {
  const Bytes gap = box("free", zeros(20'000));
  return join(first, gap, second, gap, third);
}

/// A file whose metadata the read cache can't hold in one block.
Bytes widelySpacedMetadata() {
  const Bytes list = box(
      "meta", full(0),
      box("ilst",
          spread(ilstText(itemType("nam"), "Song"),
                 box(itemType("ART"), spread(itemName("a"), itemName("b"), data(text("Someone")))),
                 numberPair("trkn", 1, 2))));
  const Bytes tagging =
      ztTags(spread(ztFields({{"album", {std::string(40'000, 'x')}}}),
                    tseg(spread(tshd(0), ztFields({{"a", {"b"}}}), {})), ztFields({{"c", {"d"}}})));
  return join(
      movieFile({.tracks = {aacTrack()}, .udta = join(list, tagging, chpl({{0, "One"}}))}).bytes);
}

}  // namespace

TEST(StreamFailure, OfAnyCallOfAFilmsStreamComesOutOfTheFactory) {
  for (const Creation creation : kCreations) {
    EXPECT_EQ(failEachCall(richFilm(), creation, Seekable::yes, Cache::no),
              (Operations{"getLength", "getPosition", "read", "seek", "skip"}));
    EXPECT_EQ(failEachCall(richFilm(), creation, Seekable::no, Cache::no),
              (Operations{"read", "skip"}));
  }
}

TEST(StreamFailure, OfAnyCallOfAnAudioBooksStreamComesOutOfTheFactory) {
  for (const Creation creation : kCreations) {
    EXPECT_EQ(failEachCall(richAudioBook(), creation, Seekable::yes, Cache::no),
              (Operations{"getLength", "getPosition", "read", "seek", "skip"}));
  }
}

TEST(StreamFailure, OfAnyCallOfTheReadCacheComesOutOfTheFactory) {
  for (const Creation creation : kCreations) {
    for (const Bytes& file : {richFilm(), richAudioBook(), widelySpacedMetadata()}) {
      EXPECT_EQ(failEachCall(file, creation, Seekable::yes, Cache::yes),
                (Operations{"getLength", "read", "seek"}));
    }
    EXPECT_EQ(failEachCall(widelySpacedMetadata(), creation, Seekable::no, Cache::yes),
              (Operations{"read"}));
  }
}
