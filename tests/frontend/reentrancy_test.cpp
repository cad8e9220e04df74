// A host whose objects call the splitter back from inside its operations.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "frontend/out_slot.h"
#include "frontend/splitter_factory.h"
#include "frontend/vela_splitter.h"
#include "tests/support/fake_host.h"
#include "tests/support/movie_builder.h"

using namespace boxes;
using vela::TIOResult;

namespace {

using Calls = std::vector<std::string>;

/// Far larger than the four blocks of the read cache, so that reads go on filling blocks.
BuiltMovie film() {
  return movieFile({.tracks = {aacTrack({.samples = 60, .sampleSize = 1500}),
                               avcTrack({.samples = 32, .sampleSize = 4000})},
                    .udta = join(chpl({{0, "One"}, {5'000'000, "Two"}}),
                                 metaWith(ilstNamed("replaygain_track_gain", "-6.54 dB")))});
}

class LoggingToken final : public vela::CancelToken, public CallLog {
 public:
  uint32_t isCancelled() override {
    record("isCancelled");
    return 0;
  }
};

/// A host with one file, whose objects all record their calls in `log` too.
struct Host {
  explicit Host(Bytes file) : stream(std::move(file)), provider(stream), context(provider) {
    for (CallLog* object : std::initializer_list<CallLog*>{&stream, &provider, &context, &token}) {
      object->alsoTo = &log;
    }
  }

  template <class Splitter>
  vela::Reference<Splitter> create(
      TIOResult (vela::ISplitterFactory::*creation)(void**, const char16_t*, vela::CancelToken*)) {
    vela::ISplitterFactory& face = factory;
    void* out = nullptr;
    EXPECT_EQ((face.*creation)(&out, u"movie.mp4", &token), TIOResult::success);
    return vela::Reference<Splitter>::adopt(out);
  }
  vela::Reference<vela::IMediaSplitterEx> createPlayer() {
    return create<vela::IMediaSplitterEx>(&vela::ISplitterFactory::createSplitterEx);
  }

  CallLog log;
  FakeHostStream stream;
  FakeSourceProvider provider;
  FakeHostContext context;
  LoggingToken token;
  vela::SplitterFactory factory{&context};
};

std::string result(const char* operation, TIOResult code) {
  return operation + (" gives " + std::to_string(static_cast<uint32_t>(code)));
}

/// What a host gets from describing an item: code and every call of its object.
Calls describe(Host& host, vela::IMediaSplitter& splitter, uint32_t itemId) {
  FakeMediaInfo info;
  info.alsoTo = &host.log;
  const TIOResult code = splitter.describeItem(itemId, &info, &host.token);
  info.calls.push_back(result("describeItem", code));
  return info.calls;
}

/// What a host gets from playing the film with every operation there is: codes, out-arguments,
/// every call of the packets and formats, and the payloads.
Calls play(Host& host, vela::IMediaSplitterEx& splitter) {
  Calls all;
  const auto add = [&](const Calls& calls) { all.insert(all.end(), calls.begin(), calls.end()); };
  add(describe(host, splitter, 1));
  FakeAudioFormat audioFormat;
  FakeVideoFormat videoFormat;
  audioFormat.alsoTo = &host.log;
  videoFormat.alsoTo = &host.log;
  all.push_back(
      result("startItem", splitter.startItem(0, &audioFormat, &videoFormat, &host.token)));
  add(audioFormat.calls);
  add(videoFormat.calls);
  add(describe(host, splitter, 0));
  FakeVideoPacket shown;
  shown.alsoTo = &host.log;
  all.push_back(result("seekWithKeyFrame",
                       splitter.seekWithKeyFrame(&shown, vela::toWord64(10'000'000), &host.token)));
  add(shown.calls);
  all.push_back(result("seekTo", splitter.seekTo(vela::toWord64(8'000'000), &host.token)));
  for (;;) {
    uint32_t which = 99;
    all.push_back(result("nextStream", splitter.nextStream(&which)) + " " + std::to_string(which));
    if (which == vela::kNextNone || which == 99) return all;
    uint8_t end = 99;
    uint64_t time = 99;
    FakeAudioPacket audio;
    FakeVideoPacket video;
    audio.alsoTo = &host.log;
    video.alsoTo = &host.log;
    const TIOResult code = which == vela::kNextAudio
                               ? splitter.readAudioPacket(&audio, &end, &host.token)
                               : splitter.readVideoPacket(&video, &end, &time, &host.token);
    all.push_back(result("read", code) + ", end " + std::to_string(end) + ", time " +
                  std::to_string(time));
    add(audio.calls);
    add(video.calls);
    const Bytes& payload = audio.payload.bytes.empty() ? video.payload.bytes : audio.payload.bytes;
    all.emplace_back(payload.begin(), payload.end());
    if (code != TIOResult::success || end != 0) return all;
  }
}

/// Calls every operation that returns a result code. Each must be refused and touch nothing that
/// the caller can see.
void expectRefusals(vela::IMediaSplitterEx& splitter, vela::CancelToken* token) {
  FakeMediaInfo info;
  FakeAudioFormat audioFormat;
  FakeVideoFormat videoFormat;
  FakeAudioPacket audio;
  FakeVideoPacket video;
  uint8_t end = 99;
  uint64_t time = 99;
  uint32_t which = 99;
  EXPECT_EQ(splitter.describeItem(2, &info, token), TIOResult::failed);
  EXPECT_EQ(splitter.startItem(2, &audioFormat, nullptr, token), TIOResult::failed);
  EXPECT_EQ(splitter.startItem(2, &audioFormat, &videoFormat, token), TIOResult::failed);
  EXPECT_EQ(splitter.readAudioPacket(&audio, &end, token), TIOResult::failed);
  EXPECT_EQ(splitter.readVideoPacket(&video, &end, &time, token), TIOResult::failed);
  EXPECT_EQ(splitter.nextStream(&which), TIOResult::failed);
  EXPECT_EQ(splitter.seekTo({1, 0}, token), TIOResult::failed);
  EXPECT_EQ(splitter.seekWithKeyFrame(&video, {1, 0}, token), TIOResult::failed);
  EXPECT_EQ(end, 99);
  EXPECT_EQ(time, 99u);
  EXPECT_EQ(which, 99u);
  for (const CallLog* object :
       std::initializer_list<CallLog*>{&info, &audioFormat, &videoFormat, &audio, &video}) {
    EXPECT_EQ(object->calls, Calls{});
  }
}

/// The first word of a logged call: the operation.
std::string operationOf(const std::string& call) { return call.substr(0, call.find(' ')); }

}  // namespace

