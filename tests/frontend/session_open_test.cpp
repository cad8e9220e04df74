// Opening a source: which calls the host gets, and what every failure becomes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/frontend/opening.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_host.h"
#include "tests/support/raw_table.h"

using namespace boxes;
using vela::CreationMode;
using vela::TIOResult;
using Probe = vela::SessionProbe;

namespace {

/// A film whose boxes are long enough for skips of either kind.
Bytes film() {
  BuiltMovie built = movieFile({.tracks = {aacTrack({.samples = 900, .sampleSize = 40}),
                                           avcTrack({.samples = 60, .sampleSize = 400})}});
  return join(built.bytes, box("free", zeros(20)), box("free", zeros(30000)));
}

Bytes song() { return movieFile({.tracks = {aacTrack()}}).bytes; }

/// No reference to the host's objects is left.
void expectReleased(const Opening& opening) {
  EXPECT_EQ(opening.stream.references.count(), 0u);
  EXPECT_EQ(opening.provider.references.count(), 0u);
}

}  // namespace

TEST(SessionLayout, KeepsItsFieldsInTheirOrderWithoutAGapBeyondAlignment) {
  const vela::SplitterSession session(nullptr);
  size_t end = 0;
  for (const Probe::Field& field : Probe::fields(session)) {
    EXPECT_EQ(field.offset, (end + field.alignment - 1) / field.alignment * field.alignment)
        << field.name;
    end = field.offset + field.size;
  }
  EXPECT_EQ(sizeof session, raw_table::placeAfter<vela::SplitterSession>(end));
}

TEST(OpenSession, AsksTheHostInAFixedOrder) {
  Opening opening(song());
  opening.provider.alsoTo = &opening.stream;
  opening.context.alsoTo = &opening.stream;
  ASSERT_EQ(opening.open(), TIOResult::success);
  const std::string size = std::to_string(opening.stream.bytes.size());
  EXPECT_EQ(
      std::vector<std::string>(opening.stream.calls.begin(), opening.stream.calls.begin() + 6),
      (Calls{"resolve movie.mp4", "open movie.mp4 0", "canSeek -> 1", "getLength -> " + size,
             "seek 0", "read 16384 -> " + size}));
}

TEST(OpenSession, GivesTheProviderBackRightAfterItsOpen) {
  CallLog log;
  Opening opening(song());
  opening.context.alsoTo = &log;
  opening.provider.alsoTo = &log;
  opening.stream.alsoTo = &log;
  opening.provider.references.logTo(log, "provider");
  opening.stream.references.logTo(log, "stream");
  ASSERT_EQ(opening.open(), TIOResult::success);
  ASSERT_GE(log.calls.size(), 8u);
  EXPECT_EQ(Calls(log.calls.begin(), log.calls.begin() + 8),
            (Calls{"resolve movie.mp4", "addRef provider", "open movie.mp4 0", "addRef stream",
                   "release provider", "addRef stream", "release stream", "canSeek -> 1"}));
}

TEST(OpenSession, GivesTheProviderBackBeforeAStreamThatAFailedOpenStored) {
  CallLog log;
  Opening opening(song());
  opening.provider.references.logTo(log, "provider");
  opening.stream.references.logTo(log, "stream");
  opening.provider.openResult = kHostCode;
  opening.provider.storesOnFailure = true;
  EXPECT_EQ(opening.open(), kHostCode);
  EXPECT_EQ(log.calls,
            (Calls{"addRef provider", "addRef stream", "release provider", "release stream"}));
}

TEST(OpenSession, OpensWithHostModeZeroInBothModes) {
  for (const CreationMode mode : {CreationMode::information, CreationMode::playback}) {
    Opening opening(song());
    ASSERT_EQ(opening.open(mode), TIOResult::success);
    EXPECT_EQ(opening.provider.calls, Calls{"open movie.mp4 0"});
  }
}

