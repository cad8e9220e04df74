// The built plug-in over one file, played as a host plays it.
#pragma once
#include <cstdint>
#include <string>

#include "bench/file_host.h"

namespace bench {

/// The shared object under measurement, loaded for as long as the program runs.
class Plugin {
 public:
  /// @throws std::runtime_error when the file is no plug-in
  explicit Plugin(const std::string& path);

  /// A new module; whoever gets it ends it with deletingDestructor(1).
  vela::ISplitterModule* newModule() const { return entry_(); }

 private:
  using Entry = vela::ISplitterModule* (*)();
  Entry entry_;
};

/// Where a payload is taken to. Both the plug-in and the floor deliver to it, by the same calls.
struct Packets {
  memory_host::AudioPacket audio;
  memory_host::VideoPacket video;
};

class Player {
 public:
  /// @param module  a new one; the player ends it
  /// @param stream  borrowed
  Player(vela::ISplitterModule* module, vela::HostStream& stream);
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  ~Player();

  /// Creates the splitter, which parses the file. The one before must be closed.
  void open();
  void close();
  /// Starts the whole file with all streams that it has.
  void start();

  bool hasVideo() const { return hasVideo_; }

  /// @return vela::kNextAudio, kNextVideo or kNextNone
  uint32_t nextStream() {
    uint32_t which = vela::kNextNone;
    splitter_->nextStream(&which);
    return which;
  }
  /// Takes one packet of the stream that nextStream() named. @return false at its end
  bool read(uint32_t which, vela::AudioPacket& audio, vela::VideoPacket& video) {
    uint8_t end = 0;
    uint64_t time = 0;
    const TIOResult result = which == vela::kNextAudio
                                 ? splitter_->readAudioPacket(&audio, &end, nullptr)
                                 : splitter_->readVideoPacket(&video, &end, &time, nullptr);
    REQUIRE(result == TIOResult::success);
    return end == 0;
  }
  /// @param offset  host units from the start
  void seek(uint64_t offset) {
    REQUIRE(splitter_->seekTo(vela::toWord64(offset), nullptr) == TIOResult::success);
  }
  void seekWithKeyFrame(uint64_t offset, vela::VideoPacket& picture) {
    REQUIRE(splitter_->seekWithKeyFrame(&picture, vela::toWord64(offset), nullptr) ==
            TIOResult::success);
  }
  /// @param itemId  0: the whole file
  void describe(uint32_t itemId, vela::MediaInfo& info) {
    REQUIRE(splitter_->describeItem(itemId, &info, nullptr) == TIOResult::success);
  }

 private:
  StreamProvider provider_;
  StreamContext context_;
  vela::ISplitterModule* module_;
  vela::ISplitterFactory* factory_ = nullptr;
  vela::IMediaSplitterEx* splitter_ = nullptr;
  memory_host::AudioFormat audioFormat_;
  bool hasVideo_ = false;
};

}  // namespace bench