TEST(Reentrancy, EveryOperationWithACodeIsRefusedFromEveryCallAndTheOuterOneIsUnharmed) {
  const BuiltMovie file = film();
  Host undisturbed(file.bytes);
  const Calls expected = play(undisturbed, *undisturbed.createPlayer().get());
  ASSERT_GT(expected.size(), 500u);

  Host host(file.bytes);
  const auto splitter = host.createPlayer();
  std::map<std::string, uint32_t> callbacks;  // by the operation that they came from
  host.log.calls.clear();
  host.log.onCall = [&] {
    ++callbacks[operationOf(host.log.calls.back())];
    const size_t hostCalls = host.stream.calls.size();
    expectRefusals(*splitter.get(), &host.token);
    EXPECT_EQ(host.stream.calls.size(), hostCalls) << "the stream is left alone";
  };
  EXPECT_EQ(play(host, *splitter.get()), expected);
  host.log.onCall = nullptr;

  for (const char* operation :
       {"isCancelled",   "read",           "seek",           "getLength",      "audio",
        "video",         "setDuration",    "setDescription", "setFlags",       "getFlags",
        "setTrackGain",  "addTag",         "beginChapters",  "addChapter",     "setMediaId",
        "readPayload",   "setSampleRate",  "setFrameCount",  "setStartOffset", "setFurtherValue",
        "getFrameCount", "getStartOffset", "setPictureSize"}) {
    EXPECT_GT(callbacks[operation], 0u) << operation;
  }
}

TEST(Reentrancy, ARefusalInsideAResetLeavesTheFailureOfThePacketAsItIs) {
  Host host(film().bytes);
  const auto splitter = host.createPlayer();
  FakeVideoFormat format;
  ASSERT_EQ(splitter->startItem(0, nullptr, &format, nullptr), TIOResult::success);
  FakeVideoPacket packet;
  packet.payload.result = kHostCode;
  uint32_t resets = 0;
  packet.onCall = [&] {
    if (packet.calls.back() == "reset") ++resets;
    expectRefusals(*splitter.get(), nullptr);
  };
  uint8_t end = 99;
  uint64_t time = 99;
  EXPECT_EQ(splitter->readVideoPacket(&packet, &end, &time, nullptr), kHostCode);
  EXPECT_EQ(resets, 1u);
  EXPECT_EQ(time, 99u);
}

TEST(Reentrancy, AnOperationMayBeCalledAgainAfterOneThatFailed) {
  Host host(film().bytes);
  const auto splitter = host.createPlayer();
  FakeAudioPacket packet;
  uint8_t end = 99;
  EXPECT_EQ(splitter->readAudioPacket(&packet, &end, nullptr), TIOResult::failed) << "not started";
  FakeAudioFormat format;
  ASSERT_EQ(splitter->startItem(0, &format, nullptr, nullptr), TIOResult::success);
  host.stream.failCall("read", 0, kHostCode);
  ASSERT_EQ(splitter->seekTo(vela::toWord64(vela::kHostUnitsPerSecond), nullptr),
            TIOResult::success);
  EXPECT_EQ(splitter->readAudioPacket(&packet, &end, nullptr), kHostCode);
  EXPECT_EQ(splitter->readAudioPacket(&packet, &end, nullptr), TIOResult::success);
}