TEST(OpenSession, ReadsTheFileThroughTheCacheOnly) {
  Opening opening(film());
  ASSERT_EQ(opening.open(), TIOResult::success);
  EXPECT_EQ(opening.stream.count("skip"), 0u);
  EXPECT_EQ(opening.stream.count("read"), opening.stream.count("read 16384"));
}

TEST(OpenSession, HandsItsTokenToEveryHostCall) {
  Opening opening(song());
  ASSERT_EQ(opening.open(), TIOResult::success);
  EXPECT_EQ(opening.provider.lastToken, &opening.token);
  EXPECT_EQ(opening.stream.lastToken, &opening.token);
}

TEST(OpenSession, KeepsOneReferenceToTheStreamAndNoneToTheProvider) {
  {
    Opening opening(song());
    ASSERT_EQ(opening.open(), TIOResult::success);
    EXPECT_EQ(opening.stream.references.count(), 1u) << "held by the cache";
    EXPECT_EQ(opening.provider.references.count(), 0u);
  }
  FakeHostStream stream(song());
  FakeSourceProvider provider(stream);
  FakeHostContext context(provider);
  {
    vela::SplitterSession session(&context);
    ASSERT_EQ(session.openSession(u"movie.mp4", CreationMode::playback, nullptr),
              TIOResult::success);
  }
  EXPECT_EQ(stream.references.timesFreed(), 1u);
}

TEST(Deliberate, D004_ModeTwoIsRefusedBeforeTheSourceIsTouched) {
  Opening opening(song());
  EXPECT_EQ(opening.open(CreationMode::refused), TIOResult::failed);
  EXPECT_EQ(opening.context.calls, Calls{});
  EXPECT_EQ(opening.provider.calls, Calls{});
  EXPECT_EQ(opening.stream.calls, Calls{});
}

TEST(OpenSession, Gives3ForANameThatTheHostCannotResolve) {
  Opening opening(song());
  opening.context.sourceName = u"another.mp4";
  EXPECT_EQ(opening.open(), TIOResult::sourceNotFound);
  EXPECT_EQ(opening.provider.calls, Calls{});
}

TEST(OpenSession, PassesTheCodeOfAFailedOpenOn) {
  Opening opening(song());
  opening.provider.openResult = kHostCode;
  EXPECT_EQ(opening.open(), kHostCode);
  EXPECT_EQ(opening.stream.calls, Calls{});
  expectReleased(opening);
}

TEST(OpenSession, GivesBackAProviderThatTheHostStoredForANameThatItDidNotResolve) {
  Opening opening(song());
  opening.context.sourceName = u"another.mp4";
  opening.context.storesUnresolved = true;
  EXPECT_EQ(opening.open(), TIOResult::sourceNotFound);
  EXPECT_EQ(opening.provider.calls, Calls{});
  EXPECT_EQ(opening.provider.references.timesFreed(), 1u);
  expectReleased(opening);
}

TEST(OpenSession, GivesBackAStreamThatTheHostStoredInAnOpenThatFailed) {
  Opening opening(song());
  opening.provider.openResult = kHostCode;
  opening.provider.storesOnFailure = true;
  EXPECT_EQ(opening.open(), kHostCode);
  EXPECT_EQ(opening.stream.calls, Calls{});
  EXPECT_EQ(opening.stream.references.timesFreed(), 1u);
  expectReleased(opening);
}

TEST(OpenSession, PassesTheCodeOfEveryFailedStreamCallOn) {
  for (const CreationMode mode : {CreationMode::information, CreationMode::playback}) {
    uint32_t number = 1;  // call 0 asks for the length
    for (;; ++number) {
      ASSERT_LT(number, 1000u);
      TIOResult result;
      FakeHostStream stream(film());
      FakeSourceProvider provider(stream);
      FakeHostContext context(provider);
      stream.failCall("", number, kHostCode);
      {
        vela::SplitterSession session(&context);
        result = session.openSession(u"movie.mp4", mode, nullptr);
      }
      EXPECT_EQ(stream.references.count(), 0u);
      EXPECT_EQ(provider.references.count(), 0u);
      if (result == TIOResult::success) break;
      ASSERT_EQ(result, kHostCode) << "call " << number;
    }
    EXPECT_GT(number, 6u) << "several seeks and reads";
  }
}

