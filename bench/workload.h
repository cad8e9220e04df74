// What is measured: an open, a run of packets, a series of seeks. The same pieces of work serve the
// clock and the counter of instructions.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "bench/floor.h"

namespace bench {

/// Seek targets of one series: so many that the places they lead to don't stay in the processor's
/// caches.
inline constexpr uint32_t kSeekTargets = 2'000;

/// Keeps freed memory in the process, so that no side of a comparison pays for getting the same
/// pages from the system again. Called first in main().
void keepFreedMemory();

/// Places all over the file, in host units; the same for the same duration.
std::vector<uint64_t> seekTargets(uint64_t duration);

/// One file with the plug-in over it and the floors of all work on it.
class Workload {
 public:
  Workload(const Plugin& plugin, const std::string& file);

  FileStream& stream() { return stream_; }
  Player& player() { return player_; }
  const MediaLayout& layout() const { return layout_; }

  /// As a new playback begins: the splitter is opened and started.
  void reopen();

  /// The plug-in is open and started after each of these.
  OpenFloor openFloor();
  PacketFloor packetFloor();
  PacketFloor seekFloor();

  /// Plays from the start to the end, or `limit` packets. @return the packets taken
  uint32_t play(vela::AudioPacket& audio, vela::VideoPacket& video, uint32_t limit = ~0u);

  /// A seek as a player makes it: with the key frame's picture where there is video, and with the
  /// first packet where there is none.
  void seek(uint64_t offset, vela::AudioPacket& audio, vela::VideoPacket& video);

  const std::vector<uint64_t>& targets() const { return targets_; }

 private:
  FileStream stream_;
  MediaLayout layout_;
  Player player_;
  std::vector<uint64_t> targets_;
};

}  // namespace bench