TEST(Reentrancy, ADescriptionInsideADescriptionIsRefusedByTheOtherModeToo) {
  Host host(film().bytes);
  const auto splitter = host.create<vela::IMediaSplitter>(&vela::ISplitterFactory::createSplitter);
  const Calls expected = describe(host, *splitter.get(), 0);
  uint32_t refused = 0;
  host.log.onCall = [&] {
    FakeMediaInfo inner;
    EXPECT_EQ(splitter->describeItem(1, &inner, nullptr), TIOResult::failed);
    EXPECT_EQ(inner.calls, Calls{});
    ++refused;
  };
  EXPECT_EQ(describe(host, *splitter.get(), 0), expected);
  host.log.onCall = nullptr;
  EXPECT_GT(refused, 5u);
}

TEST(Reentrancy, AllElseWorksFromEveryCall) {
  const BuiltMovie file = film();
  Host undisturbed(file.bytes);
  const Calls expected = play(undisturbed, *undisturbed.createPlayer().get());
  const Calls described = describe(undisturbed, *undisturbed.createPlayer().get(), 0);

  Host other(file.bytes);
  const auto anotherSplitter = other.createPlayer();
  Host host(file.bytes);
  const auto splitter = host.createPlayer();
  host.stream.passThroughResult = 0xcafe;
  uint32_t callbacks = 0;
  host.log.onCall = [&] {
    EXPECT_EQ(splitter->addRef(), 2u);
    void* same = nullptr;
    EXPECT_EQ(splitter->queryInterface(&vela::kMediaSplitterExId, &same), 1u);
    EXPECT_EQ(same, splitter.get());
    EXPECT_EQ(splitter->release(), 2u);
    EXPECT_EQ(splitter->release(), 1u);
    EXPECT_EQ(splitter->getItemCount(), 1u);
    EXPECT_EQ(splitter->getItemId(0), 0u);
    EXPECT_EQ(splitter->passThroughTwo(1, 2), 0xcafeu);
    EXPECT_EQ(splitter->passThroughOne(3), 0xcafeu);
    EXPECT_EQ(splitter->slot14(), 1u);
    if (++callbacks % 50 != 1) return;
    EXPECT_EQ(describe(other, *anotherSplitter.get(), 0), described);
    vela::ISplitterFactory& factory = host.factory;
    EXPECT_NE(factory.matchesFilter(u"movie.mp4"), 0u);
    Host third(file.bytes);
    EXPECT_EQ(describe(third, *third.createPlayer().get(), 0), described);
  };
  EXPECT_EQ(play(host, *splitter.get()), expected);
  host.log.onCall = nullptr;
  EXPECT_GT(callbacks, 500u);
}

TEST(Reentrancy, ASplitterCanBeMadeAndPlayedInsideTheCallsOfACreation) {
  const BuiltMovie file = film();
  Host undisturbed(file.bytes);
  const Calls expected = play(undisturbed, *undisturbed.createPlayer().get());
  Host host(file.bytes);
  host.provider.references.logTo(host.log, "provider");
  host.stream.references.logTo(host.log, "stream");
  std::map<std::string, uint32_t> callbacks;
  host.log.onCall = [&] {
    if (++callbacks[operationOf(host.log.calls.back())] > 2) return;
    Host inner(file.bytes);
    EXPECT_EQ(play(inner, *inner.createPlayer().get()), expected);
  };
  const auto splitter = host.createPlayer();
  host.log.onCall = nullptr;
  for (const char* operation : {"resolve", "addRef", "open", "release", "canSeek", "getLength",
                                "isCancelled", "seek", "read"}) {
    EXPECT_GT(callbacks[operation], 0u) << operation;
  }
  EXPECT_EQ(play(host, *splitter.get()), expected);
}

TEST(Reentrancy, ANewSplitterWorksAlreadyWhileItsOutSlotGivesBackWhatItHeld) {
  const BuiltMovie file = film();
  Host undisturbed(file.bytes);
  const Calls expected = play(undisturbed, *undisturbed.createPlayer().get());
  Host host(file.bytes);
  Host former(file.bytes);  // its stream is what the out-slot holds
  CallLog counting;
  void* out = former.stream.control();
  former.stream.addRef();
  former.stream.references.logTo(counting, "former");
  uint32_t played = 0;
  counting.onCall = [&] {
    ASSERT_NE(out, former.stream.control());
    EXPECT_EQ(play(host, *static_cast<vela::IMediaSplitterEx*>(out)), expected);
    ++played;
  };
  vela::ISplitterFactory& factory = host.factory;
  ASSERT_EQ(factory.createSplitterEx(&out, u"movie.mp4", nullptr), TIOResult::success);
  const auto splitter = vela::Reference<vela::IMediaSplitterEx>::adopt(out);
  EXPECT_EQ(played, 1u);

  former.stream.addRef();  // logs, and plays again
  void* slot = former.stream.control();
  played = 0;
  ASSERT_EQ(splitter->queryInterface(&vela::kMediaSplitterId, &slot), 1u);
  EXPECT_EQ(played, 1u) << "a query is no operation with a result code";
  EXPECT_EQ(splitter->release(), 1u);
}