TEST(Deliberate, D008_AFileOpensWhenTheHostFailsToGiveItsLengthBeforeTheParse) {
  Opening opening(song());
  opening.stream.failCall("getLength", 0, kHostCode);
  EXPECT_EQ(opening.open(), TIOResult::success);
}

TEST(OpenSession, IsCancelledAtEveryQuestion) {
  for (uint32_t question = 0;; ++question) {
    Opening opening(song());
    opening.token.cancelAt = question;
    const TIOResult result = opening.open();
    if (result == TIOResult::success) {
      EXPECT_GT(question, 4u);
      EXPECT_EQ(opening.token.questions, question);
      break;
    }
    ASSERT_EQ(result, TIOResult::cancelled) << "question " << question;
    ASSERT_LT(question, 100000u);
  }
}

TEST(OpenSession, Gives5ForAMalformedFile) {
  const Bytes files[] = {
      Bytes{},
      text("not a movie file at all"),
      moov({.mvhd = mvhd({.timescale = 0}), .tracks = {trak()}}),
      join(moov({.tracks = {trak()}}), moov({.tracks = {trak()}})),
      boxClaiming(0x7fffffff, "moov", mvhd()),
  };
  for (const Bytes& file : files) {
    Opening opening(file);
    EXPECT_EQ(opening.open(), TIOResult::failed);
  }
}

TEST(OpenSession, NeedsTheWholeMovieBoxOfAFileThatIsCutAtAnyLength) {
  const BuiltMovie built = movieFile({.tracks = {aacTrack()}});
  const uint64_t movieEnd = built.offsets[0][0] - 8;  // the media data box follows
  for (size_t length = 0; length < built.bytes.size(); ++length) {
    Opening opening(
        Bytes(built.bytes.begin(), built.bytes.begin() + static_cast<std::ptrdiff_t>(length)));
    // After the movie box a cut header ends the file, and a cut payload can't be skipped.
    const bool opens = length >= movieEnd && length < movieEnd + 8;
    EXPECT_EQ(opening.open(), opens ? TIOResult::success : TIOResult::failed) << length;
  }
}

TEST(OpenSession, OpensAStreamThatCannotSeekWithoutASeek) {
  Opening opening(song(), Seekable::no);
  ASSERT_EQ(opening.open(), TIOResult::success);
  EXPECT_EQ(opening.stream.count("seek"), 0u);
}

TEST(OpenSession, OpensAStreamThatCannotSeekNorTellItsLength) {
  Opening opening(song(), Seekable::no);
  opening.stream.failAlways("getLength", kHostCode);
  EXPECT_EQ(opening.open(), TIOResult::success);
}

TEST(OpenSession, OpensAStreamOfUnknownLength) {
  Opening opening(film());
  opening.stream.claimedLength = vela::kUnknown64;
  EXPECT_EQ(opening.open(), TIOResult::success);
}

TEST(OpenSession, Gives5WhenMediaDataComeFirstOnAStreamThatCannotSeek) {
  const BuiltMovie built = movieFile({.tracks = {aacTrack()}, .order = BoxOrder::mediaFirst});
  Opening forward(built.bytes, Seekable::no);
  EXPECT_EQ(forward.open(), TIOResult::failed);
  Opening seekable(built.bytes);
  EXPECT_EQ(seekable.open(), TIOResult::success);
}

TEST(OpenSession, ReadsSampleTablesForPlaybackOnly) {
  MediaTrack track = aacTrack();
  track.boxes.stsz = box("stsz", full(0), u32(0), u32(0x7fffffff));  // a count that lies
  const Bytes file = movieFile({.tracks = {track}}).bytes;
  Opening playback(file);
  EXPECT_EQ(playback.open(CreationMode::playback), TIOResult::failed);
  Opening information(file);
  EXPECT_EQ(information.open(CreationMode::information), TIOResult::success);
}

