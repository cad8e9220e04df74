// OpenSession: a session over the bytes of a file, opened through a fake host.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"
#include "tests/frontend/session_probe.h"
#include "tests/support/fake_host.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

using Calls = std::vector<std::string>;

/// Where a session's reads go after the parse.
enum class ReadPath {
  direct,       ///< to the host's stream, so that its log shows every seek and read of the session
  throughCache  ///< to the read cache over it, as always outside of tests
};

/// An opened session. Its operations return codes, as those of a splitter object do.
class OpenSession {
 public:
  explicit OpenSession(boxes::Bytes file, ReadPath path = ReadPath::direct,
                       Seekable seekable = Seekable::yes)
      : stream(std::move(file), seekable), provider(stream), context(provider), session(&context) {
    stream.expectedToken = nullptr;
    const vela::TIOResult result =
        session.openSession(u"movie.mp4", vela::CreationMode::playback, nullptr);
    EXPECT_EQ(result, vela::TIOResult::success);
    stream.expectedToken = &token;
    if (path == ReadPath::direct) vela::SessionProbe::stream(session).reset(&stream);
    stream.calls.clear();
  }

  FakeHostStream stream;
  FakeSourceProvider provider;
  FakeHostContext context;
  vela::SplitterSession session;
  FakeAudioFormat audioFormat;
  FakeVideoFormat videoFormat;
  FakeMediaInfo info;
  FakeCancelToken token;
  uint8_t endOfStream = 0;
  uint64_t time = 0;

  vela::TIOResult describe(uint32_t itemId) {
    return vela::guarded([&] { return session.describeItem(itemId, info, &token); });
  }
  vela::TIOResult start(uint32_t itemId, vela::AudioFormat* audio, vela::VideoFormat* video) {
    return vela::guarded([&] { return session.startItem(itemId, audio, video); });
  }
  vela::TIOResult startAudio(uint32_t itemId = 0) { return start(itemId, &audioFormat, nullptr); }
  vela::TIOResult startVideo(uint32_t itemId = 0) { return start(itemId, nullptr, &videoFormat); }
  vela::TIOResult startBoth(uint32_t itemId = 0) {
    return start(itemId, &audioFormat, &videoFormat);
  }
  vela::TIOResult seek(uint64_t hostUnits) {
    return vela::guarded([&] { return session.seekTo(hostUnits); });
  }
  vela::TIOResult seekWithKeyFrame(vela::VideoPacket& packet, uint64_t hostUnits) {
    return vela::guarded([&] { return session.seekWithKeyFrame(packet, hostUnits, &token); });
  }
  vela::TIOResult readAudio(vela::AudioPacket& packet) {
    return vela::guarded([&] { return session.readAudioPacket(packet, endOfStream, &token); });
  }
  vela::TIOResult readVideo(vela::VideoPacket& packet) {
    return vela::guarded(
        [&] { return session.readVideoPacket(packet, endOfStream, time, &token); });
  }
  vela::TIOResult nextStream(uint32_t& which) {
    return vela::guarded([&] { return session.nextStream(which); });
  }
  /// nextStream() of a session that can answer.
  uint32_t next() {
    uint32_t which = 99;
    EXPECT_EQ(nextStream(which), vela::TIOResult::success);
    return which;
  }
};

/// An audio packet as it was delivered.
struct Heard {
  uint32_t sample;  ///< number that the payload tells
  uint32_t frames;
  uint32_t startOffset;
  bool operator==(const Heard&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Heard& heard) {
  return out << "{sample " << heard.sample << ", " << heard.frames << " frames from "
             << heard.startOffset << "}";
}

/// Reads audio packets up to the end of the item, at most `most`.
inline std::vector<Heard> playAudio(OpenSession& open, size_t most = SIZE_MAX) {
  std::vector<Heard> heard;
  while (heard.size() < most) {
    FakeAudioPacket packet;
    EXPECT_EQ(open.readAudio(packet), vela::TIOResult::success);
    if (open.endOfStream || ::testing::Test::HasFailure()) break;
    heard.push_back({packet.payload.bytes.at(1), packet.frameCount, packet.startOffset});
  }
  return heard;
}

/// A video packet as it was delivered.
struct Seen {
  uint32_t sample;  ///< number that the payload tells
  uint64_t time;    ///< host units
  bool operator==(const Seen&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Seen& seen) {
  return out << "{sample " << seen.sample << " at " << seen.time << "}";
}

/// Reads video packets up to the end of the item, at most `most`.
inline std::vector<Seen> playVideo(OpenSession& open, size_t most = SIZE_MAX) {
  std::vector<Seen> seen;
  while (seen.size() < most) {
    FakeVideoPacket packet;
    EXPECT_EQ(open.readVideo(packet), vela::TIOResult::success);
    if (open.endOfStream || ::testing::Test::HasFailure()) break;
    seen.push_back({packet.payload.bytes.at(1), open.time});
  }
  return seen;
}

/// Host units of `frames` audio frames at 48 kHz.
inline uint64_t framesAt48k(uint64_t frames) { return vela::ticksToHostUnits(frames, 48000); }
/// `frames` audio frames at 48 kHz in units of 100 ns; exact for multiples of 3.
inline uint64_t hundredNsAt48k(uint64_t frames) { return frames * 625 / 3; }