TEST(OpenSession, ReadsTheHostsStreamItselfWithoutMemoryForTheCache) {
  Opening opening(song());
  {
    const FailingHalAllocation noMemory(0);
    ASSERT_EQ(opening.open(), TIOResult::success);
    EXPECT_TRUE(noMemory.failed());
  }
  EXPECT_EQ(Probe::stream(opening.session).get(), &opening.stream);
  EXPECT_EQ(opening.stream.references.count(), 1u);
  EXPECT_GT(opening.stream.count("read 8"), 0u) << "box headers, one by one";
}

TEST(OpenSession, CallsAHostOfRawTablesBySlotNumberWithoutTheCache) {
  raw_host::Stream stream;
  stream.bytes = film();
  raw_host::Provider provider;
  provider.stream = &stream;
  raw_host::Context context;
  context.provider = &provider;
  raw_host::Token token;
  {
    const FailingHalAllocation noMemory(0);
    vela::SplitterSession session(reinterpret_cast<vela::HostContext*>(&context));
    ASSERT_EQ(session.openSession(u"movie.mp4", CreationMode::playback,
                                  reinterpret_cast<vela::CancelToken*>(&token)),
              TIOResult::success);
    EXPECT_TRUE(noMemory.failed());
  }
  const auto logged = [&](const std::string& call) {
    return std::count(stream.log.begin(), stream.log.end(), call);
  };
  EXPECT_EQ(logged("skip 20"), 1) << "the short box at the end";
  EXPECT_EQ(logged("seek " + std::to_string(stream.bytes.size())), 1)
      << "the position and the long box at the end";
  EXPECT_EQ(stream.lastToken, &token);
  EXPECT_EQ(stream.count, 0u);
  EXPECT_EQ(provider.count, 0u);
}

TEST(OpenSession, Gives5ForEveryFailedAllocationOfTheParse) {
  const Bytes file = movieFile({.tracks = {aacTrack(), avcTrack()},
                                .udta = join(chpl({{0, "One"}, {10'000'000, "Two"}}),
                                             metaWith(ilstText("\xA9"
                                                               "nam",
                                                               "Title")))})
                         .bytes;
  for (uint64_t number = 0;; ++number) {
    ASSERT_LT(number, 10000u);
    const FailingAllocation allocation(number);
    TIOResult result;
    {
      Opening opening(file);
      result = opening.open();
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u) << "allocation " << number;
    if (!allocation.failed()) {
      EXPECT_EQ(result, TIOResult::success);
      EXPECT_GT(number, 20u);
      break;
    }
    // The tag readers drop their tags instead.
    ASSERT_TRUE(result == TIOResult::failed || result == TIOResult::success);
  }
}

namespace {

/// A host that says yes and stores nothing.
class EmptyProvider final : public vela::SourceProvider {
 public:
  uint32_t addRef() override { return references.add(); }
  uint32_t release() override { return references.drop(); }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override {}
  void unusedSlot4() override {}
  TIOResult open(const char16_t*, uint32_t, vela::CancelToken*, void**) override {
    return TIOResult::success;
  }
  FakeReferences references;
};

class EmptyContext final : public vela::HostContext {
 public:
  uint32_t resolveSource(const char16_t*, void** out) override {
    if (provider) storeInOutSlot(out, provider);
    return 1;
  }
  EmptyProvider* provider = nullptr;
};

}  // namespace

TEST(OpenSession, SurvivesAHostThatStoresNothing) {
  EmptyContext context;
  vela::SplitterSession withoutProvider(&context);
  EXPECT_EQ(withoutProvider.openSession(u"a", CreationMode::playback, nullptr),
            TIOResult::sourceNotFound);
  EmptyProvider provider;
  context.provider = &provider;
  vela::SplitterSession withoutStream(&context);
  EXPECT_EQ(withoutStream.openSession(u"a", CreationMode::playback, nullptr), TIOResult::failed);
  EXPECT_EQ(provider.references.timesFreed(), 1u);
}
